// The record of allocated chunks: the heap's truth.
//
// Its level-0 chain, in offset order, tells what is allocated. Each change to it is one 8-byte store, made after the
// node is complete and before anything follows that depends on it; so wherever a process dies, the chain is the state
// before or after the change, and the free list, the upper levels, back links, counters and node space could be rebuilt
// from it. The caller holds the heap's latch.
#pragma once

#include "shm/heap_view.h"

namespace sntr {

// A chunk's node and where it stands.
struct Record {
  NodeRef node;
  Place place;
};

// Where a record keeps what is before it, at each of its levels: an array that a list which links forward leaves free.
// The list does not need it and does not rely on it; it may be wrong after a process died, or one that does not know of
// it has changed the list.
constexpr Links kRecordBefore = Links::OffsetBackward;

// The record of the chunk at an offset; the type's notFound where there is none.
Rc findRecord(const HeapView &view, std::uint64_t offset, Record &record);

// The same, of which the place is known up to the record's own level; by way of the hint in the chunk where that leads
// there. Damage that is not on this way is not met.
Rc findRecordNear(const HeapView &view, std::uint64_t offset, Record &record);

// The place for a record of a chunk that lies in managed space and overlaps no recorded chunk (the type's notFound).
Rc planRecord(const HeapView &view, std::uint64_t offset, std::uint64_t size, Place &place);

// Links a complete node into its place and counts the chunk.
void enterRecord(const HeapView &view, const NodeRef &node, const Place &place);

// Unlinks the node and counts the chunk out. The node is dead to the list; the caller reuses or retires it.
void removeRecord(const HeapView &view, const Record &record);

// Puts another node with the same fields in the place of a linked one by one store; the levels may differ.
Rc replaceRecord(const HeapView &view, const NodeRef &node, const NodeRef &with);

}  // namespace sntr
