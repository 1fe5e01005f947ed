#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""end_to_end.py IDLEWYN SANDBOX_RELAY: the command against relays, all as processes."""
import fcntl
import json
import os
import signal
import stat
import sys
import time

sys.dont_write_bytecode = True
import sandbox
from sandbox import CommandTest, Relay, session

MISMATCH = ("The relay’s security certificate isn’t the one Vantor paired with. "
            "If you reset the relay, pair again.")
EXPIRED = "That permission prompt was already answered or has expired."


class Demo(CommandTest):
    def test_tour_shows_the_main_job_and_leaves_nothing(self):
        begin = time.monotonic()
        text = self.run_command("demo")
        self.assertLess(time.monotonic() - begin, 30)
        for part in (MISMATCH, EXPIRED, "Needs input", "Working → Needs input", "Lead: ",
                     "Summary: ", "Codex: The server could not be reached."):
            self.assertIn(part, text)
        self.assertEqual(list((self.home / "tmp").iterdir()), [])
        self.assertFalse((self.home / "data").exists(), "nothing of the user's is touched")

    def test_tour_fails_without_a_relay_that_works(self):
        for program, reason in (("/nowhere", "can't be started"), ("/bin/false", "ended at once"),
                                ("/bin/echo", "introduce")):
            self.environment["IDLEWYN_SANDBOX_RELAY"] = program
            self.assertIn(reason, self.run_command("demo", status=1))
        self.environment["TMPDIR"] = "/nonexist"
        self.assertIn("TMPDIR must", self.run_command("demo", status=1))
        self.assertEqual(list((self.home / "tmp").iterdir()), [])

    def test_tour_that_is_interrupted_takes_its_relays_along(self):
        slow = self.home / "slow-relay"
        slow.write_text(f'#!/bin/sh\necho $$ >>{self.home}/pids\n'
                        f'exec {sandbox.SANDBOX} --fault "*=delay=20" "$@"\n')
        slow.chmod(0o755)
        self.environment["IDLEWYN_SANDBOX_RELAY"] = str(slow)
        for ending in (self.interrupt, self.kill):
            tour = self.start("demo")
            while "2  " not in tour.stdout.readline():
                pass
            ending(tour)
            relays = (self.home / "pids").read_text().split()
            deadline = time.monotonic() + 10
            while any(os.path.exists(f"/proc/{pid}") for pid in relays):
                self.assertLess(time.monotonic(), deadline, "relays are left")
                time.sleep(0.01)
            if ending == self.interrupt:
                self.assertEqual(list((self.home / "tmp").iterdir()), [])

    def test_offline_tour_opens_no_socket(self):
        text = self.run_command("demo", "--offline", preexec_fn=sandbox.die_on_socket)
        self.assertIn("Summary: ", text)
        self.assertIn("Claude", text)
        self.assertIn("Codex", text)
        with Relay() as relay:  # the ban is fatal to a command that does open one
            self.pair(relay, "claude")
            self.finish(self.start("sessions", preexec_fn=sandbox.die_on_socket), -31)


