// Nodes in a pool of a domain: where they stand, what is refused, what failures leave in the pool, giving them back.
#include <gtest/gtest.h>
#include <oss/fault.h>
#include <sntr/domains.h>
#include <sntr/latches.h>
#include <sntr/nodes.h>
#include <sntr/pools.h>
#include <sntr/status.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include "support/codes.h"

namespace {

using sntr::Rc;
using support::named;

constexpr std::uint64_t kDomainSize = 0x80000;

class PoolNode : public ::testing::Test {
 protected:
  void SetUp() override {
    memory = memfd_create("node_pool_test", 0);
    ASSERT_EQ(ftruncate(memory, kDomainSize), 0);
    base = map();
    ShmDomainParams params{};
    params.domainKind = SNTR_DOMAIN_MEMORY;
    ASSERT_EQ(named(sntrCreateShmDomain(nullptr, base, kDomainSize, &params, &domain)), named(Rc::Ok));
    ASSERT_EQ(named(_sntrCreateShmPool(&pool, domain, 0x10000, nullptr, 0, "test", 1)), named(Rc::Ok));
    info.version = info.latchVersion = SNTR_VERSION;
    info.pool = pool;
    whole = freeBytes();
  }
  void TearDown() override {
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0) << "a latch is still held";
    EXPECT_EQ(named(_sntrFreeShmPool(&pool, SNTR_FREE_POOL_ALWAYS, 0, "test", 2)), named(Rc::Ok));
    EXPECT_EQ(named(sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_ALWAYS)), named(Rc::Ok));
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldBlocks), 0) << "memory is left";
    munmap(base, kDomainSize);
    close(memory);
  }

  // The domain's memory once more, at another address.
  char *map() const {
    return static_cast<char *>(mmap(nullptr, kDomainSize, PROT_READ | PROT_WRITE, MAP_SHARED, memory, 0));
  }
  std::uint64_t freeBytes() const {
    ShmHeapInfo told{};
    EXPECT_EQ(named(sntrGetShmPoolInfo(pool, &told)), named(Rc::Ok));
    return told.freeBytes;
  }
  Rc create(std::uint64_t areaSize = 0) {
    const std::uint64_t sizes[64] = {areaSize};
    return Rc{sntrCreateNode(&info, &node, 0, sizes, &size, &offset)};
  }
  void *allocate(std::uint64_t bytes) const {
    void *block = nullptr;
    return _sntrAllocateShmBlock(&block, pool, bytes, 0, "test", 3) == 0 ? block : nullptr;
  }
  void release(void *block) const { EXPECT_EQ(_sntrFreeShmBlock(&block, pool, 0, "test", 4), 0u); }

  int memory = -1;
  char *base = nullptr;
  ShmDomainHandle *domain = nullptr;
  ShmPoolHandle *pool = nullptr;
  ShmSegInfo_t info{};
  SNodeCB_t *node = nullptr;
  std::uint64_t size = 7;
  std::uint64_t offset = 7;
  std::uint64_t whole = 0;
};

TEST_F(PoolNode, StandsAtItsOffsetAndShowsNothingOfTheBlocksLastUser) {
  void *block = allocate(0x2000);
  ASSERT_NE(block, nullptr);
  std::memset(block, 0xee, 0x2000);
  release(block);
  ASSERT_EQ(named(create(0x1000)), named(Rc::Ok));
  EXPECT_EQ(size, 0xb60u + 0x1000);
  EXPECT_EQ(reinterpret_cast<char *>(node), base + offset);
  EXPECT_LE(freeBytes(), whole - size);
  EXPECT_EQ(std::string(base + offset + 0xb60, 0x1000), std::string(0x1000, '\0'));
  EXPECT_EQ(node->nodeEyecatcher, 0u) << "a node that was never initialized must not look like one";
}

TEST_F(PoolNode, IsTheSameNodeWhereTheMemoryIsMappedElsewhere) {
  ASSERT_EQ(named(create()), named(Rc::Ok));
  ASSERT_EQ(named(sntrSetNodeOptions(node, nullptr)), named(Rc::Ok));
  char *const elsewhere = map();
  auto *same = reinterpret_cast<SNodeCB_t *>(elsewhere + offset);
  ASSERT_NE(same, node);
  EXPECT_EQ(named(sntrCheckNodeCondition(same, 0x2c)), named(Rc::Ok));
  ASSERT_EQ(named(sntrEnterCriticalSectionBeforeWrite(node, &node->primaryLatch)), named(Rc::Ok));
  EXPECT_EQ(named(sntrAbandonNode(&same)), named(Rc::LatchFailed)) << "it is one latch";
  EXPECT_EQ(named(sntrExitCriticalSectionAfterWrite(same, &same->primaryLatch)), named(Rc::Ok));
  munmap(elsewhere, kDomainSize);
}

