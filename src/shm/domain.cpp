// SPDX-License-Identifier: MIT
// See domain.h; and the exported operations on a domain that neither begin nor end a handle.
//
// Each operation checks the handle before the shared header, so that a bad handle is reported as such and never
// followed. Only failures of the handle are the caller's, and logged.
//
// Thread safety: any thread, with a handle of this process.
#include "shm/domain.h"

#include "shm/heap_access.h"
#include "shm/heap_operations.h"
#include "shm/mappings.h"
#include "sntr/domains.h"

namespace sntr {

Rc domainHeap(const ShmDomainHandle *domain, HeapRef &heap) {
  if (domain == nullptr) return Rc::NullDomainHandle;
  if (domain->baseAddress == nullptr) return Rc::NullBase;
  const std::uint64_t offset = domain->heapHeaderOffset;
  if (!isMultipleOf8(offset)) return Rc::DomainOffsetUneven;
  // Even the eyecatcher must not be read if the mapping ends before it.
  const std::uint64_t mapped = domain->mappedSize != 0 ? domain->mappedSize : mappedBytes(domain->baseAddress);
  if (!liesWithin(offset, heapHeaderSize(0), 0, mapped)) return Rc::NotADomain;
  heap = HeapRef{static_cast<std::byte *>(domain->baseAddress), offset, HeapType::Domain, mapped};
  return Rc::Ok;
}

Rc checkedDomain(const ShmDomainHandle *domain, HeapRef &heap) {
  if (Rc rc = domainHeap(domain, heap); failed(rc)) return rc;
  return checkHeap(heap);
}

}  // namespace sntr

using namespace sntr;

extern "C" {

uint32_t sntrGetShmDomainInfo(const ShmDomainHandle *domain, ShmHeapInfo *info) {
  return getHeapInfo<domainHeap>(Fn::sntrGetShmDomainInfo, domain, info);
}

uint32_t sntrMarkShmDomainForDeletion(const ShmDomainHandle *domain) {
  return onHeap<domainHeap>(Fn::sntrMarkShmDomainForDeletion, domain, [](Trace &t, const HeapRef &heap) {
    // Takes no latch: a mark must succeed although a holder never gives the latch back.
    if (Rc rc = checkHeap(heap); failed(rc)) return t.fail(2, rc);
    markForDeletion(heap);
    return Rc::Ok;
  });
}

uint32_t sntrLatchShmDomain(const ShmDomainHandle *domain) {
  return getHeapLatch<domainHeap>(Fn::sntrLatchShmDomain, domain);
}

uint32_t sntrUnlatchShmDomain(const ShmDomainHandle *domain) {
  return releaseHeapLatch<domainHeap>(Fn::sntrUnlatchShmDomain, domain);
}

uint32_t sntrSetDomainUserAppData(const ShmDomainHandle *domain, uint64_t size, const void *source) {
  return setUserData<domainHeap>(Fn::sntrSetDomainUserAppData, domain, size, source);
}

uint32_t sntrGetDomainUserAppData(const ShmDomainHandle *domain, uint64_t *size, void *destination) {
  return getUserData<domainHeap>(Fn::sntrGetDomainUserAppData, domain, size, destination);
}

}  // extern "C"
