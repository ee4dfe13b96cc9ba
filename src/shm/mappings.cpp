// See mappings.h.
#include "shm/mappings.h"

#include <algorithm>
#include <span>

namespace sntr {

Mapping mappingSlots[(std::size_t{1} << kMappingBits) + kMappingWindow];

namespace {

// In place of a count of uses: one thread is filling or emptying the slot. If it ends there, the slot is lost.
constexpr std::uint64_t kChanging = ~std::uint64_t{0};

std::span<Mapping> windowOf(std::uint64_t address) { return {mappingWindow(address), kMappingWindow}; }

// Empties a slot that this thread has set to kChanging.
void empty(Mapping &slot) {
  slot.size.store(0, std::memory_order_relaxed);
  slot.uses.store(0, std::memory_order_release);  // to the thread that fills the slot next
}

// Takes uses away, at most as many as there are, and tells how many.
std::uint64_t takeUses(Mapping &slot, std::uint64_t most) {
  std::uint64_t uses = slot.uses.load(std::memory_order_relaxed);
  while (uses != 0 && uses != kChanging) {
    const std::uint64_t taken = std::min(uses, most), left = uses - taken;
    if (!slot.uses.compare_exchange_weak(uses, left != 0 ? left : kChanging, std::memory_order_acq_rel)) continue;
    if (left == 0) empty(slot);
    return taken;
  }
  return 0;
}

// Adds a use to a slot that has this address, which keeps it from changing hands. False if it has another, or no use.
bool pin(Mapping &slot, std::uint64_t address) {
  if (slot.sizeAt(address) == 0) return false;
  std::uint64_t uses = slot.uses.load(std::memory_order_relaxed);
  do {
    if (uses == 0 || uses == kChanging) return false;
  } while (!slot.uses.compare_exchange_weak(uses, uses + 1, std::memory_order_acq_rel));
  if (slot.address.load(std::memory_order_relaxed) == address) return true;
  takeUses(slot, 1);
  return false;
}

// Gives a free slot to an address. Release: to sizeAt(), which must not see the size with an earlier address.
bool fill(Mapping &slot, std::uint64_t address, std::uint64_t size) {
  std::uint64_t unused = 0;
  if (!slot.uses.compare_exchange_strong(unused, kChanging, std::memory_order_acq_rel)) return false;
  slot.address.store(address, std::memory_order_release);
  slot.size.store(size, std::memory_order_release);
  slot.uses.store(1, std::memory_order_release);
  return true;
}

}  // namespace

// Two threads that bring the same address at once may fill a slot each. Both have the size, and uses are taken away
// wherever there are some.
bool rememberMapping(const void *base, std::uint64_t size) {
  const auto address = reinterpret_cast<std::uintptr_t>(base);
  const std::span<Mapping> window = windowOf(address);
  const auto known = std::ranges::find_if(window, [&](Mapping &slot) { return pin(slot, address); });
  if (known != window.end()) {
    known->size.store(size, std::memory_order_release);
    return true;
  }
  return std::ranges::any_of(window, [&](Mapping &slot) { return fill(slot, address, size); });
}

void forgetMapping(const void *base) {
  const auto address = reinterpret_cast<std::uintptr_t>(base);
  for (Mapping &slot : windowOf(address)) {
    // The pin, and the use; unless another thread that ends a use has taken the last one here.
    if (pin(slot, address) && takeUses(slot, 2) == 2) return;
  }
}

void forgetMappings(const void *base) {
  const auto address = reinterpret_cast<std::uintptr_t>(base);
  for (Mapping &slot : windowOf(address)) {
    if (pin(slot, address)) takeUses(slot, kChanging);
  }
}

std::uint64_t searchMapping(std::uint64_t address) {
  for (const Mapping &slot : windowOf(address)) {
    if (const std::uint64_t size = slot.sizeAt(address); size != 0) return size;
    // Acquire: pairs with the store that freed the slot. One that is being filled has no address yet.
    const bool neverUsed = slot.uses.load(std::memory_order_acquire) == 0 && slot.address.load() == 0;
    if (neverUsed) return 0;
  }
  return 0;
}

}  // namespace sntr
