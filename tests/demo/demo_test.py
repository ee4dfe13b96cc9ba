#!/usr/bin/env python3
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

# Without randomization, where the system lets us, both programs would get the same address by themselves, so that the
# monitor has to ask for another.
LAUNCHER = ["setarch", os.uname().machine, "-R"]
if subprocess.run([*LAUNCHER, "true"], stderr=subprocess.DEVNULL).returncode != 0:
    LAUNCHER = []


def segment_of(key):
    return Path(f"/dev/shm/qx7osse.{key:016x}6d616368")


def wait_for(condition, what):
    end = time.monotonic() + PATIENCE
    while not condition():
        if time.monotonic() > end:
            raise AssertionError(f"{what} did not happen in {PATIENCE} s")
        time.sleep(0.02)


def start_publisher(key, *options):
    return subprocess.Popen([*LAUNCHER, PUBLISHER, "--key", str(key), *options], stderr=subprocess.PIPE, text=True)


def finish(process):
    """What it wrote on its standard error, once it has ended; by force if need be."""
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
    """A publisher that is ready to be read, and is gone afterwards with its segment, whatever the case did to it."""
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


def properties(shown, name):
    return node_of(shown, name)["properties"]


def memory_of_this_machine():
    text = Path("/proc/meminfo").read_text(encoding="ascii")
    return {name: int(kib) for name, kib in re.findall(r"^(\w+):\s+(\d+) kB$", text, re.M)}


def cores_of_this_machine():
    """The ticks of each core by name, in the order user, nice, system, idle and so on."""
    text = Path("/proc/stat").read_text(encoding="ascii")
    return {name: [int(n) for n in rest.split()] for name, rest in re.findall(r"^(cpu\d+) (.*)$", text, re.M)}


def interfaces_of_this_machine():
    return re.findall(r"^\s*(\S+):", Path("/proc/net/dev").read_text(encoding="utf-8"), re.M)


def mounts_of_this_machine():
    """By place; of several in the same the last, which hides the others."""
    text = Path("/proc/self/mounts").read_text(encoding="ascii", errors="replace").replace("\ufffd", "?")
    rows = [line.split(" ") for line in text.splitlines()]
    return {place: {"device": device, "type": kind, "read_only": "ro" in options.split(",")}
            for device, place, kind, options, *_ in rows}


def uptime():
    return int(Path("/proc/uptime").read_text(encoding="ascii").split(".")[0])


class Shows(unittest.TestCase):
    def show(self, key):
        done = monitor(key, "--once", "--json")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return json.loads(done.stdout)


