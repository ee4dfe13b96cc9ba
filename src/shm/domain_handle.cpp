// SPDX-License-Identifier: MIT
// See domain_handle.h.
//
// The services layer's objects are made with their own new and live exactly as long as their handle. A release that
// reports a failure has done what it could, so the object is deleted in any case.
#include "shm/domain_handle.h"

#include <oss/memory.h>
#include <oss/segment.h>

#include "shm/heap_access.h"
#include "shm/mappings.h"

namespace sntr {

namespace {

// Converts a code of the services layer: both libraries have the same table.
Rc rcFrom(std::uint32_t code) { return static_cast<Rc>(code); }

OSSHIPCMemory *memoryOf(const ShmDomainHandle &domain) { return static_cast<OSSHIPCMemory *>(domain.memObject); }

Rc newMemoryObject(ShmDomainHandle &draft) {
  draft.memObject = new OSSHIPCMemory();
  return draft.memObject != nullptr ? Rc::Ok : Rc::DomainHandleAllocFailed;
}

OSSIPCMemoryCreateParam paramsOf(const SegmentRequest &request) {
  OSSIPCMemoryCreateParam params{};
  params.version = OSS_IPC_VERSION;
  params.key = request.key;
  params.size = request.size;
  params.requestedAddress = request.address;
  params.accessMode = request.accessMode;
  return params;
}

// Fills in address and size of the attached segment; the size does not depend on the header.
Rc locate(ShmDomainHandle &draft) {
  OSSIPCMemoryInfo info{};
  if (memoryOf(draft)->getAddress(&draft.baseAddress) != 0) return Rc::SegmentAddressFailed;
  if (memoryOf(draft)->getInfo(&info) != 0) return Rc::SegmentAddressFailed;
  draft.mappedSize = info.size;
  return Rc::Ok;
}

}  // namespace

Rc createSegment(const Trace &t, const SegmentRequest &request, ShmDomainHandle &draft) {
  if (Rc rc = newMemoryObject(draft); failed(rc)) return t.fail(kProbeSegment, rc);
  const OSSIPCMemoryCreateParam params = paramsOf(request);
  const Rc created = rcFrom(memoryOf(draft)->create(&params));
  if (failed(created)) {
    dropMemoryObject(draft);
    if (created == Rc::OssExists) return t.fail(kProbeSegment + 1, Rc::SegmentExists);
    // Callers rely on this: only an existing segment is a failure; other refusals return no handle.
    t.note(kProbeSegment + 2, created);
    return Rc::Ok;
  }
  if (memoryOf(draft)->getAddress(&draft.baseAddress) != 0) {
    t.note(kProbeSegment + 3, destroySegment(draft));
    return t.fail(kProbeSegment + 4, Rc::SegmentAddressFailed);
  }
  // The reserved size is the requested one; only a segment of another creator must be measured.
  draft.mappedSize = request.size;
  return Rc::Ok;
}

Rc attachSegment(const Trace &t, const OSSIPCResID &key, void *address, ShmDomainHandle &draft) {
  if (Rc rc = newMemoryObject(draft); failed(rc)) return t.fail(kProbeSegment, rc);
  if (memoryOf(draft)->attach(&key, address) != 0) {
    dropMemoryObject(draft);
    return t.fail(kProbeSegment + 1, Rc::AttachFailed);
  }
  if (Rc rc = locate(draft); failed(rc)) {
    t.note(kProbeSegment + 3, detachSegment(draft));
    return t.fail(kProbeSegment + 4, rc);
  }
  return Rc::Ok;
}

void dropMemoryObject(const ShmDomainHandle &domain) { delete memoryOf(domain); }

Rc detachSegment(const ShmDomainHandle &domain) {
  if (domain.memObject == nullptr) return Rc::Ok;
  const std::uint32_t rc = memoryOf(domain)->detach();
  dropMemoryObject(domain);
  return rc == 0 ? Rc::Ok : Rc::DetachFailed;
}

Rc destroySegment(const ShmDomainHandle &domain) {
  if (domain.memObject == nullptr) return Rc::Ok;
  const std::uint32_t rc = memoryOf(domain)->destroy();
  dropMemoryObject(domain);
  return rc == 0 ? Rc::Ok : Rc::DestroyFailed;
}

Rc removeSegmentName(const ShmDomainHandle &domain) {
  if (domain.memObject == nullptr) return Rc::Ok;
  const Rc removed = rcFrom(memoryOf(domain)->removeName());
  return failed(removed) && removed != Rc::OssReplaced ? Rc::DestroyFailed : Rc::Ok;
}

Rc storeHandle(const ShmDomainHandle &draft, ShmDomainHandle *&out) {
  auto *handle = static_cast<ShmDomainHandle *>(_ossMemAlloc(sizeof(ShmDomainHandle), kSourceTag, __LINE__));
  if (handle == nullptr) return Rc::DomainHandleAllocFailed;
  if (!rememberMapping(draft.baseAddress, draft.mappedSize)) {
    static_cast<void>(_ossMemFree(handle, kSourceTag, __LINE__));
    return Rc::DomainHandleAllocFailed;
  }
  // The whole record, so that no byte of it is left unspecified.
  *handle = draft;
  out = handle;
  return Rc::Ok;
}

void forgetMemory(const ShmDomainHandle &domain) {
  // The caller's memory keeps its other handles; every handle of a segment has a mapping of its own.
  if (domain.memObject == nullptr) {
    forgetMapping(domain.baseAddress);
  } else {
    forgetMappings(domain.baseAddress);
  }
}

Rc freeHandle(ShmDomainHandle *&domain) {
  const std::uint32_t rc = _ossMemFree(domain, kSourceTag, __LINE__);
  domain = nullptr;
  return rc == 0 ? Rc::Ok : Rc::DomainHandleFreeFailed;
}

}  // namespace sntr
