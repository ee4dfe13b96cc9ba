// SPDX-License-Identifier: MIT
// The end of a domain, and of a handle alone.
//
// The name goes first, since its removal may be refused; until then a failure changes nothing. Once the eyecatcher is
// gone the domain cannot come back: every later step is done whatever the others returned, and the first failure is
// returned.
#include "layout/version.h"
#include "layout/words.h"
#include "shm/domain.h"
#include "shm/domain_handle.h"
#include "shm/heap_access.h"
#include "sntr/domains.h"

namespace sntr {

namespace {

// Takes the domain out of use, unless others are connected and the mode counts them. Sets `ended` if it did: leaving
// the section may fail after that. Runs inside the section, so that no handle connects between the count and the end.
Rc endDomain(const HeapRef &heap, const ShmDomainHandle &domain, std::uint32_t mode, bool &ended) {
  return heapSection(heap, [&] {
    const std::uint64_t connected = readWord<std::uint64_t>(&headerOf(heap)->connectCount);
    if (mode == SNTR_FREE_DOMAIN_IF_UNUSED && connected > 1) return Rc::DomainInUse;
    if (Rc rc = removeSegmentName(domain); failed(rc)) return rc;
    endHeap(heap);
    ended = true;
    return Rc::Ok;
  });
}

Rc freeDomain(const Trace &t, ShmDomainHandle *&domain, std::uint32_t mode) {
  HeapRef heap{};
  if (Rc rc = domainHeap(domain, heap); failed(rc)) return t.failLogged(2, rc);
  if (Rc rc = checkSelectors(heap); failed(rc)) return t.fail(3, rc);
  if (Rc rc = checkHeap(heap); failed(rc)) return t.fail(4, rc);
  const bool knownMode = mode == SNTR_FREE_DOMAIN_IF_UNUSED || mode == SNTR_FREE_DOMAIN_ALWAYS;
  if (!knownMode) return t.failLogged(5, Rc::BadDomainFreeMode);
  // Up to here a refusal changes nothing; once the domain has ended, the handle is used up.
  bool ended = false;
  const Rc ending = t.fail(6, endDomain(heap, *domain, mode, ended));
  if (!ended) return ending;
  forgetMemory(*domain);
  const Rc detached = t.fail(7, detachSegment(*domain));
  const Rc freed = t.fail(8, freeHandle(domain));
  return firstFailure(ending, firstFailure(detached, freed));
}

// Frees the handle alone; the memory stays mapped, and the domain's count stays.
Rc destroyHandle(const Trace &t, ShmDomainHandle *&domain) {
  HeapRef heap{};
  if (Rc rc = domainHeap(domain, heap); failed(rc)) return t.failLogged(2, rc);
  const bool ours = readWord<std::uint64_t>(&headerOf(heap)->handleAllocSelector) == kVersionWord;
  if (!ours) return t.fail(3, Rc::BadVersion);
  // Pool handles of a living domain stay usable; those of a freed one do not.
  if (failed(checkHeap(heap))) forgetMemory(*domain);
  dropMemoryObject(*domain);
  return t.fail(4, freeHandle(domain));
}

}  // namespace

}  // namespace sntr

using sntr::Fn;
using sntr::Rc;
using sntr::Trace;

extern "C" {

uint32_t sntrFreeShmDomain(ShmDomainHandle **domain, uint32_t mode) {
  return sntr::traced(Fn::sntrFreeShmDomain, [&](Trace &t) {
    if (domain == nullptr) return t.failLogged(1, Rc::NullDomainHandle);
    return sntr::freeDomain(t, *domain, mode);
  });
}

uint32_t sntrDestroyShmDomainHandle(ShmDomainHandle **domain) {
  return sntr::traced(Fn::sntrDestroyShmDomainHandle, [&](Trace &t) {
    if (domain == nullptr) return t.failLogged(1, Rc::NullDomainHandle);
    return sntr::destroyHandle(t, *domain);
  });
}

}  // extern "C"
