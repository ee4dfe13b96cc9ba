// How large the header and the bookkeeping of a heap are to be.
//
// Pure arithmetic: any thread, nothing is read or written but the arguments.
#pragma once

#include <cstdint>

#include "shm/heap_header.h"

namespace sntr {

// What a heap is asked to be, and what follows from it. Sizes in bytes.
struct HeapSizes {
  std::uint64_t slotCount;  // in: 0 to have it estimated; out: at most the type's ceiling
  std::uint64_t maxLevel;   // in and out: at most kMaxSkipLevels
  std::uint64_t headerSize;
  std::uint64_t slHeaderSize;
  std::uint64_t slAreaSize;
};

// The largest number of slots that a heap of a type is given.
constexpr std::uint64_t maxSlotCount(HeapType type) { return type == HeapType::Domain ? 10000 : 250000; }

// Slots for a heap that manages `size` bytes, before the ceiling.
std::uint64_t estimatedSlotCount(HeapType type, std::uint64_t size);

// Fills the sizes. The type's misfit code for a user application area so large that its header has no size below 2^64;
// whether the parts fit the memory is createHeap()'s to test.
Rc sizeHeap(HeapType type, std::uint64_t size, std::uint64_t userAreaSize, HeapSizes &sizes);

}  // namespace sntr
