#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""coverage_report.py ROOT LCOV_FILE: line coverage of IdlewynKit/, a row a folder.

Behind it come the lines that no test ran, but for those that docs/coverage.md gives a reason for:
rows of its table, each with a file and the beginning of the text of its line or lines. A row
whose text ends in "{" stands for all that this line opens.

    | `platform/net/IOLoop.cpp` | `if (epoll_create1(` | why no test can reach it |

A line without a reason is an error, and so is a row that fits no uncovered line any more: the page
stays true.
"""
import collections
import pathlib
import re
import sys

ROW = re.compile(r"^\| `([^`]+)` \| `(.+?)` \| (.+) \|$")


def counts(root, text):
    """{path below IdlewynKit: {line: how often}}; a line counts when any program ran it."""
    found = collections.defaultdict(dict)
    path = None
    for line in text.splitlines():
        if line.startswith("SF:"):
            name = pathlib.Path(line[3:])
            library = root / "IdlewynKit"
            path = name.relative_to(library).as_posix() if library in name.parents else None
        elif line.startswith("DA:") and path:
            number, count = line[3:].split(",")[:2]
            lines = found[path]
            lines[int(number)] = max(lines.get(int(number), 0), int(count))
    return found


def reasons(root):
    page = root / "docs/coverage.md"
    lines = page.read_text().splitlines() if page.exists() else []
    return {(m[1], m[2]): 0 for m in map(ROW.match, lines) if m}


def folder_rows(found):
    folders = collections.defaultdict(lambda: [0, 0])
    for path, lines in found.items():
        for name in (path.rsplit("/", 1)[0] if "/" in path else ".", "all"):
            folders[name][0] += sum(count > 0 for count in lines.values())
            folders[name][1] += len(lines)
    for name in sorted(folders, key=lambda name: (name == "all", name)):
        covered, total = folders[name]
        yield f"{name:36} {covered:6} of {total:6} lines  {100 * covered / total:5.1f} %"


def opened(source, text):
    """The numbers of the lines that begin with the text, and of those that they open."""
    for number, line in enumerate(source, 1):
        if not line.strip().startswith(text):
            continue
        yield number
        margin = line[:len(line) - len(line.lstrip())]
        if text.endswith("{"):
            for inner in range(number + 1, len(source) + 1):
                yield inner
                if source[inner - 1].startswith(margin + "}"):
                    break


def uncovered(root, found, known):
    for path in sorted(found):
        source = (root / "IdlewynKit" / path).read_text().splitlines()
        covers = {key: set(opened(source, key[1])) for key in known if key[0] == path}
        for number, count in sorted(found[path].items()):
            text = source[number - 1].strip()
            if count > 0 or text in ("", "}", "};", "} else {"):
                continue
            fitting = [key for key in covers if number in covers[key]]
            for key in fitting:
                known[key] += 1
            if not fitting:
                yield f"IdlewynKit/{path}:{number}: {text}"


def main():
    root = pathlib.Path(sys.argv[1]).resolve()
    found = counts(root, pathlib.Path(sys.argv[2]).read_text())
    if not found:
        sys.exit("coverage: there is no line of IdlewynKit/ in the data")
    print("\n".join(folder_rows(found)))
    known = reasons(root)
    left = list(uncovered(root, found, known))
    print(f"\n{len(left)} lines without a test and without a reason in docs/coverage.md")
    print("\n".join(left))
    stale = [f"docs/coverage.md: no uncovered line of {file} begins with {text}"
             for (file, text), uses in known.items() if uses == 0]
    print("\n".join(stale))
    return 1 if left or stale else 0


if __name__ == "__main__":
    sys.exit(main())
