# SPDX-License-Identifier: MIT
"""Which certificates the command trusts, and on whose word."""
import os
import re

import sandbox
from sandbox import CommandTest, Terminal


def digits(text):
    return "".join(text.replace("seen", "").replace("wanted", "").split())


class Trust(CommandTest):
    def address(self, relay, code=None):
        return ("pair", "--address", relay.address, "--code", code or relay.pairingCode,
                "--agent", "claude")

    def replace_certificate(self, relay):
        old = relay.fingerprint
        relay.control("certificate")
        relay.renew()
        self.assertNotEqual(relay.fingerprint, old)
        return old

    def ask(self, *command, answers, prompt, status):
        """Types the answers, one at each prompt; gives what was shown at first, and the rest."""
        terminal = Terminal(self.environment, *command)
        shown = []
        for answer in answers:
            shown.append(terminal.expect(prompt))
            terminal.type(answer if answer in ("\x03", "\x04") else answer + "\n")
        return shown[0], "".join(shown[1:]) + terminal.finish(self, status)


class Fingerprints(Trust):
    def test_malformed_ones_are_refused_before_any_network_use(self):
        for pin, part in (("", "here are 0"), ("a" * 63, "here are 63"),
                          ("a" * 65, "here are 65"), ("a" * 64 + "x", "something else"),
                          ("Ａ" * 64, "here are 0 and something else"),
                          ("SHA256:" + "a" * 64, "name of a hash"),
                          ("sha256 Fingerprint=" + "AB:" * 31 + "AB", "name of a hash")):
            self.run_command("pair", "--address", "https://r.example", "--code", "x", "--agent",
                             "claude", "--pin", pin, status=2, has=part,
                             preexec_fn=sandbox.die_on_socket)
        self.run_command("pair", "--address", "http://r.example", "--code", "x", "--agent",
                         "claude", "--pin", "a" * 64, status=2, has="no certificate")

    def test_without_a_terminal_or_a_word_nothing_is_sent(self):
        relay = self.paired()
        command, wrong = self.address(relay), ("--pin", "0" * 64)
        self.run_command(*command, status=2, has="--accept-new")
        text = Terminal(self.environment, *command, "--json").finish(self, 2)
        for part in ('"usage"', "With --json nothing is asked", "--pin", "--accept-new"):
            self.assertIn(part, text, "programs can't be asked")
        error = self.run_json(*command, *wrong, status=10)["error"]
        self.assertEqual((error["expectedFingerprint"], error["seenFingerprint"]),
                         ("0" * 64, relay.fingerprint))
        text = self.run_command(
            *command, *wrong, status=10, lacks="pin replace",  # nothing is pinned yet
            has=("Nothing was paired", "with --pin", "pair - --agent claude"))
        for part in ("0" * 64, relay.fingerprint):
            self.assertIn(part, digits(text))
        self.assertEqual(relay.asked(), [])
        fours = re.findall("....", relay.fingerprint)
        self.run_command(*self.address(relay, "-"), "--accept-new",
                         input=relay.pairingCode + "\n", has=(
                             "Trusted on first use", relay.address, " ".join(fours[:8]) + "\n",
                             " ".join(fours[8:]) + "\n"))
        pin = relay.fingerprint.upper()
        grouped = " " + ":".join(pin[i:i + 2] for i in range(0, 64, 2)) + "\n"
        for option, trusted in (("--accept-new", True), (f"--pin={grouped}", False)):
            relay.renew()
            paired = self.run_json(*self.address(relay), option)
            self.assertEqual(paired["trustedOnFirstUse"], trusted)
            self.assertEqual(paired["fingerprint"], relay.fingerprint)

    def test_the_terminal_is_asked_before_the_code_is_sent(self):
        relay = self.paired()
        pasted, prompt = relay.fingerprint.upper(), "paste the fingerprint: "
        for answers, status, part in (
                (("no",), 1, "Nothing was paired"), (("\x04",), 1, "not answered"),
                (("\x03",), 130, "Interrupted"), (("y", "", "no"), 1, "Please answer yes"),
                ((pasted[:63], "no"), 1, "here are 63"), (("0" * 64,), 10, "another")):
            first, rest = self.ask(*self.address(relay), answers=answers, prompt=prompt,
                                   status=status)
            self.assertIn(relay.fingerprint, digits(first))
            self.assertIn(part, rest)
            self.assertEqual(relay.asked(), [], "the code or a request was sent")
        self.run_command("pin", "show", status=1)
        for answer in ("yes", pasted):
            _, rest = self.ask(*self.address(relay), answers=[answer], prompt=prompt, status=0)
            self.assertNotIn("Trusted on first use", rest)
            self.assertEqual(self.run_json("pin", "show")["pins"][0]["fingerprint"],
                             relay.fingerprint)
            relay.renew()

    def test_a_terminal_is_asked_for_the_code_and_the_link(self):
        relay = self.paired()
        link, code = ("pair", "-", "--agent", "claude"), (*self.address(relay, "-"), "--accept-new")
        for command, prompt in ((link, "Pairing link: "), (code, "Pairing code: ")):
            for key, status in (("\x03", 130), ("\x04", 2)):
                self.ask(*command, "--json", answers=[key], prompt=prompt, status=status)
        ours, theirs = os.pipe()
        os.write(theirs, b"nonsense\nrest")
        self.finish(self.start(*link, stdin=ours), 2)
        self.assertEqual((os.read(ours, 9), os.get_blocking(ours)), (b"rest", True),
                         "others read there too")
        os.close(ours)
        os.close(theirs)

    def test_what_was_confirmed_is_what_is_paired_with(self):
        relay = self.paired()
        terminal = Terminal(self.environment, *self.address(relay))
        terminal.expect("paste the fingerprint: ")
        relay.control("certificate")
        terminal.type("yes\n")
        terminal.finish(self, 10)
        self.assertNotIn("/v1/pair", relay.asked())

    def test_over_http_nobody_is_asked(self):
        relay = self.paired(options=["--http"])
        self.run_command(*self.address(relay), has="nothing is encrypted")
        self.run_command("pin", "show", has="nothing is encrypted")
        self.assertEqual(self.run_json("pin", "verify")["errors"], [])
        self.run_command("pin", "replace", "--pin", "a" * 64, status=1)


