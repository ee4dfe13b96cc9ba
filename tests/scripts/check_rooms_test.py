#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Feeds small trees to scripts/check_rooms.py: each row is one file more than a good tree, and what must be said of it."""
import tempfile
import unittest
from pathlib import Path

import check_rooms

GOOD_TREE = {
    "include/oss/latch.h": "#include <stdint.h>\n",
    "include/sntr/types.h": "#include <oss/latch.h>\n",
    "include/sntr/sntr.h": "#include <sntr/types.h>\n",
    "src/layout/rc.h": '#include "layout/result_codes.def"\n',
    "src/layout/result_codes.def": 'SNTR_RC(NullNode, 0x900000de, "null")\n',
    "src/layout/function_numbers.def": "SNTR_FN(sntrCreateNode, 0x0822000c)\n",
    "src/frame/trace.h": '#include <oss/latch.h>\n#include "layout/rc.h"\n',
    "src/shm/heap.h": '#include "frame/trace.h"\n',
    "src/shm/heap_internal.h": '#include "shm/heap.h"\n',
    "src/shm/detail/walk.h": "\n",
    "src/shm/heap.cpp": '#include "shm/heap_internal.h"\n#include "shm/detail/walk.h"\n',
    "src/oss/futex.h": "\n",
    "src/oss/latch.cpp": '#include <oss/latch.h>\n#include "layout/rc.h"\n#include "oss/futex.h"\n',
    "tests/support/pool.h": "#include <sntr/sntr.h>\n",
    "tests/shm/heap_test.cpp": '#include "shm/heap_internal.h"\n#include "support/pool.h"\n// 0x900000de\n',
    "tests/api/node_test.cpp": '#include "layout/rc.h"\n#include "support/pool.h"\n#include <sntr/result_codes.h>\n',
    "examples/publish/main.c": '#include "proc.h"\n#include <sntr/sntr.h>\n',
    "examples/publish/proc.h": "\n",
}

BREACHES = [
    # file, its text, the words that the one complaint must hold
    ("src/layout/up.h", '#include "frame/trace.h"\n', "src/layout must not include src/frame/trace.h"),
    ("src/shm/up.h", "#include <tests/support/pool.h>\n#include <support/pool.h>\n", "tests/support/pool.h"),
    ("src/oss/side.cpp", "#include <sntr/types.h>\n", "src/oss must not include include/sntr/types.h"),
    ("src/tree/oss.cpp", '#include "oss/futex.h"\n', "src/tree must not include src/oss/futex.h"),
    ("src/tree/walk.cpp", '  #  include "shm/detail/walk.h"\n', "private to src/shm"),
    ("src/tree/sibling.cpp", '#include "node.h"\n', '"node.h" is no file of this project'),
    ("include/sntr/in.h", '#include "layout/rc.h"\n', "include/sntr must not include src/layout/rc.h"),
    ("tests/tree/in.cpp", '#include "shm/heap_internal.h"\n', "private to src/shm"),
    ("include/sntr/code.h", "/* gives 0x9000017D */\n", "0x9000017D belongs in a table"),
    ("src/frame/number.cpp", "trace(0x8220013);\n", "0x8220013 belongs in a table"),
    ("src/sntr/types.h", "\n", "has the include name of"),
]


class CheckRooms(unittest.TestCase):
    def test_one_file_more(self):
        for name, text, words in [("src/shm/good.h", "\n", None), *BREACHES]:
            with self.subTest(file=name, text=text), tempfile.TemporaryDirectory() as folder:
                root = Path(folder).resolve()
                for path, content in {**GOOD_TREE, name: text}.items():
                    (root / path).parent.mkdir(parents=True, exist_ok=True)
                    (root / path).write_text(content, encoding="utf-8")
                found = list(check_rooms.check_tree(root))
                self.assertEqual(len(found), 1 if words else 0, found)
                self.assertTrue(not words or words in found[0] and found[0].startswith(name), found)


if __name__ == "__main__":
    unittest.main()
