// The parameter records of domains and pools: defaults put in, every rule tested.
//
// The caller's record is read once and never touched again, so that another thread that changes it cannot get past a
// test. Private memory only; any thread.
#pragma once

#include "frame/trace.h"
#include "sntr/types.h"

namespace sntr {

// Tests in this order: ParamOffsetUneven, BadUserAreaSize, the selectors (BadVersion, BadLatchVersion,
// BadReservedSelector), DomainGranuleBad, DomainGranuleUneven, BadDomainKind (kinds 1 and 3 can be created). A null
// record takes the defaults, and they are tested like given values. Failures are traced here, with the probes from
// kProbeParams on.
Rc takeCreateParams(const Trace &t, const ShmDomainParams *given, std::uint64_t domainSize, ShmDomainParams &params);

// ParamOffsetUneven, BadVersion, BadReservedSelector, BadDomainKind (a kind 1 counts as 2). The other fields have no
// meaning when connecting.
Rc takeConnectParams(const Trace &t, const ShmDomainParams *given, ShmDomainParams &params);

// BadUserAreaSize, the selectors as above, PoolGranuleBad (also for a pool of no bytes), PoolGranuleUneven.
Rc takePoolParams(const Trace &t, const ShmPoolParams *given, std::uint64_t poolSize, ShmPoolParams &params);

// Probes of the tests above; the functions that take parameters use none from here on for anything else.
constexpr std::uint32_t kProbeParams = 50;

}  // namespace sntr
