# SPDX-License-Identifier: MIT
"""The relay as a person meets it: its commands, the command of a device, and an agent's hook, all
as processes. The environment names the programs: IDLEWYN_RELAY=... IDLEWYN_RELAY_HOOK=...
IDLEWYN=... python3 -m unittest program"""
import json
import os
import pathlib
import random
import shutil
import signal
import socket
import stat
import subprocess
import tempfile
import time
import unittest

RELAY, HOOK = os.environ.get("IDLEWYN_RELAY"), os.environ.get("IDLEWYN_RELAY_HOOK")
IDLEWYN = os.environ.get("IDLEWYN")


def wait_until(condition, why="", seconds=20):
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError(f"waited in vain. {why}")
        time.sleep(0.02)


class RelayCase(unittest.TestCase):
    def setUp(self):
        self.work = pathlib.Path(tempfile.mkdtemp(prefix="idlewyn-relay-"))
        self.addCleanup(shutil.rmtree, self.work, ignore_errors=True)
        self.state = self.work / "state"
        self.environment = {
            **os.environ, "XDG_STATE_HOME": str(self.work / "xdg"),
            "XDG_CONFIG_HOME": str(self.work / "config"),
            "IDLEWYN_DATA_DIR": str(self.work / "device"), "IDLEWYN_KEYCHAIN": "file"}
        self.environment.pop("NOTIFY_SOCKET", None)
        self.process = None
        self.addCleanup(self.stop)

    def relay(self, *words, status=0, state=True):
        place = ["--state", str(self.state)] if state else []
        done = subprocess.run([RELAY, *place, *words], env=self.environment, timeout=30,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True)
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        return done.stdout + done.stderr

    def asked(self, *words):
        return json.loads(self.relay(*words, "--json"))

    def device(self, *words, status=0):
        done = subprocess.run([IDLEWYN, *words], env=self.environment, timeout=30,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True)
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        return done.stdout

    def serve(self):
        """Returns when the relay has told that it is ready."""
        path = self.work / f"notify{random.random()}"
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as manager:
            manager.bind(str(path))
            manager.settimeout(20)
            with open(self.work / "log", "ab") as log:
                self.process = subprocess.Popen(
                    [RELAY, "--state", str(self.state), "serve"], stdout=log, stderr=log,
                    env={**self.environment, "NOTIFY_SOCKET": str(path)})
            self.assertEqual(manager.recv(100), b"READY=1")

    def stop(self, how=signal.SIGTERM):
        if self.process:
            self.process.send_signal(how)
            self.process.wait(20)
            self.process = None

    def pair(self, *agents):
        link = self.asked("link", "--name", "laptop")["link"]
        for agent in agents:
            self.device("pair", link, "--agent", agent)
        return link

    def hook(self, agent, event, payload):
        process = subprocess.Popen(
            [HOOK, agent, event, "--socket", str(self.state / "hook.sock")],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, env=self.environment)
        process.stdin.write(json.dumps({
            "session_id": "5a822937", "cwd": "/src/app", "hook_event_name": event,
            "transcript_path": str(self.work / "transcript.jsonl"), **payload}).encode())
        process.stdin.close()
        self.addCleanup(process.stdout.close)
        return process

    def sessions(self):
        return json.loads(self.device("sessions", "--json"))["sessions"]

    def prompts(self):
        return [s["permission"]["id"] for s in self.sessions() if s.get("permission")]


