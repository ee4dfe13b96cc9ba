#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Counts with valgrind the instructions of one call, on average over tags 1 to 1,000.

  instructions.py PROGRAM OUT.json

It counts from a function's entry to its return, called functions included. The first call of a process executes more,
which does not matter among so many rounds.
"""
import json
import pathlib
import re
import subprocess
import sys

ROUNDS = 50
TAGS = 1000
FUNCTIONS = {
    "get_r": "sntrGetValueForRProperty",
    "set_r": "sntrSetValueForRProperty",
    "get_v64": "sntrGetValueForVProperty",
    "set_v64": "sntrSetValueForVProperty",
}


def count(program, call):
    command = ["valgrind", "--tool=callgrind", f"--toggle-collect={FUNCTIONS[call]}", "--callgrind-out-file=/dev/null",
               program, call, str(ROUNDS)]
    run = subprocess.run(command, capture_output=True, text=True, check=False)
    collected = re.search(r"Collected : (\d+)", run.stderr)
    if run.returncode != 0 or collected is None or collected.group(1) == "0":
        sys.exit(f"{call}: {run.stderr}")
    return int(collected.group(1)) / (ROUNDS * TAGS)


def main():
    program, out = sys.argv[1:]
    pathlib.Path(out).write_text(json.dumps({call: count(program, call) for call in FUNCTIONS}, indent=1) + "\n")


if __name__ == "__main__":
    main()
