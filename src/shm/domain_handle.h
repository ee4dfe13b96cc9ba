// The making and unmaking of domain handles and of the segments behind them.
//
// A draft is a handle on the stack: what a domain's operation has obtained so far. It becomes a real handle as the last
// step of creating or connecting, or is undone. Private memory and services-layer calls only; the thread that creates,
// connects or ends the handle.
#pragma once

#include "frame/trace.h"
#include "sntr/types.h"

namespace sntr {

// Creates a segment and maps it: object, base and size of the draft. SegmentExists; SegmentAddressFailed, with the
// segment destroyed again; DomainHandleAllocFailed where there is no memory for the object. A segment that the services
// layer refuses to create for another reason is traced and answered with Ok and a null base. Probes from kProbeSegment
// on.
struct SegmentRequest {
  OSSIPCResID key;
  void *address;  // where to map it if that place is free
  std::uint64_t size;
  std::uint64_t accessMode;
};
Rc createSegment(const Trace &t, const SegmentRequest &request, ShmDomainHandle &draft);

// Attaches a segment and learns its real size. AttachFailed, SegmentAddressFailed (also where its size cannot be told),
// DomainHandleAllocFailed; a failure leaves nothing attached.
Rc attachSegment(const Trace &t, const OSSIPCResID &key, void *address, ShmDomainHandle &draft);

constexpr std::uint32_t kProbeSegment = 70;

// Gives the segment up in this process, or for all. The memory object is gone afterwards whatever the answer; nothing
// happens for a domain in the caller's own memory. DetachFailed; DestroyFailed.
Rc detachSegment(const ShmDomainHandle &domain);
Rc destroySegment(const ShmDomainHandle &domain);

// Takes the segment's name away and keeps the rest, so that nobody attaches it any more; a name that is another's by
// now does not matter. DestroyFailed, with nothing changed; nothing happens for a domain in the caller's own memory.
Rc removeSegmentName(const ShmDomainHandle &domain);

// Turns the draft into a handle, and remembers what it has mapped (shm/mappings.h). DomainHandleAllocFailed, also if
// this process has too many domains to remember one more; `out` is left alone.
Rc storeHandle(const ShmDomainHandle &draft, ShmDomainHandle *&out);

// Forgets what the handle has mapped. Before a segment is given up: the address may be another's at once.
void forgetMemory(const ShmDomainHandle &domain);

// Frees a handle and nulls the caller's pointer, whatever the answer: what was given to the services layer once must
// not be used again. DomainHandleFreeFailed.
Rc freeHandle(ShmDomainHandle *&domain);

// Drops the memory object alone; what it had mapped stays mapped.
void dropMemoryObject(const ShmDomainHandle &domain);

}  // namespace sntr
