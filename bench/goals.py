# SPDX-License-Identifier: MIT
"""The goals: a work, what it is compared with, and the highest ratio of the library's time to the other time.

A pair names two benchmarks as work/subject/number. Goals are changed here; docs/performance.md shows them. A goal
without a limit is for information.
"""
from dataclasses import dataclass


@dataclass
class Row:
    work: str
    ours: str
    theirs: str
    ratio: float
    best: float | None  # the floor's ratio in place of `ours`, if there is a floor


@dataclass
class Goal:
    works: list  # one text a pair; or a single text, and then the worst pair counts
    against: str
    most: float | None  # a ratio; or nanoseconds, if `absolute`
    pairs: list
    absolute: bool = False

    def rows(self, results):
        every = [(results.ratio(ours, theirs), ours, theirs) for ours, theirs in self.pairs]
        if len(self.works) == 1 < len(every):
            every = [max(every)]
        return [Row(work, ours, theirs, ratio, floor_ratio(results, ours, theirs))
                for work, (ratio, ours, theirs) in zip(self.works, every)]


def floor_ratio(results, ours, theirs):
    """Returns the ratio of the least floor; None if there is none but the one that ours is compared with."""
    for subject in ("floor_no_latch", "floor_words", "floor"):
        floor, other = ours.replace("/ours", f"/{subject}"), theirs.replace("/ours", f"/{subject}")
        known = floor in results.median and other in results.median
        if known and floor not in (ours, other, theirs):
            return results.ratio(floor, other)
    return None


def goal(work, against, most, ours, theirs, numbers=(None,), unit="n = {}"):
    """Returns a goal with a row for each number; `ours` and `theirs` are names without it."""
    def name(base, number):
        return base if number is None else f"{base}/{number}"

    works = [work if number is None else f"{work}, {unit}".format(f"{number:,}") for number in numbers]
    return Goal(works, against, most, [(name(ours, number), name(theirs, number)) for number in numbers])


LARGE = (1000, 30000)
KINDS = [f"{kind}_{layout}" for kind in ("r", "v64", "ir", "iv64") for layout in ("array", "hash")]


ORDERS = {"": "at random", "_in_turn": "in turn", "_sparse": "sparse tags"}


def tag_goals(verb, order, floor, robust, plain):
    """Yields get or set of R by tag, in one order. The limits against the maps differ by the number of properties."""
    work, name = f"{verb} R, {ORDERS[order]}", f"{verb}_r{order}"
    yield goal(work, "floor with a latch", floor, f"{name}/ours", f"{name}/floor", LARGE)
    for subject, against, limits in (("boost_robust", "Boost map, robust mutex", robust),
                                     ("boost_plain", "Boost map, plain mutex", plain)):
        for number, most in zip(LARGE, limits):
            yield goal(work, against, most, f"{name}/ours", f"{name}/{subject}", (number,))


def version_goals():
    """Yields the goals of the library beside an earlier commit, if the run has one."""
    for call, text in (("r", "R by tag"), ("v64", "V, 64 B"), ("ir", "IR by tag and 16-byte ID")):
        for verb, most in (("set", 1.12), ("get", None)):
            name = f"versions_{verb}_{call}"
            yield goal(f"{verb} {text}", "the earlier commit", most, f"{name}/ours", f"{name}/before", (1000,))


