# SPDX-License-Identifier: MIT
"""What the stand-ins for the model servers make the agents do: for each script a list of steps,
each with its tool calls. The file that a call would make tells whether it ran."""
import json


def _bash(command):
    return ("Bash", {"command": command, "description": "run it"})


def _claude_agent(name, script):
    return ("Agent", {"description": name, "prompt": f"SCRIPT {script}",
                      "subagent_type": "general-purpose", "run_in_background": True})


def _python(file):
    # Claude runs a bare `touch` in its folder by another kind of permission than a rule.
    return f"python3 -c \"open('{file}','w')\""


CLAUDE = {
    "hello": [],
    "one": [{"calls": [_bash(_python("one.txt"))]}],
    "two": [{"calls": [_bash(_python("two.txt"))]}],
    "three": [{"calls": [_bash(_python("three.txt"))]}],
    "slow": [{"calls": [_bash("python3 -c \"import time; open('slow.txt','w'); time.sleep(12)\"")]}],
    "both": [{"calls": [("WebFetch", {"url": "https://example.com/a", "prompt": "read"}),
                        ("WebFetch", {"url": "https://example.org/b", "prompt": "read"})]}],
    "write": [{"calls": [("Write", {"file_path": "written.txt", "content": "hello\n"})]}],
    "ask": [{"calls": [("AskUserQuestion", {"questions": [{
        "question": "Which colour?", "header": "Colour", "multiSelect": False,
        "options": [{"label": "Blue", "description": "b"}, {"label": "Red", "description": "r"}]}]})]}],
    "sub": [{"calls": [_claude_agent("sub one", "one")]}],
    "bad": [{"error": 400, "message": "Fake error"}],
    "long": [{"pause": 20}],
}


def _exec(*calls):
    script = f"const r = await Promise.all([{', '.join(calls)}]); text(JSON.stringify(r));"
    return {"calls": [("exec", script)]}


def _command(command, escalated=True):
    given = {"cmd": command}
    if escalated:
        given |= {"sandbox_permissions": "require_escalated",
                  "justification": "Do you want to allow this?"}
    return f"tools.exec_command({json.dumps(given)})"


def _patch(file):
    patch = f"*** Begin Patch\n*** Add File: {file}\n+hello\n*** End Patch\n"
    return f"tools.apply_patch({json.dumps(patch)})"


CODEX = {
    "hello": [],
    "one": [_exec(_command("touch one.txt"))],
    "two": [_exec(_command("touch two.txt"))],
    "three": [_exec(_command("touch three.txt"))],
    "slow": [_exec(_command("touch slow.txt && sleep 12"))],
    "both": [_exec(_command("touch a.txt"), _command("touch b.txt"))],
    "write": [_exec(_patch("written.txt"))],
    "sub": [{"calls": [("collaboration.spawn_agent", {
        "task_name": "sub_one", "message": "SCRIPT one", "fork_turns": "none"})]},
        {"calls": [("collaboration.wait_agent", {"timeout_ms": 60000})]}],
    "bad": [{"error": 400, "message": "Fake error"}],
    "long": [{"pause": 20}],
}
