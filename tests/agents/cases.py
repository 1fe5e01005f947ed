# SPDX-License-Identifier: MIT
"""What a relay must do with the real agents. Each case is a function of a stage, on which an agent
runs with its relay; its name is the case's."""
import json
import signal
import time

import agents
from relay import EXPIRED
from terminal import wait_until


class Stage:
    def __init__(self, agent, relay):
        self.agent, self.relay = agent, relay

    def run(self, script):
        """While a device asks: a hook that hides its agent's dialog waits for no other."""
        self.relay.sessions()
        self.agent.run(script)

    def file(self, name):
        return self.agent.project / name

    def exists(self, name, seconds=15):
        wait_until(self.file(name).exists, f"{name} exists", seconds)
        self.file(name).unlink()

    def missing(self, name):
        assert not self.file(name).exists(), f"{name} was made"

    @property
    def hides_dialog(self):
        return isinstance(self.agent, agents.CodexAlone)

    def say_yes(self, seconds=30):
        """At the terminal. Agents ignore keys that come right after their dialog."""
        self.agent.terminal.shows(self.agent.dialog, seconds)
        time.sleep(0.8)
        self.agent.terminal.keys(self.agent.yes)

    def done(self):
        session = self.relay.is_status("finished")
        assert session["summary"] == "All done.", session


def allow(stage):
    stage.run("one")
    prompt = stage.relay.next_prompt("one.txt")
    stage.relay.is_status("waitingForInput")
    stage.relay.answer("allow", prompt)
    stage.exists("one.txt")
    stage.done()
    assert stage.relay.answer("allow", prompt, check=False) == EXPIRED


def deny(stage):
    stage.run("two")
    stage.relay.answer("deny", stage.relay.next_prompt("two.txt"))
    stage.done()
    stage.missing("two.txt")


def always(stage):
    stage.run("three")
    prompt = stage.relay.next_prompt("three.txt")
    assert prompt["alwaysRule"], prompt
    stage.relay.answer("always", prompt)
    stage.exists("three.txt")
    stage.done()


def always_again_in_another_session(stage):
    stage.agent.restart()
    stage.run("three")
    stage.exists("three.txt")
    stage.done()
    assert stage.relay.prompt() is None


def off_before_kept_rules(stage):
    """Only by hooks does the relay keep the rule itself."""
    if not stage.hides_dialog:
        return "the agent keeps its rules itself"
    stage.relay.run("approvals", "off")
    try:
        stage.run("three")
        stage.agent.terminal.shows(stage.agent.dialog)
        stage.missing("three.txt")
        stage.agent.terminal.keys("Escape")
        stage.relay.is_status("idle")
    finally:
        stage.relay.run("approvals", "on")


def answered_at_the_terminal(stage):
    stage.run("slow")
    prompt = stage.relay.next_prompt("slow.txt")
    if stage.hides_dialog:
        stage.agent.terminal.keys("Escape")
    else:
        stage.say_yes()
    stage.relay.no_prompt(1.0)
    assert stage.relay.answer("allow", prompt, check=False) == EXPIRED
    if not stage.hides_dialog:
        stage.exists("slow.txt")
        stage.agent.terminal.keys("Escape")
    stage.relay.is_status("idle")
    stage.file("slow.txt").unlink(missing_ok=True)


def two_prompts_at_once(stage):
    stage.run("both")
    first = wait_until(stage.relay.prompt, "the first prompt is shown")
    stage.relay.answer("allow", first)
    second = wait_until(stage.relay.prompt, "the second prompt is shown")
    assert first["id"] != second["id"] and first["detail"] != second["detail"]
    stage.relay.answer("allow", second)
    stage.done()


def write_a_file(stage):
    stage.run("write")
    prompt = stage.relay.next_prompt("written.txt")
    assert "hello" in prompt["detail"], prompt
    stage.relay.answer("allow", prompt)
    stage.exists("written.txt")
    stage.done()


def subagent(stage):
    stage.run("sub")
    stage.relay.answer("allow", stage.relay.next_prompt("one.txt"))
    stage.exists("one.txt")
    stage.done()
    time.sleep(1)
    if "Would you like" in stage.agent.terminal.screen():
        # Codex 0.169 leaves a subagent's dialog standing that was answered elsewhere.
        stage.agent.terminal.keys("Escape")


def interrupt(stage):
    stage.run("long")
    stage.relay.is_status("working")
    time.sleep(1)
    stage.agent.terminal.keys("Escape")
    stage.relay.is_status("idle", 5)
    time.sleep(1)
    stage.agent.clear_input()


def api_error(stage):
    stage.run("bad")
    session = stage.relay.is_status("failed")
    assert "Fake error" in session["summary"], session


def approvals_off_with_a_prompt_open(stage):
    stage.run("two")
    prompt = stage.relay.next_prompt("two.txt")
    stage.relay.run("approvals", "off")
    try:
        stage.relay.no_prompt(2.0)
        stage.relay.is_status("waitingForInput")
        assert stage.relay.answer("allow", prompt, check=False) == EXPIRED
        stage.say_yes()
        stage.exists("two.txt")
        stage.done()
    finally:
        stage.relay.run("approvals", "on")


def relay_restarted_with_a_prompt_open(stage):
    stage.run("two")
    before = stage.relay.next_prompt("two.txt")
    stage.relay.kill()
    time.sleep(1)
    stage.relay.start()
    after = stage.relay.next_prompt("two.txt")
    assert after["id"] == before["id"], (before, after)
    stage.relay.answer("allow", after)
    stage.exists("two.txt")
    stage.done()


def relay_stopped(stage):
    stage.relay.send(signal.SIGSTOP)
    try:
        begun = time.monotonic()
        stage.agent.run("two")
        stage.say_yes(10)
        stage.exists("two.txt", 10)
        stage.agent.terminal.shows(stage.agent.done, 10)
        assert time.monotonic() - begun < 10, "the turn was held up"
    finally:
        stage.relay.send(signal.SIGCONT)


def agent_killed(stage):
    import os
    stage.run("two")
    stage.relay.next_prompt("two.txt")
    os.kill(stage.agent.terminal.pid, signal.SIGKILL)
    if type(stage.agent) is agents.Codex:
        # Its daemon goes on with the session, and obeys.
        stage.relay.answer("allow", stage.relay.next_prompt("two.txt"))
        stage.exists("two.txt")
    else:
        wait_until(lambda: not stage.relay.sessions(), "the session is gone", 3)
    stage.agent.restart()


def no_relay(stage):
    stage.relay.close()
    stage.agent.run("two")
    stage.say_yes()
    stage.exists("two.txt")
    stage.relay.start()


def hooks_removed_again(stage):
    own = json.loads(stage.agent.own_settings)["hooks"]["Stop"]
    assert own[0] in json.loads(stage.agent.settings.read_text())["hooks"]["Stop"]
    assert (stage.agent.home / "own-hook-ran").exists(), "the person's own hook"
    stage.relay.hooks("remove")
    assert stage.agent.settings.read_text() == stage.agent.own_settings


ALL = [allow, deny, always, always_again_in_another_session, off_before_kept_rules,
       answered_at_the_terminal, two_prompts_at_once, write_a_file, subagent, interrupt, api_error,
       approvals_off_with_a_prompt_open, relay_restarted_with_a_prompt_open, relay_stopped,
       no_relay, agent_killed, hooks_removed_again]
