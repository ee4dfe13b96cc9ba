#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the guide's programs, in their order, and holds what each prints against the block of output behind it.

Every block of C whose first line is /* guide: NAME */ and that has a main() is a program, guide_NAME. One whose first
line says that it stays until Enter is still running while the next one runs. Arguments: the guide, the programs.
"""
import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

GUIDE, PROGRAMS = Path(sys.argv[1]), {Path(program).name: program for program in sys.argv[2:]}
PATIENCE = 30  # seconds
SEGMENT = Path(f"/dev/shm/qx7osse.{0x6775696465:016x}{os.getpid():08x}")  # the programs take its number as an argument
BLOCK = re.compile(r"^```c\n(.*?)^```$(?:\n+^```output\n(.*?)^```$)?", re.S | re.M)
FIRST = re.compile(r"/\* guide: (\w+)(, stays until Enter|, a header)? \*/\n")


class GuideTest(unittest.TestCase):
    def setUp(self):
        self.blocks = [(code, output, FIRST.match(code)) for code, output in BLOCK.findall(
            GUIDE.read_text(encoding="utf-8"))]

    def test_every_block_is_built(self):
        self.assertEqual([code for code, _, first in self.blocks if first is None], [])
        self.assertEqual([f"guide_{first[1]}" for code, _, first in self.blocks if "int main(" in code],
                         list(PROGRAMS))

    def start(self, name, directory):
        process = subprocess.Popen([PROGRAMS[f"guide_{name}"], str(os.getpid())], stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, cwd=directory)
        self.addCleanup(process.kill)
        return process

    def end(self, process, name, printed, output):
        printed += process.communicate("\n", timeout=PATIENCE)[0]
        with self.subTest(program=name):
            self.assertEqual((process.returncode, printed), (0, output))

    def test_output(self):
        staying = None
        self.addCleanup(SEGMENT.unlink, missing_ok=True)
        with tempfile.TemporaryDirectory() as directory:
            for code, output, first in self.blocks:
                if "int main(" not in code:
                    continue
                process = self.start(first[1], directory)
                if first[2]:
                    staying = process, first[1], process.stdout.readline(), output
                    continue
                self.end(process, first[1], "", output)
                if staying:
                    self.end(*staying)
                    staying = None
            self.assertEqual(os.listdir(directory), [])
        self.assertFalse(SEGMENT.exists())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
