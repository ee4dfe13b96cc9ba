// A pool's life: created in a domain, connected, freed; what it refuses in each state, and that a refusal changes
// nothing.
#include <sntr/heap.h>

#include <thread>

#include "shm/mappings.h"
#include "storage_fixture.h"

namespace shm_test {
namespace {

using P = ShmPoolParams;
using PoolLife = PoolTest;

const struct {
  const char *name;
  Rc want;
  std::uint64_t size;
  std::vector<std::pair<std::uint64_t P::*, std::uint64_t>> fields;
} kCreateRows[] = {
    {"no bytes", Rc::PoolGranuleBad, 0, {}},
    {"the user area first", Rc::BadUserAreaSize, 0x1000, {{&P::userAppAreaSize, 0x1001}, {&P::handleAllocSelector, 1}}},
    {"handle selector next", Rc::BadVersion, 0x1000, {{&P::handleAllocSelector, 1}, {&P::latchSelector, 1}}},
    {"latch selector next", Rc::BadLatchVersion, 0x1000, {{&P::latchSelector, 1}, {&P::reservedSelector, 1}}},
    {"then the reserved one", Rc::BadReservedSelector, 0x1000, {{&P::reservedSelector, 1}, {&P::granule, 1}}},
    {"granule below 8", Rc::PoolGranuleBad, 0x1000, {{&P::granule, 7}}},
    {"granule above the pool", Rc::PoolGranuleBad, 0x1000, {{&P::granule, 0x1008}}},
    {"granule uneven", Rc::PoolGranuleUneven, 0x1000, {{&P::granule, 12}}},
    {"larger than any domain", Rc::DomainFull, kHuge, {}},
    {"larger than what is free", Rc::DomainFull, kSize - 0x1000, {}},
    {"bookkeeping larger than what is free", Rc::DomainFull, 0x1000, {{&P::slotCount, 250000}}}};

TEST_F(PoolLife, CreationRefusesBadArgumentsAndTakesNothing) {
  const std::uint64_t allocated = infoOf(domain_).allocatedBytes;
  ShmPoolHandle *const untouched = pool_;
  for (const auto &row : kCreateRows) {
    P params{};
    for (const auto &[field, value] : row.fields) params.*field = value;
    EXPECT_RC(createPool(&pool_, domain_, row.size, &params), row.want) << row.name;
    EXPECT_EQ(pool_, untouched) << row.name;
    EXPECT_EQ(infoOf(domain_).allocatedBytes, allocated) << row.name;
  }
  EXPECT_RC(createPool(nullptr, nullptr, 0), Rc::NullPoolHandle);
  EXPECT_RC(createPool(&pool_, nullptr, 0), Rc::NullDomainHandle);
}

TEST_F(PoolLife, DefaultsOfANullParameterRecordAndLimitsOfAnother) {
  const ShmHeapInfo info = infoOf(pool_);
  EXPECT_EQ(info.maxLevel, 10u);
  EXPECT_EQ(info.granule, 8u);
  EXPECT_EQ(info.totalSize, kPoolSize + 0x1e8 + info.skipListAreaSize);
  EXPECT_EQ(info.freeBytes, kPoolSize);
  P params{};
  params.granule = 0x100;
  params.maxLevel = 30;
  params.slotCount = 51;
  ShmPoolHandle *pool = newPool(0x1001, &params);
  const ShmHeapInfo other = infoOf(pool);
  EXPECT_EQ(other.totalSize % 0x100, 0u);
  EXPECT_GE(other.totalSize, 0x1001 + 0x1e8 + other.skipListAreaSize);
  EXPECT_EQ(other.maxLevel, 25u);
  EXPECT_EQ(other.slotCount, 51u);
  EXPECT_RC(freePool(&pool, SNTR_FREE_POOL_IF_UNUSED), Rc::Ok);
}

TEST_F(PoolLife, ConnectingBelievesNothing) {
  const std::uint64_t header = pool_->poolHeaderOffset;
  const std::pair<std::uint64_t, Rc> rows[] = {
      {header + 4, Rc::PoolOffsetUneven}, {header + 8, Rc::NotAPool},       {kDomainHeader, Rc::NotAPool},
      {0, Rc::ChunkOutsideHeap},          {kSize - 0x1e8, Rc::NotAPool},    {kSize - 0x1e0, Rc::ChunkOutsideHeap},
      {kSize, Rc::ChunkOutsideHeap},      {kHuge - 7, Rc::ChunkOutsideHeap}};
  ShmPoolHandle *pool = nullptr;
  for (const auto &[offset, want] : rows) {
    EXPECT_RC(sntrConnectToShmPool(&pool, domain_, offset, this), want) << std::hex << offset;
    EXPECT_EQ(pool, nullptr) << std::hex << offset;
  }
  EXPECT_RC(sntrConnectToShmPool(nullptr, nullptr, 4, nullptr), Rc::NullPoolHandle);
  EXPECT_RC(sntrConnectToShmPool(&pool, nullptr, 4, nullptr), Rc::NullDomainHandle);
  EXPECT_RC(sntrConnectToShmPool(&pool, domain_, 4, nullptr), Rc::NullStorageOutput);
}

// What connecting to a damaged pool is answered with, and what allocating from it is. Offsets are from the header.
const struct {
  const char *name;
  Rc connect, allocate;
  std::int64_t offset;
  std::uint64_t value;
} kPoolDamages[] = {{"eyecatcher of a domain", Rc::NotAPool, Rc::NotAPool, 0x18, 0xf4eef00d},
                    {"another stored offset", Rc::PoolOffsetMismatch, Rc::PoolOffsetMismatch, 0x28, 0x100},
                    {"beyond its domain", Rc::NotAPool, Rc::NotAPool, 0x38, kSize},
                    {"a total that wraps", Rc::NotAPool, Rc::NotAPool, 0x38, kHuge - 0x100},
                    {"latch not stamped", Rc::BadLatchVersion, Rc::BadLatchVersion, 0x60, 0},
                    {"user area that cannot be", Rc::StoredUserAreaTooLarge, Rc::StoredUserAreaTooLarge, 0xf0, kHuge},
                    {"marked for deletion", Rc::PoolMarkedForDeletion, Rc::Ok, 0x20, 1},
                    {"pads of a freed pool", Rc::UnknownPadType, Rc::Ok, -8, 0xf4eeda7a00000000},
                    {"nine front pads", Rc::BadFrontPadCount, Rc::Ok, -0x18, 9},
                    {"settings' latch not stamped", Rc::Ok, Rc::BadLatchVersion, 0x160, 0},
                    {"settings' pad type", Rc::Ok, Rc::UnknownPadType, 0x138, 0x12345678'0000000b},
                    {"settings' front pads", Rc::Ok, Rc::BadFrontPadCount, 0x158, 0x00000002'00000009},
                    {"settings' back pads", Rc::Ok, Rc::BadBackPadCount, 0x158, 0x00000000'00000002}};

TEST_F(PoolLife, ADamagedPoolCountsNoConnectionAndGivesNoBlock) {
  const std::uint64_t header = pool_->poolHeaderOffset;
  for (const auto &row : kPoolDamages) {
    SCOPED_TRACE(row.name);
    ShmPoolHandle *pool = nullptr;
    void *block = nullptr;
    {
      const bool front = row.connect == Rc::BadFrontPadCount;
      const Damage<std::uint32_t> padType(base_, header - 4, front ? 0xa110cbee : 0xeebc011a);
      const Damage<std::uint64_t> spoiled(base_, header + static_cast<std::uint64_t>(row.offset), row.value);
      EXPECT_RC(sntrConnectToShmPool(&pool, domain_, header, this), row.connect);
      EXPECT_EQ(pool != nullptr, row.connect == Rc::Ok);
      EXPECT_RC(allocate(&block, pool_, 8), row.allocate);
      EXPECT_EQ(block != nullptr, row.allocate == Rc::Ok);
    }
    if (pool != nullptr) EXPECT_RC(sntrDisconnectFromShmPool(&pool), Rc::Ok);
    if (block != nullptr) EXPECT_RC(release(&block, pool_), Rc::Ok);
    EXPECT_EQ(infoOf(pool_).connectCount, 1u);
    EXPECT_EQ(infoOf(pool_).freeBytes, kPoolSize);
  }
}

TEST_F(PoolLife, ConnectionsAreCountedAndTheHandleIsNulled) {
  ShmPoolHandle *other = connect();
  EXPECT_EQ(std::memcmp(other, pool_, sizeof *other), 0) << "the chunk is found from the header";
  EXPECT_EQ(infoOf(pool_).connectCount, 2u);
  EXPECT_RC(freePool(&pool_, SNTR_FREE_POOL_IF_UNUSED), Rc::PoolInUse);
  EXPECT_EQ(infoOf(pool_).flags, 0u);
  EXPECT_RC(sntrDisconnectFromShmPool(&other), Rc::Ok);
  EXPECT_EQ(other, nullptr);
  EXPECT_EQ(infoOf(pool_).connectCount, 1u);
  for (ShmPoolHandle **none : {&other, static_cast<ShmPoolHandle **>(nullptr)}) {
    EXPECT_RC(sntrDisconnectFromShmPool(none), Rc::NullPoolHandle);
    EXPECT_RC(sntrDestroyShmPoolHandle(none), Rc::NullPoolHandle);
    EXPECT_RC(freePool(none, SNTR_FREE_POOL_IF_UNUSED), Rc::NullPoolHandle);
  }
}

TEST_F(PoolLife, FreeingReturnsTheChunkAndLeavesItsMark) {
  ShmPoolHandle *other = connect();
  const ShmPoolHandle where = *pool_;
  EXPECT_RC(freePool(&pool_, SNTR_FREE_DOMAIN_ALWAYS), Rc::BadPoolFreeMode);
  ASSERT_NE(pool_, nullptr);
  newBlock(100);
  EXPECT_RC(freePool(&pool_, SNTR_FREE_POOL_ALWAYS), Rc::Ok);
  EXPECT_EQ(pool_, nullptr);
  EXPECT_EQ(wordAt<std::uint32_t>(base_, where.poolHeaderOffset - 4), 0xf4eeda7au);
  EXPECT_EQ(wordAt<std::uint64_t>(base_, where.poolHeaderOffset + 0x18), 0u);
  EXPECT_EQ(wordAt<std::uint64_t>(base_, where.poolHeaderOffset + 0x20), 1u);
  EXPECT_EQ(infoOf(domain_).allocatedBytes, 0u);
  EXPECT_EQ(infoOf(domain_).freeBytes, kSize - kDomainHeader - 0x1e8 - infoOf(domain_).skipListAreaSize);
  EXPECT_RC(freePool(&other, SNTR_FREE_POOL_ALWAYS), Rc::NotAPool) << "freed already";
  EXPECT_RC(sntrDestroyShmPoolHandle(&other), Rc::Ok);
}

enum class Of { Handle, Pool, Domain };

const struct {
  const char *name;
  Rc want;
  Of record;
  std::uint64_t offset;  // in the handle, or from the header
  std::uint64_t value;
} kFreeRows[] = {{"null base", Rc::NullBase, Of::Handle, 0, 0},
                 {"uneven domain offset", Rc::DomainOffsetUneven, Of::Handle, 8, 4},
                 {"uneven pool offset", Rc::PoolOffsetUneven, Of::Handle, 16, 0x104},
                 {"pool offset outside the domain", Rc::ChunkOutsideHeap, Of::Handle, 16, kSize},
                 {"uneven chunk offset", Rc::PoolChunkOffsetUneven, Of::Handle, 24, 0x104},
                 {"no chunk there", Rc::DomainBlockNotFound, Of::Handle, 24, 0x3008},
                 {"a chunk offset far away", Rc::DomainBlockNotFound, Of::Handle, 24, kHuge - 7},
                 {"domain's eyecatcher", Rc::NotADomain, Of::Domain, 0x18, 0},
                 {"domain's offset", Rc::DomainOffsetMismatch, Of::Domain, 0x28, 0},
                 {"domain's reserved selector", Rc::BadReservedSelector, Of::Domain, 0x00, 1},
                 {"domain's handle selector", Rc::BadVersion, Of::Domain, 0x08, 1},
                 {"domain's latch selector", Rc::BadLatchVersion, Of::Domain, 0x10, 1},
                 {"domain's latch", Rc::BadLatchVersion, Of::Domain, 0x60, 1},
                 {"pool's eyecatcher", Rc::NotAPool, Of::Pool, 0x18, 0},
                 {"pool's offset", Rc::PoolOffsetMismatch, Of::Pool, 0x28, 0},
                 {"pool's reserved selector", Rc::BadReservedSelector, Of::Pool, 0x00, 1},
                 {"pool's handle selector", Rc::BadVersion, Of::Pool, 0x08, 1},
                 {"pool's latch selector", Rc::BadLatchVersion, Of::Pool, 0x10, 1},
                 {"pool's latch", Rc::BadLatchVersion, Of::Pool, 0x60, 1},
                 {"pool larger than its chunk", Rc::ChunkOutsideHeap, Of::Pool, 0x38, 0x9000}};

TEST_F(PoolLife, AFreeThatIsRefusedChangesNothing) {
  // Below the other pool, so that it can claim more than its chunk without leaving the domain.
  ShmPoolHandle *lower = newPool(0x1000);
  for (const auto &row : kFreeRows) {
    ShmPoolHandle copy = *lower;
    const std::uint64_t header = row.record == Of::Domain ? kDomainHeader : lower->poolHeaderOffset;
    const bool ofHandle = row.record == Of::Handle;
    const Damage<std::uint64_t> spoiled(ofHandle ? &copy : base_, ofHandle ? row.offset : header + row.offset,
                                        row.value);
    ShmPoolHandle *handle = &copy;
    EXPECT_RC(freePool(&handle, SNTR_FREE_POOL_ALWAYS), row.want) << row.name;
    EXPECT_EQ(handle, &copy) << row.name;
    EXPECT_NE(wordAt<std::uint32_t>(base_, lower->poolHeaderOffset - 4), 0xf4eeda7au) << row.name;
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0) << row.name;
  }
  EXPECT_EQ(infoOf(domain_).allocatedCount, 2u);
  EXPECT_RC(freePool(&lower, SNTR_FREE_POOL_IF_UNUSED), Rc::Ok);
}

TEST_F(PoolLife, AHeldLatchRefusesItsHolderAndIsGivenBackToo) {
  void *block = newBlock(8), *other = nullptr;
  ASSERT_RC(sntrLatchShmDomain(domain_), Rc::Ok);
  EXPECT_RC(freePool(&pool_, SNTR_FREE_POOL_ALWAYS), Rc::LatchFailed);
  EXPECT_RC(sntrUnlatchShmDomain(domain_), Rc::Ok);
  ASSERT_RC(sntrLatchShmPool(pool_), Rc::Ok);
  EXPECT_RC(freePool(&pool_, SNTR_FREE_POOL_ALWAYS), Rc::LatchFailed);
  EXPECT_RC(allocate(&other, pool_, 8), Rc::LatchFailed);
  EXPECT_RC(release(&block, pool_), Rc::LatchFailed);
  EXPECT_EQ(infoOf(pool_).allocatedCount, 1u) << "the information needs no latch";
  EXPECT_EQ(infoOf(pool_).flags, 0u);
  std::thread([&] { EXPECT_RC(sntrUnlatchShmPool(pool_), Rc::LatchFailed); }).join();
  {
    const Damage<std::uint64_t> gone(base_, pool_->poolHeaderOffset + 0x18, 0);
    EXPECT_RC(sntrUnlatchShmPool(pool_), Rc::NotAPool);
  }
  EXPECT_RC(release(&block, pool_), Rc::Ok) << "the latch was given back all the same";
}

TEST_F(PoolLife, UserDataTravelsWhole) {
  const char text[] = "pools have it too";
  P params{};
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

TEST_F(PoolLife, WhatIsWrongWithAnArgumentIsLogged) {
  const std::uint64_t header = pool_->poolHeaderOffset;
  const auto connectAt = [&](std::uint64_t offset) {
    ShmPoolHandle *pool = nullptr;
    return sntrConnectToShmPool(&pool, domain_, offset, this);
  };
  const auto releaseAt = [&](std::uint64_t offset) {
    auto *block = reinterpret_cast<void *>(reinterpret_cast<std::uintptr_t>(base_) + offset);
    return release(&block, pool_);
  };
  setWordAt<std::uint32_t>(base_, header + 0x3000 - 4, 0xeebc011a);
  expectLogged([&] { return sntrSetPoolUserAppData(pool_, 1, this); }, Rc::BadUserAreaSize);
  expectLogged([&] { return sntrSetDomainUserAppData(domain_, 1, this); }, Rc::BadUserAreaSize);
  expectLogged([&] { return connectAt(header + 4); }, Rc::PoolOffsetUneven);
  expectLogged([&] { return connectAt(kSize); }, Rc::ChunkOutsideHeap);
  expectLogged([&] { return releaseAt(kHuge - 7); }, Rc::BlockBelowDomain);
  expectLogged([&] { return releaseAt(kSize + 8); }, Rc::ChunkOutsideHeap);
  expectLogged([&] { return releaseAt(header + 0x3000); }, Rc::PoolBlockNotFound);
  expectLogged([&] { return sntrReturnMemChunkToShmHeap(base_, 2, header, 8, 0, "", 0); }, Rc::PoolBlockNotFound);
  expectLogged([&] { return sntrReturnFreeBlockToSList(base_, 2, header, 8, 8); }, Rc::ChunkOutsideHeap);
}

// The rest of a freed domain is not remembered: its address may be that of a larger one next.
TEST_F(PoolLife, AFreedDomainIsForgottenWithItsLastHandle) {
  ShmDomainParams params{};
  params.heapHeaderOffset = kDomainHeader;
  params.domainKind = SNTR_DOMAIN_MEMORY;
  ShmDomainHandle *second = nullptr;
  ASSERT_RC(sntrConnectToShmDomain(nullptr, base_, &params, &second), Rc::Ok);
  end(domain_);
  EXPECT_EQ(sntr::mappedBytes(base_), kSize);
  EXPECT_RC(sntrDestroyShmDomainHandle(&second), Rc::Ok);
  EXPECT_EQ(sntr::mappedBytes(base_), 0u);
}

// How a domain handle of a kind ends says whether pool handles made with it still have memory to work on.
TEST_F(PoolLife, AHandleWorksAsLongAsTheDomainIsMapped) {
  const ShmPoolHandle copy = *pool_;
  ShmDomainParams params{};
  params.heapHeaderOffset = kDomainHeader;
  params.domainKind = SNTR_DOMAIN_MEMORY;
  ShmDomainHandle *second = nullptr;
  ASSERT_RC(sntrConnectToShmDomain(nullptr, base_, &params, &second), Rc::Ok);
  EXPECT_RC(sntrDisconnectFromShmDomain(&domain_), Rc::Ok);
  EXPECT_EQ(infoOf(&copy).connectCount, 1u) << "the second handle is left";
  ShmHeapInfo info{};
  EXPECT_RC(sntrDisconnectFromShmDomain(&second), Rc::Ok);
  EXPECT_RC(sntrGetShmPoolInfo(&copy, &info), Rc::NotADomain);
  ASSERT_RC(sntrConnectToShmDomain(nullptr, base_, &params, &domain_), Rc::Ok);
  EXPECT_RC(sntrDestroyShmDomainHandle(&domain_), Rc::Ok);
  EXPECT_EQ(infoOf(&copy).connectCount, 1u) << "the memory stays";
  // A segment is mapped anew by each handle, and gone with it.
  second = createSegment();
  ShmPoolHandle *pool = nullptr;
  ASSERT_RC(createPool(&pool, second, kPoolSize), Rc::Ok);
  EXPECT_RC(sntrDisconnectFromShmDomain(&second), Rc::Ok);
  EXPECT_RC(sntrGetShmPoolInfo(pool, &info), Rc::NotADomain);
  EXPECT_RC(sntrDestroyShmPoolHandle(&pool), Rc::Ok);
}

}  // namespace
}  // namespace shm_test
