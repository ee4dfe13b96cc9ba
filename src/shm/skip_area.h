// SPDX-License-Identifier: MIT
// The start of the skip-list area: the words that describe a heap's bookkeeping, then the head of the allocated list.
//
// Shared memory. L is the stored maximum level. After the fixed part follow:
//
//     0x70            L links of the allocated head (a node at 0x40 of the area, of which only these are used)
//     0x70 + 8L       current level of the free list
//     0x78 + 8L       head sentinel of the free list, a node of level L - 1
//     0xa8 + 0x28L    tail sentinel, likewise; a free list's level ends in a link to it
//     0xd8 + 0x48L    node space
//
// Words of the three heads that a list does not need carry the bookkeeping of node space: see node_space.h.
#pragma once

#include <cstdint>

#include "shm/heap_header.h"
#include "shm/skip_node.h"

namespace sntr {

// Shared.
struct SkipArea {
  std::uint64_t maxLevel;
  std::uint64_t slAreaSize;
  std::uint64_t slBytesUsed;
  std::uint64_t slNextFree;
  std::uint64_t allocatedCount;
  std::uint64_t slNodeCount;
  std::uint64_t allocatedLevel;
  std::uint64_t intent;
  std::uint64_t firstExtent;
  std::uint64_t extentBytes;
  std::uint64_t deadBytes;
  std::uint64_t unused;
  std::uint64_t allocatedHeadLevel;
  std::uint64_t unusedState;
};

inline constexpr FieldRow kSkipAreaFields[] = {
    SNTR_FIELD(SkipArea, 0x00, 8, maxLevel, "L, 1 to 25"),
    SNTR_FIELD(SkipArea, 0x08, 8, slAreaSize, "bytes of the whole area"),
    SNTR_FIELD(SkipArea, 0x10, 8, slBytesUsed, "bytes in use: this header and the live nodes"),
    SNTR_FIELD(SkipArea, 0x18, 8, slNextFree, "offset in the area of the first node space never used"),
    SNTR_FIELD(SkipArea, 0x20, 8, allocatedCount, "allocated chunks"),
    SNTR_FIELD(SkipArea, 0x28, 8, slNodeCount, "live nodes, of free blocks and of allocated chunks"),
    SNTR_FIELD(SkipArea, 0x30, 8, allocatedLevel, "current level of the allocated list"),
    SNTR_FIELD(SkipArea, 0x38, 8, intent, "the change under way, 0 at rest"),
    SNTR_FIELD(SkipArea, 0x40, 8, firstExtent, "newest chunk that holds nodes, 0 for none"),
    SNTR_FIELD(SkipArea, 0x48, 8, extentBytes, "bytes of all chunks that hold nodes"),
    SNTR_FIELD(SkipArea, 0x50, 8, deadBytes, "bytes of dead nodes, ready for reuse"),
    SNTR_FIELD(SkipArea, 0x58, 8, unused, "0"),
    SNTR_FIELD(SkipArea, 0x60, 8, allocatedHeadLevel, "L - 1: level of the allocated head"),
    SNTR_FIELD(SkipArea, 0x68, 8, unusedState, "0"),
};
static_assert(tiles(kSkipAreaFields, 0x70) && sizeof(SkipArea) == 0x70);

constexpr std::uint64_t kAllocatedHeadAt = 0x40;
static_assert(kAllocatedHeadAt + offsetof(SkipNode, nodeLevel) == offsetof(SkipArea, allocatedHeadLevel));
static_assert(kAllocatedHeadAt + sizeof(SkipNode) == sizeof(SkipArea), "the head's links follow the fixed part");

constexpr std::uint64_t freeLevelAt(std::uint64_t maxLevel) { return sizeof(SkipArea) + kWordSize * maxLevel; }
constexpr std::uint64_t headSentinelAt(std::uint64_t maxLevel) { return freeLevelAt(maxLevel) + kWordSize; }
constexpr std::uint64_t tailSentinelAt(std::uint64_t maxLevel) {
  return headSentinelAt(maxLevel) + skipNodeSize(maxLevel - 1);
}
static_assert(tailSentinelAt(7) == 0xa8 + 0x28 * 7);
static_assert(tailSentinelAt(7) + skipNodeSize(6) == skipListHeaderSize(7));

// Room kept after slNextFree, so that the largest node can always be placed there while others move.
constexpr std::uint64_t nodeReserve(std::uint64_t maxLevel) { return 0x60 + 0x28 * maxLevel; }
static_assert(nodeReserve(1) >= skipNodeSize(0) && nodeReserve(25) >= skipNodeSize(24));

// The content of SkipArea::intent: the change under way in the low bits, the offset of the chunk or extent in flight in
// the others (offsets are multiples of 8). Set before the first and cleared after the last store of a change.
enum class Intent : std::uint64_t { None = 0, Allocate = 1, Release = 2, Grow = 3, Compact = 4, Link = 5 };

constexpr std::uint64_t intentWord(Intent intent, std::uint64_t offset) {
  return (offset & ~std::uint64_t{7}) | static_cast<std::uint64_t>(intent);
}

}  // namespace sntr
