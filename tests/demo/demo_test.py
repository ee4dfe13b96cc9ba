#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the example programs publisher and monitor under keys of its own, and looks at what they show and leave behind.

Arguments: the two programs. Every case has its own key, made of this process's number, so that runs do not meet.
"""
import itertools
import json
import os
import random
import re
import signal
import subprocess
import sys
import time
import unittest
from contextlib import contextmanager
from pathlib import Path

PUBLISHER, MONITOR = sys.argv.pop(1), sys.argv.pop(1)
PATIENCE = 30  # seconds
KEYS = itertools.count(os.getpid() << 16)

# Without randomization both programs would get the same address, so that the monitor has to ask for another.
LAUNCHER = ["setarch", os.uname().machine, "-R"]
if subprocess.run([*LAUNCHER, "true"], stderr=subprocess.DEVNULL).returncode != 0:
    LAUNCHER = []


def segment_of(key):
    return Path(f"/dev/shm/qx7osse.{key:016x}6d616368")


def start_publisher(key, *options):
    return subprocess.Popen([*LAUNCHER, PUBLISHER, "--key", str(key), *options], stderr=subprocess.PIPE, text=True)


def finish(process):
    """Returns its standard error once it has ended; by force if need be."""
    try:
        return process.communicate(timeout=PATIENCE)[1]
    finally:
        process.kill()
        process.wait()


def monitor(key, *options):
    return subprocess.run([*LAUNCHER, MONITOR, "--key", str(key), "--interval", "200", *options], capture_output=True,
                          text=True, timeout=PATIENCE, stdin=subprocess.DEVNULL)


def watch(key, *options):
    return subprocess.Popen([MONITOR, "--key", str(key), "--json", *options], stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE, text=True)


@contextmanager
def publishing(*options):
    """A publisher that is ready to be read; it ends with its segment, whatever the case did to it."""
    key = next(KEYS)
    process = start_publisher(key, *options)
    try:
        first = monitor(key, "--once", "--wait", "20")
        if first.returncode != 0:
            raise AssertionError(f"the monitor ended with {first.returncode}: {first.stderr}")
        yield key, process
    finally:
        if process.poll() is None:
            process.terminate()
        finish(process)
        segment_of(key).unlink(missing_ok=True)


def node_of(shown, name):
    return next(node for node in shown["nodes"] if node["name"] == name)


def lines_of(path):
    return Path(path).read_text(encoding="utf-8", errors="replace").replace("\ufffd", "?").splitlines()


def names_in(path, pattern):
    return [found[1] for found in map(re.compile(pattern).match, lines_of(path)) if found]


def mounts():
    """By place; of several in the same the last, which hides the others."""
    rows = [line.split(" ") for line in lines_of("/proc/self/mounts")]
    return {place: {"device": device, "type": kind, "read_only": "ro" in options.split(",")}
            for device, place, kind, options, *_ in rows}


class ShowTest(unittest.TestCase):
    KINDS = {"system": {"v", "iv", "base_r", "base_v"}, "cpu": {"ir"}, "disk": set(), "network": {"ir"}}

    def show(self, key):
        done = monitor(key, "--once", "--json")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return json.loads(done.stdout)

    def kinds(self, shown):
        return {node["name"]: {kind for kind in ("v", "ir", "iv", "base_r", "base_v") if node[kind] is not None}
                for node in shown["nodes"]}

    def test_every_kind_is_of_this_machine(self):
        host = os.uname().nodename
        with publishing() as (key, process):
            shown, later = self.show(key), self.show(key)
        self.assertEqual(self.kinds(shown), self.KINDS)
        system = node_of(shown, "system")
        sample, uptime = system["properties"], system["base_r"]["uptime_s"]
        self.assertEqual(system["v"]["host_name"], host)
        self.assertEqual([str(sample["mem_total_kib"])], names_in("/proc/meminfo", r"MemTotal: +(\d+) kB"))
        self.assertLess(abs(float(lines_of("/proc/uptime")[0].split()[0]) - uptime), PATIENCE)
        self.assertEqual(system["base_v"]["summary"], "%s: load %.2f, %d of %d MiB available, up %d s" % (
            host, sample["load_1min"], sample["mem_available_kib"] // 1024, sample["mem_total_kib"] // 1024, uptime))
        self.assertEqual(system["iv"]["mount"], mounts())
        for node, what, names, fields in (
                ("cpu", "busy_ticks", names_in("/proc/stat", r"(cpu\d+) "), ("user_ticks", "system_ticks")),
                ("network", "traffic_kib", names_in("/proc/net/dev", r"\s*(\S+):"), ("received_kib", "sent_kib"))):
            values = node_of(shown, node)["properties"]
            self.assertEqual(node_of(shown, node)["ir"][what],
                             {name: sum(values[f"{name}.{field}"] for field in fields) % 2**32 for name in names})
        for node in shown["nodes"]:
            self.assertGreater(node_of(later, node["name"])["properties"]["samples"], node["properties"]["samples"])
        self.assertEqual(shown["publisher"]["pid"], process.pid)
        self.assertNotEqual(shown["monitor"]["base"], shown["publisher"]["base"])

    def test_absent_lists(self):
        with publishing("--without", "v", "--without", "ir") as (key, _):
            self.assertEqual(self.kinds(self.show(key)),
                             {"system": {"iv", "base_r"}, "cpu": set(), "disk": set(), "network": set()})
            self.assertEqual(monitor(key, "--once").stdout.count("not published"), 4)

    def test_more_than_there_is_room_for(self):
        found = len(mounts())
        with publishing("--capacity", "1") as (key, process):
            shown, table = self.show(key), monitor(key, "--once").stdout
            process.terminate()
            told = finish(process)
        self.assertEqual(node_of(shown, "system")["properties"]["omitted"], found - 1)
        self.assertEqual(len(node_of(shown, "system")["iv"]["mount"]), 1)
        if found > 1:
            self.assertRegex(table, rf"and {found - 1} \w+ that the publisher leaves out")
            self.assertIn(f": 1 of {found} are published", told)

    def test_outputs_that_are_no_terminal(self):
        with publishing() as (key, process):
            done = monitor(key, "--seconds", "1")
            self.assertEqual((done.returncode, done.stderr), (0, ""))
            self.assertEqual(done.stdout.count(f"publisher: process {process.pid}"), 1)
            self.assertNotIn("\033", done.stdout)
            shown = watch(key, "--interval", "50")
            json.loads(shown.stdout.readline())
            shown.stdout.close()
            shown.stdout = None
            self.assertEqual((finish(shown), shown.returncode), ("", 0))


class EndTest(unittest.TestCase):
    def test_signals(self):
        with publishing() as (key, process):
            shown = watch(key)
            shown.stdout.readline()
            shown.send_signal(signal.SIGINT)
            self.assertEqual((finish(shown), shown.returncode, process.poll()), ("", 0, None))
            process.send_signal(signal.SIGINT)
            self.assertEqual((finish(process), process.returncode), ("", 0))
            self.assertFalse(segment_of(key).exists())

    def test_monitor_says_that_the_publisher_went(self):
        for number in (signal.SIGTERM, signal.SIGKILL):
            with self.subTest(signal=number.name), publishing() as (key, process):
                shown = watch(key, "--seconds", "60")
                shown.stdout.readline()
                process.send_signal(number)
                finish(process)
                self.assertEqual((finish(shown), shown.returncode), ("monitor: the publisher has ended\n", 3))

    def test_nodes_of_a_killed_publisher_are_late_and_then_gone(self):
        with publishing() as (key, process):
            process.kill()
            finish(process)
            for wanted in ({"late"}, {"gone"}):
                end, states = time.monotonic() + PATIENCE, None
                while states != wanted:
                    self.assertLess(time.monotonic(), end, f"{states} for {wanted}")
                    shown = monitor(key, "--once", "--json", "--wait", "0", "--interval", "10")
                    states = {node["state"] for node in json.loads(shown.stdout)["nodes"]}


class LeftOverTest(unittest.TestCase):
    def test_publishers_under_a_key_in_use(self):
        with publishing() as (key, process):
            second = start_publisher(key)
            self.assertIn(f"process {process.pid} publishes", finish(second))
            self.assertEqual((second.returncode, monitor(key, "--once").returncode), (1, 0))
            process.kill()
            finish(process)
            third = start_publisher(key)
            self.addCleanup(third.kill)
            self.assertEqual(monitor(key, "--once", "--wait", "20").returncode, 0)
            third.kill()
            self.assertIn(f"process {process.pid} left behind", finish(third))
            clean = start_publisher(key, "--clean")
            finish(clean)
            self.assertEqual((clean.returncode, segment_of(key).exists()), (0, False))

    def test_strangers_segments_are_left_alone(self):
        for name, content in (("nothing", b""), ("zeroes", bytes(65536)), ("noise", os.urandom(65536))):
            segment = segment_of(key := next(KEYS))
            try:
                segment.write_bytes(content)
                with self.subTest(content=name):
                    publisher = start_publisher(key)
                    self.assertIn(str(segment), finish(publisher))
                    self.assertEqual((publisher.returncode, monitor(key, "--wait", "0").returncode), (1, 1))
                    self.assertEqual(segment.read_bytes(), content)
            finally:
                segment.unlink()

    def test_damage_ends_the_monitor_with_a_code_of_its_own(self):
        with publishing() as (key, process):
            process.send_signal(signal.SIGSTOP)
            whole = segment_of(key).read_bytes()
            directory = whole.index(b"nts-macy")
            rows = [(directory + at, b"\xff" * size, (1,)) for at, size in ((8, 1), (200, 1), (80, 8))]
            noise = random.Random(0)
            rows += [(noise.randrange(len(whole) - 1024), noise.randbytes(1024), (0, 1, 3)) for _ in range(16)]
            for offset, content, codes in rows:
                with self.subTest(offset=offset), segment_of(key).open("r+b") as segment:
                    segment.write(whole[:offset] + content + whole[offset + len(content):])
                    segment.flush()
                    done = monitor(key, "--once", "--wait", "0")
                    self.assertIn(done.returncode, codes, done.stderr)
                    self.assertEqual(done.returncode == 0, done.stderr == "")
            process.kill()


if __name__ == "__main__":
    unittest.main()
