// SPDX-License-Identifier: MIT
// See allocated_list.h.
#include "shm/allocated_list.h"

#include <algorithm>

#include "shm/chunk_pads.h"

namespace sntr {

namespace {

// Offset of the hint in a chunk with the default pads. Other schemes have other words there, which lead to no record.
constexpr std::uint64_t kUsualHintAt = 0x10 - kHintBefore;

// Reads and checks the node after a record at a level.
[[gnu::always_inline]] inline Rc lookAfter(const AllocatedSpace &space, const NodeRef &node, std::uint32_t i,
                                           NodeRef &after) {
  countLink();
  const std::uint64_t next = node.readLink(ByChunk::kForward, i);
  after = NodeRef{};
  if (next == 0) return Rc::Ok;
  if (Rc rc = space.node(next, after); failed(rc)) return rc;
  return after.level >= i ? Rc::Ok : space.damage();
}

// Reads the node before a record at a level from the record's own word. Returns true if that node links to the record
// and lies lower: a search of a list that links forward would show no more.
bool lookBefore(const HeapView &view, const AllocatedSpace &space, const NodeRef &node, std::uint32_t i,
                NodeRef &before) {
  countLink();
  const std::uint64_t back = node.readLink(kRecordBefore, i);
  if (back == view.allocatedHead.offset) {
    before = view.allocatedHead;
  } else if (failed(space.node(back, before)) || before.level < i || before.blockOffset() >= node.blockOffset()) {
    return false;
  }
  return before.readLink(ByChunk::kForward, i) == node.offset;
}

// Finds a chunk's record by the chunk's hint, and its splice up to its own level. Returns false unless the record names
// this chunk and is linked in the list: the hint proves nothing.
bool followHint(const HeapView &view, std::uint64_t offset, Record &record) {
  const AllocatedSpace space(view);
  if (!view.holdsBlock(offset, 2 * kWordSize)) return false;
  const std::uint64_t hint = readWord<std::uint32_t>(view.at(offset + kUsualHintAt));
  NodeRef &node = record.node;
  if (hint == 0 || failed(space.node(view.areaStart + hint * kWordSize, node))) return false;
  if (node.blockOffset() != offset || !view.holdsBlock(offset, node.blockSize())) return false;
  for (std::uint32_t i = 0; i <= node.level; ++i) {
    if (!lookBefore(view, space, node, i, record.splice.before[i])) return false;
    if (failed(lookAfter(space, node, i, record.splice.after[i]))) return false;
  }
  return true;
}

// Points the backward word of `after`, if there is such a node, to `before`.
void leadBack(const NodeRef &before, const NodeRef &after, std::uint32_t i) {
  if (after.exists()) after.writeLink(kRecordBefore, i, before.offset);
}

void raiseLevel(const AllocatedSpace &space, std::uint32_t level) {
  if (level > space.currentLevel()) space.setCurrentLevel(level);
}

}  // namespace

Rc findRecord(const HeapView &view, std::uint64_t offset, Record &record) {
  const AllocatedSpace space(view);
  if (Rc rc = Allocated(space).find(offset, record.splice); failed(rc)) return rc;
  record.node = record.splice.after[0];
  if (!record.node.exists() || record.node.blockOffset() != offset) return view.traits().notFound;
  if (!view.holdsBlock(offset, record.node.blockSize())) return space.damage();
  for (std::uint32_t i = 0; i <= record.node.level; ++i) {
    if (record.splice.after[i] != record.node) return space.damage();
    if (Rc rc = lookAfter(space, record.node, i, record.splice.after[i]); failed(rc)) return rc;
  }
  return Rc::Ok;
}

Rc findRecordNear(const HeapView &view, std::uint64_t offset, Record &record) {
  return followHint(view, offset, record) ? Rc::Ok : findRecord(view, offset, record);
}

Rc planRecord(const HeapView &view, std::uint64_t offset, std::uint64_t size, std::uint32_t level, Splice &splice) {
  const AllocatedSpace space(view);
  if (!view.holdsBlock(offset, size)) return Rc::ChunkOutsideHeap;
  if (Rc rc = Allocated(space).find(offset, level, splice); failed(rc)) return rc;
  const NodeRef before = splice.before[0];
  const NodeRef after = splice.after[0];
  const bool clearBefore = before == view.allocatedHead || before.blockOffset() + before.blockSize() <= offset;
  const bool clearAfter = !after.exists() || after.blockOffset() >= offset + size;
  return clearBefore && clearAfter ? Rc::Ok : view.traits().notFound;
}

void enterRecord(const HeapView &view, const NodeRef &node, const Splice &splice) {
  const AllocatedSpace space(view);
  Allocated(space).link(node, splice);
  for (std::uint32_t i = 0; i <= node.level; ++i) {
    leadBack(splice.before[i], node, i);
    leadBack(node, splice.after[i], i);
  }
  addTo(view.area->allocatedCount, 1);
  addTo(view.header->heapStat2, node.blockSize());
}

void removeRecord(const HeapView &view, const Record &record) {
  const AllocatedSpace space(view);
  const Allocated list(space);
  const std::uint64_t size = record.node.blockSize();
  list.unlink(record.node, record.splice);
  for (std::uint32_t i = 0; i <= record.node.level; ++i) leadBack(record.splice.before[i], record.splice.after[i], i);
  list.settleLevel();
  takeFrom(view.area->allocatedCount, 1);
  takeFrom(view.header->heapStat2, size);
}

Rc replaceRecord(const HeapView &view, const NodeRef &node, const NodeRef &with) {
  Record record;
  if (Rc rc = findRecord(view, node.blockOffset(), record); failed(rc)) return rc;
  if (record.node != node) return Rc::ChunkOutsideHeap;
  const Splice &splice = record.splice;
  for (std::uint32_t i = 0; i <= with.level; ++i) with.writeLink(ByChunk::kForward, i, splice.after[i].offset);
  publishWord<std::uint64_t>(splice.before[0].link(ByChunk::kForward, 0), with.offset);
  for (std::uint32_t i = 1; i <= std::max(node.level, with.level); ++i) {
    splice.before[i].writeLink(ByChunk::kForward, i, i <= with.level ? with.offset : splice.after[i].offset);
  }
  for (std::uint32_t i = 0; i <= std::max(node.level, with.level); ++i) {
    leadBack(i <= with.level ? with : splice.before[i], splice.after[i], i);
    if (i <= with.level) leadBack(splice.before[i], with, i);
  }
  const AllocatedSpace space(view);
  raiseLevel(space, with.level);
  Allocated(space).settleLevel();
  return Rc::Ok;
}

}  // namespace sntr