class Pairing(CommandTest):
    def test_by_link_enforces_the_pin(self):
        relay = self.paired()
        paired = self.run_json("pair", relay.pairingLink, "--agent", "claude")
        self.assertEqual(list(paired), ["agent", "address", "account", "connectedAt",
                                        "fingerprint", "replaced", "trustedOnFirstUse"])
        self.assertEqual(paired["fingerprint"], relay.fingerprint)
        self.assertFalse(paired["trustedOnFirstUse"])
        self.assertEqual(stat.S_IMODE(self.file.stat().st_mode), 0o600)
        self.assertEqual(stat.S_IMODE(self.file.parent.stat().st_mode), 0o700)

        relay.control("certificate")
        self.assertIn(MISMATCH, self.run_command("sessions", status=10))
        wrong = relay.pairingLink  # with the old pin
        text = self.run_command("pair", "-", "--agent", "codex", status=10, input=wrong)
        self.assertIn("Nothing was paired", text)
        self.assertEqual(len(self.stored()), 1)

    def test_by_address_trusts_on_first_use_and_replaces(self):
        relay = self.paired()
        text = self.run_command("pair", "--address", relay.address, "--code", "-",
                                "--agent", "codex", "--accept-new",
                                input=relay.pairingCode + "\n")
        self.assertIn("Trusted on first use", text)
        self.assertIn(relay.fingerprint, text.replace(" ", "").replace("\n", ""))
        self.assertIn(relay.address, text)
        self.assertFalse(self.pair(relay, "claude")["replaced"])

    def test_refused_codes_store_nothing(self):
        relay = self.paired()
        self.secrets.add("WRONGCODE")
        attempt = ("pair", "--address", relay.address, "--code", "WRONGCODE",
                   "--agent", "claude", "--accept-new")
        for _ in range(5):
            self.run_command(*attempt, status=4)
        self.assertEqual(self.run_json(*attempt, status=12)["error"]["kind"], "tooManyAttempts")
        self.assertEqual(self.stored(), [])

    def test_address_is_shown_without_its_user(self):
        relay = self.paired(options=["--http"])
        self.secrets.add("robin:hush")
        address = relay.address.replace("//", "//robin:hush@")
        out, err = self.finish(self.start("pair", "--address", address, "--code",
                                          relay.pairingCode, "--agent", "claude"), 0)
        self.assertIn(relay.address, out)
        self.assertIn("over http", err)
        self.assertEqual(self.run_json("unpair")["address"], relay.address)

    def test_a_list_that_cannot_be_written_stops_before_the_code_is_spent(self):
        relay = self.paired("codex")
        relay.renew()
        relay.control("requests", method="DELETE")
        self.note_secrets(relay)
        self.store(b"[{")
        error = self.run_json("pair", relay.pairingLink, "--agent", "claude", status=1)
        self.assertEqual(error["error"]["kind"], "storage")
        self.assertEqual(self.items(), {"connections": b"[{"})
        self.environment["XDG_DATA_HOME"] = "/proc/x"
        self.run_command("pair", relay.pairingLink, "--agent", "claude", status=1)
        self.environment["XDG_DATA_HOME"] = str(self.home / "data")
        with open(self.keychain / "connections.lock", "w") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            waiting = self.start("pair", relay.pairingLink, "--agent", "claude")
            self.wait_for_handler(waiting, signal.SIGINT)
            self.interrupt(waiting)
        self.assertEqual(relay.requests(), [])
        self.run_command("unpair", "--damaged")
        self.run_command("pair", relay.pairingLink, "--agent", "claude")

    def test_wrong_arguments_are_not_repeated(self):
        self.secrets.update({"SESAME", "idlewyn://pair"})
        link = "idlewyn://pair?url=https%3A%2F%2Fr.example&code=SESAME"  # lacks the pin
        for arguments in (("pair", link, "--agent", "claude"), ("pair", link, link),
                          ("pair", link), ("pair", "--agent", link), ("pair", "--code", "SESAME"),
                          ("pair", link, "--address", "https://r.example", "--code", "SESAME"),
                          ("pair", "--address", "SESAME", "--code", "x", "--agent", "claude"),
                          ("pair", "--address", "ftp://r", "--code", "x", "--agent", "claude"),
                          ("SESAME",), ("sessions", "--SESAME"), ("approvals", "SESAME"),
                          ("watch", "--count", "SESAME"), ("pair", "--agent", "claude"), ()):
            self.assertEqual(self.run_json(*arguments, status=2)["error"]["kind"], "usage")
            self.assertIn("idlewyn: ", self.run_command(*arguments, status=2))

    def test_wrong_arguments_are_explained(self):
        for arguments, part in ((("bogus",), "no command"), ((), "pair, unpair, connections, "),
                                (("sessions", "--agent", "x"), "for --agent"),
                                (("watch", "--count", "0"), "for --count"),
                                (("approvals", "maybe"), "for switch"),
                                (("allow", "-x"), "goes after --"), (("allow", ""), "is empty")):
            self.assertIn(part, self.run_command(*arguments, status=2))
        self.assertIn("idlewyn: ", self.run_command("allow", "--", "--json", status=1))


