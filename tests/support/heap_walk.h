// SPDX-License-Identifier: MIT
// Walks a heap's memory by literal offsets and reports its first fault. It uses the published bytes, not the library's
// own records, so that it detects a moved field or a wrong link.
// Thread safety: the caller holds the heap's latch, or no other thread uses the heap.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace sntr::test {

struct HeapPicture {
  std::string problem;                               // empty if the heap is sound
  std::map<std::uint64_t, std::uint64_t> free;       // offset -> bytes
  std::map<std::uint64_t, std::uint64_t> allocated;  // the same map, extents included
  std::map<std::uint64_t, std::uint64_t> extents;    // the allocated chunks that hold nodes
  std::vector<std::uint64_t> bySize;                 // offsets of free blocks in size order
  std::uint64_t managedStart = 0;
  std::uint64_t managedEnd = 0;
};

// Checks every link and sum. `isDomain` determines the end of the managed space.
HeapPicture lookAtHeap(const void *base, std::uint64_t headerOffset, bool isDomain);

// Returns the level-0 chain of the allocated list alone, which survives the death of a process at any point.
std::map<std::uint64_t, std::uint64_t> allocatedChain(const void *base, std::uint64_t headerOffset);

}  // namespace sntr::test
