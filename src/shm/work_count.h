// SPDX-License-Identifier: MIT
// Counts of links followed and nodes moved, so that a test can show that a call's work does not grow with the heap. In
// the product the functions are empty.
#pragma once

#include <cstdint>

namespace sntr {

#ifdef SNTR_COUNT_WORK
inline thread_local std::uint64_t linksFollowed = 0;
inline thread_local std::uint64_t nodesMoved = 0;
inline void countLink() { ++linksFollowed; }
inline void countMove() { ++nodesMoved; }
#else
inline void countLink() {}
inline void countMove() {}
#endif

}  // namespace sntr
