#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes the character tables of broadcast text from Python's own codecs.

usage: scripts/make_text_tables.py >src/survey/text_tables.cpp
"""
import sys
import unicodedata

UNASSIGNED = "\ufffd"
HANGUL_FILLER = "\u3164"
WIDTH = 100  # columns of a line
# Of the bytes 0xC0 to 0xCF: what each combines as, and what it shows alone.
MARKS = "\ufffd\u0300\u0301\u0302\u0303\u0304\u0306\u0307\u0308\ufffd\u030a\u0327\ufffd\u030b\u0328\u030c"
SPACING = "\ufffd`´^~¯˘˙¨\ufffd˚¸\ufffd˝˛ˇ"
LETTERS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyzÆØæø"

HEAD = """\
// SPDX-License-Identifier: MIT
// Made by scripts/make_text_tables.py from Python's codecs and Unicode data; change that script
// instead. What does not show, combines, is not in NFC or runs from right to left is escaped.
#include "survey/text_tables.h"

namespace zv::survey {
"""

TAIL = """\
namespace {

constexpr bool no_row_exceeds(const TextRows& rows, std::size_t size) {
    for (std::u16string_view row : rows) {
        if (row.size() > size) return false;
    }
    return true;
}

constexpr bool parts_are_whole() {
    for (std::u16string_view part : kIso8859) {
        if (!part.empty() && part.size() != kIso8859Size) return false;
    }
    return true;
}

static_assert(parts_are_whole());
static_assert(no_row_exceeds(kKsX1001, kTextRows) && no_row_exceeds(kGb2312, kTextRows));

}  // namespace

}  // namespace zv::survey"""


def decode(code, codec):
    try:
        text = code.decode(codec)
    except UnicodeDecodeError:
        return UNASSIGNED
    return text if len(text) == 1 else UNASSIGNED


def iso_8859(part):
    if part in (0, 12):
        return ""
    return "".join(decode(bytes([byte]), f"iso8859-{part}") for byte in range(0xA0, 0x100))


def rows(codec, added=()):
    added = dict(added)
    for lead in range(0xA1, 0xFF):
        codes = [bytes([lead, trail]) for trail in range(0xA1, 0xFF)]
        row = "".join(added.get(code) or decode(code, codec) for code in codes)
        yield row.rstrip(UNASSIGNED)


def compositions(mark, spacing):
    """Base and composed character in turn; a space stands for the mark alone."""
    if mark == UNASSIGNED:
        return ""
    pairs = ((base, unicodedata.normalize("NFC", base + mark)) for base in LETTERS)
    return " " + spacing + "".join(a + b for a, b in pairs if len(b) == 1)


def spelled(character):
    shows = character == " " or unicodedata.category(character)[0] not in "CMZ"
    shows = shows and character != HANGUL_FILLER
    stable = unicodedata.normalize("NFC", character) == character
    left_to_right = unicodedata.bidirectional(character) not in ("R", "AL")
    if character in '"\\':
        return "\\" + character
    return character if shows and stable and left_to_right else f"\\u{ord(character):04X}"


def columns(text):
    return sum(2 if unicodedata.east_asian_width(c) in "WF" else 1 for c in text)


def literal(text):
    """The lines of a string literal, each short enough."""
    lines, line = [], ""
    for piece in map(spelled, text):
        if columns(line + piece) > WIDTH - len('    u"",'):
            lines.append(line)
            line = ""
        line += piece
    return [f'    u"{part}"' for part in lines + [line]]


def write(declaration, texts, labels):
    print(f"\n{declaration}{{")
    for text, label in zip(texts, labels):
        print(f"    // {label}")
        print("\n".join(literal(text)) + ",")
    print("};")


def main():
    sys.stdout.reconfigure(encoding="utf-8")
    print(HEAD, end="")
    write("constexpr std::array<std::u16string_view, 17> kIso8859 = ",
          map(iso_8859, range(17)), (f"ISO/IEC 8859-{part}" for part in range(17)))
    write("constexpr std::array<std::u16string_view, 16> kCompositions = ",
          map(compositions, MARKS, SPACING), (f"0xC{low:X}" for low in range(16)))
    # The codec is that of KS X 1001:1998; the postal code mark came in 2002. The Hangul filler
    # is a character like any other here, where the codec has it begin a composed syllable.
    added = {b"\xa2\xe8": "\u327e", b"\xa4\xd4": HANGUL_FILLER}
    write("constexpr TextRows kKsX1001 = ", rows("euc_kr", added),
          (f"KS X 1001, row {row}" for row in range(1, 95)))
    write("constexpr TextRows kGb2312 = ", rows("gb2312"),
          (f"GB 2312, row {row}" for row in range(1, 95)))
    print("\n" + TAIL)


if __name__ == "__main__":
    main()
