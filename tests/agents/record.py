# SPDX-License-Identifier: MIT
"""Records what the real agents tell: the payloads of their hooks, Codex's app-server and rollout
files, into tests/data/agents. The adapters' tests read them.

    tools/dev/agents --record
"""
import base64
import json
import os
import pathlib
import re
import shlex
import socket
import struct
import sys
import threading
import time

import agents

CLAUDE_EVENTS = """PreToolUse PostToolUse PostToolUseFailure PostToolBatch Notification
UserPromptSubmit SessionStart SessionEnd Stop StopFailure SubagentStart SubagentStop
PermissionRequest PermissionDenied TaskCreated TaskCompleted PreCompact PostCompact""".split()
CODEX_EVENTS = """PreToolUse PermissionRequest PostToolUse PreCompact PostCompact SessionStart
SessionEnd UserPromptSubmit SubagentStart SubagentStop Stop Interrupt""".split()


class AppServer:
    """Another client of Codex's app-server, which keeps what it is told."""

    def __init__(self, path):
        self.messages, self.last = [], 0
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.connect(os.path.realpath(path))
        key = base64.b64encode(os.urandom(16)).decode()
        self.socket.sendall((
            "GET / HTTP/1.1\r\nHost: localhost\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
            f"Sec-WebSocket-Key: {key}\r\nSec-WebSocket-Version: 13\r\n\r\n").encode())
        self.stream = self.socket.makefile("rb")
        while self.stream.readline() != b"\r\n":
            pass
        threading.Thread(target=self.read, daemon=True).start()
        self.call("initialize", {"clientInfo": {"name": "idlewyn-relay", "version": "1"}})
        self.send({"method": "initialized"})

    def read(self):
        while head := self.stream.read(2):
            size = head[1] & 127
            if size > 125:
                size = int.from_bytes(self.stream.read(2 if size == 126 else 8), "big")
            data = self.stream.read(size)
            if head[0] & 15 == 1:
                self.messages.append(json.loads(data))

    def send(self, message):
        data, mask = json.dumps(message).encode(), os.urandom(4)
        size = bytes([0x80 | len(data)]) if len(data) < 126 else b"\xfe" + struct.pack(">H", len(data))
        self.socket.sendall(b"\x81" + size + mask + bytes(
            byte ^ mask[at % 4] for at, byte in enumerate(data)))

    def call(self, method, parameters):
        self.last += 1
        number = self.last
        self.send({"id": number, "method": method, "params": parameters})
        return agents.wait_until(lambda: next(
            (m for m in self.messages if m.get("id") == number and "method" not in m), None),
            f"{method} is answered", pause=0.01)


class Recording:
    def __init__(self, folder, target):
        self.folder, self.target = pathlib.Path(folder), pathlib.Path(target)
        self.replacements = [(str(folder), "/home/ann")]
        self.ids = {}

    def anonymous(self, text):
        for real, shown in self.replacements:
            text = text.replace(real, shown).replace(real.replace("/", "-"), shown.replace("/", "-"))

        def renamed(match):
            number = self.ids.setdefault(match[0], len(self.ids) + 1)
            return f"00000000-0000-4000-8000-{number:012d}"
        text = re.sub(r"\b[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}\b", renamed, text)
        return re.sub(r'"(installationId|serverName)":\s*"[^"]*"', r'"\1":"x"', text)

    def keep(self, name, lines):
        self.target.mkdir(parents=True, exist_ok=True)
        text = "".join(self.anonymous(json.dumps(line, separators=(",", ":"))) + "\n"
                       for line in lines)
        (self.target / name).write_text(text)
        print(f"{self.target / name}: {len(lines)} lines")


def install_recorder(agent, events, log):
    program = agent.home / "recorder"
    program.write_text(f"#!/bin/sh\numask 077\nf={shlex.quote(str(log))}/$(date +%s%N)-$$\n"
                       "cat >$f.tmp && mv $f.tmp $f.json\n")
    program.chmod(0o755)
    log.mkdir()
    entry = [{"hooks": [{"type": "command", "command": f"exec {program}", "timeout": 5}]}]
    settings = json.loads(agent.settings.read_text()) if agent.settings.exists() else {}
    settings["hooks"] = {event: entry for event in events}
    agent.settings.write_text(json.dumps(settings))


