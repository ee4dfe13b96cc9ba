// SPDX-License-Identifier: MIT
// The areas of a node: from a kind to a checked copy of its entry in the area table.
// Thread safety: any thread; if areaUsed matters, the caller holds the node's section.
// Invariant: the entry lies in shared memory and may be damaged or change at any time. Each of its words is read once,
// checked against the node, and returned as a copy. Callers use the copy and never read the table again.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "layout/node_block.h"
#include "layout/offset.h"
#include "layout/rc.h"
#include "layout/words.h"

namespace sntr {

// An area as found: it lies wholly behind the control block and inside the node, and `used` is at most `size`.
struct Area {
  std::byte *start;      // in this process; any alignment
  std::uint64_t size;    // bytes
  std::uint64_t used;    // bytes
  std::uint64_t offset;  // of the start, from the node
  std::uint32_t index;   // of its entry in the area table
};

// Kinds have bits 1 to 12. Bit 0 is ignored, so kinds 0 and 1 name nothing.
constexpr std::uint32_t kHighestKindBit = 12;

// Finds the entry that a kind selects: its lowest bit from bit 1 up, less one. Returns Ok, or BadKind if none up to 12.
constexpr Rc areaIndexOf(std::uint32_t kind, std::uint32_t &index) {
  const auto bit = static_cast<std::uint32_t>(std::countr_zero(kind & ~std::uint32_t{1}));
  if (bit > kHighestKindBit) return Rc::BadKind;
  index = bit - 1;
  return Rc::Ok;
}

static_assert(kHighestKindBit <= SNTR_AREA_COUNT, "every kind has an entry");

// Returns true for a size in a node's range. It is not checked against the control block, which creation always adds.
constexpr bool isNodeSize(std::uint64_t size) { return size >= 1 && size <= SNTR_MAX_NODE_SIZE; }

// Returns the code that refuses an area. AreaNeverCreated: no offset. AreaOverused: more used than there is.
// AreaOutsideNode: larger than an area can be, before the end of the control block, beyond the node, or in a node of
// impossible size.
constexpr Rc areaFault(const Area &area) {
  if (area.offset == 0) return Rc::AreaNeverCreated;
  return area.used > area.size ? Rc::AreaOverused : Rc::AreaOutsideNode;
}

// Finds an area. Returns Ok, BadKind, or a code of areaFault(); after a failure `out` must not be used. In line,
// because every property operation begins with it, with a kind known at compile time. Only a failure computes its code.
inline Rc findArea(const SNodeCB_t *node, std::uint32_t kind, Area &out) {
  if (Rc rc = areaIndexOf(kind, out.index); failed(rc)) return rc;
  const AreaEntry &entry = node->areaTable[out.index];
  out.offset = loadField(entry.areaOffset);
  out.size = loadField(entry.areaSize);
  out.used = loadField(entry.areaUsed);
  // Both count from the end of the control block: an offset before it wraps, and becomes too large.
  const std::uint64_t room = loadField(node->nodeSize) - kControlBlockSize;
  const std::uint64_t before = out.offset - kControlBlockSize;
  if (before > room || out.size > room - before || out.used > out.size) [[unlikely]]
    return areaFault(out);
  // In a node no larger than an area may be, neither can be too large.
  if (room > SNTR_MAX_AREA_SIZE) [[unlikely]] {
    if (room > SNTR_MAX_NODE_SIZE - kControlBlockSize || out.size > SNTR_MAX_AREA_SIZE) return areaFault(out);
  }
  out.start = reinterpret_cast<std::byte *>(const_cast<SNodeCB_t *>(node)) + out.offset;
  return Rc::Ok;
}

// Stores the used bytes of an area, in the node and in the copy. The caller holds the write section, and `used` is at
// most the area's size.
inline void setAreaUsed(SNodeCB_t *node, Area &area, std::uint64_t used) {
  storeField(node->areaTable[area.index].areaUsed, used);
  area.used = used;
}

}  // namespace sntr
