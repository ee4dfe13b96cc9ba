// What this process has mapped: how many bytes may be touched behind the address at which a domain begins.
//
// A header's total size is a word that any process can damage; what is mapped here is not. A pool handle has only the
// base address, so its bound is found by that. Private to the process; inherited by a forked child with the mappings
// themselves.
//
// Thread safety: any thread, without a latch. No call waits for another, so neither a signal handler nor a thread that
// ended in the middle can make one hang.
//
// Invariants:
// 1. A domain handle counts as one use of its address, from when it is stored until it is disconnected or freed. One
//    that is only destroyed leaves its use behind, unless the domain was freed: the memory stays mapped, and pool
//    handles go on using it.
// 2. An address stands in the kMappingWindow slots from its own one on. A slot that was used once differs from one that
//    never was, so a search may end at the latter.
// 3. Address and uses are one word: no use is ever taken from another address. The size is written before the first use
//    and erased after the last.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace sntr {

// The word of a slot: an address of at most 48 bits above its uses. No uses: one thread is filling or emptying the slot.
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

  // The size if the slot has this address, else 0. The word is read again because the slot may change hands.
  std::uint64_t sizeAt(std::uint64_t address) const {
    // Acquire, twice: pairs with the stores of rememberMapping(), which writes the size before the first use.
    if (!isOf(word.load(std::memory_order_acquire), address)) return 0;
    const std::uint64_t found = size.load(std::memory_order_acquire);
    return isOf(word.load(std::memory_order_relaxed), address) ? found : 0;
  }
};

// Room for some thousands of addresses. Pages that no address falls on are never made.
constexpr std::uint32_t kMappingBits = 14;
constexpr std::size_t kMappingWindow = 64;
extern Mapping mappingSlots[(std::size_t{1} << kMappingBits) + kMappingWindow];

// The first slot of an address: the high bits of a product, in which all bits of the address have a part.
inline Mapping *mappingWindow(std::uint64_t address) {
  return &mappingSlots[address * 0x9e3779b97f4a7c15 >> (64 - kMappingBits)];
}

// Counts one more use of an address, whose size is this from now on. False if too many addresses are in use, or the
// address has too many uses.
bool rememberMapping(const void *base, std::uint64_t size);

// Counts one use less; with the last one nothing is known of the address any more.
void forgetMapping(const void *base);

// Forgets an address whatever its uses: what is mapped there is about to go.
void forgetMappings(const void *base);

// The bytes mapped behind an address, 0 if none are known.
std::uint64_t searchMapping(std::uint64_t address);
inline std::uint64_t mappedBytes(const void *base) {
  const auto address = reinterpret_cast<std::uintptr_t>(base);
  const std::uint64_t size = mappingWindow(address)->sizeAt(address);
  return size != 0 ? size : searchMapping(address);
}

}  // namespace sntr
