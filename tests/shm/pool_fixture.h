// A domain in the test's own memory with pools in it, with verbs.
#pragma once

#include "domain_fixture.h"

namespace shm_test {

constexpr std::uint64_t kDomainHeader = 0x48;
constexpr std::uint64_t kPoolSize = 0x4000;

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
    if (domain_ != nullptr) sntrFreeShmDomain(&domain_, SNTR_FREE_DOMAIN_ALWAYS);
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
