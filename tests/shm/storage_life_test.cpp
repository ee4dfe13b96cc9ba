// SPDX-License-Identifier: MIT
// The life of a domain, a pool and a block: what each state allows, what lies in the user application areas, and what a
// stray address gets.
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "storage_fixture.h"

namespace shm_test {
namespace {

TEST_F(Storage, ASegmentHasAModeAndANameOrIsNone) {
  const auto mode = [&] { return static_cast<U32>(std::filesystem::status(fileOf(key)).permissions()); };
  Domain *first = nullptr, *second = nullptr;
  EXPECT_RC(makeDomain(first, Params{.mode = 01000}), Ok) << "a refusal by the system is no failure";
  EXPECT_EQ(first, nullptr);
  ASSERT_RC(makeDomain(first, {}), Ok);
  EXPECT_EQ(mode(), 0660u);
  removeSegment(key);
  ASSERT_RC(makeDomain(second, Params{.mode = 0600}), Ok);
  EXPECT_EQ(mode(), 0600u);
  EXPECT_RC(freeUnused(&first), Ok) << "its name leads to another segment";
  EXPECT_TRUE(segmentIsLeft(key));
  EXPECT_RC(freeUnused(&second), Ok);
  EXPECT_FALSE(segmentIsLeft(key));
}

TEST_F(Storage, ConnectionsAreCountedFromZeroAndFreeingAsksIfItShall) {
  const auto test = [&](auto *handle, auto *other) {
    ASSERT_RC(connect(other), Ok);
    EXPECT_EQ(std::memcmp(other, handle, sizeof *other), 0) << "whatever the creator's handle has is found again";
    EXPECT_EQ(infoOf(handle).connectCount, 2u);
    EXPECT_RC(freeUnused(&handle), of(handle, DomainInUse, PoolInUse));
    EXPECT_EQ(infoOf(handle).flags, 0u);
    setWordAt<U64>(base, headerOf(handle) + 0x30, 0);
    EXPECT_RC(disconnect(&other), Ok);
    EXPECT_EQ(other, nullptr);
    EXPECT_EQ(infoOf(handle).connectCount, 0u) << "the count fell below 0";
  };
  test(domain, domain);
  test(pool, pool);
  EXPECT_RC(freePool(&pool, SNTR_FREE_DOMAIN_ALWAYS), BadPoolFreeMode);
  EXPECT_RC(sntrFreeShmDomain(&domain, SNTR_FREE_POOL_ALWAYS), BadDomainFreeMode);
}

TEST_F(Storage, FreeingAPoolReturnsItsChunkAndLeavesItsMark) {
  const char *const header = base + headerOf(pool);
  ASSERT_RC(allocate(&block, pool, 100), Ok);
  for (Pool **freed : {&pool, &above}) {
    EXPECT_RC(freeAlways(freed), Ok);
    EXPECT_EQ(*freed, nullptr);
  }
  EXPECT_EQ(wordAt<U32>(header - 4, 0), 0xf4eeda7au);
  EXPECT_EQ(wordAt(header, 0x18), 0u);
  EXPECT_EQ(wordAt(header, 0x20), 1u);
  EXPECT_EQ(infoOf(domain).freeBytes, kSize - kDomainHeader - kLists - infoOf(domain).skipListAreaSize);
  EXPECT_EQ(std::string(base, kDomainHeader), std::string(kDomainHeader, '\xa5')) << "before the domain's header";
}

TEST_F(Storage, UserDataTravelsWholeOrNotAtAll) {
  const char text[] = "another text of the same length";
  forBoth([&](auto *handle) {
    EXPECT_RC(getData(handle, &size, data), Ok);
    EXPECT_STREQ(data, kGreeting);
    for (const U64 wrong : {30u, 32u}) expectRefused(BadUserAreaSize, [&] { return setData(handle, wrong, text); });
    EXPECT_RC(setData(handle, kUserArea, text), Ok);
    EXPECT_RC(getData(handle, &size, data), Ok);
    EXPECT_STREQ(data, text);
    const U64 most = infoOf(handle).totalSize - 0x1e8 - (headerOf(handle) == kDomainHeader ? kDomainHeader : 0);
    for (const U64 stored : {most + 1, kSize, kHuge - 0x1e8, kHuge}) {
      damaged(base, headerOf(handle) + 0xf0, stored, [&] {
        EXPECT_RC(setData(handle, stored, data), StoredUserAreaTooLarge) << stored;
        EXPECT_RC(setData(handle, 1, data), StoredUserAreaTooLarge) << stored;
        EXPECT_RC(getData(handle, &size, data), StoredUserAreaTooLarge) << stored;
      });
    }
    EXPECT_EQ(size, kUserArea);
  });
  ASSERT_RC(freeAlways(&pool), Ok);
  ASSERT_RC(makePool(pool, Params{.userArea = 7}, 8), Ok) << "parts that fill it exactly";
  EXPECT_EQ(std::string(base + headerOf(pool) + 0xf8, 8), std::string(8, '\0'));
}

// A heap dies while another process waits for its latch: what it was before the wait proves nothing afterwards. Both
// give the latch back all the same.
TEST_F(Storage, HolderAndWaiterGiveTheLatchOfADeadHeapBack) {
  forBoth([&](auto *handle) {
    const Rc gone = of(handle, NotADomain, NotAPool);
    const auto words = [&] { return std::string(base + headerOf(handle) + 0x60, 0x88); };
    EXPECT_RC(unlatch(handle), LatchFailed) << "held by no thread";
    ASSERT_RC(latch(handle), Ok);
    std::thread([&] { EXPECT_RC(unlatch(handle), LatchFailed) << "held by another"; }).join();
    EXPECT_EQ(infoOf(handle).connectCount, 1u) << "the information needs no latch";
    const std::string held = words();
    const pid_t child = fork();
    // One latch was counted before the fork.
    if (child == 0) _exit(latch(handle) == code(gone) && ossFaultHeld(OSSFaultHeldLatches) == 1 ? 0 : 1);
    while (words() == held) sched_yield();  // the latch's words show that the child waits
    damaged(base, headerOf(handle) + 0x18, 0, [&] {
      int status = 1;
      EXPECT_RC(unlatch(handle), gone);
      EXPECT_EQ(waitpid(child, &status, 0), child);
      EXPECT_EQ(status, 0);
    });
    EXPECT_RC(latch(handle), Ok) << "the latch is free again";
    EXPECT_RC(unlatch(handle), Ok);
  });
}

// How the handles of a domain end determines whether pool handles made with it still have memory to work on.
TEST_F(Storage, APoolHandleWorksAsLongAsTheDomainIsMapped) {
  Domain *other = nullptr;
  ASSERT_RC(connect(other), Ok);
  EXPECT_RC(disconnect(&domain), Ok);
  EXPECT_EQ(infoOf(pool).connectCount, 1u) << "the other handle is left";
  EXPECT_RC(disconnect(&other), Ok);
  EXPECT_RC(latch(pool), NotADomain);
  ASSERT_RC(connect(domain), Ok);
  ASSERT_RC(connect(other), Ok);
  EXPECT_RC(freeAlways(&domain), Ok);
  EXPECT_EQ(infoOf(pool).connectCount, 1u) << "freed, but the other handle is left";
  EXPECT_RC(destroyHandle(&other), Ok);
  EXPECT_RC(latch(pool), NotADomain) << "the address may be that of a larger domain next";
  for (const bool inSegment : {false, true}) {
    ASSERT_RC(makeDomain(domain, inSegment ? Params{} : params, kSize, base), Ok);
    ASSERT_RC(destroyHandle(&pool), Ok);
    ASSERT_RC(makePool(pool, params, kPoolSize), Ok);
    EXPECT_RC(inSegment ? disconnect(&domain) : destroyHandle(&domain), Ok);
    EXPECT_RC(getInfo(pool, &info), inSegment ? NotADomain : Ok) << "memory stays, a segment goes with its handle";
  }
}

TEST_F(Storage, AFailingServicesLayerLeavesNoDomainInMemory) {
  alignas(8) char memory[0x8000] = {};
  Domain *made = nullptr;
  for (U64 nth = 1; made == nullptr; ++nth) {
    ossFaultArmAny(nth);
    const U32 rc = makeDomain(made, Params{.kind = kMemory}, sizeof memory, memory);
    ossFaultDisarm();
    if (rc != 0) EXPECT_RC(connectBy(Params{.kind = kMemory}, made, memory), NotADomain) << nth;
  }
  EXPECT_RC(freeUnused(&made), Ok);
}

const struct {
  U64 granule, asked, taken;
} kSizeRows[] = {{8, 0, 0}, {8, 1, 8}, {8, 8, 8}, {8, 9, 16}, {64, 1, 64}, {64, 64, 64}, {64, 65, 128}};

TEST_F(Storage, BlocksAreRoundedUpToTheGranule) {
  for (const auto &row : kSizeRows) {
    SCOPED_TRACE(testing::Message() << "granule " << row.granule << ", asked " << row.asked);
    setWordAt<U64>(base, headerOf(pool) + 0x58, row.granule);
    ASSERT_RC(allocate(&block, pool, row.asked), Ok);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 8, 0u);
    EXPECT_EQ(infoOf(pool).allocatedBytes, row.taken + 0x20);
    std::memset(block, 0xff, row.taken);
    EXPECT_RC(release(&block, pool), Ok);
    EXPECT_EQ(infoOf(pool).freeBytes, kPoolSize);
  }
  setWordAt<U64>(base, headerOf(pool) + 0x58, 16);
  for (const U64 large : {kPoolSize, kPoolSize * 4, kHuge - 8, kHuge}) {
    EXPECT_RC(allocate(&block, pool, large), PoolFull) << large;
    EXPECT_EQ(block, nullptr);
  }
}

TEST_F(Storage, ABlockIsFreedOnceWholeAndByItsOwnPool) {
  ASSERT_RC(allocate(&block, pool, 64), Ok);
  void *inside = static_cast<char *>(block) + 16, *twice = block, *others = nullptr;
  ASSERT_RC(allocate(&others, above, 64), Ok);
  setWordAt<U32>(block, 12, 0xeebc011a);
  expectRefused(PoolBlockNotFound, [&] { return release(&inside, pool); });  // the record decides, not the words before
  expectRefused(ChunkOutsideHeap, [&] { return release(&others, pool); });
  expectRefused(ChunkOutsideHeap, [&] { return release(&twice, above); });
  ossFaultArm(OSSFaultLatchRelease, 1);
  EXPECT_RC(release(&block, pool), LatchFailed);
  EXPECT_EQ(block, nullptr) << "it is free all the same";
  EXPECT_EQ(infoOf(pool).freeBytes, kPoolSize);
  expectRefused(PoolBlockNotFound, [&] { return release(&twice, pool); });
  EXPECT_NE(twice, nullptr);
}

// A stray address, from the domain's start or from the pool's free space, and the words written before it.
const struct {
  const char *name;
  Rc rc;
  bool inPool;
  U64 offset;
  U32 padType, frontPads;  // the latter at both places where a scheme may have it; 0 of the former: nothing is written
} kStrays[] = {{"unknown pad type", UnknownPadType, true, 0, 0xf4eeda7a, 2},
               {"no front pads", BadFrontPadCount, true, 0, 0xa110cbee, 0},
               {"nine front pads", BadFrontPadCount, true, 0, 0x78ec011a, 9},
               {"nothing was allocated there", PoolBlockNotFound, true, 0, 0xa110ce87, 8},
               {"not a multiple of 8", ChunkUneven, true, 4, 0xeebc011a, 2},
               {"the start of the domain", UnknownPadType, false, 0, 0, 0},
               {"below the domain", BlockBelowDomain, false, kHuge - 7, 0, 0},
               {"chunk below the domain", ChunkBelowDomain, false, 8, 0xeebc011a, 0},
               {"chunk before the pool", ChunkOutsideHeap, false, 0x38, 0xeebc011a, 0},
               {"behind the domain", ChunkOutsideHeap, false, kSize + 1, 0, 0}};

TEST_F(Storage, StrayAddressesAreRefusedAndNothingIsReleased) {
  for (const auto &row : kStrays) {
    SCOPED_TRACE(row.name);
    const U64 offset = row.offset + (row.inPool ? headerOf(pool) + 0x3800 : 0);
    for (const U64 before : {0x18u, 0x20u}) {
      if (row.inPool) setWordAt<U32>(base, offset - before, row.frontPads);
    }
    if (row.padType != 0) setWordAt<U32>(base, offset - 4, row.padType);
    void *const stray = block = reinterpret_cast<void *>(reinterpret_cast<std::uintptr_t>(base) + offset);
    expectRefused(row.rc, [&] { return release(&block, pool); });
    EXPECT_EQ(block, stray);
    EXPECT_EQ(infoOf(pool).freeBytes, kPoolSize);
  }
}

}  // namespace
}  // namespace shm_test
