// SPDX-License-Identifier: MIT
// The allocated list: one record for each allocated chunk.
//
// Invariants:
// 1. The level-0 chain, in offset order, decides what is allocated.
// 2. Each change to it is one 8-byte store, after the node is complete and before anything that depends on it. So
//    wherever a process dies, the chain has the state before or after the change.
// 3. The free list, the upper levels, back links, counters and node space can be rebuilt from it.
//
// Thread safety: the caller holds the heap's latch.
#pragma once

#include "shm/heap_view.h"

namespace sntr {

// A chunk's node and its splice.
struct Record {
  NodeRef node;
  Splice splice;
};

// The link array in which a record keeps its predecessor at each level; a list that links forward does not use it. It
// is a hint: it may be wrong after a process died, or after a process unaware of it changed the list.
constexpr Links kRecordBefore = Links::OffsetBackward;

// Finds the record of the chunk at an offset. Returns the type's notFound if there is none.
Rc findRecord(const HeapView &view, std::uint64_t offset, Record &record);

// Does so by the chunk's hint if possible: the splice is then known up to the record's level, and other damage ignored.
Rc findRecordNear(const HeapView &view, std::uint64_t offset, Record &record);

// Finds the splice for a chunk's record, up to a level. Returns ChunkOutsideHeap unless the chunk lies in managed
// space, and the type's notFound if it overlaps a recorded chunk.
Rc planRecord(const HeapView &view, std::uint64_t offset, std::uint64_t size, std::uint32_t level, Splice &splice);

// Links a complete node into its splice and counts the chunk.
void enterRecord(const HeapView &view, const NodeRef &node, const Splice &splice);

// Unlinks the node and uncounts the chunk. The caller reuses or recycles the node.
void removeRecord(const HeapView &view, const Record &record);

// Replaces a linked node by another with the same fields, by one store; the levels may differ.
Rc replaceRecord(const HeapView &view, const NodeRef &node, const NodeRef &with);

}  // namespace sntr
