// A domain's life: created, connected, freed; what each state allows; and what lies in its user application area.
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "storage_fixture.h"

namespace shm_test {
namespace {

using DomainLife = DomainTest;

std::uint32_t modeOf(const ShmDomainHandle *domain) {
  OSSIPCMemoryInfo memory{};
  static_cast<OSSHIPCMemory *>(domain->memObject)->getInfo(&memory);
  return memory.mode;
}

TEST_F(DomainLife, DefaultsOfANullParameterRecordAndLimitsOfAnother) {
  ShmDomainHandle *domain = createSegment();
  const ShmHeapInfo info = infoOf(domain);
  EXPECT_EQ(domain->domainKind, SNTR_DOMAIN_CREATED);
  EXPECT_EQ(info.maxLevel, 7u);
  EXPECT_EQ(info.granule, 0x1000u);
  EXPECT_EQ(info.userAppAreaSize, 0u);
  EXPECT_EQ(info.freeBytes, kSize - 0x1e8 - info.skipListAreaSize);
  EXPECT_EQ(modeOf(domain), 0660u);
  end(domain);
  ShmDomainParams params{};
  params.slotCount = 10001;
  params.maxLevel = 26;
  params.accessMode = 0600;
  domain = createSegment(&params, 0x400000);
  EXPECT_EQ(infoOf(domain).slotCount, 10000u);
  EXPECT_EQ(infoOf(domain).maxLevel, 25u);
  EXPECT_EQ(modeOf(domain), 0600u);
  end(domain);
}

TEST_F(DomainLife, ARefusedSegmentIsNoFailureAndGivesNoHandle) {
  ShmDomainParams params{};
  params.accessMode = 01000;
  EXPECT_EQ(createSegment(&params), nullptr);
  EXPECT_EQ(createSegment(nullptr, std::uint64_t{1} << 60), nullptr);
  EXPECT_FALSE(support::segmentIsLeft(key_));
}

TEST_F(DomainLife, ConnectionsAreCountedFromZeroAndFreeingAsksOnlyWhereItShall) {
  ShmDomainHandle *owner = createSegment(), *again = nullptr;
  EXPECT_RC(sntrFreeShmDomain(&owner, SNTR_FREE_POOL_IF_UNUSED), Rc::BadDomainFreeMode);
  ASSERT_NE(owner, nullptr);
  setWordAt<std::uint64_t>(owner->baseAddress, 0x30, 0);
  EXPECT_RC(sntrDisconnectFromShmDomain(&owner), Rc::Ok);
  EXPECT_EQ(owner, nullptr);
  EXPECT_RC(sntrConnectToShmDomain(&key_, nullptr, nullptr, &again), Rc::Ok);
  EXPECT_EQ(again->mappedSize, kSize);
  EXPECT_EQ(infoOf(again).connectCount, 1u) << "the count fell below 0";
  EXPECT_RC(sntrFreeShmDomain(&again, SNTR_FREE_DOMAIN_IF_UNUSED), Rc::Ok);
  EXPECT_EQ(again, nullptr);
  EXPECT_FALSE(support::segmentIsLeft(key_));
}

TEST_F(DomainLife, ADomainWhoseNameStaysWorksOn) {
  ShmDomainHandle *domain = createSegment(), *other = nullptr;
  ossFaultArm(OSSFaultSegmentDestroy, 1);
  EXPECT_RC(sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_IF_UNUSED), Rc::DestroyFailed);
  EXPECT_RC(sntrConnectToShmDomain(&key_, nullptr, nullptr, &other), Rc::Ok);
  EXPECT_EQ(infoOf(domain).connectCount, 2u);
  EXPECT_RC(sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_IF_UNUSED), Rc::DomainInUse);
  EXPECT_TRUE(support::segmentIsLeft(key_)) << "refused before the name was touched";
  EXPECT_RC(sntrDisconnectFromShmDomain(&other), Rc::Ok);
  end(domain);
  EXPECT_FALSE(support::segmentIsLeft(key_));
}

TEST_F(DomainLife, AHeaderInsideTheMemoryLeavesWhatIsBeforeItAlone) {
  ShmDomainParams params{};
  params.heapHeaderOffset = 0x48;
  ShmDomainHandle *owner = createInMemory(params), *other = nullptr;
  for (std::size_t i = 0; i < 0x48 / 8; ++i) EXPECT_EQ(memory_[i], 0xa5a5a5a5a5a5a5a5u);
  EXPECT_EQ(infoOf(owner).freeBytes, kSize - 0x48 - 0x1e8 - infoOf(owner).skipListAreaSize);
  params.domainKind = SNTR_DOMAIN_MEMORY;
  EXPECT_RC(sntrConnectToShmDomain(nullptr, memory_.data(), &params, &other), Rc::Ok);
  EXPECT_EQ(other->mappedSize, kSize);
  EXPECT_RC(sntrDisconnectFromShmDomain(&other), Rc::Ok);
  end(owner);
}

