#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""trust.py IDLEWYN SANDBOX_RELAY: which certificates the command trusts, and on whose word."""
import sys

sys.dont_write_bytecode = True
import sandbox
from sandbox import CommandTest, Terminal


def digits(text):
    return "".join(text.split())


class Trust(CommandTest):
    def address(self, relay):
        self.note_secrets(relay)
        return ("pair", "--address", relay.address, "--code", relay.pairingCode,
                "--agent", "claude")

    def replace_certificate(self, relay):
        old = relay.fingerprint
        relay.control("certificate")
        relay.renew()
        self.note_secrets(relay)
        self.assertNotEqual(relay.fingerprint, old)
        return old


class Fingerprints(Trust):
    def test_malformed_ones_are_refused_before_any_network_use(self):
        for pin, part in (("", "here are 0"), ("a" * 63, "here are 63"),
                          ("a" * 65, "here are 65"), ("a" * 64 + "x", "something else"),
                          ("Ａ" * 64, "here are 0 and something else"),
                          ("SHA256:" + "a" * 64, "name of a hash"),
                          ("sha256 Fingerprint=" + "AB:" * 31 + "AB", "name of a hash")):
            text = self.run_command("pair", "--address", "https://r.example", "--code", "x",
                                    "--agent", "claude", "--pin", pin, status=2,
                                    preexec_fn=sandbox.die_on_socket)
            self.assertIn(part, text)
        self.assertIn("no certificate", self.run_command(
            "pair", "--address", "http://r.example", "--code", "x", "--agent", "claude",
            "--pin", "a" * 64, status=2))

    def test_without_a_terminal_or_a_word_nothing_is_sent(self):
        relay = self.paired()
        self.assertIn("--accept-new", self.run_command(*self.address(relay), status=2))
        terminal = Terminal(self.environment, *self.address(relay), "--json")
        text = terminal.finish(self, 2)  # programs can't be asked
        self.assertIn('"usage"', text)
        for part in ("With --json nothing is asked", "--pin", "--accept-new"):
            self.assertIn(part, text)
        self.assertEqual(relay.asked(), [])
        pin = relay.fingerprint.upper()
        grouped = " " + ":".join(pin[i:i + 2] for i in range(0, 64, 2)) + "\n"
        wrong = self.run_json(*self.address(relay), "--pin", "0" * 64, status=10)["error"]
        self.assertEqual(wrong["expectedFingerprint"], "0" * 64)
        self.assertEqual(wrong["seenFingerprint"], relay.fingerprint)
        text = self.run_command(*self.address(relay), "--pin", "0" * 64, status=10)
        self.assertNotIn("pin replace", text, "nothing is pinned that could be replaced")
        for part in ("Nothing was paired", "with --pin", "pair - --agent claude"):
            self.assertIn(part, text)
        for part in ("0" * 64, relay.fingerprint):
            self.assertIn(part, digits(text).replace("seen", "").replace("wanted", ""))
        self.assertEqual(relay.asked(), [])
        for option, trusted in (("--accept-new", True), (f"--pin={grouped}", False)):
            paired = self.run_json(*self.address(relay), option)
            self.assertEqual(paired["trustedOnFirstUse"], trusted)
            self.assertEqual(paired["fingerprint"], relay.fingerprint)
            relay.renew()

    def test_the_terminal_is_asked_before_the_code_is_sent(self):
        relay = self.paired()
        pasted = relay.fingerprint.upper()
        for answers, status, part in (
                (("no",), 1, "Nothing was paired"), (("\x04",), 1, "not answered"),
                (("\x03",), 130, "Interrupted"), (("y", "", "no"), 1, "Please answer yes"),
                ((pasted[:63], "no"), 1, "here are 63"), (("0" * 64,), 10, "another")):
            terminal = Terminal(self.environment, *self.address(relay))
            for answer in answers:
                before = terminal.expect("paste the fingerprint: ")
                self.written += before
                if answer == answers[0]:
                    self.assertIn(relay.fingerprint, digits(before))
                terminal.type(answer + ("" if answer in "\x03\x04" and answer else "\n"))
            terminal.finish(self, status)
            self.assertIn(part, self.written)
            self.assertEqual(relay.asked(), [], "the code or a request was sent")
        self.run_command("pin", "show", status=1)
        for answer in ("yes", pasted):
            terminal = Terminal(self.environment, *self.address(relay))
            terminal.expect("paste the fingerprint: ")
            terminal.type(answer + "\n")
            self.assertNotIn("Trusted on first use", terminal.finish(self, 0))
            self.assertEqual(self.run_json("pin", "show")["pins"][0]["fingerprint"],
                             relay.fingerprint)
            relay.renew()

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
        self.assertIn("nothing is encrypted", self.run_command(*self.address(relay)))
        self.assertIn("nothing is encrypted", self.run_command("pin", "show"))
        self.assertEqual(self.run_json("pin", "verify")["errors"], [])
        self.run_command("pin", "replace", "--pin", "a" * 64, status=1)


