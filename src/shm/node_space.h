// Where nodes live: the skip-list area, and when that is full, extents.
//
// A node is taken from the dead nodes of its level, from the space behind slNextFree that was never used, or from an
// extent: a chunk of the heap's own free memory that the allocated list records like any other and that holds nodes. A
// node that is unlinked becomes dead and waits in the list of its level; those lists are headed by the forward links of
// the tail sentinel, which no order uses. When enough nodes are dead, the newest extent is emptied into them and its
// chunk goes back.
//
// Words of this bookkeeping may be lost with a process that dies: none of it is needed to tell what is allocated, and
// all of it can be rebuilt from the level-0 chain of the allocated list. The caller holds the heap's latch.
#pragma once

#include "shm/heap_view.h"

namespace sntr {

// Usual bytes of an extent. Small enough to be emptied within one release, large enough that its own record and header
// take little of it.
constexpr std::uint64_t kExtentSize = 4096;

// Shared. The start of an extent. Where a caller's chunk has its pad type stands a mark that is no pad type.
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

// The least extent: its header, its own record and one node more, both of level 0.
constexpr std::uint64_t kLeastExtent = sizeof(Extent) + 2 * skipNodeSize(0);

// The level of a new node, by the process's rand(): half of all nodes rise a level, and a list grows by one at a time.
std::uint32_t chooseLevel(std::uint32_t currentLevel, std::uint32_t levels);

// The same without rand(), whose lock costs a tenth of an allocation: for choosing between nodes that are ready.
std::uint32_t drawLevel(std::uint32_t currentLevel, std::uint32_t levels);

// A dead node of this very level; no node where there is none.
Rc takeDeadSlot(const HeapView &view, std::uint32_t level, NodeRef &slot);

// Space for a node of this very level, without growing; no node where there is none ready.
Rc takeSlot(const HeapView &view, std::uint32_t level, NodeRef &slot);

// The same, of any level that is ready, the wanted one first and then the nearest.
Rc takeAnySlot(const HeapView &view, std::uint32_t level, NodeRef &slot);

// Writes all the fixed fields of a live node into its slot and counts it.
void bringToLife(const HeapView &view, const NodeRef &slot, std::uint64_t offset, std::uint64_t size, bool allocated);

// Marks a node dead that is linked nowhere, counts it out and keeps it for reuse. giveBack() is the same for a slot
// that was taken but not brought to life.
void retire(const HeapView &view, const NodeRef &node);
void giveBack(const HeapView &view, const NodeRef &slot);

// Takes a dead node out of its list, so that it can be linked again as what it was. ChunkOutsideHeap for a live one.
Rc revive(const HeapView &view, const NodeRef &node);

// The newest extent, checked; `at` is null for none.
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

// Steps through the nodes of an extent, live or dead: `at` begins as sizeof(Extent) and no node marks the end.
Rc nextNode(const HeapView &view, const ExtentRef &extent, std::uint64_t &at, NodeRef &node);

// Marks a node dead whose place nothing may use again: it was moved away, or its extent goes. Counts it out.
void abandon(const HeapView &view, const NodeRef &node);

// Takes the newest extent off the list and its dead nodes out of theirs, so that nothing new is put into it.
Rc closeExtent(const HeapView &view, const ExtentRef &extent);

// Undoes closeExtent: nodes found dead are kept for reuse again.
Rc reopenExtent(const HeapView &view, const ExtentRef &extent);

// Finds the newest extent if the heap can do without it: if dead and unused space could hold every node of it, with
// some left over. The extent is looked at only where there is as much space as must be left over.
bool findSpareExtent(const HeapView &view, ExtentRef &extent);

}  // namespace sntr
