# SPDX-License-Identifier: MIT
"""A program in a terminal of its own, driven by keys, watched by what its screen shows."""
import pathlib
import re
import subprocess
import time


class TimedOut(AssertionError):
    pass


def wait_until(condition, what, seconds=20.0, pause=0.05):
    """What `condition` gives, once that is true."""
    deadline = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            raise TimedOut(f"after {seconds:g} s still not: {what}")
        time.sleep(pause)


class Terminals:
    """A tmux server of the test's own. Each terminal is a session in it."""

    def __init__(self, folder):
        self.socket = pathlib.Path(folder, "tmux.sock")
        self.count = 0

    def run(self, *arguments):
        return subprocess.run(["tmux", "-S", str(self.socket), "-f", "/dev/null", *arguments],
                              check=True, text=True, capture_output=True).stdout

    def start(self, command, folder, environment):
        self.count += 1
        name = f"agent{self.count}"
        given = [f"{key}={value}" for key, value in environment.items()]
        self.run("new-session", "-d", "-s", name, "-x", "160", "-y", "50", "-c", str(folder),
                 "env", "-i", *given, *map(str, command))
        self.run("set-option", "-g", "remain-on-exit", "on")
        return Terminal(self, name)

    def close(self):
        if self.socket.exists():
            subprocess.run(["tmux", "-S", str(self.socket), "kill-server"], check=False,
                           capture_output=True)


class Terminal:
    def __init__(self, terminals, name):
        self.terminals, self.name = terminals, name
        self.pid = int(terminals.run("list-panes", "-t", name, "-F", "#{pane_pid}"))

    def screen(self):
        try:
            return self.terminals.run("capture-pane", "-p", "-t", self.name)
        except subprocess.CalledProcessError:
            return ""

    def keys(self, *keys):
        self.terminals.run("send-keys", "-t", self.name, *keys)

    def write(self, text):
        self.terminals.run("send-keys", "-t", self.name, "-l", text)

    def shows(self, pattern, seconds=30.0):
        found = lambda: re.search(pattern, self.screen())
        try:
            return wait_until(found, f"the terminal shows {pattern!r}", seconds)
        except TimedOut as error:
            raise TimedOut(f"{error}\n{self.screen().rstrip()}") from None

    def close(self):
        subprocess.run(["tmux", "-S", str(self.terminals.socket), "kill-session", "-t", self.name],
                       check=False, capture_output=True)
