# SPDX-License-Identifier: MIT
"""watch, hour after hour, and on a terminal."""
import os
import re
import signal
import termios

from sandbox import CommandTest, Terminal, session, wait_until

TOKENS = re.compile(r"\x1b\[(\??[\d;]*)([A-Za-z])|(.)", re.S)


class Display:
    """What a terminal makes of what is written to it, as far as the command goes."""

    def __init__(self, rows, columns):
        self.rows, self.columns = rows, columns
        self.lines, self.row, self.column, self.top = [""], 0, 0, 0
        self.cursor = True

    def feed(self, text):
        for parameters, code, character in TOKENS.findall(text):
            if code == "A":
                self.row = max(self.row - int(parameters or 1), self.top)
            elif code in ("K", "J"):
                if code == "J":
                    del self.lines[self.row + 1:]
                self.lines[self.row] = self.lines[self.row][:self.column]
            elif code in ("h", "l"):
                self.cursor = code == "h"
            elif character == "\r":
                self.column = 0
            elif character == "\n":
                self.down()
            elif character:
                self.put(character)

    def down(self):
        self.row += 1
        if self.row == len(self.lines):
            self.lines.append("")
        self.top = max(self.top, self.row - self.rows + 1)

    def put(self, character):
        if self.column == self.columns:
            self.column = 0
            self.down()
        line = self.lines[self.row].ljust(self.column)
        self.lines[self.row] = line[:self.column] + character + line[self.column + 1:]
        self.column += 1

    def visible(self):
        return self.lines[self.top:]

    def resize(self, rows, columns):
        """Rows that no longer fit are broken, as most terminals do it."""
        assert self.column == 0 and self.row == len(self.lines) - 1
        self.rows, self.columns = rows, columns
        self.lines = [line[i:i + columns] for line in self.lines
                      for i in range(0, max(len(line), 1), columns)]
        self.row = len(self.lines) - 1
        self.top = max(self.row - rows + 1, 0)


class OnATerminal(CommandTest):
    def watch(self, rows=40, columns=100):
        self.terminal = Terminal(self.environment, "watch", "--interval", "0.05", rows=rows,
                                 columns=columns)
        self.display = Display(rows, columns)
        self.addCleanup(self.terminal.process.kill)

    def until(self, *parts, gone=()):
        """Reads on until the display shows all parts; gives its lines."""
        def is_shown():
            text = "\n".join(self.display.visible())
            if all(p in text for p in parts) and not any(p in text for p in gone):
                return True
            self.display.feed(self.terminal.read())
            return False

        wait_until(is_shown, f"{parts} {gone}", pause=0)
        return self.display.visible()

    def end(self, number=signal.SIGTERM):
        self.terminal.process.send_signal(number)
        self.display.feed(self.terminal.finish(self, 130))

    def echoes(self):
        return bool(termios.tcgetattr(self.terminal.master)[3] & termios.ECHO)

    def test_is_redrawn_in_its_place(self):
        relay = self.paired("claude", "codex")
        self.watch()
        self.until("working", "AGENT")
        self.assertFalse(self.display.cursor)
        relay.advance(30)
        lines = self.until("2 need you", "Working → Needs input", "answer: allow or deny")
        self.assertEqual(sum(line.startswith("AGENT") for line in lines), 1)
        self.assertEqual(self.display.top, 0, "nothing scrolled away")
        relay.show(session("claude", {"id": "p", "detail": "x" * 250 + "END"}))
        self.assertIn("x" * 80, "".join(self.until("END", gone=("2 need you",))), "it is whole")
        self.end(signal.SIGINT)
        self.assertTrue(self.display.cursor)

    def test_fits_any_size_and_follows_it(self):
        relay = self.paired("claude")
        relay.show(*(session("claude", {"id": f"p{n}", "detail": "y" * 90}, id=f"s{n}")
                     for n in range(9)))
        self.watch(rows=12)
        self.until("more")
        self.assertEqual(self.display.top, 0, "nothing scrolled away")
        for rows, columns in ((12, 45), (30, 120), (3, 20), (50, 100)):
            self.terminal.shown = ""
            self.display.resize(rows, columns)
            self.terminal.resize(rows, columns)
            self.display.feed(self.terminal.expect("\x1b[0m\x1b[J"))
            lines = self.until("9 need you", *([] if rows == 50 else ["more"]))
            self.assertEqual(sum("9 need you" in line for line in lines), 1, lines)
        self.end()

    def test_what_is_long_leaves_room_for_what_is_asked_and_for_the_others(self):
        relay = self.paired("claude")
        for title, detail in (("t" * 5000, "make 0"), ("日" * 5000, "make 0"),
                              ("Title", "make 0" + "\nx" * 999)):
            prompts = [session("claude", {"id": f"p{n}", "detail": each}, id=f"s{n}", title=title)
                       for n, each in enumerate((detail, "make 1"))]
            relay.show(session("claude"), *prompts)
            self.watch(rows=28, columns=80)
            self.until("│ make 0", "│ make 1", "prompt p1", "Working", gone=("more",))
            relay.show(session("claude", status="finished"), *prompts)
            lines = self.until("Working → Finished", "prompt p1", gone=("more",))
            self.assertEqual("whole with: idlewyn show p0" in "".join(lines), len(detail) > 99)
            self.end(signal.SIGHUP)

    def test_is_given_back_when_stopped_and_when_ended(self):
        self.paired("claude")
        self.watch()
        self.until("AGENT")
        self.assertFalse(self.echoes())
        pid = self.terminal.process.pid
        os.kill(pid, signal.SIGTSTP)
        self.assertTrue(os.WIFSTOPPED(os.waitpid(pid, os.WUNTRACED)[1]))
        self.assertTrue(self.echoes())
        os.kill(pid, signal.SIGCONT)
        wait_until(lambda: not self.echoes())
        self.terminal.type("\x03")  # Ctrl-C still works
        self.terminal.finish(self, 130)

    def test_failing_agents_keep_their_sessions_and_one_line(self):
        _, other = self.paired("claude"), self.paired("codex")
        self.watch()
        self.until("Codex", "Claude")
        old = other.fingerprint
        other.control("certificate")
        lines = self.until("isn’t the one", "Last answer 0:0")
        errors = "".join(lines).split("Codex: ")[1:]
        self.assertEqual(len(errors), 1)
        self.assertIn("See idlewyn pin verify. Last answer 0:0", errors[0])
        self.assertNotIn(old[:4], "".join(lines))
        self.assertTrue(any(line.startswith("Codex ") for line in lines), "its sessions")
        other.stop()
        self.until("next try in 2", gone=("isn’t the one",))
        self.end()


