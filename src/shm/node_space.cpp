// SPDX-License-Identifier: MIT
// See node_space.h.
#include "shm/node_space.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstdlib>

namespace sntr {

namespace {

// rand() is below this with a probability of just under one half.
constexpr int kRise = 0x3fffffff;

// A dead node keeps its fields, so that it can be linked again with them; its first two links lead to other dead nodes.
constexpr Links kNextDead = Links::OffsetForward;
constexpr Links kPreviousDead = Links::OffsetBackward;

void *deadHead(const HeapView &view, std::uint32_t level) { return view.last.link(Links::OffsetForward, level); }

// Finds the dead node at an offset, which must have the level of its list; no node for offset 0.
Rc deadNode(const HeapView &view, std::uint64_t offset, std::uint32_t level, NodeRef &node) {
  node = NodeRef{};
  if (offset == 0) return Rc::Ok;
  if (Rc rc = view.nodeSpace(offset, node); failed(rc)) return rc;
  return node.level == level && node.state() == kNodeDead ? Rc::Ok : Rc::ChunkOutsideHeap;
}

// Puts a node in front of the dead of its level. A damaged list starts anew; its nodes are only lost to reuse.
void pushDead(const HeapView &view, const NodeRef &node) {
  NodeRef next;
  const bool whole = !failed(deadNode(view, readWord<std::uint64_t>(deadHead(view, node.level)), node.level, next));
  writeWord<std::uint32_t>(&node.fields()->state, kNodeDead);
  node.writeLink(kNextDead, 0, whole ? next.offset : 0);
  node.writeLink(kPreviousDead, 0, 0);
  if (whole && next.exists()) next.writeLink(kPreviousDead, 0, node.offset);
  writeWord<std::uint64_t>(deadHead(view, node.level), node.offset);
  addTo(view.area->deadBytes, node.size());
}

Rc removeDead(const HeapView &view, const NodeRef &node) {
  NodeRef next;
  NodeRef previous;
  if (Rc rc = deadNode(view, node.readLink(kNextDead, 0), node.level, next); failed(rc)) return rc;
  if (Rc rc = deadNode(view, node.readLink(kPreviousDead, 0), node.level, previous); failed(rc)) return rc;
  void *const linkHere = previous.exists() ? previous.link(kNextDead, 0) : deadHead(view, node.level);
  if (readWord<std::uint64_t>(linkHere) != node.offset) return Rc::ChunkOutsideHeap;
  writeWord<std::uint64_t>(linkHere, next.offset);
  if (next.exists()) next.writeLink(kPreviousDead, 0, previous.offset);
  takeFrom(view.area->deadBytes, node.size());
  return Rc::Ok;
}

Rc popDead(const HeapView &view, std::uint32_t level, NodeRef &slot) {
  if (Rc rc = deadNode(view, readWord<std::uint64_t>(deadHead(view, level)), level, slot); failed(rc)) return rc;
  return slot.exists() ? removeDead(view, slot) : Rc::Ok;
}

// Makes unused space a slot; writes its level, which determines its size from now on.
NodeRef cutSlot(const HeapView &view, std::uint64_t offset, std::uint32_t level) {
  const NodeRef slot{view.at(offset), offset, level};
  writeWord<std::uint64_t>(&slot.fields()->nodeLevel, level);
  writeWord<std::uint32_t>(&slot.fields()->state, kNodeDead);
  return slot;
}

// Returns the bytes after slNextFree that nodes may use.
std::uint64_t unusedInArea(const HeapView &view) {
  const std::uint64_t size = view.blocksLow - view.areaStart;
  const std::uint64_t next = readWord<std::uint64_t>(&view.area->slNextFree);
  const std::uint64_t reserve = nodeReserve(view.levels);
  const bool sane = isMultipleOf8(next) && next >= view.nodesLow - view.areaStart && next <= size;
  return sane && size - next > reserve ? size - next - reserve : 0;
}

// Takes space never used, of the area and then of the newest extent.
Rc cutUnused(const HeapView &view, std::uint32_t level, NodeRef &slot) {
  slot = NodeRef{};
  const std::uint64_t size = skipNodeSize(level);
  if (unusedInArea(view) >= size) {
    slot = cutSlot(view, view.areaStart + readWord<std::uint64_t>(&view.area->slNextFree), level);
    addTo(view.area->slNextFree, size);
    return Rc::Ok;
  }
  ExtentRef extent;
  if (Rc rc = newestExtent(view, extent); failed(rc)) return rc;
  if (extent.at == nullptr || extent.size - extent.nextFree < size) return Rc::Ok;
  slot = cutSlot(view, extent.offset + extent.nextFree, level);
  addTo(extent.at->nextFree, size);
  return Rc::Ok;
}

}  // namespace

std::uint32_t chooseLevel(std::uint32_t currentLevel, std::uint32_t levels) {
  std::uint32_t level = 0;
  // All levels come from the process's rand(). glibc's takes a lock; a race would only affect chance.
  while (std::rand() < kRise) {  // NOLINT(concurrency-mt-unsafe)
    ++level;
    if (level > currentLevel || level == levels) break;
  }
  return level == levels ? level - 1 : level;
}

std::uint32_t drawLevel(std::uint32_t currentLevel, std::uint32_t levels) {
  // Knuth's MMIX generator. Concurrent threads may draw the same number, which only affects chance.
  static std::atomic<std::uint64_t> state{1};
  const std::uint64_t drawn = state.load(std::memory_order_relaxed) * 6364136223846793005U + 1442695040888963407U;
  state.store(drawn, std::memory_order_relaxed);
  const auto level = static_cast<std::uint32_t>(std::countl_zero(drawn));
  return std::min({level, currentLevel + 1, levels - 1});
}

Rc takeDeadSlot(const HeapView &view, std::uint32_t level, NodeRef &slot) { return popDead(view, level, slot); }

Rc takeSlot(const HeapView &view, std::uint32_t level, NodeRef &slot) {
  if (Rc rc = popDead(view, level, slot); failed(rc)) return rc;
  return slot.exists() ? Rc::Ok : cutUnused(view, level, slot);
}

Rc takeAnySlot(const HeapView &view, std::uint32_t level, NodeRef &slot) {
  if (Rc rc = takeSlot(view, level, slot); failed(rc) || slot.exists()) return rc;
  for (std::uint32_t away = 1; away < view.levels; ++away) {
    if (away <= level) {
      if (Rc rc = popDead(view, level - away, slot); failed(rc) || slot.exists()) return rc;
    }
    if (level + away < view.levels) {
      if (Rc rc = popDead(view, level + away, slot); failed(rc) || slot.exists()) return rc;
    }
  }
  return cutUnused(view, 0, slot);
}

void bringToLife(const HeapView &view, const NodeRef &slot, std::uint64_t offset, std::uint64_t size, bool allocated) {
  SkipNode *const node = slot.fields();
  writeWord<std::uint64_t>(&node->blockOffset, offset);
  writeWord<std::uint64_t>(&node->blockSize, size);
  writeWord<std::uint64_t>(&node->reserved[0], 0);
  writeWord<std::uint64_t>(&node->reserved[1], 0);
  writeWord<std::uint64_t>(&node->nodeLevel, slot.level);
  writeWord<std::uint32_t>(&node->state, kNodeLive);
  writeWord<std::uint32_t>(&node->allocated, allocated ? 1 : 0);
  addTo(view.area->slBytesUsed, slot.size());
  addTo(view.area->slNodeCount, 1);
}

void markDead(const HeapView &view, const NodeRef &node) {
  writeWord<std::uint32_t>(&node.fields()->state, kNodeDead);
  takeFrom(view.area->slBytesUsed, node.size());
  takeFrom(view.area->slNodeCount, 1);
}

void recycle(const HeapView &view, const NodeRef &node) {
  markDead(view, node);
  pushDead(view, node);
}

void giveBack(const HeapView &view, const NodeRef &slot) { pushDead(view, slot); }

Rc reclaim(const HeapView &view, const NodeRef &node) {
  if (node.state() != kNodeDead) return Rc::ChunkOutsideHeap;
  return removeDead(view, node);
}

Rc newestExtent(const HeapView &view, ExtentRef &extent) {
  extent = ExtentRef{};
  const std::uint64_t offset = readWord<std::uint64_t>(&view.area->firstExtent);
  if (offset == 0) return Rc::Ok;
  if (!view.holdsBlock(offset, sizeof(Extent))) return Rc::ChunkOutsideHeap;
  Extent *const at = reinterpret_cast<Extent *>(view.at(offset));
  const std::uint64_t size = readWord<std::uint64_t>(&at->paddedSize);
  const std::uint64_t nextFree = readWord<std::uint64_t>(&at->nextFree);
  const bool sane = view.holdsBlock(offset, size) && isMultipleOf8(nextFree) && nextFree >= sizeof(Extent) &&
                    nextFree <= size && readWord<std::uint32_t>(&at->mark) == kExtentMark;
  if (!sane) return Rc::ChunkOutsideHeap;
  extent = ExtentRef{at, offset, size, nextFree, readWord<std::uint64_t>(&at->next)};
  return Rc::Ok;
}

void openExtent(const HeapView &view, std::uint64_t offset, std::uint64_t size) {
  Extent *const extent = reinterpret_cast<Extent *>(view.at(offset));
  writeWord<std::uint64_t>(&extent->paddedSize, size);
  writeWord<std::uint32_t>(&extent->hint, 0);
  writeWord<std::uint32_t>(&extent->mark, kExtentMark);
  writeWord<std::uint64_t>(&extent->next, readWord<std::uint64_t>(&view.area->firstExtent));
  writeWord<std::uint64_t>(&extent->nextFree, sizeof(Extent));
  publishWord<std::uint64_t>(&view.area->firstExtent, offset);
  addTo(view.area->extentBytes, size);
}

Rc nextNode(const HeapView &view, const ExtentRef &extent, std::uint64_t &at, NodeRef &node) {
  node = NodeRef{};
  if (at >= extent.nextFree) return Rc::Ok;
  if (Rc rc = view.nodeSpace(extent.offset + at, node); failed(rc)) return rc;
  if (node.size() > extent.nextFree - at) return Rc::ChunkOutsideHeap;
  at += node.size();
  return Rc::Ok;
}

Rc closeExtent(const HeapView &view, const ExtentRef &extent) {
  NodeRef node;
  std::uint64_t at = sizeof(Extent);
  for (;;) {
    if (Rc rc = nextNode(view, extent, at, node); failed(rc)) return rc;
    if (!node.exists()) break;
    if (node.state() != kNodeDead) continue;
    if (Rc rc = removeDead(view, node); failed(rc)) return rc;
  }
  publishWord<std::uint64_t>(&view.area->firstExtent, extent.next);
  takeFrom(view.area->extentBytes, extent.size);
  return Rc::Ok;
}

Rc reopenExtent(const HeapView &view, const ExtentRef &extent) {
  publishWord<std::uint64_t>(&view.area->firstExtent, extent.offset);
  addTo(view.area->extentBytes, extent.size);
  NodeRef node;
  std::uint64_t at = sizeof(Extent);
  for (;;) {
    if (Rc rc = nextNode(view, extent, at, node); failed(rc)) return rc;
    if (!node.exists()) return Rc::Ok;
    if (node.state() == kNodeDead) pushDead(view, node);
  }
}

bool findSpareExtent(const HeapView &view, ExtentRef &extent) {
  const std::uint64_t ready = readWord<std::uint64_t>(&view.area->deadBytes) + unusedInArea(view);
  const std::uint64_t capacity = view.blocksLow - view.nodesLow;
  const std::uint64_t spare = capacity < kExtentSize / 4 ? 0 : std::min(kExtentSize / 2, capacity / 4);
  if (ready < spare || failed(newestExtent(view, extent)) || extent.at == nullptr) return false;
  return ready - spare >= extent.nextFree - sizeof(Extent);
}

}  // namespace sntr
