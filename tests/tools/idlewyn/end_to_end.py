# SPDX-License-Identifier: MIT
"""The command against relays: its tour, sessions, answers, settings."""
import json
import os
import signal
import stat
import time

import sandbox
from sandbox import CommandTest, Relay, session, wait_until

MISMATCH = ("The relay’s security certificate isn’t the one Vantor paired with. "
            "If you reset the relay, pair again.")
EXPIRED = "That permission prompt was already answered or has expired."


class Demo(CommandTest):
    def left(self):
        return list((self.home / "tmp").iterdir())

    def test_tour_shows_the_main_job_and_leaves_nothing(self):
        begin = time.monotonic()
        self.run_command("demo", has=(
            MISMATCH, EXPIRED, "Needs input", "Working → Needs input", "Lead: ", "Summary: ",
            "Codex: The server could not be reached."))
        self.assertLess(time.monotonic() - begin, 30)
        self.assertEqual(self.left(), [])
        self.assertFalse((self.home / "data").exists(), "nothing of the user's is touched")

    def test_tour_fails_without_a_relay_that_works(self):
        absent = str(self.home / "absent")
        for program, reason in ((absent, "can't be started"), ("/bin/false", "ended at once"),
                                ("/bin/echo", "introduce")):
            self.environment["IDLEWYN_SANDBOX_RELAY"] = program
            self.run_command("demo", status=1, has=reason)
        self.environment["TMPDIR"] = absent
        self.run_command("demo", status=1, has="TMPDIR must")
        self.assertEqual(self.left(), [])

    def test_tour_that_is_interrupted_takes_its_relays_along(self):
        slow = self.home / "slow-relay"
        slow.write_text(f'#!/bin/sh\necho $$ >>{self.home}/pids\n'
                        f'exec {sandbox.SANDBOX} --fault "*=delay=20" "$@"\n')
        slow.chmod(0o755)
        self.environment["IDLEWYN_SANDBOX_RELAY"] = str(slow)
        for ending, leaves_files in ((signal.SIGINT, False), (signal.SIGHUP, False), (None, True)):
            tour = self.start("demo")
            while "2  " not in tour.stdout.readline():
                pass
            self.interrupt(tour, ending) if ending else self.kill(tour)
            relays = (self.home / "pids").read_text().split()
            wait_until(lambda: not any(os.path.exists(f"/proc/{pid}") for pid in relays))
            self.assertEqual(bool(self.left()), leaves_files)

    def test_offline_tour_opens_no_socket(self):
        self.run_command("demo", "--offline", has=("Summary: ", "Claude", "Codex"),
                         preexec_fn=sandbox.die_on_socket)
        self.paired("claude")  # the ban is fatal to a command that does open one
        self.finish(self.start("sessions", preexec_fn=sandbox.die_on_socket), -31)


class Pairing(CommandTest):
    def test_by_link_enforces_the_pin(self):
        relay = self.paired()
        paired = self.run_json("pair", relay.pairingLink, "--agent", "claude")
        self.assertEqual(paired["fingerprint"], relay.fingerprint)
        self.assertEqual((paired["replaced"], paired["trustedOnFirstUse"]), (False, False))
        self.assertEqual(stat.S_IMODE(self.file.stat().st_mode), 0o600)
        self.assertEqual(stat.S_IMODE(self.file.parent.stat().st_mode), 0o700)
        relay.control("certificate")
        self.run_command("sessions", status=10, has=MISMATCH)
        self.run_command("pair", "-", "--agent", "codex", status=10, has="Nothing was paired",
                         input=relay.pairingLink)  # with the old pin
        self.assertEqual(len(self.stored()), 1)

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
        self.run_command("pair", "--address", relay.address.replace("//", "//robin:hush@"),
                         "--code", relay.pairingCode, "--agent", "claude",
                         has=(relay.address, "over http"))
        self.assertEqual(self.run_json("unpair")["address"], relay.address)

    def test_wrong_arguments_are_explained_and_not_repeated(self):
        self.secrets.update({"SESAME", "idlewyn://pair"})
        link = "idlewyn://pair?url=https%3A%2F%2Fr.example&code=SESAME"  # lacks the pin
        for arguments, part in (
                (("bogus",), "no command"), ((), "pair, unpair, connections, "),
                (("sessions", "--agent", "x"), "for --agent"), (("allow", ""), "is empty"),
                (("watch", "--count", "0"), "for --count"), (("approvals", "maybe"), "for switch"),
                (("allow", "-x"), "goes after --"), (("pair", "--agent", "claude"), ""),
                (("pair", link, "--agent", "claude"), ""), (("pair", link, link), ""),
                (("pair", link), ""), (("pair", "--agent", link), ""),
                (("pair", link, "--address", "https://r.example", "--code", "SESAME"), ""),
                (("pair", "--address", "SESAME", "--code", "x", "--agent", "claude"), ""),
                (("SESAME",), ""), (("sessions", "--SESAME"), ""), (("approvals", "SESAME"), ""),
                (("watch", "--count", "SESAME"), ""), (("pair", "--code", "SESAME"), "")):
            self.assertEqual(self.run_json(*arguments, status=2)["error"]["kind"], "usage")
            self.run_command(*arguments, status=2, has=("idlewyn: ", part))
        self.run_command("allow", "--", "--json", status=1, has="idlewyn: ")


