#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Shows the longer checks (lint, reference, benchmarks, coverage, tables) a clean tree and planted faults.

    run_scripts.py ROOT CHECK ...      of lint, docs, bench, coverage, tables

Each is the script that developers run, in a small tree of its own.
"""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(sys.argv[1])
HEADER = "// SPDX-License-Identifier: MIT\n#pragma once\n"
INSTALLED = "#!/bin/sh\necho install ok installed\n"
BENCH = "build/benchmarks/bench_one"

LINT = {
    "CMakeLists.txt": "cmake_minimum_required(VERSION 3.25)\nproject(Small CXX)\n"
                      "set(CMAKE_EXPORT_COMPILE_COMMANDS ON)\nset(CMAKE_CXX_STANDARD 20)\n"
                      "include_directories(.)\nadd_library(small OBJECT IdlewynKit/Small.cpp)\n",
    "CMakePresets.json": '{"version": 6, "configurePresets": [{"name": "dev", '
                         '"generator": "Ninja", "binaryDir": "build/dev"}]}\n',
    "IdlewynKit/Small.hpp": HEADER + "\n#include <string>\n\nbool isNone(const std::string& s);\n",
    "IdlewynKit/Small.cpp": "// SPDX-License-Identifier: MIT\n#include <IdlewynKit/Small.hpp>\n\n"
                            "bool isNone(const std::string& s) { return s.empty(); }\n",
}
DOCS = {
    "CMakeLists.txt": "project(IdlewynKit VERSION 1.0.0)\n",
    "docs/README.md": "# Documentation\n\n- [Page](page.md)\n",
    "docs/page.md": "# Page\n",
    "IdlewynKit/relay/SessionService.hpp":
        HEADER + "\nnamespace idlewyn {\n\n/// Asks.\nclass SessionService {\n public:\n"
                 "  /// Gives the error.\n  int ask(int question);\n};\n\n}  // namespace idlewyn\n",
    "IdlewynKit/relay/RelayError.hpp":
        HEADER + "\nnamespace idlewyn {\n\n/// Tells.\nstruct RelayError {\n  int status;\n};\n\n}\n",
}
COVERAGE = {
    "IdlewynKit/a/One.cpp": "int one() {\n  fail();\n  return 1;\n}\n",
    "docs/coverage.md": "| `a/One.cpp` | `fail()` | nothing fails |\n",
    "data": "SF:{root}/IdlewynKit/a/One.cpp\nDA:1,4\nDA:2,0\nDA:3,4\nDA:4,4\n",
}
INC = "IdlewynKit/platform/text/internal/UnicodeTables.inc"
SERVICE, NOTHING = "IdlewynKit/relay/SessionService.hpp", None
TREES = {  # the files of a clean tree, what is copied from the repository, the command
    "lint": (LINT, ["dev", "tools/dev/packages", ".clang-format", ".clang-tidy"], ["./dev", "lint"]),
    "docs": (DOCS, ["tools/dev/docs", "tools/dev/doxygen_filter.py", "docs/Doxyfile"],
             ["tools/dev/docs"]),
    "bench": ({BENCH: "#!/bin/sh\necho 1.0\n"}, ["benchmarks/run"],
              ["benchmarks/run", "build", "--check"]),
    "coverage": (COVERAGE, ["tools/dev/coverage_report.py"],
                 [sys.executable, "tools/dev/coverage_report.py", ".", "data"]),
    "tables": ({}, ["tools/dev/make_text_tables.py", INC],
               [sys.executable, "tools/dev/make_text_tables.py", ".", "--check"]),
}
PLANTED = [  # (tree, file, what it holds instead, status, what the report says)
    ("lint", NOTHING, "", 0, ""),
    ("lint", "IdlewynKit/Small.hpp", LINT["IdlewynKit/Small.hpp"].replace("& s", " &s"), 1,
     "code should be clang-formatted"),
    ("lint", "IdlewynKit/Other.hpp", HEADER + "\nstd::string other();\n", 1, "Other.hpp:4"),
    ("lint", "IdlewynKit/Small.cpp",
     LINT["IdlewynKit/Small.cpp"].replace("s.empty()", "s.size() == 0"), 1, "size-empty"),
    ("docs", NOTHING, "", 0, "index.html"),
    ("docs", SERVICE, DOCS[SERVICE].replace("the error", "@ref Nobody"), 1, "Nobody"),
    ("docs", SERVICE, DOCS[SERVICE].replace("the error.", "one. @param answer no such"), 1,
     "answer"),
    ("docs", SERVICE, HEADER, 1, "SessionService is missing"),
    ("docs", "docs/README.md", "# Documentation\n\n- [Page](gone.md)\n", 1, "gone.md"),
    ("bench", NOTHING, "", 0, "== bench_one"),
    ("bench", BENCH, "#!/bin/sh\n[ \"$1\" = --check ] && exit 1\n", 1, "== bench_one"),
    ("bench", BENCH, NOTHING, 2, "no benchmark programs"),
    ("coverage", NOTHING, "", 0, "0 lines without a test"),
    ("coverage", "docs/coverage.md", "", 1, "a/One.cpp:2: fail();"),
    ("coverage", "data", COVERAGE["data"].replace("DA:2,0", "DA:2,1"), 1, "no uncovered line"),
    ("coverage", "data", "", 1, "there is no line of IdlewynKit/"),
    ("tables", NOTHING, "", 0, "text tables: "),
    ("tables", INC, (ROOT / INC).read_text().replace("0x1F468", "0x1F469", 1), 1, "run it"),
    ("tables", INC, "", 1, "run it"),
    ("tables", INC, "// from Unicode 1.0;", 0, "not compared"),
]


def make(tree, name, change):
    files, copies, command = TREES[name]
    for copy in copies:
        (tree / copy).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(ROOT / copy, tree / copy)
    for path, content in {**files, **change}.items():
        if content is NOTHING:
            continue
        (tree / path).parent.mkdir(parents=True, exist_ok=True)
        (tree / path).write_text(content.replace("{root}", str(tree)))
        if path == BENCH:
            (tree / path).chmod(0o755)
    return command


def report(tree, command):
    """Nothing is installed for it: whatever package is asked for is said to be there."""
    tools = tree / "build/bin"
    tools.mkdir(parents=True, exist_ok=True)
    (tools / "dpkg-query").write_text(INSTALLED)
    (tools / "dpkg-query").chmod(0o755)
    environment = {k: v for k, v in os.environ.items() if not k.startswith("GIT_")}
    environment["PATH"] = f"{tools}:{environment['PATH']}"
    if command == ["./dev", "lint"]:
        (tree / ".gitignore").write_text("/build/\n")
        for step in (["init", "-q"], ["add", "-A"]):
            subprocess.run(["git", *step], cwd=tree, env=environment, check=True)
    done = subprocess.run(command, cwd=tree, env=environment, capture_output=True, text=True)
    return done.returncode, done.stdout + done.stderr


def main():
    failures, asked = 0, [row for row in PLANTED if row[0] in sys.argv[2:]]
    for name, path, content, status, text in asked:
        with tempfile.TemporaryDirectory() as scratch:
            tree = pathlib.Path(scratch).resolve()
            command = make(tree, name, {} if path is NOTHING else {path: content})
            found, log = report(tree, command)
        # A command at the end of a pipe fails with a status of its own.
        isAsExpected = found == status or (status == 1 and found > 1 and name == "lint")
        if not isAsExpected or text not in log:
            print(f"{name}, planted {path}: expected {status} and {text!r}, got {found}:\n{log}")
            failures += 1
    print(f"{len(asked) - failures} of {len(asked)} trees judged as they should be")
    return 1 if failures or not asked else 0


if __name__ == "__main__":
    sys.exit(main())
