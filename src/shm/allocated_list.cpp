// See allocated_list.h.
#include "shm/allocated_list.h"

#include <algorithm>

namespace sntr {

namespace {

// The list links forward only: the nodes behind a record are reached through its own links, checked like any.
Rc lookBehind(const AllocatedSpace &space, const NodeRef &node, Place &place) {
  for (std::uint32_t i = 0; i <= node.level; ++i) {
    if (place.after[i] != node) return space.damage();
    const std::uint64_t next = node.readLink(ByChunk::kForward, i);
    place.after[i] = NodeRef{};
    if (next == 0) continue;
    if (Rc rc = space.node(next, place.after[i]); failed(rc)) return rc;
    if (place.after[i].level < i) return space.damage();
  }
  return Rc::Ok;
}

void raiseLevel(const AllocatedSpace &space, std::uint32_t level) {
  if (level > space.currentLevel()) space.setCurrentLevel(level);
}

}  // namespace

Rc findRecord(const HeapView &view, std::uint64_t offset, Record &record) {
  const AllocatedSpace space(view);
  if (Rc rc = Allocated(space).find(offset, record.place); failed(rc)) return rc;
  record.node = record.place.after[0];
  if (!record.node.exists() || record.node.blockOffset() != offset) return view.traits().notFound;
  if (!view.holdsBlock(offset, record.node.blockSize())) return space.damage();
  return lookBehind(space, record.node, record.place);
}

Rc planRecord(const HeapView &view, std::uint64_t offset, std::uint64_t size, Place &place) {
  const AllocatedSpace space(view);
  if (!view.holdsBlock(offset, size)) return Rc::ChunkOutsideHeap;
  if (Rc rc = Allocated(space).find(offset, place); failed(rc)) return rc;
  const NodeRef before = place.before[0];
  const NodeRef after = place.after[0];
  const bool clearBefore = before == view.allocatedHead || before.blockOffset() + before.blockSize() <= offset;
  const bool clearAfter = !after.exists() || after.blockOffset() >= offset + size;
  return clearBefore && clearAfter ? Rc::Ok : view.traits().notFound;
}

void enterRecord(const HeapView &view, const NodeRef &node, const Place &place) {
  const AllocatedSpace space(view);
  Allocated(space).link(node, place);
  addTo(view.area->allocatedCount, 1);
  addTo(view.header->heapStat2, node.blockSize());
}

void removeRecord(const HeapView &view, const Record &record) {
  const AllocatedSpace space(view);
  const Allocated list(space);
  const std::uint64_t size = record.node.blockSize();
  list.unlink(record.node, record.place);
  list.settleLevel();
  takeFrom(view.area->allocatedCount, 1);
  takeFrom(view.header->heapStat2, size);
}

Rc replaceRecord(const HeapView &view, const NodeRef &node, const NodeRef &with) {
  Record record;
  if (Rc rc = findRecord(view, node.blockOffset(), record); failed(rc)) return rc;
  if (record.node != node) return Rc::ChunkOutsideHeap;
  const Place &place = record.place;
  for (std::uint32_t i = 0; i <= with.level; ++i) with.writeLink(ByChunk::kForward, i, place.after[i].offset);
  publishWord<std::uint64_t>(place.before[0].link(ByChunk::kForward, 0), with.offset);
  for (std::uint32_t i = 1; i <= std::max(node.level, with.level); ++i) {
    place.before[i].writeLink(ByChunk::kForward, i, i <= with.level ? with.offset : place.after[i].offset);
  }
  const AllocatedSpace space(view);
  raiseLevel(space, with.level);
  Allocated(space).settleLevel();
  return Rc::Ok;
}

}  // namespace sntr
