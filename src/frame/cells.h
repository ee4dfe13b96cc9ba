// The atomic cells of the library's records, as its operations use them.
//
// A locked instruction costs as much as twenty plain ones, and most uses do not need one. Each function here takes the
// plain instruction where that means the same, which is so in aligned cells only, and the call of the services layer
// elsewhere. Any thread, unless a function says otherwise.
#pragma once

#include <oss/fast_paths.h>

#include <cstdint>

#include "layout/rc.h"

namespace sntr {

// Reads a cell. AtomicFailed, and the output is what it was. A load, not an addition of 0: who else reads or changes the
// cell, with the latch or by an address that it kept, is not held up and meets the same numbers.
inline Rc readCell(OSSVAtomicSigned32 *cell, std::int32_t &out) {
  if (ossAtomicTryRead(cell, &out)) [[likely]]
    return Rc::Ok;
  int value = 0;
  if (cell->add(0, &value) != 0) return Rc::AtomicFailed;
  out = value;
  return Rc::Ok;
}

// Writes a cell; the number before is lost. AtomicFailed, and the cell is what it was. Readers without the latch that
// find the new number find what was stored before it, too.
inline Rc writeCell(OSSVAtomicSigned32 *cell, std::int32_t value) {
  if (ossAtomicTryWrite(cell, value)) [[likely]]
    return Rc::Ok;
  return cell->swap(value, nullptr) == 0 ? Rc::Ok : Rc::AtomicFailed;
}

// Adds 1. The caller holds the latch without which nobody changes the cell; others read it at any time. AtomicFailed.
inline Rc countCellUnderLatch(OSSVAtomicSigned32 *cell) {
  if (ossAtomicTryCount(cell)) [[likely]]
    return Rc::Ok;
  return cell->increment(nullptr) == 0 ? Rc::Ok : Rc::AtomicFailed;
}

}  // namespace sntr
