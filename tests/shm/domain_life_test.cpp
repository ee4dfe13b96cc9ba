// A domain's life: created, connected, marked, freed; what each state allows; and what lies in its user application
// area.
#include <thread>

#include "domain_fixture.h"

namespace shm_test {
namespace {

using DomainLife = DomainTest;

TEST_F(DomainLife, DefaultsOfANullParameterRecord) {
  ShmDomainHandle *domain = createSegment();
  EXPECT_EQ(domain->domainKind, SNTR_DOMAIN_CREATED);
  EXPECT_EQ(domain->heapHeaderOffset, 0u);
  EXPECT_EQ(domain->mappedSize, kSize);
  const ShmHeapInfo info = infoOf(domain);
  EXPECT_EQ(info.maxLevel, 7u);
  EXPECT_EQ(info.granule, 0x1000u);
  EXPECT_EQ(info.userAppAreaSize, 0u);
  EXPECT_EQ(info.connectCount, 1u);
  EXPECT_EQ(info.flags, 0u);
  EXPECT_EQ(info.totalSize, kSize);
  EXPECT_EQ(info.freeBytes, kSize - 0x1e8 - info.skipListAreaSize);
  OSSIPCMemoryInfo memory{};
  static_cast<OSSHIPCMemory *>(domain->memObject)->getInfo(&memory);
  EXPECT_EQ(memory.mode, 0660u);
  const std::uint8_t zeroes[16] = {};
  EXPECT_EQ(std::memcmp(domain->reserved, zeroes, 16), 0);
  end(domain);
}

TEST_F(DomainLife, LimitsOnSlotsAndLevelsLowerWhatIsAskedFor) {
  ShmDomainParams params{};
  params.slotCount = 10001;
  params.maxLevel = 26;
  params.accessMode = 0600;
  ShmDomainHandle *domain = nullptr;
  ASSERT_RC(sntrCreateShmDomain(&key_, nullptr, 0x400000, &params, &domain), Rc::Ok);
  EXPECT_EQ(infoOf(domain).slotCount, 10000u);
  EXPECT_EQ(infoOf(domain).maxLevel, 25u);
  OSSIPCMemoryInfo memory{};
  static_cast<OSSHIPCMemory *>(domain->memObject)->getInfo(&memory);
  EXPECT_EQ(memory.mode, 0600u);
  end(domain);
}

TEST_F(DomainLife, ASecondCreationWithTheSameKeyLeavesTheFirstAlone) {
  ShmDomainHandle *first = createSegment();
  auto *const untouched = reinterpret_cast<ShmDomainHandle *>(this);
  ShmDomainHandle *second = untouched;
  EXPECT_RC(sntrCreateShmDomain(&key_, nullptr, kSize, nullptr, &second), Rc::SegmentExists);
  EXPECT_EQ(second, untouched);
  ShmDomainHandle *connected = connectSegment();
  EXPECT_EQ(infoOf(first).connectCount, 2u);
  EXPECT_RC(sntrDisconnectFromShmDomain(&connected), Rc::Ok);
  end(first);
}

TEST_F(DomainLife, ARefusedSegmentIsNoFailureAndGivesNoHandle) {
  ShmDomainParams params{};
  params.accessMode = 01000;
  ShmDomainHandle *domain = nullptr;
  EXPECT_RC(sntrCreateShmDomain(&key_, nullptr, kSize, &params, &domain), Rc::Ok);
  EXPECT_EQ(domain, nullptr);
  EXPECT_RC(sntrCreateShmDomain(&key_, nullptr, std::uint64_t{1} << 60, nullptr, &domain), Rc::Ok);
  EXPECT_EQ(domain, nullptr);
  EXPECT_FALSE(segmentExists(key_));
}

TEST_F(DomainLife, ConnectionsAreCountedAndTheHandleIsNulled) {
  ShmDomainHandle *owner = createSegment();
  ShmDomainHandle *other = connectSegment();
  EXPECT_NE(owner->baseAddress, other->baseAddress);
  EXPECT_EQ(other->mappedSize, kSize);
  EXPECT_EQ(infoOf(owner).connectCount, 2u);
  EXPECT_RC(sntrDisconnectFromShmDomain(&other), Rc::Ok);
  EXPECT_EQ(other, nullptr);
  EXPECT_EQ(infoOf(owner).connectCount, 1u);
  EXPECT_RC(sntrDisconnectFromShmDomain(&owner), Rc::Ok);
  ShmDomainHandle *again = connectSegment();
  EXPECT_EQ(infoOf(again).connectCount, 1u);
  end(again);
  EXPECT_FALSE(segmentExists(key_));
}

TEST_F(DomainLife, TheConnectCountNeverFallsBelowZero) {
  ShmDomainHandle *domain = createInMemory();
  setWordAt<std::uint64_t>(domain->baseAddress, 0x30, 0);
  ShmDomainHandle *other = domain;
  EXPECT_RC(sntrDisconnectFromShmDomain(&other), Rc::Ok);
  EXPECT_EQ(wordAt<std::uint64_t>(memory_.data(), 0x30), 0u);
}

TEST_F(DomainLife, AMarkedDomainTakesNoNewConnectionsAndWorksOn) {
  ShmDomainParams params{};
  params.initialFlags = 0x10;
  ShmDomainHandle *domain = createSegment(&params);
  EXPECT_RC(sntrMarkShmDomainForDeletion(domain), Rc::Ok);
  EXPECT_EQ(infoOf(domain).flags, 0x11u);
  ShmDomainHandle *late = nullptr;
  EXPECT_RC(sntrConnectToShmDomain(&key_, nullptr, nullptr, &late), Rc::DomainMarkedForDeletion);
  EXPECT_EQ(late, nullptr);
  EXPECT_EQ(infoOf(domain).connectCount, 1u);
  ShmPoolHandle *pool = nullptr;
  EXPECT_RC(createPool(&pool, domain, 0x1000), Rc::Ok);
  EXPECT_RC(freePool(&pool, SNTR_FREE_POOL_IF_UNUSED), Rc::Ok);
  end(domain);
}

TEST_F(DomainLife, FreeingWaitsForOthersOrDoesNot) {
  ShmDomainHandle *owner = createSegment();
  ShmDomainHandle *other = connectSegment();
  ShmDomainHandle *const before = owner;
  EXPECT_RC(sntrFreeShmDomain(&owner, SNTR_FREE_POOL_IF_UNUSED), Rc::BadDomainFreeMode);
  EXPECT_RC(sntrFreeShmDomain(&owner, SNTR_FREE_DOMAIN_IF_UNUSED), Rc::DomainInUse);
  EXPECT_EQ(owner, before);
  EXPECT_EQ(infoOf(owner).flags, 0u);
  EXPECT_RC(sntrFreeShmDomain(&owner, SNTR_FREE_DOMAIN_ALWAYS), Rc::Ok);
  EXPECT_EQ(owner, nullptr);
  // The other process's memory is still there, but it is no domain.
  EXPECT_EQ(wordAt<std::uint64_t>(other->baseAddress, 0x18), 0u);
  EXPECT_EQ(wordAt<std::uint64_t>(other->baseAddress, 0x20), 1u);
  EXPECT_RC(sntrLatchShmDomain(other), Rc::NotADomain);
  EXPECT_RC(sntrDisconnectFromShmDomain(&other), Rc::NotADomain);
  ShmDomainHandle *late = nullptr;
  EXPECT_RC(sntrConnectToShmDomain(&key_, nullptr, nullptr, &late), Rc::AttachFailed);
  // Only the handle can end now. It leaves its memory attached, so the test detaches that first.
  static_cast<OSSHIPCMemory *>(other->memObject)->detach();
  const std::uint64_t header[0x40] = {0, 0x1317d17};
  other->baseAddress = const_cast<std::uint64_t *>(header);
  EXPECT_RC(sntrDestroyShmDomainHandle(&other), Rc::Ok);
}

TEST_F(DomainLife, TheLastConnectedMayFreeWithoutForce) {
  ShmDomainHandle *owner = createInMemory();
  EXPECT_RC(sntrFreeShmDomain(&owner, SNTR_FREE_DOMAIN_IF_UNUSED), Rc::Ok);
  EXPECT_EQ(owner, nullptr);
  ShmDomainHandle *late = nullptr;
  ShmDomainParams params{};
  params.domainKind = SNTR_DOMAIN_MEMORY;
  EXPECT_RC(sntrConnectToShmDomain(nullptr, memory_.data(), &params, &late), Rc::NotADomain);
}

TEST_F(DomainLife, AHandleCanEndAlone) {
  ShmDomainHandle *owner = createInMemory();
  ShmDomainHandle *other = connectInMemory();
  EXPECT_RC(sntrDestroyShmDomainHandle(&other), Rc::Ok);
  EXPECT_EQ(other, nullptr);
  EXPECT_EQ(infoOf(owner).connectCount, 2u);
  end(owner);
}

TEST_F(DomainLife, AHeaderInsideTheMemoryLeavesWhatIsBeforeItAlone) {
  ShmDomainParams params{};
  params.heapHeaderOffset = 0x48;
  ShmDomainHandle *owner = createInMemory(params);
  for (std::size_t i = 0; i < 0x48 / 8; ++i) EXPECT_EQ(memory_[i], 0xa5a5a5a5a5a5a5a5u);
  EXPECT_EQ(infoOf(owner).freeBytes, kSize - 0x48 - 0x1e8 - infoOf(owner).skipListAreaSize);
  ShmDomainHandle *other = connectInMemory(0x48);
  EXPECT_EQ(other->mappedSize, 0u) << "nobody told how large the memory is";
  EXPECT_RC(sntrDisconnectFromShmDomain(&other), Rc::Ok);
  end(owner);
}

// A segment made by hand, with a header of the test's making at its start.
struct ForeignRow {
  const char *name;
  std::uint64_t size;
  std::uint64_t eyecatcher;
  std::uint64_t total;
};

const ForeignRow kForeignRows[] = {
    {"smaller than a header", 0x1e7, 0xf4eef00d, 0x100},
    {"zeroes", 0x2000, 0, 0},
    {"a pool", 0x2000, 0xf00df4ee, 0x2000},
    {"larger than its segment", 0x2000, 0xf4eef00d, 0x2008},
};

TEST_F(DomainLife, SegmentsThatAreNoDomainAreRefusedAndDetached) {
  for (const ForeignRow &row : kForeignRows) {
    SCOPED_TRACE(row.name);
    OSSHIPCMemory memory;
    void *base = nullptr;
    OSSIPCMemoryCreateParam param{OSS_IPC_VERSION, key_, 0, row.size, nullptr, 0600, 0};
    ASSERT_EQ(memory.create(&param), 0u);
    memory.getAddress(&base);
    setWordAt<std::uint64_t>(base, 0x18, row.eyecatcher);
    setWordAt<std::uint64_t>(base, 0x38, row.total);
    ShmDomainHandle *domain = nullptr;
    EXPECT_RC(sntrConnectToShmDomain(&key_, nullptr, nullptr, &domain), Rc::NotADomain);
    EXPECT_EQ(domain, nullptr);
    memory.destroy();
  }
}

TEST_F(DomainLife, UserDataTravelsWhole) {
  const char first[] = "a greeting of thirty-one bytes.";
  ShmDomainParams params{};
  params.userAppAreaSize = 31;
  params.userAppData = first;
  ShmDomainHandle *owner = createInMemory(params);
  ShmDomainHandle *other = connectInMemory();
  char read[40] = {};
  std::uint64_t size = 0;
  EXPECT_RC(sntrGetDomainUserAppData(other, &size, read), Rc::Ok);
  EXPECT_EQ(size, 31u);
  EXPECT_STREQ(read, first);
  const char second[] = "another text of the same length";
  EXPECT_RC(sntrSetDomainUserAppData(owner, 30, second), Rc::BadUserAreaSize);
  EXPECT_RC(sntrSetDomainUserAppData(owner, 32, second), Rc::BadUserAreaSize);
  EXPECT_RC(sntrSetDomainUserAppData(owner, 31, second), Rc::Ok);
  EXPECT_RC(sntrGetDomainUserAppData(other, &size, read), Rc::Ok);
  EXPECT_STREQ(read, second);
  EXPECT_RC(sntrDisconnectFromShmDomain(&other), Rc::Ok);
  end(owner);
}

TEST_F(DomainLife, AUserAreaWithoutDataIsZeroes) {
  ShmDomainParams params{};
  params.userAppAreaSize = 24;
  ShmDomainHandle *domain = createInMemory(params);
  for (std::uint64_t offset = 0xf8; offset < 0x110; ++offset) EXPECT_EQ(wordAt<char>(memory_.data(), offset), 0);
  end(domain);
}

TEST_F(DomainLife, AStoredUserAreaThatCannotBeIsNotCopied) {
  ShmDomainParams params{};
  params.userAppAreaSize = 16;
  ShmDomainHandle *domain = createInMemory(params);
  char bytes[16] = {};
  for (const std::uint64_t stored :
       {kSize - 0x1e8 + 1, kSize, kSize + 1, ~std::uint64_t{0}, ~std::uint64_t{0} - 0x1e8}) {
    SCOPED_TRACE(stored);
    const Damage<std::uint64_t> damaged(domain->baseAddress, 0xf0, stored);
    std::uint64_t size = 7;
    EXPECT_RC(sntrSetDomainUserAppData(domain, stored, bytes), Rc::StoredUserAreaTooLarge);
    EXPECT_RC(sntrSetDomainUserAppData(domain, 1, bytes), Rc::StoredUserAreaTooLarge);
    EXPECT_RC(sntrGetDomainUserAppData(domain, &size, bytes), Rc::StoredUserAreaTooLarge);
    EXPECT_EQ(size, 7u);
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

TEST_F(DomainLife, TheLatchIsGivenBackEvenIfTheEyecatcherHasGone) {
  ShmDomainHandle *domain = createInMemory();
  ASSERT_RC(sntrLatchShmDomain(domain), Rc::Ok);
  {
    const Damage<std::uint64_t> gone(domain->baseAddress, 0x18, 0);
    EXPECT_RC(sntrUnlatchShmDomain(domain), Rc::NotADomain);
    EXPECT_RC(sntrUnlatchShmDomain(domain), Rc::NotADomain);
  }
  EXPECT_RC(sntrLatchShmDomain(domain), Rc::Ok) << "the latch is free again";
  EXPECT_RC(sntrUnlatchShmDomain(domain), Rc::Ok);
  end(domain);
}

}  // namespace
}  // namespace shm_test
