// See chunks.h. Each operation plans first and changes nothing until all of its searches have succeeded.
#include "shm/chunks.h"

#include <algorithm>

#include "shm/node_moves.h"
#include "shm/node_space.h"

namespace sntr {

namespace {

// Where n bytes come from: all of a free block, or its high end.
struct Cut {
  NodeRef fit;
  std::uint64_t offset;
  bool whole;
  Removal removal;  // of a whole block
  Resize rest;      // what stays of it otherwise
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

// A node that changes over to the other list keeps its level; a list should grow by one level at a time.
bool suits(const NodeRef &node, std::uint32_t currentLevel) { return node.level <= currentLevel + 1; }

// The node for the record of a chunk: that of a block that is taken whole, else a slot. No node where none is ready.
//
// A block that is taken whole often has a low node, since the free list is short. If blocks of one size come and go,
// every record would get such a one in time, and the list lose the upper levels by which it is searched. So a level is
// drawn here too, and a dead node of that level comes first: a release has put it there. Levels 0 and 1 are not worth an
// exchange: the free list keeps both.
Rc nodeForRecord(const HeapView &view, const Cut &cut, NodeRef &node) {
  const std::uint32_t top = AllocatedSpace(view).currentLevel();
  node = cut.fit;
  if (cut.whole && suits(cut.fit, top)) {
    const std::uint32_t level = drawLevel(top, view.levels);
    const bool exchange = level != cut.fit.level && std::max(level, cut.fit.level) > 1;
    NodeRef drawn{};
    if (Rc rc = exchange ? takeDeadSlot(view, level, drawn) : Rc::Ok; failed(rc)) return rc;
    if (drawn.exists()) node = drawn;
    return Rc::Ok;
  }
  if (Rc rc = takeAnySlot(view, chooseLevel(top, view.levels), node); failed(rc)) return rc;
  if (cut.whole && !node.exists()) node = cut.fit;
  return Rc::Ok;
}

void writeHint(const HeapView &view, std::byte *chunk, std::uint64_t front, const NodeRef &node) {
  const std::uint64_t hint = (node.offset - view.areaStart) / kWordSize;
  writeWord<std::uint32_t>(chunk + front - kHintBefore, hint <= UINT32_MAX ? static_cast<std::uint32_t>(hint) : 0);
}

// The fields of a node that records a chunk from now on. A reused one keeps being counted, a slot begins to be.
void prepareRecord(const HeapView &view, const Cut &cut, const NodeRef &node, std::uint64_t n) {
  if (node == cut.fit) {
    writeWord<std::uint32_t>(&node.fields()->allocated, 1);
  } else {
    bringToLife(view, node, cut.offset, n, true);
  }
}

// The node that carries a returned block where none merges: the record's own, unless that would raise the free list by
// several levels while another is ready, or unless it goes with its chunk. No node where none is to be had.
Rc nodeForReturn(const HeapView &view, const Record &record, NodeAfter after, NodeRef &node) {
  const std::uint32_t top = FreeSpace(view).currentLevel();
  node = record.node;
  if (after == NodeAfter::Reusable && suits(record.node, top)) return Rc::Ok;
  if (Rc rc = takeAnySlot(view, chooseLevel(top, view.levels), node); failed(rc)) return rc;
  if (!node.exists() && after == NodeAfter::Reusable) node = record.node;
  return Rc::Ok;
}

// That node, brought to life with what it is to carry. The plan is for nodes up to the record's level; where another
// level was ready it is made anew. The type's noBlock, ChunkOutsideHeap; then no node is taken.
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
  // Once around when a node is ready; a second time after the growth that makes one, or without need of one.
  for (int round = 0; round < 2; ++round) {
    Fit found;
    Cut cut;
    Place place;
    if (Rc rc = findBestFit(view, n, found); failed(rc)) return rc;
    const NodeRef fit = found.node;
    if (!fit.exists()) return view.traits().noBlock;
    if (Rc rc = planCut(view, found, n, cut); failed(rc)) return rc;
    if (Rc rc = planRecord(view, cut.offset, n, place); failed(rc)) return Rc::ChunkOutsideHeap;
    intent.about(Intent::Allocate, cut.offset);
    NodeRef node;
    if (Rc rc = nodeForRecord(view, cut, node); failed(rc)) return rc;
    if (node.exists()) {
      apply(view, cut, n);
      writePads(view.at(cut.offset), pads, n, userSize);
      writeHint(view, view.at(cut.offset), pads.front, node);
      prepareRecord(view, cut, node, n);
      enterRecord(view, node, place);
      if (cut.whole && node != fit) retire(view, fit);
      offset = cut.offset;
      return Rc::Ok;
    }
    const Rc grown = grow(view, kLeastExtent, fit, n);
    if (failed(grown) && grown != view.traits().noBlock) return grown;
    // Where there is no room for one more node the block is handed out whole: its own node then records the chunk.
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
  if (freed.exists()) retire(view, freed);
  if (node.exists() && node == record.node) return Rc::Ok;
  if (after == NodeAfter::Gone) {
    abandon(view, record.node);
  } else {
    retire(view, record.node);
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
  if (cut.whole) retire(view, fit.node);
  offset = cut.offset;
  return Rc::Ok;
}

}  // namespace sntr
