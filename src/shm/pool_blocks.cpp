// SPDX-License-Identifier: MIT
// Blocks: the memory of nodes and of anything else in a pool.
//
// A caller's address may be anything. It is compared with the domain before a byte near it is read, and the words
// before it are only a hint: the pool's own record decides whether there is a chunk.
#include "layout/words.h"
#include "shm/chunk_pads.h"
#include "shm/pool.h"
#include "sntr/pools.h"

namespace sntr {

namespace {

// Rounds the size up to the pool's granule, read once. A granule above the total is damage: no pool is created so.
Rc granularSize(const HeapRef &heap, std::uint64_t size, std::uint64_t &rounded) {
  const std::uint64_t granule = readWord<std::uint64_t>(&headerOf(heap)->granule);
  const std::uint64_t total = readWord<std::uint64_t>(&headerOf(heap)->totalSize);
  if (!isMultipleOf8(granule)) return Rc::PoolGranuleUneven;
  if (granule == 0 || granule > total) return Rc::PoolGranuleBad;
  if (size > total || addsOver(size, granule)) return Rc::PoolFull;
  // The usual granule without the division.
  rounded = granule == kWordSize ? roundUp8(size) : (size + granule - 1) / granule * granule;
  return Rc::Ok;
}

// Returns true if a chunk of the pool can begin there; its record decides later whether one does.
bool holdsChunk(const HeapRef &heap, std::uint64_t chunkOffset) {
  return liesWithin(chunkOffset, 0, heap.headerOffset, heap.limit) &&
         chunkOffset - heap.headerOffset <= readWord<std::uint64_t>(&headerOf(heap)->totalSize);
}

// Checks the header without the latch, because granule and total determine the request. The allocation checks it again.
Rc allocateIn(const HeapRef &heap, std::uint64_t size, void *&block) {
  if (Rc rc = checkHeap(heap); failed(rc)) return rc;
  std::uint64_t rounded = 0;
  if (Rc rc = granularSize(heap, size, rounded); failed(rc)) return rc;
  Chunk chunk{};
  if (Rc rc = allocateChunk(heap, rounded, chunk); failed(rc)) return rc;
  if (!holdsChunk(heap, chunk.offset)) {
    // Only a header that changed meanwhile leads here.
    return firstFailure(Rc::ChunkOutsideHeap, releaseChunk(heap, chunk.offset));
  }
  block = heap.base + chunk.userOffset;
  return Rc::Ok;
}

// Finds the start of a block's chunk.
Rc findChunkOf(const HeapRef &heap, const std::byte *block, std::uint64_t &chunkOffset) {
  // Compared as numbers: the two addresses need not belong to one object.
  const auto address = reinterpret_cast<std::uintptr_t>(block);
  const auto base = reinterpret_cast<std::uintptr_t>(heap.base);
  if (address < base) return Rc::BlockBelowDomain;
  const std::uint64_t offset = address - base;
  if (offset > heap.limit) return Rc::ChunkOutsideHeap;
  std::uint64_t front = 0;
  if (Rc rc = frontOfBlock(block, offset, front); failed(rc)) return rc;
  if (front > offset) return Rc::ChunkBelowDomain;
  chunkOffset = offset - front;
  if (!isMultipleOf8(chunkOffset)) return Rc::ChunkUneven;
  return holdsChunk(heap, chunkOffset) ? Rc::Ok : Rc::ChunkOutsideHeap;
}

// Clears the caller's address, so that a second release fails as null and is not looked up as a stray address.
Rc releaseAt(const HeapRef &heap, std::uint64_t chunkOffset, void *&block) {
  bool released = false;
  const Rc rc = releaseChunk(heap, chunkOffset, released);
  // Also if only leaving the latch failed: the bytes may belong to another caller by now.
  if (released) block = nullptr;
  return rc;
}

// Frees a block with traces, from probe 4 on. A block that does not exist is the caller's failure, and logged.
Rc freeTraced(const Trace &t, const HeapRef &heap, void *&block) {
  std::uint64_t chunkOffset = 0;
  if (Rc rc = checkHeap(heap); failed(rc)) return t.fail(4, rc);
  if (Rc rc = findChunkOf(heap, static_cast<const std::byte *>(block), chunkOffset); failed(rc)) {
    return t.failLogged(5, rc);
  }
  const Rc rc = releaseAt(heap, chunkOffset, block);
  return rc == Rc::PoolBlockNotFound ? t.failLogged(6, rc) : t.fail(7, rc);
}

}  // namespace

Rc allocateBlock(const ShmPoolHandle *pool, std::uint64_t size, void *&block) {
  HeapRef heap{};
  if (Rc rc = poolHeap(pool, heap); failed(rc)) return rc;
  return allocateIn(heap, size, block);
}

Rc freeBlock(const ShmPoolHandle *pool, void *&block) {
  HeapRef heap{};
  if (Rc rc = poolHeap(pool, heap); failed(rc)) return rc;
  if (block == nullptr) return Rc::NullBlock;
  if (Rc rc = checkHeap(heap); failed(rc)) return rc;
  std::uint64_t chunkOffset = 0;
  if (Rc rc = findChunkOf(heap, static_cast<const std::byte *>(block), chunkOffset); failed(rc)) return rc;
  return releaseAt(heap, chunkOffset, block);
}

}  // namespace sntr

using sntr::Fn;
using sntr::Rc;
using sntr::Trace;

extern "C" {

uint32_t _sntrAllocateShmBlock(void **block, const ShmPoolHandle *pool, uint64_t size, uint32_t /*traceId*/,
                               const char * /*sourceFile*/, uint32_t /*line*/) {
  return sntr::traced(Fn::_sntrAllocateShmBlock, [&](Trace &t) {
    sntr::HeapRef heap{};
    if (Rc rc = sntr::poolHeap(pool, heap); failed(rc)) return t.failLogged(1, rc);
    if (block == nullptr) return t.failLogged(2, Rc::NullStorageOutput);
    return t.fail(3, sntr::allocateIn(heap, size, *block));
  });
}

uint32_t _sntrFreeShmBlock(void **block, const ShmPoolHandle *pool, uint32_t /*traceId*/, const char * /*sourceFile*/,
                           uint32_t /*line*/) {
  return sntr::traced(Fn::_sntrFreeShmBlock, [&](Trace &t) {
    sntr::HeapRef heap{};
    if (Rc rc = sntr::poolHeap(pool, heap); failed(rc)) return t.failLogged(1, rc);
    if (block == nullptr) return t.failLogged(2, Rc::NullStorageOutput);
    if (*block == nullptr) return t.failLogged(3, Rc::NullBlock);
    return sntr::freeTraced(t, heap, *block);
  });
}

}  // extern "C"
