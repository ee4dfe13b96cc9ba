#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Turns the benchmarks' JSON into the report: medians, spreads, the goals beside what was reached, and the plots.

  report.py --out FOLDER [--results FILE] [--instructions FILE] [--names FILE] [--before COMMIT] [--into PAGE] [--quick]

Writes FOLDER/report.md, report.json and two plots. Exit status: 0, or 1 if a benchmark failed or did not run.

  --names    the names of all benchmarks, one a line: a benchmark that did not run is an error, as is one that reported
             an error
  --before   the commit of the subject `before`
  --into     puts the tables between the marker comments of a page, and the plots into the folder beside it with the
             page's name
  --quick    prints the ratios and judges none

Without --results it only prints the table of instructions.
"""
import argparse
import json
import pathlib
import re
import statistics
import subprocess
import sys

from goals import GOALS, INSTRUCTIONS, VERSION_GOALS
from plots import bars, lines

NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


def plain(name):
    """Returns the name without the parts that the harness appends: work/subject/number."""
    parts = [part for part in name.split("/") if ":" not in part and part not in ("manual_time", "real_time")]
    return "/".join(parts)


class Results:
    """Medians and spreads in nanoseconds a call, by name."""

    def __init__(self, data):
        self.errors = []
        samples = {}
        for run in data["benchmarks"]:
            if run.get("run_type") == "aggregate":
                continue
            name = plain(run.get("run_name", run["name"]))
            if run.get("error_occurred"):
                self.errors.append(f"{name}: {run.get('error_message', 'failed')}")
                continue
            # A benchmark that takes the time itself has wall time; else it is the processor's, which other programs
            # disturb less.
            taken = run["real_time" if "manual_time" in run["name"] else "cpu_time"]
            samples.setdefault(name, []).append(taken * NANOSECONDS[run["time_unit"]])
        # For the longest call, the longest of all rounds counts.
        self.median = {name: max(values) if name.startswith("longest_") else statistics.median(values)
                       for name, values in samples.items()}
        self.spread = {name: half_quartiles(values) / self.median[name] for name, values in samples.items()}
        self.rounds = max((len(values) for values in samples.values()), default=0)

    def ratio(self, ours, theirs):
        return self.median[ours] / self.median[theirs]

    def goals(self):
        """Returns all goals, or those without an earlier commit if none was measured."""
        return GOALS + (VERSION_GOALS if any("/before/" in name for name in self.median) else [])


def half_quartiles(values):
    """Returns half the distance between the quartiles; 0 for fewer than four values."""
    if len(values) < 4:
        return 0.0
    first, _, third = statistics.quantiles(values, n=4)
    return (third - first) / 2


def missing(results, names):
    needed = {plain(name) for name in names}
    needed |= {name for goal in results.goals() for pair in goal.pairs for name in pair}
    failed = {error.split(":")[0] for error in results.errors}
    return sorted(needed - set(results.median) - failed)


def rows(head, body):
    return ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)] + ["| " + " | ".join(row) + " |" for row in body]


def goal_rows(results, judged):
    body = []
    for goal in results.goals():
        for row in goal.rows(results):
            ours, theirs = results.median[row.ours], results.median[row.theirs]
            measured, show = (ours, time) if goal.absolute else (row.ratio, "{:.2f}".format)
            most = "" if goal.most is None else time(goal.most) if goal.absolute else f"{goal.most:g}"
            cells = [row.work, goal.against, most, show(measured), f"{time(ours)} : {time(theirs)}"]
            cells.append("" if row.best is None else f"{row.best:.2f}")
            body.append(cells + ([reached(measured, goal.most)] if judged else []))
    head = ["Work", "Against", "At most", "Measured", "Ours : theirs", "Floor in our place"]
    head += ["Reached"] if judged else []
    return rows(head, body)


def reached(measured, most):
    if most is None:
        return ""
    return "yes" if measured <= most else "**no**"


def instruction_rows(counts):
    body = []
    for call, count in counts.items():
        most = INSTRUCTIONS.get(call)
        body.append([call, "" if most is None else str(most), f"{count:.1f}", reached(count, most)])
    return rows(["Call", "At most", "Instructions", "Reached"], body)


def time(nanoseconds):
    for unit, size in (("ms", 1e6), ("µs", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def all_rows(results):
    """Returns the rows of each work and number: the base subject's time, and its ratio to each other subject."""
    works = {}
    for name in results.median:
        work, subject, *number = name.split("/")
        works.setdefault((work, int(number[0]) if number else 0), {})[subject] = name
    body = []
    for (work, number), subjects in sorted(works.items()):
        base = next((s for s in ("ours", "compiled_in", *sorted(subjects)) if s in subjects))
        name = subjects[base]
        others = [f"{other} {results.ratio(name, subjects[other]):.2f}" for other in sorted(subjects) if other != base]
        label = work + (f" / {number:,}" if number else "")
        cells = [label, base, time(results.median[name]), f"{100 * results.spread[name]:.0f} %"]
        # Three a line, so that the line stays within 120 columns.
        for start in range(0, max(1, len(others)), 3):
            body.append([*(cells if start == 0 else [""] * 4), ", ".join(others[start:start + 3])])
    return rows(["Work", "Subject", "Median", "Spread", "Ratio to the others"], body)


