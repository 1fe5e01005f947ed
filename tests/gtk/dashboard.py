# SPDX-License-Identifier: MIT
"""The dashboard as a screen reader and a keyboard see it, on a sandbox relay.

    with-display dashboard.py IDLEWYN SANDBOX_RELAY DASHBOARD
"""
import os
import pathlib
import subprocess
import sys
import time
import unittest

from dashboard_window import (Atspi, DASHBOARD, DashboardCase, centre, eventually, 
                              screen_rows, session)


class DashboardTest(DashboardCase):
    @classmethod
    def prepare(cls):
        cls.sessions = [
            session(1, {"id": "p1", "detail": "make test\nmake install",
                        "alwaysRule": "Bash(make)"}),
            session(2, activity="Bash: swift test", taskDone=1, taskTotal=4)]
        cls.relay.show(*cls.sessions)

    def size(self, role, name):
        place = self.place(role, name)
        return place.width, place.height

    def is_night(self):
        """Nothing on the screen is light but red."""
        return max(max(row[0::4] + row[1::4]) for row in screen_rows()) < 120

    def test_1_a_screen_reader_finds_everything_that_is_shown_once(self):
        eventually(lambda: self.is_open("Allow Bash"), "the prompt's buttons")
        for expected in [("list", "Questions"), ("list item", "Claude Code in project1 asks: Bash"),
                         ("button", "Deny Bash"), ("button", "Always Bash"),
                         ("list", "Sessions"), ("list item", "project1"),
                         ("list item", "project2"), ("label", "Claude")]:
            self.assertTrue(self.named(*expected), expected)
        for part in ["make test", "make install", "Bash(make)", "1 of 4 tasks done",
                     "Bash: swift test", "1 needs you", r"Title \u{202E}2"]:
            self.assertTrue(self.says(part), part)
        names = [name for _, name, _ in self.shown()]
        for status in ["Needs input", "Working"]:
            self.assertEqual(names.count(status), 1, status)
        self.assertFalse(self.says("Pair an Agent"), "what is not shown is not there")
        place = self.place("label", "Needs input")
        self.assertGreater(place.width, 10)
        self.assertGreater(place.y, 10)

    def test_1_text_follows_the_desktop_s_size_live(self):
        shown = [("button", "Allow Bash"), ("label", "project1")]
        before = {what: self.size(*what) for what in shown}
        self.settings.set({"Xft/DPI": 192 * 1024})
        for what in shown:
            eventually(lambda: self.size(*what)[1] > 1.3 * before[what][1], f"larger: {what}")
        self.settings.set({"Xft/DPI": 96 * 1024})
        for what in shown:
            eventually(lambda: self.size(*what) == before[what], f"as before: {what}")

    def test_1_what_time_alone_changes_is_not_told(self):
        told = []
        listener = Atspi.EventListener.new(lambda event: told.append(event.source.get_name()))
        listener.register("object:property-change:accessible-name")
        end = time.monotonic() + 7
        eventually(lambda: time.monotonic() > end, "seven seconds")
        self.assertEqual(told, [], "two fetches and seven ticks of a clock")
        self.relay.show(self.sessions[0],
                        session(2, activity="Edit: main.cpp", taskDone=1, taskTotal=4))
        eventually(lambda: any("main.cpp" in name for name in told), "what is new is told")
        listener.deregister("object:property-change:accessible-name")

    def test_2_a_prompt_is_answered_by_keyboard(self):
        eventually(lambda: self.is_open("Allow Bash"), "the prompt's buttons")
        for name in ["Deny Bash", "Allow Bash"]:
            self.press("Tab")
            eventually(lambda: self.is_in(Atspi.StateType.FOCUSED, "button", name), name)
        self.press("space")
        eventually(self.decisions, "the relay has the answer")
        self.assertEqual(self.decisions(), [("p1", '{"decision":"allow"}')])
        eventually(lambda: self.named("alert", "Allowed."), "it is said")

    def test_3_a_failing_agent_is_told_and_its_cards_stay(self):
        self.relay.fault("v1/sessions", "status=503")
        eventually(lambda: self.says("Claude", "503"), "the error line")
        names = [name for _, name, _ in self.shown()]
        self.assertIn("project2", names)
        self.assertRegex(" ".join(names), r"Last seen \d+\W*s\w* ago", "the age of what is shown")

    def test_3_what_a_failing_agent_asked_is_not_offered(self):
        self.relay.heal()
        self.relay.show(*self.sessions)
        self.press("F5")
        eventually(lambda: self.is_open("Allow Bash"), "the prompt's buttons")
        self.relay.fault("v1/sessions", "status=503")
        self.press("F5")
        eventually(lambda: not self.named("button", "Allow Bash"), "no buttons")
        self.assertTrue(self.says("It waited for an answer then."))
        self.assertFalse(self.says("1 needs you ·"), "it is not counted")
        self.relay.heal()
        self.press("F5")
        eventually(lambda: self.named("button", "Allow Bash"), "they are back")
        self.relay.show(session(1), self.sessions[1])
        self.press("F5")
        eventually(lambda: not self.named("button", "Allow Bash"), "it was answered")

    def test_3_a_key_fetches_at_once(self):
        before = self.relay.rounds()
        eventually(lambda: self.relay.rounds() > before, "a fetch; the next by itself is 3 s away")
        before = self.relay.rounds()
        self.press("F5")
        eventually(lambda: self.relay.rounds() > before, "another", 1.5)

    def test_4_night_is_red_and_can_be_read(self):
        self.assertFalse(self.is_night())
        self.press("alt+n")
        eventually(self.is_night, "night is on")
        place = self.place("panel", "Summary")
        head = screen_rows()[place.y:place.y + place.height]
        self.assertGreater(max(max(row[2::4]) for row in head), 200, "the headline can be read")

    def test_5_night_and_size_outlive_the_window(self):
        self.resize(150, 500)
        eventually(lambda: self.width() <= 280, "the window is as narrow as it can be")
        self.assertTrue(self.says("Working"))
        self.press("ctrl+w")
        self.assertEqual(self.program.wait(10), 0)
        self.start()
        eventually(self.is_night, "night is remembered")
        eventually(lambda: self.width() <= 280, "the size is remembered")
        self.press("alt+n")
        self.resize(460, 640)
        self.press("ctrl+q")
        self.assertEqual(self.program.wait(10), 0)

    def test_6_what_can_t_be_read_is_said_with_a_way_on(self):
        folder = pathlib.Path(os.environ["IDLEWYN_DATA_DIR"], "keychain")
        for file in folder.iterdir():
            file.chmod(0o644)  # others could have read or written it
        self.start()
        eventually(lambda: self.says("keychain"), "the reason")
        eventually(lambda: self.named("button", "Try Again"), "a way on")
        for file in folder.iterdir():
            file.chmod(0o600)
        self.click(centre(self.place("button", "Try Again")))
        eventually(lambda: self.named("label", "project2"), "the sessions")


