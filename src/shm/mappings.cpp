// SPDX-License-Identifier: MIT
// See mappings.h.
#include "shm/mappings.h"

#include <algorithm>
#include <span>

namespace sntr {

Mapping mappingSlots[(std::size_t{1} << kMappingBits) + kMappingWindow];

namespace {

std::span<Mapping> windowOf(std::uint64_t address) { return {mappingWindow(address), kMappingWindow}; }

constexpr std::uint64_t wordOf(std::uint64_t address, std::uint64_t uses) { return address << kUseBits | uses; }

// Changes the uses of a slot with this address by `change(uses)`. Returns false if the slot has another address, or the
// number stays. Acquire and release: the size is written before the first use and erased after the last.
template <class Change>
bool changeUses(Mapping &slot, std::uint64_t address, Change &&change) {
  std::uint64_t seen = slot.word.load(std::memory_order_acquire);
  while (Mapping::isOf(seen, address)) {
    const std::uint64_t uses = change(Mapping::usesIn(seen));
    if (uses == Mapping::usesIn(seen)) return false;
    if (!slot.word.compare_exchange_weak(seen, wordOf(address, uses), std::memory_order_acq_rel)) continue;
    if (uses == 0) {
      slot.size.store(0, std::memory_order_relaxed);
      slot.word.store(kFree, std::memory_order_release);  // pairs with the exchange that fills the slot next
    }
    return true;
  }
  return false;
}

bool addUse(Mapping &slot, std::uint64_t address) {
  return changeUses(slot, address, [](std::uint64_t uses) { return std::min(uses + 1, kMostUses); });
}

// Gives a slot without uses to an address. If the thread ends in the middle, the slot is lost.
bool fill(Mapping &slot, std::uint64_t address, std::uint64_t size) {
  std::uint64_t unused = slot.word.load(std::memory_order_relaxed);
  if (unused != kNeverUsed && unused != kFree) return false;
  if (!slot.word.compare_exchange_strong(unused, wordOf(address, 0), std::memory_order_acq_rel)) return false;
  slot.size.store(size, std::memory_order_release);
  slot.word.store(wordOf(address, 1), std::memory_order_release);
  return true;
}

}  // namespace

// Two threads that add one address at once may fill a slot each. Both have the size; uses are taken from either.
bool rememberMapping(const void *base, std::uint64_t size) {
  const auto address = reinterpret_cast<std::uintptr_t>(base);
  if (address == 0 || address >> (64 - kUseBits) != 0) return false;
  const std::span<Mapping> window = windowOf(address);
  const auto known = std::ranges::find_if(window, [&](Mapping &slot) { return addUse(slot, address); });
  if (known != window.end()) {
    known->size.store(size, std::memory_order_release);
    return true;
  }
  return std::ranges::any_of(window, [&](Mapping &slot) { return fill(slot, address, size); });
}

// Retries: a thread that ends a use further on may have added its own in a slot that this thread passed while it was
// free. Bounded, since there may be no use at all.
void forgetMapping(const void *base) {
  constexpr int kMostPasses = 100;
  const auto address = reinterpret_cast<std::uintptr_t>(base);
  const auto takeUse = [&](Mapping &slot) {
    return changeUses(slot, address, [](std::uint64_t uses) { return uses - 1; });
  };
  for (int pass = 0; pass < kMostPasses; ++pass) {
    if (std::ranges::any_of(windowOf(address), takeUse)) return;
  }
}

void forgetMappings(const void *base) {
  const auto address = reinterpret_cast<std::uintptr_t>(base);
  for (Mapping &slot : windowOf(address)) {
    static_cast<void>(changeUses(slot, address, [](std::uint64_t) { return std::uint64_t{0}; }));
  }
}

std::uint64_t searchMapping(std::uint64_t address) {
  for (const Mapping &slot : windowOf(address)) {
    if (const std::uint64_t size = slot.sizeAt(address); size != 0) return size;
    if (slot.word.load(std::memory_order_relaxed) == kNeverUsed) return 0;
  }
  return 0;
}

}  // namespace sntr
