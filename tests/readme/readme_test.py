#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the README's two programs as its reader would: one publishes in one terminal, the other reads in a second.

They stand in examples/ too, to the letter, and are built from there. The reader must find the value, and nothing may be
left of the publisher that has ended. Arguments: the project's directory, the two programs.
"""
import re
import subprocess
import sys
import time
import unittest
from pathlib import Path

ROOT, PUBLISH, READ = Path(sys.argv[1]), *sys.argv[2:4]
PATIENCE = 20  # seconds


def read():
    done = subprocess.run([READ], capture_output=True, text=True, timeout=PATIENCE, stdin=subprocess.DEVNULL)
    return done.returncode, done.stdout


class ReadmeTest(unittest.TestCase):
    def test_same_text_as_the_examples(self):
        blocks = re.findall(r"^```c\n(.*?)^```$", (ROOT / "README.md").read_text(encoding="utf-8"), re.S | re.M)
        self.assertEqual(blocks, [(ROOT / f"examples/hello_{name}.c").read_text(encoding="utf-8")
                                  for name in ("publish", "read")])

    def test_publish_and_read(self):
        publisher = subprocess.Popen([PUBLISH], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL)
        self.addCleanup(publisher.kill)
        end = time.monotonic() + PATIENCE
        while read()[0] != 0 and time.monotonic() < end:
            time.sleep(0.05)
        self.assertEqual(read(), (0, "temperature: 22\n"))
        publisher.communicate(b"\n", timeout=PATIENCE)
        self.assertEqual(publisher.returncode, 0)
        self.assertNotEqual(read()[0], 0)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
