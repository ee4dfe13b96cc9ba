// Critical sections: who excludes whom, what is refused, what a failing call or a dead writer leaves behind.
#include <gtest/gtest.h>
#include <oss/fault.h>
#include <sntr/latches.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <thread>
#include <utility>

#include "frame/node_repair.h"
#include "frame/section.h"
#include "layout/words.h"
#include "support/codes.h"

namespace {

int repairs = 0;

}  // namespace

// Stands in the library's place of repair, whose object file the linker then leaves out.
void sntr::repairNode(SNodeCB_t * /*node*/) { ++repairs; }

namespace {

using sntr::Held;
using sntr::Rc;
using support::named;

constexpr auto kEnterRead = sntrEnterCriticalSectionBeforeRead;
constexpr auto kExitRead = sntrExitCriticalSectionAfterRead;
constexpr auto kEnterWrite = sntrEnterCriticalSectionBeforeWrite;
constexpr auto kExitWrite = sntrExitCriticalSectionAfterWrite;
constexpr decltype(kEnterRead) kCalls[] = {kEnterRead, kExitRead, kEnterWrite, kExitWrite};

// A control block alone, in shared memory, so that a forked child works on the same node.
class Sections : public ::testing::Test {
 protected:
  void SetUp() override {
    void *memory = mmap(nullptr, sizeof(SNodeCB_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    node = static_cast<SNodeCB_t *>(memory);
    block = &node->primaryLatch;
    node->concurrencyModel = SNTR_MODEL_LATCHED;
    ASSERT_EQ(named(sntrInitializeLatches(node, block, SNTR_VERSION)), named(Rc::Ok));
    repairs = 0;
  }
  void TearDown() override {
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0) << "a latch is still held";
    munmap(node, sizeof(SNodeCB_t));
  }
  // The value of an atomic is its first four bytes.
  static int valueOf(const OSSVAtomicSigned32 &atomic) {
    int value = 0;
    std::memcpy(&value, &atomic, sizeof(value));
    return value;
  }
  std::string bytes() const { return {reinterpret_cast<const char *>(node), sizeof(SNodeCB_t)}; }

  SNodeCB_t *node = nullptr;
  SNodeLatchBlock_t *block = nullptr;
};

TEST_F(Sections, AWriterIsMarkedInsideAndCountedAReaderNeither) {
  ASSERT_EQ(named(kEnterWrite(node, block)), named(Rc::Ok));
  EXPECT_EQ(valueOf(block->writeInProgress), 1);
  EXPECT_EQ(named(kEnterRead(node, block)), named(Rc::LatchFailed)) << "a second entry by the same thread";
  EXPECT_EQ(named(kExitWrite(node, block)), named(Rc::Ok));
  EXPECT_EQ(named(kExitWrite(node, block)), named(Rc::LatchFailed)) << "left twice";
  ASSERT_EQ(named(kEnterRead(node, block)), named(Rc::Ok));
  EXPECT_EQ(valueOf(block->writeInProgress), 0);
  EXPECT_EQ(named(kExitRead(node, block)), named(Rc::Ok));
  EXPECT_EQ(valueOf(block->writeCount), 1);
}

TEST_F(Sections, ThreadsExcludeOneAnother) {
  constexpr int kRounds = 2000;
  const auto addOnes = [&](auto enter, auto exit) {
    for (int i = 0; i < kRounds; ++i) {
      ASSERT_EQ(named(enter(node, block)), named(Rc::Ok));
      node->nodeTag += 1;
      ASSERT_EQ(named(exit(node, block)), named(Rc::Ok));
    }
  };
  std::thread writer(addOnes, kEnterWrite, kExitWrite);
  std::thread reader(addOnes, kEnterRead, kExitRead);
  writer.join();
  reader.join();
  EXPECT_EQ(node->nodeTag, 2u * kRounds) << "readers exclude writers, and one another";
}

TEST_F(Sections, RefuseOrPassByModelAndStampAndThenTouchNothing) {
  struct Row {
    std::uint32_t model, stamp;
    Rc expected;
  };
  constexpr Row kRows[] = {
      {0, 0, Rc::Ok},
      {2, 0, Rc::Ok},
      {5, SNTR_VERSION, Rc::Ok},
      {6, SNTR_VERSION, Rc::ValueOutOfRange},
      {~0u, 0, Rc::ValueOutOfRange},
      {1, SNTR_VERSION + 1, Rc::BadLatchVersion},
  };
  for (const Row &row : kRows) {
    node->concurrencyModel = row.model;
    block->latchVersion = row.stamp;
    const std::string before = bytes();
    for (auto call : kCalls) EXPECT_EQ(named(call(node, block)), named(row.expected)) << "model " << row.model;
    EXPECT_EQ(bytes(), before) << "model " << row.model;
  }
  for (auto call : kCalls) EXPECT_EQ(named(call(nullptr, nullptr)), named(Rc::NullNode));
  for (auto call : kCalls) EXPECT_EQ(named(call(node, nullptr)), named(Rc::NullLatchBlock));
}

TEST_F(Sections, ABlockIsStampedOnlyWhenAllOfItIsUsable) {
  struct Row {
    const char *name;
    std::uint32_t model, version;
    OSSFaultKind kind;
    std::uint64_t nth;  // 0: no call fails
    Rc expected;
  };
  constexpr Row kRows[] = {
      {"usable", 1, SNTR_VERSION, OSSFaultLatchInit, 0, Rc::Ok},
      {"wrong version", 1, 1, OSSFaultLatchInit, 0, Rc::BadLatchVersion},
      {"no model", 6, SNTR_VERSION, OSSFaultLatchInit, 0, Rc::ValueOutOfRange},
      {"latch", 1, SNTR_VERSION, OSSFaultLatchInit, 1, Rc::LatchFailed},
      {"spare latch", 1, SNTR_VERSION, OSSFaultLatchInit, 2, Rc::LatchFailed},
      {"counters", 1, SNTR_VERSION, OSSFaultAtomicInit, 2, Rc::AtomicFailed},
  };
  alignas(8) unsigned char odd[sizeof(SNodeLatchBlock_t) + 1];
  auto *shifted = reinterpret_cast<SNodeLatchBlock_t *>(odd + 1);
  for (const Row &row : kRows) {
    std::memset(odd, 0, sizeof(odd));
    node->concurrencyModel = row.model;
    ossFaultArm(row.kind, row.nth);
    EXPECT_EQ(named(sntrInitializeLatches(node, shifted, row.version)), named(row.expected)) << row.name;
    EXPECT_EQ(sntr::readWord<std::uint32_t>(shifted), row.expected == Rc::Ok ? SNTR_VERSION : 0) << row.name;
  }
  node->concurrencyModel = 3;
  EXPECT_EQ(named(sntrInitializeLatches(node, nullptr, 1)), named(Rc::NullLatchBlock));
  EXPECT_EQ(named(sntrInitializeLatches(nullptr, shifted, 1)), named(Rc::NullNode));
  EXPECT_EQ(named(sntrInitializeLatches(node, shifted, 1)), named(Rc::Ok)) << "nothing to stamp";
  EXPECT_EQ(sntr::readWord<std::uint32_t>(shifted), 0u);
}

TEST_F(Sections, TheModelIsSetWithinItsRangeAndReadWhateverItIs) {
  std::uint32_t model = 99;
  EXPECT_EQ(named(sntrSetConcurrencyModel(node, 5)), named(Rc::Ok));
  EXPECT_EQ(named(sntrSetConcurrencyModel(node, 6)), named(Rc::ValueOutOfRange));
  EXPECT_EQ(named(sntrReturnConcurrencyModel(node, &model)), named(Rc::Ok));
  EXPECT_EQ(model, 5u) << "a refused model replaced the old one";
  node->concurrencyModel = 77;
  EXPECT_EQ(named(sntrReturnConcurrencyModel(node, &model)), named(Rc::ValueOutOfRange));
  EXPECT_EQ(model, 77u);
  EXPECT_EQ(named(sntrReturnConcurrencyModel(node, nullptr)), named(Rc::NullModelOutput));
  EXPECT_EQ(named(sntrReturnConcurrencyModel(nullptr, nullptr)), named(Rc::NullNode));
  EXPECT_EQ(named(sntrSetConcurrencyModel(nullptr, 6)), named(Rc::NullNode));
}

// Through the functions that take the work, one or two calls of the services layer failing.
TEST_F(Sections, TheFirstFailureIsToldAndTheSectionIsLeft) {
  struct Row {
    const char *name;
    OSSFaultKind kind;
    std::uint64_t nth;
    bool releaseFails;
    Rc work, expected;
  };
  constexpr Row kRows[] = {
      {"latch", OSSFaultLatchGet, 1, false, Rc::Ok, Rc::LatchFailed},
      {"mark", OSSFaultAtomicSwap, 1, false, Rc::Ok, Rc::AtomicFailed},
      {"count", OSSFaultAtomicIncrement, 1, false, Rc::Ok, Rc::AtomicFailed},
      {"count, then release", OSSFaultAtomicIncrement, 1, true, Rc::Ok, Rc::AtomicFailed},
      {"unmark, then release", OSSFaultAtomicSwap, 2, true, Rc::Ok, Rc::AtomicFailed},
      {"release", OSSFaultLatchRelease, 1, false, Rc::Ok, Rc::LatchFailed},
      {"work, then release", OSSFaultLatchRelease, 1, false, Rc::TagTooLarge, Rc::TagTooLarge},
  };
  const sntr::Trace trace(sntr::Fn::sntrInitNode);
  for (const Row &row : kRows) {
    ossFaultArm(row.kind, row.nth);
    if (row.releaseFails) ossFaultArm(OSSFaultLatchRelease, 1);
    const Rc got = sntr::writeSection(trace, node, Held::No, [&] { return row.work; });
    EXPECT_EQ(named(got), named(row.expected)) << row.name;
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0) << row.name;
    EXPECT_EQ(valueOf(block->writeInProgress), std::strstr(row.name, "unmark") != nullptr) << row.name;
    std::memset(&block->writeInProgress, 0, sizeof(int));
    ossFaultDisarm();
  }
}

TEST_F(Sections, ASectionIsLeftByTheModelThatItWasEnteredBy) {
  const sntr::Trace trace(sntr::Fn::sntrInitNode);
  for (const auto &[before, after] : {std::pair{1u, 0u}, {0u, 1u}, {1u, 6u}}) {
    node->concurrencyModel = before;
    const auto change = [&, to = after] { return node->concurrencyModel = to, Rc::Ok; };
    EXPECT_EQ(named(sntr::writeSection(trace, node, Held::No, change)), named(Rc::Ok)) << before << " to " << after;
    node->concurrencyModel = before;
    EXPECT_EQ(named(sntr::readSection(trace, node, Held::No, change)), named(Rc::Ok)) << before << " to " << after;
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0) << before << " to " << after;
  }
  const std::string untouched = bytes();
  EXPECT_EQ(named(sntr::writeSection(trace, node, Held::Yes, [] { return Rc::TagTooLarge; })), named(Rc::TagTooLarge));
  EXPECT_EQ(bytes(), untouched) << "who holds the section neither enters nor leaves";
}

