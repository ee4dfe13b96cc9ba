// SPDX-License-Identifier: MIT
// The space of nodes: the skip-list area, and once that is full, extents.
//
// A node comes from the dead nodes of its level, from the space after slNextFree that was never used, or from an
// extent. An extent is a chunk of the heap's own that holds nodes; the allocated list records it like any other. An
// unlinked node becomes dead and waits in the list of its level. The heads of those lists are the forward links of the
// tail sentinel, which no order uses. Once enough nodes are dead, the newest extent is emptied into them and released.
//
// Invariants:
// 1. A process that dies may lose words of this bookkeeping: the allocated list does not depend on them.
// 2. All of it can be rebuilt from the level-0 chain of the allocated list.
//
// Thread safety: the caller holds the heap's latch.
#pragma once

#include "shm/heap_view.h"

namespace sntr {

// Usual bytes of an extent: few enough to empty within one release, many compared with its own record and header.
constexpr std::uint64_t kExtentSize = 4096;

// Shared. The start of an extent. The mark, at the offset of a caller's pad type, is no pad type.
struct Extent {
  std::uint64_t paddedSize;
  std::uint32_t hint;
  std::uint32_t mark;
  std::uint64_t next;
  std::uint64_t nextFree;
};

inline constexpr FieldRow kExtentFields[] = {
    SNTR_FIELD(Extent, 0x00, 8, paddedSize, "bytes of the chunk, as in every chunk"),
    SNTR_FIELD(Extent, 0x08, 4, hint, "of its record, as in every chunk"),
    SNTR_FIELD(Extent, 0x0c, 4, mark, "0xe87e47, which is no pad type"),
    SNTR_FIELD(Extent, 0x10, 8, next, "next older extent, 0 at the end"),
    SNTR_FIELD(Extent, 0x18, 8, nextFree, "offset in the extent of the first node space never used"),
};
static_assert(tiles(kExtentFields, 0x20) && sizeof(Extent) == 0x20);

constexpr std::uint32_t kExtentMark = 0xe87e47;

// The least extent: its header, its own record and one more node, both of level 0.
constexpr std::uint64_t kLeastExtent = sizeof(Extent) + 2 * skipNodeSize(0);

// Draws a new node's level by the process's rand(): half of all nodes rise a level; a list grows by one at a time.
std::uint32_t chooseLevel(std::uint32_t currentLevel, std::uint32_t levels);

// Draws one without rand(), whose lock costs a tenth of an allocation: for choosing between nodes that are ready.
std::uint32_t drawLevel(std::uint32_t currentLevel, std::uint32_t levels);

// Takes a dead node of exactly this level; no node if there is none.
Rc takeDeadSlot(const HeapView &view, std::uint32_t level, NodeRef &slot);

// Takes space for a node of exactly this level, without growing; no node if none is ready.
Rc takeSlot(const HeapView &view, std::uint32_t level, NodeRef &slot);

// Takes space of any level that is ready: the wanted one first, then the nearest.
Rc takeAnySlot(const HeapView &view, std::uint32_t level, NodeRef &slot);

// Writes all fixed fields of a live node into its slot and counts it.
void bringToLife(const HeapView &view, const NodeRef &slot, std::uint64_t offset, std::uint64_t size, bool allocated);

// recycle() marks an unlinked node dead, uncounts it and keeps it for reuse. giveBack() keeps an unused slot.
void recycle(const HeapView &view, const NodeRef &node);
void giveBack(const HeapView &view, const NodeRef &slot);

// Takes a dead node out of its list, to be linked again with its fields. Returns ChunkOutsideHeap for a live one.
Rc reclaim(const HeapView &view, const NodeRef &node);

// The newest extent, checked; `at` is null if there is none.
struct ExtentRef {
  Extent *at;
  std::uint64_t offset;
  std::uint64_t size;
  std::uint64_t nextFree;  // offset in the extent
  std::uint64_t next;
};
Rc newestExtent(const HeapView &view, ExtentRef &extent);

// Makes a chunk that was cut from a free block the newest extent. The caller records it in the allocated list.
void openExtent(const HeapView &view, std::uint64_t offset, std::uint64_t size);

// Steps through the nodes of an extent, live or dead: `at` begins as sizeof(Extent), and no node marks the end.
Rc nextNode(const HeapView &view, const ExtentRef &extent, std::uint64_t &at, NodeRef &node);

// Marks a node dead and uncounts it. Its space is not reused: it was moved away, or its extent is released.
void markDead(const HeapView &view, const NodeRef &node);

// Takes the newest extent off its list, and its dead nodes off theirs, so that no new node is put into it.
Rc closeExtent(const HeapView &view, const ExtentRef &extent);

// Undoes closeExtent(): dead nodes are kept for reuse again.
Rc reopenExtent(const HeapView &view, const ExtentRef &extent);

// Finds the newest extent if the heap does not need it: dead and unused space could hold all its nodes, with a spare
// left. Reads the extent only if there is as much space as the spare.
bool findSpareExtent(const HeapView &view, ExtentRef &extent);

}  // namespace sntr
