// SPDX-License-Identifier: MIT
// See heap_view.h.
#include "shm/heap_view.h"

namespace sntr {

namespace {

NodeRef sentinel(const HeapView &view, std::uint64_t offset) {
  return NodeRef{view.at(offset), offset, view.levels - 1};
}

// Locates the parts after the user application area from its size.
Rc openTail(const HeapRef &heap, HeapView &view) {
  const std::uint64_t userArea = readWord<std::uint64_t>(&view.header->userAppAreaSize);
  if (userArea > view.total) return Rc::StoredUserAreaTooLarge;
  const std::uint64_t headerSize = heapHeaderSize(userArea);
  if (!liesWithin(heap.headerOffset, headerSize + sizeof(SkipArea), 0, view.end)) return view.traits().notThis;
  view.tail = reinterpret_cast<HeapTail *>(view.at(heap.headerOffset + headerSize - sizeof(HeapTail)));
  view.areaStart = heap.headerOffset + headerSize;
  view.area = reinterpret_cast<SkipArea *>(view.at(view.areaStart));
  return Rc::Ok;
}

Rc openArea(HeapView &view) {
  const std::uint64_t levels = readWord<std::uint64_t>(&view.area->maxLevel);
  const std::uint64_t size = readWord<std::uint64_t>(&view.area->slAreaSize);
  if (levels < 1 || levels > kMaxSkipLevels) return Rc::ChunkOutsideHeap;
  const bool fits =
      isMultipleOf8(size) && size > skipListHeaderSize(levels) && liesWithin(view.areaStart, size, 0, view.end);
  if (!fits) return Rc::ChunkOutsideHeap;
  view.levels = static_cast<std::uint32_t>(levels);
  view.nodesLow = view.areaStart + skipListHeaderSize(levels);
  view.blocksLow = view.areaStart + size;
  const std::uint64_t largest = skipNodeSize(levels - 1);
  const std::uint64_t room = view.end - view.nodesLow;
  view.places = room >= largest && isMultipleOf8(view.nodesLow) ? (room - largest) / kWordSize + 1 : 0;
  view.steps = view.total / skipNodeSize(0) + 2 * kMaxSkipLevels;
  view.head = sentinel(view, view.areaStart + headSentinelAt(levels));
  view.last = sentinel(view, view.areaStart + tailSentinelAt(levels));
  view.allocatedHead = sentinel(view, view.areaStart + kAllocatedHeadAt);
  return Rc::Ok;
}

}  // namespace

Rc openHeap(const HeapRef &heap, HeapView &view) {
  if (Rc rc = openHeader(heap, view); failed(rc)) return rc;
  return openArea(view);
}

Rc openHeader(const HeapRef &heap, HeapView &view) {
  view.base = heap.base;
  view.type = heap.type;
  view.headerOffset = heap.headerOffset;
  view.header = headerOf(heap);
  if (readWord<std::uint64_t>(&view.header->heapHeaderOffset) != heap.headerOffset) return view.traits().offsetMismatch;
  view.total = readWord<std::uint64_t>(&view.header->totalSize);
  const std::uint64_t start = heap.type == HeapType::Domain ? 0 : heap.headerOffset;
  if (!liesWithin(start, view.total, 0, heap.limit)) return view.traits().notThis;
  view.end = (start + view.total) & ~(kWordSize - 1);
  return openTail(heap, view);
}

Rc HeapView::nodeSpace(std::uint64_t offset, NodeRef &out) const {
  if (!isMultipleOf8(offset) || !liesWithin(offset, skipNodeSize(0), nodesLow, end)) return Rc::ChunkOutsideHeap;
  std::byte *const place = at(offset);
  const std::uint64_t level = readWord<std::uint64_t>(&reinterpret_cast<SkipNode *>(place)->nodeLevel);
  if (level >= levels || skipNodeSize(level) > end - offset) return Rc::ChunkOutsideHeap;
  out = NodeRef{place, offset, static_cast<std::uint32_t>(level)};
  return Rc::Ok;
}

Rc HeapView::node(std::uint64_t offset, Listed list, NodeRef &out) const {
  if (Rc rc = nodeSpace(offset, out); failed(rc)) return rc;
  const bool ours = readWord<std::uint32_t>(&out.fields()->allocated) == static_cast<std::uint32_t>(list);
  return ours && out.state() != kNodeDead ? Rc::Ok : Rc::ChunkOutsideHeap;
}

Rc FreeSpace::unusual(const HeapView &view, std::uint64_t offset, NodeRef &out) {
  if (offset != view.head.offset && offset != view.last.offset) return view.node(offset, Listed::Free, out);
  out = offset == view.head.offset ? view.head : view.last;
  return Rc::Ok;
}

}  // namespace sntr
