#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks the source tree against the rules of the rooms; see CONTRIBUTING.md.

- Arrows point down: a room includes itself and the rooms below it, and the public headers.
- The services layer is a separate library: src/oss and include/oss include nothing of the rest but src/layout.
- Public headers and examples include public headers only.
- A room's private files (*_internal.h, or anything in a folder detail/) stay in the room and in its own tests.
- Result codes and function numbers appear as numbers only in their tables and in tests.

Usage: check_rooms.py [directory of the project]. Prints one line per breach; its exit status is 1 if there is any.
"""
import re
import sys
from pathlib import Path

# From the ground floor up. Each may include the ones before it.
ROOMS = ["layout", "frame", "shm", "segments", "tree", "properties"]
# Test folders that use a room of another name.
TESTED_ROOM = {"tests/cost": "tests/shm"}
SOURCE_SUFFIXES = {".h", ".c", ".cpp", ".def"}

INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^>"]+)[>"]')
NUMBER = re.compile(r"\b0x(9000[0-9a-fA-F]{4}|0?822[0-9a-fA-F]{4})\b")
NUMBER_TABLES = {"src/layout/result_codes.def", "src/layout/function_numbers.def"}


def resolve(root, including, target):
    """Returns the file of an include directive, relative to the root; None if it is not the project's."""
    for folder in ("include", "src", "tests", "bench"):
        if (root / folder / target).is_file():
            return f"{folder}/{target}"
    if target == "sntr/result_codes.h":  # generated, so not in the tree
        return "include/sntr/result_codes.h"
    beside = including.parent / target
    return beside.relative_to(root).as_posix() if beside.is_file() else None


def room_of(path):
    """Returns the part of the tree that a file belongs to, for example "src/shm" or "include/sntr"."""
    parts = path.split("/")
    if parts[0] == "bench":  # one part, with all its folders
        return "bench"
    return "/".join(parts[:2]) if len(parts) > 2 else parts[0]


def is_private(path):
    return path.startswith("src/") and ("/detail/" in path or Path(path).stem.endswith("_internal"))


def allowed(room):
    """Returns the parts of the tree that a part may include from, besides itself."""
    top, name = room.split("/") if "/" in room else (room, "")
    public = {"include/sntr", "include/oss"}
    if room == "include/sntr":
        return {"include/oss"}
    if room == "include/oss":
        return set()
    if room == "src/oss":
        return {"include/oss", "src/layout"}
    if top == "src" and name in ROOMS:
        return public | {f"src/{lower}" for lower in ROOMS[: ROOMS.index(name)]}
    if top == "bench":  # the floor works on the published formats
        return public | {"src/layout", "src/shm", "src/properties"}
    if top == "tests" and name == "oss":
        return {"include/oss", "src/oss", "src/layout", "tests/support"}
    if top == "tests" and name in ROOMS:
        return public | {"tests/support"} | {f"src/{lower}" for lower in ROOMS[: ROOMS.index(name) + 1]}
    if top == "tests" and name == "shipped":  # the properties' tests again, with their lower rooms
        return public | {"tests/support", "tests/properties", "src/layout"}
    if top == "tests" and name == "consumers":
        return public
    if top == "tests":
        return public | {"tests/support", "src/layout"}
    return public


def check_include(room, target):
    """Returns the breach of a file of one part that includes another file; None if there is none."""
    target_room = room_of(target)
    room, target_room = TESTED_ROOM.get(room, room), TESTED_ROOM.get(target_room, target_room)
    if is_private(target) and target_room.split("/")[1] != room.partition("/")[2]:
        return f"{target} is private to {target_room}"
    if target_room == room or target_room in allowed(room):
        return None
    return f"{room} must not include {target}"


def check_file(root, path):
    relative = path.relative_to(root).as_posix()
    room = room_of(relative)
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        where = f"{relative}:{number}"
        include = INCLUDE.match(line)
        target = include and resolve(root, path, include[1])
        if target:
            breach = check_include(room, target)
            if breach:
                yield f"{where}: {breach}"
        elif include and '"' in line:
            yield f'{where}: "{include[1]}" is no file of this project'
        bare = NUMBER.search(line)
        if bare and relative not in NUMBER_TABLES and not relative.startswith("tests/"):
            yield f"{where}: the number {bare[0]} belongs in a table of src/layout; use its name"


def check_tree(root):
    for top in ("include", "src", "tests", "examples", "bench"):
        for path in sorted((root / top).rglob("*")):
            if path.is_file() and path.suffix in SOURCE_SUFFIXES:
                yield from check_file(root, path)
    for path in sorted((root / "src").rglob("*.h")):
        name = path.relative_to(root / "src")
        if (root / "include" / name).is_file():
            yield f"src/{name}: has the include name of include/{name}, which could then not be included"


def main():
    root = Path(sys.argv[1] if len(sys.argv) > 1 else Path(__file__).parent.parent).resolve()
    breaches = list(check_tree(root))
    print(*breaches, sep="\n", end="\n" if breaches else "")
    return 1 if breaches else 0


if __name__ == "__main__":
    sys.exit(main())