class Sessions(CommandTest):
    def test_are_one_snapshot_in_display_order(self):
        relay = self.paired("claude", "codex")
        relay.advance(30)
        shown = self.run_json("sessions")
        self.assertEqual(shown["summary"], "2 need you · 1 working · 1 finished")
        self.assertEqual([s["status"] for s in shown["sessions"]],
                         ["waitingForInput"] * 2 + ["working", "finished", "idle"])
        only = self.run_json("sessions", "--agent", "codex")["sessions"]
        self.assertEqual({s["provider"] for s in only}, {"codex"})
        self.run_command("sessions", lacks="\x1b", has=(  # no colours in a pipe
            "    always adds the rule:\n    │ Bash(make -C build check-parser)", "answer: allow or deny\n"))

    def test_statuses_tell_what_failed(self):
        self.run_command("watch", status=1, has="No agent is paired")
        self.assertEqual(self.run_json("sessions", status=1)["error"]["kind"], "notPaired")
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
            other.heal()
        one.stop()
        for fault, status in (("status=401", 3), ("close", 20)):  # all fail, alike or not
            other.fault("v1/sessions", fault)
            self.run_command("sessions", status=status, lacks="No sessions")
        self.run_command("allow", "p", status=20)

    def test_hostile_texts_are_whole_and_harmless(self):
        detail = "ls\x1b[2J\u202e" + "x" * 5000 + "\n; rm -rf /"
        relay = self.paired("claude")
        relay.show(session("claude", {"id": "p\u200b1", "detail": detail,
                                      "alwaysRule": "Bash(\u2066)"}, title="a\nb"))
        shown = "│ ls\\u{1B}[2J\\u{202E}" + "x" * 5000 + "\n@│ ; rm -rf /\n"
        self.run_command("sessions", has=(shown.replace("@", "    "), "│ Bash(\\u{2066})"),
                         lacks=tuple("\x1b\u202e\u200b\u2066"))
        raw = self.run_command("sessions", "--json", lacks="\u202e")
        self.assertEqual(json.loads(raw)["sessions"][0]["permission"]["detail"], detail)
        self.run_command("allow", "p\\u{200B}1", has=shown.replace("@", "  "))
        relay.show(session("claude", {"id": "p", "detail": "ls", "alwaysRule": ""}))
        self.run_command("sessions", "--json", lacks="alwaysRule")
        self.run_command("always", "p", status=1, has="carries no rule")

    def test_show_leaves_nothing_out(self):
        relay = self.paired("claude", "codex")
        document = "cat <<EOF\n\tone\n" + "x" * 500 + "\nEOF"
        relay.show(session("claude", {"id": "-p", "detail": document}, id="s-1"),
                   session("codex", status="finished", summary="Done.\n\nAll " + "y" * 300, id="s-2"))
        text = self.run_command("show", "--", "-p", has=(
            "│ cat <<EOF\n  │ \tone\n  │ " + "x" * 500 + "\n  │ EOF\n",
            "answer: idlewyn allow -- '-p', or deny\n"), lacks="s-2")
        again = self.run_command("show", "s-1")
        # The first line counts the seconds.
        self.assertEqual(text.split("\n")[1:], again.split("\n")[1:])
        self.run_command("show", "s-2", has="│ Done.\n  │ \n  │ All " + "y" * 300 + "\n")
        shown = self.run_json("show", "s-1")["sessions"]
        self.assertEqual([one["permission"]["detail"] for one in shown], [document])
        self.assertEqual(self.run_json("show", "s", status=11)["error"]["kind"], "promptNotOpen")
        relay.fault("v1/sessions", "status=503")
        self.run_command("show", "s-1", status=14, has="Claude: ")

    def test_signals_cancel_what_is_in_flight(self):
        relay = self.paired("claude")
        relay.fault("v1/sessions", "stall")
        for command in (("watch",), ("sessions",), ("allow", "p")):
            relay.forget()
            process = self.start(*command)
            wait_until(relay.requests)
            begin = time.monotonic()
            self.interrupt(process)
            self.assertLess(time.monotonic() - begin, 5, "the request's ten seconds")


