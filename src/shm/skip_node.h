// SPDX-License-Identifier: MIT
// The node of the heap's skip lists: a fixed part, then four arrays of links, with one link per level in each.
//
// Shared memory. A node of level l has l + 1 links in each array and occupies 0x50 + 0x20 * l bytes. Free blocks use
// all four arrays (offset order forward and back, size order forward and back). The record of an allocated chunk uses
// the first, and the second for hints. All links are offsets from the start of the mapped memory.
#pragma once

#include <cstddef>
#include <cstdint>

#include "layout/field_table.h"
#include "layout/offset.h"
#include "layout/words.h"

namespace sntr {

// Shared.
struct SkipNode {
  std::uint64_t blockOffset;
  std::uint64_t blockSize;
  std::uint64_t reserved[2];
  std::uint64_t nodeLevel;
  std::uint32_t state;
  std::uint32_t allocated;
};

inline constexpr FieldRow kSkipNodeFields[] = {
    SNTR_FIELD(SkipNode, 0x00, 8, blockOffset, "offset of the block: key of the offset order"),
    SNTR_FIELD(SkipNode, 0x08, 8, blockSize, "bytes of the block: key of the size order"),
    SNTR_FIELD(SkipNode, 0x10, 16, reserved, "0"),
    SNTR_FIELD(SkipNode, 0x20, 8, nodeLevel, "the node's top level, 0-based"),
    SNTR_FIELD(SkipNode, 0x28, 4, state, "0 live; else dead, or the record of an extent"),
    SNTR_FIELD(SkipNode, 0x2c, 4, allocated, "1 in the record of an allocated chunk"),
};
static_assert(tiles(kSkipNodeFields, 0x30) && sizeof(SkipNode) == 0x30);

// Values of SkipNode::state.
constexpr std::uint32_t kNodeLive = 0;
constexpr std::uint32_t kNodeDead = 0xdead;
constexpr std::uint32_t kNodeRecordsExtent = 0xe;  // live; its chunk holds nodes, and no caller may release it

constexpr std::uint64_t skipNodeSize(std::uint64_t level) { return 0x50 + 0x20 * level; }
static_assert(skipNodeSize(0) == sizeof(SkipNode) + 4 * kWordSize);

enum class Links : std::uint32_t { OffsetForward, OffsetBackward, SizeForward, SizeBackward };

// A checked node with its level, which was read once. `at` is null for "no node" (NodeRef{}).
struct NodeRef {
  std::byte *at;
  std::uint64_t offset;
  std::uint32_t level;

  SkipNode *fields() const { return reinterpret_cast<SkipNode *>(at); }
  bool exists() const { return at != nullptr; }
  bool operator==(const NodeRef &other) const { return offset == other.offset; }

  void *link(Links array, std::uint32_t i) const {
    return at + sizeof(SkipNode) + kWordSize * (static_cast<std::uint64_t>(array) * (level + 1) + i);
  }
  std::uint64_t readLink(Links array, std::uint32_t i) const { return readWord<std::uint64_t>(link(array, i)); }
  void writeLink(Links array, std::uint32_t i, std::uint64_t to) const { writeWord<std::uint64_t>(link(array, i), to); }

  std::uint64_t blockOffset() const { return readWord<std::uint64_t>(&fields()->blockOffset); }
  std::uint64_t blockSize() const { return readWord<std::uint64_t>(&fields()->blockSize); }
  std::uint32_t state() const { return readWord<std::uint32_t>(&fields()->state); }
  std::uint64_t size() const { return skipNodeSize(level); }
};

}  // namespace sntr
