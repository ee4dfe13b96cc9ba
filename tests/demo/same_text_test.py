#!/usr/bin/env python3
"""Holds the programs in README.md against those in examples/, which must be the same to the letter.

Argument: the directory of the project.
"""
import re
import sys
import unittest
from pathlib import Path

ROOT = Path(sys.argv.pop(1))


class SameTextTest(unittest.TestCase):
    def test_blocks(self):
        blocks = re.findall(r"^```c\n(.*?)^```$", (ROOT / "README.md").read_text(encoding="utf-8"), re.S | re.M)
        for name in ("publish", "read"):
            with self.subTest(program=name):
                shown = [block for block in blocks if block.startswith(f"/* {name} */\n")]
                program = (ROOT / "examples" / f"hello_{name}.c").read_text(encoding="utf-8")
                self.assertEqual(shown, [program])


if __name__ == "__main__":
    unittest.main()
