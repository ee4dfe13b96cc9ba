#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Holds the generated header of result codes against the table that it is made from.

The generator reads the table with regular expressions of the build system; a row that it skips, or a text that it
mangles, would otherwise be found by the first program that needs it. Arguments: the table, the header.
"""
import re
import sys
from pathlib import Path


def rows(table):
    text = Path(table).read_text(encoding="utf-8")
    found = re.findall(r'^\s*SNTR_RC\(\s*(\w+)\s*,\s*(0x[0-9a-fA-F]+)\s*,\s*((?:"(?:[^"\\]|\\.)*"\s*)+)\)', text, re.MULTILINE)
    assert len(found) == len(re.findall(r"^\s*SNTR_RC\(", text, re.MULTILINE)), "this test cannot read the table"
    for name, value, texts in found:
        parts = re.findall(r'"((?:[^"\\]|\\.)*)"', texts)
        yield name.lower(), int(value, 16), "".join(parts).replace('\\"', '"')


def macros(header):
    text = Path(header).read_text(encoding="utf-8")
    for comment, name, value in re.findall(r"/\*\* (.*?) \*/\n#define SNTR_RC_(\w+) UINT32_C\((\w+)\)", text):
        yield name.replace("_", "").lower(), int(value, 16), comment


def main():
    wanted, found = set(rows(sys.argv[1])), set(macros(sys.argv[2]))
    for row in sorted(wanted ^ found):
        print("only in the table: " if row in wanted else "only in the header:", row)
    print(len(wanted), "codes")
    return 0 if wanted and wanted == found else 1


if __name__ == "__main__":
    sys.exit(main())
