#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Finds files over 400 lines, functions over 60, headers with more than ten includes.

    check_sizes.py ROOT           exit status 1 and a line for each

Exceptions stand in tools/dev/size-exceptions.txt, one a line: path or path:function, then the
reason. An exception that is no longer needed is a violation too. Functions are found by
Universal Ctags.
"""
import json
import pathlib
import subprocess
import sys

FILE_LIMIT, FUNCTION_LIMIT, INCLUDE_LIMIT = 400, 60, 10
FOLDERS = ("IdlewynKit", "tools", "tests", "benchmarks", "fuzz", "examples")
SUFFIXES = (".hpp", ".cpp", ".py")


def sources(root):
    for folder in FOLDERS:
        for file in sorted((root / folder).rglob("*")):
            if file.suffix in SUFFIXES:
                yield file


def functions(files):
    """(file, name, lines) of every function definition."""
    command = ["ctags", "--output-format=json", "--fields=+ne", "--kinds-C++=f",
               "--kinds-Python=fm", "--languages=C++,Python", "-f", "-", "-L", "-"]
    listing = subprocess.run(command, input="\n".join(map(str, files)), text=True,
                             capture_output=True, check=True).stdout
    for line in listing.splitlines():
        tag = json.loads(line)
        if "end" in tag:
            yield tag["path"], tag["name"], tag["end"] - tag["line"] + 1


def too_large(root):
    files = list(sources(root))
    for file in files:
        lines = len(file.read_text().splitlines())
        place = file.relative_to(root).as_posix()
        if lines > FILE_LIMIT:
            yield place, f"{lines} lines"
        includes = file.read_text().count("\n#include ")
        if file.suffix == ".hpp" and includes > INCLUDE_LIMIT:
            yield place, f"{includes} includes"
    for path, name, lines in functions(files):
        if lines > FUNCTION_LIMIT:
            place = pathlib.Path(path).relative_to(root).as_posix()
            yield f"{place}:{name}", f"{lines} lines"


def exceptions(root):
    file = root / "tools/dev/size-exceptions.txt"
    lines = file.read_text().splitlines() if file.exists() else []
    return {line.split(None, 1)[0] for line in lines if line and not line.startswith("#")}


def main():
    root = pathlib.Path(sys.argv[1]).resolve()
    listed, large = exceptions(root), dict(too_large(root))
    found = [f"{place}: {what}" for place, what in large.items() if place not in listed]
    found += [f"{place}: listed as an exception, but small enough" for place in listed - set(large)]
    print("\n".join(found) or "sizes: every file and function is within its budget")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
