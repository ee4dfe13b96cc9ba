// SPDX-License-Identifier: MIT
// What the tests of domains and pools share: a domain between pages without access, a pool in it, verbs for either; and
// the promise that a test leaves no latch held, no private memory, no attachment and no segment behind.
#pragma once

#include <oss/fault.h>
#include <oss/log.h>
#include <sys/mman.h>

#include <cstring>
#include <vector>

#include "shm/mappings.h"
#include "support/storage.h"
#include "support/words.h"

namespace shm_test {

using namespace support;
using enum sntr::Rc;
using U32 = std::uint32_t;
using U64 = std::uint64_t;
using Domain = ShmDomainHandle;
using Pool = ShmPoolHandle;

constexpr U64 kHuge = ~U64{0}, kSize = 0x40000, kGuard = 0x10000, kPoolSize = 0x4000, kMemory = SNTR_DOMAIN_MEMORY;
constexpr U64 kDomainHeader = 0x48;  // so that the header is not at the start
constexpr U64 kUserArea = 31;        // of the domain and of each pool; takes 32
constexpr U64 kLists = 0x1e8 + 32;   // from the header to the bookkeeping
constexpr char kGreeting[] = "a greeting of thirty-one bytes.";

// Parameters of a domain or of a pool; 0 takes the default.
struct Params {
  U64 reserved = 0, handle = 0, latch = 0, offset = 0, slots = 0, levels = 0, granule = 0, userArea = 0, kind = 0,
      mode = 0;
  const void *data = nullptr;

  operator ShmDomainParams() const {
    return {reserved, handle, latch, 0, offset, slots, levels, granule, userArea, kind, mode, data};
  }
  operator ShmPoolParams() const { return {reserved, handle, latch, 0, slots, levels, granule, userArea, data}; }
};

// What a domain and a pool have in common, by one name.
inline U32 disconnect(Domain **domain) { return sntrDisconnectFromShmDomain(domain); }
inline U32 disconnect(Pool **pool) { return sntrDisconnectFromShmPool(pool); }
inline U32 destroyHandle(Domain **domain) { return sntrDestroyShmDomainHandle(domain); }
inline U32 destroyHandle(Pool **pool) { return sntrDestroyShmPoolHandle(pool); }
inline U32 freeUnused(Domain **domain) { return sntrFreeShmDomain(domain, SNTR_FREE_DOMAIN_IF_UNUSED); }
inline U32 freeUnused(Pool **pool) { return freePool(pool, SNTR_FREE_POOL_IF_UNUSED); }
inline U32 freeAlways(Domain **domain) { return sntrFreeShmDomain(domain, SNTR_FREE_DOMAIN_ALWAYS); }
inline U32 freeAlways(Pool **pool) { return freePool(pool, SNTR_FREE_POOL_ALWAYS); }
inline U32 latch(const Domain *domain) { return sntrLatchShmDomain(domain); }
inline U32 latch(const Pool *pool) { return sntrLatchShmPool(pool); }
inline U32 unlatch(const Domain *domain) { return sntrUnlatchShmDomain(domain); }
inline U32 unlatch(const Pool *pool) { return sntrUnlatchShmPool(pool); }
inline U32 setData(const Domain *to, U64 size, const void *data) { return sntrSetDomainUserAppData(to, size, data); }
inline U32 setData(const Pool *to, U64 size, const void *data) { return sntrSetPoolUserAppData(to, size, data); }
inline U32 getData(const Domain *of, U64 *size, void *data) { return sntrGetDomainUserAppData(of, size, data); }
inline U32 getData(const Pool *of, U64 *size, void *data) { return sntrGetPoolUserAppData(of, size, data); }
inline U64 headerOf(const Domain *domain) { return domain->heapHeaderOffset; }
inline U64 headerOf(const Pool *pool) { return pool->poolHeaderOffset; }
// Returns that of the two codes which is for this handle.
inline Rc of(const Domain *, Rc domain, Rc) { return domain; }
inline Rc of(const Pool *, Rc, Rc pool) { return pool; }

// Puts another value into a word during some work.
template <class Work>
void damaged(void *base, U64 offset, U64 value, Work work) {
  const U64 before = wordAt(base, offset);
  setWordAt(base, offset, value);
  work();
  setWordAt(base, offset, before);
}

// Expects a code, and that it is written to the log once, as an error, if the mistake is the caller's and not a state
// of the domain. Ok: expects nothing and calls nothing.
template <class Call>
void expectRefused(Rc want, Call call) {
  static std::string lines;
  lines.clear();
  if (want == Ok) return;
  ossLogSetSink(
      [](void *, U32, U32 code, U32, U32 severity, const char *) { lines += named(code) + std::to_string(severity); },
      nullptr);
  EXPECT_RC(call(), want);
  ossLogSetSink(nullptr, nullptr);
  const bool isState = want == DomainHeaderMisfit || want == DomainFull || want == NotADomain || want == NotAPool;
  EXPECT_EQ(lines, isState ? "" : named(want) + "3");
}

class Storage : public testing::Test {
 public:
  void SetUp() override {
    whole = static_cast<char *>(mmap(nullptr, kSize + 2 * kGuard, PROT_NONE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    base = whole + kGuard;
    ASSERT_EQ(mprotect(base, kSize, PROT_READ | PROT_WRITE), 0);
    std::memset(base, 0xa5, kSize);
    ASSERT_RC(makeDomain(domain, params, kSize, base), Ok);
    for (Pool **made : {&above, &pool}) ASSERT_RC(makePool(*made, params, kPoolSize), Ok);
  }
  void TearDown() override {
    ossFaultDisarm();
    for (Pool **made : {&above, &pool}) EXPECT_RC(*made != nullptr ? destroyHandle(made) : 0, Ok);
    if (domain != nullptr) EXPECT_RC(freeAlways(&domain), Ok);
    sntr::forgetMappings(base);
    munmap(whole, kSize + 2 * kGuard);
    removeSegment(key);
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldBlocks), 0) << "private memory leaked, or freed twice";
    for (const auto held : {OSSFaultHeldLatches, OSSFaultHeldSegments}) EXPECT_EQ(ossFaultHeld(held), 0) << held;
  }

