// SPDX-License-Identifier: MIT
// Pools, for the rest of the library: a handle's checks, and the operations that return a code. A pool is a chunk of
// its domain's heap that holds a heap of its own; blocks come from pools only.
// Latch order: the domain's latch before the pool's, which guards the pool's lists. A holder of a pool's latch calls no
// domain operation, and nothing of that pool that takes its latch: the latch refuses its holder (LatchFailed).
//
// Thread safety: any thread of any process; the handle belongs to this process and is only read here.
#pragma once

#include "shm/heap.h"

namespace sntr {

// Checks a handle and returns its heap. Returns NullPoolHandle, NullBase, DomainOffsetUneven, PoolOffsetUneven,
// PoolChunkOffsetUneven; NotADomain if this process no longer has the domain; ChunkOutsideHeap if the pool's header
// lies outside its mapping. Reads no shared word; checkHeap() does.
Rc poolHeap(const ShmPoolHandle *pool, HeapRef &heap);

// Returns the domain that holds the pool, for a handle of which poolHeap() made `heap`.
HeapRef domainHeapOf(const ShmPoolHandle &pool, const HeapRef &heap);

// Return poolHeap()'s codes, NotAPool, PoolOffsetMismatch, LatchFailed, BadLatchVersion. A failed latchPool() leaves
// nothing held. unlatchPool() releases the latch if this thread holds it, even if the eyecatcher has gone, and then
// returns that.
Rc latchPool(const ShmPoolHandle *pool);
Rc unlatchPool(const ShmPoolHandle *pool);

// Takes no latch; a caller that needs a snapshot holds the pool's. Returns the codes of poolHeap() and heapInfo().
Rc poolInfo(const ShmPoolHandle *pool, ShmHeapInfo &info);

// Takes a block of at least `size` bytes from the pool, under the pool's latch. Returns poolHeap()'s and checkHeap()'s
// codes; PoolGranuleBad, PoolGranuleUneven; PoolFull, PoolNoBlockLargeEnough; the pads' codes; ChunkOutsideHeap; latch
// codes. Writes `block` on success only.
Rc allocateBlock(const ShmPoolHandle *pool, std::uint64_t size, void *&block);

// Releases a block, under the pool's latch, and nulls the caller's address. Returns poolHeap()'s and checkHeap()'s
// codes; NullBlock, BlockBelowDomain, ChunkOutsideHeap, UnknownPadType, BadFrontPadCount, ChunkBelowDomain,
// ChunkUneven, PoolBlockNotFound, latch codes. A failure leaves the block allocated and the address unchanged; but if
// only releasing the latch failed, the block is free and the address null.
Rc freeBlock(const ShmPoolHandle *pool, void *&block);

}  // namespace sntr
