#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Takes one C program out of a Markdown file: the block fenced by ```c whose first line is the comment /* NAME */, or
/* NAME, and a remark */.

Usage: extract.py README.md NAME OUTPUT. The lines keep their numbers, so that a compiler's message leads to the README.
"""
import re
import sys
from pathlib import Path


def blocks(lines):
    """Every ```c block, as the index of its first line and its lines."""
    start = None
    for index, line in enumerate(lines):
        if start is None and line.strip() == "```c":
            start = index + 1
        elif start is not None and line.strip() == "```":
            yield start, lines[start:index]
            start = None


def main():
    readme, name, output = sys.argv[1:]
    lines = Path(readme).read_text(encoding="utf-8").splitlines()
    first = re.compile(rf"/\* {re.escape(name)}(, .*)? \*/")
    found = [(start, block) for start, block in blocks(lines) if block and first.fullmatch(block[0].strip())]
    if len(found) != 1:
        sys.exit(f"{readme}: {len(found)} blocks of C begin with /* {name} */, not one")
    start, block = found[0]
    Path(output).write_text("\n".join([f'#line {start + 1} "{readme}"', *block, ""]), encoding="utf-8")


if __name__ == "__main__":
    main()
