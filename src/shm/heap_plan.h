// SPDX-License-Identifier: MIT
// Plan of a heap from a parameter record: the fields common to domains and pools.
#pragma once

#include "shm/heap.h"
#include "shm/sizing.h"

namespace sntr {

// Fills a plan; the slot count is estimated from `size`. The caller adds the header's offset, the total size, and a
// pool's type word. Returns sizeHeap()'s codes.
template <class Params>
Rc planHeap(HeapType type, const Params &params, std::uint64_t size, HeapPlan &plan) {
  HeapSizes sizes{params.slotCount, params.maxLevel, 0, 0, 0};
  if (Rc rc = sizeHeap(type, size, params.userAppAreaSize, sizes); failed(rc)) return rc;
  plan = HeapPlan{};
  plan.slotCount = sizes.slotCount;
  plan.maxLevel = sizes.maxLevel;
  plan.headerSize = sizes.headerSize;
  plan.slHeaderSize = sizes.slHeaderSize;
  plan.slAreaSize = sizes.slAreaSize;
  plan.granule = params.granule;
  plan.userAreaSize = params.userAppAreaSize;
  plan.userData = params.userAppData;
  plan.latchSelector = params.latchSelector;
  plan.reservedSelector = params.reservedSelector;
  plan.handleAllocSelector = params.handleAllocSelector;
  plan.initialFlags = params.initialFlags;
  return Rc::Ok;
}

}  // namespace sntr