TEST_F(DomainLife, UserDataTravelsWholeOrNotAtAll) {
  const char first[] = "a greeting of thirty-one bytes.", second[] = "another text of the same length";
  ShmDomainParams params{};
  params.userAppAreaSize = 31;
  ShmDomainHandle *domain = createInMemory(params);
  for (std::uint64_t offset = 0xf8; offset < 0x118; ++offset) EXPECT_EQ(wordAt<char>(memory_.data(), offset), 0);
  end(domain);
  params.userAppData = first;
  domain = createInMemory(params);
  char read[40] = {};
  std::uint64_t size = 0;
  EXPECT_RC(sntrGetDomainUserAppData(domain, &size, read), Rc::Ok);
  EXPECT_EQ(size, 31u);
  EXPECT_STREQ(read, first);
  EXPECT_RC(sntrSetDomainUserAppData(domain, 30, second), Rc::BadUserAreaSize);
  EXPECT_RC(sntrSetDomainUserAppData(domain, 32, second), Rc::BadUserAreaSize);
  EXPECT_RC(sntrSetDomainUserAppData(domain, 31, second), Rc::Ok);
  EXPECT_RC(sntrGetDomainUserAppData(domain, &size, read), Rc::Ok);
  EXPECT_STREQ(read, second);
  for (const std::uint64_t stored : {kSize - 0x1e8 + 1, kSize, kSize + 1, kHuge, kHuge - 0x1e8}) {
    const Damage<std::uint64_t> damaged(domain->baseAddress, 0xf0, stored);
    EXPECT_RC(sntrSetDomainUserAppData(domain, stored, read), Rc::StoredUserAreaTooLarge) << stored;
    EXPECT_RC(sntrSetDomainUserAppData(domain, 1, read), Rc::StoredUserAreaTooLarge) << stored;
    EXPECT_RC(sntrGetDomainUserAppData(domain, &size, read), Rc::StoredUserAreaTooLarge) << stored;
    EXPECT_EQ(size, 31u) << stored;
  }
  end(domain);
}

TEST_F(DomainLife, TheLatchKeepsOthersOutAndRefusesItsHolder) {
  ShmDomainHandle *domain = createInMemory();
  EXPECT_RC(sntrUnlatchShmDomain(domain), Rc::LatchFailed) << "held by nobody";
  ASSERT_RC(sntrLatchShmDomain(domain), Rc::Ok);
  EXPECT_RC(sntrLatchShmDomain(domain), Rc::LatchFailed) << "held by this thread";
  ShmPoolHandle *pool = nullptr;
  EXPECT_RC(createPool(&pool, domain, 0x1000), Rc::LatchFailed);
  EXPECT_EQ(infoOf(domain).allocatedBytes, 0u);
  std::thread([&] { EXPECT_RC(sntrUnlatchShmDomain(domain), Rc::LatchFailed) << "held by another"; }).join();
  EXPECT_RC(sntrUnlatchShmDomain(domain), Rc::Ok);
  end(domain);
}

// The domain dies while another process waits for its latch: what it was before the wait says nothing afterwards. Both
// give the latch back all the same.
TEST_F(DomainLife, WhoHoldsOrGetsTheLatchOfADeadDomainGivesItBack) {
  ShmDomainHandle *domain = createSegment();
  ASSERT_RC(sntrLatchShmDomain(domain), Rc::Ok);
  const pid_t child = fork();
  if (child == 0) {
    const bool told = sntrLatchShmDomain(domain) == code(Rc::NotADomain);
    _exit(told && ossFaultHeld(OSSFaultHeldLatches) == 1 ? 0 : 1);  // the one was counted before the fork
  }
  usleep(30000);
  int status = 1;
  {
    const Damage<std::uint64_t> gone(domain->baseAddress, 0x18, 0);
    EXPECT_RC(sntrUnlatchShmDomain(domain), Rc::NotADomain);
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_RC(sntrUnlatchShmDomain(domain), Rc::NotADomain);
  }
  EXPECT_RC(sntrLatchShmDomain(domain), Rc::Ok) << "the latch is free again";
  EXPECT_RC(sntrUnlatchShmDomain(domain), Rc::Ok);
  end(domain);
}

}  // namespace
}  // namespace shm_test
