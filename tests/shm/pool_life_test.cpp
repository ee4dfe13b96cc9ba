// A pool's life: created in a domain, connected, freed; what it refuses in each state, and that a refusal changes
// nothing.
#include <functional>
#include <thread>

#include "pool_fixture.h"

namespace shm_test {
namespace {

constexpr std::uint64_t kHuge = ~std::uint64_t{0};

struct CreateRow {
  const char *name;
  Rc want;
  std::uint64_t size;
  std::function<void(ShmPoolParams &)> spoil;
};

const CreateRow kCreateRows[] = {
    {"no bytes", Rc::PoolGranuleBad, 0, [](auto &) {}},
    {"the user area before the selectors", Rc::BadUserAreaSize, 0x1000,
     [](auto &p) {
       p.userAppAreaSize = 0x1001;
       p.handleAllocSelector = 1;
     }},
    {"handle selector first", Rc::BadVersion, 0x1000,
     [](auto &p) { p.handleAllocSelector = p.latchSelector = p.reservedSelector = 1; }},
    {"latch selector next", Rc::BadLatchVersion, 0x1000, [](auto &p) { p.latchSelector = p.reservedSelector = 1; }},
    {"reserved selector before granule", Rc::BadReservedSelector, 0x1000,
     [](auto &p) { p.granule = p.reservedSelector = 1; }},
    {"granule below 8", Rc::PoolGranuleBad, 0x1000, [](auto &p) { p.granule = 7; }},
    {"granule above the pool", Rc::PoolGranuleBad, 0x1000, [](auto &p) { p.granule = 0x1008; }},
    {"granule uneven", Rc::PoolGranuleUneven, 0x1000, [](auto &p) { p.granule = 12; }},
    {"larger than the domain", Rc::DomainFull, kSize + 8, [](auto &) {}},
    {"larger than any domain", Rc::DomainFull, kHuge, [](auto &) {}},
    {"larger than what is free", Rc::DomainFull, kSize - 0x1000, [](auto &) {}},
    {"bookkeeping larger than what is free", Rc::DomainFull, 0x1000, [](auto &p) { p.slotCount = 250000; }},
};

using PoolLife = PoolTest;

TEST_F(PoolLife, CreationRefusesBadArgumentsAndTakesNothing) {
  const std::uint64_t allocated = infoOf(domain_).allocatedBytes;
  for (const CreateRow &row : kCreateRows) {
    SCOPED_TRACE(row.name);
    auto *const untouched = reinterpret_cast<ShmPoolHandle *>(this);
    ShmPoolHandle *pool = untouched;
    ShmPoolParams params{};
    row.spoil(params);
    EXPECT_RC(createPool(&pool, domain_, row.size, &params), row.want);
    EXPECT_EQ(pool, untouched);
    EXPECT_EQ(infoOf(domain_).allocatedBytes, allocated);
  }
  EXPECT_RC(createPool(nullptr, nullptr, 0), Rc::NullPoolHandle);
  ShmPoolHandle *pool = nullptr;
  EXPECT_RC(createPool(&pool, nullptr, 0), Rc::NullDomainHandle);
}

TEST_F(PoolLife, DefaultsOfANullParameterRecord) {
  const ShmHeapInfo info = infoOf(pool_);
  EXPECT_EQ(info.maxLevel, 10u);
  EXPECT_EQ(info.granule, 8u);
  EXPECT_EQ(info.connectCount, 1u);
  EXPECT_EQ(info.heapHeaderOffset, pool_->poolHeaderOffset);
  EXPECT_EQ(info.totalSize, kPoolSize + 0x1e8 + info.skipListAreaSize);
  EXPECT_EQ(info.freeBytes, kPoolSize);
  EXPECT_EQ(pool_->baseAddress, domain_->baseAddress);
  EXPECT_EQ(pool_->domainHeaderOffset, kDomainHeader);
  EXPECT_EQ(pool_->poolHeaderOffset - pool_->poolChunkOffset, 0x10u);
}

TEST_F(PoolLife, TheTotalIsRoundedUpToTheGranule) {
  ShmPoolParams params{};
  params.granule = 0x100;
  params.maxLevel = 30;
  params.slotCount = 51;
  ShmPoolHandle *pool = newPool(0x1001, &params);
  const ShmHeapInfo info = infoOf(pool);
  EXPECT_EQ(info.totalSize % 0x100, 0u);
  EXPECT_GE(info.totalSize, 0x1001 + 0x1e8 + info.skipListAreaSize);
  EXPECT_EQ(info.maxLevel, 25u);
  EXPECT_EQ(info.slotCount, 51u);
  EXPECT_RC(freePool(&pool, SNTR_FREE_POOL_IF_UNUSED), Rc::Ok);
}

struct ConnectRow {
  const char *name;
  Rc want;
  std::function<std::uint64_t(std::uint64_t)> offset;  // to ask for, from the pool's
};

const ConnectRow kConnectRows[] = {
    {"uneven", Rc::PoolOffsetUneven, [](std::uint64_t o) { return o + 4; }},
    {"no pool", Rc::NotAPool, [](std::uint64_t o) { return o + 8; }},
    {"the domain itself", Rc::NotAPool, [](std::uint64_t) { return kDomainHeader; }},
    {"below the domain", Rc::ChunkOutsideHeap, [](std::uint64_t) { return 0; }},
    {"the last header that could lie in the domain", Rc::NotAPool, [](std::uint64_t) { return kSize - 0x1e8; }},
    {"one more", Rc::ChunkOutsideHeap, [](std::uint64_t) { return kSize - 0x1e0; }},
    {"at the end", Rc::ChunkOutsideHeap, [](std::uint64_t) { return kSize; }},
    {"far away", Rc::ChunkOutsideHeap, [](std::uint64_t) { return kHuge - 7; }},
};

TEST_F(PoolLife, ConnectingBelievesNothing) {
  for (const ConnectRow &row : kConnectRows) {
    SCOPED_TRACE(row.name);
    ShmPoolHandle *pool = nullptr;
    EXPECT_RC(sntrConnectToShmPool(&pool, domain_, row.offset(pool_->poolHeaderOffset), this), row.want);
    EXPECT_EQ(pool, nullptr);
  }
  ShmPoolHandle *pool = nullptr;
  EXPECT_RC(sntrConnectToShmPool(nullptr, nullptr, 4, nullptr), Rc::NullPoolHandle);
  EXPECT_RC(sntrConnectToShmPool(&pool, nullptr, 4, nullptr), Rc::NullDomainHandle);
  EXPECT_RC(sntrConnectToShmPool(&pool, domain_, 4, nullptr), Rc::NullStorageOutput);
}

struct DamageRow {
  const char *name;
  Rc want;
  std::int64_t offset;  // from the pool's header
  std::uint64_t value;
};

const DamageRow kPoolDamages[] = {
    {"eyecatcher of a domain", Rc::NotAPool, 0x18, 0xf4eef00d},
    {"another stored offset", Rc::PoolOffsetMismatch, 0x28, 0x100},
    {"beyond its domain", Rc::NotAPool, 0x38, kSize},
    {"a total that wraps", Rc::NotAPool, 0x38, kHuge - 0x100},
    {"latch not stamped", Rc::BadLatchVersion, 0x60, 0},
    {"marked for deletion", Rc::PoolMarkedForDeletion, 0x20, 1},
    {"user area that cannot be", Rc::StoredUserAreaTooLarge, 0xf0, kHuge},
    {"pads of a freed pool", Rc::UnknownPadType, -8, 0xf4eeda7a00000000},
    {"nine front pads", Rc::BadFrontPadCount, -0x18, 9},
};

TEST_F(PoolLife, ConnectingToADamagedPoolCountsNothing) {
  for (const DamageRow &row : kPoolDamages) {
    SCOPED_TRACE(row.name);
    const std::uint64_t header = pool_->poolHeaderOffset;
    const bool front = row.want == Rc::BadFrontPadCount;
    const Damage<std::uint32_t> padType(base_, header - 4, front ? 0xa110cbee : 0xeebc011a);
    const Damage<std::uint64_t> spoiled(base_, header + static_cast<std::uint64_t>(row.offset), row.value);
    ShmPoolHandle *pool = nullptr;
    EXPECT_RC(sntrConnectToShmPool(&pool, domain_, header, this), row.want);
    EXPECT_EQ(pool, nullptr);
    EXPECT_EQ(wordAt<std::uint64_t>(base_, header + 0x30), 1u);
  }
}

TEST_F(PoolLife, ConnectionsAreCountedAndTheHandleIsNulled) {
  ShmPoolHandle *other = connect();
  EXPECT_EQ(std::memcmp(other, pool_, sizeof *other), 0) << "the chunk is found from the header";
  EXPECT_EQ(infoOf(pool_).connectCount, 2u);
  EXPECT_RC(sntrDisconnectFromShmPool(&other), Rc::Ok);
  EXPECT_EQ(other, nullptr);
  EXPECT_EQ(infoOf(pool_).connectCount, 1u);
  EXPECT_RC(sntrDisconnectFromShmPool(&other), Rc::NullPoolHandle);
  EXPECT_RC(sntrDisconnectFromShmPool(nullptr), Rc::NullPoolHandle);
  EXPECT_RC(sntrDestroyShmPoolHandle(&other), Rc::NullPoolHandle);
  EXPECT_RC(sntrDestroyShmPoolHandle(nullptr), Rc::NullPoolHandle);
}

TEST_F(PoolLife, FreeingReturnsTheChunkAndLeavesItsMark) {
  ShmPoolHandle *const keep = pool_;
  const ShmPoolHandle where = *pool_;
  EXPECT_RC(freePool(&pool_, SNTR_FREE_DOMAIN_ALWAYS), Rc::BadPoolFreeMode);
  EXPECT_EQ(pool_, keep);
  newBlock(100);
  EXPECT_RC(freePool(&pool_, SNTR_FREE_POOL_IF_UNUSED), Rc::Ok);
  EXPECT_EQ(pool_, nullptr);
  EXPECT_EQ(wordAt<std::uint32_t>(base_, where.poolHeaderOffset - 4), 0xf4eeda7au);
  EXPECT_EQ(wordAt<std::uint64_t>(base_, where.poolHeaderOffset + 0x18), 0u);
  EXPECT_EQ(wordAt<std::uint64_t>(base_, where.poolHeaderOffset + 0x20), 1u);
  EXPECT_EQ(infoOf(domain_).allocatedBytes, 0u);
  EXPECT_EQ(infoOf(domain_).freeBytes, kSize - kDomainHeader - 0x1e8 - infoOf(domain_).skipListAreaSize);
  EXPECT_RC(freePool(&pool_, SNTR_FREE_POOL_IF_UNUSED), Rc::NullPoolHandle);
  EXPECT_RC(freePool(nullptr, SNTR_FREE_POOL_IF_UNUSED), Rc::NullPoolHandle);
}

TEST_F(PoolLife, FreeingWaitsForOthersOrDoesNot) {
  ShmPoolHandle *other = connect();
  EXPECT_RC(freePool(&pool_, SNTR_FREE_POOL_IF_UNUSED), Rc::PoolInUse);
  EXPECT_EQ(infoOf(pool_).flags, 0u);
  void *block = newBlock(8);
  EXPECT_RC(release(&block, pool_), Rc::Ok) << "the pool is still good";
  EXPECT_RC(freePool(&pool_, SNTR_FREE_POOL_ALWAYS), Rc::Ok);
  EXPECT_RC(allocate(&block, other, 8), Rc::NotAPool);
  EXPECT_RC(sntrDisconnectFromShmPool(&other), Rc::NotAPool);
  EXPECT_RC(freePool(&other, SNTR_FREE_POOL_ALWAYS), Rc::NotAPool);
  EXPECT_RC(sntrDestroyShmPoolHandle(&other), Rc::Ok);
}

struct FreeRow {
  const char *name;
  Rc want;
  bool ofHandle;         // else of the mapped memory
  std::uint64_t offset;  // in the handle; or from the pool's header, or from the domain's
  bool ofDomain;
  std::uint64_t value;
};

const FreeRow kFreeRows[] = {
    {"null base", Rc::NullBase, true, 0, false, 0},
    {"uneven domain offset", Rc::DomainOffsetUneven, true, 8, false, 4},
    {"uneven pool offset", Rc::PoolOffsetUneven, true, 16, false, 0x104},
    {"pool offset outside the domain", Rc::ChunkOutsideHeap, true, 16, false, kSize},
    {"uneven chunk offset", Rc::PoolChunkOffsetUneven, true, 24, false, 0x104},
    {"no chunk there", Rc::DomainBlockNotFound, true, 24, false, 0x3008},
    {"a chunk offset far away", Rc::DomainBlockNotFound, true, 24, false, kHuge - 7},
    {"domain's eyecatcher", Rc::NotADomain, false, 0x18, true, 0},
    {"domain's offset", Rc::DomainOffsetMismatch, false, 0x28, true, 0},
    {"domain's reserved selector", Rc::BadReservedSelector, false, 0x00, true, 1},
    {"domain's handle selector", Rc::BadVersion, false, 0x08, true, 1},
    {"domain's latch selector", Rc::BadLatchVersion, false, 0x10, true, 1},
    {"domain's latch", Rc::BadLatchVersion, false, 0x60, true, 1},
    {"pool's eyecatcher", Rc::NotAPool, false, 0x18, false, 0},
    {"pool's offset", Rc::PoolOffsetMismatch, false, 0x28, false, 0},
    {"pool's reserved selector", Rc::BadReservedSelector, false, 0x00, false, 1},
    {"pool's handle selector", Rc::BadVersion, false, 0x08, false, 1},
    {"pool's latch selector", Rc::BadLatchVersion, false, 0x10, false, 1},
    {"pool's latch", Rc::BadLatchVersion, false, 0x60, false, 1},
    {"pool larger than its chunk", Rc::ChunkOutsideHeap, false, 0x38, false, 0x9000},
};

TEST_F(PoolLife, AFreeThatIsRefusedChangesNothing) {
  // Below the other pool, so that it can claim more than its chunk without leaving the domain.
  ShmPoolHandle *lower = newPool(0x1000);
  for (const FreeRow &row : kFreeRows) {
    SCOPED_TRACE(row.name);
    ShmPoolHandle copy = *lower;
    const std::uint64_t header = row.ofDomain ? kDomainHeader : lower->poolHeaderOffset;
    void *const record = row.ofHandle ? static_cast<void *>(&copy) : base_;
    const Damage<std::uint64_t> spoiled(record, row.ofHandle ? row.offset : header + row.offset, row.value);
    ShmPoolHandle *handle = &copy;
    EXPECT_RC(freePool(&handle, SNTR_FREE_POOL_ALWAYS), row.want);
    EXPECT_EQ(handle, &copy);
    EXPECT_NE(wordAt<std::uint32_t>(base_, lower->poolHeaderOffset - 4), 0xf4eeda7au);
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), before_.latches);
  }
  EXPECT_EQ(infoOf(domain_).allocatedCount, 2u);
  EXPECT_RC(freePool(&lower, SNTR_FREE_POOL_IF_UNUSED), Rc::Ok);
}

