#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Builds that could only crash are refused with a sentence.

    refused_builds.py COMPILER ROOT GENERATED     GENERATED holds IdlewynKit/Version.hpp
"""
import pathlib
import re
import subprocess
import sys
import tempfile

COMPILER, ROOT, GENERATED = sys.argv[1:4]
ALONE = "#include <IdlewynKit/model/PermissionPrompt.hpp>\n" \
        "auto text = rawValue(idlewyn::PermissionDecision::allow);\n"
BOTH = "#include <IdlewynKit/IdlewynKit.hpp>\n" \
       "using namespace idlewyn;\nusing namespace idlewyn::platform;\n" \
       "JSONDecoder decoder = JSONDecoder::relay();\n"
OTHER_BOOST = "#include <boost/version.hpp>\n#undef BOOST_VERSION\n#define BOOST_VERSION 1\n"

# (name, source, options, what the compiler must say; None where it must accept the program)
CASES = [
    ("a header on its own", ALONE, [], None),
    ("both namespaces", BOTH, [], None),
    ("C++17", BOTH, ["-std=c++17"], "IdlewynKit needs C\\+\\+20"),
    ("no threads", BOTH, ["-DBOOST_ASIO_DISABLE_THREADS"], "Remove BOOST_ASIO_DISABLE_THREADS"),
    ("another Boost", OTHER_BOOST + BOTH, [], "built with another version of Boost"),
]


def main():
    failed = 0
    for name, source, options, expected in CASES:
        with tempfile.TemporaryDirectory() as scratch:
            file = pathlib.Path(scratch, "program.cpp")
            file.write_text(source)
            done = subprocess.run([COMPILER, "-std=c++20", "-fsyntax-only", f"-I{ROOT}",
                                   f"-I{GENERATED}", *options, file],
                                  capture_output=True, text=True)
        ok = done.returncode == 0 if expected is None else (
            done.returncode != 0 and re.search(expected, done.stderr))
        if not ok:
            failed += 1
            print(f"{name}: expected {expected or 'success'}, got {done.returncode}:\n{done.stderr}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
