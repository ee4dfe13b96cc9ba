// SPDX-License-Identifier: MIT
// Differences between the list of attached segments and the list of modules: record, key, order, heads, printed line.
//
// Records in shared memory may be damaged: no function here reads beyond its record or relies on a terminator.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "frame/process_state.h"
#include "layout/list_nodes.h"
#include "segments/segment_key.h"
#include "shm/heap_header.h"

namespace sntr {

struct AttachEntry {
  using Record = AttachSegInfo;
  using Key = const OSSIPCResID *;

  static Key keyOf(const Record &record) { return &record.key; }

  // Compares a record and a key; `order` is above 0 if the key belongs before the record. Returns SegmentCompareFailed.
  static Rc compare(std::uint32_t mode, const Record &stored, Key key, int &order) {
    return compareSegmentKeys(mode, &stored.key, key, order);
  }

  static std::uint64_t *sharedHead(HeapTail &tail) { return &tail.lists.attached; }
  static void *privateHead() { return &sntrSegLLHeader.first; }
  static std::uint32_t privateMode() { return sntrSegLLHeader.firstVersion; }

  static void print(int number, const Record &record) {
    const auto key = static_cast<int>(readWord<std::uint32_t>(&record.key.low));
    std::printf("Linked list node #%d stores segment key = \"%d\"\n", number, key);
  }
};

struct ModuleEntry {
  using Record = GCFModuleInfo;
  using Key = const char *;

  static Key keyOf(const Record &record) { return record.path; }

  // Compares bytes as unsigned numbers, up to a terminator or the end of the field. Never fails.
  static Rc compare(std::uint32_t /*mode*/, const Record &stored, Key key, int &order) {
    order = std::strncmp(stored.path, key, sizeof(stored.path));
    return Rc::Ok;
  }

  static std::uint64_t *sharedHead(HeapTail &tail) { return &tail.lists.modules; }
  static void *privateHead() { return &sntrGCFLLHeader.first; }
  static std::uint32_t privateMode() { return 0; }  // paths have one order only

  static void print(int number, const Record &record) {
    std::printf("Linked list node #%d stores GCF module path = \"%.*s\"\n", number, SNTR_GCF_PATH_SIZE, record.path);
  }
};

}  // namespace sntr
