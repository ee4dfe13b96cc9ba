#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
# Holds the tables of docs/formats, row by row, against the field tables of the code. The compiler holds those against
# the records. Argument: the project's root.
import re
import sys
import unittest
from pathlib import Path

ROOT = Path(sys.argv.pop())

# For each table of a document, in order: its record, and the records that stand in place of its fields or at the end of
# the area. No record: the table describes none.
TABLES = {
    "heap.md": ["HeapHeader", "HeapTail lists=SharedListHeads debug=DebugSettings", "SkipArea", "SkipNode", "Extent"],
    "latches.md": ["ExclusiveLatch", "LatchBlock"],
    "lists.md": ["AttachListNode record=AttachSegInfo key=Key", "ModuleListNode record=ModuleInfo", "NodeInfo", "",
                 "Observer"],
    "node.md": ["NodeBlock", "AreaEntry"],
    "properties.md": ["RRecord", "RAreaHeader", "RAreaHeader end=TableTail", "RSlot", "KeyLinks"],
}
PREFIXES = {"lists": "lists.", "debug": "debug.", "key": "key."}  # of the names, in the documents
ROW = re.compile(r"\| (size - )?(0x\w+) \| (0x\w+|\d+) \| (?:`([\w.]+)` )?\|")

CODE = "".join(path.read_text(encoding="utf-8") for path in [*ROOT.glob("src/*/*.h"), ROOT / "include/sntr/types.h"])
RECORDS = {name: [(int(at, 0), int(width, 0), field) for at, width, field in
                  re.findall(r"SNTR_FIELD\(\w+, (\w+), (\w+), (\w+),", rows)]
           for name, rows in re.findall(r"FieldRow k(\w+)Fields\[\] = \{\n(.*?)\n\};", CODE, re.DOTALL)}
INFO = re.search(r"struct SNodeInfo \{(.*?)\}", CODE, re.DOTALL)[1]
RECORDS["NodeInfo"] = [(8 * i, 8, name) for i, name in enumerate(re.findall(r"uint64_t (\w+);", INFO))]
RECORDS["Key"] = [(0, 8, "high"), (8, 4, "low")]


class Formats(unittest.TestCase):
    def coded(self, parts):
        rows = {}
        for field, record in (part.rpartition("=")[::2] for part in parts.split()):
            base = {"": 0, "end": -0x10, **{name: at for at, (_, name) in rows.items()}}[field]
            for at, width, name in RECORDS[record]:
                reserved = re.match(r"reserved\d*$|unused", name)
                rows[base + at] = (width, "" if reserved else PREFIXES.get(field, "") + name)
        return rows

    def test_tables_of_fields(self):
        for document, expected in TABLES.items():
            text = (ROOT / "docs/formats" / document).read_text(encoding="utf-8")
            tables = re.findall(r"\| Offset \| Width \| Field \| Meaning \|\n((?:\|.*\n)+)", text)
            self.assertEqual(len(tables), len(expected), document)
            for number, (table, parts) in enumerate(zip(tables, expected), 1):
                with self.subTest(document=document, table=number):
                    rows = {int(at, 0) * (-1 if size else 1): (int(width, 0), name)
                            for size, at, width, name in ROW.findall(table)}
                    # A table may leave out reserved bytes.
                    self.assertEqual(rows, {at: row for at, row in self.coded(parts).items() if row[1] or at in rows})

    def test_records_of_each_kind(self):
        text = (ROOT / "docs/formats/properties.md").read_text(encoding="utf-8")
        for label, *fields in [("`tag`", "tag"), ("`rc`", "rc"), ("`idOffset`, `idLength`", "idOffset", "idLength"),
                               ("`valueOffset`, `valueSize`", "valueOffset", "valueSize"),
                               ("register (128 bytes)", "value"), ("latches (388 bytes)", "propertyLatches")]:
            cells = [", ".join(f"0x{at:02x}" for at, _, field in RECORDS[kind + "Record"] if field in fields)
                     for kind in ("R", "V", "IR", "IV")]
            self.assertIn("|" + "".join(f" {cell} |" if cell else " |" for cell in [label, *cells]) + "\n", text)


unittest.main()
