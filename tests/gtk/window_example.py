#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The example's window shows generated sessions where nothing is stored.

    with-display window_example.py PROGRAM
"""
import os
import subprocess
import sys
import tempfile
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402


def names(node, depth=0):
    """The names of an accessible element and of everything in it."""
    if node is None or depth > 12:
        return
    yield node.get_name() or ""
    for index in range(node.get_child_count()):
        yield from names(node.get_child_at_index(index), depth + 1)


def shown():
    try:
        return " ".join(names(Atspi.get_desktop(0)))
    except gi.repository.GLib.Error:  # an element went away meanwhile
        return ""


def main():
    with tempfile.TemporaryDirectory(prefix="idlewyn-window-") as data:
        environment = {**os.environ, "IDLEWYN_DATA_DIR": data, "IDLEWYN_KEYCHAIN": "file"}
        program = subprocess.Popen([sys.argv[1]], env=environment)
        try:
            deadline = time.monotonic() + 30
            while "Working" not in shown():
                if program.poll() is not None or time.monotonic() > deadline:
                    sys.exit(f"The window does not show the sessions. It shows: {shown()}")
                time.sleep(0.1)
        finally:
            program.terminate()
            program.wait()


if __name__ == "__main__":
    main()
