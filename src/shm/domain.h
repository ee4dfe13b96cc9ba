// SPDX-License-Identifier: MIT
// Domains, for the rest of the library: a handle's checks, and the operations that return a code.
// Thread safety: any thread of any process. One thread ends a handle (disconnects, frees, destroys) that no other uses.
//
// Latch order: a domain's latch, which guards its lists, connectCount and flags, before that of any of its pools.
#pragma once

#include "shm/heap.h"

namespace sntr {

// Checks a handle and returns its heap. Returns NullDomainHandle, NullBase, DomainOffsetUneven, or NotADomain if the
// mapped memory is known to be too small for a header. Does not read the heap's words; checkHeap() does.
Rc domainHeap(const ShmDomainHandle *domain, HeapRef &heap);

// Calls domainHeap() and checkHeap(), with which most operations begin.
Rc checkedDomain(const ShmDomainHandle *domain, HeapRef &heap);

}  // namespace sntr
