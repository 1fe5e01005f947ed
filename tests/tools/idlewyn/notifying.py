# SPDX-License-Identifier: MIT
"""watch --notify with a notification server, on a bus of its own."""
import json
import pathlib
import select
import signal
import socket
import subprocess
import sys
import time

from keyring import Bus
from sandbox import CommandTest, session

FULL = ("body", "body-markup", "actions")
ALLOW, DENY, ALWAYS = ["allow", "Allow"], ["deny", "Deny"], ["always", "Always"]


def prompt(id="p-1", detail="make", **more):
    return session("claude", {"id": id, "detail": detail, **more}, id="s-" + id)


def working(id="p-1", **more):
    return session("claude", id="s-" + id, **more)


class Notifying(CommandTest):
    def setUp(self):
        super().setUp()
        self.relay = self.paired("claude")
        self.bus = self.enterContext(Bus())
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = self.bus.address

    def end(self, process):
        process.kill()
        process.wait()
        for stream in (process.stdin, process.stdout, process.stderr):
            if stream:
                stream.close()

    def start_server(self, *capabilities):
        place = pathlib.Path(__file__).with_name("notification_server.py")
        self.server = subprocess.Popen([sys.executable, place, *capabilities], bufsize=0,
                                       env=self.environment, stdin=subprocess.PIPE,
                                       stdout=subprocess.PIPE)
        self.addCleanup(self.end, self.server)
        self.assertEqual(self.event(), {"ready": True})

    def event(self, seconds=20):
        """What the server was asked next; nothing when nothing comes in time."""
        ready = select.select([self.server.stdout], [], [], seconds)[0]
        return json.loads(self.server.stdout.readline()) if ready else None

    def press(self, shown, *buttons):
        for button in buttons:
            self.server.stdin.write(json.dumps([shown["id"], button]).encode() + b"\n")

    def watch(self, *capabilities):
        """Begins with working sessions, so that what comes is a transition."""
        self.start_server(*capabilities)
        self.relay.show(working(), working("p-2"))
        watch = self.start("watch", "--notify", "--json", "--interval", "0.05")
        self.addCleanup(self.end, watch)
        self.assertEqual(len(self.round_of(watch)["sessions"]), 2)
        return watch

    def notified(self, *sessions):
        self.relay.show(*sessions)
        return self.event()["notify"]

    def answers(self, watch):
        while not (answers := self.round_of(watch).get("answers")):
            pass
        return answers

    def test_what_is_open_is_told_once_and_taken_down_when_it_has_ended(self):
        watch = self.watch(*FULL)
        first = self.notified(prompt(), working("p-2"))
        self.assertEqual((first["title"], first["body"], first["buttons"]),
                         ("Claude: needs an answer · Title", "Bash: make", ALLOW + DENY))
        self.assertEqual((first["hints"]["urgency"], first["expires"]), (2, 0))
        other = prompt("p-2", alwaysRule="Bash(make)")
        second = self.notified(prompt(), other)
        self.assertEqual(second["buttons"], ALLOW + DENY + ALWAYS)
        self.assertIn("rule Bash(make)", second["body"])
        self.relay.show(prompt(detail="rm"), other)
        self.assertEqual(self.event(), {"close": first["id"]})
        changed = self.event()["notify"]
        self.assertEqual((changed["body"], changed["replaces"]), ("Bash: rm", 0))
        for sessions, told in (((working(), other), {"close": changed["id"]}),
                               ((working(), working("p-2", status="finished")),
                                {"close": second["id"]})):
            self.relay.show(*sessions)
            self.assertEqual(self.event(), told)
        self.assertIsNone(self.event(0.5))
        self.interrupt(watch)

    def test_a_button_answers_once(self):
        watch = self.watch(*FULL)
        for decision, id in (("allow", "p-1"), ("always", "p-2")):
            shown = self.notified(prompt(id, alwaysRule="Bash(make)"))
            self.press(shown, "default", "other", decision, decision, "deny")
            answers = self.answers(watch)
            self.assertEqual([(a["decision"], a["prompt"]["id"], a.get("kind")) for a in answers],
                             [(decision, id, None)])
            self.relay.show(working(), working("p-2"))
            self.assertEqual(self.event(), {"close": shown["id"]})
        self.assertEqual(self.relay.decisions(), [
            ("/v1/permissions/p-1", '{"decision":"allow"}'),
            ("/v1/permissions/p-2", '{"decision":"always"}')])
        self.interrupt(watch)

    def test_what_was_not_taken_is_said_and_asked_again_while_it_is_open(self):
        watch = self.watch(*FULL)
        shown = self.notified(prompt())
        for endpoint, status, kind in (("sessions", 503, "server"),
                                       ("permissions/*", 404, "promptExpired")):
            self.relay.fault(f"v1/{endpoint}", f"status={status}")
            self.press(shown, "deny")
            self.assertEqual(self.answers(watch)[0]["kind"], kind)
            told = self.event()["notify"]
            self.assertEqual((told["title"], told["buttons"]),
                             ("Claude: deny was not taken · Title", []))
            if status == 503:
                self.assertIn("HTTP 503", told["body"])
                self.relay.heal()
                self.assertEqual(self.event(), {"close": shown["id"]})
                shown = self.event()["notify"]
                self.assertEqual((shown["body"], shown["buttons"]), ("Bash: make", ALLOW + DENY))
        self.assertEqual(self.event(), {"close": shown["id"]})
        self.assertIsNone(self.event(0.5))
        self.interrupt(watch)
        self.assertEqual(len(self.relay.decisions()), 1)

    def test_what_changed_since_it_was_shown_is_not_answered(self):
        watch = self.watch(*FULL)
        shown = self.notified(prompt())
        watch.send_signal(signal.SIGSTOP)  # it must not see the change before the answer
        self.relay.show(prompt(detail="rm -rf /"))
        self.press(shown, "allow")
        time.sleep(0.2)
        watch.send_signal(signal.SIGCONT)
        deadline = time.monotonic() + 10
        events, seen = [], []
        while time.monotonic() < deadline and {"close": shown["id"]} not in events and not seen:
            seen = self.round_of(watch).get("answers") or []
            events.append(self.event(0))
        if seen:
            self.assertEqual(seen[0]["kind"], "promptChanged")
        self.assertEqual(self.relay.decisions(), [])

    def test_only_the_server_is_believed(self):
        watch = self.watch(*FULL)
        shown = self.notified(prompt())
        self.bus.send(shown["sender"], "/org/freedesktop/Notifications",
                      "org.freedesktop.Notifications.ActionInvoked", f"uint32:{shown['id']}",
                      "string:allow", options=["--type=signal"])
        time.sleep(0.3)
        self.press(shown, "deny")
        self.assertEqual(self.answers(watch)[0]["decision"], "deny")
        self.assertEqual(len(self.relay.decisions()), 1)

    def test_each_server_is_given_what_it_can_show(self):
        asked, title = prompt(detail="a <b> & c"), "Claude: needs an answer · Title"
        later = "Answer with: idlewyn allow p-1"
        long = "x" * 400 + "; rm -rf /"
        done = working(status="finished", title="t" * 99, summary="All <b>green</b> & more\x1b[2J\u202e")
        for capabilities, given, expected in (
                (("body",), asked, (title, "Bash: a <b> & c\n" + later)),
                ((), asked, (title + ": Bash: a <b> & c", "")),
                (FULL, prompt(detail=long), (title, "Not shown whole here. " + later)),
                (FULL, done, ("Claude: Finished · " + "t" * 59 + "…", "All &lt;b&gt;green&lt;/b&gt; &amp; "
                              "more\\u{1B}[2J\\u{202E}"))):
            watch = self.watch(*capabilities)
            shown = self.notified(given)
            self.assertEqual((shown["title"], shown["buttons"]), (expected[0], []))
            self.assertEqual(shown["body"][-len(expected[1]):], expected[1])
            self.interrupt(watch)
            self.assertEqual(shown["expires"], -1 if given is done else 0)
            if given is done:
                self.assertIsNone(self.event(0.2), "it may be read later")
            self.end(self.server)

    def test_questions_outlive_the_server_and_are_taken_down_at_the_end(self):
        watch = self.watch(*FULL)
        self.notified(prompt())
        self.end(self.server)
        self.relay.show(prompt(), prompt("p-2", "make all"))
        while "p-2" not in watch.stdout.readline():
            pass
        self.start_server(*FULL)
        shown = [self.event()["notify"] for _ in range(2)]
        self.assertEqual([each["body"] for each in shown], ["Bash: make", "Bash: make all"])
        self.interrupt(watch, signal.SIGHUP)
        closed = [self.event()["close"] for _ in range(2)]
        self.assertEqual(sorted(closed), [each["id"] for each in shown])
        watch = self.start("watch", "--notify")
        self.assertEqual(self.event()["notify"]["body"], "Bash: make", "it is still open")
        self.interrupt(watch)

    def test_the_end_is_told_when_every_relay_refuses(self):
        self.start_server(*FULL)
        self.relay.fault("v1/sessions", "status=401")
        self.finish(self.start("watch", "--notify"), 4)
        told = self.event()["notify"]
        self.assertEqual(told["title"], "Coding agents are not watched any more")
        self.assertIn("Claude: The relay rejected", told["body"])

    def test_without_a_server_there_is_text_and_no_wait(self):
        silent = self.enterContext(socket.socket(socket.AF_UNIX))
        silent.bind(str(self.home / "silent"))
        silent.listen()
        for address, part in (("", "no session bus"), ("autolaunch:", "no session bus"),
                              ("unix:path=/nowhere", "can't be reached"),
                              ("nonsense", "can't be reached"),
                              (f"unix:path={self.home}/silent", "can't be reached"),
                              (self.bus.address, "No notification server")):
            self.environment["DBUS_SESSION_BUS_ADDRESS"] = address
            begin = time.monotonic()
            watch = self.start("watch", "--notify", "--interval", "0.1")
            self.addCleanup(self.end, watch)
            self.assertIn("── ", watch.stdout.readline())
            self.assertLess(time.monotonic() - begin, 2, address)
            self.assertIn(part, watch.stderr.readline())
            begin = time.monotonic()
            self.interrupt(watch)
            self.assertLess(time.monotonic() - begin, 2, address)

    def test_the_bus_is_nobodys_business_who_does_not_ask_for_it(self):
        self.start_server(*FULL)
        self.relay.show(working())
        for arguments, is_loaded in ((("--notify",), True), ((), False)):
            watch = self.start("watch", "--json", "--interval", "0.05", *arguments)
            watch.stdout.readline()
            maps = pathlib.Path(f"/proc/{watch.pid}/maps").read_text()
            self.assertEqual([part in maps for part in ("libgio", "libglib", "idlewyn-notify")],
                             [is_loaded] * 3)
            self.assertNotIn("libdbus", maps)
            self.interrupt(watch)