TEST_F(PoolLife, FreeingUnderAHeldLatchIsRefusedNotHung) {
  ASSERT_RC(sntrLatchShmDomain(domain_), Rc::Ok);
  EXPECT_RC(freePool(&pool_, SNTR_FREE_POOL_ALWAYS), Rc::LatchFailed);
  EXPECT_RC(sntrUnlatchShmDomain(domain_), Rc::Ok);
  ASSERT_RC(sntrLatchShmPool(pool_), Rc::Ok);
  EXPECT_RC(freePool(&pool_, SNTR_FREE_POOL_ALWAYS), Rc::LatchFailed);
  EXPECT_RC(sntrUnlatchShmPool(pool_), Rc::Ok);
  EXPECT_EQ(infoOf(pool_).flags, 0u);
}

TEST_F(PoolLife, TheLatchKeepsOthersOutAndRefusesItsHolder) {
  void *block = newBlock(8);
  void *other = nullptr;
  ASSERT_RC(sntrLatchShmPool(pool_), Rc::Ok);
  EXPECT_RC(allocate(&other, pool_, 8), Rc::LatchFailed);
  EXPECT_RC(release(&block, pool_), Rc::LatchFailed);
  EXPECT_EQ(infoOf(pool_).allocatedCount, 1u) << "the information needs no latch";
  std::thread([&] { EXPECT_RC(sntrUnlatchShmPool(pool_), Rc::LatchFailed); }).join();
  {
    const Damage<std::uint64_t> gone(base_, pool_->poolHeaderOffset + 0x18, 0);
    EXPECT_RC(sntrUnlatchShmPool(pool_), Rc::NotAPool);
  }
  EXPECT_RC(release(&block, pool_), Rc::Ok) << "the latch was given back all the same";
}

