// What a domain and a pool have in common for those who hold a handle: latching, the selectors, the user application
// area, and the end of a heap.
//
// Any thread of any process that maps the heap. The references given here come from a checked handle.
#pragma once

#include "shm/heap.h"

namespace sntr {

// Whom to name as the source of private allocations.
constexpr const char *kSourceTag = "sntrshm";

// Takes the heap's latch for a caller who keeps it beyond this call. checkHeap()'s codes, LatchFailed, BadLatchVersion;
// a failure leaves nothing held.
Rc latchHeap(const HeapRef &heap);

// Gives it back if this thread holds it, even where the heap is none any more, and then tells of that first.
Rc unlatchHeap(const HeapRef &heap);

// The stored selectors, each read once: BadReservedSelector, BadVersion; checkSelectors() also BadLatchVersion.
Rc checkHandleSelectors(const HeapRef &heap);
Rc checkSelectors(const HeapRef &heap);

// Sets the mark for deletion with one locked instruction, for callers who do not hold the latch.
void markForDeletion(const HeapRef &heap);

// Marks the heap and takes its eyecatcher away. The caller is inside the heap's section, or the only one who knows of
// it.
void endHeap(const HeapRef &heap);

// Copies the whole user application area in or out, without the latch: the callers agree among themselves who writes.
// checkHeap()'s codes; StoredUserAreaTooLarge for a stored size that the heap could not hold; copying in,
// BadUserAreaSize for a size that is not the area's. The buffers are not null.
Rc copyUserDataIn(const HeapRef &heap, std::uint64_t size, const void *source);
Rc copyUserDataOut(const HeapRef &heap, std::uint64_t &size, void *destination);

}  // namespace sntr
