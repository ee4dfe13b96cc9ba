// SPDX-License-Identifier: MIT
// Connecting to a pool and disconnecting from it. The pool's offset comes from another process: nothing there is read
// before it is known to lie inside the domain, and nothing is used before the header is checked.
#include "layout/words.h"
#include "shm/chunk_pads.h"
#include "shm/domain.h"
#include "shm/pool.h"
#include "shm/pool_handle.h"
#include "sntr/pools.h"

namespace sntr {

namespace {

// Finds the heap at the caller's offset. Returns PoolOffsetUneven, ChunkOutsideHeap, or checkHeap()'s codes. Probes 5
// to 8; an impossible offset is the caller's failure, and logged.
Rc findPool(const Trace &t, const HeapRef &domain, std::uint64_t offset, HeapRef &pool) {
  if (!isMultipleOf8(offset)) return t.failLogged(5, Rc::PoolOffsetUneven);
  const std::uint64_t end = readWord<std::uint64_t>(&headerOf(domain)->totalSize);
  // The total is read a second time here, after checkHeap() compared it with the mapped size.
  if (end > domain.limit) return t.fail(6, Rc::NotADomain);
  if (!liesWithin(offset, heapHeaderSize(0), domain.headerOffset, end)) return t.failLogged(7, Rc::ChunkOutsideHeap);
  pool = HeapRef{domain.base, offset, HeapType::Pool, end};
  return t.fail(8, checkHeap(pool));
}

// Computes the start of the pool's chunk from the pads before its header.
Rc findChunkOfPool(const HeapRef &domain, const HeapRef &pool, std::uint64_t &chunkOffset) {
  const std::uint64_t available = pool.headerOffset - domain.headerOffset;
  std::uint64_t front = 0;
  if (Rc rc = frontOfBlock(pool.base + pool.headerOffset, available, front); failed(rc)) return rc;
  if (front > available) return Rc::ChunkBelowDomain;
  chunkOffset = pool.headerOffset - front;
  return isMultipleOf8(chunkOffset) ? Rc::Ok : Rc::ChunkUneven;
}

// Reads the pads before counting the connection, so that there is less to undo.
Rc connectPool(const Trace &t, const HeapRef &domain, std::uint64_t offset, ShmPoolHandle *&out) {
  HeapRef pool{};
  if (Rc rc = findPool(t, domain, offset, pool); failed(rc)) return rc;
  ShmPoolHandle draft{domain.base, domain.headerOffset, offset, 0};
  if (Rc rc = findChunkOfPool(domain, pool, draft.poolChunkOffset); failed(rc)) return t.fail(9, rc);
  if (Rc rc = connectHeap(pool); failed(rc)) return t.fail(10, rc);
  const Rc stored = storeHandle(draft, out);
  if (failed(stored)) t.note(11, disconnectHeap(pool));
  return t.fail(12, stored);
}

// Disconnects. The pool's blocks stay: they belong to the pool, not to the process that allocated them.
Rc disconnectPool(const Trace &t, ShmPoolHandle *&pool) {
  HeapRef heap{};
  if (Rc rc = poolHeap(pool, heap); failed(rc)) return t.failLogged(2, rc);
  if (Rc rc = checkHeap(heap); failed(rc)) return t.fail(3, rc);
  if (Rc rc = disconnectHeap(heap); failed(rc)) return t.fail(4, rc);
  return t.fail(5, freeHandle(pool));
}

}  // namespace

}  // namespace sntr

using sntr::Fn;
using sntr::Rc;
using sntr::Trace;

extern "C" {

uint32_t sntrConnectToShmPool(ShmPoolHandle **pool, ShmDomainHandle *domain, uint64_t poolHeaderOffset,
                              const void *further) {
  return sntr::traced(Fn::sntrConnectToShmPool, [&](Trace &t) {
    if (pool == nullptr) return t.failLogged(1, Rc::NullPoolHandle);
    sntr::HeapRef heap{};
    if (Rc rc = sntr::domainHeap(domain, heap); failed(rc)) return t.failLogged(2, rc);
    if (further == nullptr) return t.failLogged(3, Rc::NullStorageOutput);
    if (Rc rc = sntr::checkHeap(heap); failed(rc)) return t.fail(4, rc);
    return sntr::connectPool(t, heap, poolHeaderOffset, *pool);
  });
}

uint32_t sntrDisconnectFromShmPool(ShmPoolHandle **pool) {
  return sntr::traced(Fn::sntrDisconnectFromShmPool, [&](Trace &t) {
    if (pool == nullptr) return t.failLogged(1, Rc::NullPoolHandle);
    return sntr::disconnectPool(t, *pool);
  });
}

}  // extern "C"
