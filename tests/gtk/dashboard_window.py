# SPDX-License-Identifier: MIT
"""The dashboard's window as a screen reader, a mouse and a keyboard reach it. Needs a display and a
session bus, and GSettings in memory."""
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
# What later versions of GTK and AT-SPI call them.
OTHER_NAMES = {"button": "push button", "grouping": "panel"}


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
            role = OTHER_NAMES.get(child.get_role_name(), child.get_role_name())
            found += [(role, child.get_name() or "", child), *tree(child)]
    return found


def screen_rows():
    """The X server's picture (XWD, 24 bits in 32): blue, green, red, nothing; a row a line."""
    data = pathlib.Path(os.environ["IDLEWYN_TEST_SCREEN"]).read_bytes()
    head = struct.unpack(">25I", data[:100])
    header_size, width, height, stride, colors = head[0], head[4], head[5], head[12], head[19]
    pixels = data[header_size + 12 * colors:]
    return [pixels[y * stride:y * stride + 4 * width] for y in range(height)]


def session(number, prompt=None, **fields):
    return sandbox.session("claude", prompt, **{
        "id": f"s{number}", "title": f"Title \u202e{number}",
        "workingDirectory": f"/src/project{number}",
        "turnStartedAt": "2026-03-05T14:07:09.250Z", **fields})


def centre(place):
    return place.x + place.width // 2, place.y + place.height // 2


class DashboardCase(unittest.TestCase):
    """Each class has a relay, a home and a window of its own; `paired` says whether they know each
    other, `arguments` are the program's."""
    paired, arguments = True, []

    @classmethod
    def setUpClass(cls):
        cls.data = cls.enterClassContext(tempfile.TemporaryDirectory(prefix="idlewyn-dashboard-"))
        os.environ.update(IDLEWYN_DATA_DIR=cls.data, IDLEWYN_KEYCHAIN="file", GTK_A11Y="atspi",
                          G_DEBUG="fatal-warnings")
        cls.settings = XSettings.shared()
        cls.relay = cls.enterClassContext(sandbox.Relay())
        if cls.paired:
            cls.pair()
        cls.prepare()
        Atspi.get_desktop(0)  # the bus and its registry run before the window comes
        cls.start()

    @classmethod
    def pair(cls):
        subprocess.run([IDLEWYN, "pair", cls.relay.pairingLink, "--agent", "claude"], check=True,
                       stdout=subprocess.DEVNULL)

    @classmethod
    def prepare(cls):
        pass

    @classmethod
    def start(cls):
        cls.program = subprocess.Popen([DASHBOARD, *cls.arguments])
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
        role = OTHER_NAMES.get(role, role)
        return [child for r, n, child in self.shown() if (r, n) == (role, name)]

    def says(self, *parts):
        """Whether one name has them all."""
        return any(all(part in name for part in parts) for _, name, _ in self.shown())

    def is_in(self, state, role, name):
        try:
            return any(found.get_state_set().contains(state) for found in self.named(role, name))
        except GLib.Error:
            return False

    def is_open(self, name):
        """Whether that button takes a click."""
        return self.is_in(Atspi.StateType.SENSITIVE, "button", name)

    def place(self, role, name):
        return self.named(role, name)[0].get_extents(Atspi.CoordType.WINDOW)

    def window_id(self):
        return subprocess.check_output(["xdotool", "search", "--onlyvisible", "--name",
                                        "Sessions"], text=True).split()[0]

    def width(self):
        shape = subprocess.check_output(
            ["xdotool", "getwindowgeometry", "--shell", self.window_id()], text=True)
        return int(shape.split("WIDTH=")[1].split()[0])

    def resize(self, width, height):
        subprocess.run(["xdotool", "windowsize", self.window_id(), str(width), str(height)],
                       check=True)

    def press(self, *keys):
        subprocess.run(["xdotool", "windowfocus", "--sync", self.window_id()], check=True)
        subprocess.run(["xdotool", "key", "--clearmodifiers", *keys], check=True)

    def move(self, point):
        """The window has the display's upper left corner."""
        subprocess.run(["xdotool", "mousemove", *map(str, point)], check=True)

    def click(self, point):
        self.move(point)
        subprocess.run(["xdotool", "click", "1"], check=True)

    def decisions(self):
        return [(target.split("/")[-1], body) for target, body in self.relay.decisions()]
