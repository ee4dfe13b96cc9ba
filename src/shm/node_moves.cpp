// SPDX-License-Identifier: MIT
// See node_moves.h.
#include "shm/node_moves.h"

#include <algorithm>

#include "shm/allocated_list.h"
#include "shm/chunks.h"
#include "shm/free_list.h"

namespace sntr {

namespace {

// Extents that one release may empty: two more than it can fill, so that they go faster than they came.
constexpr int kTrimsPerRelease = 3;

// The free blocks that an extent may be cut from, best first: the first one, so that extents gather after the area;
// then the largest two, at least one of which the caller does not need.
struct Candidates {
  NodeRef nodes[3];
  int count = 0;
};

Rc collectCandidates(const HeapView &view, Candidates &found) {
  const FreeSpace space(view);
  const Links back = BySize::kBackward;
  NodeRef largest;
  if (Rc rc = findFreeFrom(view, 0, found.nodes[0]); failed(rc)) return rc;
  if (Rc rc = space.node(view.last.readLink(back, 0), largest); failed(rc)) return rc;
  if (largest == view.head || found.nodes[0] == view.last) return Rc::Ok;
  found.nodes[1] = largest;
  found.count = 2;
  if (Rc rc = space.node(largest.readLink(back, 0), largest); failed(rc)) return rc;
  if (largest != view.head) found.nodes[found.count++] = largest;
  return Rc::Ok;
}

// Returns true if a block of `keep` bytes is left after g bytes are cut from a candidate.
bool leavesEnough(const HeapView &view, const NodeRef &candidate, std::uint64_t g, const NodeRef &fit,
                  std::uint64_t keep) {
  if (candidate != fit) return true;
  const bool anotherServes = fit.readLink(BySize::kForward, 0) != view.last.offset;
  return anotherServes || candidate.blockSize() - g >= keep;
}

Rc chooseBlock(const HeapView &view, std::uint64_t least, const NodeRef &fit, std::uint64_t keep, NodeRef &block,
               std::uint64_t &size) {
  Candidates candidates;
  if (Rc rc = collectCandidates(view, candidates); failed(rc)) return rc;
  for (const std::uint64_t g : {std::max(kExtentSize, least), least}) {
    for (int i = 0; i < candidates.count; ++i) {
      block = candidates.nodes[i];
      size = g;
      if (block.blockSize() >= g && leavesEnough(view, block, g, fit, keep)) return Rc::Ok;
    }
  }
  return view.traits().noBlock;
}

// Cuts the low end off a free block. It keeps its position by offset: nothing lies between its old start and its new.
Rc cutLowEnd(const HeapView &view, const NodeRef &block, std::uint64_t size, std::uint64_t &offset) {
  offset = block.blockOffset();
  const std::uint64_t rest = block.blockSize() - size;
  if (!view.holdsBlock(offset, block.blockSize())) return Rc::ChunkOutsideHeap;
  if (rest == 0) {
    Removal removal;
    if (Rc rc = planRemoval(view, block, removal); failed(rc)) return rc;
    apply(view, removal);
    recycle(view, block);
  } else {
    Resize shrunk;
    if (Rc rc = planResize(view, block, offset + size, rest, shrunk); failed(rc)) return rc;
    apply(view, shrunk);
  }
  takeFrom(view.header->heapStat1, size);
  return Rc::Ok;
}

// Moves every live node of a closed extent elsewhere, except the record of the extent itself.
Rc emptyExtent(const HeapView &view, const ExtentRef &extent) {
  NodeRef node;
  std::uint64_t at = sizeof(Extent);
  for (;;) {
    if (Rc rc = nextNode(view, extent, at, node); failed(rc)) return rc;
    if (!node.exists()) return Rc::Ok;
    const bool ownRecord = node.state() == kNodeRecordsExtent && node.blockOffset() == extent.offset;
    if (node.state() == kNodeDead || ownRecord) continue;
    NodeRef slot;
    if (Rc rc = takeAnySlot(view, node.level, slot); failed(rc)) return rc;
    if (!slot.exists()) return view.traits().noBlock;
    if (Rc rc = moveNode(view, node, slot); failed(rc)) return rc;
  }
}

// Releases the chunk of an emptied extent. The extent's record may lie in it and then disappears with it.
Rc returnExtent(const HeapView &view, const ExtentRef &extent) {
  Record record;
  if (Rc rc = findRecord(view, extent.offset, record); failed(rc)) return rc;
  if (record.node.state() != kNodeRecordsExtent) return Rc::ChunkOutsideHeap;
  const bool inside = liesWithin(record.node.offset, record.node.size(), extent.offset, extent.offset + extent.size);
  return returnChunk(view, record, inside ? NodeAfter::Gone : NodeAfter::Reusable);
}

Rc emptyNewest(const HeapView &view, const ExtentRef &extent) {
  const StatedIntent intent(view, Intent::Compact, extent.offset);
  if (Rc rc = closeExtent(view, extent); failed(rc)) return rc;
  Rc rc = emptyExtent(view, extent);
  if (!failed(rc)) rc = returnExtent(view, extent);
  if (!failed(rc)) return Rc::Ok;
  return firstFailure(rc, reopenExtent(view, extent));
}

// Moves one node of the area down to `to`. Overlapping ranges go by way of the reserve: one whole copy always exists.
Rc slideDown(const HeapView &view, const NodeRef &node, std::uint64_t to) {
  NodeRef from = node;
  if (node.offset - to < node.size()) {
    const std::uint64_t reserve = view.areaStart + readWord<std::uint64_t>(&view.area->slNextFree);
    const bool fits = isMultipleOf8(reserve) && liesWithin(reserve, node.size(), view.nodesLow, view.blocksLow);
    if (!fits) return Rc::ChunkOutsideHeap;
    from = NodeRef{view.at(reserve), reserve, node.level};
    if (Rc rc = moveNode(view, node, from); failed(rc)) return rc;
  }
  return moveNode(view, from, NodeRef{view.at(to), to, node.level});
}

}  // namespace

Rc moveNode(const HeapView &view, const NodeRef &node, const NodeRef &slot) {
  countMove();
  const bool allocated = readWord<std::uint32_t>(&node.fields()->allocated) != 0;
  const std::uint64_t offset = node.blockOffset();
  bringToLife(view, slot, offset, node.blockSize(), allocated);
  writeWord<std::uint32_t>(&slot.fields()->state, node.state());
  const Rc moved = allocated ? replaceRecord(view, node, slot) : replaceFree(view, node, slot);
  if (failed(moved)) {
    recycle(view, slot);
    return moved;
  }
  markDead(view, node);
  return Rc::Ok;
}

Rc grow(const HeapView &view, std::uint64_t least, const NodeRef &fit, std::uint64_t keep) {
  NodeRef block;
  std::uint64_t size = 0;
  std::uint64_t offset = 0;
  Splice splice;
  if (Rc rc = chooseBlock(view, least, fit, keep, block, size); failed(rc)) return rc;
  if (Rc rc = planRecord(view, block.blockOffset(), size, view.levels - 1, splice); failed(rc))
    return Rc::ChunkOutsideHeap;
  const StatedIntent intent(view, Intent::Grow, block.blockOffset());
  if (Rc rc = cutLowEnd(view, block, size, offset); failed(rc)) return rc;
  openExtent(view, offset, size);
  NodeRef slot;
  const std::uint32_t level = size < kExtentSize ? 0 : chooseLevel(AllocatedSpace(view).currentLevel(), view.levels);
  if (Rc rc = takeAnySlot(view, level, slot); failed(rc)) return rc;
  if (!slot.exists()) return Rc::ChunkOutsideHeap;
  bringToLife(view, slot, offset, size, true);
  writeWord<std::uint32_t>(&slot.fields()->state, kNodeRecordsExtent);
  enterRecord(view, slot, splice);
  return Rc::Ok;
}

Rc obtainSlot(const HeapView &view, std::uint32_t level, NodeRef &slot) {
  if (Rc rc = takeAnySlot(view, level, slot); failed(rc) || slot.exists()) return rc;
  if (Rc rc = grow(view, kLeastExtent, NodeRef{}, 0); failed(rc)) return rc;
  if (Rc rc = takeAnySlot(view, level, slot); failed(rc)) return rc;
  return slot.exists() ? Rc::Ok : view.traits().noBlock;
}

void trimExtents(const HeapView &view) {
  for (int i = 0; i < kTrimsPerRelease; ++i) {
    ExtentRef extent;
    if (!findSpareExtent(view, extent) || failed(emptyNewest(view, extent))) return;
  }
}

Rc compactAll(const HeapView &view) {
  const StatedIntent intent(view, Intent::Compact, view.areaStart);
  const std::uint64_t most = view.total / kLeastExtent;
  for (std::uint64_t i = 0; i < most; ++i) {
    ExtentRef extent;
    if (Rc rc = newestExtent(view, extent); failed(rc)) return rc;
    if (extent.at == nullptr || failed(emptyNewest(view, extent))) break;
  }
  return compactArea(view);
}

Rc compactArea(const HeapView &view) {
  const StatedIntent intent(view, Intent::Compact, view.areaStart);
  const std::uint64_t end = view.areaStart + readWord<std::uint64_t>(&view.area->slNextFree);
  std::uint64_t to = view.nodesLow;
  if (end > view.blocksLow) return Rc::ChunkOutsideHeap;
  for (std::uint64_t at = view.nodesLow; at < end;) {
    NodeRef node;
    if (Rc rc = view.nodeSpace(at, node); failed(rc)) return rc;
    if (node.size() > end - at) return Rc::ChunkOutsideHeap;
    at += node.size();
    if (node.state() == kNodeDead) {
      if (Rc rc = reclaim(view, node); failed(rc)) return rc;
      continue;
    }
    if (node.offset != to) {
      if (Rc rc = slideDown(view, node, to); failed(rc)) return rc;
    }
    to += node.size();
  }
  writeWord<std::uint64_t>(&view.area->slNextFree, to - view.areaStart);
  return Rc::Ok;
}

}  // namespace sntr
