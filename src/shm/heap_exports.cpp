// SPDX-License-Identifier: MIT
// The heap's exported operations, in the order of their header: argument checks around the functions of this room.
// Those documented so take the heap's latch; the others run inside the caller's.
#include "frame/trace.h"
#include "shm/allocated_list.h"
#include "shm/chunks.h"
#include "shm/free_list.h"
#include "shm/heap.h"
#include "shm/heap_view.h"
#include "shm/node_moves.h"
#include "sntr/heap.h"

namespace sntr {

namespace {

// Names the caller's heap; compares its stored offset before any other word. Probes 1 to 4 of every function here.
Rc nameHeap(const Trace &t, void *base, std::uint32_t heapType, std::uint64_t headerOffset, HeapRef &heap) {
  HeapType type{};
  if (base == nullptr) return t.failLogged(1, Rc::NullBase);
  if (Rc rc = heapTypeFrom(heapType, type); failed(rc)) return t.failLogged(2, rc);
  heap = HeapRef{static_cast<std::byte *>(base), headerOffset, type, addressesBehind(base)};
  const bool canBe = isMultipleOf8(headerOffset) && liesWithin(headerOffset, heapHeaderSize(0), 0, heap.limit);
  if (!canBe) return t.failLogged(3, traitsOf(type).offsetMismatch);
  const bool same = readWord<std::uint64_t>(&headerOf(heap)->heapHeaderOffset) == headerOffset;
  return same ? Rc::Ok : t.failLogged(4, traitsOf(type).offsetMismatch);
}

// Ends an operation. A block that does not exist is the caller's failure, and logged.
Rc ended(const Trace &t, HeapType type, Rc rc) {
  return rc == traitsOf(type).notFound ? t.failLogged(8, rc) : t.fail(9, rc);
}

// Names the heap and runs `Rc work(const HeapRef &)`. `outputs` is true if the caller gave all required outputs.
template <class Work>
std::uint32_t onHeap(Fn fn, void *base, std::uint32_t heapType, std::uint64_t headerOffset, bool outputs, Work &&work) {
  return traced(fn, [&](const Trace &t) {
    HeapRef heap;
    if (Rc rc = nameHeap(t, base, heapType, headerOffset, heap); failed(rc)) return rc;
    return outputs ? ended(t, heap.type, work(heap)) : t.failLogged(5, Rc::NullStorageOutput);
  });
}

// Opens the heap, whose latch the caller holds, and runs `Rc work(const HeapView &)` if `bool fits(const HeapView &)`
// accepts the caller's arguments.
template <class Fits, class Work>
std::uint32_t onLists(Fn fn, void *base, std::uint32_t heapType, std::uint64_t headerOffset, bool outputs, Fits &&fits,
                      Work &&work) {
  return traced(fn, [&](const Trace &t) {
    HeapRef heap;
    HeapView view;
    if (Rc rc = nameHeap(t, base, heapType, headerOffset, heap); failed(rc)) return rc;
    if (Rc rc = openHeap(heap, view); failed(rc)) return t.fail(6, rc);
    if (!outputs) return t.failLogged(5, Rc::NullStorageOutput);
    if (!fits(view)) return t.failLogged(7, Rc::ChunkOutsideHeap);
    return ended(t, heap.type, work(view));
  });
}

// Tests of the caller's arguments: none, a block, the space of a node.
constexpr auto kAnything = [](const HeapView &) { return true; };

auto blockFits(std::uint64_t offset, std::uint64_t size) {
  return [=](const HeapView &view) { return view.holdsBlock(offset, size); };
}

auto nodeFits(std::uint64_t offset) {
  return [=](const HeapView &view) {
    NodeRef node;
    return !failed(view.nodeSpace(offset, node));
  };
}

// Checks that a block that is to become free or allocated is neither now.
Rc checkUnused(const HeapView &view, std::uint64_t offset, std::uint64_t size) {
  Splice splice;
  Return unused;
  if (Rc rc = planRecord(view, offset, size, view.levels - 1, splice); failed(rc)) return rc;
  return planReturn(view, offset, size, 0, unused);
}

// Links a free node as its fields describe it, without merging.
Rc linkFree(const HeapView &view, const NodeRef &node, std::uint64_t offset, std::uint64_t size) {
  Insertion splice;
  if (Rc rc = planInsertion(view, offset, size, view.levels - 1, splice); failed(rc)) return rc;
  bringToLife(view, node, offset, size, false);
  apply(view, splice, node);
  addTo(view.header->heapStat1, size);
  return Rc::Ok;
}

Rc linkAllocated(const HeapView &view, const NodeRef &node, std::uint64_t offset, std::uint64_t size) {
  Splice splice;
  if (Rc rc = planRecord(view, offset, size, view.levels - 1, splice); failed(rc)) return rc;
  bringToLife(view, node, offset, size, true);
  enterRecord(view, node, splice);
  return Rc::Ok;
}

// Runs `Rc link(node)` on a new slot; gives the slot back if that fails.
template <class Link>
Rc linkNewNode(const HeapView &view, std::uint32_t currentLevel, Link &&link) {
  NodeRef slot;
  if (Rc rc = obtainSlot(view, chooseLevel(currentLevel, view.levels), slot); failed(rc)) return rc;
  const Rc rc = link(slot);
  if (failed(rc)) giveBack(view, slot);
  return rc;
}

// Runs `Rc link(node)` on a dead node with its old fields; the node stays dead if that fails.
template <class Link>
Rc linkOldNode(const HeapView &view, std::uint64_t offset, Link &&link) {
  NodeRef node;
  if (Rc rc = view.nodeSpace(offset, node); failed(rc)) return rc;
  if (Rc rc = checkUnused(view, node.blockOffset(), node.blockSize()); failed(rc)) return rc;
  if (Rc rc = reclaim(view, node); failed(rc)) return rc;
  const Rc rc = link(node);
  if (failed(rc)) giveBack(view, node);
  return rc;
}

Rc insertFreeChunk(const HeapView &view, std::uint64_t offset, std::uint64_t size) {
  if (Rc rc = checkUnused(view, offset, size); failed(rc)) return rc;
  const StatedIntent intent(view, Intent::Link, offset);
  return linkNewNode(view, FreeSpace(view).currentLevel(),
                     [&](const NodeRef &slot) { return linkFree(view, slot, offset, size); });
}

Rc insertAllocatedChunk(const HeapView &view, std::uint64_t offset, std::uint64_t size) {
  Splice unused;
  if (Rc rc = planRecord(view, offset, size, view.levels - 1, unused); failed(rc)) return rc;
  const StatedIntent intent(view, Intent::Link, offset);
  return linkNewNode(view, AllocatedSpace(view).currentLevel(),
                     [&](const NodeRef &slot) { return linkAllocated(view, slot, offset, size); });
}

Rc returnFreeBlock(const HeapView &view, std::uint64_t offset, std::uint64_t size) {
  if (Rc rc = checkUnused(view, offset, size); failed(rc)) return rc;
  const StatedIntent intent(view, Intent::Link, offset);
  Return plan;
  if (Rc rc = planReturn(view, offset, size, 0, plan); failed(rc)) return rc;
  if (plan.needsNode()) return insertFreeChunk(view, offset, size);
  NodeRef freed;
  apply(view, plan, NodeRef{}, freed);
  if (freed.exists()) recycle(view, freed);
  return Rc::Ok;
}

Rc deleteFreeBlock(const HeapView &view, std::uint64_t offset) {
  NodeRef node;
  Removal removal;
  if (Rc rc = view.node(offset, Listed::Free, node); failed(rc)) return rc;
  if (Rc rc = planRemoval(view, node, removal); failed(rc)) return rc;
  const StatedIntent intent(view, Intent::Link, node.blockOffset());
  apply(view, removal);
  takeFrom(view.header->heapStat1, node.blockSize());
  recycle(view, node);
  return Rc::Ok;
}

Rc deleteAllocatedBlock(const HeapView &view, std::uint64_t offset, std::uint64_t &size) {
  Record record;
  if (Rc rc = findRecord(view, offset, record); failed(rc)) return rc;
  if (record.node.state() != kNodeLive) return view.traits().notFound;
  const StatedIntent intent(view, Intent::Link, offset);
  size = record.node.blockSize();
  removeRecord(view, record);
  recycle(view, record.node);
  return Rc::Ok;
}

Rc findFreeBlock(const HeapView &view, std::uint64_t offset, std::uint64_t &node, std::uint64_t &size) {
  NodeRef found;
  if (Rc rc = findFreeFrom(view, offset, found); failed(rc)) return rc;
  if (found == view.last || found.blockOffset() != offset) return view.traits().notFound;
  node = found.offset;
  size = found.blockSize();
  return Rc::Ok;
}

Rc changeSpace(const HeapView &view, std::uint64_t leastGrowth) {
  if (leastGrowth > view.total) return view.traits().full;
  return grow(view, kLeastExtent + roundUp8(leastGrowth), NodeRef{}, 0);
}

}  // namespace

}  // namespace sntr

