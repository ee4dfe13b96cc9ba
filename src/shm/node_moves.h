// Moving nodes and giving node space back: growth into extents, emptying them, and compaction of the skip-list area.
// The caller holds the heap's latch.
#pragma once

#include "shm/node_space.h"

namespace sntr {

// Moves a live node into a slot, of whatever level, and leaves its old place dead and unused.
Rc moveNode(const HeapView &view, const NodeRef &node, const NodeRef &slot);

// Takes an extent of free memory, from the first free block (the one behind the area, while that is free) or else from
// the largest ones, such that a block of `keep` bytes is still left. `fit` is the smallest block of at least that size,
// or no node. The usual size is tried before `least`. The type's noBlock where no free block serves.
Rc grow(const HeapView &view, std::uint64_t least, const NodeRef &fit, std::uint64_t keep);

// A slot of any level, grown for where none is ready. The type's noBlock when there is no room for it.
Rc obtainSlot(const HeapView &view, std::uint32_t level, NodeRef &slot);

// Gives back newest extents that the heap can do without, few at a time, so that a release stays short. Cannot fail:
// what cannot be emptied stays.
void trimExtents(const HeapView &view);

// Empties extents as far as the dead nodes elsewhere allow, then compacts the area in place.
Rc compactAll(const HeapView &view);
Rc compactArea(const HeapView &view);

}  // namespace sntr
