# SPDX-License-Identifier: MIT
"""A session bus of its own, and a keyring on it."""
import os
import pathlib
import shutil
import subprocess
import tempfile

from sandbox import wait_until

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
        wait_until((self.home / "bus").exists, "is dbus-daemon installed?")
        return self

    def __exit__(self, *_):
        self._end(self.bus)
        shutil.rmtree(self.home)

    def send(self, to, path, *message, options=("--print-reply", "--reply-timeout=5000")):
        """What it is answered with; empty for an error."""
        return subprocess.run(["dbus-send", f"--bus={self.address}", *options, f"--dest={to}", path,
                               *message], capture_output=True).stdout

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
        wait_until(self._is_up, "is gnome-keyring installed?")

    def stop(self):
        self._end(self.service)
        wait_until(lambda: not self._is_up())

    def lock(self):
        """What the desktop does together with the screen."""
        answer = self.send("org.freedesktop.secrets", "/org/freedesktop/secrets",
                           "org.freedesktop.Secret.Service.Lock",
                           "array:objpath:/org/freedesktop/secrets/collection/login")
        assert answer, "it is not locked"

    def unlock(self):
        self.stop()
        self.start()

    def _is_up(self):
        return bool(self.send("org.freedesktop.DBus", "/org/freedesktop/DBus",
                              "org.freedesktop.DBus.GetNameOwner",
                              "string:org.freedesktop.secrets"))