using namespace sntr;

uint32_t sntrCreateInitStorageHeap(void *base, uint32_t heapType, uint64_t totalSize, uint64_t headerOffset,
                                   uint64_t slotCount, uint64_t maxLevel, uint64_t headerSize, uint64_t slHeaderSize,
                                   uint64_t slAreaSize, uint64_t granule, uint64_t userAreaSize, const void *userData,
                                   uint64_t latchSelector, uint64_t reservedSelector, uint64_t handleAllocSelector,
                                   uint64_t initialFlags, uint64_t typeWord) {
  const HeapPlan plan{totalSize,           headerOffset, slotCount,    maxLevel, headerSize,    slHeaderSize,
                      slAreaSize,          granule,      userAreaSize, userData, latchSelector, reservedSelector,
                      handleAllocSelector, initialFlags, typeWord};
  return traced(Fn::sntrCreateInitStorageHeap, [&](const Trace &t) {
    HeapType type{};
    if (base == nullptr) return t.failLogged(1, Rc::NullBase);
    if (Rc rc = heapTypeFrom(heapType, type); failed(rc)) return t.failLogged(2, rc);
    return t.fail(3, createHeap(static_cast<std::byte *>(base), type, plan));
  });
}

uint32_t sntrConnectToStorageHeap(void *base, uint32_t heapType, uint64_t headerOffset) {
  return onHeap(Fn::sntrConnectToStorageHeap, base, heapType, headerOffset, true,
                [](const HeapRef &heap) { return connectHeap(heap); });
}

