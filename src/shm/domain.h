// Domains as the rest of the library uses them: a handle's checks, and the operations on a domain that answer with a
// code.
//
// Any thread of any process; one handle is ended (disconnected, freed, destroyed) by one thread, when no other uses it.
// A domain's latch guards its lists, connectCount and the flags; it is taken before that of any of its pools.
#pragma once

#include "shm/heap.h"

namespace sntr {

// Turns a handle into the heap that it names, after checking the handle: NullDomainHandle, NullBase,
// DomainOffsetUneven; NotADomain where what is mapped is known to be too small for a header. The heap's words are not
// looked at: that is checkHeap()'s.
Rc domainHeap(const ShmDomainHandle *domain, HeapRef &heap);

// domainHeap() and checkHeap() in one: what most operations begin with.
Rc checkedDomain(const ShmDomainHandle *domain, HeapRef &heap);

}  // namespace sntr
