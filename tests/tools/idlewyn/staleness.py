# SPDX-License-Identifier: MIT
"""What the command says of an agent that does not answer."""
import re
import time

from sandbox import CommandTest, session


class Staleness(CommandTest):
    def test_what_an_agent_asked_that_does_not_answer_is_old(self):
        relay, other = self.paired("claude"), self.paired("codex")
        relay.show(session("claude", {"id": "p-1", "detail": "ls"}))
        other.show(session("codex", {"id": "p-2", "detail": "rm"}))
        self.run_command("sessions", has="2 need you")
        other.fault("v1/sessions", "status=503")
        time.sleep(1.1)
        summary = re.compile(r"1 needs you, and 1 of Codex's \d+ seconds? ago")
        for command in (("sessions",), ("watch", "--count", "1")):
            text = self.run_command(*command, status=3, has="│ ls", lacks="│ rm")
            self.assertRegex(text, summary)
            self.assertRegex(text, r"Codex +Needs input, \d+ seconds? ago")
        for command in (("status",), ("status", "--format", "line")):
            self.assertRegex(self.run_command(*command, lacks="│ rm"), summary)
        status = self.run_json("status")
        self.assertRegex(status["summary"], summary)
        self.assertEqual((status["stale"], [error["agent"] for error in status["errors"]]),
                         (["codex"], ["codex"]))
        bar = self.run_json("status", "--format", "waybar")
        self.assertEqual((bar["text"], bar["class"]), ("1 needs you", "waitingForInput"))
        self.assertIn("Codex: The relay", bar["tooltip"])
        self.run_command("prompt-ids", has="p-1", lacks="p-2")
        ages = {re.search(r"Codex.*\d+ seconds? ago +\S+ +\S+ +(\S+)", self.run_command("status"))[1]
                for _ in range(2) if not time.sleep(1.1)}
        self.assertEqual(len(ages), 1, "the age stands still")
        other.heal()
        self.run_command("sessions", has="2 need you")
        self.assertEqual(self.run_json("status")["errors"], [])