TEST_F(PoolNode, ChecksInItsOrderAndTakesNothing) {
  std::uint64_t sizes[64] = {SNTR_MAX_AREA_SIZE + 1};
  const auto call = [&](const ShmSegInfo_t *where, const std::uint64_t *s, std::uint64_t *total, std::uint64_t *at,
                        SNodeCB_t **out) { return named(sntrCreateNode(where, out, 0, s, total, at)); };
  info = {};
  EXPECT_EQ(call(nullptr, nullptr, nullptr, nullptr, nullptr), named(Rc::NullSegmentInfo));
  EXPECT_EQ(call(&info, nullptr, nullptr, nullptr, nullptr), named(Rc::NullAreaSizes));
  EXPECT_EQ(call(&info, sizes, nullptr, nullptr, nullptr), named(Rc::NullSizeOutput));
  EXPECT_EQ(call(&info, sizes, &size, nullptr, nullptr), named(Rc::NullOffsetOutput));
  EXPECT_EQ(call(&info, sizes, &size, &offset, nullptr), named(Rc::NullNode));
  EXPECT_EQ(call(&info, sizes, &size, &offset, &node), named(Rc::AreaTooLarge));
  sizes[0] = whole - 0xb60 + 1;
  EXPECT_EQ(call(&info, sizes, &size, &offset, &node), named(Rc::BadVersion));
  info.version = SNTR_VERSION;
  EXPECT_EQ(call(&info, sizes, &size, &offset, &node), named(Rc::NullPoolHandle));
  info.pool = pool;
  EXPECT_EQ(call(&info, sizes, &size, &offset, &node), named(Rc::PoolTooSmallForNode));
  EXPECT_EQ(size, 7u);
  --sizes[0];
  EXPECT_EQ(call(&info, sizes, &size, &offset, &node), named(Rc::NodeAllocationFailed)) << "all that is free";
  EXPECT_EQ(size, whole) << "told before the allocation";
  sizes[0] = 0;
  EXPECT_EQ(call(&info, sizes, &size, &offset, &node), named(Rc::BadLatchVersion));
  EXPECT_EQ(offset, 7u);
  EXPECT_EQ(node, nullptr);
  EXPECT_EQ(freeBytes(), whole);
}

TEST_F(PoolNode, APoolInPiecesCannotHoldANode) {
  std::vector<void *> blocks;
  for (void *block = allocate(0x800); block != nullptr; block = allocate(0x800)) blocks.push_back(block);
  // Not the last, behind which a rest of the pool is free.
  for (std::size_t i = 0; i + 1 < blocks.size(); i += 2) release(blocks[i]);
  const std::uint64_t pieces = freeBytes();
  ASSERT_GT(pieces, 0xb60u * 2);
  EXPECT_EQ(named(create()), named(Rc::NodeAllocationFailed));
  EXPECT_EQ(freeBytes(), pieces);
}

// Every call of the services layer fails once, in turn: a code, no node, nothing held, and the pool as it was.
TEST_F(PoolNode, AFailingServicesLayerLeavesThePoolAsItWas) {
  const std::uint64_t before = ossFaultCallsOfAll();
  ASSERT_EQ(named(create()), named(Rc::Ok));
  const std::uint64_t calls = ossFaultCallsOfAll() - before;
  ASSERT_EQ(named(sntrDisclaimNode(&node, pool, SNTR_VERSION)), named(Rc::Ok));
  for (std::uint64_t nth = 1; nth <= calls; ++nth) {
    ossFaultArmAny(nth);
    const Rc got = create();
    EXPECT_TRUE(got == Rc::LatchFailed || got == Rc::AtomicFailed || got == Rc::NodeAllocationFailed) << named(got);
    EXPECT_EQ(node, nullptr) << "call " << nth;
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0) << "call " << nth;
    EXPECT_EQ(freeBytes(), whole) << "call " << nth;
  }
}

TEST_F(PoolNode, DisclaimingGivesTheBlockBackOnce) {
  ASSERT_EQ(named(create()), named(Rc::Ok));
  SNodeCB_t *stale = node;
  SNodeCB_t *none = nullptr;
  EXPECT_EQ(named(sntrDisclaimNode(nullptr, nullptr, 0)), named(Rc::NullNode));
  EXPECT_EQ(named(sntrDisclaimNode(&none, nullptr, 0)), named(Rc::NullNode));
  EXPECT_EQ(named(sntrDisclaimNode(&node, nullptr, 0)), named(Rc::NullPoolHandle));
  EXPECT_EQ(named(sntrDisclaimNode(&node, pool, 0)), named(Rc::BadVersion));
  EXPECT_EQ(node, stale) << "a refusal changed the reference";
  EXPECT_EQ(named(sntrDisclaimNode(&node, pool, SNTR_VERSION)), named(Rc::Ok));
  EXPECT_EQ(node, nullptr);
  EXPECT_NE(sntrDisclaimNode(&stale, pool, SNTR_VERSION), 0u) << "given back twice";
  EXPECT_EQ(freeBytes(), whole);
}

}  // namespace
