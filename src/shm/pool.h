// Pools as the rest of the library uses them: a handle's checks, and the operations on a pool that answer with a code.
//
// A pool is a chunk of its domain's heap that holds a heap of its own; blocks come from pools only. Any thread of any
// process; the handle belongs to this process and is only read here. A pool's latch guards the pool's lists; where both
// are needed, the domain's latch is taken before the pool's. Who holds a pool's latch calls no domain operation, and
// nothing of that pool that takes its latch: the latch refuses its holder (LatchFailed).
#pragma once

#include "shm/heap.h"

namespace sntr {

// Turns a handle into the heap that it names, after checking the handle: NullPoolHandle, NullBase, DomainOffsetUneven,
// PoolOffsetUneven, PoolChunkOffsetUneven; NotADomain if this process no longer has the domain, ChunkOutsideHeap if the
// pool's header does not lie in what is mapped of it. No shared word is looked at: that is checkHeap()'s.
Rc poolHeap(const ShmPoolHandle *pool, HeapRef &heap);

// The domain that holds the pool, for a handle of which poolHeap() made `heap`.
HeapRef domainHeapOf(const ShmPoolHandle &pool, const HeapRef &heap);

// poolHeap()'s codes, NotAPool, PoolOffsetMismatch, LatchFailed, BadLatchVersion. A failed latchPool() leaves nothing
// held; unlatchPool() gives the latch back if this thread holds it, even where the eyecatcher has gone, and then tells
// of that.
Rc latchPool(const ShmPoolHandle *pool);
Rc unlatchPool(const ShmPoolHandle *pool);

// Takes no latch; a caller that needs words of one moment holds the pool's. poolHeap()'s and checkHeap()'s codes.
Rc poolInfo(const ShmPoolHandle *pool, ShmHeapInfo &info);

// Takes a block of at least `size` bytes from the pool, under the pool's latch. poolHeap()'s and checkHeap()'s codes;
// PoolGranuleBad, PoolGranuleUneven; PoolFull, PoolNoBlockLargeEnough; the pads' codes; ChunkOutsideHeap; latch codes.
// `block` is written on success only.
Rc allocateBlock(const ShmPoolHandle *pool, std::uint64_t size, void *&block);

// Gives a block back, under the pool's latch, and nulls the caller's address. poolHeap()'s and checkHeap()'s codes;
// NullBlock, BlockBelowDomain, ChunkOutsideHeap, UnknownPadType, BadFrontPadCount, ChunkBelowDomain, ChunkUneven,
// PoolBlockNotFound, latch codes. A failure leaves the block allocated and the address alone; but where only the latch
// could not be given back, the block is free and the address null.
Rc freeBlock(const ShmPoolHandle *pool, void *&block);

}  // namespace sntr
