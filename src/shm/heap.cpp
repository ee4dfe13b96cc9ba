// SPDX-License-Identifier: MIT
// See heap.h: the heap's section, its connections, and allocation and release from outside the section.
#include "shm/heap.h"

#include "shm/chunk_pads.h"
#include "shm/chunks.h"
#include "shm/heap_repair.h"
#include "shm/heap_view.h"

namespace sntr {

namespace {

// Reads the pads of the heap's settings under the latch that guards them, and leaves it before the heap's own is taken.
Rc readPadSettings(const HeapView &view, ChunkPads &pads) {
  DebugSettings &settings = view.tail->debug;
  std::uint64_t owner = 0;
  if (Rc rc = enterExclusive(&view.tail->skipListLatch, owner); failed(rc)) return rc;
  const std::uint32_t type = readWord<std::uint32_t>(&settings.padType);
  const std::uint32_t front = readWord<std::uint32_t>(&settings.frontPadWords);
  const std::uint32_t back = readWord<std::uint32_t>(&settings.backPadWords);
  writeWord<std::uint32_t>(&settings.debugUsed, 1);
  const Rc read = padsFor(type, front, back, pads);
  return firstFailure(read, exitExclusive(&view.tail->skipListLatch, owner));
}

Rc allocateLatched(const HeapView &view, std::uint64_t size, const ChunkPads &pads, Chunk &chunk) {
  const std::uint64_t padded = roundUp8(size) + pads.added;
  if (readWord<std::uint64_t>(&view.header->heapStat1) < padded) return view.traits().full;
  std::uint64_t offset = 0;
  if (Rc rc = takeChunk(view, padded, size, pads, offset); failed(rc)) return rc;
  chunk = Chunk{offset, offset + pads.front};
  return Rc::Ok;
}

enum class Move : bool { Down, Up };

// Moves connectCount up or down, never below 0. Returns true if it moved.
bool moveConnections(const HeapRef &heap, Move move) {
  std::uint64_t *const count = &headerOf(heap)->connectCount;
  const std::uint64_t now = readWord<std::uint64_t>(count);
  if (move == Move::Down && now == 0) return false;
  writeWord<std::uint64_t>(count, move == Move::Up ? now + 1 : now - 1);
  return true;
}

// Moves connectCount in the heap's section. If only leaving the section fails, the count moves back: the caller gets a
// failure, and the connection counts as before.
Rc changeConnections(const HeapRef &heap, Move move) {
  bool moved = false;
  const Rc rc = heapSection(heap, [&] {
    const std::uint64_t flags = readWord<std::uint64_t>(&headerOf(heap)->domainFlags);
    if (move == Move::Up && (flags & kFlagMarkedForDeletion) != 0) return traitsOf(heap.type).marked;
    moved = moveConnections(heap, move);
    return Rc::Ok;
  });
  if (!moved || !failed(rc)) return rc;
  const Move back = move == Move::Up ? Move::Down : Move::Up;
  return firstFailure(rc, heapSection(heap, [&] {
                        moveConnections(heap, back);
                        return Rc::Ok;
                      }));
}

}  // namespace

Rc enterHeap(const HeapRef &heap) {
  HeapView view;
  return enterHeap(heap, view);
}

Rc enterHeap(const HeapRef &heap, HeapView &view) {
  if (Rc rc = checkHeap(heap); failed(rc)) return rc;
  ExclusiveLatch *const latch = &headerOf(heap)->heapLatch;
  if (Rc rc = enterExclusive(latch, view.latchOwner); failed(rc)) return rc;
  // Opening tests the offset and the size again.
  const HeapTraits &traits = traitsOf(heap.type);
  Rc rc = readWord<std::uint64_t>(&headerOf(heap)->eyecatcher) == traits.eyecatcher ? Rc::Ok : traits.notThis;
  if (!failed(rc)) rc = openHeap(heap, view);
  if (failed(rc)) return firstFailure(rc, exitExclusive(latch, view.latchOwner));
  if (readWord<std::uint64_t>(&view.area->intent) != 0) repairHeap(view);
  return Rc::Ok;
}

Rc leaveHeap(const HeapRef &heap) { return exitExclusive(&headerOf(heap)->heapLatch); }

Rc leaveHeap(const HeapRef &heap, const HeapView &view) {
  return exitExclusive(&headerOf(heap)->heapLatch, view.latchOwner);
}

Rc connectHeap(const HeapRef &heap) { return changeConnections(heap, Move::Up); }

Rc disconnectHeap(const HeapRef &heap) { return changeConnections(heap, Move::Down); }

Rc allocateChunk(const HeapRef &heap, std::uint64_t size, Chunk &chunk) {
  HeapView view;
  ChunkPads pads;
  if (Rc rc = checkHeap(heap); failed(rc)) return rc;
  if (Rc rc = openHeader(heap, view); failed(rc)) return rc;
  const Rc settings = size > view.total ? view.traits().full : readPadSettings(view, pads);
  // Opens the skip-list area only for its code: if it is damaged too, that failure takes precedence.
  if (failed(settings)) return firstFailure(openHeap(heap, view), settings);
  // Opens again inside the section: what was read before taking the latch may have changed.
  if (Rc rc = enterHeap(heap, view); failed(rc)) return rc;
  const Rc taken = allocateLatched(view, size, pads, chunk);
  const Rc rc = firstFailure(taken, leaveHeap(heap, view));
  // Only leaving failed: the caller does not get the chunk, so it is released.
  return failed(rc) && !failed(taken) ? firstFailure(rc, releaseChunk(heap, chunk.offset)) : rc;
}

Rc releaseChunk(const HeapRef &heap, std::uint64_t chunkOffset) {
  bool released = false;
  return releaseChunk(heap, chunkOffset, released);
}

Rc releaseChunk(const HeapRef &heap, std::uint64_t chunkOffset, bool &released) {
  HeapView view;
  if (Rc rc = enterHeap(heap, view); failed(rc)) return rc;
  const Rc done = returnChunkAt(view, chunkOffset);
  released = !failed(done);
  return firstFailure(done, leaveHeap(heap, view));
}

Rc releaseChunkLatched(const HeapRef &heap, std::uint64_t chunkOffset) {
  HeapView view;
  if (Rc rc = openHeap(heap, view); failed(rc)) return rc;
  return returnChunkAt(view, chunkOffset);
}

Rc findChunkLatched(const HeapRef &heap, std::uint64_t chunkOffset, std::uint64_t &chunkSize) {
  HeapView view;
  Record record;
  if (Rc rc = openHeap(heap, view); failed(rc)) return rc;
  if (Rc rc = findRecord(view, chunkOffset, record); failed(rc)) return rc;
  if (record.node.state() != kNodeLive) return view.traits().notFound;
  chunkSize = record.node.blockSize();
  return Rc::Ok;
}

Rc heapInfo(const HeapRef &heap, ShmHeapInfo &info) {
  HeapView view;
  if (Rc rc = checkHeap(heap); failed(rc)) return rc;
  if (Rc rc = openHeap(heap, view); failed(rc)) return rc;
  const HeapHeader &h = *view.header;
  const SkipArea &a = *view.area;
  const auto word = [](const std::uint64_t &at) { return readWord<std::uint64_t>(&at); };
  info = ShmHeapInfo{
      word(h.reservedSelector),
      word(h.handleAllocSelector),
      word(h.latchSelector),
      word(h.domainFlags),
      word(h.heapHeaderOffset),
      word(h.connectCount),
      word(h.totalSize),
      word(h.heapStat1),
      word(h.heapStat2),
      word(h.slotCount),
      word(h.granule),
      word(h.userAppAreaSize),
      word(a.maxLevel),
      word(a.slAreaSize),
      word(a.slBytesUsed),
      word(a.allocatedCount),
      word(a.slNodeCount),
      word(a.allocatedLevel),
      word(a.intent),
      FreeSpace(view).currentLevel(),
      word(view.tail->topNode[0]),
      word(view.tail->lists.attached),
  };
  return Rc::Ok;
}

}  // namespace sntr