  template <class Test>
  void forBoth(Test test) {
    for (const bool isPool : {false, true}) {
      SCOPED_TRACE(isPool ? "pool" : "domain");
      isPool ? test(pool) : test(domain);
    }
  }
  // A domain in a segment, or in the caller's memory if the parameters say so.
  U32 makeDomain(Domain *&made, const ShmDomainParams &with, U64 total = kSize, void *memory = nullptr) {
    return sntrCreateShmDomain(&key, memory, total, &with, &made);
  }
  U32 makePool(Pool *&made, const ShmPoolParams &with, U64 held) { return createPool(&made, domain, held, &with); }
  U32 connectBy(const ShmDomainParams &with, Domain *&other, void *memory, const OSSIPCResID *owners = nullptr) {
    return sntrConnectToShmDomain(owners, memory, &with, &other);
  }
  U32 connect(Domain *&other) { return connectBy(params, other, base); }
  U32 connect(Pool *&other) { return sntrConnectToShmPool(&other, domain, headerOf(pool), this); }
  std::vector<char> bytes() const { return {base, base + kSize}; }

  const OSSIPCResID key = newKey();
  const Params params{.offset = kDomainHeader, .userArea = kUserArea, .kind = kMemory, .data = kGreeting};
  char *whole = nullptr, *base = nullptr;
  Domain *domain = nullptr;
  Pool *above = nullptr;  // at the end of the domain
  Pool *pool = nullptr;   // before that
  void *block = nullptr;
  // What reading operations return.
  ShmHeapInfo info{};
  U64 size = 0;
  char data[kSize] = {};
};

}  // namespace shm_test
