#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""run_examples.py EXAMPLES_FOLDER SANDBOX_RELAY IDLEWYN [CASE ...]: the examples do what docs/ say.

Environment: IDLEWYN_CADDY=1 also runs behind Caddy, which must then be installed.
"""
import json
import os
import pathlib
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import time
import unittest

sys.dont_write_bytecode = True
ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests/tools/idlewyn"))
import sandbox
from sandbox import Relay, session

BUILT = IDLEWYN = ""


def free_port():
    with socket.socket() as holder:
        holder.bind(("127.0.0.1", 0))
        return holder.getsockname()[1]


def answers(relay):
    return [json.loads(body)["decision"] for _, body in relay.decisions()]


class ExampleTest(unittest.TestCase):
    def setUp(self):
        self.home = pathlib.Path(tempfile.mkdtemp(prefix="idlewyn-examples-"))
        self.addCleanup(shutil.rmtree, self.home)
        self.environment = {**os.environ, "HOME": str(self.home), "IDLEWYN_KEYCHAIN": "file",
                            "IDLEWYN_DATA_DIR": str(self.home / "data")}

    def run_program(self, program, *arguments, status=0, typed=""):
        done = subprocess.run([program, *arguments], env=self.environment, text=True,
                              input=typed, capture_output=True, timeout=30)
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        return done.stdout + done.stderr

    def run_example(self, name, *arguments, **options):
        return self.run_program(f"{BUILT}/{name}", *arguments, **options)


class Guide(ExampleTest):
    def test_pairs_once_then_fetches_answers_and_remembers(self):
        with Relay() as relay:
            first = self.run_example("guide", relay.pairingLink)
            self.assertNotIn(" now: ", first, "there was nothing before")
            relay.advance(30)
            second = self.run_example("guide")
            self.assertRegex(second, "1 needs you")
            self.assertRegex(second, " now: Needs input")
            self.assertRegex(second, r"\[y\]es once, \[n\]o\? $", "it asks")
            self.assertEqual(answers(relay), [], "nobody has answered")
            self.assertIn("Answered: allow", self.run_example("guide", typed="y\n"))
            self.assertEqual(answers(relay), ["allow"])
            self.assertNotIn("Answered", self.run_example("guide", typed="y\n"), "it is answered")
        lost = self.run_example("guide")
        self.assertRegex(lost, "Claude Code: .")
        self.assertGreater(lost.count("\n"), 2, "the last known sessions are kept")

    def test_sends_what_the_user_decides_and_shows_nothing_that_deceives(self):
        with Relay() as relay:
            self.run_example("guide", relay.pairingLink)
            relay.show(session("claude", {"id": "p", "detail": "rm \x1b[2J\u202egpj"}))
            asked = self.run_example("guide", typed="n\n")
            self.assertIn(r"| rm \u{1B}[2J\u{202E}gpj", asked)
            self.assertIn("Answered: deny", asked)
            self.assertEqual(answers(relay), ["deny"])

    def test_says_why_it_can_not_pair(self):
        with Relay() as relay:
            self.run_example("guide", relay.pairingLink)
            refused = self.run_example("guide", relay.pairingLink, status=1)
            self.assertNotIn(relay.pairingLink, refused)
            self.assertRegex(refused, r"\.$", "a sentence")
        self.assertIn("no pairing link", self.run_example("guide", "idlewyn://pair", status=1))

    def test_draws_what_was_stored(self):
        if not pathlib.Path(BUILT, "draw").exists():
            self.assertNotIn("libidlewynkit-ui", " ".join(os.listdir(f"{BUILT}/../IdlewynKit")))
            return
        invented = self.picture()
        with Relay() as relay:
            self.run_example("guide", relay.pairingLink)
        self.assertNotEqual(self.picture(), invented)
        self.run_example("draw", str(self.home / "absent/picture.svg"), status=1)

    def picture(self):
        file = self.home / "picture.svg"
        self.run_example("draw", str(file))
        self.assertIn("<svg", file.read_text())
        return file.read_text()


class Threads(ExampleTest):
    def test_fetches_on_a_loop_and_on_a_pool_and_gives_up_in_time(self):
        with Relay() as relay:
            out = self.run_example("threads", relay.pairingLink)
            self.assertRegex(out, r"\d+ sessions\n\d+ on a pool\n[1-9]\d* in time\n$")
            relay.renew()
            relay.control("faults", {"endpoint": "v1/sessions", "fault": "delay=2"})
            begin = time.monotonic()
            out = self.run_example("threads", relay.pairingLink)
            self.assertLess(time.monotonic() - begin, 10)
            self.assertRegex(out, r"Codex: .+\n0 in time\n$")

    def test_runs_on_a_glib_loop(self):
        self.assertRegex(self.run_example("glib_loop"), r"^[1-9]\d* sessions\n$")


class WebServerTest(ExampleTest):
    """The lines of docs/proxy.md, with other ports and files."""

    def setUp(self):
        super().setUp()
        self.pin = subprocess.run([ROOT / "examples/proxy/make-certificate", "localhost",
                                   self.home], check=True, capture_output=True,
                                  text=True).stdout.strip()

    def lines(self, name, port, relay):
        text = (ROOT / "examples/proxy" / name).read_text()
        for old, new in (("/etc/idlewyn", str(self.home)), ("127.0.0.1:8787", relay),
                         ("listen 443", f"listen 127.0.0.1:{port}"),
                         ("https://relay.example.org", f"https://localhost:{port}")):
            text = text.replace(old, new)
        return text

    def check(self, name, frame, *command):
        """Its lines, in a frame of other settings, serve a relay."""
        relay, port = self.enterContext(Relay("--http", "--prefix", "relay")), free_port()
        lines = self.lines(name, port, relay.address.split("/")[2])
        (self.home / name).write_text(frame % lines)
        process = subprocess.Popen(command, env={**self.environment,
                                                 "XDG_DATA_HOME": str(self.home)},
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(process.wait)
        self.addCleanup(process.terminate)
        base = f"https://localhost:{port}/relay"
        deadline = time.monotonic() + 20
        while subprocess.run(["curl", "-sk", "-o", os.devnull, base]).returncode:
            self.assertLess(time.monotonic(), deadline, "the web server does not come up")
            time.sleep(0.05)
        link = f"idlewyn://pair?url={base}&code={relay.pairingCode}&pin={self.pin}"
        self.assertIn("Working", self.run_example("guide", link))
        # A prompt that is named like another address, and one with every kind of character.
        for prompt in ("../unpair", "a/b c%2Fd?e#f"):
            relay.show(session("claude", {"id": prompt, "detail": "make"}))
            self.assertIn("Answered: allow", self.run_example("guide", typed="y\n"))


class Nginx(WebServerTest):
    def test_nginx(self):
        kinds = "".join(f"{kind}_temp_path {self.home}/{kind};\n" for kind in
                        ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
        self.check("nginx.conf", f"daemon off; pid {self.home}/nginx.pid; events {{}}\n"
                                 f"http {{ access_log off;\n{kinds}%s}}\n",
                   shutil.which("nginx", path=os.environ["PATH"] + ":/usr/sbin"),
                   "-p", self.home, "-c", "nginx.conf", "-e", "error.log")


if os.environ.get("IDLEWYN_CADDY"):
    class Caddy(WebServerTest):
        def test_caddy(self):
            self.check("Caddyfile", "{\n\tadmin off\n\tauto_https disable_redirects\n}\n%s",
                       "caddy", "run", "--adapter", "caddyfile",
                       "--config", str(self.home / "Caddyfile"))


class Desktop(ExampleTest):
    def test_bars_run_commands_that_answer_in_their_form(self):
        with Relay() as relay:
            self.run_program(IDLEWYN, "pair", relay.pairingLink, "--agent", "claude")
            relay.advance(30)
            self.run_program(IDLEWYN, "sessions")  # as the service does again and again
        folder = ROOT / "examples/desktop"
        settings = json.loads((folder / "waybar.jsonc").read_text())
        answer = json.loads(self.run_line(settings["custom/idlewyn"]["exec"]))
        self.assertIn("1", answer["text"])
        self.assertIn(answer["class"],
                      re.findall(r"idlewyn\.(\w+)", (folder / "waybar.css").read_text()))
        tmux = (folder / "tmux.conf").read_text().split("#(")[1].split(")")[0]
        self.assertIn("1 needs you", self.run_line(tmux))

    def run_line(self, line):
        name, *arguments = line.split()
        self.assertEqual(name, "idlewyn")
        out = self.run_program(IDLEWYN, *arguments)
        self.assertEqual(out.count("\n"), 1, out)
        return out

    def test_the_service_runs_an_option_that_there_is(self):
        text = (ROOT / "examples/desktop/idlewyn-watch.service").read_text()
        name, command, *options = text.split("ExecStart=")[1].split("\n")[0].split()
        self.assertEqual(name, "idlewyn")
        help_text = self.run_program(IDLEWYN, command, "--help")
        for option in options:
            self.assertIn(option, help_text)


if __name__ == "__main__":
    BUILT, sandbox.SANDBOX, IDLEWYN, *cases = sys.argv[1:]
    unittest.main(argv=sys.argv[:1] + cases)
