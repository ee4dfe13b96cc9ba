// Blocks of a pool: sizes, granules, what a stray address is told, and that a refusal releases nothing.
#include "storage_fixture.h"

namespace shm_test {
namespace {

constexpr std::uint64_t kOverhead = 0x20;

using Blocks = PoolTest;

const struct {
  std::uint64_t granule, asked, taken;
} kSizeRows[] = {{8, 0, 0}, {8, 1, 8}, {8, 8, 8}, {8, 9, 16}, {64, 1, 64}, {64, 64, 64}, {64, 65, 128}};

TEST_F(Blocks, SizesAreRoundedUpToTheGranule) {
  for (const auto &row : kSizeRows) {
    SCOPED_TRACE(testing::Message() << "granule " << row.granule << ", asked " << row.asked);
    ShmPoolParams params{};
    params.granule = row.granule;
    ShmPoolHandle *pool = newPool(0x1000, &params);
    void *block = nullptr;
    EXPECT_RC(allocate(&block, pool, row.asked), Rc::Ok);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 8, 0u);
    EXPECT_EQ(infoOf(pool).allocatedBytes, row.taken + kOverhead);
    std::memset(block, 0xff, row.taken);
    EXPECT_RC(release(&block, pool), Rc::Ok);
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(infoOf(pool).allocatedBytes, 0u);
    EXPECT_RC(freePool(&pool, SNTR_FREE_POOL_IF_UNUSED), Rc::Ok);
  }
}

const struct {
  const char *name;
  Rc want;
  std::uint64_t size, granule;
} kAllocateRows[] = {
    {"granule lost", Rc::PoolGranuleBad, 8, 0},
    {"granule uneven", Rc::PoolGranuleUneven, 8, 12},
    {"granule below 8", Rc::PoolGranuleUneven, 8, 4},
    {"granule above the pool", Rc::PoolGranuleBad, 8, 0x1000000},
    {"granule near the end of numbers", Rc::PoolGranuleBad, 8, kHuge - 7},
    {"size above the pool", Rc::PoolFull, kPoolSize * 4, 8},
    {"size near the end of numbers", Rc::PoolFull, kHuge, 8},
    {"size that wraps when rounded", Rc::PoolFull, kHuge - 8, 16},
    {"all of it, without room for the overhead", Rc::PoolFull, kPoolSize, 8},
};

TEST_F(Blocks, AllocationRefusesWhatCannotBe) {
  for (const auto &row : kAllocateRows) {
    SCOPED_TRACE(row.name);
    const Damage<std::uint64_t> granule(base_, pool_->poolHeaderOffset + 0x58, row.granule);
    auto *const untouched = static_cast<void *>(this);
    void *block = untouched;
    EXPECT_RC(allocate(&block, pool_, row.size), row.want);
    EXPECT_EQ(block, untouched);
    EXPECT_EQ(infoOf(pool_).allocatedCount, 0u);
  }
}

TEST_F(Blocks, NullArguments) {
  void *block = nullptr;
  EXPECT_RC(allocate(&block, nullptr, 8), Rc::NullPoolHandle);
  EXPECT_RC(allocate(nullptr, pool_, 8), Rc::NullStorageOutput);
  EXPECT_RC(release(&block, nullptr), Rc::NullPoolHandle);
  EXPECT_RC(release(nullptr, pool_), Rc::NullStorageOutput);
  EXPECT_RC(release(&block, pool_), Rc::NullBlock);
  ShmPoolHandle lost = *pool_;
  lost.baseAddress = nullptr;
  EXPECT_RC(allocate(nullptr, &lost, 8), Rc::NullBase);
  EXPECT_RC(release(nullptr, &lost), Rc::NullBase);
}

TEST_F(Blocks, ABlockCannotBeFreedTwiceNorInPieces) {
  void *const block = newBlock(64);
  void *inside = static_cast<char *>(block) + 16;
  setWordAt<std::uint32_t>(block, 12, 0xeebc011a);
  EXPECT_RC(release(&inside, pool_), Rc::PoolBlockNotFound) << "the record decides, not the words before it";
  void *once = block;
  void *twice = block;
  EXPECT_RC(release(&once, pool_), Rc::Ok);
  EXPECT_RC(release(&twice, pool_), Rc::PoolBlockNotFound);
  EXPECT_EQ(twice, block);
  EXPECT_EQ(infoOf(pool_).freeBytes, kPoolSize);
}

// The words before a stray address, and where it is.
constexpr std::uint64_t kInPool = 1;  // stands for an offset inside the pool's free space

const struct {
  const char *name;
  Rc want;
  std::uint64_t offset;     // of the address, from the domain's start
  std::uint32_t padType;    // written before it where that is inside the domain
  std::uint32_t frontPads;  // written at both places where a scheme may keep it
} kStrayRows[] = {
    {"unknown pad type", Rc::UnknownPadType, kInPool, 0x12345678, 2},
    {"mark of a freed pool", Rc::UnknownPadType, kInPool, 0xf4eeda7a, 2},
    {"no front pads", Rc::BadFrontPadCount, kInPool, 0xa110cbee, 0},
    {"nine front pads", Rc::BadFrontPadCount, kInPool, 0x78ec011a, 9},
    {"two to the 31 front pads", Rc::BadFrontPadCount, kInPool, 0xa110cbad, 0x80000000},
    {"nothing was allocated there", Rc::PoolBlockNotFound, kInPool, 0xa110ce87, 8},
    {"not a multiple of 8", Rc::ChunkUneven, kInPool + 4, 0xeebc011a, 2},
    {"the start of the domain", Rc::UnknownPadType, 0, 0, 0},
    {"chunk below the domain", Rc::ChunkBelowDomain, 8, 0xeebc011a, 0},
    {"chunk in the domain, not in the pool", Rc::ChunkOutsideHeap, 0x38, 0xeebc011a, 0},
    {"behind the domain", Rc::ChunkOutsideHeap, kSize + 1, 0, 0},
    {"far behind the domain", Rc::ChunkOutsideHeap, kHuge / 2, 0, 0},
};

TEST_F(Blocks, StrayAddressesAreToldApartAndNothingIsReleased) {
  void *keep = newBlock(0x100);
  const std::uint64_t free = infoOf(pool_).freeBytes;
  for (const auto &row : kStrayRows) {
    SCOPED_TRACE(row.name);
    const bool inPool = row.offset == kInPool || row.offset == kInPool + 4;
    const std::uint64_t offset = inPool ? pool_->poolHeaderOffset + 0x3800 + (row.offset - kInPool) : row.offset;
    std::vector<std::uint64_t> bytes = memory_;
    if (inPool) {
      setWordAt<std::uint32_t>(base_, offset - 0x18, row.frontPads);
      setWordAt<std::uint32_t>(base_, offset - 0x20, row.frontPads);
    }
    if (row.padType != 0) setWordAt<std::uint32_t>(base_, offset - 4, row.padType);
    auto *const address = reinterpret_cast<void *>(reinterpret_cast<std::uintptr_t>(base_) + offset);
    void *block = address;
    EXPECT_RC(release(&block, pool_), row.want);
    EXPECT_EQ(block, address);
    EXPECT_EQ(infoOf(pool_).freeBytes, free);
    std::memcpy(base_, bytes.data(), bytes.size() * 8);
  }
  auto *below = reinterpret_cast<void *>(reinterpret_cast<std::uintptr_t>(base_) - 8);
  EXPECT_RC(release(&below, pool_), Rc::BlockBelowDomain);
  EXPECT_RC(release(&keep, pool_), Rc::Ok);
}

TEST_F(Blocks, ABlockOfAnotherPoolIsRefused) {
  ShmPoolHandle *other = newPool(0x1000);
  void *block = nullptr;
  ASSERT_RC(allocate(&block, other, 8), Rc::Ok);
  EXPECT_RC(release(&block, pool_), Rc::ChunkOutsideHeap);
  EXPECT_RC(release(&block, other), Rc::Ok);
  EXPECT_RC(freePool(&other, SNTR_FREE_POOL_IF_UNUSED), Rc::Ok);
}

}  // namespace
}  // namespace shm_test
