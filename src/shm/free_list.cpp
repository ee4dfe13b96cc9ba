// SPDX-License-Identifier: MIT
// See free_list.h.
#include "shm/free_list.h"

#include <algorithm>

namespace sntr {

namespace {

// Replaces a leaving node in a planned splice by that node's own neighbour.
void skipRemovedNode(Splice &splice, std::uint32_t top, const NodeRef &leaving, const Splice &its) {
  for (std::uint32_t i = 0; i <= top && i <= leaving.level; ++i) {
    if (splice.before[i] == leaving) splice.before[i] = its.before[i];
    if (splice.after[i] == leaving) splice.after[i] = its.after[i];
  }
}

std::uint64_t endOf(const HeapView &view, const NodeRef &node) {
  return node == view.head ? 0 : node.blockOffset() + node.blockSize();
}

// Plans the merge of a returned range. The node that grows is no sentinel, and its new block must fit the heap.
Rc planGrowth(const HeapView &view, const Splice &around, Return &plan) {
  const NodeRef before = around.before[0];
  const NodeRef after = around.after[0];
  const std::uint64_t low = plan.mergesBefore ? before.blockOffset() : plan.offset;
  const std::uint64_t high = plan.mergesAfter ? endOf(view, after) : plan.offset + plan.size;
  if (!view.holdsBlock(low, high - low)) return Rc::ChunkOutsideHeap;
  if (Rc rc = planResize(view, plan.mergesBefore ? before : after, low, high - low, plan.grown); failed(rc)) return rc;
  if (!plan.mergesBefore || !plan.mergesAfter) return Rc::Ok;
  if (Rc rc = planRemoval(view, after, plan.swallowed); failed(rc)) return rc;
  skipRemovedNode(plan.grown.now, before.level, after, plan.swallowed.bySize);
  skipRemovedNode(plan.grown.then, before.level, after, plan.swallowed.bySize);
  skipRemovedNode(plan.grown.then, before.level, before, plan.grown.now);
  return Rc::Ok;
}

// Finds the node's splice in one order: up to its own level, or up to the other node's if that is higher.
template <class Order>
Rc spliceFor(const SkipList<Order, FreeSpace> &list, const NodeRef &node, const NodeRef &with, Splice &splice) {
  if (Rc rc = list.spliceOf(node, splice); failed(rc)) return rc;
  return list.extendUp(node.level, with.level, splice);
}

}  // namespace

Rc findBestFit(const HeapView &view, std::uint64_t n, Fit &fit) {
  const FreeSpace space(view);
  fit.level = std::min(space.currentLevel(), view.levels - 1);
  if (Rc rc = FreeBySize(space).find(n, fit.level, fit.bySize); failed(rc)) return rc;
  fit.node = fit.bySize.after[0] == view.last ? NodeRef{} : fit.bySize.after[0];
  return Rc::Ok;
}

Rc findFreeFrom(const HeapView &view, std::uint64_t offset, NodeRef &node) {
  const FreeSpace space(view);
  return FreeByOffset(space).findFirst(offset, node);
}

Rc planResize(const HeapView &view, const NodeRef &node, std::uint64_t offset, std::uint64_t size, Resize &plan) {
  const FreeSpace space(view);
  const FreeBySize bySize(space);
  plan.node = node;
  plan.offset = offset;
  plan.size = size;
  if (Rc rc = bySize.spliceOf(node, plan.now); failed(rc)) return rc;
  if (Rc rc = bySize.find(size, node.level, plan.then); failed(rc)) return rc;
  skipRemovedNode(plan.then, node.level, node, plan.now);
  return Rc::Ok;
}

Rc planShrink(const HeapView &view, const Fit &fit, std::uint64_t size, Resize &plan) {
  const FreeSpace space(view);
  const FreeBySize bySize(space);
  const NodeRef &node = fit.node;
  plan.node = node;
  plan.offset = node.blockOffset();
  plan.size = size;
  if (Rc rc = bySize.spliceFrom(node, fit.bySize, fit.level, plan.now); failed(rc)) return rc;
  if (Rc rc = bySize.find(size, node.level, plan.then); failed(rc)) return rc;
  skipRemovedNode(plan.then, node.level, node, plan.now);
  return Rc::Ok;
}

void apply(const HeapView &view, const Resize &plan) {
  const FreeSpace space(view);
  const FreeBySize bySize(space);
  bySize.unlink(plan.node, plan.now);
  writeWord<std::uint64_t>(&plan.node.fields()->blockOffset, plan.offset);
  writeWord<std::uint64_t>(&plan.node.fields()->blockSize, plan.size);
  bySize.link(plan.node, plan.then);
}

Rc planRemoval(const HeapView &view, const NodeRef &node, Removal &plan) {
  const FreeSpace space(view);
  plan.node = node;
  if (Rc rc = FreeByOffset(space).spliceOf(node, plan.byOffset); failed(rc)) return rc;
  return FreeBySize(space).spliceOf(node, plan.bySize);
}

Rc planTake(const HeapView &view, const Fit &fit, Removal &plan) {
  const FreeSpace space(view);
  plan.node = fit.node;
  if (Rc rc = FreeByOffset(space).spliceOf(fit.node, plan.byOffset); failed(rc)) return rc;
  return FreeBySize(space).spliceFrom(fit.node, fit.bySize, fit.level, plan.bySize);
}

void apply(const HeapView &view, const Removal &plan) {
  const FreeSpace space(view);
  FreeByOffset(space).unlink(plan.node, plan.byOffset);
  FreeBySize(space).unlink(plan.node, plan.bySize);
  FreeByOffset(space).settleLevel();
}

Rc planInsertion(const HeapView &view, std::uint64_t offset, std::uint64_t size, std::uint32_t level, Insertion &plan) {
  const FreeSpace space(view);
  if (Rc rc = FreeByOffset(space).find(offset, level, plan.byOffset); failed(rc)) return rc;
  return FreeBySize(space).find(size, level, plan.bySize);
}

void apply(const HeapView &view, const Insertion &plan, const NodeRef &node) {
  const FreeSpace space(view);
  FreeByOffset(space).link(node, plan.byOffset);
  FreeBySize(space).link(node, plan.bySize);
}

Rc planReturn(const HeapView &view, std::uint64_t offset, std::uint64_t size, std::uint32_t level, Return &plan) {
  const FreeSpace space(view);
  Splice &around = plan.inserted.byOffset;
  if (!view.holdsBlock(offset, size)) return Rc::ChunkOutsideHeap;
  if (Rc rc = FreeByOffset(space).find(offset, level, around); failed(rc)) return rc;
  const NodeRef after = around.after[0];
  const std::uint64_t low = endOf(view, around.before[0]);
  const std::uint64_t high = after == view.last ? view.end : after.blockOffset();
  if (low > offset || offset + size > high) return view.traits().notFound;
  plan.offset = offset;
  plan.size = size;
  plan.mergesBefore = around.before[0].offset != view.head.offset && low == offset;
  plan.mergesAfter = after.offset != view.last.offset && high == offset + size;
  if (plan.needsNode()) return FreeBySize(space).find(size, level, plan.inserted.bySize);
  return planGrowth(view, around, plan);
}

void apply(const HeapView &view, const Return &plan, const NodeRef &node, NodeRef &freed) {
  freed = NodeRef{};
  if (plan.needsNode()) {
    writeWord<std::uint64_t>(&node.fields()->blockOffset, plan.offset);
    writeWord<std::uint64_t>(&node.fields()->blockSize, plan.size);
    writeWord<std::uint32_t>(&node.fields()->state, kNodeLive);
    writeWord<std::uint32_t>(&node.fields()->allocated, 0);
    apply(view, plan.inserted, node);
  } else {
    if (plan.mergesBefore && plan.mergesAfter) {
      apply(view, plan.swallowed);
      freed = plan.swallowed.node;
    }
    apply(view, plan.grown);
  }
  addTo(view.header->heapStat1, plan.size);
}

Rc replaceFree(const HeapView &view, const NodeRef &node, const NodeRef &with) {
  const FreeSpace space(view);
  Removal removal;
  removal.node = node;
  if (Rc rc = spliceFor(FreeByOffset(space), node, with, removal.byOffset); failed(rc)) return rc;
  if (Rc rc = spliceFor(FreeBySize(space), node, with, removal.bySize); failed(rc)) return rc;
  const Insertion insertion{removal.byOffset, removal.bySize};
  apply(view, removal);
  apply(view, insertion, with);
  return Rc::Ok;
}

}  // namespace sntr