def processor():
    """Returns the processor's name, and the numbers that distinguish it from others of that name."""
    info = dict(re.findall(r"^([^\t:]+)\s*: (.*)$", pathlib.Path("/proc/cpuinfo").read_text(), re.MULTILINE))
    numbers = ", ".join(f"{label} {info.get(key, 'unknown')}" for label, key in
                        (("family", "cpu family"), ("model", "model"), ("stepping", "stepping")))
    return f"{info.get('model name', 'unknown processor')} ({numbers})"


def machine(data, before):
    """Describes the machine: by the results of the run if they have it, else by this machine."""
    context = data["context"]
    version = ["c++", "-dumpfullversion"]
    earlier = [f"- The earlier commit (`before`): {before}"] if before else []
    return [f"- {processor()}, {context['num_cpus']} processors of {context['mhz_per_cpu']} MHz; "
            f"load when the run began {context['load_avg'][0]:.2f}",
            f"- Linux {pathlib.Path('/proc/sys/kernel/osrelease').read_text().strip()}, GCC "
            f"{subprocess.run(version, capture_output=True, text=True, check=True).stdout.strip()}, release build",
            f"- {context['date'][:10]}", *earlier]


def plot_numbers(results):
    """Plots the cost against the number of properties."""
    series = {}
    for name, median in results.median.items():
        match = re.fullmatch(r"get_r/(ours|floor|floor_no_latch|boost_plain|boost_robust|lmdb)/(\d+)", name)
        if match:
            series.setdefault(match.group(1), []).append((int(match.group(2)), median))
    return lines("get R by tag", "properties", "ns a call", {name: sorted(points) for name, points in series.items()})


def plot_contention(results):
    """Plots two processes on nodes of their own and on one node, get and set."""
    groups = {}
    for verb in ("get", "set"):
        for label, work in ((f"{verb}, one process", f"{verb}_own_nodes_1_process/{{}}/0"),
                            (f"{verb}, two, own nodes", f"{verb}_own_nodes_2_processes/{{}}/0"),
                            (f"{verb}, two, one node", f"{verb}_one_node_2_processes/{{}}/0"),
                            (f"{verb}, two, one node, 60 ns", f"{verb}_one_node_2_processes/{{}}/60")):
            values = {s: results.median.get(work.format(s)) for s in ("ours", "floor", "boost_plain", "boost_robust")}
            groups[label] = {subject: value for subject, value in values.items() if value is not None}
    return bars("Two processes at once", "ns a call", groups)


def put_into(page, sections, plots):
    folder = page.with_suffix("")
    folder.mkdir(exist_ok=True)
    for name, svg in plots.items():
        (folder / name).write_text(svg)
    text = page.read_text()
    for name, table in sections.items():
        begin, end = f"<!-- {name}: written by bench/report.py -->", f"<!-- end of {name} -->"
        if text.count(begin) != 1 or text.count(end) != 1:
            sys.exit(f"{page}: the markers of '{name}' are not there once each")
        before, rest = text.split(begin)
        text = before + begin + "\n" + "\n".join(table) + "\n" + end + rest.split(end)[1]
    page.write_text(text)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--out", type=pathlib.Path, required=True)
    parser.add_argument("--results", type=pathlib.Path)
    parser.add_argument("--instructions", type=pathlib.Path)
    parser.add_argument("--before")
    parser.add_argument("--names", type=pathlib.Path)
    parser.add_argument("--into", type=pathlib.Path)
    parser.add_argument("--quick", action="store_true")
    options = parser.parse_args()

    counted = instruction_rows(json.loads(options.instructions.read_text())) if options.instructions else []
    if options.results is None:
        print(*counted, sep="\n")
        return 0
    data = json.loads(options.results.read_text())
    results = Results(data)
    names = options.names.read_text().split() if options.names else []
    faults = results.errors + [f"{name}: was not run" for name in missing(results, names)]
    if faults:
        print(*faults, sep="\n", file=sys.stderr)
        return 1

    caption = [f"Measured on: {processor()}.", ""]
    sections = {"machine": machine(data, options.before), "goals": caption + goal_rows(results, not options.quick)}
    if counted:
        sections["instructions"] = caption + counted
    sections["all"] = caption + all_rows(results)
    plots = {"numbers.svg": plot_numbers(results), "contention.svg": plot_contention(results)}
    options.out.mkdir(parents=True, exist_ok=True)
    for name, svg in plots.items():
        (options.out / name).write_text(svg)
    (options.out / "report.md").write_text("\n\n".join("\n".join(table) for table in sections.values()) + "\n")
    summary = {name: {"nanoseconds": results.median[name], "spread": results.spread[name]} for name in results.median}
    (options.out / "report.json").write_text(json.dumps(summary, indent=1, sort_keys=True) + "\n")
    print(*sections["goals"], "", *counted, sep="\n")
    if options.into:
        put_into(options.into, sections, plots)
    return 0


if __name__ == "__main__":
    sys.exit(main())
