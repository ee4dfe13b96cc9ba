// SPDX-License-Identifier: MIT
// Building a heap in memory that no other process uses yet. Its eyecatcher, written last, publishes it.
#include <algorithm>
#include <cstring>

#include "layout/version.h"
#include "shm/free_list.h"
#include "shm/heap.h"
#include "shm/heap_view.h"
#include "shm/node_moves.h"

namespace sntr {

namespace {

constexpr std::uint32_t kInitialDebugMode = 0xb;
constexpr std::uint32_t kInitialPadType = 0xeebc011a;
constexpr std::uint32_t kInitialPadWords = 2;

// Nodes to make room for, space permitting, if the planned slots hold not even one node.
constexpr std::uint64_t kLeastNodes = 4;

// Returns the offset from the base at which totalSize begins to count.
std::uint64_t startOfTotal(HeapType type, const HeapPlan &plan) {
  return type == HeapType::Domain ? 0 : plan.headerOffset;
}

// Returns the bytes before the skip-list area, from where totalSize begins to count.
std::uint64_t bytesBeforeArea(HeapType type, const HeapPlan &plan) {
  return plan.headerSize + (type == HeapType::Domain ? plan.headerOffset : 0);
}

// Tests that header, area and one least block fit; every size comes from the caller and may be anything.
bool fits(HeapType type, const HeapPlan &plan, std::uint64_t areaSize) {
  const std::uint64_t before = bytesBeforeArea(type, plan);
  if (before < plan.headerSize || addsOver(before, areaSize) || addsOver(before + areaSize, kWordSize)) return false;
  return before + areaSize + kWordSize <= plan.totalSize;
}

// Computes the area's size: as planned, or the first node's needs if the planned slots leave no room for it.
Rc areaSizeFor(HeapType type, const HeapPlan &plan, std::uint64_t &areaSize) {
  areaSize = plan.slAreaSize;
  const std::uint64_t header = skipListHeaderSize(plan.maxLevel);
  const std::uint64_t least = roundUp8(header + skipNodeSize(0) + nodeReserve(plan.maxLevel));
  if (areaSize >= least) return Rc::Ok;
  areaSize = least + (kLeastNodes - 1) * skipNodeSize(plan.maxLevel - 1);
  if (!fits(type, plan, areaSize)) areaSize = least;
  return fits(type, plan, areaSize) ? Rc::Ok : traitsOf(type).misfit;
}

// Checks everything before the first write. The size of the skip-list header follows from the level, the header's from
// the user area: what is stored is what every later user computes.
Rc checkPlan(const std::byte *base, HeapType type, const HeapPlan &plan) {
  const HeapTraits &traits = traitsOf(type);
  if (base == nullptr) return Rc::NullBase;
  if (!liesWithin(startOfTotal(type, plan), plan.totalSize, 0, addressesBehind(base))) return traits.misfit;
  if (plan.maxLevel < 1 || plan.maxLevel > kMaxSkipLevels) return traits.misfit;
  if (plan.userAreaSize > plan.totalSize || !isMultipleOf8(plan.headerOffset)) return traits.misfit;
  if (plan.headerSize != heapHeaderSize(plan.userAreaSize)) return traits.misfit;
  if (plan.slHeaderSize >= plan.slAreaSize) return Rc::SkipListAreaTooSmall;
  const bool consistent = plan.slHeaderSize == skipListHeaderSize(plan.maxLevel) && isMultipleOf8(plan.slAreaSize);
  return consistent && fits(type, plan, plan.slAreaSize) ? Rc::Ok : traits.misfit;
}

void writeHeader(HeapHeader *header, const HeapPlan &plan) {
  header->reservedSelector = plan.reservedSelector;
  header->handleAllocSelector = plan.handleAllocSelector;
  header->latchSelector = plan.latchSelector;
  header->eyecatcher = 0;
  header->domainFlags = plan.initialFlags;
  header->heapHeaderOffset = plan.headerOffset;
  header->connectCount = 1;
  header->totalSize = plan.totalSize;
  header->heapStat1 = 0;
  header->heapStat2 = 0;
  header->slotCount = plan.slotCount;
  header->granule = plan.granule;
  header->topNodeWord = plan.typeWord;
  header->userAppAreaSize = plan.userAreaSize;
  std::byte *const userArea = reinterpret_cast<std::byte *>(header) + sizeof(HeapHeader);
  std::memset(userArea, 0, roundUp8(plan.userAreaSize));
  if (plan.userData != nullptr) std::memcpy(userArea, plan.userData, plan.userAreaSize);
}

Rc writeTail(HeapTail *tail, std::uint64_t latchSelector) {
  std::memset(tail->topNode, 0, offsetof(HeapTail, reserved));
  if (Rc rc = initializeExclusiveLatch(&tail->skipListLatch, latchSelector); failed(rc)) return rc;
  if (Rc rc = enterExclusive(&tail->skipListLatch); failed(rc)) return rc;
  tail->debug = DebugSettings{kInitialDebugMode, kInitialPadType, 0, {}, kInitialPadWords, kInitialPadWords};
  return exitExclusive(&tail->skipListLatch);
}

void writeSentinel(std::byte *at, std::uint64_t level) {
  std::memset(at, 0, skipNodeSize(level));
  writeWord<std::uint64_t>(&reinterpret_cast<SkipNode *>(at)->nodeLevel, level);
}

// Writes an empty free list between its sentinels, and an empty allocated list.
void writeArea(std::byte *at, std::uint64_t offset, std::uint64_t levels, std::uint64_t areaSize) {
  std::memset(at, 0, skipListHeaderSize(levels));
  SkipArea *const area = reinterpret_cast<SkipArea *>(at);
  area->maxLevel = levels;
  area->slAreaSize = areaSize;
  area->slBytesUsed = skipListHeaderSize(levels);
  area->slNextFree = skipListHeaderSize(levels);
  area->allocatedHeadLevel = levels - 1;
  const std::uint32_t top = static_cast<std::uint32_t>(levels - 1);
  const NodeRef head{at + headSentinelAt(levels), offset + headSentinelAt(levels), top};
  const NodeRef last{at + tailSentinelAt(levels), offset + tailSentinelAt(levels), top};
  writeSentinel(head.at, top);
  writeSentinel(last.at, top);
  for (std::uint32_t i = 0; i <= top; ++i) {
    head.writeLink(Links::OffsetForward, i, last.offset);
    head.writeLink(Links::SizeForward, i, last.offset);
    last.writeLink(Links::OffsetBackward, i, head.offset);
    last.writeLink(Links::SizeBackward, i, head.offset);
  }
}

Rc insertFirstBlock(std::byte *base, HeapType type, const HeapPlan &plan) {
  HeapView view;
  const HeapRef heap{base, plan.headerOffset, type, startOfTotal(type, plan) + plan.totalSize};
  if (Rc rc = openHeap(heap, view); failed(rc)) return rc;
  Insertion place;
  NodeRef slot;
  const std::uint64_t size = view.end - view.blocksLow;
  if (Rc rc = planInsertion(view, view.blocksLow, size, view.levels - 1, place); failed(rc)) return rc;
  if (Rc rc = takeAnySlot(view, chooseLevel(0, view.levels), slot); failed(rc)) return rc;
  if (!slot.exists()) return view.traits().misfit;
  bringToLife(view, slot, view.blocksLow, size, false);
  apply(view, place, slot);
  addTo(view.header->heapStat1, size);
  return Rc::Ok;
}

// Builds everything after the heap latch, which is held.
Rc buildLatched(std::byte *base, HeapType type, const HeapPlan &plan, std::uint64_t areaSize) {
  HeapHeader *const header = reinterpret_cast<HeapHeader *>(base + plan.headerOffset);
  std::byte *const area = base + plan.headerOffset + plan.headerSize;
  writeHeader(header, plan);
  if (Rc rc = writeTail(reinterpret_cast<HeapTail *>(area - sizeof(HeapTail)), plan.latchSelector); failed(rc))
    return rc;
  writeArea(area, plan.headerOffset + plan.headerSize, plan.maxLevel, areaSize);
  if (Rc rc = insertFirstBlock(base, type, plan); failed(rc)) return rc;
  publishWord<std::uint64_t>(&header->eyecatcher, traitsOf(type).eyecatcher);
  return Rc::Ok;
}

}  // namespace

Rc createHeap(std::byte *base, HeapType type, const HeapPlan &plan) {
  std::uint64_t areaSize = 0;
  if (Rc rc = checkPlan(base, type, plan); failed(rc)) return rc;
  if (Rc rc = areaSizeFor(type, plan, areaSize); failed(rc)) return rc;
  HeapHeader *const header = reinterpret_cast<HeapHeader *>(base + plan.headerOffset);
  if (Rc rc = initializeExclusiveLatch(&header->heapLatch, plan.latchSelector); failed(rc)) return rc;
  if (Rc rc = enterExclusive(&header->heapLatch); failed(rc)) return rc;
  const Rc built = buildLatched(base, type, plan, areaSize);
  const Rc left = exitExclusive(&header->heapLatch);
  if (failed(built) || failed(left)) writeWord<std::uint64_t>(&header->eyecatcher, 0);
  return firstFailure(built, left);
}

}  // namespace sntr
