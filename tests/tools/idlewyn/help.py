# SPDX-License-Identifier: MIT
"""Help, manual page and completions agree, and the shells take them."""
from contextlib import nullcontext
import json
import os
import pathlib
import re
import subprocess
import time

import jsonschema

import sandbox
import schemas
from sandbox import CommandTest, session

HIDDEN = ("help", "prompt-ids")
ZSH = r"""
zmodload zsh/zpty
zpty z zsh -f -i
w() { zpty -w z "$1" }
w 'PS1= PS2= RPS1=; autoload -U compinit; compinit -u -d $HOME/zcompdump; stty -echo columns 200'
w 'zstyle ":completion:*" list-grouped no; LISTMAX=1000; source $HOME/_idlewyn; bindkey "^I" z-list'
w 'z-list() { compstate[insert]=; compadd() { if [[ $* == *-[OAD]\ * ]]; then builtin compadd "$@"; else local -a h; builtin compadd -O h "$@"; print -rl -- "<"$^h">"; fi }; _main_complete }'
w 'zle -C z-list list-choices z-list; z-end() { print E""ND }; zle -N z-end; bindkey "^X" z-end'
w 'zle-line-init() { print RE""ADY }; zle -N zle-line-init'
zpty -r -m z x '*READY*'
zpty -w -n z "$1"$'\t\C-x'
while zpty -r z x; do print -r -- $x; [[ $x == *END* ]] && break; done
"""