class Sessions(CommandTest):
    def test_are_one_snapshot_in_display_order(self):
        relay = self.paired("claude", "codex")
        relay.advance(30)
        shown = self.run_json("sessions")
        self.assertEqual(list(shown), ["summary", "updatedAt", "sessions", "errors"])
        self.assertEqual(shown["summary"], "2 need you · 1 working · 1 finished")
        self.assertEqual([s["status"] for s in shown["sessions"]],
                         ["waitingForInput"] * 2 + ["working", "finished", "idle"])
        only = self.run_json("sessions", "--agent", "codex")["sessions"]
        self.assertEqual({s["provider"] for s in only}, {"codex"})
        text = self.run_command("sessions")
        self.assertIn("always adds the rule Bash(make -C build check-parser)", text)
        self.assertIn("answer: allow or deny\n", text)
        self.assertNotIn("\x1b", text, "no colours in a pipe")

    def test_statuses_tell_what_failed(self):
        one, other = self.paired("claude"), self.paired("codex")
        for fault, status, kind in (("status=503", 14, "server"),
                                    ("status=401", 4, "unauthorized"),
                                    ("not-json", 13, "invalidResponse"),
                                    ("close", 20, "network")):
            other.fault("v1/sessions", fault)
            shown = self.run_json("sessions", status=3)
            self.assertEqual([(e["agent"], e["kind"]) for e in shown["errors"]], [("codex", kind)])
            self.assertEqual({s["provider"] for s in shown["sessions"]}, {"claude"})
            self.run_command("sessions", "--agent", "codex", status=status)
            other.control("faults", method="DELETE")
        one.stop()
        other.stop()
        self.assertNotIn("No sessions", self.run_command("sessions", status=20))
        self.run_command("allow", "p", status=20)

    def test_hostile_texts_are_whole_and_harmless(self):
        detail = "ls\x1b[2J\u202e" + "x" * 5000 + "\n; rm -rf /"
        relay = self.paired("claude")
        relay.show(session("claude", {"id": "p\u200b1", "detail": detail,
                                      "alwaysRule": "Bash(\u2066)"}, title="a\nb"))
        text = self.run_command("sessions")
        shown = "Bash: ls\\u{1B}[2J\\u{202E}" + "x" * 5000 + "\\n; rm -rf /\n"
        self.assertIn(shown, text)
        self.assertIn("rule Bash(\\u{2066})", text)
        for hidden in "\x1b\u202e\u200b\u2066":
            self.assertNotIn(hidden, text)
        raw = self.run_command("sessions", "--json")
        self.assertEqual(json.loads(raw)["sessions"][0]["permission"]["detail"], detail)
        self.assertNotIn("\u202e", raw)
        self.assertIn(shown, self.run_command("allow", "p\\u{200B}1"))
        relay.show(session("claude", {"id": "p", "detail": "ls", "alwaysRule": ""}))
        self.assertNotIn("alwaysRule", self.run_command("sessions", "--json"))
        self.assertIn("carries no rule", self.run_command("always", "p", status=1))

    def test_without_a_pairing_say_so(self):
        self.assertEqual(self.run_json("sessions", status=1)["error"]["kind"], "notPaired")
        self.assertIn("No agent is paired", self.run_command("watch", status=1))


