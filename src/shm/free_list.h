// The free blocks of a heap, in two orders at once: by offset, for merging, and by size, for best fit.
//
// Every change is a plan and its application. Planning searches, checks what it finds and changes nothing; applying
// cannot fail. So an operation plans all that it will do, and then either does all of it or none. The caller holds the
// heap's latch; a plan is of use only until the lists change.
#pragma once

#include "shm/heap_view.h"

namespace sntr {

// The smallest free block of at least n bytes, the one inserted last among equals; no node where there is none. Its
// place is what the search has met on the way, and is not yet held against the block's own links.
struct Fit {
  NodeRef node;
  Place bySize;
  std::uint32_t level;  // up to which the place is known
};
Rc findBestFit(const HeapView &view, std::uint64_t n, Fit &fit);

// The first free block at or behind an offset; the tail sentinel where there is none.
Rc findFreeFrom(const HeapView &view, std::uint64_t offset, NodeRef &node);

// A block keeps its node and its place by offset, and moves in the size order to where a new block of its size goes.
struct Resize {
  NodeRef node;
  std::uint64_t offset;
  std::uint64_t size;
  Place now;
  Place then;
};
Rc planResize(const HeapView &view, const NodeRef &node, std::uint64_t offset, std::uint64_t size, Resize &plan);
void apply(const HeapView &view, const Resize &plan);

// The same for a block that a search by size has just found and that becomes smaller: what is before it is known.
Rc planShrink(const HeapView &view, const Fit &fit, std::uint64_t size, Resize &plan);

// A block's node leaves both orders.
struct Removal {
  NodeRef node;
  Place byOffset;
  Place bySize;
};
Rc planRemoval(const HeapView &view, const NodeRef &node, Removal &plan);
void apply(const HeapView &view, const Removal &plan);

// The same for a block that a search by size has just found.
Rc planTake(const HeapView &view, const Fit &fit, Removal &plan);

// A node, whose fields are written by then, enters both orders. A plan serves nodes up to the level it was made for.
struct Insertion {
  Place byOffset;
  Place bySize;
};
Rc planInsertion(const HeapView &view, std::uint64_t offset, std::uint64_t size, std::uint32_t level, Insertion &plan);
void apply(const HeapView &view, const Insertion &plan, const NodeRef &node);

// A range comes back and merges with the free blocks that touch it. Planning fails with the type's notFound for a range
// that overlaps a free block: it was free already. Where none merges, the plan is for a node up to a level.
struct Return {
  std::uint64_t offset;
  std::uint64_t size;
  bool mergesBefore;
  bool mergesAfter;
  Resize grown;        // where one neighbour, or both, merge
  Removal swallowed;   // the block behind, where both merge
  Insertion inserted;  // where none does
  bool needsNode() const { return !mergesBefore && !mergesAfter; }
};
Rc planReturn(const HeapView &view, std::uint64_t offset, std::uint64_t size, std::uint32_t level, Return &plan);

// Applies it. `node` carries the block where none merges (its fields are written here); `freed` is the node that a
// merge of both neighbours leaves over, or no node.
void apply(const HeapView &view, const Return &plan, const NodeRef &node, NodeRef &freed);

// Puts another, unlinked node with the same key fields in the place of a linked one; the levels may differ.
Rc replaceFree(const HeapView &view, const NodeRef &node, const NodeRef &with);

}  // namespace sntr