class Help(CommandTest):
    def commands(self, *group):
        """Each command by its words, with the options and arguments that its help shows."""
        text = self.run_command(*group, "--help")
        listed = re.split("Subcommands:\n|Positionals:\n|Options:\n", text)
        if "Subcommands:\n" not in text:
            shown = re.split("Options:\n", text)[1].split("\n\n")[0]
            return {group: set(re.findall(r"^  (?:-h,)?(--[\w-]+)", shown, re.M))}
        found = {}
        for name in re.findall(r"^  ([a-z-]+) ", listed[-1].split("\n\n")[0], re.M):
            found.update(self.commands(*group, name))
        return found

    def completions(self, shell, line):
        script = self.run_command("completions", shell)
        place = self.home / {"zsh": "_idlewyn"}.get(shell, "script")
        place.write_text(script)
        words = line.split(" ")
        run = {
            "bash": ["bash", "-uc", f'source {place}; COMP_WORDS=("$@" ""); COMP_CWORD=$(($#-1)); '
                     'set +u; _idlewyn; printf "%s\\n" "${COMPREPLY[@]}"', "bash", *words],
            "fish": ["fish", "-c", f'source {place}; complete -C "$argv[1]"', line],
            "zsh": ["zsh", "-fc", ZSH, "zsh", line]}[shell]
        path = f"{pathlib.Path(sandbox.IDLEWYN).parent}:{os.environ['PATH']}"
        done = subprocess.run(run, text=True, capture_output=True, timeout=30,
                              start_new_session=True, stdin=subprocess.DEVNULL, cwd=self.home,
                              env={**self.environment, "PATH": path})
        lines = done.stdout.splitlines()
        if shell == "zsh":
            lines = re.findall("<([^<>\r\n]*)>", done.stdout)
        self.assertEqual(done.stderr, "")
        return {line.split("\t")[0].strip() for line in lines} - {""}

    def test_manual_page_and_help_agree(self):
        page = self.run_command("help", "--man").replace("\\-", "-")
        sections = re.split(r"^\.SS (.*)$", page.split(".SH EXIT STATUS")[0], flags=re.M)[1:]
        manual = {tuple(name.split(" ")): set(re.findall(r"^\\fB(--[\w-]+)", text, re.M))
                  for name, text in zip(sections[::2], sections[1::2])}
        commands = self.commands()
        self.assertEqual({words: options - {"--help"} for words, options in commands.items()},
                         manual)
        self.assertIn(("pin", "replace"), commands)
        self.assertFalse(set(HIDDEN) & {words[0] for words in commands})
        place = self.home / "idlewyn.1"
        place.write_text(self.run_command("help", "--man"))
        checked = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", place], text=True,
                                 env={**self.environment, "MANWIDTH": "80", "LC_ALL": "C.UTF-8"},
                                 capture_output=True)
        self.assertEqual((checked.returncode, checked.stderr), (0, ""))

    def test_completions_of_every_shell_and_help_agree(self):
        commands = self.commands()
        first = {words[0] for words in commands}
        (self.home / "a b").touch()
        pins = {words[1] for words in commands if len(words) == 2 and words[0] == "pin"}
        for shell in ("bash", "zsh", "fish"):
            for line, expected in (("idlewyn ", first), ("idlewyn pin ", pins)):
                self.assertEqual({w for w in self.completions(shell, line) if w[0] != "-"},
                                 expected, shell)
            self.assertEqual(self.completions(shell, "idlewyn sessions --agent "),
                             {"claude", "codex"}, shell)
            self.assertLessEqual({"on", "off"}, self.completions(shell, "idlewyn approvals o"))
            self.assertEqual(self.completions(shell, "idlewyn watch --interval "), set(), shell)
            for line in ("idlewyn render --output ", "idlewyn demo --pictures "):
                files = [w.replace("\\", "") for w in self.completions(shell, line + "a")]
                self.assertEqual(files, ["a b"], (shell, line))
            for words, options in commands.items():
                if shell == "zsh" and words not in (("watch",), ("pin", "replace")):
                    continue  # a second each
                line = f"idlewyn {' '.join(words)} --"
                self.assertEqual(self.completions(shell, line) - {"--"}, options, (shell, words))

    def test_every_command_that_writes_json_has_a_schema(self):
        documents = schemas.load()
        for words, options in self.commands().items():
            self.assertEqual("--json" in options, words[0] in schemas.DOCUMENTS, words)
        written = {*schemas.DOCUMENTS.items(), *schemas.VARIANTS.values()}
        self.assertEqual(set(documents), {name for _, name in written} | {"error", "common"})
        self.assertNotIn("additionalProperties", json.dumps(documents))
        for schema in documents.values():
            jsonschema.Draft202012Validator.check_schema(schema)
        check = {"name": "tls", "state": "failed", "message": "m", "advice": "a"}
        for wrong, is_refused in (({}, False), ({"state": "bad"}, True), ({"more": 1}, True),
                                  ({"message": ""}, True), ({"agent": "x"}, True)):
            with self.assertRaises(jsonschema.ValidationError) if is_refused else nullcontext():
                schemas.check(["idlewyn", "doctor", "--json"],
                              json.dumps({"checks": [{**check, **wrong}]}))
        schemas.validator("doctor", documents).validate({"checks": [], "of a later release": 1})
        page = (schemas.FOLDER.parents[1] / "docs/interface.md").read_text()
        rows = re.findall(r"^\| `(\w+)\.json` \| (.*) \|$", page, re.M)
        self.assertEqual({(word, file) for file, commands in rows
                          for word in re.findall(r"`(\w+)[^`]*`", commands)}, written)
        self.assertEqual({file for file, _ in rows}, set(documents))

    def test_manual_page_names_every_variable_that_is_read(self):
        source = schemas.FOLDER.parents[1]
        read = {name for folder in ("IdlewynKit", "tools/idlewyn")
                for file in (source / folder).rglob("*.cpp")
                for name in re.findall(r'"(IDLEWYN_[A-Z_]+)"', file.read_text())
                if file.name != "CommandEntries.cpp"}
        self.assertLessEqual({"IDLEWYN_DATA_DIR", "IDLEWYN_KEYCHAIN"}, read)
        page = self.run_command("help", "--man").split(".SH ENVIRONMENT")[1]
        self.assertEqual(set(re.findall(r"^\\fB(IDLEWYN_[A-Z_]+)", page, re.M)), read)

    def test_ids_of_open_prompts_are_offered_and_never_run(self):
        relay = self.paired("claude")
        ids = {"ask-1", "ask-2", "other"}
        marks = {f"$(touch {self.home}/run)", f"`touch {self.home}/run`", "-p", "a b"}
        relay.show(*(session("claude", {"id": id, "detail": "x"}, id=f"s{n}")
                     for n, id in enumerate(ids | marks)))
        self.assertEqual(set(self.run_command("prompt-ids").split()), ids)
        for shell in ("bash", "zsh", "fish"):
            offered = self.completions(shell, "idlewyn allow a")
            self.assertLessEqual({"ask-1", "ask-2"}, offered, shell)
            self.assertFalse(marks & offered)
        self.assertFalse((self.home / "run").exists())
        relay.fault("*", "stall")
        begin = time.monotonic()
        self.assertEqual(self.run_command("prompt-ids"), "")
        self.assertLess(time.monotonic() - begin, 5, "the request's ten seconds")
        relay.heal()
        self.run_command("sessions")
        self.assertEqual(set(self.run_command("prompt-ids").split()), ids, "as last seen")
