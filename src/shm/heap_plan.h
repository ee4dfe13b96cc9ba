// From a parameter record to the plan of a heap: the fields that domains and pools have in common.
#pragma once

#include "shm/heap.h"
#include "shm/sizing.h"

namespace sntr {

// `size` is what the slot count is estimated from. The caller adds where the heap stands, its total size, and a pool's
// type word. sizeHeap()'s codes.
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
