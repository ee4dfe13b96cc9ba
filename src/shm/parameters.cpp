// SPDX-License-Identifier: MIT
// See parameters.h.
//
// The order of the tests is part of the interface: of several faults, the first in this order is returned. Connecting
// has the order of creating, and only leaves tests out.
#include "shm/parameters.h"

#include "layout/offset.h"
#include "layout/version.h"

namespace sntr {

namespace {

// Defaults for fields that are zero.
constexpr std::uint64_t kDomainMaxLevel = 7;
constexpr std::uint64_t kDomainGranule = 0x1000;
constexpr std::uint64_t kDomainAccessMode = 0660;
constexpr std::uint64_t kPoolMaxLevel = 10;
constexpr std::uint64_t kPoolGranule = 8;

void setDefault(std::uint64_t &field, std::uint64_t value) {
  if (field == 0) field = value;
}

// Selectors are 64 bits wide in the records, and compared so: a stray upper half is a mismatch.
template <class Params>
void setSelectorDefaults(Params &params) {
  setDefault(params.reservedSelector, kVersionWord);
  setDefault(params.handleAllocSelector, kVersionWord);
  setDefault(params.latchSelector, kVersionWord);
}

// The two kinds of heap differ only in the codes for their granule.
struct GranuleCodes {
  Rc bad;
  Rc uneven;
};
constexpr GranuleCodes kDomainGranuleCodes = {Rc::DomainGranuleBad, Rc::DomainGranuleUneven};
constexpr GranuleCodes kPoolGranuleCodes = {Rc::PoolGranuleBad, Rc::PoolGranuleUneven};

// 8 always passes: every chunk is aligned to it anyway.
Rc checkGranule(std::uint64_t granule, std::uint64_t size, const GranuleCodes &codes) {
  if (granule != kWordSize && (granule <= kWordSize || granule > size)) return codes.bad;
  return isMultipleOf8(granule) ? Rc::Ok : codes.uneven;
}

Rc checkVersionSelector(std::uint64_t selector, Rc rc) { return selector == kVersionWord ? Rc::Ok : rc; }

// Tests common to creating a domain and creating a pool, before the granule.
template <class Params>
Rc checkSizesAndSelectors(const Trace &t, const Params &params, std::uint64_t size) {
  if (params.userAppAreaSize > size) return t.failLogged(kProbeParams + 1, Rc::BadUserAreaSize);
  if (Rc rc = checkVersionSelector(params.handleAllocSelector, Rc::BadVersion); failed(rc)) {
    return t.failLogged(kProbeParams + 2, rc);
  }
  if (Rc rc = checkVersionSelector(params.latchSelector, Rc::BadLatchVersion); failed(rc)) {
    return t.failLogged(kProbeParams + 3, rc);
  }
  return t.failLogged(kProbeParams + 4, checkVersionSelector(params.reservedSelector, Rc::BadReservedSelector));
}

// Kinds are 64 bits wide in the record and 32 in the handle; compared before they are narrowed.
bool isKind(std::uint64_t kind, std::int32_t wanted) { return kind == static_cast<std::uint64_t>(wanted); }

}  // namespace

Rc takeCreateParams(const Trace &t, const ShmDomainParams *given, std::uint64_t domainSize, ShmDomainParams &params) {
  params = given != nullptr ? *given : ShmDomainParams{};
  setSelectorDefaults(params);
  setDefault(params.maxLevel, kDomainMaxLevel);
  setDefault(params.granule, kDomainGranule);
  setDefault(params.domainKind, SNTR_DOMAIN_CREATED);
  setDefault(params.accessMode, kDomainAccessMode);
  if (!isMultipleOf8(params.heapHeaderOffset)) return t.failLogged(kProbeParams, Rc::ParamOffsetUneven);
  if (Rc rc = checkSizesAndSelectors(t, params, domainSize); failed(rc)) return rc;
  if (Rc rc = checkGranule(params.granule, domainSize, kDomainGranuleCodes); failed(rc)) {
    return t.failLogged(kProbeParams + 5, rc);
  }
  const bool known = isKind(params.domainKind, SNTR_DOMAIN_CREATED) || isKind(params.domainKind, SNTR_DOMAIN_MEMORY);
  return known ? Rc::Ok : t.failLogged(kProbeParams + 6, Rc::BadDomainKind);
}

Rc takeConnectParams(const Trace &t, const ShmDomainParams *given, ShmDomainParams &params) {
  params = given != nullptr ? *given : ShmDomainParams{};
  setSelectorDefaults(params);
  setDefault(params.domainKind, SNTR_DOMAIN_ATTACHED);
  // So that creator and user of a domain can share one parameter record.
  if (isKind(params.domainKind, SNTR_DOMAIN_CREATED)) params.domainKind = SNTR_DOMAIN_ATTACHED;
  if (!isMultipleOf8(params.heapHeaderOffset)) return t.failLogged(kProbeParams, Rc::ParamOffsetUneven);
  if (Rc rc = checkVersionSelector(params.handleAllocSelector, Rc::BadVersion); failed(rc)) {
    return t.failLogged(kProbeParams + 2, rc);
  }
  if (Rc rc = checkVersionSelector(params.reservedSelector, Rc::BadReservedSelector); failed(rc)) {
    return t.failLogged(kProbeParams + 4, rc);
  }
  const bool known = isKind(params.domainKind, SNTR_DOMAIN_ATTACHED) || isKind(params.domainKind, SNTR_DOMAIN_MEMORY);
  return known ? Rc::Ok : t.failLogged(kProbeParams + 6, Rc::BadDomainKind);
}

Rc takePoolParams(const Trace &t, const ShmPoolParams *given, std::uint64_t poolSize, ShmPoolParams &params) {
  params = given != nullptr ? *given : ShmPoolParams{};
  setSelectorDefaults(params);
  setDefault(params.maxLevel, kPoolMaxLevel);
  setDefault(params.granule, kPoolGranule);
  if (Rc rc = checkSizesAndSelectors(t, params, poolSize); failed(rc)) return rc;
  // The granule 8 passes for any size, so an empty pool needs its own test.
  if (poolSize == 0) return t.failLogged(kProbeParams + 7, Rc::PoolGranuleBad);
  return t.failLogged(kProbeParams + 5, checkGranule(params.granule, poolSize, kPoolGranuleCodes));
}

}  // namespace sntr