class Program(RelayCase):
    ASK = {"tool_name": "Bash", "tool_input": {"command": "touch x.txt"},
           "permission_suggestions": []}

    def test_an_agents_question_is_answered_from_a_paired_device(self):
        said = self.relay("setup", "--no-service")
        self.assertIn("this machine only", said)
        self.serve()
        link = self.pair("claude", "codex")
        self.assertEqual([(d["name"], d["agents"]) for d in self.asked("devices")["devices"]],
                         [("laptop", ["claude", "codex"])])
        self.assertEqual(self.sessions(), [], "no agent has done anything yet")

        self.assertEqual(self.hook("claude", "UserPromptSubmit", {"prompt": "Make x"}).wait(10), 0)
        asking = self.hook("claude", "PermissionRequest", self.ASK)
        wait_until(self.prompts, "the question never showed")
        shown = next(s for s in self.sessions() if s.get("permission"))
        self.assertEqual((shown["title"], shown["status"], shown["permission"]["detail"]),
                         ("Make x", "waitingForInput", "touch x.txt"))
        self.device("allow", "--", shown["permission"]["id"])
        self.assertEqual(asking.wait(10), 0)
        decision = json.loads(asking.stdout.read())["hookSpecificOutput"]["decision"]
        self.assertEqual(decision, {"behavior": "allow"})
        self.device("allow", "--", shown["permission"]["id"], status=11)

        log = (self.work / "log").read_text()
        for secret in (link, link.split("code=")[1].split("&")[0], "touch x", "Make x"):
            self.assertNotIn(secret, log, "nothing secret is logged")

    def test_what_is_kept_survives_being_killed_and_is_nobody_elses(self):
        self.relay("setup", "--no-service")
        self.serve()
        self.pair("claude")
        before = self.asked("status")
        for mode in ("off", "on"):
            self.relay("approvals", mode)
        self.stop(signal.SIGKILL)
        self.serve()
        self.assertEqual(self.asked("status"), before, "address, port and certificate stay")
        self.device("sessions")
        for path in [self.state, *self.state.iterdir()]:
            if path.is_socket() or path.is_file() or path.is_dir():
                self.assertEqual(stat.S_IMODE(path.stat().st_mode) & 0o077, 0, path)
        self.relay("revoke", "laptop")
        self.device("sessions", status=4)
        self.assertEqual(self.asked("devices")["devices"], [])

    def test_a_kill_at_any_moment_of_a_change_leaves_the_state_whole(self):
        self.relay("setup", "--no-service")
        self.serve()
        self.pair("claude")
        for _ in range(12):
            changing = [subprocess.Popen([RELAY, "--state", str(self.state), mode],
                                         env=self.environment, stdout=subprocess.DEVNULL,
                                         stderr=subprocess.DEVNULL) for mode in ("away", "back")]
            time.sleep(random.uniform(0, 0.06))
            self.stop(signal.SIGKILL)
            for command in changing:
                command.wait(20)
            self.serve()
            self.assertEqual(len(self.asked("devices")["devices"]), 1)
        self.device("sessions")

    def test_a_question_is_given_back_where_approvals_are_off(self):
        self.relay("setup", "--no-service")
        self.serve()
        self.pair("claude")
        self.relay("approvals", "locked")
        told = json.loads(self.device("approvals", "on", "--json", status=1))
        self.assertEqual([a["remoteApprovals"] for a in told["approvals"]], [False],
                         "a lock holds against devices")
        asking = self.hook("claude", "PermissionRequest", self.ASK)
        self.assertEqual((asking.wait(5), asking.stdout.read()), (0, b""))
        self.assertEqual(self.prompts(), [])
        self.relay("approvals", "on")
        asking = self.hook("claude", "PermissionRequest", self.ASK)
        wait_until(self.prompts)
        self.relay("approvals", "off")
        self.assertEqual((asking.wait(5), asking.stdout.read()), (0, b""))
        self.assertEqual(self.prompts(), [])

    def test_an_open_question_comes_back_under_its_id_when_the_relay_is_started_again(self):
        self.relay("setup", "--no-service")
        self.serve()
        self.pair("claude")
        asking = self.hook("claude", "PermissionRequest", self.ASK)
        wait_until(self.prompts)
        before = self.prompts()
        self.stop(signal.SIGKILL)
        self.serve()
        wait_until(self.prompts, "the hook did not come back")
        self.assertEqual(self.prompts(), before)
        self.device("deny", "--", before[0])
        self.assertEqual(asking.wait(10), 0)
        self.assertIn(b'"deny"', asking.stdout.read())

    def test_setup_enables_the_service_by_the_service_manager(self):
        programs = self.work / "programs"
        programs.mkdir()
        told = self.work / "told"
        (programs / "systemctl").write_text(
            f'#!/bin/sh\necho "systemctl $*" >>{told}\n'
            f'case "$*" in *enable*) {RELAY} serve --socket {self.work}/hook.sock '
            f'>/dev/null 2>&1 </dev/null & echo $! >{self.work}/pid;; esac\n')
        (programs / "loginctl").write_text(f'#!/bin/sh\necho "loginctl $*" >>{told}\n')
        for program in programs.iterdir():
            program.chmod(0o755)
        self.environment["PATH"] = f"{programs}:{self.environment['PATH']}"
        self.addCleanup(lambda: os.kill(int((self.work / "pid").read_text()), signal.SIGTERM))
        said = self.relay("setup", "--listen", "127.0.0.1", state=False)
        self.assertIn("idlewyn://pair?", said, "the link is shown at the end")
        self.assertIn("systemctl --user enable --now idlewyn-relay.service",
                      told.read_text().splitlines())

    def test_a_wrong_command_line_and_a_stopped_relay_say_what_to_do(self):
        self.relay("approvals", "perhaps", status=2)
        self.relay("setup", "--listen", "nowhere", "--no-service", status=1)
        self.relay("setup", "--no-service")
        self.assertIn("idlewyn-relay serve", self.relay("link", status=1))
        self.assertIn("idlewyn-relay link", self.relay("devices"))
        self.relay("revoke", "nobody", status=1)


if __name__ == "__main__":
    unittest.main()
