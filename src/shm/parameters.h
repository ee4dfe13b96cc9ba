// SPDX-License-Identifier: MIT
// The parameter records of domains and pools: defaults filled in, every rule tested.
//
// The caller's record is read once and not used again, so that another thread that changes it cannot bypass a test.
//
// Thread safety: any thread; private memory only.
#pragma once

#include "frame/trace.h"
#include "sntr/types.h"

namespace sntr {

// Tests in this order: ParamOffsetUneven, BadUserAreaSize, the selectors (BadVersion, BadLatchVersion,
// BadReservedSelector), DomainGranuleBad, DomainGranuleUneven, BadDomainKind (kinds 1 and 3 can be created). A null
// record takes the defaults, which are tested like given values. Traces failures, with probes from kProbeParams on.
Rc takeCreateParams(const Trace &t, const ShmDomainParams *given, std::uint64_t domainSize, ShmDomainParams &params);

// Tests for ParamOffsetUneven, BadVersion, BadReservedSelector, BadDomainKind (kind 1 counts as 2). The other fields
// have no meaning when connecting.
Rc takeConnectParams(const Trace &t, const ShmDomainParams *given, ShmDomainParams &params);

// Tests for BadUserAreaSize, the selectors as above, PoolGranuleBad (also for a pool of no bytes), PoolGranuleUneven.
Rc takePoolParams(const Trace &t, const ShmPoolParams *given, std::uint64_t poolSize, ShmPoolParams &params);

// Probes of the tests above; callers use none of the numbers from here on.
constexpr std::uint32_t kProbeParams = 50;

}  // namespace sntr
