// SPDX-License-Identifier: MIT
// The end of a pool: its chunk returns to the domain.
//
// Entries of the domain's shared lists that lie in the chunk are unlinked first. A process that dies after that leaves
// a pool with some unused blocks.
//
// Latch order: the domain's, and inside it the pool's, as everywhere. A thread that waits for the pool's latch gets it
// afterwards, finds no eyecatcher and leaves. No thread gets the chunk before the domain's latch is free.
#include "layout/version.h"
#include "layout/words.h"
#include "shm/chunk_pads.h"
#include "shm/heap_access.h"
#include "shm/pool.h"
#include "shm/pool_handle.h"
#include "shm/shared_lists.h"
#include "sntr/pools.h"

namespace sntr {

namespace {

// Checks both heaps and their selectors.
Rc checkBoth(const HeapRef &domain, const HeapRef &pool) {
  if (Rc rc = checkHeap(domain); failed(rc)) return rc;
  if (Rc rc = checkHeap(pool); failed(rc)) return rc;
  if (Rc rc = checkSelectors(domain); failed(rc)) return rc;
  return checkSelectors(pool);
}

// Checks that the handle's chunk is one that the domain allocated, and holds the pool.
Rc findChunk(const HeapRef &domain, const HeapRef &pool, std::uint64_t chunkOffset, std::uint64_t &size) {
  if (Rc rc = findChunkLatched(domain, chunkOffset, size); failed(rc)) return rc;
  const std::uint64_t total = readWord<std::uint64_t>(&headerOf(pool)->totalSize);
  const bool holds = pool.headerOffset >= chunkOffset + kPadTypeBefore && !addsOver(chunkOffset, size) &&
                     liesWithin(pool.headerOffset, total, chunkOffset, chunkOffset + size);
  return holds ? Rc::Ok : Rc::ChunkOutsideHeap;
}

// Takes the pool out of use, inside both sections. The pool is gone after this; before it, only list entries were
// unlinked.
void endPool(const HeapRef &pool) {
  endHeap(pool);
  writeWord<std::uint32_t>(pool.base + pool.headerOffset - kPadTypeBefore, kFreedPoolMark);
}

// Does the work inside the domain's section. Sets `ended` if the pool is gone, because later steps may still fail.
Rc endAndRelease(const HeapRef &domain, const HeapRef &pool, std::uint64_t chunkOffset, std::uint32_t mode,
                 bool &ended) {
  HeapView view;
  std::uint64_t size = 0;
  if (Rc rc = openHeap(domain, view); failed(rc)) return rc;
  const Rc ending = heapSection(pool, [&] {
    if (Rc rc = findChunk(domain, pool, chunkOffset, size); failed(rc)) return rc;
    const std::uint64_t connected = readWord<std::uint64_t>(&headerOf(pool)->connectCount);
    if (mode == SNTR_FREE_POOL_IF_UNUSED && connected > 1) return Rc::PoolInUse;
    unlinkEntriesWithin(view, chunkOffset, chunkOffset + size);
    endPool(pool);
    ended = true;
    return Rc::Ok;
  });
  // Releases the chunk without taking a latch: the domain's is held.
  return ended ? firstFailure(ending, releaseChunkLatched(domain, chunkOffset)) : ending;
}

Rc freePool(const Trace &t, ShmPoolHandle *&pool, std::uint32_t mode) {
  HeapRef heap{};
  if (Rc rc = poolHeap(pool, heap); failed(rc)) return t.failLogged(2, rc);
  const HeapRef domain = domainHeapOf(*pool, heap);
  if (Rc rc = checkBoth(domain, heap); failed(rc)) return t.fail(3, rc);
  const bool knownMode = mode == SNTR_FREE_POOL_IF_UNUSED || mode == SNTR_FREE_POOL_ALWAYS;
  if (!knownMode) return t.failLogged(4, Rc::BadPoolFreeMode);
  const std::uint64_t chunkOffset = pool->poolChunkOffset;
  bool ended = false;
  const Rc ending =
      t.fail(5, heapSection(domain, [&] { return endAndRelease(domain, heap, chunkOffset, mode, ended); }));
  if (!ended) return ending;
  return firstFailure(ending, t.fail(6, freeHandle(pool)));
}

}  // namespace

}  // namespace sntr

extern "C" {

uint32_t _sntrFreeShmPool(ShmPoolHandle **pool, uint32_t mode, uint32_t /*traceId*/, const char * /*sourceFile*/,
                          uint32_t /*line*/) {
  return sntr::traced(sntr::Fn::_sntrFreeShmPool, [&](sntr::Trace &t) {
    if (pool == nullptr) return t.failLogged(1, sntr::Rc::NullPoolHandle);
    return sntr::freePool(t, *pool, mode);
  });
}

}  // extern "C"