TEST_F(Sections, TheRepairIsReachedOnceByWhoeverFindsTheMark) {
  block->writeInProgress.storage[0] = 1;
  ossFaultArm(OSSFaultLatchGet, 1);
  EXPECT_EQ(named(kEnterRead(node, block)), named(Rc::LatchFailed));
  EXPECT_EQ(repairs, 0) << "not without the latch";
  EXPECT_EQ(named(kEnterWrite(node, block)), named(Rc::Ok)) << "entry goes on";
  EXPECT_EQ(repairs, 1);
  EXPECT_EQ(named(kExitWrite(node, block)), named(Rc::Ok));
  EXPECT_EQ(named(kEnterRead(node, block)), named(Rc::Ok));
  EXPECT_EQ(repairs, 1) << "the writer has removed the mark";
  EXPECT_EQ(named(kExitRead(node, block)), named(Rc::Ok));
}

// Nobody sets the mark by hand here, and the latch has to pass from the dead.
TEST_F(Sections, AWriterThatDiesInsideIsFoundByTheNext) {
  const pid_t child = fork();
  if (child == 0) {
    if (kEnterWrite(node, block) != 0) _exit(1);
    raise(SIGKILL);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status)) << "the child could not enter";
  EXPECT_EQ(named(kEnterRead(node, block)), named(Rc::Ok));
  EXPECT_EQ(repairs, 1);
  EXPECT_EQ(named(kExitRead(node, block)), named(Rc::Ok));
}

}  // namespace
