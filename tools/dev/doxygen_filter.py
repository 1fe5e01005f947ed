#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""doxygen_filter.py HEADER: a header as the reference reads it.

The comment that a header opens with stands before its namespace, where Doxygen would take it
for the namespace's. Here it becomes the file's. Specialisations of std::hash are left out: Doxygen
looks for the namespace std and fails.
"""
import re
import sys

OPENING = re.compile(r"((?:^///[^\n]*\n)+)(?=namespace |#include |\n)", re.M)
HASH = re.compile(r"^template <[^\n]*>\nstruct std::hash<.*?^};\n", re.M | re.S)


def filtered(text):
    text = HASH.sub(lambda m: "\n" * m[0].count("\n"), text)
    return OPENING.sub(lambda m: "/// @file\n" + m[1] + "\n", text, count=1)


if __name__ == "__main__":
    sys.stdout.write(filtered(open(sys.argv[1], encoding="utf-8").read()))
