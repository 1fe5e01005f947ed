# SPDX-License-Identifier: MIT
"""Drives the real agents with the relay. Started by tools/dev/agents in a network of its own.

    run.py --programs NODE_MODULES --build BUILD [--agent NAME] [--case NAME] [--record]
"""
import argparse
import json
import pathlib
import shutil
import sys
import tempfile
import time
import traceback

import agents
import cases
import record
from relay import Relay
from terminal import Terminals

KINDS = {kind.name: kind for kind in (agents.Claude, agents.Codex, agents.CodexAlone)}


def stage_of(kind, folder, given, terminals):
    agent = kind(folder / "home", given.programs, terminals)
    settings = json.loads(agent.settings.read_text()) if agent.settings.exists() else {}
    settings["hooks"] = {"Stop": [{"hooks": [{
        "type": "command", "command": f"touch {agent.home}/own-hook-ran", "timeout": 5}]}]}
    agent.own_settings = json.dumps(settings)
    agent.settings.write_text(agent.own_settings)
    relay = Relay(folder / "relay", given.build, agent)
    relay.hooks("install")
    relay.start().pair()
    agent.start()
    return cases.Stage(agent, relay)


def run_case(case, stage):
    """The line to print, and whether it is a failure."""
    begun = time.monotonic()
    name = case.__name__.replace("_", " ")
    try:
        skipped = case(stage)
        note = f" (does not apply: {skipped})" if skipped else ""
        return f"ok      {stage.agent.name}: {name}{note}, {time.monotonic() - begun:.1f} s", False
    except Exception as error:  # whatever a case throws is its failure
        where = traceback.extract_tb(error.__traceback__)
        line = next((f"cases.py:{f.lineno}" for f in where if f.filename.endswith("cases.py")), "")
        return f"FAILED  {stage.agent.name}: {name}: {line} {type(error).__name__} {error}", True


def run_agent(kind, given, folder, terminals):
    chosen = [case for case in cases.ALL if given.case in (None, case.__name__)]
    stage, failed = None, 0
    try:
        stage = stage_of(kind, folder, given, terminals)
        for case in chosen:
            line, is_failure = run_case(case, stage)
            print(line, flush=True)
            failed += is_failure
            if is_failure:
                stage.relay.run("approvals", "on", check=False)
                stage.agent.restart()
    except Exception as error:
        print(f"FAILED  {kind.name}: {type(error).__name__} {error}", flush=True)
        failed = len(chosen)
    finally:
        if stage:
            stage.agent.close()
            agents.end_processes(stage.agent.home)
            stage.relay.close()
    return len(chosen), failed


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--programs", type=pathlib.Path, required=True)
    parser.add_argument("--build", type=pathlib.Path, required=True)
    parser.add_argument("--agent", choices=KINDS)
    parser.add_argument("--case")
    parser.add_argument("--record", type=pathlib.Path)
    given = parser.parse_args()
    # Codex refuses to work below /tmp.
    folder = pathlib.Path(tempfile.mkdtemp(prefix="idlewyn-agents-", dir="/var/tmp"))
    terminals = Terminals(folder)
    total = failed = 0
    try:
        if given.record:
            return record.record(folder, given.programs, terminals, given.record)
        for name, kind in KINDS.items():
            if given.agent in (None, name):
                ran, wrong = run_agent(kind, given, folder / name.replace(" ", ""), terminals)
                total, failed = total + ran, failed + wrong
    finally:
        terminals.close()
        shutil.rmtree(folder, ignore_errors=True)
    print(f"{total - failed} of {total} cases passed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
