// SPDX-License-Identifier: MIT
// Sizes of a heap's header and bookkeeping.
// Thread safety: any thread; pure arithmetic on the arguments.
#pragma once

#include <cstdint>

#include "shm/heap_header.h"

namespace sntr {

// The request for a heap, and the sizes that follow from it, in bytes.
struct HeapSizes {
  std::uint64_t slotCount;  // in: 0 to have it estimated; out: at most the type's ceiling
  std::uint64_t maxLevel;   // in and out: at most kMaxSkipLevels
  std::uint64_t headerSize;
  std::uint64_t slHeaderSize;
  std::uint64_t slAreaSize;
};

// Returns the largest number of slots for a heap of a type.
constexpr std::uint64_t maxSlotCount(HeapType type) { return type == HeapType::Domain ? 10000 : 250000; }

// Returns the slots for a heap that manages `size` bytes, before the ceiling.
std::uint64_t estimatedSlotCount(HeapType type, std::uint64_t size);

// Fills the sizes. Returns the type's misfit code if the user application area is so large that its header has no size
// below 2^64. createHeap() tests whether the parts fit the memory.
Rc sizeHeap(HeapType type, std::uint64_t size, std::uint64_t userAreaSize, HeapSizes &sizes);

}  // namespace sntr
