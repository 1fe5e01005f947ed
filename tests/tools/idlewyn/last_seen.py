#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""last_seen.py IDLEWYN SANDBOX_RELAY: how old is what is shown of agents that don't answer, and
how much of it a status bar gets."""
import json
import sys
import time

sys.dont_write_bytecode = True
import sandbox
from sandbox import CommandTest, session


def width(line):
    return sum((c != "\u0301") + (c == "日") for c in line)


class LastSeen(CommandTest):
    def test_is_as_old_as_the_answers(self):
        relay, other = self.paired("claude"), self.paired("codex")
        relay.show(session("claude"))
        other.show(session("codex"))
        self.run_command("sessions")
        first = self.run_json("status")
        time.sleep(1.1)
        for each in (relay, other):
            each.fault("v1/sessions", "status=503")
        for command in (("sessions",), ("watch", "--count", "1"), ("sessions", "--agent", "codex")):
            shown = self.run_json(*command, status=14)
            self.assertEqual((shown["updatedAt"], shown["errors"][-1]["answeredAt"]),
                             (first["updatedAt"],) * 2, command)
            self.assertEqual(self.run_json("status"), first, "nobody saw anything new")
        for command, part in ((("sessions",), "503. Last seen 0:0"),
                              (("watch", "--count", "1"), "503. Last answer 0:0")):
            self.assertIn(part, self.run_command(*command, status=14))
        relay.control("faults", method="DELETE")
        for command in (("sessions",), ("watch", "--count", "1")):
            shown = self.run_json(*command, status=3)
            self.assertEqual(shown["errors"][0]["answeredAt"], first["updatedAt"])
            self.assertGreater(shown["updatedAt"], first["updatedAt"])
            self.assertEqual(self.run_json("status")["updatedAt"], shown["updatedAt"])
            self.assertEqual(self.seen(), {"s-claude", "s-codex"})
        only = self.run_json("status", "--agent", "codex")
        self.assertEqual(only["updatedAt"], first["updatedAt"])
        self.assertIn("ago.\nCodex: last seen 0:0", self.run_command("status"))
        bar = json.loads(self.run_command("status", "--format", "waybar"))
        self.assertIn("\nCodex: last seen 0:0", bar["tooltip"])

    def test_is_small_in_a_bar(self):
        relay = self.paired("claude")
        relay.show(*(session("claude", id=f"s-{n}", title=title, workingDirectory="/" + title)
                     for title in ("日" * 900, "e" + "\u0301" * 900) for n in range(30)))
        self.run_command("sessions")
        bar = json.loads(self.run_command("status", "--format", "waybar"))
        lines = bar["tooltip"].split("\n")
        self.assertEqual((len(lines), lines[-1]), (20, "… 42 more"))
        self.assertLess(max(map(len, lines)), 200)
        self.assertTrue(any(width(line) > 70 for line in lines), "and not smaller than need be")
        self.assertLessEqual(max(map(width, lines)), 80)


if __name__ == "__main__":
    sandbox.run()
