// What the tests of domains and pools share: domains in a segment or in memory of the test's own, with verbs; and the
// promise that a test leaves no latch held, no private memory, no attachment and no segment behind.
#pragma once

#include <gtest/gtest.h>
#include <oss/fault.h>
#include <oss/segment.h>
#include <sntr/domains.h>
#include <sntr/pools.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include "layout/rc.h"
#include "support/codes.h"

namespace shm_test {

using sntr::Rc;
using support::named;

// Compares two result codes by name.
#define EXPECT_RC(got, want) EXPECT_EQ(support::named(got), support::named(want))
#define ASSERT_RC(got, want) ASSERT_EQ(support::named(got), support::named(want))

// What a thread of execution holds of the services layer.
struct Holdings {
  std::int64_t blocks = ossFaultHeld(OSSFaultHeldBlocks);
  std::int64_t latches = ossFaultHeld(OSSFaultHeldLatches);
  std::int64_t segments = ossFaultHeld(OSSFaultHeldSegments);
};

inline OSSIPCResID newKey() {
  static std::uint32_t count = 0;
  return OSSIPCResID{0x5e57000000000000 | static_cast<std::uint64_t>(getpid()), ++count};
}

inline bool segmentExists(const OSSIPCResID &key) {
  OSSHIPCMemory memory;
  return memory.attach(&key, nullptr) == 0 && memory.detach() == 0;
}

inline void removeSegment(const OSSIPCResID &key) {
  OSSHIPCMemory memory;
  if (memory.attach(&key, nullptr) == 0) memory.destroy();
}

// Fills the handles' tag arguments.
inline std::uint32_t createPool(ShmPoolHandle **pool, ShmDomainHandle *domain, std::uint64_t size,
                                const ShmPoolParams *params = nullptr) {
  return _sntrCreateShmPool(pool, domain, size, params, 0, "test", 0);
}
inline std::uint32_t freePool(ShmPoolHandle **pool, std::uint32_t mode) {
  return _sntrFreeShmPool(pool, mode, 0, "test", 0);
}
inline std::uint32_t allocate(void **block, const ShmPoolHandle *pool, std::uint64_t size) {
  return _sntrAllocateShmBlock(block, pool, size, 0, "test", 0);
}
inline std::uint32_t release(void **block, const ShmPoolHandle *pool) {
  return _sntrFreeShmBlock(block, pool, 0, "test", 0);
}

// The word at an offset, as bytes.
template <class T>
T wordAt(const void *base, std::uint64_t offset) {
  T value{};
  std::memcpy(&value, static_cast<const char *>(base) + offset, sizeof(T));
  return value;
}
template <class T>
void setWordAt(void *base, std::uint64_t offset, T value) {
  std::memcpy(static_cast<char *>(base) + offset, &value, sizeof(T));
}

// Puts another value into a word for as long as it lives.
template <class T>
class Damage {
 public:
  Damage(void *base, std::uint64_t offset, T value) : base_(base), offset_(offset), before_(wordAt<T>(base, offset)) {
    setWordAt<T>(base, offset, value);
  }
  ~Damage() { setWordAt<T>(base_, offset_, before_); }
  Damage(const Damage &) = delete;
  Damage &operator=(const Damage &) = delete;

 private:
  void *base_;
  std::uint64_t offset_;
  T before_;
};

constexpr std::uint64_t kSize = 0x40000;  // of every domain here, in bytes

class DomainTest : public testing::Test {
 protected:
  void TearDown() override {
    ossFaultDisarm();
    removeSegment(key_);
    const Holdings now{};
    EXPECT_EQ(now.blocks, before_.blocks) << "private memory leaked, or freed twice";
    EXPECT_EQ(now.latches, before_.latches) << "a latch is held";
    EXPECT_EQ(now.segments, before_.segments) << "a segment is attached";
  }

  // A domain in memory of the test's own.
  ShmDomainHandle *createInMemory(ShmDomainParams params = {}) {
    memory_.assign(kSize / 8, 0xa5a5a5a5a5a5a5a5);
    params.domainKind = SNTR_DOMAIN_MEMORY;
    ShmDomainHandle *domain = nullptr;
    EXPECT_RC(sntrCreateShmDomain(nullptr, memory_.data(), kSize, &params, &domain), Rc::Ok);
    return domain;
  }
  ShmDomainHandle *connectInMemory(std::uint64_t headerOffset = 0) {
    ShmDomainParams params{};
    params.domainKind = SNTR_DOMAIN_MEMORY;
    params.heapHeaderOffset = headerOffset;
    ShmDomainHandle *domain = nullptr;
    EXPECT_RC(sntrConnectToShmDomain(nullptr, memory_.data(), &params, &domain), Rc::Ok);
    return domain;
  }

  ShmDomainHandle *createSegment(const ShmDomainParams *params = nullptr) {
    ShmDomainHandle *domain = nullptr;
    EXPECT_RC(sntrCreateShmDomain(&key_, nullptr, kSize, params, &domain), Rc::Ok);
    return domain;
  }
  ShmDomainHandle *connectSegment() {
    ShmDomainHandle *domain = nullptr;
    EXPECT_RC(sntrConnectToShmDomain(&key_, nullptr, nullptr, &domain), Rc::Ok);
    return domain;
  }

  static ShmHeapInfo infoOf(const ShmDomainHandle *domain) {
    ShmHeapInfo info{};
    EXPECT_RC(sntrGetShmDomainInfo(domain, &info), Rc::Ok);
    return info;
  }
  static ShmHeapInfo infoOf(const ShmPoolHandle *pool) {
    ShmHeapInfo info{};
    EXPECT_RC(sntrGetShmPoolInfo(pool, &info), Rc::Ok);
    return info;
  }

  static void end(ShmDomainHandle *&domain) { EXPECT_RC(sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_ALWAYS), Rc::Ok); }

  const OSSIPCResID key_ = newKey();
  std::vector<std::uint64_t> memory_;
  const Holdings before_{};
};

}  // namespace shm_test
