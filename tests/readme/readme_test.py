#!/usr/bin/env python3
"""Runs the README's two programs as its reader would: one publishes in one terminal, the other reads in a second.

The publisher may end by itself or wait for a line of input; the reader must find what was published, print it and end
with 0. Afterwards nothing of it may be left: a second reader must fail, and the publisher must have ended with 0.
Arguments: the two programs.
"""
import subprocess
import sys
import time

PATIENCE = 20  # seconds


def read(program):
    done = subprocess.run([program], capture_output=True, text=True, timeout=PATIENCE, stdin=subprocess.DEVNULL)
    return done.returncode, done.stdout


def read_until_found(program):
    """The reader is started over while the publisher is still on its way."""
    end = time.monotonic() + PATIENCE
    while True:
        code, text = read(program)
        if code == 0 or time.monotonic() > end:
            return code, text
        time.sleep(0.05)


def main():
    publish, reader = sys.argv[1:]
    publisher = subprocess.Popen([publish], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL)
    try:
        code, text = read_until_found(reader)
        publisher.communicate(b"\n", timeout=PATIENCE)
    finally:
        publisher.kill()
    print(f"reader: {code}, {text!r}\npublisher: {publisher.returncode}")
    if code != 0 or not any(character.isdigit() for character in text):
        sys.exit("the reader did not find and print a value")
    if publisher.returncode != 0:
        sys.exit("the publisher failed")
    if read(reader)[0] == 0:
        sys.exit("the segment is still there after the publisher's end")


if __name__ == "__main__":
    main()
