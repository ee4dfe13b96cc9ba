#!/usr/bin/env python3
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
PROTOTYPE = re.compile(
    r"([A-Za-z_][\w \t\n*]*?[ \t\n*])((?:operator )?\w+)\s*\((?:[^(){};]|\([^(){};]*\))*\)\s*(?:const\s*)?(?:noexcept\s*)?;"
)


def without_comments(text):
    text = re.sub(r"/\*.*?\*/|//[^\n]*", " ", text, flags=re.DOTALL)
    return re.sub(r"^[ \t]*#.*?(?<!\\)$", " ", text, flags=re.MULTILINE | re.DOTALL)


def prototypes(text):
    """Every name that looks like a declared function, with the words before it."""
    flat = re.sub(r"__attribute__\s*\(\(.*?\)\)", " ", text)
    for before, name in PROTOTYPE.findall(flat):
        if not re.match(r"\s*(typedef|return)\b", before):
            yield name, before


def declared_in(headers, marker):
    """Functions and variables declared with the export marker, and what lacks the marker although it is declared."""
    names, unmarked = set(), set()
    for header in sorted(Path(headers).glob("*.h")):
        text = without_comments(header.read_text(encoding="utf-8"))
        for name, before in prototypes(text):
            (names if marker in before else unmarked).add(name)
        for before, name in re.findall(r"((?:\b\w+\s+)*\bextern\s+[\w\s*]*?)(\w+)\s*(?:\[[^\]]*\]\s*)?;", text):
            (names if marker in before else unmarked).add(name)
    return names, unmarked


def declared_in_one(header):
    if not header.exists():
        return set()
    return {name for name, _ in prototypes(without_comments(header.read_text(encoding="utf-8")))}


def exported_by(nm, library, demangle):
    command = [nm, "-D", "--defined-only"] + (["-C"] if demangle else []) + [library]
    lines = subprocess.run(command, check=True, capture_output=True, text=True).stdout.splitlines()
    names = {line.split(" ", 2)[2].split("@")[0] for line in lines if line.split(" ", 2)[1] in "TWVDBRuiS"}
    return {name for name in names if not INSTRUMENTATION.match(name)}


def listed_in(path):
    """The names between `global:` and `local:` of a linker version script, in order."""
    text = without_comments(Path(path).read_text(encoding="utf-8"))
    return re.findall(r"[\w*]+(?=\s*;)", text.split("global:")[1].split("local:")[0])


def differences(one, one_name, other, other_name):
    yield from (f"{name}: {one_name}, not {other_name}" for name in sorted(one - other))
    yield from (f"{name}: {other_name}, not {one_name}" for name in sorted(other - one))


def check_sntr(arguments):
    listed = listed_in(arguments.map)
    declared, unmarked = declared_in(arguments.headers, "SNTR_API")
    yield from (f"{name}: declared without SNTR_API" for name in sorted(unmarked))
    yield from (f"{b} stands after {a} in {arguments.map}" for a, b in zip(listed, listed[1:]) if a >= b)
    yield from differences(declared, "declared", set(listed), "in the exports list")
    yield from differences(set(listed), "in the exports list", exported_by(arguments.nm, arguments.library, False), "exported")


def check_oss(arguments):
    """This library has C++ classes and no exports list: each exported name must be one that a header speaks."""
    words = set()
    declared, unmarked = declared_in(arguments.headers, "OSS_API")
    for header in Path(arguments.headers).glob("*.h"):
        words |= set(re.findall(r"\w+", without_comments(header.read_text(encoding="utf-8"))))
    exported = exported_by(arguments.nm, arguments.library, True)
    plain = {re.sub(r"\(.*", "", name) for name in exported}
    yield from (f"{name}: declared without OSS_API" for name in sorted(unmarked))
    for name in sorted(plain):
        if not set(re.findall(r"\w+", name)) <= words:
            yield f"{name}: exported, but in no header"
    faulty_only = declared_in_one(Path(arguments.headers) / "fault.h")
    functions = {name.split("::")[-1] for name in plain}
    yield from (f"{name}: declared, not exported" for name in sorted(declared - faulty_only - functions))
    yield from (f"{name}: for tests alone, but in the product" for name in sorted(faulty_only & functions))


def check_dynamic(arguments):
    """The file's own name for itself, and what it asks the loader for."""
    text = subprocess.run([arguments.readelf, "-d", arguments.library], check=True, capture_output=True, text=True).stdout
    soname = re.findall(r"\(SONAME\).*\[(.*)\]", text)
    if soname != [arguments.soname]:
        yield f"SONAME is {soname}, not {arguments.soname}"
    system = re.compile(r"^(libc|libstdc\+\+|libgcc_s|libm|ld-linux-x86-64|libasan|libubsan|libtsan)\.so\.")
    for needed in re.findall(r"\(NEEDED\).*\[(.*)\]", text):
        if not system.match(needed) and needed != "libqx7osse_install.so.1":
            yield f"needs {needed}"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("which", choices=["sntr", "oss"])
    for option in ("nm", "readelf", "headers", "map", "library", "soname"):
        parser.add_argument(f"--{option}")
    arguments = parser.parse_args()
    check = check_sntr if arguments.which == "sntr" else check_oss
    problems = [*check(arguments), *check_dynamic(arguments)]
    print(*problems, sep="\n")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
