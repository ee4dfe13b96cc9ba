// SPDX-License-Identifier: MIT
// Refusals because of another process, or of what exists under the segment's name: the code, and no change.
#include <oss/error.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "multiprocess/shared_segment.h"

namespace multiprocess_test {
namespace {

TEST_F(SharedSegment, AnotherProcessCountsUntilTheDomainIsFreedUnderIt) {
  create(0x80000, 0x20000);
  createNode(SNTR_LAYOUT_HASH, 10, 8);
  Child other(connected([&] {
    void *block = nullptr, *another = nullptr;
    ShmHeapInfo info{};
    std::int32_t value = 0;
    EXPECT_RC(support::allocate(&block, pool, 100), Rc::Ok);
    *ready = 1;
    EXPECT_TRUE(support::becomes([&] { return *go != 0; }));
    EXPECT_RC(support::allocate(&another, pool, 100), Rc::NotAPool);
    EXPECT_RC(support::release(&block, pool), Rc::NotAPool);
    EXPECT_RC(sntrDisconnectFromShmPool(&pool), Rc::NotAPool);
    EXPECT_RC(support::freePool(&pool, SNTR_FREE_POOL_ALWAYS), Rc::NotADomain);
    EXPECT_RC(sntrDestroyShmPoolHandle(&pool), Rc::Ok);
    EXPECT_RC(sntrGetShmDomainInfo(domain, &info), Rc::NotADomain);
    EXPECT_RC(sntrMarkShmDomainForDeletion(domain), Rc::NotADomain);
    EXPECT_RC(sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_ALWAYS), Rc::NotADomain);
    EXPECT_RC(sntrDisconnectFromShmDomain(&domain), Rc::NotADomain);
    EXPECT_RC(sntrDestroyShmDomainHandle(&domain), Rc::Ok);
    EXPECT_RC(sntrConnectToShmDomain(&segment, nullptr, nullptr, &domain), Rc::AttachFailed);
    EXPECT_RC(sntrGetValueForRProperty(node, 1, &value, 0), Rc::NodeDisassociated);
  }));
  ASSERT_TRUE(areReady(1));
  const ShmHeapInfo before[] = {infoOf(domain), infoOf(pool)};
  EXPECT_RC(support::freePool(&pool, SNTR_FREE_POOL_IF_UNUSED), Rc::PoolInUse);
  EXPECT_RC(sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_IF_UNUSED), Rc::DomainInUse);
  const ShmHeapInfo after[] = {infoOf(domain), infoOf(pool)};
  EXPECT_EQ(std::memcmp(before, after, sizeof before), 0) << "a refusal changed something";

  ShmDomainHandle *late = nullptr;
  ASSERT_RC(sntrMarkShmDomainForDeletion(domain), Rc::Ok);
  EXPECT_RC(sntrConnectToShmDomain(&segment, nullptr, nullptr, &late), Rc::DomainMarkedForDeletion);
  EXPECT_EQ(infoOf(domain).connectCount, 2u);
  ASSERT_RC(sntrDisassociateNode(&node), Rc::Ok);
  ASSERT_RC(support::freePool(&pool, SNTR_FREE_POOL_ALWAYS), Rc::Ok);
  ASSERT_RC(sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_ALWAYS), Rc::Ok);
  *go = 1;
  EXPECT_EQ(other.result(), 0);
}

TEST_F(SharedSegment, AForeignFileUnderTheNameIsRefusedAndLeftAlone) {
  constexpr std::uint64_t kSize = 0x80000;
  create(kSize, 0x1000);
  const struct {
    const char *name;
    std::string content;
    Rc connect;
  } rows[] = {{"garbage", std::string(kSize, '\xa7'), Rc::NotADomain},
              {"zeroes", std::string(kSize, '\0'), Rc::NotADomain},
              {"too small", std::string(100, '\xa7'), Rc::NotADomain},
              {"empty", "", Rc::AttachFailed},
              {"domain cut short", std::string(base(), kSize / 2), Rc::NotADomain}};
  for (const auto &row : rows) {
    SCOPED_TRACE(row.name);
    const OSSIPCResID foreign = support::newKey();
    std::ofstream(support::fileOf(foreign), std::ios::binary) << row.content;
    ShmDomainHandle *handle = nullptr;
    EXPECT_RC(sntrConnectToShmDomain(&foreign, nullptr, nullptr, &handle), row.connect);
    EXPECT_RC(sntrCreateShmDomain(&foreign, nullptr, kSize, nullptr, &handle), Rc::SegmentExists);
    EXPECT_EQ(handle, nullptr);
    EXPECT_TRUE(support::segmentIsLeft(foreign));
    support::removeSegment(foreign);
  }
}

TEST_F(SharedSegment, ASegmentThatTheSystemRefusesLeavesTheReason) {
  int reason = 0;
  EXPECT_RC(sntrCreateShmDomain(&segment, nullptr, std::uint64_t{1} << 45, nullptr, &domain), Rc::Ok);
  EXPECT_EQ(domain, nullptr);
  EXPECT_RC(ossGetLastSystemError(&reason), Rc::Ok);
  EXPECT_EQ(reason, ENOSPC);
}

}  // namespace
}  // namespace multiprocess_test
