#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Every public function that an installed header declares and does not define is exported.

    exported.py ROOT LIBRARY...       exit status 1 and a line for each that is not

The declarations come from universal-ctags, the exported names from nm -D.
"""
import json
import pathlib
import re
import subprocess
import sys

NOT_INSTALLED = {"internal", "sqlite"}
# Defined by the compiler, left to implementations, or a template's.
NOT_DEFINED = re.compile(r"=\s*(default|delete|0)\s*;|^\s*(template|friend)\b|^RawValues<E>::")


def declarations(root):
    """(header, line, qualified name) of each public prototype outside `internal` folders."""
    headers = [path for path in sorted((root / "IdlewynKit").rglob("*.hpp"))
               if not NOT_INSTALLED & set(path.parts)]
    out = subprocess.run(
        ["ctags", "--output-format=json", "--language-force=C++", "--kinds-C++=p",
         "--fields=+aSZn", "--extras=-q", "-I", "IDLEWYNKIT_EXPORT,IDLEWYNKIT_LIFETIMEBOUND",
         "-f", "-", *headers],
        check=True, capture_output=True, text=True).stdout
    for line in out.splitlines():
        tag = json.loads(line)
        if tag.get("access", "public") != "public" or "internal" in tag.get("scope", ""):
            continue
        yield tag["path"], tag["line"], f"{tag.get('scope', '')}::{tag['name']}".replace("operator ", "operator")


def statement(path, number):
    """The declaration from its first line to its semicolon, with a template's head before it."""
    lines = pathlib.Path(path).read_text().splitlines()
    text = lines[number - 1]
    after = number
    while ";" not in text and "{" not in text and after < len(lines):
        text += " " + lines[after].strip()
        after += 1
    before = lines[number - 2].strip() if number > 1 else ""
    return ("template " if before.startswith("template") else "") + text.strip()


def exported(libraries):
    names = set()
    for library in libraries:
        out = subprocess.run(["nm", "-DC", "--defined-only", library], check=True,
                             capture_output=True, text=True).stdout
        names |= {re.sub(r"\(.*|\[abi:\w+\]", "", line.split(" ", 2)[2])
                  for line in out.splitlines()}
    return names


def main():
    root, libraries = pathlib.Path(sys.argv[1]), sys.argv[2:]
    names, missing, count = exported(libraries), [], 0
    for path, number, name in declarations(root):
        if NOT_DEFINED.search(statement(path, number)):
            continue
        count += 1
        if name not in names:
            missing.append(f"{path}:{number}: {name} is declared, but no library exports it")
    if count < 100:
        missing.append(f"only {count} declarations were found: ctags reads the headers wrongly")
    print("\n".join(missing) or f"{count} declared functions are exported")
    return 1 if missing else 0


if __name__ == "__main__":
    sys.exit(main())
