// What the tests of domains and pools share: a domain in a segment or in the test's own memory, a pool in it, verbs;
// and the promise that a test leaves no latch held, no private memory, no attachment and no segment behind.
#pragma once

#include <oss/fault.h>
#include <oss/log.h>

#include <cstring>
#include <vector>

#include "support/storage.h"
#include "support/words.h"

namespace shm_test {

using support::allocate;
using support::createPool;
using support::freePool;
using support::infoOf;
using support::Rc;
using support::release;
using support::setWordAt;
using support::wordAt;

constexpr std::uint64_t kHuge = ~std::uint64_t{0};
constexpr std::uint64_t kSize = 0x40000;  // of every domain here, in bytes
constexpr std::uint64_t kDomainHeader = 0x48;
constexpr std::uint64_t kPoolSize = 0x4000;

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

// What was written to the log during a call: one line, with the call's code, as an error.
template <class Call>
void expectLogged(Call call, Rc want) {
  struct LogLines {
    int count = 0;
    std::uint32_t code = 0, severity = 0;
    static void take(void *context, std::uint32_t, std::uint32_t code, std::uint32_t, std::uint32_t severity,
                     const char *) {
      auto *lines = static_cast<LogLines *>(context);
      *lines = LogLines{lines->count + 1, code, severity};
    }
  } lines;
  ossLogSetSink(LogLines::take, &lines);
  EXPECT_RC(call(), want);
  ossLogSetSink(nullptr, nullptr);
  EXPECT_EQ(lines.count, 1) << support::named(want);
  EXPECT_RC(lines.code, want);
  EXPECT_EQ(lines.severity, 3u) << support::named(want);
}

inline void end(ShmDomainHandle *&domain) { EXPECT_RC(sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_ALWAYS), Rc::Ok); }

class DomainTest : public testing::Test {
 protected:
  void TearDown() override {
    ossFaultDisarm();
    support::removeSegment(key_);
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldBlocks), 0) << "private memory leaked, or freed twice";
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0) << "a latch is held";
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldSegments), 0) << "a segment is attached";
  }
  // A domain in memory of the test's own.
  ShmDomainHandle *createInMemory(ShmDomainParams params = {}) {
    memory_.assign(kSize / 8, 0xa5a5a5a5a5a5a5a5);
    params.domainKind = SNTR_DOMAIN_MEMORY;
    ShmDomainHandle *domain = nullptr;
    EXPECT_RC(sntrCreateShmDomain(nullptr, memory_.data(), kSize, &params, &domain), Rc::Ok);
    return domain;
  }
  ShmDomainHandle *createSegment(const ShmDomainParams *params = nullptr, std::uint64_t size = kSize) {
    ShmDomainHandle *domain = nullptr;
    EXPECT_RC(sntrCreateShmDomain(&key_, nullptr, size, params, &domain), Rc::Ok);
    return domain;
  }

  const OSSIPCResID key_ = support::newKey();
  std::vector<std::uint64_t> memory_;
};

class PoolTest : public DomainTest {
 protected:
  void SetUp() override {
    ShmDomainParams params{};
    params.heapHeaderOffset = kDomainHeader;
    domain_ = createInMemory(params);
    base_ = memory_.data();
    pool_ = newPool(kPoolSize);
  }
  void TearDown() override {
    ossFaultDisarm();
    if (pool_ != nullptr) sntrDestroyShmPoolHandle(&pool_);
    if (domain_ != nullptr) end(domain_);
    DomainTest::TearDown();
  }
  ShmPoolHandle *newPool(std::uint64_t size, const ShmPoolParams *params = nullptr) {
    ShmPoolHandle *pool = nullptr;
    EXPECT_RC(createPool(&pool, domain_, size, params), Rc::Ok);
    return pool;
  }
  ShmPoolHandle *connect() {
    ShmPoolHandle *pool = nullptr;
    EXPECT_RC(sntrConnectToShmPool(&pool, domain_, pool_->poolHeaderOffset, this), Rc::Ok);
    return pool;
  }
  void *newBlock(std::uint64_t size) {
    void *block = nullptr;
    EXPECT_RC(allocate(&block, pool_, size), Rc::Ok);
    return block;
  }

  ShmDomainHandle *domain_ = nullptr;
  ShmPoolHandle *pool_ = nullptr;
  void *base_ = nullptr;
};

}  // namespace shm_test
