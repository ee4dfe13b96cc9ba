// SPDX-License-Identifier: MIT
// Moving nodes and releasing node space: growth into extents, emptying them, and compaction of the skip-list area.
// Thread safety: the caller holds the heap's latch.
#pragma once

#include "shm/node_space.h"

namespace sntr {

// Moves a live node into a slot of any level and leaves its old space dead and unused.
Rc moveNode(const HeapView &view, const NodeRef &node, const NodeRef &slot);

// Takes an extent from the first free block (the one after the area, while that is free) or from the largest ones. A
// block of `keep` bytes must be left. `fit` is the smallest block of at least that size, or no node. Tries the usual
// size before `least`. Returns the type's noBlock if no free block serves.
Rc grow(const HeapView &view, std::uint64_t least, const NodeRef &fit, std::uint64_t keep);

// Takes a slot of any level; grows if none is ready. Returns the type's noBlock if there is no room for it.
Rc obtainSlot(const HeapView &view, std::uint32_t level, NodeRef &slot);

// Releases newest extents that the heap does not need, few at a time, so that a release stays short. Cannot fail: an
// extent that cannot be emptied stays.
void trimExtents(const HeapView &view);

// compactAll() empties extents as far as the dead nodes elsewhere allow, then compacts the area in place.
Rc compactAll(const HeapView &view);
Rc compactArea(const HeapView &view);

}  // namespace sntr
