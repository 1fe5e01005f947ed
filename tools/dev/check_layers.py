#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Proves that every #include obeys the tables of ARCHITECTURE.md.

    check_layers.py ROOT          exit status 1 and a line for each violation

The include table says which folders of the library a folder may include, the fence table in
which folders the headers of a third-party library may appear.
"""
import pathlib
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^>"]+)[>"]')
# The standard library's, the system's, Boost's and ours.
KNOWN = re.compile(r"\w+$|(boost|sys|netinet|arpa|linux|IdlewynKit|tools|examples)/|"
                   r"(dlfcn|fcntl|ifaddrs|libintl|link|netdb|poll|pthread|pwd|signal|spawn|termios|unistd)\.h$")
FREE = ("Export.hpp", "Version.hpp")
SOURCES = (".hpp", ".cpp")
UMBRELLAS = ("IdlewynKit/IdlewynKit.hpp", "IdlewynKit/UI.hpp", "IdlewynKit/Version.cpp")


def table(text, marker):
    """The rows of the Markdown table behind an HTML comment, as lists of cells."""
    lines = text.split(f"<!-- {marker} -->", 1)[1].strip().splitlines()
    rows = []
    for line in lines:
        if not line.startswith("|"):
            break
        rows.append([cell.strip() for cell in line.strip("|").split("|")])
    return rows[2:]


def names(cell):
    return [] if cell == "nothing" else re.findall(r"`([^`]+)`", cell)


def allowed_includes(text):
    return {names(folder)[0]: names(uses) for folder, uses in table(text, "include table")}


def fences(text):
    return [(names(headers), names(places)) for headers, places in table(text, "fence table")]


def lies_in(path, place):
    return path == place or path.startswith((place + "/", place + "."))


def room(path, rooms):
    """The innermost row of the include table that the path lies in."""
    return max((name for name in rooms if lies_in(path, name)), key=len, default=None)


def check_library(path, target, rooms):
    here = room(path, rooms)
    if here is None:
        return f"IdlewynKit/{path}: its folder is not in the include table"
    if target in FREE or lies_in(target, here):
        return None
    if any(lies_in(target, place) for place in rooms[here]):
        return None
    return f"IdlewynKit/{path}: {here} may not include <IdlewynKit/{target}>"


def check_spelling(path, line, header):
    if '"' in line and not header.startswith("IdlewynKit/"):
        return f"{path}: write <IdlewynKit/...>, not \"{header}\""
    return None


def check_fence(path, header, all_fences):
    for headers, places in all_fences:
        if header.startswith(tuple(headers)) and not any(
            path.startswith(place.removesuffix("*.cpp"))
            and (not place.endswith("*.cpp") or path.endswith(".cpp"))
            for place in places
        ):
            return f"{path}: <{header}> is fenced to {', '.join(places)}"
    return None


def check_known(path, line, header, all_fences):
    if '"' in line or KNOWN.match(header):
        return None
    if any(header.startswith(tuple(headers)) for headers, _ in all_fences):
        return None
    return f"{path}: <{header}> has no row in the fence table"


def violations(root):
    text = (root / "ARCHITECTURE.md").read_text()
    rooms, all_fences = allowed_includes(text), fences(text)
    for folder in ("IdlewynKit", "tools", "examples"):
        for file in sorted((root / folder).rglob("*")):
            if file.suffix not in SOURCES:
                continue
            path = file.relative_to(root).as_posix()
            for line in file.read_text().splitlines():
                match = INCLUDE.match(line)
                if not match:
                    continue
                header = match.group(1)
                if folder == "IdlewynKit":
                    yield check_spelling(path, line, header)
                    if header.startswith("IdlewynKit/") and path not in UMBRELLAS:
                        yield check_library(path.removeprefix("IdlewynKit/"),
                                            header.removeprefix("IdlewynKit/"), rooms)
                elif folder != "IdlewynKit" and "/internal/" in header:
                    yield f"{path}: tools use public headers only, not <{header}>"
                yield check_fence(path, header, all_fences)
                yield check_known(path, line, header, all_fences)


def main():
    found = [v for v in violations(pathlib.Path(sys.argv[1])) if v]
    print("\n".join(found) or "layers: every include obeys the tables")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