uint32_t sntrDisconnectFromStorageHeap(void *base, uint32_t heapType, uint64_t headerOffset) {
  return onHeap(Fn::sntrDisconnectFromStorageHeap, base, heapType, headerOffset, true,
                [](const HeapRef &heap) { return disconnectHeap(heap); });
}

uint32_t sntrGetMemChunkFromShmHeap(void *base, uint32_t heapType, uint64_t headerOffset, uint64_t size,
                                    uint32_t /*traceId*/, const char * /*sourceFile*/, uint32_t /*line*/,
                                    uint64_t *chunkOffset, uint64_t *userOffset) {
  const bool outputs = chunkOffset != nullptr && userOffset != nullptr;
  return onHeap(Fn::sntrGetMemChunkFromShmHeap, base, heapType, headerOffset, outputs, [&](const HeapRef &heap) {
    Chunk chunk;
    if (Rc rc = allocateChunk(heap, size, chunk); failed(rc)) return rc;
    *chunkOffset = chunk.offset;
    *userOffset = chunk.userOffset;
    return Rc::Ok;
  });
}

uint32_t sntrReturnMemChunkToShmHeap(void *base, uint32_t heapType, uint64_t headerOffset, uint64_t chunkOffset,
                                     uint32_t /*traceId*/, const char * /*sourceFile*/, uint32_t /*line*/) {
  return onHeap(Fn::sntrReturnMemChunkToShmHeap, base, heapType, headerOffset, true,
                [&](const HeapRef &heap) { return releaseChunk(heap, chunkOffset); });
}

uint32_t sntrGetFreeBlockFromSList(void *base, uint32_t heapType, uint64_t headerOffset, uint64_t size,
                                   uint64_t *chunkOffset) {
  const auto sizeFits = [&](const HeapView &) { return size != 0 && isMultipleOf8(size); };
  return onLists(Fn::sntrGetFreeBlockFromSList, base, heapType, headerOffset, chunkOffset != nullptr, sizeFits,
                 [&](const HeapView &view) { return takeFreeBlock(view, size, *chunkOffset); });
}

