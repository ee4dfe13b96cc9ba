// SPDX-License-Identifier: MIT
// A pool's heap in memory of the test's own, with verbs.
// Thread safety: one thread.
#pragma once

#include <gtest/gtest.h>
#include <sntr/heap.h>

#include "support/heap_walk.h"
#include "support/words.h"

namespace sntr::test {

class TestHeap {
 public:
  static constexpr std::uint64_t kHeader = 64;  // a pool's header is never at 0

  explicit TestHeap(std::uint64_t total, std::uint64_t slots = 50, std::uint64_t levels = 10)
      : memory_((kHeader + total + 15) / 8) {
    const std::uint64_t listHeader = 0x48 * levels + 0xd8, lists = (slots * 0xb7 + listHeader + 7) & ~std::uint64_t{7};
    created = sntrCreateInitStorageHeap(base(), SNTR_HEAP_POOL, total, kHeader, slots, levels, 0x1e8, listHeader, lists,
                                        8, 0, nullptr, SNTR_VERSION, SNTR_VERSION, SNTR_VERSION, 0, 0);
  }

  std::uint32_t take(std::uint64_t size, std::uint64_t &chunk) {
    std::uint64_t user = 0;
    return sntrGetMemChunkFromShmHeap(base(), SNTR_HEAP_POOL, kHeader, size, 0, "test", 0, &chunk, &user);
  }
  std::uint32_t giveBack(std::uint64_t chunk) {
    return sntrReturnMemChunkToShmHeap(base(), SNTR_HEAP_POOL, kHeader, chunk, 0, "test", 0);
  }

  // Takes chunks until refused.
  std::vector<std::uint64_t> fill(std::uint64_t size) {
    std::vector<std::uint64_t> chunks;
    for (std::uint64_t chunk = 0; take(size, chunk) == 0;) chunks.push_back(chunk);
    return chunks;
  }

  HeapPicture look() const { return lookAtHeap(memory_.data(), kHeader, false); }

  char *base() { return reinterpret_cast<char *>(memory_.data()); }
  std::size_t bytes() const { return memory_.size() * 8; }
  std::uint64_t read(std::uint64_t offset) { return support::wordAt(base(), offset); }
  std::uint32_t read32(std::uint64_t offset) { return support::wordAt<std::uint32_t>(base(), offset); }
  void write(std::uint64_t offset, std::uint64_t value) { support::setWordAt(base(), offset, value); }
  void write32(std::uint64_t offset, std::uint32_t value) { support::setWordAt(base(), offset, value); }

  std::uint32_t created = 0;

 private:
  std::vector<std::uint64_t> memory_;
};

}  // namespace sntr::test
