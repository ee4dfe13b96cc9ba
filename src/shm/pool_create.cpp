// SPDX-License-Identifier: MIT
// Creating a pool: a chunk of the domain, then the heap in it, then the handle. A later failure releases the chunk.
//
// The domain's latch is held inside allocateChunk() only. No other process can find the pool before its eyecatcher is
// written, or use it before the caller passes its offset on.
#include "layout/words.h"
#include "shm/domain.h"
#include "shm/heap_access.h"
#include "shm/heap_plan.h"
#include "shm/parameters.h"
#include "shm/pool_handle.h"
#include "sntr/pools.h"

namespace sntr {

namespace {

std::uint64_t roundUp(std::uint64_t value, std::uint64_t granule) { return (value + granule - 1) / granule * granule; }

// Plans everything except the pool's offset. Refuses a size above the whole domain before adding anything to it.
Rc planPool(const HeapRef &domain, const ShmPoolParams &params, std::uint64_t size, HeapPlan &plan) {
  if (size > readWord<std::uint64_t>(&headerOf(domain)->totalSize)) return Rc::DomainFull;
  if (Rc rc = planHeap(HeapType::Pool, params, size, plan); failed(rc)) return rc;
  const std::uint64_t overhead = plan.headerSize + plan.slAreaSize;
  if (addsOver(size, overhead) || addsOver(size + overhead, plan.granule)) return Rc::DomainFull;
  plan.totalSize = roundUp(size + overhead, plan.granule);
  plan.typeWord = domain.headerOffset;
  return Rc::Ok;
}

// Makes the heap in the chunk, and the handle. A failure leaves no eyecatcher.
Rc furnish(const Trace &t, const HeapRef &domain, const Chunk &chunk, const HeapPlan &plan, ShmPoolHandle *&out) {
  if (Rc rc = createHeap(domain.base, HeapType::Pool, plan); failed(rc)) {
    t.note(8, rc);
    return t.fail(9, Rc::PoolBuildFailed);
  }
  const ShmPoolHandle draft{domain.base, domain.headerOffset, chunk.userOffset, chunk.offset};
  const Rc stored = storeHandle(draft, out);
  if (failed(stored)) endHeap(HeapRef{domain.base, chunk.userOffset, HeapType::Pool, domain.limit});
  return t.fail(10, stored);
}

// Creates a pool. The chunk is sized for the total, so the pool's header is at the chunk's user offset.
Rc createPool(const Trace &t, const HeapRef &domain, std::uint64_t size, const ShmPoolParams &params,
              ShmPoolHandle *&out) {
  HeapPlan plan{};
  if (Rc rc = planPool(domain, params, size, plan); failed(rc)) return t.fail(5, rc);
  Chunk chunk{};
  if (Rc rc = allocateChunk(domain, plan.totalSize, chunk); failed(rc)) return t.fail(6, rc);
  plan.headerOffset = chunk.userOffset;
  const Rc rc = furnish(t, domain, chunk, plan, out);
  if (failed(rc)) t.note(11, releaseChunk(domain, chunk.offset));
  return rc;
}

}  // namespace

}  // namespace sntr

using sntr::Fn;
using sntr::Rc;
using sntr::Trace;

extern "C" {

uint32_t _sntrCreateShmPool(ShmPoolHandle **pool, ShmDomainHandle *domain, uint64_t size, const ShmPoolParams *params,
                            uint32_t /*traceId*/, const char * /*sourceFile*/, uint32_t /*line*/) {
  return sntr::traced(Fn::_sntrCreateShmPool, [&](Trace &t) {
    if (pool == nullptr) return t.failLogged(1, Rc::NullPoolHandle);
    sntr::HeapRef heap{};
    if (Rc rc = sntr::domainHeap(domain, heap); failed(rc)) return t.failLogged(2, rc);
    if (Rc rc = sntr::checkHeap(heap); failed(rc)) return t.fail(3, rc);
    ShmPoolParams taken{};
    if (Rc rc = sntr::takePoolParams(t, params, size, taken); failed(rc)) return rc;
    return sntr::createPool(t, heap, size, taken, *pool);
  });
}

}  // extern "C"
