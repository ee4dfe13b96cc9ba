// SPDX-License-Identifier: MIT
// Atomic cells of shared records, as the library's operations access them.
//
// A locked instruction costs as much as twenty plain ones, and most accesses do not need one. A read is a load: it
// cannot fail and stores nothing. A write that discards the old value is a store; so is a count under the latch.
//
// A cell at no multiple of 4 is accessed plainly: a locked instruction that crosses a cache line can stall the whole
// machine for milliseconds. Only the holder of the latch sees such a cell whole.
//
// Thread safety: any thread of any process.
#pragma once

#include <oss/fast_paths.h>

#include <cstddef>
#include <cstdint>

#include "layout/rc.h"
#include "layout/words.h"
#include "sntr/types.h"

namespace sntr {

using AlignedCell = std::int32_t __attribute__((may_alias));

inline bool isAligned(const OSSVAtomicSigned32 *cell) {
  return reinterpret_cast<std::uintptr_t>(cell) % sizeof(std::int32_t) == 0;
}

// Returns an aligned cell as a number. clang needs the assumption: `storage` has a type without alignment.
inline AlignedCell *alignedCell(const OSSVAtomicSigned32 *cell) {
  void *const storage = const_cast<unsigned char *>(cell->storage);
  return static_cast<AlignedCell *>(__builtin_assume_aligned(storage, sizeof(std::int32_t)));
}

// Access an aligned cell. The acquire sees what was written before the matching release.
inline std::int32_t loadAligned(const OSSVAtomicSigned32 *cell) {
  return __atomic_load_n(alignedCell(cell), __ATOMIC_ACQUIRE);
}
inline void storeAligned(OSSVAtomicSigned32 *cell, std::int32_t value) {
  __atomic_store_n(alignedCell(cell), value, __ATOMIC_RELEASE);
}

inline std::int32_t readCell(const OSSVAtomicSigned32 *cell) {
  if (isAligned(cell)) [[likely]]
    return loadAligned(cell);
  const auto value = readWord<std::int32_t>(cell);
  std::atomic_thread_fence(std::memory_order_acquire);
  return value;
}

// Stores a number at any address; requires open cells (`ossCellsAreOpen`).
inline void storeCell(OSSVAtomicSigned32 *cell, std::int32_t value) {
  if (isAligned(cell)) [[likely]]
    return storeAligned(cell, value);
  orderStores();
  writeWord<std::int32_t>(cell, value);
}

constexpr std::int32_t successorOf(std::int32_t count) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(count) + 1);
}

// Writes a cell and discards its old value. Returns 0, or AtomicFailed with the cell unchanged.
inline Rc writeCell(OSSVAtomicSigned32 *cell, std::int32_t value) {
  if (ossCellsAreOpen == 0) [[unlikely]]
    return cell->swap(value, nullptr) == 0 ? Rc::Ok : Rc::AtomicFailed;
  storeCell(cell, value);
  return Rc::Ok;
}

// Adds 1, wrapping from the largest number to the smallest. The caller holds the latch under which alone the cell
// changes; readers may look at any time. Returns 0, or AtomicFailed.
inline Rc countCellUnderLatch(OSSVAtomicSigned32 *cell) {
  if (ossCellsAreOpen == 0) [[unlikely]]
    return cell->increment(nullptr) == 0 ? Rc::Ok : Rc::AtomicFailed;
  storeCell(cell, successorOf(readCell(cell)));
  return Rc::Ok;
}

}  // namespace sntr
