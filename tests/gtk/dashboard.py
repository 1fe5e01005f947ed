# SPDX-License-Identifier: MIT
"""The dashboard as a screen reader and a keyboard see it, on a sandbox relay.

    with-display dashboard.py IDLEWYN SANDBOX_RELAY DASHBOARD

Needs a display and a session bus.
"""
import os
import pathlib
import struct
import subprocess
import sys
import tempfile
import time
import unittest

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tools/idlewyn"))
import sandbox  # noqa: E402
from xsettings import XSettings  # noqa: E402

IDLEWYN, sandbox.SANDBOX, DASHBOARD = sys.argv[1:4]


def eventually(ask, what, seconds=20):
    end = time.monotonic() + seconds
    while not ask():
        if time.monotonic() > end:
            raise AssertionError(f"never came true: {what}")
        GLib.MainContext.default().iteration(False)  # hears what listeners wait for
        time.sleep(0.05)


def tree(node):
    """All that is shown below an accessible, as (role, name, accessible)."""
    found = []
    for child in map(node.get_child_at_index, range(node.get_child_count())):
        if child:
            found += [(child.get_role_name(), child.get_name() or "", child), *tree(child)]
    return found


def screen_rows():
    """The X server's picture (XWD, 24 bits in 32): blue, green, red, nothing; a row a line."""
    data = pathlib.Path(os.environ["IDLEWYN_TEST_SCREEN"]).read_bytes()
    head = struct.unpack(">25I", data[:100])
    header_size, width, height, stride, colors = head[0], head[4], head[5], head[12], head[19]
    pixels = data[header_size + 12 * colors:]
    return [pixels[y * stride:y * stride + 4 * width] for y in range(height)]


def session(number, prompt=None, **fields):
    return sandbox.session("claude", prompt, id=f"s{number}", title=f"Title \u202e{number}",
                           workingDirectory=f"/src/project{number}",
                           turnStartedAt="2026-03-05T14:07:09.250Z", **fields)


class DashboardTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        data = cls.enterClassContext(tempfile.TemporaryDirectory(prefix="idlewyn-dashboard-"))
        os.environ.update(IDLEWYN_DATA_DIR=data, IDLEWYN_KEYCHAIN="file", GTK_A11Y="atspi",
                          G_DEBUG="fatal-warnings")
        cls.settings = XSettings()
        cls.relay = cls.enterClassContext(sandbox.Relay())
        subprocess.run([IDLEWYN, "pair", cls.relay.pairingLink, "--agent", "claude"], check=True,
                       stdout=subprocess.DEVNULL)
        cls.sessions = [
            session(1, {"id": "p1", "detail": "make test\nmake install",
                        "alwaysRule": "Bash(make)"}),
            session(2, activity="Bash: swift test", taskDone=1, taskTotal=4)]
        cls.relay.show(*cls.sessions)
        Atspi.get_desktop(0)  # the bus and its registry run before the window comes
        cls.start()

    @classmethod
    def start(cls):
        cls.program = subprocess.Popen([DASHBOARD])
        cls.addClassCleanup(cls.program.wait, 10)
        cls.addClassCleanup(cls.program.terminate)
        eventually(cls.find_window, "the window is on the accessibility bus", 60)

    @classmethod
    def find_window(cls):
        desktop = Atspi.get_desktop(0)
        desktop.clear_cache()
        for index in range(desktop.get_child_count()):
            application = desktop.get_child_at_index(index)
            if application and "dashboard" in (application.get_name() or ""):
                application.set_cache_mask(Atspi.Cache.NONE)  # what is shown now
                if application.get_child_count():
                    return application.get_child_at_index(0)
        return None

    def shown(self):
        window = self.find_window()
        try:
            return tree(window) if window else []
        except GLib.Error:
            return []  # a part of it went meanwhile

    def named(self, role, name):
        return [child for r, n, child in self.shown() if r == role and n == name]

    def says(self, *parts):
        """Whether one name has them all."""
        return any(all(part in name for part in parts) for _, name, _ in self.shown())

    def window_id(self):
        return subprocess.check_output(["xdotool", "search", "--onlyvisible", "--name",
                                        "Sessions"], text=True).split()[0]

    def width(self):
        shape = subprocess.check_output(
            ["xdotool", "getwindowgeometry", "--shell", self.window_id()], text=True)
        return int(shape.split("WIDTH=")[1].split()[0])

    def press(self, *keys):
        subprocess.run(["xdotool", "windowfocus", "--sync", self.window_id()], check=True)
        subprocess.run(["xdotool", "key", "--clearmodifiers", *keys], check=True)

    def is_in(self, state, role, name):
        return any(found.get_state_set().contains(state) for found in self.named(role, name))

    def place(self, role, name):
        return self.named(role, name)[0].get_extents(Atspi.CoordType.WINDOW)

    def size(self, role, name):
        place = self.place(role, name)
        return place.width, place.height

    def test_1_a_screen_reader_finds_everything_that_is_shown(self):
        eventually(lambda: self.named("push button", "Allow Bash"), "the prompt's buttons")
        for expected in [("image", "Needs input"), ("image", "Working"), ("label", "project1"),
                         ("label", "Claude"), ("push button", "Deny Bash"),
                         ("push button", "Always Bash")]:
            self.assertTrue(self.named(*expected), expected)
        for part in ["make test", "make install", "Bash(make)", "1 of 4 tasks done",
                     "Bash: swift test", "1 needs you", r"Title \u{202E}2"]:
            self.assertTrue(self.says(part), part)
        status = self.place("image", "Needs input")
        self.assertGreater(status.width, 10)
        self.assertGreater(status.y, 10)

    def test_1_text_follows_the_desktop_s_size_live(self):
        shown = [("push button", "Allow Bash"), ("label", "project1")]
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
        eventually(lambda: self.named("push button", "Allow Bash"), "the prompt's buttons")
        self.press("Tab")
        eventually(lambda: self.is_in(Atspi.StateType.FOCUSED, "push button", "Allow Bash"),
                   "one Tab leads to the first answer")
        self.press("space")
        eventually(self.relay.decisions, "the relay has the answer")
        self.assertEqual([body for _, body in self.relay.decisions()], ['{"decision":"allow"}'])
        eventually(lambda: self.says("Allowed"), "it is said")

    def test_3_a_failing_agent_is_told_and_its_cards_stay(self):
        self.relay.fault("v1/sessions", "status=503")
        eventually(lambda: self.says("Claude", "503"), "the error line")
        names = [name for _, name, _ in self.shown()]
        self.assertIn("project2", names)
        self.assertRegex(" ".join(names), r"Last seen \d+\W*s\w* ago", "the age of what is shown")

    def test_3_what_a_failing_agent_asked_is_not_offered(self):
        self.relay.heal()
        self.relay.show(*self.sessions)
        eventually(lambda: self.named("push button", "Allow Bash"), "the prompt's buttons")
        self.relay.fault("v1/sessions", "status=503")
        eventually(lambda: not self.named("push button", "Allow Bash"), "no buttons")
        self.assertTrue(self.says("It waited for an answer then."))
        self.relay.heal()
        eventually(lambda: self.named("push button", "Allow Bash"), "they are back")
        self.relay.show(session(1), self.sessions[1])
        eventually(lambda: not self.named("push button", "Allow Bash"), "it was answered")

    def test_3_a_key_fetches_at_once(self):
        before = self.relay.rounds()
        eventually(lambda: self.relay.rounds() > before, "a fetch; the next by itself is 3 s away")
        before = self.relay.rounds()
        self.press("F5")
        eventually(lambda: self.relay.rounds() > before, "another", 1.5)

    def test_4_night_is_a_switch_that_the_keyboard_reaches(self):
        eventually(lambda: self.named("check box", "Night"), "the switch")
        self.press("alt+n")
        eventually(self.is_night, "night is on")
        time.sleep(2.5)  # the fade takes 1.2
        rows = screen_rows()
        others = max(max(row[0::4] + row[1::4]) for row in rows)
        self.assertLess(others, 120, "nothing is light but red")
        place = self.place("panel", "Sessions")
        head = rows[place.y:place.y + place.height]
        self.assertGreater(max(max(row[2::4]) for row in head), 200, "the headline can be read")

    def is_night(self):
        return any(self.is_in(state, "check box", "Night")
                   for state in (Atspi.StateType.CHECKED, Atspi.StateType.PRESSED))

    def test_5_night_and_size_outlive_the_window(self):
        subprocess.run(["xdotool", "windowsize", self.window_id(), "150", "500"], check=True)
        eventually(lambda: self.width() <= 260, "the window is as narrow as it can be")
        self.press("ctrl+w")
        self.assertEqual(self.program.wait(10), 0)
        self.start()
        eventually(self.is_night, "night is remembered")
        eventually(lambda: self.width() <= 260, "the size is remembered")
        self.press("ctrl+q")
        self.assertEqual(self.program.wait(10), 0)

    def test_6_sessions_are_invented_only_where_nothing_is_paired_and_say_so(self):
        file = pathlib.Path(os.environ["IDLEWYN_DATA_DIR"], "keychain/keychain.sqlite3")
        kept = file.rename(f"{file}.kept")
        file.touch(0o644)
        self.start()
        eventually(lambda: self.says("keychain"), "it can't be read: anybody may")
        self.assertEqual(self.find_window().get_name(), "Sessions")
        file.unlink()
        eventually(lambda: self.find_window().get_name() == "Demo Sessions", "nothing is paired")
        kept.rename(file)
        eventually(lambda: self.named("label", "project2"), "pairing brings the agent's sessions")
        self.assertEqual(self.find_window().get_name(), "Sessions")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
