// The list operations for storage laid out by hand, the pads around a chunk, the place of repair, and what a call
// costs.
#include <random>

#include "layout/rc.h"
#include "shm/chunk_pads.h"
#include "shm/heap_repair.h"
#include "support/heap_fixture.h"

namespace sntr {

// Stands in for the library's own, which does nothing yet.
int repairsReached = 0;
void repairHeap(const HeapView & /*view*/) { ++repairsReached; }

namespace {

using test::HeapPicture;
using test::TestHeap;

constexpr std::uint64_t kIntentAt = TestHeap::kHeader + 0x1e8 + 0x38;

class HeapLists : public ::testing::Test {
 protected:
  // A list operation by name on this heap.
  template <class Op, class... Args>
  std::uint32_t call(Op op, Args... args) {
    return op(heap.base(), SNTR_HEAP_POOL, TestHeap::kHeader, args...);
  }
  void expectWhole(const char *what) { EXPECT_EQ(heap.look().problem, "") << what; }

  TestHeap heap{1 << 16};
  std::uint64_t chunk = 0;
  std::uint64_t node = 0;
  std::uint64_t size = 0;
};

TEST_F(HeapLists, MoveABlockFromFreeToAllocatedAndBack) {
  const HeapPicture fresh = heap.look();
  ASSERT_EQ(call(sntrGetFreeBlockFromSList, std::uint64_t{256}, &chunk), 0u);
  EXPECT_EQ(chunk, fresh.managedEnd - 256);
  ASSERT_EQ(call(sntrInsertAllocMemChunk, chunk, std::uint64_t{256}), 0u);
  expectWhole("recorded");
  EXPECT_EQ(call(sntrInsertAllocMemChunk, chunk + 248, std::uint64_t{8}), code(Rc::PoolBlockNotFound));
  EXPECT_EQ(call(sntrReturnFreeBlockToSList, chunk + 8, std::uint64_t{8}), code(Rc::PoolBlockNotFound));
  ASSERT_EQ(call(sntrDeleteAllocMemBlock, chunk, &size), 0u);
  EXPECT_EQ(size, 256u);
  EXPECT_EQ(call(sntrDeleteAllocMemBlock, chunk, &size), code(Rc::PoolBlockNotFound));
  ASSERT_EQ(call(sntrReturnFreeBlockToSList, chunk, std::uint64_t{256}), 0u);
  EXPECT_EQ(heap.look().free, fresh.free);
  EXPECT_EQ(call(sntrReturnFreeBlockToSList, chunk, std::uint64_t{256}), code(Rc::PoolBlockNotFound)) << "twice";
  expectWhole("returned");
}

TEST_F(HeapLists, UnlinkANodeAndLinkItAgain) {
  const HeapPicture fresh = heap.look();
  ASSERT_EQ(call(sntrFindFreeBlockInSList, fresh.managedStart, &node, &size), 0u);
  EXPECT_EQ(size, fresh.largestFree);
  EXPECT_EQ(call(sntrInsertFreeMemBlock, node), code(Rc::PoolBlockNotFound)) << "it is linked";
  ASSERT_EQ(call(sntrDeleteFreeMemBlock, node), 0u);
  EXPECT_EQ(call(sntrDeleteFreeMemBlock, node), code(Rc::ChunkOutsideHeap)) << "it is dead";
  EXPECT_EQ(call(sntrFindFreeBlockInSList, fresh.managedStart, &node, &size), code(Rc::PoolBlockNotFound));
  EXPECT_EQ(call(sntrGetFreeBlockFromSList, std::uint64_t{8}, &chunk), code(Rc::PoolNoBlockLargeEnough));
  ASSERT_EQ(call(sntrInsertAllocMemBlock, node), 0u);
  EXPECT_EQ(heap.look().allocated, fresh.free);
  expectWhole("the free block's node records it as allocated");
  ASSERT_EQ(call(sntrDeleteAllocMemBlock, fresh.managedStart, &size), 0u);
  ASSERT_EQ(call(sntrInsertFreeMemBlock, node), 0u);
  EXPECT_EQ(heap.look().free, fresh.free);
  expectWhole("linked again");
}

TEST_F(HeapLists, RefuseBadInput) {
  const std::uint64_t end = heap.look().managedEnd;
  const std::uint64_t start = heap.look().managedStart;
  void *const base = heap.base();
  EXPECT_EQ(sntrDefragmentSList(nullptr, 2, TestHeap::kHeader), code(Rc::NullBase));
  EXPECT_EQ(sntrDefragmentSList(base, 3, TestHeap::kHeader), code(Rc::BadHeapType));
  EXPECT_EQ(sntrDefragmentSList(base, 2, TestHeap::kHeader + 4), code(Rc::PoolOffsetMismatch));
  for (const std::uint64_t wrong : {TestHeap::kHeader + 8, ~std::uint64_t{7}}) {
    EXPECT_EQ(sntrReturnFreeBlockToSList(base, 2, wrong, start, 8), code(Rc::PoolOffsetMismatch)) << wrong;
    EXPECT_EQ(sntrReturnMemChunkToShmHeap(base, 2, wrong, start, 0, "", 0), code(Rc::PoolOffsetMismatch)) << wrong;
    EXPECT_EQ(sntrConnectToStorageHeap(base, 2, wrong), code(Rc::PoolOffsetMismatch)) << wrong;
  }
  EXPECT_EQ(sntrConnectToStorageHeap(base, 1, TestHeap::kHeader), code(Rc::NotADomain)) << "a pool is no domain";
  EXPECT_EQ(call(sntrGetFreeBlockFromSList, std::uint64_t{8}, static_cast<std::uint64_t *>(nullptr)),
            code(Rc::NullStorageOutput));
  for (const std::uint64_t bad : {std::uint64_t{0}, start - 8, end, start + 4, ~std::uint64_t{7}}) {
    EXPECT_EQ(call(sntrInsertFreeMemChunk, bad, std::uint64_t{8}), code(Rc::ChunkOutsideHeap)) << bad;
    EXPECT_EQ(call(sntrInsertAllocMemChunk, bad, std::uint64_t{8}), code(Rc::ChunkOutsideHeap)) << bad;
    EXPECT_EQ(call(sntrDeleteFreeMemBlock, bad), code(Rc::ChunkOutsideHeap)) << bad;
  }
  EXPECT_EQ(call(sntrChangeSlistSpace, ~std::uint64_t{0}), code(Rc::PoolFull));
  heap.write<std::uint64_t>(TestHeap::kHeader + 0x20, 1);
  EXPECT_EQ(sntrConnectToStorageHeap(base, 2, TestHeap::kHeader), code(Rc::PoolMarkedForDeletion));
  expectWhole("nothing was changed");
}

// Space asked for by hand goes back with the first release that finds it idle.
TEST_F(HeapLists, SpaceGrowsOnDemandAndGoesBack) {
  const HeapPicture fresh = heap.look();
  ASSERT_EQ(call(sntrChangeSlistSpace, std::uint64_t{10000}), 0u);
  EXPECT_GE(heap.look().extents.begin()->second, 10000u);
  expectWhole("grown");
  ASSERT_EQ(heap.take(8, chunk), 0u);
  ASSERT_EQ(heap.giveBack(chunk), 0u);
  EXPECT_EQ(heap.look().free, fresh.free);
}

// A heap whose last holder died in a change is offered for repair once at each entry, and works on.
TEST_F(HeapLists, ReachTheRepairWhenAnIntentIsLeft) {
  repairsReached = 0;
  ASSERT_EQ(heap.take(8, chunk), 0u);
  EXPECT_EQ(repairsReached, 0);
  heap.write<std::uint64_t>(kIntentAt, 0x1001);
  ASSERT_EQ(sntrConnectToStorageHeap(heap.base(), 2, TestHeap::kHeader), 0u);
  EXPECT_EQ(repairsReached, 1);
}

struct PadRow {
  std::uint32_t type;
  std::uint32_t front;
  std::uint32_t back;
  std::uint64_t added;
  std::uint64_t before;  // bytes before the caller's
};

TEST_F(HeapLists, PutThePadsOfEachSchemeAroundAChunk) {
  const PadRow rows[] = {{0, 1, 1, 0x10, 0x10},
                         {0xc0de1d1e, 8, 8, 0x10, 0x10},
                         {0xeebc011a, 2, 2, 0x20, 0x10},
                         {0xdabc011a, 2, 2, 0x30, 0x18},
                         {0xa110cbee, 1, 8, 0x30 + 72, 0x28},
                         {0xa110cbad, 3, 2, 0x40 + 40, 0x40},
                         {0xa110ce87, 8, 1, 0x48 + 72, 0x78},
                         {0x78ec011a, 2, 5, 0x58 + 56, 0x50}};
  for (const PadRow &row : rows) {
    heap.write<std::uint32_t>(TestHeap::kHeader + 0x13c, row.type);
    heap.write<std::uint32_t>(TestHeap::kHeader + 0x158, row.front);
    heap.write<std::uint32_t>(TestHeap::kHeader + 0x15c, row.back);
    std::uint64_t user = 0;
    ASSERT_EQ(sntrGetMemChunkFromShmHeap(heap.base(), 2, TestHeap::kHeader, 40, 0, nullptr, 0, &chunk, &user), 0u);
    EXPECT_EQ(user - chunk, row.before) << std::hex << row.type;
    EXPECT_EQ(heap.look().allocated[chunk], 40 + row.added) << std::hex << row.type;
    EXPECT_EQ(heap.read<std::uint32_t>(user - 4), row.type);
    std::uint64_t front = 0;
    EXPECT_EQ(frontOfBlock(reinterpret_cast<std::byte *>(heap.base()) + user, user, front), Rc::Ok);
    EXPECT_EQ(front, row.before) << "the way back from the block to its chunk";
    ASSERT_EQ(heap.giveBack(chunk), 0u);
  }
  struct BadRow {
    std::uint32_t type, front, back;
    Rc rc;
  };
  for (const BadRow &bad : {BadRow{0x1234, 2, 2, Rc::UnknownPadType}, BadRow{0, 0, 2, Rc::BadFrontPadCount},
                            BadRow{0, 9, 2, Rc::BadFrontPadCount}, BadRow{0, 2, 0, Rc::BadBackPadCount}}) {
    heap.write<std::uint32_t>(TestHeap::kHeader + 0x13c, bad.type);
    heap.write<std::uint32_t>(TestHeap::kHeader + 0x158, bad.front);
    heap.write<std::uint32_t>(TestHeap::kHeader + 0x15c, bad.back);
    EXPECT_EQ(heap.take(8, chunk), code(bad.rc));
  }
  expectWhole("after all schemes");
}

}  // namespace
}  // namespace sntr
