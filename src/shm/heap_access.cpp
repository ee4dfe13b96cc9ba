// SPDX-License-Identifier: MIT
// See heap_access.h.
#include "shm/heap_access.h"

#include <atomic>
#include <cstring>

#include "layout/version.h"
#include "layout/words.h"

namespace sntr {

namespace {

// A heap's user application area in this process, with its size read once and checked against the heap.
struct UserArea {
  std::byte *start;
  std::uint64_t size;
};

Rc findUserArea(const HeapRef &heap, UserArea &area) {
  if (Rc rc = checkHeap(heap); failed(rc)) return rc;
  const HeapHeader *header = headerOf(heap);
  const std::uint64_t total = readWord<std::uint64_t>(&header->totalSize);
  const std::uint64_t size = readWord<std::uint64_t>(&header->userAppAreaSize);
  // A domain's total counts from the mapped start, a pool's from its own header.
  const std::uint64_t before = heap.type == HeapType::Domain ? heap.headerOffset : 0;
  const std::uint64_t least = size + heapHeaderSize(0);
  const bool fits = size <= total && !addsOver(size, heapHeaderSize(0)) && liesWithin(before, least, 0, total);
  // The total was read again after checkHeap() compared it with the limit, so the area is compared with that too.
  const bool mapped = liesWithin(heap.headerOffset, least, 0, heap.limit);
  if (!fits || !mapped) return Rc::StoredUserAreaTooLarge;
  area = UserArea{heap.base + heap.headerOffset + sizeof(HeapHeader), size};
  return Rc::Ok;
}

}  // namespace

Rc latchHeap(const HeapRef &heap) {
  if (Rc rc = checkHeap(heap); failed(rc)) return rc;
  return enterHeap(heap);
}

Rc unlatchHeap(const HeapRef &heap) {
  const Rc whole = checkHeap(heap);
  // The latch identifies its holder: for any other thread this fails and changes nothing.
  return firstFailure(whole, leaveHeap(heap));
}

Rc checkHandleSelectors(const HeapRef &heap) {
  const HeapHeader *header = headerOf(heap);
  if (readWord<std::uint64_t>(&header->reservedSelector) != kVersionWord) return Rc::BadReservedSelector;
  return readWord<std::uint64_t>(&header->handleAllocSelector) == kVersionWord ? Rc::Ok : Rc::BadVersion;
}

Rc checkSelectors(const HeapRef &heap) {
  if (Rc rc = checkHandleSelectors(heap); failed(rc)) return rc;
  return readWord<std::uint64_t>(&headerOf(heap)->latchSelector) == kVersionWord ? Rc::Ok : Rc::BadLatchVersion;
}

void markForDeletion(const HeapRef &heap) {
  // Relaxed: only atomic against other marks of this word. A connecting thread reads it inside the latch and sees one
  // state or the other; no other data depends on it.
  std::atomic_ref<std::uint64_t>(headerOf(heap)->domainFlags)
      .fetch_or(kFlagMarkedForDeletion, std::memory_order_relaxed);
}

void endHeap(const HeapRef &heap) {
  markForDeletion(heap);
  publishWord<std::uint64_t>(&headerOf(heap)->eyecatcher, 0);
}

Rc copyUserDataIn(const HeapRef &heap, std::uint64_t size, const void *source) {
  UserArea area{};
  if (Rc rc = findUserArea(heap, area); failed(rc)) return rc;
  if (size != area.size) return Rc::BadUserAreaSize;
  std::memcpy(area.start, source, size);
  return Rc::Ok;
}

Rc copyUserDataOut(const HeapRef &heap, std::uint64_t &size, void *destination) {
  UserArea area{};
  if (Rc rc = findUserArea(heap, area); failed(rc)) return rc;
  std::memcpy(destination, area.start, area.size);
  size = area.size;
  return Rc::Ok;
}

}  // namespace sntr
