# SPDX-License-Identifier: MIT
"""The relay, its hooks, and the command as the device far away."""
import json
import os
import pathlib
import signal
import subprocess

from terminal import wait_until

EXPIRED = 11  # the command's exit status for a prompt that is no longer open


class Relay:
    def __init__(self, folder, build, agent):
        self.folder, self.build, self.agent = pathlib.Path(folder), pathlib.Path(build), agent
        self.program = self.build / "tools/relay/idlewyn-relay"
        self.command = self.build / "tools/idlewyn/idlewyn"
        self.state = self.folder / "state"
        self.home = self.folder / "device"
        self.process = None
        self.home.mkdir(parents=True)
        self.run("setup", "--listen", "127.0.0.1", "--no-service")

    @property
    def provider(self):
        return self.agent.name.split()[0]

    def run(self, *words, check=True):
        result = subprocess.run([self.program, "--state", self.state, *words], text=True,
                                capture_output=True, stdin=subprocess.DEVNULL,
                                env={**os.environ, "HOME": str(self.agent.home),
                                     "PATH": f"{self.agent.path}:{os.environ['PATH']}"})
        if check and result.returncode:
            raise AssertionError(f"idlewyn-relay {' '.join(map(str, words))}: {result.stderr}")
        return result.stdout

    def start(self):
        self.process = subprocess.Popen(
            [self.program, "--state", self.state, "serve", "--codex-home", self.agent.config],
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        line = self.process.stdout.readline()
        assert "Serving" in line, line
        return self

    def pair(self):
        link = json.loads(self.run("link", "--json"))["link"]
        self.device("pair", link, "--agent", self.provider)

    def send(self, number):
        self.process.send_signal(number)

    def kill(self):
        self.send(signal.SIGKILL)
        self.process.wait()

    def close(self):
        if self.process and self.process.poll() is None:
            self.send(signal.SIGCONT)
            self.send(signal.SIGTERM)
            try:
                self.process.wait(5)
            except subprocess.TimeoutExpired:
                self.kill()

    def hooks(self, action):
        return self.run("hooks", action, "--config-dir", self.agent.config, "--agent", self.provider, "--yes")

    def device(self, *words, check=True):
        environment = {"HOME": str(self.home), "PATH": os.environ["PATH"], "LANG": "C.UTF-8",
                       "IDLEWYN_KEYCHAIN": "file"}
        result = subprocess.run([self.command, *words], text=True, capture_output=True,
                                stdin=subprocess.DEVNULL, env=environment)
        if check and result.returncode:
            raise AssertionError(f"idlewyn {' '.join(words)}: {result.stdout}{result.stderr}")
        return result

    def sessions(self):
        found = json.loads(self.device("sessions", "--json", check=False).stdout or "{}")
        return [s for s in found.get("sessions", []) if s["provider"] == self.provider]

    def prompt(self):
        for session in self.sessions():
            if session.get("permission"):
                return session["permission"]
        return None

    def next_prompt(self, wanted, seconds=20):
        def found():
            prompt = self.prompt()
            return prompt if prompt and wanted in prompt["detail"] else None
        return wait_until(found, f"a prompt with {wanted!r} is shown", seconds)

    def no_prompt(self, seconds=1.0):
        wait_until(lambda: not self.prompt(), "the prompt is gone", seconds)

    def answer(self, decision, prompt, check=True):
        return self.device(decision, "--", prompt["id"], check=check).returncode

    def is_status(self, status, seconds=20):
        wait_until(lambda: [s["status"] for s in self.sessions()] == [status],
                   f"the one session is {status}", seconds)
        return self.sessions()[0]
