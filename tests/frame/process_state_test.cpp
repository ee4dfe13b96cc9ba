// Initialization and cleanup: the counting, the codes, what is freed and what is left, at literal offsets of the
// globals.
#include <gtest/gtest.h>
#include <oss/fault.h>
#include <oss/memory.h>
#include <sntr/frame.h>

#include <array>
#include <cstring>
#include <thread>
#include <utility>

#include "support/codes.h"
#include "support/words.h"

namespace {

using sntr::Rc;
using support::setWordAt, support::wordAt;

// Copied before main() runs: what the globals hold once the library is loaded.
const SegmentInfoGlobal kSegmentInfoAtLoad = sntrGASegInfo;
const SegmentListHead kSegmentListAtLoad = sntrSegLLHeader;

std::uint32_t initialize() { return SNTROneTimeOnlyInitialization(SNTR_VERSION, SNTR_VERSION); }

void *allocate(std::uint64_t size) { return std::memset(_ossMemAlloc(size, "test", 1), 0, size); }

// A record with two buffers, in front of the attach list; what belongs to it, in the order of its freeing.
std::array<void *, 4> attach(std::uint32_t version) {
  std::array<void *, 4> parts = {allocate(8), allocate(8), allocate(72), allocate(16)};
  setWordAt(parts[2], 0, version);
  setWordAt(parts[2], 48, parts[0]);
  setWordAt(parts[2], 40, parts[1]);
  setWordAt(parts[3], 0, wordAt<void *>(pSegAttachList, 0));
  setWordAt(parts[3], 8, parts[2]);
  setWordAt(pSegAttachList, 0, parts[3]);
  return parts;
}

void fillSegmentInfo(std::uint32_t state, std::uint32_t version) {
  setWordAt(&sntrGASegInfo, 0, state);
  setWordAt(&sntrGASegInfo, 8, version);
  for (std::size_t buffer : {48u, 56u}) {
    _ossMemFree(wordAt<void *>(&sntrGASegInfo, buffer), "test", 2);
    setWordAt(&sntrGASegInfo, buffer, allocate(8));
  }
}

class ProcessState : public ::testing::Test {
 protected:
  void TearDown() override {
    ossFaultDisarm();
    static_cast<void>(SNTRCleanup(2));
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldBlocks), 0) << "memory is left";
    EXPECT_EQ(sntrAPIInitLatch, 0) << "a spin latch is left held";
    EXPECT_EQ(sntrSegAttachLatch, 0) << "a spin latch is left held";
  }
};

TEST_F(ProcessState, LoadingSetsTheTwoLatches) {
  for (const void *record :
       {static_cast<const void *>(&kSegmentInfoAtLoad), static_cast<const void *>(&kSegmentListAtLoad)}) {
    EXPECT_EQ(wordAt<std::uint64_t>(record, 24), 0xa050004u);
    EXPECT_EQ(wordAt<std::uint32_t>(record, 32), 0u);
  }
}

TEST_F(ProcessState, CountsUsesAndTearsDownWithTheLast) {
  sntrSegAttachLatch = 1;  // as a fork may have left it
  setWordAt(&sntrSegLLHeader, 0, std::uint64_t{1});
  setWordAt(&sntrGCFLLHeader, 0, std::uint64_t{1});
  ASSERT_RC(initialize(), Rc::Ok);
  EXPECT_EQ(sntrAPIIsInitialized, 0xf4eebee4u);
  EXPECT_EQ(wordAt<std::uint32_t>(&sntrGASegInfo, 0), 0xbeeff4eeu);
  EXPECT_EQ(wordAt<std::uint64_t>(&sntrSegLLHeader, 0), 0u);
  EXPECT_EQ(wordAt<std::uint32_t>(&sntrSegLLHeader, 8), 0x1317d17u);
  EXPECT_EQ(wordAt<std::uint32_t>(&sntrSegLLHeader, 16), 0x1317d17u);
  EXPECT_EQ(wordAt<std::uint64_t>(&sntrGCFLLHeader, 0), 0u);
  ASSERT_RC(SNTROneTimeOnlyInitialization(1, 2), Rc::Ok) << "a later one does not look at its arguments";
  EXPECT_RC(SNTRCleanup(1), Rc::Ok);
  EXPECT_EQ(sntrAPIInitRefCount, 1u);
  EXPECT_RC(SNTRCleanup(1), Rc::Ok);
  EXPECT_EQ(sntrAPIInitRefCount, 0u);
  EXPECT_EQ(sntrAPIIsInitialized, 0xbee4f4eeu);
  EXPECT_RC(SNTRCleanup(3), Rc::NotInitialized) << "comes before the mode";
  for (int i = 0; i < 3; ++i) ASSERT_RC(initialize(), Rc::Ok) << "it can begin again";
  EXPECT_RC(SNTRCleanup(2), Rc::Ok);
  EXPECT_EQ(sntrAPIInitRefCount, 0u) << "the forced cleanup looked at the count";
}

