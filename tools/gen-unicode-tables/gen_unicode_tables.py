#!/usr/bin/env python3
"""Generates the character tables of the SQLite Unicode extension from the Unicode
Character Database (UnicodeData.txt and CaseFolding.txt of one version).

    gen_unicode_tables.py --ucd data/ucd/5.1.0 --output sqlite3_unicode_tables.inc

The output is C source included by Velmora/sqlite/sqlite3_unicode.c. Every mapping
works on one UTF-16 code unit of the Basic Multilingual Plane and is a two-level table:

  <name>_index[block]          row number of each block of code points (one byte)
  <name>_offsets[row][k]       index, in the row's values, of the first value of code
                               point k of the block; entry k+1 minus entry k is how many
                               values it has (rows carry width + 1 entries)
  <name>_values[row][i]        16-bit code units; a single 0xFFFF means "maps to itself"

Blocks are 32 code points wide for fold, lower and unaccent and 64 wide for upper and
title, which share one index and one offsets table (their rows are chosen on the pair
of value lists) and keep separate value lists. Identical rows are stored once, so the
index stays within one byte.

What each table takes from the database:
  fold      CaseFolding.txt entries of status C (common) and S (simple). F (full,
            several characters) and T (Turkic) are left out: one unit maps to one unit
            and the folding does not depend on the language.
  lower     UnicodeData field 13 (simple lowercase mapping).
  upper     UnicodeData field 12 (simple uppercase mapping).
  title     UnicodeData field 14 (simple titlecase mapping); where it is empty the
            uppercase mapping stands for it, as the database prescribes.
  unaccent  canonical decompositions only (UnicodeData field 5 without a <tag>),
            expanded recursively to the full canonical decomposition, from which the
            nonspacing marks (general category Mn, the accents) are removed.
            - Compatibility decompositions (<compat>, <font>, <fraction>, ...) are not
              taken: they change what a text says (a ligature, a superscript digit,
              "1/2"), which is more than removing an accent.
            - Spacing combining marks (Mc) stay: they are the vowel signs of Indic and
              South-East Asian scripts, which carry sound rather than accent.
            - A decomposition made only of nonspacing marks (U+0340, U+0344, U+0F73,
              ...) would leave nothing; such characters keep themselves, as every other
              combining mark does.
            - Singleton decompositions (U+212B ANGSTROM SIGN, the CJK compatibility
              ideographs, U+037E GREEK QUESTION MARK) are taken: they are canonically
              equivalent, and normalisation would replace them anyway.
            - Hangul syllables are not: their decompositions are algorithmic rather
              than listed, and a syllable's jamo are letters, not accents.
            Several units result where the decomposition keeps more than one
            character: the two-part vowel signs whose parts are both spacing marks
            (Bengali U+09CB/09CC, Oriya U+0B4B, Tamil U+0BCA-0BCC, Malayalam
            U+0D4A-0D4C, Sinhala U+0DDC-0DDE, Balinese U+1B06-1B12, ...), and the
            CJK compatibility ideographs U+FACF-FAD7, whose unified ideographs lie
            beyond the plane and so take a surrogate pair. The generated file lists
            every one of them.

Only code points and mappings within the Basic Multilingual Plane are taken; the
surrogate range maps to itself.
"""

import argparse
import os
import sys

IDENTITY = 0xFFFF
PLANE = 0x10000


def read_unicode_data(path):
    """Answers {code point: fields} for every code point listed (ranges expanded)."""
    entries = {}
    range_start = None
    with open(path, encoding="utf-8") as data:
        for line in data:
            fields = line.rstrip("\n").split(";")
            if len(fields) != 15:
                continue
            code = int(fields[0], 16)
            name = fields[1]
            if name.endswith(", First>"):
                range_start = code
                continue
            if name.endswith(", Last>") and range_start is not None:
                # Ranges (CJK, Hangul, private use) carry no mappings or decompositions.
                for member in range(range_start, code + 1):
                    entries[member] = ["", name, fields[2], "", "", "", "", "", "", "",
                                       "", "", "", "", ""]
                range_start = None
                continue
            entries[code] = fields
    return entries


def read_case_folding(path):
    folding = {}
    with open(path, encoding="utf-8") as data:
        for line in data:
            line = line.split("#", 1)[0].strip()
            if not line:
                continue
            code, status, mapping = [part.strip() for part in line.split(";")[:3]]
            if status in ("C", "S"):
                folding[int(code, 16)] = int(mapping, 16)
    return folding


def simple_mapping(field):
    return int(field, 16) if field else None


def case_tables(entries, folding):
    fold, lower, upper, title = {}, {}, {}, {}
    for code, fields in entries.items():
        if code >= PLANE:
            continue
        up = simple_mapping(fields[12])
        low = simple_mapping(fields[13])
        tit = simple_mapping(fields[14])
        if tit is None:
            tit = up
        for table, target in ((lower, low), (upper, up), (title, tit)):
            if target is not None and target < PLANE and target != code:
                table[code] = [target]
    for code, target in folding.items():
        if code < PLANE and target < PLANE and target != code:
            fold[code] = [target]
    return fold, lower, upper, title


def canonical_decompositions(entries):
    decompositions = {}
    for code, fields in entries.items():
        field = fields[5]
        if field and not field.startswith("<"):
            decompositions[code] = [int(part, 16) for part in field.split()]
    return decompositions


def full_decomposition(code, decompositions):
    parts = decompositions.get(code)
    if parts is None:
        return [code]
    result = []
    for part in parts:
        result.extend(full_decomposition(part, decompositions))
    return result


