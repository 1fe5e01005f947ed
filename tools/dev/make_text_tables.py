#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes the tables that text for people needs and utf8proc lacks, from Debian's unicode-data.

    make_text_tables.py ROOT           writes IdlewynKit/platform/text/internal/UnicodeTables.inc
    make_text_tables.py ROOT --check   exit status 1 when the file there differs

The file names the version of Unicode that it was made from. With another version installed,
--check reports that and compares nothing.
"""
import pathlib
import re
import sys

DATA = pathlib.Path("/usr/share/unicode")
OUTPUT = "IdlewynKit/platform/text/internal/UnicodeTables.inc"
# Characters whose glyph is empty or replaced. No property tells them; their names do.
BLANK_NAMES = ("BRAILLE PATTERN BLANK", "KHITAN SMALL SCRIPT FILLER",
               "MUSICAL SYMBOL NULL NOTEHEAD", "OBJECT REPLACEMENT CHARACTER")
# Characters that look like a backslash.
BACKSLASH_NAMES = ("SET MINUS",)
VIRAMA = 9  # canonical combining class


def rows(name):
    for line in (DATA / name).read_text(encoding="utf-8").splitlines():
        line = line.split("#", 1)[0].strip()
        if line:
            yield [field.strip() for field in line.split(";")]


def code_points(text):
    first, _, last = text.partition("..")
    return range(int(first, 16), int(last or first, 16) + 1)


def version():
    return re.match(r"# Scripts-([\d.]+)\.txt", (DATA / "Scripts.txt").read_text()).group(1)


def property_values(name):
    return {point: row[1] for row in rows(name) for point in code_points(row[0])}


def unicode_data():
    """(code point, name, category, combining class) of every character that has a row."""
    for row in rows("UnicodeData.txt"):
        yield int(row[0], 16), row[1], row[2], int(row[3])


def joining_letters():
    """Ranges of (first, last, script, joining type) for letters and dependent vowels of scripts
    that join their letters, by joining types or by a virama."""
    scripts = property_values("Scripts.txt")
    types = property_values("extracted/DerivedJoiningType.txt")
    joins = {point for point, kind in types.items() if kind in "DRL"}
    viramas = {point for point, _, _, marks in unicode_data() if marks == VIRAMA}
    wanted = {scripts.get(point) for point in joins | viramas} - {"Common", "Inherited", None}
    numbers = {script: number for number, script in enumerate(sorted(wanted), 1)}
    ranges = []
    for point, _, category, _ in unicode_data():
        script = scripts.get(point)
        if script not in wanted or category[0] not in "LM":
            continue
        kind = types.get(point, "U")
        entry = (numbers[script], kind if kind in "DRLC" else "U")
        if ranges and ranges[-1][1] == point - 1 and ranges[-1][2] == entry:
            ranges[-1] = (ranges[-1][0], point, entry)
        else:
            ranges.append((point, point, entry))
    return [(first, last, *entry) for first, last, entry in ranges]


def variation_sequences():
    """(base, selector), sorted."""
    found = {tuple(int(point, 16) for point in row[0].split())
             for name in ("StandardizedVariants.txt", "emoji/emoji-variation-sequences.txt")
             for row in rows(name)}
    return sorted(found)


def joined_emoji():
    """What emoji sequences join: sorted (left, right) without modifiers and selectors, and the
    most joiners in one of them."""
    pairs, longest = set(), 0
    for row in rows("emoji/emoji-zwj-sequences.txt"):
        parts = [[int(point, 16) for point in part.split()] for part in row[0].split("200D")]
        pairs |= {(left[0], right[0]) for left, right in zip(parts, parts[1:])}
        longest = max(longest, len(parts) - 1)
    return sorted(pairs), longest


def tag_sequences():
    return [[int(point, 16) for point in row[0].split()] for row in rows("emoji/emoji-sequences.txt")
            if row[1] == "RGI_Emoji_Tag_Sequence"]


def named(names, part=None):
    return sorted(point for point, name, _, _ in unicode_data()
                  if name in names or (part and part in name and point >= 0x80))


def table(declaration, entries):
    lines, line = [f"constexpr {declaration} = {{"], " "
    for entry in entries:
        if len(line) + len(entry) + 2 > 100:
            lines.append(line)
            line = " "
        line += f" {entry},"
    return "\n".join([*lines, line, "};"])


def tables():
    pairs, longest = joined_emoji()
    tags = [f'U"{"".join(f"{chr(92)}U{point:08X}" for point in tag)}"' for tag in tag_sequences()]
    return "\n\n".join([
        "// SPDX-License-Identifier: MIT\n"
        f"// Made by tools/dev/make_text_tables.py from Unicode {version()}; do not edit.",
        "// Letters of scripts that join their letters.\n" + table(
            "JoiningLetters joiningLetters[]",
            (f"{{0x{a:X}, 0x{b:X}, {s}, '{t}'}}" for a, b, s, t in joining_letters())),
        "// Variation sequences: the base in the upper 21 bits, below it the selector's number.\n"
        + table("std::uint32_t variationSequences[]",
                (f"0x{base << 5 | selector_number(selector):X}"
                 for base, selector in variation_sequences())),
        "// What a joiner joins in emoji.\n" + table(
            "JoinedEmoji joinedEmoji[]", (f"{{0x{a:X}, 0x{b:X}}}" for a, b in pairs)),
        f"constexpr int mostEmojiJoiners = {longest};",
        table("std::u32string_view tagSequences[]", tags),
        table("char32_t blankGlyphs[]", (f"0x{point:X}" for point in named(BLANK_NAMES))),
        table("char32_t likeBackslash[]",
              (f"0x{point:X}" for point in named(BACKSLASH_NAMES, "REVERSE SOLIDUS"))),
    ]) + "\n"


def selector_number(selector):
    """0 to 15 for U+FE00 to U+FE0F; 16 and up for the Mongolian selectors from U+180B."""
    return selector - 0xFE00 if selector >= 0xFE00 else 16 + selector - 0x180B


def main():
    root, check = pathlib.Path(sys.argv[1]), "--check" in sys.argv[2:]
    file = root / OUTPUT
    if not check:
        file.write_text(tables())
        return 0
    committed = file.read_text()
    made_from = re.search(r"from Unicode ([\d.]+);", committed)
    if made_from and made_from.group(1) != version():
        print(f"text tables: made from Unicode {made_from.group(1)}, not compared with {version()}")
        return 0
    if committed != tables():
        print(f"{OUTPUT} is not what tools/dev/make_text_tables.py makes; run it and commit")
        return 1
    print(f"text tables: as made from Unicode {version()}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
