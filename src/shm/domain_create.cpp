// SPDX-License-Identifier: MIT
// Creating a domain: memory, then the heap in it, then the handle. A failure undoes the earlier steps in reverse.
#include "shm/domain.h"
#include "shm/domain_handle.h"
#include "shm/heap_access.h"
#include "shm/heap_plan.h"
#include "shm/parameters.h"
#include "sntr/domains.h"

namespace sntr {

namespace {

struct CreateRequest {
  const OSSIPCResID *key;
  void *address;
  std::uint64_t size;
};

// Obtains the domain's memory. Returns Ok with a null base if the services layer refused: the operation then ends.
Rc obtainMemory(const Trace &t, const CreateRequest &request, const ShmDomainParams &params, ShmDomainHandle &draft) {
  draft.domainKind = static_cast<std::int32_t>(params.domainKind);
  draft.heapHeaderOffset = params.heapHeaderOffset;
  if (draft.domainKind == SNTR_DOMAIN_MEMORY) {
    if (request.address == nullptr) return t.failLogged(2, Rc::NullBase);
    draft.baseAddress = request.address;
    draft.mappedSize = request.size;
    return Rc::Ok;
  }
  if (request.key == nullptr) return t.failLogged(3, Rc::NullKey);
  return createSegment(t, SegmentRequest{*request.key, request.address, request.size, params.accessMode}, draft);
}

// Makes the heap and the handle. A failure leaves no eyecatcher.
Rc furnish(const Trace &t, const ShmDomainHandle &draft, const HeapPlan &plan, ShmDomainHandle *&out) {
  auto *base = static_cast<std::byte *>(draft.baseAddress);
  if (Rc rc = createHeap(base, HeapType::Domain, plan); failed(rc)) return t.fail(5, rc);
  const Rc stored = storeHandle(draft, out);
  if (failed(stored)) endHeap(HeapRef{base, plan.headerOffset, HeapType::Domain, draft.mappedSize});
  return t.fail(6, stored);
}

// No other process can connect before the eyecatcher is written, so a failure up to there leaves nothing behind.
Rc createDomain(const Trace &t, const CreateRequest &request, const ShmDomainParams &params, ShmDomainHandle *&out) {
  ShmDomainHandle draft{};
  if (Rc rc = obtainMemory(t, request, params, draft); failed(rc) || draft.baseAddress == nullptr) return rc;
  HeapPlan plan{};
  Rc rc = t.fail(4, planHeap(HeapType::Domain, params, request.size, plan));
  plan.headerOffset = params.heapHeaderOffset;
  plan.totalSize = request.size;
  if (!failed(rc)) rc = furnish(t, draft, plan, out);
  if (failed(rc)) t.note(7, destroySegment(draft));
  return rc;
}

}  // namespace

}  // namespace sntr

extern "C" {

uint32_t sntrCreateShmDomain(const OSSIPCResID *key, void *address, uint64_t size, const ShmDomainParams *params,
                             ShmDomainHandle **domain) {
  return sntr::traced(sntr::Fn::sntrCreateShmDomain, [&](sntr::Trace &t) {
    if (domain == nullptr) return t.failLogged(1, sntr::Rc::NullDomainHandle);
    ShmDomainParams taken{};
    if (sntr::Rc rc = sntr::takeCreateParams(t, params, size, taken); failed(rc)) return rc;
    return sntr::createDomain(t, sntr::CreateRequest{key, address, size}, taken, *domain);
  });
}

}  // extern "C"
