// SPDX-License-Identifier: MIT
// See pool_handle.h; and the one exported operation that uses nothing but the handle.
#include "shm/pool_handle.h"

#include <oss/memory.h>

#include "frame/trace.h"
#include "shm/heap_access.h"
#include "sntr/pools.h"

namespace sntr {

Rc storeHandle(const ShmPoolHandle &draft, ShmPoolHandle *&out) {
  auto *handle = static_cast<ShmPoolHandle *>(_ossMemAlloc(sizeof(ShmPoolHandle), kSourceTag, __LINE__));
  if (handle == nullptr) return Rc::PoolHandleAllocFailed;
  // Only the base and offsets: a process keeps nothing else of a pool.
  *handle = draft;
  out = handle;
  return Rc::Ok;
}

Rc freeHandle(ShmPoolHandle *&pool) {
  const std::uint32_t rc = _ossMemFree(pool, kSourceTag, __LINE__);
  pool = nullptr;
  return rc == 0 ? Rc::Ok : Rc::PoolHandleFreeFailed;
}

}  // namespace sntr

extern "C" {

uint32_t sntrDestroyShmPoolHandle(ShmPoolHandle **pool) {
  return sntr::traced(sntr::Fn::sntrDestroyShmPoolHandle, [&](sntr::Trace &t) {
    // The pool's memory may be gone already, so it is not read.
    if (pool == nullptr || *pool == nullptr) return t.failLogged(1, sntr::Rc::NullPoolHandle);
    return t.fail(2, sntr::freeHandle(*pool));
  });
}

}  // extern "C"
