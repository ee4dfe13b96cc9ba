// SPDX-License-Identifier: MIT
// The mappings of this process: how many bytes are accessible from the address at which a domain begins.
//
// A header's total size is a word that any process can damage; the mapped size is not. A pool handle has only the base
// address, so its bound is found by that. The table is private; a forked child inherits it with the mappings.
//
// Thread safety: any thread, without a latch. No call waits for another, so neither a signal handler nor a thread that
// ended in the middle can make one hang.
//
// Invariants:
// 1. A domain handle counts as one use of its address, from storing it to disconnecting or freeing it. One that is only
//    destroyed leaves its use, unless the domain was freed: the memory stays mapped, and pool handles go on using it.
// 2. An address is in one of the kMappingWindow slots from its first slot on. A slot that was used once differs from
//    one that never was, so a search may end at the latter.
// 3. Address and uses are one word: no use is ever taken from another address. The size is written before the first use
//    and erased after the last.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace sntr {

// The word of a slot: an address of at most 48 bits above its uses; with 0 uses, a thread fills or empties the slot.
constexpr int kUseBits = 16;
constexpr std::uint64_t kMostUses = (std::uint64_t{1} << kUseBits) - 1;
constexpr std::uint64_t kNeverUsed = 0;
constexpr std::uint64_t kFree = 1;  // address 0, which nothing has

struct Mapping {
  std::atomic<std::uint64_t> word;
  std::atomic<std::uint64_t> size;

  static constexpr std::uint64_t usesIn(std::uint64_t word) { return word & kMostUses; }
  static constexpr bool isOf(std::uint64_t word, std::uint64_t address) {
    return word >> kUseBits == address && usesIn(word) != 0;
  }

  // Returns the size if the slot has this address, else 0. Reads the word again because the slot may change hands.
  std::uint64_t sizeAt(std::uint64_t address) const {
    // Acquire, twice: pairs with the stores of rememberMapping(), which writes the size before the first use.
    if (!isOf(word.load(std::memory_order_acquire), address)) return 0;
    const std::uint64_t found = size.load(std::memory_order_acquire);
    return isOf(word.load(std::memory_order_relaxed), address) ? found : 0;
  }
};

// Room for some thousands of addresses. Pages that no address falls on are never allocated.
constexpr std::uint32_t kMappingBits = 14;
constexpr std::size_t kMappingWindow = 64;
extern Mapping mappingSlots[(std::size_t{1} << kMappingBits) + kMappingWindow];

// Returns the first slot of an address: the high bits of a product, which depend on all bits of the address.
inline Mapping *mappingWindow(std::uint64_t address) {
  return &mappingSlots[address * 0x9e3779b97f4a7c15 >> (64 - kMappingBits)];
}

// Counts one more use of an address and sets its size. Returns false if there are too many addresses, or uses of it.
bool rememberMapping(const void *base, std::uint64_t size);

// Counts one use less; the last one forgets the address.
void forgetMapping(const void *base);

// Forgets an address with all its uses, before it is unmapped.
void forgetMappings(const void *base);

// Return the bytes mapped from an address on, 0 if unknown.
std::uint64_t searchMapping(std::uint64_t address);
inline std::uint64_t mappedBytes(const void *base) {
  const auto address = reinterpret_cast<std::uintptr_t>(base);
  const std::uint64_t size = mappingWindow(address)->sizeAt(address);
  return size != 0 ? size : searchMapping(address);
}

}  // namespace sntr