def drain(log):
    payloads = []
    for file in sorted(log.glob("*.json")):
        payloads.append(json.loads(file.read_text()))
        file.unlink()
    return payloads


def play(agent, script, keys=(), wait=4.0):
    agent.run(script)
    for key in keys:
        agent.terminal.shows(agent.dialog)
        time.sleep(0.7)
        agent.terminal.keys(key)
        time.sleep(1.5)
    time.sleep(wait)


def record_claude(folder, programs, terminals, target):
    agent = agents.Claude(folder / "claude", programs, terminals)
    keep = Recording(agent.home, target / "claude")
    log = agent.home / "log"
    install_recorder(agent, CLAUDE_EVENTS, log)
    agent.start()
    for name, keys, wait in (("one", ["Enter"], 3), ("write", ["Enter"], 3), ("both", ["Enter", "Enter"], 3),
                             ("two", ["Escape"], 2), ("sub", ["Enter"], 5), ("bad", [], 3)):
        play(agent, name, keys, wait)
        keep.keep(f"hooks-{name}.jsonl", drain(log))
    agent.run("ask")
    time.sleep(4)
    sessions = [json.loads(f.read_text()) for f in (agent.config / "sessions").glob("[0-9]*.json")
                if f.stem.isdigit()]
    agent.terminal.keys("Escape")
    time.sleep(2)
    keep.keep("hooks-ask.jsonl", drain(log))
    keep.keep("session-file.jsonl", sessions)
    agent.submit("/exit")
    time.sleep(3)
    keep.keep("hooks-exit.jsonl", drain(log))
    agent.close()


def record_codex(folder, programs, terminals, target):
    agent = agents.Codex(folder / "codex", programs, terminals)
    keep = Recording(agent.home, target / "codex")
    agent.start()
    server = AppServer(agent.socket)
    thread = server.call("thread/loaded/list", {})["result"]["data"][0]
    kept = 0
    for name, keys, wait in (("one", ["y"], 3), ("both", ["y", "y"], 3), ("write", ["y"], 3),
                             ("two", ["Escape"], 3), ("bad", [], 3), ("sub", ["y"], 5)):
        threading.Timer(1.0, lambda: server.call("thread/resume", {"threadId": thread})).start()
        play(agent, name, keys, wait)
        news, kept = server.messages[kept:], len(server.messages)
        keep.keep(f"app-server-{name}.jsonl", [
            m for m in news if not re.search("rateLimits|tokenUsage|readState|deprecation|configWarning|remoteControl",
                                             m.get("method", ""))])
    rollouts = [json.loads(line) for file in agent.config.glob("sessions/**/*.jsonl")
                for line in file.read_text().splitlines() if '"event_msg"' in line]
    keep.keep("rollout.jsonl", [r for r in rollouts if r["payload"]["type"] in
                                ("task_started", "task_complete", "turn_aborted", "token_count")])
    agent.close()
    agents.end_processes(agent.home)
    alone = agents.CodexAlone(folder / "codex-alone", programs, terminals)
    keep = Recording(alone.home, target / "codex")
    log = alone.home / "log"
    install_recorder(alone, CODEX_EVENTS, log)
    alone.start()
    for name, keys, wait in (("one", ["y"], 3), ("both", ["y", "y"], 3), ("write", ["y"], 3),
                             ("two", ["Escape"], 3), ("bad", [], 3), ("sub", ["y"], 5)):
        play(alone, name, keys, wait)
        keep.keep(f"hooks-{name}.jsonl", drain(log))
    alone.terminal.keys("C-c")
    time.sleep(0.3)
    alone.terminal.keys("C-c")
    time.sleep(4)
    keep.keep("hooks-exit.jsonl", drain(log))
    alone.close()


def record(folder, programs, terminals, target):
    for part in (record_claude, record_codex):
        part(folder, programs, terminals, target)
    sys.stdout.flush()