class Answering(CommandTest):
    def test_shows_what_it_answers_and_answers_once(self):
        relay = self.paired("claude", "codex")
        relay.advance(30)
        self.run_command("always", "import-utf8-1", status=1, has="carries no rule")
        text = self.run_command("always", "tidy-up-1", has=(
            "Bash:\n  │ make -C build check-parser", "│ Bash(make -C build check-parser)"))
        self.assertLess(text.index("check-parser"), text.index("Answered: always"))
        self.assertEqual(self.run_json("deny", "import-utf8-1")["prompt"]["detail"],
                         "pip install --user charset-samples")
        self.run_command("deny", "import-utf8-1", status=11)
        self.assertEqual(relay.decisions(), [
            ("/v1/permissions/tidy-up-1", '{"decision":"always"}'),
            ("/v1/permissions/import-utf8-1", '{"decision":"deny"}')])

    def test_expired_between_showing_and_answering(self):
        relay = self.paired("claude")
        relay.advance(30)
        relay.fault("v1/permissions/*", "status=404")
        self.run_command("allow", "tidy-up-1", status=11, has=EXPIRED, lacks="Open now")
        relay.show(session("claude", {"id": "p-1", "detail": "one"}),
                   session("claude", {"id": "p-2", "detail": "two"}, id="s-2"))
        text = self.run_command("allow", "p-1", status=11, has="Open now")
        self.assertIn("│ two", text[text.index("Open now"):])
        self.assertEqual(relay.asked().count("/v1/permissions/p-1"), 1)

    def test_tells_when_an_answer_may_have_been_taken_or_gone_elsewhere(self):
        relay = self.paired("claude")
        prompt = session("claude", {"id": "p", "detail": "ls"})
        doubt = "may have been answered all the same"
        for fault, status in (("status=502", 14), ("close", 20)):
            relay.heal()
            relay.show(prompt)
            relay.fault("v1/permissions/*", fault)
            self.run_command("allow", "p", status=status, has=(doubt, "idlewyn show p"))
        relay.heal()
        relay.show(prompt)
        relay.fault("v1/permissions/*", "stall")
        relay.forget()
        process = self.start("allow", "p")
        wait_until(relay.decisions)
        self.assertIn(doubt, self.interrupt(process)[1])
        relay.heal()
        relay.show(prompt)
        relay.fault("v1/permissions/*", "status=400")
        self.run_command("allow", "p", status=14, lacks=doubt)
        relay.heal()
        relay.show(session("claude", {"id": "a/../b", "detail": "ls"}))
        self.assertIn("proxy", self.run_json("allow", "a/../b")["warning"])

    def test_ambiguous_ids_are_refused_with_the_candidates(self):
        relay = self.paired("claude", "codex")
        relay.show(session("claude", {"id": "p-1", "detail": "one"}),
                   session("codex", {"id": "p-1", "detail": "two"}))
        refusal = self.run_json("allow", "p-1", status=1)["error"]
        self.assertEqual(refusal["kind"], "ambiguousPrompt")
        # Equal in rank and time, they come in the order in which the fetches ended.
        self.assertEqual({c["detail"] for c in refusal["candidates"]}, {"one", "two"})
        self.assertEqual(relay.decisions(), [], "nothing was answered")
        self.run_command("allow", "p-1", "--agent", "codex", has="two")


class Settings(CommandTest):
    def test_approvals_show_what_the_relay_says(self):
        relay = self.paired("claude", "codex")
        self.assertEqual(self.run_json("approvals")["approvals"], [
            {"agent": agent, "remoteApprovals": False} for agent in ("claude", "codex")])
        self.run_command("approvals", "on", status=2)
        self.run_command("approvals", "on", "--agent", "codex",
                         has="Codex: remote approvals are on")
        self.run_command("approvals", "--agent", "codex", has="are on")
        self.run_command("approvals", "off", "--agent", "codex")
        relay.fault("v1/settings", "status=500")
        self.assertEqual(self.run_json("approvals", status=14)["approvals"], [])

    def test_unpair_needs_the_relay_or_a_word(self):
        relay = self.paired("claude", "codex")
        self.run_command("unpair", status=2)
        relay.fault("v1/unpair", "status=500")
        self.run_command("unpair", "--agent", "codex", status=14, has="--forget")
        self.assertEqual(len(self.stored()), 2)
        self.run_command("unpair", "--agent", "codex", "--forget")
        relay.heal()
        stale = self.stored()
        self.store(stale + [{**one, "accessToken": "an-older-one"} for one in stale])
        self.run_command("unpair", "--agent", "claude", has="another pairing")
        self.run_command("unpair")
        self.assertEqual(self.stored(), [])
        self.store(stale)
        self.run_command("sessions", status=4)
        self.run_command("unpair")  # the relay has forgotten it already
        self.assertEqual(self.stored(), [])
