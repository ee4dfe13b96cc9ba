// Nodes in a pool of a domain: where they stand, what is refused in which order, giving them back.
#include <cstring>

#include "support/memory_pool.h"

namespace {

using support::Rc;

class PoolNode : public support::MemoryPool {
 protected:
  void SetUp() override {
    MemoryPool::SetUp();
    whole = freeBytes();
  }
  std::uint64_t freeBytes() const { return support::infoOf(pool).freeBytes; }
  Rc create(std::uint64_t areaSize = 0) {
    const std::uint64_t sizes[64] = {areaSize};
    return Rc{sntrCreateNode(&info, &node, 0, sizes, &size, &offset)};
  }
  void *allocate(std::uint64_t bytes) const {
    void *block = nullptr;
    return support::allocate(&block, pool, bytes) == 0 ? block : nullptr;
  }
  void release(void *block) const { EXPECT_RC(support::release(&block, pool), Rc::Ok); }

  SNodeCB_t *node = nullptr;
  std::uint64_t size = 7, offset = 7, whole = 0;
};

TEST_F(PoolNode, StandsAtItsOffsetAndShowsNothingOfTheBlocksLastUser) {
  void *block = allocate(0x2000);
  ASSERT_NE(block, nullptr);
  std::memset(block, 0xee, 0x2000);
  release(block);
  ASSERT_RC(create(0x1000), Rc::Ok);
  EXPECT_EQ(size, 0xb60u + 0x1000);
  EXPECT_EQ(reinterpret_cast<char *>(node), base() + offset);
  EXPECT_LE(freeBytes(), whole - size);
  EXPECT_EQ(std::string(base() + offset + 0xb60, 0x1000), std::string(0x1000, '\0'));
  EXPECT_EQ(node->nodeEyecatcher, 0u) << "a node that was never initialized must not look like one";
}

TEST_F(PoolNode, ChecksInItsOrderAndTakesNothing) {
  std::uint64_t sizes[64] = {SNTR_MAX_AREA_SIZE + 1};
  const auto call = [&](const ShmSegInfo_t *where, const std::uint64_t *s, std::uint64_t *total, std::uint64_t *at,
                        SNodeCB_t **out) { return sntrCreateNode(where, out, 0, s, total, at); };
  info = {};
  EXPECT_RC(call(nullptr, nullptr, nullptr, nullptr, nullptr), Rc::NullSegmentInfo);
  EXPECT_RC(call(&info, nullptr, nullptr, nullptr, nullptr), Rc::NullAreaSizes);
  EXPECT_RC(call(&info, sizes, nullptr, nullptr, nullptr), Rc::NullSizeOutput);
  EXPECT_RC(call(&info, sizes, &size, nullptr, nullptr), Rc::NullOffsetOutput);
  EXPECT_RC(call(&info, sizes, &size, &offset, nullptr), Rc::NullNode);
  EXPECT_RC(call(&info, sizes, &size, &offset, &node), Rc::AreaTooLarge);
  sizes[0] = whole - 0xb60 + 1;
  EXPECT_RC(call(&info, sizes, &size, &offset, &node), Rc::BadVersion);
  info.version = SNTR_VERSION;
  EXPECT_RC(call(&info, sizes, &size, &offset, &node), Rc::NullPoolHandle);
  info.pool = pool;
  EXPECT_RC(call(&info, sizes, &size, &offset, &node), Rc::PoolTooSmallForNode);
  EXPECT_EQ(size, 7u);
  --sizes[0];
  EXPECT_RC(call(&info, sizes, &size, &offset, &node), Rc::NodeAllocationFailed) << "all that is free";
  EXPECT_EQ(size, whole) << "told before the allocation";
  sizes[0] = 0;
  EXPECT_RC(call(&info, sizes, &size, &offset, &node), Rc::BadLatchVersion);
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
  EXPECT_RC(create(), Rc::NodeAllocationFailed);
  EXPECT_EQ(freeBytes(), pieces);
}

TEST_F(PoolNode, DisclaimingGivesTheBlockBackOnce) {
  ASSERT_RC(create(), Rc::Ok);
  SNodeCB_t *stale = node, *none = nullptr;
  EXPECT_RC(sntrDisclaimNode(nullptr, nullptr, 0), Rc::NullNode);
  EXPECT_RC(sntrDisclaimNode(&none, nullptr, 0), Rc::NullNode);
  EXPECT_RC(sntrDisclaimNode(&node, nullptr, 0), Rc::NullPoolHandle);
  EXPECT_RC(sntrDisclaimNode(&node, pool, 0), Rc::BadVersion);
  EXPECT_EQ(node, stale) << "a refusal changed the reference";
  EXPECT_RC(sntrDisclaimNode(&node, pool, SNTR_VERSION), Rc::Ok);
  EXPECT_EQ(node, nullptr);
  EXPECT_NE(sntrDisclaimNode(&stale, pool, SNTR_VERSION), 0u) << "given back twice";
  EXPECT_EQ(freeBytes(), whole);
}

}  // namespace
