// See domain.h; and the exported operations on a domain that neither begin nor end a handle.
//
// Any thread, with a handle of this process. Each operation looks at the handle first and at the shared header after
// that, so that a bad handle is told as such and never followed; only the handle's failures are the caller's, and
// logged.
#include "shm/domain.h"

#include "shm/heap_access.h"
#include "shm/mappings.h"
#include "sntr/domains.h"

namespace sntr {

Rc domainHeap(const ShmDomainHandle *domain, HeapRef &heap) {
  if (domain == nullptr) return Rc::NullDomainHandle;
  if (domain->baseAddress == nullptr) return Rc::NullBase;
  const std::uint64_t offset = domain->heapHeaderOffset;
  if (!isMultipleOf8(offset)) return Rc::DomainOffsetUneven;
  // Not even the eyecatcher may be looked at if the mapping ends before it.
  const std::uint64_t mapped = domain->mappedSize != 0 ? domain->mappedSize : mappedBytes(domain->baseAddress);
  if (!liesWithin(offset, heapHeaderSize(0), 0, mapped)) return Rc::NotADomain;
  heap = HeapRef{static_cast<std::byte *>(domain->baseAddress), offset, HeapType::Domain, mapped};
  return Rc::Ok;
}

Rc checkedDomain(const ShmDomainHandle *domain, HeapRef &heap) {
  if (Rc rc = domainHeap(domain, heap); failed(rc)) return rc;
  return checkHeap(heap);
}

namespace {

// The work of an operation on a domain, `Rc work(Trace &, const HeapRef &)`, after the handle's checks.
template <class Work>
std::uint32_t onDomain(Fn fn, const ShmDomainHandle *domain, Work &&work) {
  return traced(fn, [&](Trace &t) {
    HeapRef heap{};
    if (Rc rc = domainHeap(domain, heap); failed(rc)) return t.failLogged(1, rc);
    return work(t, heap);
  });
}

}  // namespace

}  // namespace sntr

using sntr::Fn;
using sntr::HeapRef;
using sntr::onDomain;
using sntr::Rc;
using sntr::Trace;

extern "C" {

uint32_t sntrGetShmDomainInfo(const ShmDomainHandle *domain, ShmHeapInfo *info) {
  return onDomain(Fn::sntrGetShmDomainInfo, domain, [&](Trace &t, const HeapRef &heap) {
    if (info == nullptr) return t.failLogged(2, Rc::NullInfoRecord);
    return t.fail(3, sntr::heapInfo(heap, *info));
  });
}

uint32_t sntrMarkShmDomainForDeletion(const ShmDomainHandle *domain) {
  return onDomain(Fn::sntrMarkShmDomainForDeletion, domain, [](Trace &t, const HeapRef &heap) {
    // Without the latch: a mark must get through although whoever holds the latch will not give it back.
    if (Rc rc = sntr::checkHeap(heap); failed(rc)) return t.fail(2, rc);
    sntr::markForDeletion(heap);
    return Rc::Ok;
  });
}

uint32_t sntrLatchShmDomain(const ShmDomainHandle *domain) {
  return onDomain(Fn::sntrLatchShmDomain, domain,
                  [](Trace &t, const HeapRef &heap) { return t.fail(2, sntr::latchHeap(heap)); });
}

uint32_t sntrUnlatchShmDomain(const ShmDomainHandle *domain) {
  return onDomain(Fn::sntrUnlatchShmDomain, domain,
                  [](Trace &t, const HeapRef &heap) { return t.fail(2, sntr::unlatchHeap(heap)); });
}

uint32_t sntrSetDomainUserAppData(const ShmDomainHandle *domain, uint64_t size, const void *source) {
  return onDomain(Fn::sntrSetDomainUserAppData, domain, [&](Trace &t, const HeapRef &heap) {
    if (source == nullptr) return t.failLogged(2, Rc::NullUserData);
    const Rc rc = sntr::copyUserDataIn(heap, size, source);
    return rc == Rc::BadUserAreaSize ? t.failLogged(3, rc) : t.fail(4, rc);
  });
}

uint32_t sntrGetDomainUserAppData(const ShmDomainHandle *domain, uint64_t *size, void *destination) {
  return onDomain(Fn::sntrGetDomainUserAppData, domain, [&](Trace &t, const HeapRef &heap) {
    if (size == nullptr) return t.failLogged(2, Rc::NullStorageOutput);
    if (destination == nullptr) return t.failLogged(3, Rc::NullUserData);
    return t.fail(4, sntr::copyUserDataOut(heap, *size, destination));
  });
}

}  // extern "C"