def utf16_units(code_points):
    units = []
    for code in code_points:
        if code < PLANE:
            units.append(code)
        else:
            code -= PLANE
            units.extend([0xD800 + (code >> 10), 0xDC00 + (code & 0x3FF)])
    return units


def unaccent_table(entries):
    decompositions = canonical_decompositions(entries)
    table = {}
    for code in decompositions:
        if code >= PLANE:
            continue
        kept = [part for part in full_decomposition(code, decompositions)
                if entries.get(part, [""] * 3)[2] != "Mn"]
        if kept and kept != [code]:
            table[code] = utf16_units(kept)
    return table


def build_rows(tables, width):
    """Splits the plane into blocks of width code points and stores each distinct row
    (the tuple of every table's values for the block) once. Answers the block index,
    the offsets of each row (shared by the tables, so their value counts must agree)
    and each table's value lists."""
    index, offsets, values = [], [], [[] for _ in tables]
    seen = {}
    for block in range(PLANE // width):
        lists = []
        for table in tables:
            lists.append(tuple(tuple(table.get(code, [IDENTITY]))
                               for code in range(block * width, (block + 1) * width)))
        key = tuple(lists)
        if key not in seen:
            counts = [len(entry) for entry in lists[0]]
            for other in lists[1:]:
                if [len(entry) for entry in other] != counts:
                    sys.exit("tables sharing offsets differ in value counts")
            row_offsets = [0]
            for count in counts:
                row_offsets.append(row_offsets[-1] + count)
            if row_offsets[-1] > 255:
                sys.exit(f"block {block:#x}: {row_offsets[-1]} values overflow a byte")
            seen[key] = len(offsets)
            offsets.append(row_offsets)
            for slot, entry_lists in enumerate(lists):
                values[slot].append([unit for entry in entry_lists for unit in entry])
        index.append(seen[key])
    if len(offsets) > 256:
        sys.exit(f"{len(offsets)} distinct rows do not fit a one-byte index")
    return index, offsets, values


def c_array(ctype, name, dims, rows, per_line):
    """A static C array; rows is a flat list or a list of rows (one brace each)."""
    def lines(items, indent):
        return [indent + ", ".join(format_item(ctype, item) for item in items[at:at + per_line])
                + "," for at in range(0, len(items), per_line)]

    out = [f"static const {ctype} {name}{dims} = {{"]
    if rows and isinstance(rows[0], list):
        for row in rows:
            out += ["    {"] + lines(row, "        ") + ["    },"]
    else:
        out += lines(rows, "    ")
    out.append("};")
    return "\n".join(out)


def format_item(ctype, item):
    return f"0x{item:04X}" if ctype == "uint16_t" else str(item)


def pad(rows, length):
    return [row + [IDENTITY] * (length - len(row)) for row in rows]


def emit(name, tables, width, ucd_version):
    index, offsets, values = build_rows([table for _, table in tables], width)
    longest = max(len(row) for value_rows in values for row in value_rows)
    upper = name.upper()
    parts = [
        f"#define {upper}_WIDTH {width}",
        f"#define {upper}_ROWS {len(offsets)}",
        c_array("unsigned char", f"{name}_index", f"[{PLANE // width}]", index, 16),
        c_array("unsigned char", f"{name}_offsets", f"[{len(offsets)}][{width + 1}]",
                offsets, 17),
    ]
    for (table_name, _), value_rows in zip(tables, values):
        parts.append(c_array("uint16_t", f"{table_name}_values",
                             f"[{len(offsets)}][{longest}]", pad(value_rows, longest), 8))
    return "\n\n".join(parts)


def generate(ucd, version):
    entries = read_unicode_data(os.path.join(ucd, "UnicodeData.txt"))
    folding = read_case_folding(os.path.join(ucd, "CaseFolding.txt"))
    fold, lower, upper, title = case_tables(entries, folding)
    unaccent = unaccent_table(entries)
    several = sorted(code for code, units in unaccent.items() if len(units) > 1)
    listing = []
    for start in range(0, len(several), 8):
        listing.append(" *   " + " ".join(f"U+{code:04X}" for code in several[start:start + 8]))
    header = "\n".join([
        f"/* Unicode {version} tables of the SQLite Unicode extension.",
        " * Generated by tools/gen-unicode-tables/gen_unicode_tables.py; do not edit.",
        f" * Mapped code points: fold {len(fold)}, lower {len(lower)}, upper {len(upper)},"
        f" title {len(title)}, unaccent {len(unaccent)}.",
        " * Characters whose unaccented form has several units:",
        *listing,
        " */",
        "#include <stdint.h>",
        "",
        "/* Copies of the ASCII units, which sqlite3_unicode_unacc hands out for its own. */",
        c_array("uint16_t", "unaccent_ascii", "[128]", list(range(128)), 8),
    ])
    sections = [
        header,
        emit("fold", [("fold", fold)], 32, version),
        emit("lower", [("lower", lower)], 32, version),
        emit("upper_title", [("upper", upper), ("title", title)], 64, version),
        emit("unaccent", [("unaccent", unaccent)], 32, version),
    ]
    return "\n\n".join(sections) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--ucd", required=True, help="folder of UnicodeData.txt, CaseFolding.txt")
    parser.add_argument("--version", default="5.1.0", help="Unicode version named in the output")
    parser.add_argument("--output", required=True, help="the C file to write")
    args = parser.parse_args()
    text = generate(args.ucd, args.version)
    with open(args.output, "w", encoding="utf-8", newline="\n") as out:
        out.write(text)


if __name__ == "__main__":
    main()
