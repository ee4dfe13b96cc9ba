#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Holds a built library's exported names against its public headers and, for the main library, the exports list.

Catches a function that is declared and forgotten in the list (the user's program does not link), one that is exported
and declared nowhere (an interface that nobody decided on), a helper that leaks out, and a changed SONAME.
"""
import argparse
import re
import subprocess
import sys
from pathlib import Path

# Symbols that the sanitizers add to every library.
INSTRUMENTATION = re.compile(r"^(__(asan|tsan|ubsan|odr_asan|sancov|start_|stop_)|_init$|_fini$|typeinfo (name )?for )")

# A prototype: the words before the name, the name, and arguments with at most one more level of parentheses in them.
PROTOTYPE = re.compile(r"([A-Za-z_][\w \t\n*]*?[ \t\n*])((?:operator )?\w+)\s*\((?:[^(){};]|\([^(){};]*\))*\)\s*"
                       r"(?:const\s*)?(?:noexcept\s*)?;")


def without_comments(path):
    text = re.sub(r"/\*.*?\*/|//[^\n]*", " ", Path(path).read_text(encoding="utf-8"), flags=re.DOTALL)
    text = re.sub(r"^[ \t]*#.*?(?<!\\)$", " ", text, flags=re.MULTILINE | re.DOTALL)
    return re.sub(r"__attribute__\s*\(\(.*?\)\)", " ", text)


def declared_in(headers, marker):
    """Functions and variables that are declared with the export marker, and those that lack it."""
    names, unmarked = set(), set()
    for header in headers:
        text = without_comments(header)
        found = [row for row in PROTOTYPE.findall(text) if not re.match(r"\s*(typedef|return)\b", row[0])]
        found += re.findall(r"((?:\b\w+\s+)*\bextern\s+[\w\s*]*?)(\w+)\s*(?:\[[^\]]*\]\s*)?;", text)
        for before, name in found:
            (names if marker in before else unmarked).add(name)
    return names, unmarked


def exported_by(arguments, *options):
    command = [arguments.nm, "-D", "--defined-only", *options, arguments.library]
    lines = subprocess.run(command, check=True, capture_output=True, text=True).stdout.splitlines()
    names = {line.split(" ", 2)[2].split("@")[0] for line in lines if line.split(" ", 2)[1] in "TWVDBRuiS"}
    return {name for name in names if not INSTRUMENTATION.match(name)}


def check_sntr(arguments, headers):
    listed = re.findall(r"[\w*]+(?=\s*;)", without_comments(arguments.map).split("global:")[1].split("local:")[0])
    declared, unmarked = declared_in(headers, "SNTR_API")
    yield from (f"{name}: declared without SNTR_API" for name in unmarked)
    yield from (f"{b} stands after {a} in {arguments.map}" for a, b in zip(listed, listed[1:]) if a >= b)
    yield from (f"{name}: either declared or in the exports list" for name in declared ^ set(listed))
    yield from (f"{name}: either exported or in the exports list" for name in set(listed) ^ exported_by(arguments))


def check_oss(arguments, headers):
    """This library has C++ classes and no exports list: a header must mention each word of each exported name."""
    declared, unmarked = declared_in([path for path in headers if path.name != "fault.h"], "OSS_API")
    words = {word for header in headers for word in re.findall(r"\w+", without_comments(header))}
    plain = {re.sub(r"\(.*", "", name) for name in exported_by(arguments, "-C")}
    functions = {name.split("::")[-1] for name in plain}
    faulty_only = set().union(*declared_in([path for path in headers if path.name == "fault.h"], "OSS_API"))
    yield from (f"{name}: declared without OSS_API" for name in unmarked)
    yield from (f"{name}: exported, but in no header" for name in plain if set(re.findall(r"\w+", name)) - words)
    yield from (f"{name}: declared, not exported" for name in declared - functions)
    yield from (f"{name}: for tests alone, but in the product" for name in faulty_only & functions)


def check_dynamic(arguments):
    """The file's own name for itself, and what it asks the loader for."""
    command = [arguments.readelf, "-d", arguments.library]
    text = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    soname = re.findall(r"\(SONAME\).*\[(.*)\]", text)
    if soname != [arguments.soname]:
        yield f"SONAME is {soname}, not {arguments.soname}"
    known = re.compile(r"libqx7osse_install\.so\.1$|"
                       r"(libc|libstdc\+\+|libgcc_s|libm|ld-linux-x86-64|libasan|libubsan|libtsan)\.so\.")
    yield from (f"needs {name}" for name in re.findall(r"\(NEEDED\).*\[(.*)\]", text) if not known.match(name))


parser = argparse.ArgumentParser()
parser.add_argument("which", choices=["sntr", "oss"])
for option in ("nm", "readelf", "headers", "map", "library", "soname"):
    parser.add_argument(f"--{option}")
given = parser.parse_args()
check = check_sntr if given.which == "sntr" else check_oss
problems = sorted([*check(given, sorted(Path(given.headers).glob("*.h"))), *check_dynamic(given)])
print(*problems, sep="\n")
sys.exit(1 if problems else 0)
