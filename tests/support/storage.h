// SPDX-License-Identifier: MIT
// Calls of the storage manager with their tag arguments filled in, for every test that has a domain.
#pragma once

#include <sntr/domains.h>
#include <sntr/pools.h>

#include "support/segments.h"

namespace support {

using sntr::Rc;

inline std::uint32_t createPool(ShmPoolHandle **pool, ShmDomainHandle *domain, std::uint64_t size,
                                const ShmPoolParams *params = nullptr) {
  return _sntrCreateShmPool(pool, domain, size, params, 0, "test", 0);
}
inline auto freePool(ShmPoolHandle **pool, std::uint32_t mode) { return _sntrFreeShmPool(pool, mode, 0, "test", 0); }
inline std::uint32_t allocate(void **block, const ShmPoolHandle *pool, std::uint64_t size) {
  return _sntrAllocateShmBlock(block, pool, size, 0, "test", 0);
}
inline auto release(void **block, const ShmPoolHandle *pool) { return _sntrFreeShmBlock(block, pool, 0, "test", 0); }
inline auto getInfo(const ShmDomainHandle *domain, ShmHeapInfo *info) { return sntrGetShmDomainInfo(domain, info); }
inline auto getInfo(const ShmPoolHandle *pool, ShmHeapInfo *info) { return sntrGetShmPoolInfo(pool, info); }

template <class Handle>
ShmHeapInfo infoOf(const Handle *handle) {
  ShmHeapInfo info{};
  EXPECT_RC(getInfo(handle, &info), Rc::Ok);
  return info;
}

}  // namespace support
