#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Proves that the code in docs/*.md is code that is built and run, and that links lead somewhere.

    check_docs.py ROOT            exit status 1 and a line for each violation

Each fenced block, shell lines (sh) and plain text aside, follows a line that names its source:

    <!-- from examples/guide.cpp region pair -->      between "region pair" and "end region"
    <!-- from examples/proxy/nginx.conf -->           the whole file
"""
import pathlib
import re
import sys

MARK = re.compile(r"^<!-- from (\S+?)(?: region (\S+))? -->$")
LINK = re.compile(r"\]\(([^)#\s]+)(#[^)]*)?\)")
FREE = ("sh", "text")


def region(text, name):
    """The lines of a region without the blanks that all of them begin with; None for none."""
    lines = text.splitlines()
    begins = [i for i, line in enumerate(lines) if line.strip() == f"// region {name}"]
    if len(begins) != 1:
        return None
    found = []
    for line in lines[begins[0] + 1:]:
        if line.strip() == "// end region":
            margin = min((len(x) - len(x.lstrip()) for x in found if x.strip()), default=0)
            return [x[margin:] for x in found]
        found.append(line)
    return None


def source(root, name, part):
    file = root / name
    if not file.is_file():
        return None
    text = file.read_text()
    return region(text, part) if part else text.splitlines()


def blocks(lines):
    """(line number, language, lines, the line before it that is not empty) of each block."""
    before, inside = "", None
    for number, line in enumerate(lines, 1):
        if inside is not None:
            if line.startswith("```"):
                yield inside
                inside, before = None, ""
            else:
                inside[2].append(line)
        elif line.startswith("```"):
            inside = (number, line[3:].strip(), [], before)
        elif line.strip():
            before = line


def check_block(root, path, block):
    number, language, lines, before = block
    mark = MARK.match(before)
    if not mark:
        return None if language in FREE else f"{path}:{number}: a block without its source"
    expected = source(root, mark[1], mark[2])
    if expected is None:
        return f"{path}:{number}: {mark[1]} has no such part: {mark[2] or 'the file'}"
    if expected != lines:
        return f"{path}:{number}: differs from {before[5:-4]}"
    return None


def violations(root):
    for file in sorted((root / "docs").rglob("*.md")):
        path = file.relative_to(root).as_posix()
        lines = file.read_text().splitlines()
        for block in blocks(lines):
            yield check_block(root, path, block)
        for number, line in enumerate(lines, 1):
            for target, _ in LINK.findall(line):
                if "://" not in target and not (file.parent / target).exists():
                    yield f"{path}:{number}: the link to {target} leads nowhere"


def main():
    found = [v for v in violations(pathlib.Path(sys.argv[1])) if v]
    print("\n".join(found) or "docs: every block equals its source, every link leads somewhere")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