class Answering(CommandTest):
    def test_shows_what_it_answers_and_answers_once(self):
        relay = self.paired("claude", "codex")
        relay.advance(30)
        self.assertIn("carries no rule", self.run_command("always", "import-utf8-1", status=1))
        text = self.run_command("always", "tidy-up-1")
        self.assertIn("Bash: make -C build check-parser", text)
        self.assertIn("rule Bash(make -C build check-parser)", text)
        self.assertLess(text.index("check-parser"), text.index("Answered: always"))
        answered = self.run_json("deny", "import-utf8-1")
        self.assertEqual(list(answered), ["decision", "prompt"])
        self.assertEqual(answered["prompt"]["detail"], "pip install --user charset-samples")
        self.run_command("deny", "import-utf8-1", status=11)
        self.assertEqual(relay.decisions(), [
            ("/v1/permissions/tidy-up-1", '{"decision":"always"}'),
            ("/v1/permissions/import-utf8-1", '{"decision":"deny"}')])

    def test_expired_between_showing_and_answering(self):
        relay = self.paired("claude")
        relay.advance(30)
        relay.fault("v1/permissions/*", "status=404")
        text = self.run_command("allow", "tidy-up-1", status=11)
        self.assertIn(EXPIRED, text)
        self.assertNotIn("Open now", text, "what expired is not offered again")
        relay.show(session("claude", {"id": "p-1", "detail": "one"}),
                   session("claude", {"id": "p-2", "detail": "two"}, id="s-2"))
        text = self.run_command("allow", "p-1", status=11)
        self.assertIn("Bash: two", text[text.index("Open now"):])
        self.assertEqual(relay.asked().count("/v1/permissions/p-1"), 1)

    def test_ambiguous_ids_are_refused_with_the_candidates(self):
        relay = self.paired("claude", "codex")
        relay.show(session("claude", {"id": "p-1", "detail": "one"}),
                   session("codex", {"id": "p-1", "detail": "two"}))
        refusal = self.run_json("allow", "p-1", status=1)["error"]
        self.assertEqual(refusal["kind"], "ambiguousPrompt")
        # Equal in rank and time, they come in the order in which the fetches ended.
        self.assertEqual({c["detail"] for c in refusal["candidates"]}, {"one", "two"})
        text = self.run_command("deny", "p-1", status=1)
        self.assertIn("Bash: one", text)
        self.assertIn("Bash: two", text)
        self.assertEqual(relay.decisions(), [], "nothing was answered")
        self.assertIn("two", self.run_command("allow", "p-1", "--agent", "codex"))


class Settings(CommandTest):
    def test_approvals_show_what_the_relay_says(self):
        relay = self.paired("claude", "codex")
        off = {"approvals": [{"agent": "claude", "remoteApprovals": False},
                             {"agent": "codex", "remoteApprovals": False}], "errors": []}
        self.assertEqual(self.run_json("approvals"), off)
        self.run_command("approvals", "on", status=2)
        self.assertIn("Codex: remote approvals are on",
                      self.run_command("approvals", "on", "--agent", "codex"))
        self.assertIn("are on", self.run_command("approvals", "--agent", "codex"))
        self.run_command("approvals", "off", "--agent", "codex")
        relay.fault("v1/settings", "status=500")
        self.assertEqual(self.run_json("approvals", status=14)["approvals"], [])

    def test_unpair_needs_the_relay_or_a_word(self):
        relay = self.paired("claude", "codex")
        self.run_command("unpair", status=2)
        relay.fault("v1/unpair", "status=500")
        self.assertIn("--forget", self.run_command("unpair", "--agent", "codex", status=14))
        self.assertEqual(len(self.stored()), 2)
        self.run_command("unpair", "--agent", "codex", "--forget")
        relay.control("faults", method="DELETE")
        stale = self.stored()
        self.store(stale + [{**one, "accessToken": "an-older-one"} for one in stale])
        self.assertIn("another pairing", self.run_command("unpair", "--agent", "claude"))
        self.run_command("unpair")
        self.assertEqual(self.stored(), [])
        self.store(stale)
        self.run_command("sessions", status=4)
        self.run_command("unpair")  # the relay has forgotten it already
        self.assertEqual(self.stored(), [])


class Watching(CommandTest):
    def test_tells_transitions_and_counts_its_rounds(self):
        relay = self.paired("claude", "codex")
        watch = self.start("watch", "--json", "--interval", "0.05", "--count", "20")
        rounds = [self.round_of(watch)]
        relay.advance(30)
        rounds += [self.round_of(watch) for _ in range(19)]
        self.assertEqual((self.finish(watch, 0)[0], rounds[0]["transitions"]), ("", []))
        self.assertEqual({(t["session"]["id"], t["from"]) for each in rounds
                          for t in each["transitions"]},
                         {("tidy-up", "working"), ("release-notes", "working"),
                          ("import-utf8", "working")})

    def test_signals_cancel_what_is_in_flight(self):
        relay = self.paired("claude")
        relay.fault("v1/sessions", "stall")
        for command in (("watch",), ("sessions",), ("allow", "p")):
            relay.control("requests", method="DELETE")
            process = self.start(*command)
            while not relay.requests():
                time.sleep(0.01)
            begin = time.monotonic()
            self.interrupt(process)
            self.assertLess(time.monotonic() - begin, 5, "the request's ten seconds")


if __name__ == "__main__":
    sandbox.run()
