# SPDX-License-Identifier: MIT
"""The dashboard as a screen reader and a keyboard see it, on a sandbox relay.

    with-display dashboard.py IDLEWYN SANDBOX_RELAY DASHBOARD PICTURE

Needs a display and a session bus. Leaves a picture of the window.
"""
import json
import os
import pathlib
import ssl
import struct
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.request
import zlib

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402

IDLEWYN, SANDBOX, DASHBOARD, PICTURE = sys.argv[1:5]


def eventually(ask, what, seconds=20):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        answer = ask()
        if answer:
            return answer
        time.sleep(0.1)
    raise AssertionError(f"never came true: {what}")


def tree(node):
    """All that is shown below an accessible, as (role, name, accessible)."""
    found = []
    for index in range(node.get_child_count()):
        child = node.get_child_at_index(index)
        if child is None:
            continue
        found.append((child.get_role_name(), child.get_name() or "", child))
        found += tree(child)
    return found


def write_png(screen, path):
    """The X server's picture (XWD, 24 bits in 32) as PNG."""
    data = pathlib.Path(screen).read_bytes()
    head = struct.unpack(">25I", data[:100])
    header_size, width, height, stride, colors = head[0], head[4], head[5], head[12], head[19]
    pixels = data[header_size + 12 * colors:]
    rows = b""
    for y in range(height):
        row = pixels[y * stride:y * stride + 4 * width]
        rgb = bytearray(3 * width)
        rgb[0::3], rgb[1::3], rgb[2::3] = row[2::4], row[1::4], row[0::4]
        rows += b"\0" + bytes(rgb)

    def chunk(kind, body):
        return (struct.pack(">I", len(body)) + kind + body
                + struct.pack(">I", zlib.crc32(kind + body)))

    pathlib.Path(path).write_bytes(
        b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
        + chunk(b"IDAT", zlib.compress(rows, 6)) + chunk(b"IEND", b""))


class Relay:
    def __init__(self):
        self.process = subprocess.Popen(
            [SANDBOX, "--tls", "--manual-clock", "--until-stdin-closes"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.__dict__.update(json.loads(self.process.stdout.readline()))

    def stop(self):
        self.process.stdin.close()
        self.process.wait(10)
        self.process.stdout.close()

    def control(self, path, body=None, method="POST"):
        request = urllib.request.Request(f"{self.address}/sandbox/{path}", method=method,
                                         data=json.dumps(body).encode() if body else b"")
        context = ssl._create_unverified_context()
        with urllib.request.urlopen(request, context=context, timeout=10) as answer:
            return json.load(answer)

    def show(self, *sessions):
        self.control("sessions", {"sessions": list(sessions)})


def session(number, prompt=None, **fields):
    date = "2026-03-05T14:07:09.250Z"
    record = {"id": f"s{number}", "provider": "claude", "title": f"Title {number}",
              "workingDirectory": f"/src/project{number}",
              "status": "waitingForInput" if prompt else "working",
              "startedAt": date, "updatedAt": date, "turnStartedAt": date, **fields}
    if prompt:
        record["permission"] = {"toolName": "Bash", "createdAt": date, **prompt}
    return record


class DashboardTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.data = tempfile.TemporaryDirectory(prefix="idlewyn-dashboard-")
        os.environ.update(IDLEWYN_DATA_DIR=cls.data.name, IDLEWYN_KEYCHAIN="file",
                          GTK_A11Y="atspi")
        cls.relay = Relay()
        subprocess.run([IDLEWYN, "pair", cls.relay.pairingLink, "--agent", "claude"], check=True,
                       stdout=subprocess.DEVNULL)
        cls.relay.show(
            session(1, {"id": "p1", "detail": "make test\nmake install", "alwaysRule": "Bash(make)"}),
            session(2, activity="Bash: swift test", taskDone=1, taskTotal=4))
        Atspi.get_desktop(0)  # the bus and its registry run before the window comes
        cls.program = subprocess.Popen([DASHBOARD])
        eventually(cls.find_window, "the window is on the accessibility bus", 60)

    @classmethod
    def tearDownClass(cls):
        cls.program.terminate()
        cls.program.wait(10)
        cls.relay.stop()
        cls.data.cleanup()

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
        return tree(window) if window else []

    def named(self, role, name):
        return [child for r, n, child in self.shown() if r == role and n == name]

    def press(self, *keys):
        window = subprocess.check_output(["xdotool", "search", "--onlyvisible", "--name",
                                          "Sessions"]).split()[0].decode()
        subprocess.run(["xdotool", "windowfocus", "--sync", window], check=True)
        subprocess.run(["xdotool", "key", "--clearmodifiers", *keys], check=True)

    def decisions(self):
        requests = self.relay.control("requests", method="GET")["requests"]
        return [json.loads(request["body"]) for request in requests
                if request["target"] == "/v1/permissions/p1"]

    def test_1_a_screen_reader_finds_everything_that_is_shown(self):
        eventually(lambda: self.named("push button", "Allow Bash"), "the prompt's buttons")
        names = {(role, name) for role, name, _ in self.shown()}
        for expected in [("image", "Needs input"), ("image", "Working"), ("label", "project1"),
                         ("label", "Claude"), ("push button", "Deny Bash"),
                         ("push button", "Always Bash")]:
            self.assertIn(expected, names)
        texts = " ".join(name for _, name in names)
        for part in ["make test", "make install", "Bash(make)", "1 of 4 tasks done",
                     "Bash: swift test", "1 needs you"]:
            self.assertIn(part, texts)
        status = self.named("image", "Needs input")[0].get_extents(Atspi.CoordType.WINDOW)
        self.assertGreater(status.width, 10)
        self.assertGreater(status.y, 10)

    def test_2_a_prompt_is_answered_by_keyboard(self):
        eventually(lambda: self.named("push button", "Allow Bash"), "the prompt's buttons")
        write_png(os.environ["IDLEWYN_TEST_SCREEN"], PICTURE)
        self.press("alt+a")
        eventually(self.decisions, "the relay has the answer")
        self.assertEqual(self.decisions(), [{"decision": "allow"}])
        eventually(lambda: any("Allowed" in name for _, name, _ in self.shown()), "it is said")

    def test_3_a_failing_agent_is_told_and_its_cards_stay(self):
        self.relay.control("faults", {"endpoint": "v1/sessions", "fault": "status=503"})
        eventually(lambda: any("Claude" in name and "503" in name
                               for _, name, _ in self.shown()), "the error line")
        self.assertTrue(any(name == "project2" for _, name, _ in self.shown()))

    def test_4_night_is_a_switch_that_the_keyboard_reaches(self):
        switch = eventually(lambda: self.named("check box", "Night"), "the switch")[0]
        self.press("alt+n")
        eventually(lambda: switch.get_state_set().contains(Atspi.StateType.CHECKED)
                   or switch.get_state_set().contains(Atspi.StateType.PRESSED), "night is on")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
