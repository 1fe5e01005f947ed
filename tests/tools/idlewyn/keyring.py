# SPDX-License-Identifier: MIT
"""A session bus of its own, and a keyring on it."""
import os
import pathlib
import shutil
import subprocess
import tempfile
import time

BUS = """<busconfig><type>session</type><listen>{address}</listen><auth>EXTERNAL</auth>
<policy context="default"><allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/>
<allow own="*"/></policy></busconfig>"""


class Bus:
    """Ends with the `with` block."""

    def __enter__(self):
        self.home = pathlib.Path(tempfile.mkdtemp(prefix="idlewyn-bus-"))
        self.address = f"unix:path={self.home}/bus"
        configuration = self.home / "bus.conf"
        configuration.write_text(BUS.format(address=self.address))
        self.bus = self._start("dbus-daemon", "--nofork", f"--config-file={configuration}")
        self._await(lambda: (self.home / "bus").exists())
        return self

    def __exit__(self, *_):
        self._end(self.bus)
        shutil.rmtree(self.home)

    def _start(self, *command, password=b""):
        environment = {"PATH": os.environ["PATH"], "HOME": str(self.home),
                       "XDG_RUNTIME_DIR": str(self.home), "DBUS_SESSION_BUS_ADDRESS": self.address}
        process = subprocess.Popen(command, env=environment, stdin=subprocess.PIPE,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        process.stdin.write(password)
        process.stdin.close()
        return process

    def _end(self, process):
        process.terminate()
        process.wait(10)

    def _await(self, condition):
        deadline = time.monotonic() + 20
        while not condition():
            if time.monotonic() > deadline:
                raise AssertionError("bus or keyring do not start; are they installed?")
            time.sleep(0.005)


class Keyring(Bus):
    """Begins unlocked."""

    def __enter__(self):
        super().__enter__()
        self.start()
        return self

    def __exit__(self, *_):
        self.stop()
        super().__exit__()

    def start(self):
        """Over the items that there are; unlocked again."""
        self.service = self._start("gnome-keyring-daemon", "--foreground", "--components=secrets",
                                   "--unlock", password=b"sesame")
        self._await(self._is_up)

    def stop(self):
        self._end(self.service)
        self._await(lambda: not self._is_up())

    def lock(self):
        """What the desktop does together with the screen."""
        self._send("org.freedesktop.secrets", "/org/freedesktop/secrets",
                   "org.freedesktop.Secret.Service.Lock",
                   "array:objpath:/org/freedesktop/secrets/collection/login", check=True)

    def unlock(self):
        self.stop()
        self.start()

    def _is_up(self):
        return self._send("org.freedesktop.DBus", "/org/freedesktop/DBus",
                          "org.freedesktop.DBus.GetNameOwner",
                          "string:org.freedesktop.secrets").returncode == 0

    def _send(self, to, path, *message, check=False):
        return subprocess.run(["dbus-send", f"--bus={self.address}", "--print-reply",
                               "--reply-timeout=5000", f"--dest={to}", path, *message],
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=check)
