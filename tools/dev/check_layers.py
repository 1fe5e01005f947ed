#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Proves that every #include obeys the tables of ARCHITECTURE.md.

    check_layers.py ROOT          exit status 1 and a line for each violation

The include table says what each folder of the library, the tools and the examples may include,
the internal table who may include another folder's internals, and the fence table in which places
the headers of other libraries, and some of ours, may appear.
"""
import pathlib
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^>"]+)[>"]')
# The standard library's, the system's, Boost's and ours.
KNOWN = re.compile(r"\w+$|(boost|sys|netinet|arpa|linux|IdlewynKit|tools|examples|tests|fuzz|benchmarks)/|"
                   r"(dlfcn|fcntl|grp|ifaddrs|libintl|link|malloc|netdb|poll|pthread|pwd|sched|signal|spawn|termios|time|"
                   r"unistd)\.h$")
FREE = ("IdlewynKit/Export.hpp", "IdlewynKit/Version.hpp")
SOURCES = (".h", ".hpp", ".ipp", ".inc", ".c", ".cc", ".cpp")
TABLED = ("IdlewynKit", "tools", "examples")
FENCED = TABLED + ("tests", "benchmarks", "fuzz")
UMBRELLAS = ("IdlewynKit/IdlewynKit.hpp", "IdlewynKit/UI.hpp", "IdlewynKit/Version.cpp")
# What "public" means in a cell: every header that the library installs, but for these.
DRAWING = ("IdlewynKit/UI.hpp", "IdlewynKit/ui", "IdlewynKit/platform/view", "IdlewynKit/gtk",
           "IdlewynKit/glib")


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


def whole(name):
    """A room of the tables as a path from the root; the library's are written without it."""
    return name if name == "public" or name.startswith(TABLED) else f"IdlewynKit/{name}"


def allowed_includes(text):
    return {whole(folder): [whole(use) for use in names(uses)]
            for row in table(text, "include table") for folder in names(row[0])
            for uses in [row[1]]}


def shared_internals(text):
    return [(whole(names(header)[0]), [whole(user) for user in names(users)])
            for header, users, _ in table(text, "internal table")]


def fences(text):
    return [(names(headers), names(places)) for headers, places in table(text, "fence table")]


def lies_in(path, place):
    return path == place or path.startswith((place + "/", place + "."))


def room(path, rooms):
    """The innermost row of the include table that the path lies in."""
    return max((name for name in rooms if lies_in(path, name)), key=len, default=None)


def is_public(target):
    return (target.startswith("IdlewynKit/") and "/internal/" not in target
            and not any(lies_in(target, place) for place in DRAWING))


def check_rooms(path, target, rooms):
    if not target.startswith(tuple(f"{folder}/" for folder in TABLED)) or path in UMBRELLAS:
        return None
    here = room(path, rooms)
    if here is None:
        return f"{path}: its folder is not in the include table"
    if target in FREE or lies_in(target, here):
        return None
    there = room(target, rooms)
    if any(lies_in(target, use) and there in (use, room(use, rooms)) or
           use == "public" and is_public(target) for use in rooms[here]):
        return None
    return f"{path}: {here} may not include <{target}>"


def check_internal(path, target, shared):
    """A folder's internals are for itself alone."""
    if "/internal/" not in target or not path.startswith(TABLED):
        return None
    owner = target.split("/internal/", 1)[0]
    if lies_in(path, owner):
        return None
    if any(target == header and any(lies_in(path, user) for user in users)
           for header, users in shared):
        return None
    return f"{path}: <{target}> is internal to {owner}"


def check_spelling(path, line, header):
    is_neighbour = "/" not in header and path.startswith("tools/")
    if '"' in line and path.startswith(TABLED) and not is_neighbour:
        return f'{path}: write the whole path in angle brackets, not "{header}"'
    return None


def is_within(path, place):
    """A place is a folder, a file without its suffix, or a folder's sources: name/*.cpp."""
    if place.endswith("*.cpp"):
        folder = place.removesuffix("*.cpp")
        return path.startswith(folder) and "/" not in path[len(folder):] and path.endswith(".cpp")
    return lies_in(path, place.removesuffix("/"))


def check_fence(path, header, all_fences):
    for headers, places in all_fences:
        if header.startswith(tuple(headers)) and not any(is_within(path, p) for p in places):
            return f"{path}: <{header}> is fenced to {', '.join(places)}"
    return None


def check_known(path, line, header, all_fences):
    if '"' in line or KNOWN.match(header):
        return None
    if any(header.startswith(tuple(headers)) for headers, _ in all_fences):
        return None
    return f"{path}: <{header}> has no row in the fence table"


def cycles(rooms):
    """Rooms that include each other, by the table itself."""
    uses = {here: {room(use, rooms) for use in cell if not lies_in(here, use)} - {None, here}
            for here, cell in rooms.items()}
    done = set()

    def walk(here, trail):
        if here in trail:
            yield "the include table has a cycle: " + " -> ".join(trail[trail.index(here):] + [here])
        elif here not in done:
            for use in sorted(uses[here]):
                yield from walk(use, trail + [here])
            done.add(here)

    for here in sorted(rooms):
        yield from walk(here, [])


def violations(root):
    text = (root / "ARCHITECTURE.md").read_text()
    rooms, shared, all_fences = allowed_includes(text), shared_internals(text), fences(text)
    yield from cycles(rooms)
    for folder in FENCED:
        for file in sorted((root / folder).rglob("*")):
            if file.suffix not in SOURCES:
                continue
            path = file.relative_to(root).as_posix()
            for line in file.read_text().splitlines():
                match = INCLUDE.match(line)
                if not match:
                    continue
                header = match.group(1)
                yield check_spelling(path, line, header)
                if folder in TABLED:
                    yield check_rooms(path, header, rooms)
                yield check_internal(path, header, shared)
                yield check_fence(path, header, all_fences)
                yield check_known(path, line, header, all_fences)


def main():
    found = [v for v in violations(pathlib.Path(sys.argv[1])) if v]
    print("\n".join(found) or "layers: every include obeys the tables")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