GOALS = [
    goal("latch pair, uncontended", "process-shared mutex pair", 0.95,
         "latch_pair/ours", "latch_pair/pthread"),
    *tag_goals("get", "", 1.05, (0.6, 0.9), (0.75, 1.1)),
    *tag_goals("get", "_in_turn", 1.05, (0.85, 0.85), (1.0, 1.0)),
    *tag_goals("get", "_sparse", 1.05, (0.85, 0.85), (1.0, 1.0)),
    *(row for order in ORDERS for row in tag_goals("set", order, 1.5, (0.9, 0.9), (1.05, 1.05))),
    goal("get IR by tag and 16-byte ID", "Boost map keyed by string", 0.7,
         "get_ir/ours", "get_ir/boost_plain", (1000,)),
    goal("get IR by tag and 16-byte ID", "Boost map keyed by string", 1.1,
         "get_ir/ours", "get_ir/boost_plain", (30000,)),
    goal("get V, 64 B", "Boost map", 0.9, "get_v64/ours", "get_v64/boost_plain", (1000,)),
    goal("get V, 4 KiB", "Boost map", 1.0, "get_v4096/ours", "get_v4096/boost_plain", (1000,)),
    goal("add R", "Boost insert", 0.6, "add_r/ours", "add_r/boost_plain", LARGE),
    goal("delete R", "Boost erase", 0.85, "delete_r/ours", "delete_r/boost_plain", LARGE),
    goal("set by record address, section held", "memory-mapped values by handle", 4,
         "set_record_held/ours/1000", "set_record_held/mmv_handle/1000"),
    goal("get R, unprotected, at random", "floor without a latch", 1.6,
         "get_r/ours_unprotected", "get_r/floor_unprotected", LARGE),
    goal("get R, unprotected, in turn", "floor without a latch", 1.6,
         "get_r_in_turn/ours_unprotected", "get_r_in_turn/floor_unprotected", LARGE),
    goal("2 processes, own nodes, as many gets", "one process", 0.55,
         "get_own_nodes_2_processes/ours/0", "get_own_nodes_1_process/ours/0"),
    goal("2 processes, own nodes, as many sets", "one process", 0.55,
         "set_own_nodes_2_processes/ours/0", "set_own_nodes_1_process/ours/0"),
    goal("2 processes, one node, as many gets", "one process", 0.6,
         "get_one_node_2_processes/ours/0", "get_own_nodes_1_process/ours/0"),
    goal("2 processes, one node, 60 ns between calls, get", "Boost map", 0.8,
         "get_one_node_2_processes/ours/60", "get_one_node_2_processes/boost_plain/60"),
    goal("2 processes, one node, 60 ns between calls, set", "Boost map", 0.9,
         "set_one_node_2_processes/ours/60", "set_one_node_2_processes/boost_plain/60"),
    goal("get beside a writer of a million sets a second", "alone", 1.5,
         "get_beside_writer/ours/1000", "get_own_nodes_1_process/ours/0"),
    Goal(["longest set while readers are stopped"], "the same without readers", 1e6,
         [("longest_set_readers_stopped/ours", "longest_set_readers_stopped/ours_alone")], absolute=True),
    goal("allocate + free, mixed sizes", "floor", 1.5,
         "allocate_free_mixed/ours", "allocate_free_mixed/floor", (100, 1000), "{} live"),
    goal("allocate + free, one size", "floor", 2.4,
         "allocate_free_fixed/ours", "allocate_free_fixed/floor", (1000,), "{} live"),
    goal("allocate + free, mixed sizes", "Boost best fit", None,
         "allocate_free_mixed/ours", "allocate_free_mixed/boost", (100, 1000), "{} live"),
    goal("allocate + free, mixed, 15 levels", "Boost best fit", 1.05,
         "allocate_free_mixed_15_levels/ours", "allocate_free_mixed_15_levels/boost", (10000,), "{} live"),
    goal("allocate + free, one size", "Boost best fit", None,
         "allocate_free_fixed/ours", "allocate_free_fixed/boost", (1000,), "{} live"),
    goal("get R, 30,000 properties, at random", "10 properties", 1.6, "get_r/ours/30000", "get_r/ours/10"),
    goal("get R, 30,000 properties, in turn", "10 properties", 1.6, "get_r_in_turn/ours/30000", "get_r_in_turn/ours/10"),
    goal("first value in a fresh process", "bare map and read", 1.3,
         "first_value/ours", "first_value/bare"),
    goal("get R", "LMDB get without sync", 0.3, "get_r/ours", "get_r/lmdb", LARGE),
    goal("set R", "LMDB put without sync", 0.15, "set_r/ours", "set_r/lmdb", LARGE),
    Goal(["tracing switched off, worst of get and set"], "compiled out", 1.03,
         [(f"trace_off_{verb}_r/compiled_in/{n}", f"trace_off_{verb}_r/compiled_out/{n}")
          for verb in ("get", "set") for n in (10, 1000)]),
    Goal(["list creation, 32,768, worst of kinds and layouts"], "with 2,048", 20,
         [(f"create_list/{kind}/32768", f"create_list/{kind}/2048") for kind in KINDS]),
]
VERSION_GOALS = list(version_goals())

# The limit of a call's instructions, on average.
INSTRUCTIONS = {"get_r": 140}
