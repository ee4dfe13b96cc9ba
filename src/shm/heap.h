// SPDX-License-Identifier: MIT
// The storage heap, for the rest of this room: build, connect, allocate, release.
//
// A HeapRef names a heap in this process; it holds nothing. A failure leaves the heap as it was.
//
// Thread safety: any thread of any process that maps the memory. Functions state if they take or require the latch.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "frame/trace.h"
#include "layout/words.h"
#include "shm/heap_header.h"
#include "shm/heap_types.h"
#include "sntr/types.h"

namespace sntr {

struct HeapRef {
  std::byte *base;             // start of the domain in this process
  std::uint64_t headerOffset;  // of the heap's header, from base; a multiple of 8
  HeapType type;
  std::uint64_t limit;  // offset from base after which nothing may be accessed
};

// Returns the limit for memory of unknown size: the end of the address space.
inline std::uint64_t addressesBehind(const void *base) { return UINTPTR_MAX - reinterpret_cast<std::uintptr_t>(base); }

// Returns the header; the memory must hold at least its fixed part.
inline HeapHeader *headerOf(const HeapRef &heap) {
  return reinterpret_cast<HeapHeader *>(heap.base + heap.headerOffset);
}

// All parameters of a new heap. Sizes in bytes; header and area sizes from heap_header.h.
struct HeapPlan {
  std::uint64_t totalSize;
  std::uint64_t headerOffset;
  std::uint64_t slotCount;
  std::uint64_t maxLevel;
  std::uint64_t headerSize;
  std::uint64_t slHeaderSize;
  std::uint64_t slAreaSize;
  std::uint64_t granule;
  std::uint64_t userAreaSize;
  const void *userData;  // userAreaSize bytes, or null for zeroes
  std::uint64_t latchSelector;
  std::uint64_t reservedSelector;
  std::uint64_t handleAllocSelector;
  std::uint64_t initialFlags;
  std::uint64_t typeWord;  // a pool's domain header offset
};

// Builds a heap; writes the eyecatcher last. Returns NullBase, the type's misfit if header and skip-list area do not
// fit the total, SkipListAreaTooSmall, or latch codes. A failure leaves no eyecatcher and no latch held.
Rc createHeap(std::byte *base, HeapType type, const HeapPlan &plan);

// Tests eyecatcher, stored offset, and total size, without a latch. Returns the type's notThis or offsetMismatch.
inline Rc checkHeap(const HeapRef &heap) {
  const HeapTraits &traits = traitsOf(heap.type);
  const HeapHeader *const header = headerOf(heap);
  if (readWord<std::uint64_t>(&header->eyecatcher) != traits.eyecatcher) return traits.notThis;
  if (readWord<std::uint64_t>(&header->heapHeaderOffset) != heap.headerOffset) return traits.offsetMismatch;
  const std::uint64_t total = readWord<std::uint64_t>(&header->totalSize);
  const std::uint64_t start = heap.type == HeapType::Domain ? 0 : heap.headerOffset;
  return liesWithin(start, total, 0, heap.limit) ? Rc::Ok : traits.notThis;
}

// Count one handle more, or one fewer (never below 0), under the heap's latch. Connecting returns the type's `marked`
// if the heap is marked for deletion.
Rc connectHeap(const HeapRef &heap);
Rc disconnectHeap(const HeapRef &heap);

struct Chunk {
  std::uint64_t offset;      // of the chunk, including its overhead
  std::uint64_t userOffset;  // of the caller's bytes
};

// Allocate and release under the heap's latch, which they take. The caller's size is rounded up to 8, and the pads of
// the heap's settings are added.
Rc allocateChunk(const HeapRef &heap, std::uint64_t size, Chunk &chunk);
Rc releaseChunk(const HeapRef &heap, std::uint64_t chunkOffset);

// Releases a chunk; `released` is true if it is free, even if only leaving the latch failed.
Rc releaseChunk(const HeapRef &heap, std::uint64_t chunkOffset, bool &released);

// For a caller inside heapSection() of this heap.
Rc releaseChunkLatched(const HeapRef &heap, std::uint64_t chunkOffset);
Rc findChunkLatched(const HeapRef &heap, std::uint64_t chunkOffset, std::uint64_t &chunkSize);

// Fills the 22 words without a latch. Returns the codes of checkHeap() and openHeap().
Rc heapInfo(const HeapRef &heap, ShmHeapInfo &info);

// The only way into a heap's section. Takes the latch and tests eyecatcher and offset again, since the heap may have
// been freed meanwhile. Calls repairHeap() if a dead holder left an intent. A failure leaves nothing held.
Rc enterHeap(const HeapRef &heap);
Rc leaveHeap(const HeapRef &heap);

// Versions that pass the view made inside, valid until the section is left.
struct HeapView;
Rc enterHeap(const HeapRef &heap, HeapView &view);
Rc leaveHeap(const HeapRef &heap, const HeapView &view);

// Runs `Rc work()` inside the heap's section, leaves it on every path, and returns the first failure.
template <class Work>
inline Rc heapSection(const HeapRef &heap, Work &&work) {
  if (Rc rc = enterHeap(heap); failed(rc)) return rc;
  const Rc done = std::forward<Work>(work)();
  return firstFailure(done, leaveHeap(heap));
}

}  // namespace sntr
