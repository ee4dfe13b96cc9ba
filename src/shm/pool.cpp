// SPDX-License-Identifier: MIT
// See pool.h; and the exported operations on a pool that neither begin nor end a handle.
//
// A pool's handle does not contain the size of the mapping; the table of this process's mappings does, and bounds
// everything here. A handle that outlived the mapping is refused.
#include "shm/pool.h"

#include "layout/words.h"
#include "shm/heap_access.h"
#include "shm/heap_operations.h"
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
  // The domain's header precedes the pool's, so this holds for both.
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

}  // namespace sntr

using namespace sntr;

extern "C" {

uint32_t sntrGetShmPoolInfo(const ShmPoolHandle *pool, ShmHeapInfo *info) {
  return getHeapInfo<poolHeap>(Fn::sntrGetShmPoolInfo, pool, info);
}

uint32_t sntrLatchShmPool(const ShmPoolHandle *pool) { return getHeapLatch<poolHeap>(Fn::sntrLatchShmPool, pool); }

uint32_t sntrUnlatchShmPool(const ShmPoolHandle *pool) {
  return releaseHeapLatch<poolHeap>(Fn::sntrUnlatchShmPool, pool);
}

uint32_t sntrSetPoolUserAppData(const ShmPoolHandle *pool, uint64_t size, const void *source) {
  return setUserData<poolHeap>(Fn::sntrSetPoolUserAppData, pool, size, source);
}

uint32_t sntrGetPoolUserAppData(const ShmPoolHandle *pool, uint64_t *size, void *destination) {
  return getUserData<poolHeap>(Fn::sntrGetPoolUserAppData, pool, size, destination);
}

}  // extern "C"
