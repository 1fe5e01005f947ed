#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""check_docs_test.py ROOT: the check of the documentation judges planted pages as it should."""
import pathlib
import subprocess
import sys
import tempfile

CHECK = pathlib.Path(sys.argv[1]) / "tools/dev/check_docs.py"
SOURCE = "int before;\n  // region one\n  int x = 1;\n    x += 2;\n  // end region\nint behind;\n"
MARK = "<!-- from examples/a.cpp region one -->\n"

# (page, what the report must say; None where the page must pass, why)
PAGES = [
    (MARK + "```cpp\nint x = 1;\n  x += 2;\n```\n", None, "the region without its margin"),
    (MARK + "\n```cpp\nint x = 1;\n  x += 2;\n```\n", None, "an empty line between"),
    (f"<!-- from examples/a.cpp -->\n```cpp\n{SOURCE}```\n", None, "a whole file"),
    ("```sh\nls\n```\n", None, "shell lines need no source"),
    (MARK + "```cpp\nint x = 2;\n  x += 2;\n```\n", "page.md:2: differs", "another number"),
    (MARK + "```cpp\nint x = 1;\n```\n", "differs", "a line is missing"),
    ("```cpp\nint x;\n```\n", "page.md:1: a block without its source", "no mark"),
    (MARK + "```cpp\nint x = 1;\n  x += 2;\n```\n```cpp\nint x;\n```\n", "a block without",
     "a mark is for one block"),
    (MARK.replace("one", "two") + "```cpp\n```\n", "no such part: two", "an unknown region"),
    (MARK.replace("a.cpp", "b.cpp") + "```cpp\n```\n", "no such part", "an unknown file"),
    ("[a](../examples/a.cpp) [b](https://example.org/x)\n", None, "links that lead somewhere"),
    ("[a](gone.md#there)\n", "page.md:1: the link to gone.md", "a link that leads nowhere"),
]


def main():
    failures = 0
    for page, expected, reason in PAGES:
        with tempfile.TemporaryDirectory() as scratch:
            tree = pathlib.Path(scratch)
            (tree / "docs").mkdir()
            (tree / "examples").mkdir()
            (tree / "examples/a.cpp").write_text(SOURCE)
            (tree / "docs/page.md").write_text(page)
            done = subprocess.run([sys.executable, CHECK, tree], capture_output=True, text=True)
        if done.returncode != (expected is not None) or (expected or "") not in done.stdout:
            print(f"{reason}: expected {expected!r}, got {done.returncode}: {done.stdout}")
            failures += 1
    print(f"{len(PAGES) - failures} of {len(PAGES)} planted pages judged as they should be")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
