// The storage heap as the rest of this room uses it: build, connect, allocate, release.
//
// Any thread of any process that maps the memory. A HeapRef is a process's name for a heap; it holds nothing. Functions
// say whether they take the heap's latch or want it held. A failure leaves the heap as it was.
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
  std::byte *base;             // where the domain begins in this process
  std::uint64_t headerOffset;  // of the heap's header, from base; a multiple of 8
  HeapType type;
  std::uint64_t limit;  // offset from base behind which nothing may be touched
};

// The limit for memory of which nothing is known: the end of the address space.
inline std::uint64_t addressesBehind(const void *base) { return UINTPTR_MAX - reinterpret_cast<std::uintptr_t>(base); }

// The header; the reference must name memory that holds at least a header's fixed part.
inline HeapHeader *headerOf(const HeapRef &heap) {
  return reinterpret_cast<HeapHeader *>(heap.base + heap.headerOffset);
}

// Everything that a new heap is made of. Sizes in bytes; header and area sizes from heap_header.h.
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

// Builds a heap; the eyecatcher is written last. NullBase; the type's misfit code when the header and skip-list area do
// not fit the total, SkipListAreaTooSmall, latch codes. After a failure there is no eyecatcher and no latch held.
Rc createHeap(std::byte *base, HeapType type, const HeapPlan &plan);

// Eyecatcher, stored offset, and total size against the limit, without a latch: the type's notThis and offsetMismatch.
inline Rc checkHeap(const HeapRef &heap) {
  const HeapTraits &traits = traitsOf(heap.type);
  const HeapHeader *const header = headerOf(heap);
  if (readWord<std::uint64_t>(&header->eyecatcher) != traits.eyecatcher) return traits.notThis;
  if (readWord<std::uint64_t>(&header->heapHeaderOffset) != heap.headerOffset) return traits.offsetMismatch;
  const std::uint64_t total = readWord<std::uint64_t>(&header->totalSize);
  const std::uint64_t start = heap.type == HeapType::Domain ? 0 : heap.headerOffset;
  return liesWithin(start, total, 0, heap.limit) ? Rc::Ok : traits.notThis;
}

// Under the heap's latch: one more, or one fewer (never below 0), connected. Connecting fails with the type's `marked`.
Rc connectHeap(const HeapRef &heap);
Rc disconnectHeap(const HeapRef &heap);

struct Chunk {
  std::uint64_t offset;      // of the chunk, its overhead included
  std::uint64_t userOffset;  // of the caller's bytes
};

// Takes the heap's latch. The size is the caller's, rounded up to 8; the pads of the heap's settings are added.
Rc allocateChunk(const HeapRef &heap, std::uint64_t size, Chunk &chunk);
Rc releaseChunk(const HeapRef &heap, std::uint64_t chunkOffset);

// The same, and tells whether the chunk is free: also where only the latch could not be given back.
Rc releaseChunk(const HeapRef &heap, std::uint64_t chunkOffset, bool &released);

// The caller is inside heapSection() of this heap.
Rc releaseChunkLatched(const HeapRef &heap, std::uint64_t chunkOffset);
Rc findChunkLatched(const HeapRef &heap, std::uint64_t chunkOffset, std::uint64_t &chunkSize);

// Fills the 22 words without a latch. checkHeap()'s codes.
Rc heapInfo(const HeapRef &heap, ShmHeapInfo &info);

// The one way into a heap's section: takes the latch, tests eyecatcher and offset again (the heap may have been freed
// while we waited), and where a dead holder left its intent, calls the place of repair. A failure leaves nothing held.
Rc enterHeap(const HeapRef &heap);
Rc leaveHeap(const HeapRef &heap);

// The same, and gives the view that was made inside, which is of use until the section is left.
struct HeapView;
Rc enterHeap(const HeapRef &heap, HeapView &view);
Rc leaveHeap(const HeapRef &heap, const HeapView &view);

// Runs `Rc work()` inside the heap's section and leaves it on every path; the first failure is the answer.
template <class Work>
inline Rc heapSection(const HeapRef &heap, Work &&work) {
  if (Rc rc = enterHeap(heap); failed(rc)) return rc;
  const Rc done = std::forward<Work>(work)();
  return firstFailure(done, leaveHeap(heap));
}

}  // namespace sntr