class StagesTest(DashboardCase):
    """What is shown while there is no session, on a relay that has none."""

    @classmethod
    def prepare(cls):
        cls.relay.show()
        cls.relay.fault("v1/sessions", "stall")

    def test_waiting_failing_and_empty_look_different(self):
        eventually(lambda: self.says("Asking the Agents"), "it is asking")
        self.relay.heal()
        self.relay.fault("v1/sessions", "status=503")
        eventually(lambda: self.says("No Agent Answers"), "it fails")
        eventually(lambda: self.says("Claude", "503"), "with the reason")
        self.relay.heal()
        self.click(centre(self.place("button", "Try Again")))
        eventually(lambda: self.says("No Sessions"), "it answers")
        self.assertFalse(self.named("button", "Try Again"))


class PairingTest(DashboardCase):
    paired = False

    def test_1_an_unpaired_user_is_told_what_to_do_and_nothing_is_invented(self):
        eventually(lambda: self.says("Pair an Agent"), "the page")
        self.assertFalse(self.named("list", "Sessions"))
        self.assertEqual(self.relay.requests(), [])

    def test_2_the_demo_is_a_choice_and_says_so(self):
        self.click(centre(self.place("button", "Show Demo Sessions")))
        eventually(lambda: self.says("These sessions are invented."), "the banner")
        self.assertEqual(self.find_window().get_name(), "Demo Sessions")
        self.click(centre(self.place("button", "Leave Demo")))
        eventually(lambda: self.says("Pair an Agent"), "the page is back")

    def test_3_what_is_no_link_is_refused_in_words(self):
        self.enter("idlewyn://pair?url=nowhere")
        eventually(lambda: self.says("not a complete pairing link"), "why")

    def test_4_a_link_from_elsewhere_pairs_only_when_told_to(self):
        subprocess.run([DASHBOARD, self.relay.pairingLink], check=True, timeout=30)
        eventually(lambda: self.says(self.relay.address), "whom it would pair with")
        groups = self.relay.fingerprint[:4], self.relay.fingerprint[-4:]
        self.assertTrue(self.says(*groups), "by which certificate")
        self.assertEqual(self.relay.requests(), [], "nothing was sent")
        self.click(centre(self.place("button", "Cancel")))
        eventually(lambda: self.says("Pair an Agent"), "the page is back")
        self.assertEqual(self.relay.requests(), [])

    def test_5_every_agent_of_the_relay_is_paired(self):
        self.relay.show(session(1))
        self.enter(self.relay.pairingLink)
        eventually(lambda: self.named("button", "Pair"), "the question")
        self.click(centre(self.place("button", "Pair")))
        eventually(lambda: self.says("Paired with Claude Code"), "what was paired")
        eventually(lambda: self.named("list item", "project1"), "the sessions")

    def enter(self, text):
        self.click(centre(self.place("text", "Pairing link or address")))
        self.press("ctrl+a")
        subprocess.run(["xdotool", "type", "--delay", "2", text], check=True)
        self.press("Return")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[4:])