uint32_t sntrFindFreeBlockInSList(void *base, uint32_t heapType, uint64_t headerOffset, uint64_t offset, uint64_t *node,
                                  uint64_t *size) {
  return onLists(Fn::sntrFindFreeBlockInSList, base, heapType, headerOffset, node != nullptr && size != nullptr,
                 kAnything, [&](const HeapView &view) { return findFreeBlock(view, offset, *node, *size); });
}

uint32_t sntrReturnFreeBlockToSList(void *base, uint32_t heapType, uint64_t headerOffset, uint64_t offset,
                                    uint64_t size) {
  return onLists(Fn::sntrReturnFreeBlockToSList, base, heapType, headerOffset, true, blockFits(offset, size),
                 [&](const HeapView &view) { return returnFreeBlock(view, offset, size); });
}

uint32_t sntrInsertFreeMemChunk(void *base, uint32_t heapType, uint64_t headerOffset, uint64_t offset, uint64_t size) {
  return onLists(Fn::sntrInsertFreeMemChunk, base, heapType, headerOffset, true, blockFits(offset, size),
                 [&](const HeapView &view) { return insertFreeChunk(view, offset, size); });
}

uint32_t sntrInsertFreeMemBlock(void *base, uint32_t heapType, uint64_t headerOffset, uint64_t node) {
  return onLists(Fn::sntrInsertFreeMemBlock, base, heapType, headerOffset, true, nodeFits(node),
                 [&](const HeapView &view) {
                   return linkOldNode(view, node, [&](const NodeRef &old) {
                     const StatedIntent intent(view, Intent::Link, old.blockOffset());
                     return linkFree(view, old, old.blockOffset(), old.blockSize());
                   });
                 });
}

uint32_t sntrDeleteFreeMemBlock(void *base, uint32_t heapType, uint64_t headerOffset, uint64_t node) {
  return onLists(Fn::sntrDeleteFreeMemBlock, base, heapType, headerOffset, true, nodeFits(node),
                 [&](const HeapView &view) { return deleteFreeBlock(view, node); });
}

uint32_t sntrInsertAllocMemChunk(void *base, uint32_t heapType, uint64_t headerOffset, uint64_t offset, uint64_t size) {
  return onLists(Fn::sntrInsertAllocMemChunk, base, heapType, headerOffset, true, blockFits(offset, size),
                 [&](const HeapView &view) { return insertAllocatedChunk(view, offset, size); });
}

uint32_t sntrInsertAllocMemBlock(void *base, uint32_t heapType, uint64_t headerOffset, uint64_t node) {
  return onLists(Fn::sntrInsertAllocMemBlock, base, heapType, headerOffset, true, nodeFits(node),
                 [&](const HeapView &view) {
                   return linkOldNode(view, node, [&](const NodeRef &old) {
                     const StatedIntent intent(view, Intent::Link, old.blockOffset());
                     return linkAllocated(view, old, old.blockOffset(), old.blockSize());
                   });
                 });
}

uint32_t sntrDeleteAllocMemBlock(void *base, uint32_t heapType, uint64_t headerOffset, uint64_t offset,
                                 uint64_t *size) {
  return onLists(Fn::sntrDeleteAllocMemBlock, base, heapType, headerOffset, size != nullptr, kAnything,
                 [&](const HeapView &view) { return deleteAllocatedBlock(view, offset, *size); });
}

uint32_t sntrDefragmentSList(void *base, uint32_t heapType, uint64_t headerOffset) {
  return onLists(Fn::sntrDefragmentSList, base, heapType, headerOffset, true, kAnything,
                 [](const HeapView &view) { return compactAll(view); });
}

uint32_t sntrDefragmentSLInPlace(void *base, uint32_t heapType, uint64_t headerOffset) {
  return onLists(Fn::sntrDefragmentSLInPlace, base, heapType, headerOffset, true, kAnything,
                 [](const HeapView &view) { return compactArea(view); });
}

uint32_t sntrChangeSlistSpace(void *base, uint32_t heapType, uint64_t headerOffset, uint64_t leastGrowth) {
  return onLists(Fn::sntrChangeSlistSpace, base, heapType, headerOffset, true, kAnything,
                 [&](const HeapView &view) { return changeSpace(view, leastGrowth); });
}