class Pins(Trust):
    def test_are_shown_and_verified(self):
        relay, other = self.paired("claude"), self.paired("codex")
        shown = self.run_json("pin", "show")["pins"]
        self.assertEqual([p["fingerprint"] for p in shown], [relay.fingerprint, other.fingerprint])
        self.assertIn(relay.fingerprint, digits(self.run_command("pin", "show")))
        self.assertEqual([p["seenFingerprint"] for p in self.run_json("pin", "verify")["pins"]],
                         [relay.fingerprint, other.fingerprint])
        before = relay.asked()
        old = self.replace_certificate(relay)
        verified = self.run_json("pin", "verify", status=3)
        self.assertEqual([e["agent"] for e in verified["errors"]], ["claude"])
        self.assertEqual(verified["pins"][0]["seenFingerprint"], relay.fingerprint)
        self.assertEqual(verified["pins"][0]["fingerprint"], old)
        self.run_command("pin", "verify", "--agent", "claude", status=10)
        self.assertEqual(relay.asked(), before, "a look sends no request")
        other.stop()
        self.run_command("pin", "verify", "--agent", "codex", status=20)

    def test_a_mismatch_tells_both_and_what_to_do_wherever_it_happens(self):
        relay = self.paired("claude")
        old = self.replace_certificate(relay)
        for command in (("sessions",), ("allow", "p"), ("approvals",), ("approvals", "on"),
                        ("unpair",), ("pin", "verify"), ("watch", "--count", "1")):
            text = self.run_command(*command, status=10)
            for part in ("pin replace --agent claude", "pair - --agent claude"):
                self.assertIn(part, text, command)
            for part in (old, relay.fingerprint):
                self.assertIn(part, digits(text).replace("seen", ""), command)
            self.assertNotIn("accept-new", text)
        error = self.run_json("sessions", status=10)["errors"][0]
        self.assertEqual((error["expectedFingerprint"], error["seenFingerprint"]),
                         (old, relay.fingerprint))

    def test_are_replaced_only_by_what_the_user_brings_and_the_relay_shows(self):
        relay = self.paired("claude")
        old = self.replace_certificate(relay)
        before = self.run_json("pin", "show")
        for pin, status in (("abc", 2), ("0" * 64, 10), (old, 10)):
            self.run_command("pin", "replace", "--pin", pin, status=status)
        self.run_command("pin", "replace", status=2)  # no terminal
        terminal = Terminal(self.environment, "pin", "replace")
        self.assertNotIn(relay.fingerprint, digits(terminal.expect("itself shows it:")),
                         "what is seen must not be offered for copying")
        terminal.type("yes\n")
        terminal.finish(self, 2)
        self.assertEqual(self.run_json("pin", "show"), before)
        terminal = Terminal(self.environment, "pin", "replace", "--agent", "claude")
        terminal.expect("itself shows it:")
        terminal.type(relay.fingerprint.upper() + "\n")
        terminal.finish(self, 0)
        self.run_command("sessions")
        replaced = self.run_json("pin", "replace", "--pin", relay.fingerprint)
        self.assertEqual(replaced["pins"][0]["fingerprint"], relay.fingerprint)


if __name__ == "__main__":
    sandbox.run()
