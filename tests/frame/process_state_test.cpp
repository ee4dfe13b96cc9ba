// SPDX-License-Identifier: MIT
// Initialization and cleanup: the counting, the codes, what is freed and what is left, at literal offsets of the
// globals. Further the utilities, and what an exported call leaves in the trace and the log.
#include <gtest/gtest.h>
#include <oss/fault.h>
#include <oss/oss.h>
#include <sntr/frame.h>
#include <sntr/latches.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <fstream>
#include <thread>

#include "layout/functions.h"
#include "support/codes.h"
#include "support/words.h"

namespace {

using sntr::Rc;
using support::named, support::setWordAt, support::wordAt;

std::uint32_t initialize() { return SNTROneTimeOnlyInitialization(SNTR_VERSION, SNTR_VERSION); }

class ProcessState : public ::testing::Test {
 protected:
  ~ProcessState() override {
    static_cast<void>(SNTRCleanup(2));
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldBlocks), 0) << "memory is left";
    EXPECT_EQ(sntrAPIInitLatch, 0) << "a spin latch is left held";
    EXPECT_EQ(sntrSegAttachLatch, 0) << "a spin latch is left held";
  }

  static void *allocate(std::uint64_t size) { return std::memset(_ossMemAlloc(size, "test", 1), 0, size); }

  // Initializes; fills the global record, and puts one with two buffers in front of the attach list. Returns what
  // belongs to the latter, in the order of its freeing.
  static std::array<void *, 4> fill(std::uint32_t state, std::uint32_t version) {
    EXPECT_RC(initialize(), Rc::Ok);
    setWordAt(&sntrGASegInfo, 0, state);
    setWordAt(&sntrGASegInfo, 8, version);
    for (const std::size_t buffer : {48u, 56u}) {
      _ossMemFree(wordAt<void *>(&sntrGASegInfo, buffer), "test", 2);
      setWordAt(&sntrGASegInfo, buffer, allocate(8));
    }
    const std::array<void *, 4> parts = {allocate(8), allocate(8), allocate(72), allocate(16)};
    setWordAt(parts[2], 0, version);
    setWordAt(parts[2], 48, parts[0]);
    setWordAt(parts[2], 40, parts[1]);
    setWordAt(parts[3], 8, parts[2]);
    setWordAt(pSegAttachList, 0, parts[3]);
    return parts;
  }
};

TEST_F(ProcessState, CountsUsesAndTearsDownWithTheLast) {
  EXPECT_EQ(wordAt<std::uint64_t>(&sntrGASegInfo, 24), 0xa050004u) << "from load on";
  EXPECT_EQ(wordAt<std::uint64_t>(&sntrSegLLHeader, 24), 0xa050004u) << "from load on";
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
  EXPECT_RC(SNTRCleanup(3), Rc::BadCleanupMode);
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
  sntrAPIIsInitialized = 5;
  EXPECT_RC(initialize(), Rc::NotInitialized) << "the word was written over";
  sntrAPIIsInitialized = SNTR_INITIALIZED;
}

// Each free in turn fails, or none: the code is the services layer's, the use stays counted, and repeating the cleanup
// ends it without freeing anything twice. Parts of the list's record that were not reached are lost then, by design.
TEST_F(ProcessState, FreesWhatIsStampedWhateverTheStateSaysAndCanBeRepeated) {
  const auto foreign = fill(0xf4eebeef, 0);
  EXPECT_RC(SNTRCleanup(1), Rc::Ok);
  EXPECT_EQ(wordAt<std::uint32_t>(&sntrGASegInfo, 0), 0xbeeff4eeu);
  EXPECT_EQ(ossFaultHeld(OSSFaultHeldBlocks), 6) << "of records that are not stamped";
  for (void *part : foreign) _ossMemFree(part, "test", 3);
  const std::size_t lost[] = {0, 0, 0, 3, 2, 1, 0, 0};
  for (std::size_t nth = 0; nth < std::size(lost); ++nth) {
    SCOPED_TRACE("free " + std::to_string(nth));
    const auto parts = fill(0x12345678, SNTR_VERSION);
    ossFaultArm(OSSFaultMemoryFree, nth);
    EXPECT_RC(SNTRCleanup(1), nth == 0 ? Rc::Ok : Rc::OssInjected);
    EXPECT_EQ(sntrAPIInitRefCount, nth == 0 ? 0u : 1u);
    EXPECT_RC(SNTRCleanup(1), nth == 0 ? Rc::NotInitialized : Rc::Ok);
    EXPECT_EQ(wordAt<std::uint32_t>(&sntrGASegInfo, 0), 0x12345678u);
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldBlocks), lost[nth]);
    for (std::size_t i = 0; i < lost[nth]; ++i) _ossMemFree(parts[3 - i], "test", 4);
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

TEST(Utilities, ReverseBytesPrintCodesAndTellTheThread) {
  char text[80] = "abc";
  sntrReverseByteSequence(reinterpret_cast<std::uint8_t *>(text), 3);
  EXPECT_STREQ(text, "cba");
  EXPECT_RC(sntrPrintrc(code(Rc::NullNode), text, sizeof(text)), Rc::Ok);
  EXPECT_STREQ(text, "SNTR_RC_NULL_NODE (0x900000de): the node is null");
  EXPECT_RC(sntrPrintrc(code(Rc::NullNode), text, 9), Rc::OssTruncated);
  EXPECT_EQ(ossThreadIDAsInt(), ossThreadID());
}

TEST(Utilities, AFailureIsTracedOnceAndLoggedWhereItIsTheStorageManagersArgument) {
  std::string logged, traced;
  const std::string path = ::testing::TempDir() + "sntr_trace_" + std::to_string(getpid());
  const OSSLogSink sink = [](void *context, std::uint32_t fn, std::uint32_t rc, std::uint32_t, std::uint32_t,
                             const char *) {
    *static_cast<std::string *>(context) += std::string(sntr::findFunctionName(fn)) + " " + named(rc);
  };
  alignas(8) unsigned char latch[0x88] = {};
  ossLogSetSink(sink, &logged);
  ASSERT_RC(ossTraceOn(path.c_str()), Rc::Ok);
  EXPECT_RC(sntrInitializeExsLatch(latch, SNTR_VERSION), Rc::Ok);
  EXPECT_RC(sntrExitELCriticalSection(latch), Rc::LatchFailed);
  ASSERT_RC(ossTraceOff(), Rc::Ok);
  EXPECT_RC(sntrEnterELCriticalSection(nullptr), Rc::NullExclusiveLatch);
  ossLogSetSink(nullptr, nullptr);
  EXPECT_EQ(logged, "sntrEnterELCriticalSection " + named(Rc::NullExclusiveLatch));
  std::ifstream file(path);
  for (std::string time, thread, rest; file >> time >> thread && std::getline(file, rest);) traced += rest + "\n";
  EXPECT_EQ(traced,
            " sntrInitializeExsLatch entry 0 1000000\n"
            " sntrInitializeExsLatch exit Ok 0x00000000\n"
            " sntrExitELCriticalSection entry 0 1000000\n"
            " sntrExitELCriticalSection error at probe 20: " +
                named(Rc::LatchFailed) + "\n sntrExitELCriticalSection exit " + named(Rc::LatchFailed) + "\n");
  std::remove(path.c_str());
}

}  // namespace