TEST_F(ProcessState, RefusesWrongArgumentsAndCanBeTriedAgain) {
  EXPECT_RC(SNTROneTimeOnlyInitialization(0, 0), Rc::BadLatchVersion) << "the second is looked at first";
  EXPECT_RC(SNTROneTimeOnlyInitialization(0, SNTR_VERSION), Rc::BadVersion);
  ossFaultArm(OSSFaultMemoryAlloc, 1);
  EXPECT_RC(initialize(), Rc::AttachListAllocFailed);
  EXPECT_EQ(sntrAPIInitRefCount, 0u);
  EXPECT_NE(sntrAPIIsInitialized, SNTR_INITIALIZED);
  ASSERT_RC(initialize(), Rc::Ok);
  EXPECT_RC(SNTRCleanup(3), Rc::BadCleanupMode);
  sntrAPIIsInitialized = 5;
  EXPECT_RC(initialize(), Rc::NotInitialized) << "the word was written over";
  sntrAPIIsInitialized = SNTR_INITIALIZED;
}

TEST_F(ProcessState, FreesWhatIsStampedWhateverTheStateSays) {
  for (const auto &[state, version] : {std::pair{0xf4eebeefu, 0u}, {0x12345678u, 0x1317d17u}}) {
    ASSERT_RC(initialize(), Rc::Ok);
    fillSegmentInfo(state, version);
    const auto foreign = attach(version);
    EXPECT_RC(SNTRCleanup(1), Rc::Ok);
    EXPECT_EQ(wordAt<std::uint32_t>(&sntrGASegInfo, 0), version == 0 ? 0xbeeff4eeu : state);
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldBlocks), version == 0 ? 6 : 0) << version;
    for (void *part : foreign) {
      if (version == 0) _ossMemFree(part, "test", 3);
    }
  }
}

// Each free in turn fails: the code is the services layer's, the use stays counted, and repeating the cleanup ends it
// without freeing anything twice.
TEST_F(ProcessState, AFailingFreeEndsTheCleanupWhichCanBeRepeated) {
  for (std::size_t nth = 1; nth <= 7; ++nth) {
    ASSERT_RC(initialize(), Rc::Ok);
    fillSegmentInfo(SNTR_SEGMENT_INFO_FILLED, SNTR_VERSION);
    const auto parts = attach(SNTR_VERSION);
    ossFaultArm(OSSFaultMemoryFree, nth);
    EXPECT_RC(SNTRCleanup(1), Rc::OssInjected) << "free " << nth;
    EXPECT_EQ(sntrAPIInitRefCount, 1u) << "free " << nth;
    EXPECT_RC(SNTRCleanup(1), Rc::Ok) << "free " << nth;
    // What of the cell had not been reached is unreachable by design; the test still knows it.
    const std::size_t reached = nth < 3 || nth > 6 ? parts.size() : nth - 2;
    for (std::size_t part = reached; part < parts.size(); ++part) _ossMemFree(parts[part], "test", 4);
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldBlocks), 0) << "free " << nth;
  }
}

TEST_F(ProcessState, ThreadsMayBeginAndEndAtOnce) {
  const auto use = [] {
    for (int round = 0; round < 500; ++round) {
      ASSERT_RC(initialize(), Rc::Ok);
      ASSERT_RC(SNTRCleanup(1), Rc::Ok);
    }
  };
  std::thread other(use);
  use();
  other.join();
}

}  // namespace
