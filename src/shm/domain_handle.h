// SPDX-License-Identifier: MIT
// Making and ending domain handles and the segments behind them.
//
// A draft is a handle on the stack: what an operation has obtained so far. It becomes a real handle as the last step of
// creating or connecting, or is undone.
//
// Thread safety: the thread that creates, connects or ends the handle; private memory and services-layer calls only.
#pragma once

#include "frame/trace.h"
#include "sntr/types.h"

namespace sntr {

// Creates a segment and maps it: object, base and size of the draft. Returns:
//   SegmentExists            with nothing created
//   SegmentAddressFailed     with the segment destroyed again
//   DomainHandleAllocFailed  no memory for the object
//   Ok with a null base      the services layer refused for another reason, which is traced
// Uses probes from kProbeSegment on.
struct SegmentRequest {
  OSSIPCResID key;
  void *address;  // where to map it if that range is free
  std::uint64_t size;
  std::uint64_t accessMode;
};
Rc createSegment(const Trace &t, const SegmentRequest &request, ShmDomainHandle &draft);

// Attaches a segment and reads its real size. Returns AttachFailed, SegmentAddressFailed (also if the size cannot be
// read) or DomainHandleAllocFailed; a failure leaves nothing attached.
Rc attachSegment(const Trace &t, const OSSIPCResID &key, void *address, ShmDomainHandle &draft);

constexpr std::uint32_t kProbeSegment = 70;

// Detach the segment from this process, or destroy it for all, and delete the memory object, also on failure. Do
// nothing for a domain in the caller's own memory. Return DetachFailed and DestroyFailed.
Rc detachSegment(const ShmDomainHandle &domain);
Rc destroySegment(const ShmDomainHandle &domain);

// Removes the segment's name and keeps the rest, so that no process attaches it any more. A name that now leads to
// another segment stays. Does nothing for a domain in the caller's memory. Returns DestroyFailed: nothing changed.
Rc removeSegmentName(const ShmDomainHandle &domain);

// Makes a handle of the draft and remembers its mapping (shm/mappings.h). Returns DomainHandleAllocFailed, also if this
// process has too many domains to remember another; `out` is then unchanged.
Rc storeHandle(const ShmDomainHandle &draft, ShmDomainHandle *&out);

// Forgets the handle's mapping. Called before a segment is detached: its address may be reused at once.
void forgetMemory(const ShmDomainHandle &domain);

// Frees a handle and nulls the caller's pointer, even if the services layer fails: the memory must not be used again.
// Returns DomainHandleFreeFailed.
Rc freeHandle(ShmDomainHandle *&domain);

// Deletes the memory object alone; its mapping stays.
void dropMemoryObject(const ShmDomainHandle &domain);

}  // namespace sntr
