// See pool.h; and the exported operations on a pool that neither begin nor end a handle.
//
// A pool's handle does not say how much memory is mapped; the table of this process's mappings does, and bounds all
// that is done here. A handle that outlived the mapping is refused.
#include "shm/pool.h"

#include "layout/words.h"
#include "shm/heap_access.h"
#include "shm/mappings.h"
#include "sntr/pools.h"

namespace sntr {

HeapRef domainHeapOf(const ShmPoolHandle &pool, const HeapRef &heap) {
  return HeapRef{heap.base, pool.domainHeaderOffset, HeapType::Domain, heap.limit};
}

Rc poolHeap(const ShmPoolHandle *pool, HeapRef &heap) {
  if (pool == nullptr) return Rc::NullPoolHandle;
  if (pool->baseAddress == nullptr) return Rc::NullBase;
  if (!isMultipleOf8(pool->domainHeaderOffset)) return Rc::DomainOffsetUneven;
  const std::uint64_t offset = pool->poolHeaderOffset;
  if (!isMultipleOf8(offset)) return Rc::PoolOffsetUneven;
  if (!isMultipleOf8(pool->poolChunkOffset)) return Rc::PoolChunkOffsetUneven;
  const std::uint64_t mapped = mappedBytes(pool->baseAddress);
  if (mapped == 0) return Rc::NotADomain;
  // The domain's header stands before the pool's, so this holds for both.
  if (!liesWithin(offset, heapHeaderSize(0), pool->domainHeaderOffset, mapped)) return Rc::ChunkOutsideHeap;
  heap = HeapRef{static_cast<std::byte *>(pool->baseAddress), offset, HeapType::Pool, mapped};
  return Rc::Ok;
}

Rc latchPool(const ShmPoolHandle *pool) {
  HeapRef heap{};
  if (Rc rc = poolHeap(pool, heap); failed(rc)) return rc;
  return latchHeap(heap);
}

Rc unlatchPool(const ShmPoolHandle *pool) {
  HeapRef heap{};
  if (Rc rc = poolHeap(pool, heap); failed(rc)) return rc;
  return unlatchHeap(heap);
}

Rc poolInfo(const ShmPoolHandle *pool, ShmHeapInfo &info) {
  HeapRef heap{};
  if (Rc rc = poolHeap(pool, heap); failed(rc)) return rc;
  return heapInfo(heap, info);
}

namespace {

// The work of an operation on a pool, `Rc work(Trace &, const HeapRef &)`, after the handle's checks.
template <class Work>
std::uint32_t onPool(Fn fn, const ShmPoolHandle *pool, Work &&work) {
  return traced(fn, [&](Trace &t) {
    HeapRef heap{};
    if (Rc rc = poolHeap(pool, heap); failed(rc)) return t.failLogged(1, rc);
    return work(t, heap);
  });
}

}  // namespace

}  // namespace sntr

using sntr::Fn;
using sntr::HeapRef;
using sntr::onPool;
using sntr::Rc;
using sntr::Trace;

extern "C" {

uint32_t sntrGetShmPoolInfo(const ShmPoolHandle *pool, ShmHeapInfo *info) {
  return onPool(Fn::sntrGetShmPoolInfo, pool, [&](Trace &t, const HeapRef &heap) {
    if (info == nullptr) return t.failLogged(2, Rc::NullInfoRecord);
    return t.fail(3, sntr::heapInfo(heap, *info));
  });
}

uint32_t sntrLatchShmPool(const ShmPoolHandle *pool) {
  return onPool(Fn::sntrLatchShmPool, pool,
                [](Trace &t, const HeapRef &heap) { return t.fail(2, sntr::latchHeap(heap)); });
}

uint32_t sntrUnlatchShmPool(const ShmPoolHandle *pool) {
  return onPool(Fn::sntrUnlatchShmPool, pool,
                [](Trace &t, const HeapRef &heap) { return t.fail(2, sntr::unlatchHeap(heap)); });
}

uint32_t sntrSetPoolUserAppData(const ShmPoolHandle *pool, uint64_t size, const void *source) {
  return onPool(Fn::sntrSetPoolUserAppData, pool, [&](Trace &t, const HeapRef &heap) {
    if (source == nullptr) return t.failLogged(2, Rc::NullUserData);
    const Rc rc = sntr::copyUserDataIn(heap, size, source);
    return rc == Rc::BadUserAreaSize ? t.failLogged(3, rc) : t.fail(4, rc);
  });
}

uint32_t sntrGetPoolUserAppData(const ShmPoolHandle *pool, uint64_t *size, void *destination) {
  return onPool(Fn::sntrGetPoolUserAppData, pool, [&](Trace &t, const HeapRef &heap) {
    if (size == nullptr) return t.failLogged(2, Rc::NullStorageOutput);
    if (destination == nullptr) return t.failLogged(3, Rc::NullUserData);
    return t.fail(4, sntr::copyUserDataOut(heap, *size, destination));
  });
}

}  // extern "C"
