// SPDX-License-Identifier: MIT
// See chunks.h. Each operation plans first and changes nothing until all of its searches have succeeded.
#include "shm/chunks.h"

#include <algorithm>

#include "shm/node_moves.h"
#include "shm/node_space.h"

namespace sntr {

namespace {

// The source of n bytes: all of a free block, or its high end.
struct Cut {
  NodeRef fit;
  std::uint64_t offset;
  bool whole;
  Removal removal;  // of a whole block
  Resize rest;      // the remaining block otherwise
};

Rc planCut(const HeapView &view, const Fit &fit, std::uint64_t n, Cut &cut) {
  const std::uint64_t start = fit.node.blockOffset();
  const std::uint64_t size = fit.node.blockSize();
  if (size < n || !view.holdsBlock(start, size)) return Rc::ChunkOutsideHeap;
  cut.fit = fit.node;
  cut.offset = start + (size - n);
  cut.whole = size == n;
  return cut.whole ? planTake(view, fit, cut.removal) : planShrink(view, fit, size - n, cut.rest);
}

void apply(const HeapView &view, const Cut &cut, std::uint64_t n) {
  if (cut.whole) {
    apply(view, cut.removal);
  } else {
    apply(view, cut.rest);
  }
  takeFrom(view.header->heapStat1, n);
}

// Returns true if a node may change to the other list with its level; a list should grow by one level at a time.
bool suits(const NodeRef &node, std::uint32_t currentLevel) { return node.level <= currentLevel + 1; }

// The source of the node for a chunk's record: a block taken whole brings its own, unless a dead node of the drawn
// level replaces it; otherwise it is a slot.
//
// A block that is taken whole often has a low node, since the free list is short. If blocks of one size come and go,
// all records would end up with low nodes, and searches would lose the upper levels. So a level is drawn here too, and
// a dead node of that level, left by a release, takes precedence. The free list keeps levels 0 and 1: no exchange.
struct NodeSource {
  bool keepsNode;
  std::uint32_t level;    // drawn
  std::uint32_t highest;  // that the node can have
};

NodeSource sourceOfNode(const HeapView &view, const Cut &cut) {
  const std::uint32_t top = AllocatedSpace(view).currentLevel();
  if (!cut.whole || !suits(cut.fit, top)) return {false, chooseLevel(top, view.levels), view.levels - 1};
  const std::uint32_t level = drawLevel(top, view.levels);
  return {true, level, std::max(level, cut.fit.level)};
}

// Takes that node; no node if none is ready.
Rc takeNode(const HeapView &view, const Cut &cut, const NodeSource &source, NodeRef &node) {
  if (!source.keepsNode) {
    if (Rc rc = takeAnySlot(view, source.level, node); failed(rc)) return rc;
    if (cut.whole && !node.exists()) node = cut.fit;
    return Rc::Ok;
  }
  const bool exchange = source.level != cut.fit.level && source.highest > 1;
  node = NodeRef{};
  if (Rc rc = exchange ? takeDeadSlot(view, source.level, node) : Rc::Ok; failed(rc)) return rc;
  if (!node.exists()) node = cut.fit;
  return Rc::Ok;
}

void writeHint(const HeapView &view, std::byte *chunk, std::uint64_t front, const NodeRef &node) {
  const std::uint64_t hint = (node.offset - view.areaStart) / kWordSize;
  writeWord<std::uint32_t>(chunk + front - kHintBefore, hint <= UINT32_MAX ? static_cast<std::uint32_t>(hint) : 0);
}

// Writes the fields of a node that now records a chunk. A reused node is counted already, a slot is not.
void prepareRecord(const HeapView &view, const Cut &cut, const NodeRef &node, std::uint64_t n) {
  if (node == cut.fit) {
    writeWord<std::uint32_t>(&node.fields()->allocated, 1);
  } else {
    bringToLife(view, node, cut.offset, n, true);
  }
}

// Chooses the node for a returned block that does not merge. It is the record's own, except if it disappears with its
// chunk, or would raise the free list by several levels while another is ready. No node if there is none.
Rc nodeForReturn(const HeapView &view, const Record &record, NodeAfter after, NodeRef &node) {
  const std::uint32_t top = FreeSpace(view).currentLevel();
  node = record.node;
  if (after == NodeAfter::Reusable && suits(record.node, top)) return Rc::Ok;
  if (Rc rc = takeAnySlot(view, chooseLevel(top, view.levels), node); failed(rc)) return rc;
  if (!node.exists() && after == NodeAfter::Reusable) node = record.node;
  return Rc::Ok;
}

// Chooses that node and writes its fields. The plan is for nodes up to the record's level, and is made anew for a
// higher one. Returns the type's noBlock or ChunkOutsideHeap, with no node taken.
Rc readyNode(const HeapView &view, const Record &record, NodeAfter after, Return &plan, NodeRef &node) {
  if (Rc rc = nodeForReturn(view, record, after, node); failed(rc)) return rc;
  if (!node.exists()) return view.traits().noBlock;
  if (node.level > record.node.level) {
    if (Rc rc = planInsertion(view, plan.offset, plan.size, node.level, plan.inserted); failed(rc)) {
      giveBack(view, node);
      return Rc::ChunkOutsideHeap;
    }
  }
  if (node != record.node) bringToLife(view, node, plan.offset, plan.size, false);
  return Rc::Ok;
}

}  // namespace

Rc takeChunk(const HeapView &view, std::uint64_t n, std::uint64_t userSize, const ChunkPads &pads,
             std::uint64_t &offset) {
  const StatedIntent intent(view, Intent::Allocate, 0);
  // One round if a node is ready. A second one after the growth that makes a node, or if none is needed any more.
  for (int round = 0; round < 2; ++round) {
    Fit found;
    Cut cut;
    Splice splice;
    if (Rc rc = findBestFit(view, n, found); failed(rc)) return rc;
    const NodeRef fit = found.node;
    if (!fit.exists()) return view.traits().noBlock;
    if (Rc rc = planCut(view, found, n, cut); failed(rc)) return rc;
    const NodeSource source = sourceOfNode(view, cut);
    if (Rc rc = planRecord(view, cut.offset, n, source.highest, splice); failed(rc)) return Rc::ChunkOutsideHeap;
    intent.about(Intent::Allocate, cut.offset);
    NodeRef node;
    if (Rc rc = takeNode(view, cut, source, node); failed(rc)) return rc;
    if (node.exists()) {
      apply(view, cut, n);
      writePads(view.at(cut.offset), pads, n, userSize);
      writeHint(view, view.at(cut.offset), pads.front, node);
      prepareRecord(view, cut, node, n);
      enterRecord(view, node, splice);
      if (cut.whole && node != fit) recycle(view, fit);
      offset = cut.offset;
      return Rc::Ok;
    }
    const Rc grown = grow(view, kLeastExtent, fit, n);
    if (failed(grown) && grown != view.traits().noBlock) return grown;
    // Without room for another node the block is handed out whole: its own node then records the chunk.
    if (failed(grown)) n = fit.blockSize();
  }
  return view.traits().noBlock;
}

Rc returnChunk(const HeapView &view, const Record &record, NodeAfter after) {
  Return plan;
  const std::uint64_t offset = record.node.blockOffset();
  const std::uint32_t level = record.node.level;
  if (Rc rc = planReturn(view, offset, record.node.blockSize(), level, plan); failed(rc)) return Rc::ChunkOutsideHeap;
  NodeRef node = NodeRef{};
  if (plan.needsNode()) {
    if (Rc rc = readyNode(view, record, after, plan, node); failed(rc)) return rc;
  }
  removeRecord(view, record);
  NodeRef freed;
  apply(view, plan, node, freed);
  if (freed.exists()) recycle(view, freed);
  if (node.exists() && node == record.node) return Rc::Ok;
  if (after == NodeAfter::Gone) {
    markDead(view, record.node);
  } else {
    recycle(view, record.node);
  }
  return Rc::Ok;
}

Rc returnChunkAt(const HeapView &view, std::uint64_t offset) {
  Record record;
  if (Rc rc = findRecordNear(view, offset, record); failed(rc)) return rc;
  if (record.node.state() != kNodeLive) return view.traits().notFound;
  const StatedIntent intent(view, Intent::Release, offset);
  if (Rc rc = returnChunk(view, record, NodeAfter::Reusable); failed(rc)) return rc;
  trimExtents(view);
  return Rc::Ok;
}

Rc takeFreeBlock(const HeapView &view, std::uint64_t n, std::uint64_t &offset) {
  Fit fit;
  Cut cut;
  if (Rc rc = findBestFit(view, n, fit); failed(rc)) return rc;
  if (!fit.node.exists()) return view.traits().noBlock;
  if (Rc rc = planCut(view, fit, n, cut); failed(rc)) return rc;
  const StatedIntent intent(view, Intent::Allocate, cut.offset);
  apply(view, cut, n);
  if (cut.whole) recycle(view, fit.node);
  offset = cut.offset;
  return Rc::Ok;
}

}  // namespace sntr
