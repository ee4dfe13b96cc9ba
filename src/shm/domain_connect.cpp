// SPDX-License-Identifier: MIT
// Connecting to a domain and disconnecting from it. connectCount counts the handles of all processes. It is raised
// before there is a handle, and lowered again if none can be made.
#include <algorithm>

#include "shm/domain.h"
#include "shm/domain_handle.h"
#include "shm/heap_access.h"
#include "shm/mappings.h"
#include "shm/parameters.h"
#include "sntr/domains.h"

namespace sntr {

namespace {

// Returns the size of the caller's memory: the size given when this process made a domain there, otherwise the
// header's, since nothing else bounds it.
std::uint64_t sizeOfMemory(void *address, std::uint64_t headerOffset) {
  if (const std::uint64_t known = mappedBytes(address); known != 0) return known;
  const HeapRef heap{static_cast<std::byte *>(address), headerOffset, HeapType::Domain, addressesBehind(address)};
  if (!liesWithin(headerOffset, heapHeaderSize(0), 0, heap.limit)) return 0;
  return std::min(readWord<std::uint64_t>(&headerOf(heap)->totalSize), heap.limit);
}

// Finds the memory for the kind: the caller's, or the segment with this key.
Rc findMemory(const Trace &t, const OSSIPCResID *key, void *address, ShmDomainHandle &draft) {
  if (draft.domainKind == SNTR_DOMAIN_MEMORY) {
    if (address == nullptr) return t.failLogged(2, Rc::NullBase);
    draft.baseAddress = address;
    draft.mappedSize = sizeOfMemory(address, draft.heapHeaderOffset);
    return Rc::Ok;
  }
  if (key == nullptr) return t.failLogged(3, Rc::NullKey);
  return attachSegment(t, *key, address, draft);
}

// Counts this connection and makes the handle. Checks the header before using its latch: the memory may be anything,
// and only an eyecatcher proves that there is a latch.
Rc joinHeap(const Trace &t, const ShmDomainHandle &draft, ShmDomainHandle *&out) {
  HeapRef heap{};
  if (Rc rc = checkedDomain(&draft, heap); failed(rc)) return t.fail(4, rc);
  if (Rc rc = connectHeap(heap); failed(rc)) return t.fail(5, rc);
  const Rc stored = storeHandle(draft, out);
  if (failed(stored)) t.note(6, disconnectHeap(heap));
  return t.fail(7, stored);
}

// Connects; detaches the segment again if the domain in it refuses.
Rc connectDomain(const Trace &t, const OSSIPCResID *key, void *address, const ShmDomainParams &params,
                 ShmDomainHandle *&out) {
  ShmDomainHandle draft{};
  draft.domainKind = static_cast<std::int32_t>(params.domainKind);
  draft.heapHeaderOffset = params.heapHeaderOffset;
  if (Rc rc = findMemory(t, key, address, draft); failed(rc)) return rc;
  const Rc rc = joinHeap(t, draft, out);
  if (failed(rc)) t.note(8, detachSegment(draft));
  return rc;
}

// Once the count is lowered, the handle ends: later failures are reported but stop nothing.
Rc disconnectDomain(const Trace &t, ShmDomainHandle *&domain) {
  HeapRef heap{};
  if (Rc rc = domainHeap(domain, heap); failed(rc)) return t.failLogged(2, rc);
  if (Rc rc = checkHandleSelectors(heap); failed(rc)) return t.fail(3, rc);
  if (Rc rc = checkHeap(heap); failed(rc)) return t.fail(4, rc);
  if (Rc rc = disconnectHeap(heap); failed(rc)) return t.fail(5, rc);
  forgetMemory(*domain);
  const Rc detached = t.fail(6, detachSegment(*domain));
  return firstFailure(detached, t.fail(7, freeHandle(domain)));
}

}  // namespace

}  // namespace sntr

using sntr::Fn;
using sntr::Rc;
using sntr::Trace;

extern "C" {

uint32_t sntrConnectToShmDomain(const OSSIPCResID *key, void *address, const ShmDomainParams *params,
                                ShmDomainHandle **domain) {
  return sntr::traced(Fn::sntrConnectToShmDomain, [&](Trace &t) {
    if (domain == nullptr) return t.failLogged(1, Rc::NullDomainHandle);
    ShmDomainParams taken{};
    if (Rc rc = sntr::takeConnectParams(t, params, taken); failed(rc)) return rc;
    return sntr::connectDomain(t, key, address, taken, *domain);
  });
}

uint32_t sntrDisconnectFromShmDomain(ShmDomainHandle **domain) {
  return sntr::traced(Fn::sntrDisconnectFromShmDomain, [&](Trace &t) {
    if (domain == nullptr) return t.failLogged(1, Rc::NullDomainHandle);
    return sntr::disconnectDomain(t, *domain);
  });
}

}  // extern "C"
