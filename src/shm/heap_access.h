// SPDX-License-Identifier: MIT
// Common operations on domains and pools, for callers with a handle: latching, the selectors, the user application
// area, and the end of a heap.
// Thread safety: any thread of any process that maps the heap. References come from a checked handle.
#pragma once

#include "shm/heap.h"

namespace sntr {

// Source tag of private allocations.
constexpr const char *kSourceTag = "sntrshm";

// Takes the heap's latch for a caller that keeps it beyond this call. Returns checkHeap()'s codes, LatchFailed or
// BadLatchVersion; a failure leaves nothing held.
Rc latchHeap(const HeapRef &heap);

// Releases the latch if this thread holds it, even if the heap is no longer valid; that failure takes precedence.
Rc unlatchHeap(const HeapRef &heap);

// Test the selectors, each read once. Return BadReservedSelector, BadVersion; checkSelectors() also BadLatchVersion.
Rc checkHandleSelectors(const HeapRef &heap);
Rc checkSelectors(const HeapRef &heap);

// Sets the mark for deletion with one locked instruction, for callers without the latch.
void markForDeletion(const HeapRef &heap);

// Marks the heap and clears its eyecatcher. The caller is inside the heap's section, or alone with a new heap.
void endHeap(const HeapRef &heap);

// Copy the whole user application area in or out, without the latch: its users agree on the writer. Return
// checkHeap()'s codes, or StoredUserAreaTooLarge for a stored size that the heap could not hold; copying in,
// BadUserAreaSize for a size other than the area's. The buffers are not null.
Rc copyUserDataIn(const HeapRef &heap, std::uint64_t size, const void *source);
Rc copyUserDataOut(const HeapRef &heap, std::uint64_t &size, void *destination);

}  // namespace sntr
