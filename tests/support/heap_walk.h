// Walks a heap's memory by literal offsets and tells the first thing that is wrong with it.
//
// Written against the published bytes, not the library's own records, so that a moved field or a wrong link shows here.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace sntr::test {

struct HeapPicture {
  std::string problem;                               // empty when the heap is whole
  std::map<std::uint64_t, std::uint64_t> free;       // offset -> bytes
  std::map<std::uint64_t, std::uint64_t> allocated;  // the same, extents included
  std::map<std::uint64_t, std::uint64_t> extents;    // the allocated chunks that hold nodes
  std::vector<std::uint64_t> bySize;                 // offsets of free blocks in size order
  std::uint64_t largestFree = 0;
  std::uint64_t managedStart = 0;
  std::uint64_t managedEnd = 0;
};

// `isDomain` tells where the managed space ends. Every link and sum is checked.
HeapPicture lookAtHeap(const void *base, std::uint64_t headerOffset, bool isDomain);

// The level-0 chain of the allocated list alone: what could be told after a process died anywhere.
std::map<std::uint64_t, std::uint64_t> allocatedChain(const void *base, std::uint64_t headerOffset);

}  // namespace sntr::test