class Pins(Trust):
    def test_are_shown_and_verified(self):
        relay, other = self.paired("claude"), self.paired("codex")
        for command, key in (("show", "fingerprint"), ("verify", "seenFingerprint")):
            self.assertEqual([p[key] for p in self.run_json("pin", command)["pins"]],
                             [relay.fingerprint, other.fingerprint])
        self.assertIn(relay.fingerprint, digits(self.run_command("pin", "show")))
        before = relay.asked()
        old = self.replace_certificate(relay)
        verified = self.run_json("pin", "verify", status=3)
        self.assertEqual([e["agent"] for e in verified["errors"]], ["claude"])
        pin = verified["pins"][0]
        self.assertEqual((pin["fingerprint"], pin["seenFingerprint"]), (old, relay.fingerprint))
        self.run_command("pin", "verify", "--agent", "claude", status=10)
        self.assertEqual(relay.asked(), before, "a look sends no request")
        other.stop()
        self.run_command("pin", "verify", "--agent", "codex", status=20)

    def test_a_mismatch_tells_both_and_what_to_do_wherever_it_happens(self):
        relay = self.paired("claude")
        old = self.replace_certificate(relay)
        for command in (("sessions",), ("allow", "p"), ("approvals",), ("approvals", "on"),
                        ("unpair",), ("pin", "verify"), ("watch", "--count", "1")):
            text = self.run_command(*command, status=10, lacks="accept-new", has=(
                "pin replace --agent claude", "pair - --agent claude"))
            for part in (old, relay.fingerprint):
                self.assertIn(part, digits(text), command)
        error = self.run_json("sessions", status=10)["errors"][0]
        self.assertEqual((error["expectedFingerprint"], error["seenFingerprint"]),
                         (old, relay.fingerprint))

    def test_are_replaced_only_by_what_the_user_brings_and_the_relay_shows(self):
        relay = self.paired("claude")
        old = self.replace_certificate(relay)
        before, prompt = self.run_json("pin", "show"), "itself shows it:"
        for pin, status in (("abc", 2), ("0" * 64, 10), (old, 10)):
            self.run_command("pin", "replace", "--pin", pin, status=status)
        self.run_command("pin", "replace", status=2)  # no terminal
        first, _ = self.ask("pin", "replace", answers=["yes"], prompt=prompt, status=2)
        self.assertNotIn(relay.fingerprint, digits(first),
                         "what is seen must not be offered for copying")
        self.assertEqual(self.run_json("pin", "show"), before)
        self.ask("pin", "replace", "--agent", "claude", answers=[relay.fingerprint.upper()],
                 prompt=prompt, status=0)
        self.run_command("sessions")
        replaced = self.run_json("pin", "replace", "--pin", relay.fingerprint)
        self.assertEqual(replaced["pins"][0]["fingerprint"], relay.fingerprint)
