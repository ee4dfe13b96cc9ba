// The atomic cells of the library's records, as its operations use them.
//
// A locked instruction costs as much as twenty plain ones, and most uses do not need one. A read is a load; it never
// fails and stores nothing. A write whose old value nobody wants is a store, and so is a count that only the holder of
// the latch changes. In a cell at no multiple of 4 each is a plain access: a locked instruction that crosses a line of
// the cache can hold up the whole machine for milliseconds. Such a cell is whole for the holder of the latch alone.
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

// An aligned cell as a number. clang must be told: it goes by the type of `storage`, which may stand anywhere.
inline AlignedCell *alignedCell(const OSSVAtomicSigned32 *cell) {
  void *const storage = const_cast<unsigned char *>(cell->storage);
  return static_cast<AlignedCell *>(__builtin_assume_aligned(storage, sizeof(std::int32_t)));
}

// Its two accesses. Acquire: what was written before the number was stored is seen by who reads it. Release: the other
// half of that.
inline std::int32_t loadAligned(const OSSVAtomicSigned32 *cell) {
  return __atomic_load_n(alignedCell(cell), __ATOMIC_ACQUIRE);
}
inline void storeAligned(OSSVAtomicSigned32 *cell, std::int32_t value) {
  __atomic_store_n(alignedCell(cell), value, __ATOMIC_RELEASE);
}

// Reads a cell at any address.
inline std::int32_t readCell(const OSSVAtomicSigned32 *cell) {
  if (isAligned(cell)) [[likely]]
    return loadAligned(cell);
  const auto value = readWord<std::int32_t>(cell);
  std::atomic_thread_fence(std::memory_order_acquire);
  return value;
}

// Stores a number at any address, for callers who know that cells may be changed in line.
inline void storeCell(OSSVAtomicSigned32 *cell, std::int32_t value) {
  if (isAligned(cell)) [[likely]]
    return storeAligned(cell, value);
  orderStores();
  writeWord<std::int32_t>(cell, value);
}

constexpr std::int32_t successorOf(std::int32_t count) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(count) + 1);
}

// Writes a cell; the number before is lost. AtomicFailed, and the cell is what it was.
inline Rc writeCell(OSSVAtomicSigned32 *cell, std::int32_t value) {
  if (ossCellsAreOpen == 0) [[unlikely]]
    return cell->swap(value, nullptr) == 0 ? Rc::Ok : Rc::AtomicFailed;
  storeCell(cell, value);
  return Rc::Ok;
}

// Adds 1; beyond the largest number the smallest follows. The caller holds the latch without which nobody changes the
// cell; others read it at any time. AtomicFailed.
inline Rc countCellUnderLatch(OSSVAtomicSigned32 *cell) {
  if (ossCellsAreOpen == 0) [[unlikely]]
    return cell->increment(nullptr) == 0 ? Rc::Ok : Rc::AtomicFailed;
  storeCell(cell, successorOf(readCell(cell)));
  return Rc::Ok;
}

}  // namespace sntr
