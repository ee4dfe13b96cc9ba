// SPDX-License-Identifier: MIT
// The order of segment keys, by which the lists of attached segments ascend.
//
// A key may begin at any address and, in a shared list, be damaged at any moment: each of its two words is read once.
//
// Thread safety: any thread; there is no state.
#pragma once

#include <oss/segment.h>

#include <cstdint>

#include "layout/rc.h"
#include "layout/version.h"
#include "layout/words.h"

namespace sntr {

// The only comparison mode. Shared lists have no room to store one and always use it.
constexpr std::uint32_t kSegmentCompareMode = kVersionWord;

inline OSSIPCResID readKey(const OSSIPCResID *at) {
  return OSSIPCResID{readWord<std::uint64_t>(&at->high), readWord<std::uint32_t>(&at->low)};
}

// Compares two keys; `order` becomes -1, 0 or 1. Returns 0, or SegmentCompareFailed for another mode or a null key.
inline Rc compareSegmentKeys(std::uint32_t mode, const OSSIPCResID *a, const OSSIPCResID *b, int &order) {
  if (mode != kSegmentCompareMode || a == nullptr || b == nullptr) return Rc::SegmentCompareFailed;
  const OSSIPCResID left = readKey(a);
  const OSSIPCResID right = readKey(b);
  const std::uint64_t leftHigh = left.high;
  const std::uint64_t rightHigh = right.high;
  const std::uint32_t leftLow = left.low;
  const std::uint32_t rightLow = right.low;
  order = leftHigh != rightHigh ? (leftHigh < rightHigh ? -1 : 1) : (leftLow > rightLow) - (leftLow < rightLow);
  return Rc::Ok;
}

}  // namespace sntr
