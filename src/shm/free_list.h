// SPDX-License-Identifier: MIT
// The free blocks of a heap, in two orders at once: by offset, for merging, and by size, for best fit.
//
// Invariants:
// 1. Every change is a plan and its application. Planning searches, checks what it finds and changes nothing; applying
//    cannot fail. So an operation plans everything first, then does all of it or nothing.
// 2. A plan is valid only until the lists change.
//
// Thread safety: the caller holds the heap's latch.
#pragma once

#include "shm/heap_view.h"

namespace sntr {

// The smallest free block of at least n bytes, the last one inserted among equals; no node if there is none. The splice
// is the search's path, not yet compared with the block's own links.
struct Fit {
  NodeRef node;
  Splice bySize;
  std::uint32_t level;  // the splice is known up to this level
};
Rc findBestFit(const HeapView &view, std::uint64_t n, Fit &fit);

// Finds the first free block at or after an offset; the tail sentinel if there is none.
Rc findFreeFrom(const HeapView &view, std::uint64_t offset, NodeRef &node);

// Resizing: a block keeps its node and its position by offset. In the size order it moves like a new block of its size.
struct Resize {
  NodeRef node;
  std::uint64_t offset;
  std::uint64_t size;
  Splice now;
  Splice then;
};
Rc planResize(const HeapView &view, const NodeRef &node, std::uint64_t offset, std::uint64_t size, Resize &plan);
void apply(const HeapView &view, const Resize &plan);

// Plans a shrink of a block that a search by size has just found: the nodes before it are known.
Rc planShrink(const HeapView &view, const Fit &fit, std::uint64_t size, Resize &plan);

// Removal of a block's node from both orders.
struct Removal {
  NodeRef node;
  Splice byOffset;
  Splice bySize;
};
Rc planRemoval(const HeapView &view, const NodeRef &node, Removal &plan);
void apply(const HeapView &view, const Removal &plan);

// Plans the removal of a block that a search by size has just found.
Rc planTake(const HeapView &view, const Fit &fit, Removal &plan);

// Insertion of a node, whose fields are written before applying, into both orders. A plan serves nodes up to its level.
struct Insertion {
  Splice byOffset;
  Splice bySize;
};
Rc planInsertion(const HeapView &view, std::uint64_t offset, std::uint64_t size, std::uint32_t level, Insertion &plan);
void apply(const HeapView &view, const Insertion &plan, const NodeRef &node);

// Return of a range, merged with the free blocks that touch it. Planning fails with the type's notFound if the range
// overlaps a free block: it was free already. Without a merge, the plan is for a node up to `level`.
struct Return {
  std::uint64_t offset;
  std::uint64_t size;
  bool mergesBefore;
  bool mergesAfter;
  Resize grown;        // if one neighbour or both merge
  Removal swallowed;   // the block after the range, if both merge
  Insertion inserted;  // if none merges
  bool needsNode() const { return !mergesBefore && !mergesAfter; }
};
Rc planReturn(const HeapView &view, std::uint64_t offset, std::uint64_t size, std::uint32_t level, Return &plan);

// Applies the plan. `node` carries the block if none merges; its fields are written here. `freed` receives the node
// that a merge of both neighbours leaves over, or no node.
void apply(const HeapView &view, const Return &plan, const NodeRef &node, NodeRef &freed);

// Replaces a linked node by another, unlinked one with the same key fields; the levels may differ.
Rc replaceFree(const HeapView &view, const NodeRef &node, const NodeRef &with);

}  // namespace sntr