class InAPipe(CommandTest):
    def wait_for_rounds(self, relay, count):
        """Until so many more were asked for."""
        relay.forget()
        wait_until(lambda: relay.rounds() > count)

    def test_tells_transitions_and_counts_its_rounds(self):
        relay = self.paired("claude", "codex")
        watch = self.start("watch", "--json", "--interval", "0.05", "--count", "20")
        rounds = [self.round_of(watch)]
        relay.advance(30)
        rounds += [self.round_of(watch) for _ in range(19)]
        self.assertEqual((self.finish(watch, 0)[0], rounds[0]["transitions"]), ("", []))
        self.assertEqual({(t["session"]["id"], t["from"]) for each in rounds
                          for t in each["transitions"]},
                         {(id, "working") for id in ("tidy-up", "release-notes", "import-utf8")})

    def test_writes_into_a_file_only_what_has_changed(self):
        relay = self.paired("claude")
        relay.show()
        watch = self.start("watch", "--interval", "0.02")
        self.wait_for_rounds(relay, 3)
        for fields in ({}, {"title": "Another"}, {"prompt": {"id": "p", "detail": "make"}},
                       {"prompt": {"id": "p", "detail": "make test"}}):
            for second in (10, 20):  # another time alone is no change
                date = f"2026-03-05T14:07:{second}.250Z"
                relay.show(session("claude", **fields, updatedAt=date))
                self.wait_for_rounds(relay, 3)
        relay.fault("v1/sessions", "status=503")
        self.wait_for_rounds(relay, 3)
        rounds = self.interrupt(watch)[0].split("── ")[1:]
        parts = ("No sessions", "Title", "Another", "│ make\n", "make test", "HTTP 503")
        self.assertEqual(len(rounds), len(parts), rounds)
        for written, part in zip(rounds, parts):
            self.assertIn(part, written)

    def test_outlives_its_terminal_only_when_started_so(self):
        relay = self.paired("claude")
        ignore = lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN)
        watch = self.start("watch", "--interval", "0.05", preexec_fn=ignore)
        self.wait_for_rounds(relay, 1)
        watch.send_signal(signal.SIGHUP)
        self.wait_for_rounds(relay, 3)
        self.interrupt(watch)

    def test_ends_when_nobody_reads(self):
        self.paired("claude")
        watch = self.start("watch", "--interval", "0.05")
        self.addCleanup(watch.kill)
        watch.stdout.readline()
        watch.stdout.close()
        self.assertNotEqual(watch.wait(10), 0)
        for stream in (watch.stdin, watch.stderr):
            stream.close()

    def test_goes_on_while_the_connections_cannot_be_read(self):
        relay, other = self.paired("claude"), self.paired()
        watch = self.start("watch", "--interval", "0.05")
        self.wait_for_rounds(relay, 1)
        connections = self.stored()
        for damage in (b"[", b"{}"):
            self.store(damage)
            self.assertIn("damaged", watch.stderr.readline())
            self.wait_for_rounds(relay, 10)
            self.store(connections)
            self.assertIn("can be read again", watch.stderr.readline(), "said once")
        self.pair(other, "codex")
        self.wait_for_rounds(other, 1)
        self.interrupt(watch)
        self.store(b"[")
        self.run_command("watch", status=1, has="damaged")  # nobody is known to watch

    def test_asks_failing_agents_less_and_less_and_those_that_refuse_once(self):
        relay, other = self.paired("claude"), self.paired("codex")
        other.fault("v1/sessions", "status=503")
        watch = self.start("watch", "--json", "--interval", "0.05")
        rounds = [self.round_of(watch) for _ in range(40)]
        self.assertEqual([[e["kind"] for e in r["errors"]] for r in rounds], [["server"]] * 40)
        self.assertIn("nextTryAt", rounds[-1]["errors"][0])
        self.assertNotIn("answeredAt", rounds[-1]["errors"][0])
        self.assertGreater(relay.rounds(), 30)
        self.assertLess(other.rounds(), 12, "doubling from 0.05 s")
        other.heal()
        while self.round_of(watch)["errors"]:
            pass
        other.fault("v1/sessions", "status=401")
        while not self.round_of(watch)["errors"]:
            pass
        other.forget()
        for _ in range(10):
            after = self.round_of(watch)
            self.assertEqual(after["errors"][0]["kind"], "unauthorized")
            self.assertNotIn("nextTryAt", after["errors"][0])
            self.assertEqual({s["provider"] for s in after["sessions"]}, {"claude", "codex"})
        self.assertEqual(other.rounds(), 0, "asked no more")
        relay.fault("v1/sessions", "status=403")
        self.finish(watch, 4)