class KindsTest(Shows):
    KINDS = {"system": {"v", "iv", "base_r", "base_v"}, "cpu": {"ir"}, "disk": set(), "network": {"ir"}}

    def published(self, shown):
        return {node["name"]: {kind for kind in ("v", "ir", "iv", "base_r", "base_v") if node[kind] is not None}
                for node in shown["nodes"]}

    def test_texts_and_base_properties_are_this_machines(self):
        names = [subprocess.run(["uname", option], capture_output=True, text=True, check=True).stdout.rstrip("\n")
                 for option in ("-n", "-srv")]
        before = uptime()
        with publishing() as (key, _):
            shown = self.show(key)
        self.assertEqual(self.published(shown), self.KINDS)
        system = node_of(shown, "system")
        self.assertEqual(system["v"], {"host_name": names[0], "kernel": names[1]})
        self.assertEqual(list(system["base_r"]), ["uptime_s"])
        self.assertTrue(before <= system["base_r"]["uptime_s"] <= uptime(), system["base_r"])
        of_sample = system["properties"]
        self.assertEqual(system["base_v"], {"summary": "%s: load %.2f, %d of %d MiB available, up %d s" % (
            names[0], of_sample["load_1min"], of_sample["mem_available_kib"] // 1024,
            of_sample["mem_total_kib"] // 1024, system["base_r"]["uptime_s"])})

    def test_named_values_are_this_machines(self):
        with publishing() as (key, _):
            shown = node_of(self.show(key), "system")["iv"]
        self.assertEqual(shown["mount"], mounts_of_this_machine())
        first_core = Path("/proc/cpuinfo").read_text(encoding="utf-8").split("\n\n")[0]
        self.assertEqual(shown.get("cpu", {}), dict(re.findall(
            r"^(vendor_id|model name|cache size|CPU part)\s*: (.+)$", first_core, re.M)))

    def test_a_named_register_for_each_core_and_interface(self):
        with publishing() as (key, _):
            shown = self.show(key)
        for node, what, names, fields in (
                ("cpu", "busy_ticks", list(cores_of_this_machine()), ("user_ticks", "system_ticks")),
                ("network", "traffic_kib", interfaces_of_this_machine(), ("received_kib", "sent_kib"))):
            values = properties(shown, node)
            with self.subTest(node=node):
                self.assertEqual(node_of(shown, node)["ir"], {
                    what: {name: sum(values[f"{name}.{field}"] for field in fields) % 2**32 for name in names}})

    def test_absent_lists(self):
        for without, absent in (("v", {"v", "base_v"}), ("ir", {"ir"}), ("iv", {"iv"}), ("base_r", {"base_r"}),
                                ("base_v", {"base_v"})):
            with self.subTest(without=without), publishing("--without", without) as (key, _):
                self.assertEqual(self.published(self.show(key)),
                                 {name: kinds - absent for name, kinds in self.KINDS.items()})
                table = monitor(key, "--once").stdout
                self.assertEqual(table.count("not published"), sum(len(k & absent) for k in self.KINDS.values()))

    def test_more_than_there_is_room_for(self):
        found = {"system": len(mounts_of_this_machine()), "cpu": len(cores_of_this_machine()),
                 "network": len(interfaces_of_this_machine())}
        with publishing("--capacity", "1") as (key, process):
            shown = self.show(key)
            table = monitor(key, "--once").stdout
            process.terminate()
            told = finish(process)
        for node, count in found.items():
            with self.subTest(node=node):
                self.assertEqual(properties(shown, node)["omitted"], count - 1)
                if count > 1:
                    self.assertRegex(table, rf"and {count - 1} \w+ that the publisher leaves out")
                    self.assertIn(f": 1 of {count} are published", told)
        self.assertEqual([len(node_of(shown, "system")["iv"]["mount"]),
                          len(node_of(shown, "cpu")["ir"]["busy_ticks"])], [1, 1])


class ShowTest(Shows):
    def test_another_process_at_another_address(self):
        with publishing() as (key, process):
            shown = self.show(key)
        self.assertEqual(shown["publisher"]["pid"], process.pid)
        self.assertNotEqual(shown["monitor"]["pid"], process.pid)
        self.assertNotEqual(shown["monitor"]["base"], shown["publisher"]["base"])

    def test_values_are_this_machines(self):
        before = cores_of_this_machine()
        with publishing() as (key, _):
            shown = self.show(key)
        after = cores_of_this_machine()
        self.assertEqual(properties(shown, "system")["mem_total_kib"], memory_of_this_machine()["MemTotal"])
        cpu = properties(shown, "cpu")
        for name in before.keys() & after.keys():
            low, value, high = (sum(before[name][:2]), cpu[f"{name}.user_ticks"], sum(after[name][:2]))
            with self.subTest(core=name, low=low, value=value, high=high):
                self.assertLessEqual((value - low) % 2**32, high - low)

    def test_samples_go_on(self):
        with publishing() as (key, _):
            first, second = self.show(key), self.show(key)
        for node in first["nodes"]:
            later = properties(second, node["name"])
            with self.subTest(node=node["name"]):
                self.assertGreater(later["samples"], node["properties"]["samples"])
                self.assertGreater(later["sample_time_ms"], node["properties"]["sample_time_ms"])

    def test_table_without_a_terminal(self):
        with publishing() as (key, process):
            done = monitor(key, "--seconds", "1")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(done.stdout.count(f"publisher: process {process.pid}"), 1)
        self.assertNotIn("\033", done.stdout)

    def test_reader_of_the_output_goes_away(self):
        with publishing() as (key, _):
            shown = watch(key, "--interval", "50")
            json.loads(shown.stdout.readline())
            shown.stdout.close()
            shown.stdout = None
            self.assertEqual((finish(shown), shown.returncode), ("", 0))


class EndTest(unittest.TestCase):
    def test_signals_end_the_publisher_and_its_segment(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(signal=number.name), publishing() as (key, process):
                self.assertTrue(segment_of(key).exists())
                process.send_signal(number)
                self.assertEqual((finish(process), process.returncode), ("", 0))
                self.assertFalse(segment_of(key).exists())

    def test_signals_end_the_monitor_alone(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            with self.subTest(signal=number.name), publishing() as (key, process):
                shown = watch(key)
                shown.stdout.readline()
                shown.send_signal(number)
                self.assertEqual((finish(shown), shown.returncode), ("", 0))
                self.assertIsNone(process.poll())
                self.assertEqual(monitor(key, "--once").returncode, 0)

    def test_monitor_tells_that_the_publisher_went(self):
        for number in (signal.SIGTERM, signal.SIGKILL):
            with self.subTest(signal=number.name), publishing() as (key, process):
                shown = watch(key, "--seconds", "60")
                shown.stdout.readline()
                process.send_signal(number)
                finish(process)
                self.assertEqual((finish(shown), shown.returncode), ("monitor: the publisher has ended\n", 3))

    def test_nodes_of_a_killed_publisher_are_late_and_then_gone(self):
        def states():
            shown = monitor(key, "--once", "--json", "--wait", "0", "--interval", "10")
            return {node["state"] for node in json.loads(shown.stdout)["nodes"]}

        with publishing() as (key, process):
            self.assertEqual(states(), {"live"})
            process.kill()
            finish(process)
            wait_for(lambda: states() == {"late"}, "the nodes to be late")
            wait_for(lambda: states() == {"gone"}, "the nodes to be gone")

    def test_no_publisher(self):
        done = monitor(next(KEYS), "--wait", "0")
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertIn("is a publisher running", done.stderr)


class LeftOverTest(unittest.TestCase):
    def test_segment_of_a_killed_publisher_is_replaced(self):
        with publishing() as (key, process):
            process.kill()
            finish(process)
            self.assertTrue(segment_of(key).exists())
            second = start_publisher(key)
            self.addCleanup(second.kill)
            self.assertEqual(monitor(key, "--once", "--wait", "20").returncode, 0)
            second.terminate()
            self.assertIn(f"process {process.pid} left behind", finish(second))
            self.assertEqual(second.returncode, 0)
            self.assertFalse(segment_of(key).exists())

    def test_segment_of_a_killed_publisher_is_removed_on_request(self):
        with publishing() as (key, process):
            process.kill()
            finish(process)
            self.assertEqual(subprocess.run([PUBLISHER, "--key", str(key), "--clean"], timeout=PATIENCE,
                                            stderr=subprocess.DEVNULL).returncode, 0)
            self.assertFalse(segment_of(key).exists())

    def test_living_publisher_is_left_alone(self):
        with publishing() as (key, process):
            second = start_publisher(key)
            self.assertIn(f"process {process.pid} publishes", finish(second))
            self.assertEqual(second.returncode, 1)
            self.assertEqual(monitor(key, "--once").returncode, 0)

    def test_strangers_segments_are_left_alone(self):
        for name, content in (("nothing", b""), ("zeroes", bytes(65536)), ("noise", os.urandom(65536))):
            key = next(KEYS)
            segment = segment_of(key)
            try:
                segment.write_bytes(content)
                with self.subTest(content=name):
                    publisher = start_publisher(key)
                    self.assertIn(str(segment), finish(publisher))
                    self.assertEqual(publisher.returncode, 1)
                    self.assertEqual(monitor(key, "--wait", "0").returncode, 1)
                    self.assertEqual(segment.read_bytes(), content)
            finally:
                segment.unlink()


class DamageTest(unittest.TestCase):
    """Whatever stands in the segment, the monitor ends, and with one of its own codes."""

    def damage(self, key, offset, content):
        with segment_of(key).open("r+b") as segment:
            segment.seek(offset)
            segment.write(content)

    def test_directory_of_another_version_or_damaged(self):
        for name, offset, content in (("version", 8, b"\xff"), ("label", 200, b"\xff"), ("node offset", 80, b"\xff" * 8)):
            with self.subTest(damage=name), publishing() as (key, _):
                start = segment_of(key).read_bytes().index(b"nts-macy")
                self.damage(key, start + offset, content)
                done = monitor(key, "--wait", "0")
                self.assertEqual((done.returncode, done.stdout), (1, ""))
                self.assertNotEqual(done.stderr, "")

    def test_noise_everywhere(self):
        for seed in range(16):
            noise = random.Random(seed)
            with self.subTest(seed=seed), publishing() as (key, process):
                process.send_signal(signal.SIGSTOP)
                size = segment_of(key).stat().st_size
                self.damage(key, noise.randrange(size - 1024), noise.randbytes(1024))
                done = monitor(key, "--once", "--wait", "0")
                process.kill()
                self.assertIn(done.returncode, (0, 1, 3))


if __name__ == "__main__":
    unittest.main()