TEST_F(PoolLife, UserDataTravelsWhole) {
  const char text[] = "pools have it too";
  ShmPoolParams params{};
  params.userAppAreaSize = sizeof text;
  params.userAppData = text;
  ShmPoolHandle *pool = newPool(0x1000, &params);
  char read[sizeof text] = {};
  std::uint64_t size = 0;
  EXPECT_RC(sntrGetPoolUserAppData(pool, &size, read), Rc::Ok);
  EXPECT_EQ(size, sizeof text);
  EXPECT_STREQ(read, text);
  EXPECT_RC(sntrSetPoolUserAppData(pool, 1, text), Rc::BadUserAreaSize);
  EXPECT_RC(sntrSetPoolUserAppData(pool, sizeof text, nullptr), Rc::NullUserData);
  EXPECT_RC(sntrGetPoolUserAppData(pool, &size, nullptr), Rc::NullUserData);
  EXPECT_RC(sntrGetPoolUserAppData(pool, nullptr, read), Rc::NullStorageOutput);
  EXPECT_RC(sntrGetShmPoolInfo(pool, nullptr), Rc::NullInfoRecord);
  const Damage<std::uint64_t> damaged(base_, pool->poolHeaderOffset + 0xf0, infoOf(pool).totalSize - 0x1e7);
  EXPECT_RC(sntrSetPoolUserAppData(pool, sizeof text, text), Rc::StoredUserAreaTooLarge);
  EXPECT_RC(sntrGetPoolUserAppData(pool, &size, read), Rc::StoredUserAreaTooLarge);
  EXPECT_RC(sntrDestroyShmPoolHandle(&pool), Rc::Ok);
}

}  // namespace
}  // namespace shm_test
