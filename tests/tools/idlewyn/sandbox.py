# SPDX-License-Identifier: MIT
"""Runs the command and sandbox relays as processes, and watches for secrets. The environment names
both programs: IDLEWYN=... IDLEWYN_SANDBOX_RELAY=... python3 -m unittest storage.Push"""
import contextlib
import ctypes
import fcntl
import json
import os
import pathlib
import pty
import re
import select
import shutil
import signal
import sqlite3
import ssl
import struct
import subprocess
import tempfile
import termios
import time
import unittest
import urllib.request

import schemas

IDLEWYN, SANDBOX = os.environ.get("IDLEWYN"), os.environ.get("IDLEWYN_SANDBOX_RELAY")
SERVICE, GROUP = "app.vantor.idlewyn.connections", "group.app.vantor.idlewyn"


def wait_until(condition, why="", pause=0.01):
    deadline = time.monotonic() + 20
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError(f"waited in vain. {why}")
        time.sleep(pause)


class Relay:
    """A sandbox relay whose clock stands still; ends with the `with` block."""
    secrets = set()

    def __init__(self, *arguments):
        self.process = subprocess.Popen(
            [SANDBOX, "--manual-clock", "--until-stdin-closes", *arguments],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self._update(json.loads(self.process.stdout.readline()))

    def _update(self, facts):
        self.__dict__.update(facts)
        Relay.secrets |= {self.pairingCode, self.pairingLink}
        return self.pairingLink

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()

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

    def advance(self, seconds):
        self.control("clock", {"advance": seconds})

    def fault(self, endpoint, fault):
        self.control("faults", {"endpoint": endpoint, "fault": fault})

    def heal(self):
        self.control("faults", method="DELETE")

    def show(self, *sessions):
        self.control("sessions", {"sessions": sessions})

    def requests(self):
        return self.control("requests", method="GET")["requests"]

    def forget(self):
        """The requests until now."""
        self.control("requests", method="DELETE")

    def asked(self):
        return [request["target"] for request in self.requests()]

    def rounds(self):
        """How often it was asked for its sessions."""
        return sum("sessions" in target for target in self.asked())

    def decisions(self):
        return [(r["target"], r["body"]) for r in self.requests() if "permissions" in r["target"]]

    def renew(self):
        """A link with a new code."""
        return self._update(self.control("code"))


def session(provider, prompt=None, **fields):
    date = "2026-03-05T14:07:09.250Z"
    record = {"id": "s-" + provider, "provider": provider, "title": "Title",
              "status": "waitingForInput" if prompt else "working",
              "startedAt": date, "updatedAt": date, **fields}
    if prompt:
        record["permission"] = {"toolName": "Bash", "createdAt": date, **prompt}
    return record


def die_on_socket():
    """From now on this process is killed (SIGSYS) when it asks for a socket (seccomp(2))."""
    number = {"x86_64": 41, "aarch64": 198}[os.uname().machine]
    rules = ((0x20, 0, 0, 0), (0x15, 0, 1, number), (0x06, 0, 0, 0x80000000),
             (0x06, 0, 0, 0x7FFF0000))
    packed = ctypes.create_string_buffer(b"".join(struct.pack("HBBI", *rule) for rule in rules))
    program = struct.pack("HP", len(rules), ctypes.addressof(packed))
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.prctl(38, 1, 0, 0, 0) != 0 or libc.prctl(22, 2, program, 0, 0) != 0:
        os._exit(99)


class CommandTest(unittest.TestCase):
    """Each case has a home of its own. What the command wrote is searched for secrets."""

    def setUp(self):
        self.home = pathlib.Path(tempfile.mkdtemp(prefix="idlewyn-test-"))
        self.addCleanup(shutil.rmtree, self.home)
        self.keychain = self.home / "data/idlewyn/keychain"
        self.file = self.keychain / "keychain.sqlite3"
        (self.home / "tmp").mkdir()
        self.environment = {**os.environ, "HOME": str(self.home), "TERM": "xterm",
                            "XDG_DATA_HOME": str(self.home / "data"), "IDLEWYN_KEYCHAIN": "file",
                            "TMPDIR": str(self.home / "tmp"), "IDLEWYN_SANDBOX_RELAY": SANDBOX}
        for name in ("DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR", "DISPLAY", "IDLEWYN_DATA_DIR",
                     "IDLEWYN_INFO"):
            self.environment.pop(name, None)  # nothing of the user's
        self.written = ""
        self.secrets = set()

    def tearDown(self):
        self.note_tokens()
        for secret in self.secrets | Relay.secrets:
            self.assertNotIn(secret, self.written, "a secret was written")

    def items(self):
        """What the keychain's file holds, by key."""
        if not self.file.exists():
            return {}
        with contextlib.closing(sqlite3.connect(self.file)) as database:
            return dict(database.execute("SELECT account, value FROM items"))

    def stored(self):
        """The list of connections."""
        return json.loads(self.items().get("connections", b"[]"))

    def store(self, value):
        """In place of what is stored: a list of connections, or bytes as they are."""
        if not isinstance(value, bytes):
            value = json.dumps(value).encode()
        with contextlib.closing(sqlite3.connect(self.file)) as database, database:
            database.execute("REPLACE INTO items VALUES(?, 'connections', ?, 1, 0, ?)",
                             (SERVICE, GROUP, value))

    def note_tokens(self):
        with contextlib.suppress(sqlite3.DatabaseError):  # damaged on purpose
            for value in self.items().values():
                self.secrets.update(re.findall('"accessToken": ?"([^"]+)"', value.decode()))

    def start(self, *arguments, **options):
        options.setdefault("start_new_session", True)  # without the terminal of who runs this
        options.setdefault("stdin", subprocess.PIPE)
        return subprocess.Popen([IDLEWYN, *arguments], env=self.environment, text=True,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options)

    def finish(self, process, status, input=None):
        out, err = process.communicate(input, timeout=30)
        self.written += out + err
        self.note_tokens()
        self.assertEqual(process.returncode, status, out + err)
        if status >= 0:
            schemas.check(process.args, out)
        return out, err

    def round_of(self, watch):
        """The next round of a watch that writes JSON."""
        line = watch.stdout.readline()
        schemas.check(watch.args, line)
        return json.loads(line)

    def run_command(self, *arguments, status=0, input="", has=(), lacks=(), **options):
        """What it writes, in which all parts are that it is to have."""
        text = "".join(self.finish(self.start(*arguments, **options), status, input))
        for part in (has,) if isinstance(has, str) else has:
            self.assertIn(part, text, arguments)
        for part in (lacks,) if isinstance(lacks, str) else lacks:
            self.assertNotIn(part, text, arguments)
        return text

    def run_json(self, *arguments, status=0, **options):
        return json.loads(self.run_command(*arguments, "--json", status=status, **options))

    def paired(self, *agents, options=()):
        """A relay for the rest of the case, with which these are paired."""
        relay = self.enterContext(Relay(*options))
        for agent in agents:
            self.pair(relay, agent)
        return relay

    def pair(self, relay, agent):
        return self.run_json("pair", "-", "--agent", agent, input=relay.renew() + "\n")

    def wait_for_request(self, relay, target, count=1):
        wait_until(lambda: relay.asked().count(target) >= count, target)

    def connections(self):
        return self.run_json("connections")["connections"]

    def seen(self):
        """The ids of the sessions in the shared snapshot."""
        return {s["id"] for s in self.run_json("status")["sessions"]}

    def interrupt(self, process, number=signal.SIGINT):
        process.send_signal(number)
        return self.finish(process, 130)

    def kill(self, process):
        process.kill()
        return self.finish(process, -signal.SIGKILL)


class Terminal:
    """The command as the program of a terminal of its own, whose keyboard the test is."""

    def __init__(self, environment, *arguments, rows=40, columns=100):
        self.master, slave = pty.openpty()
        self.resize(rows, columns)
        self.process = subprocess.Popen(
            [IDLEWYN, *arguments], env=environment, stdin=slave, stdout=slave, stderr=slave,
            start_new_session=True, preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0))
        os.close(slave)
        self.shown = ""

    def resize(self, rows, columns):
        fcntl.ioctl(self.master, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))

    def read(self):
        """What is written next; empty once nobody has the terminal open any more."""
        if not select.select([self.master], [], [], 20)[0]:
            raise AssertionError(f"nothing more comes behind: {self.shown}")
        try:
            text = os.read(self.master, 65536).decode(errors="replace")
        except OSError:  # EIO: all have closed it
            text = ""
        self.shown += text
        return text

    def expect(self, text):
        """Reads on until `text` was shown; gives what was shown up to there, and forgets it."""
        while text not in self.shown:
            if not self.read():
                raise AssertionError(f"{text!r} is not in {self.shown!r}")
        before, self.shown = self.shown.split(text, 1)
        return before + text

    def type(self, text):
        os.write(self.master, text.encode())

    def finish(self, case, status):
        while self.read():
            pass
        os.close(self.master)
        case.written += self.shown
        case.assertEqual(self.process.wait(20), status, self.shown)
        return self.shown
