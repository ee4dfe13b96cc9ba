// Critical sections: who excludes whom, what is refused, what a failing call or a dead writer leaves behind.
#include <gtest/gtest.h>
#include <oss/fault.h>
#include <sntr/latches.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <utility>

#include "frame/node_repair.h"
#include "frame/section.h"
#include "layout/words.h"
#include "support/codes.h"
#include "support/words.h"

namespace {

int repairs = 0;

}  // namespace

// Stands in the library's place of repair, whose object file the linker then leaves out.
void sntr::repairNode(SNodeCB_t * /*node*/) { ++repairs; }

namespace {

using sntr::Held;
using sntr::Rc;

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
    ASSERT_RC(sntrInitializeLatches(node, block, SNTR_VERSION), Rc::Ok);
    repairs = 0;
  }
  void TearDown() override {
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0) << "a latch is still held";
    munmap(node, sizeof(SNodeCB_t));
  }
  // The value of an atomic is its first four bytes.
  static int valueOf(const OSSVAtomicSigned32 &atomic) { return support::wordAt<int>(&atomic, 0); }
  std::string bytes() const { return {reinterpret_cast<const char *>(node), sizeof(SNodeCB_t)}; }

  SNodeCB_t *node = nullptr;
  SNodeLatchBlock_t *block = nullptr;
};

TEST_F(Sections, AWriterIsMarkedInsideAndCountedAReaderNeither) {
  ASSERT_RC(kEnterWrite(node, block), Rc::Ok);
  EXPECT_EQ(valueOf(block->writeInProgress), 1);
  EXPECT_RC(kEnterRead(node, block), Rc::LatchFailed) << "a second entry by the same thread";
  int status = 1;
  const pid_t other = fork();
  if (other == 0) _exit(kExitWrite(node, block) == sntr::code(Rc::LatchFailed) ? 0 : 1);
  EXPECT_EQ(waitpid(other, &status, 0), other);
  EXPECT_EQ(status, 0) << "left by one who is not inside";
  EXPECT_EQ(valueOf(block->writeInProgress), 1) << "the mark of the one who is inside";
  EXPECT_RC(kExitWrite(node, block), Rc::Ok);
  EXPECT_RC(kExitWrite(node, block), Rc::LatchFailed) << "left twice";
  ASSERT_RC(kEnterRead(node, block), Rc::Ok);
  EXPECT_EQ(valueOf(block->writeInProgress), 0);
  EXPECT_RC(kExitRead(node, block), Rc::Ok);
  EXPECT_EQ(valueOf(block->writeCount), 1);
}

TEST_F(Sections, RefuseOrPassByModelAndStampAndThenTouchNothing) {
  const std::tuple<std::uint32_t, std::uint32_t, Rc> rows[] = {{0, 0, Rc::Ok},
                                                               {2, 0, Rc::Ok},
                                                               {5, SNTR_VERSION, Rc::Ok},
                                                               {6, SNTR_VERSION, Rc::ValueOutOfRange},
                                                               {~0u, 0, Rc::ValueOutOfRange},
                                                               {1, SNTR_VERSION + 1, Rc::BadLatchVersion}};
  for (const auto &[model, stamp, expected] : rows) {
    node->concurrencyModel = model;
    block->latchVersion = stamp;
    const std::string before = bytes();
    for (auto call : kCalls) EXPECT_RC(call(node, block), expected) << "model " << model;
    EXPECT_EQ(bytes(), before) << "model " << model;
  }
  for (auto call : kCalls) EXPECT_RC(call(nullptr, nullptr), Rc::NullNode);
  for (auto call : kCalls) EXPECT_RC(call(node, nullptr), Rc::NullLatchBlock);
}

TEST_F(Sections, ABlockIsStampedOnlyWhenAllOfItIsUsable) {
  const struct {
    const char *name;
    std::uint32_t model, version;
    OSSFaultKind kind;
    std::uint64_t nth;  // 0: no call fails
    Rc expected;
  } rows[] = {{"usable", 1, SNTR_VERSION, OSSFaultLatchInit, 0, Rc::Ok},
              {"wrong version", 1, 1, OSSFaultLatchInit, 0, Rc::BadLatchVersion},
              {"no model", 6, SNTR_VERSION, OSSFaultLatchInit, 0, Rc::ValueOutOfRange},
              {"latch", 1, SNTR_VERSION, OSSFaultLatchInit, 1, Rc::LatchFailed},
              {"spare latch", 1, SNTR_VERSION, OSSFaultLatchInit, 2, Rc::LatchFailed},
              {"counters", 1, SNTR_VERSION, OSSFaultAtomicInit, 2, Rc::AtomicFailed}};
  alignas(8) unsigned char odd[sizeof(SNodeLatchBlock_t) + 1];
  auto *shifted = reinterpret_cast<SNodeLatchBlock_t *>(odd + 1);
  for (const auto &row : rows) {
    std::memset(odd, 0, sizeof(odd));
    node->concurrencyModel = row.model;
    ossFaultArm(row.kind, row.nth);
    EXPECT_RC(sntrInitializeLatches(node, shifted, row.version), row.expected) << row.name;
    EXPECT_EQ(sntr::readWord<std::uint32_t>(shifted), row.expected == Rc::Ok ? SNTR_VERSION : 0) << row.name;
  }
  node->concurrencyModel = 3;
  EXPECT_RC(sntrInitializeLatches(node, nullptr, 1), Rc::NullLatchBlock);
  EXPECT_RC(sntrInitializeLatches(nullptr, shifted, 1), Rc::NullNode);
  EXPECT_RC(sntrInitializeLatches(node, shifted, 1), Rc::Ok) << "nothing to stamp";
  EXPECT_EQ(sntr::readWord<std::uint32_t>(shifted), 0u);
}

TEST_F(Sections, TheModelIsSetWithinItsRangeAndReadWhateverItIs) {
  std::uint32_t model = 99;
  EXPECT_RC(sntrSetConcurrencyModel(node, 5), Rc::Ok);
  EXPECT_RC(sntrSetConcurrencyModel(node, 6), Rc::ValueOutOfRange);
  EXPECT_RC(sntrReturnConcurrencyModel(node, &model), Rc::Ok);
  EXPECT_EQ(model, 5u) << "a refused model replaced the old one";
  node->concurrencyModel = 77;
  EXPECT_RC(sntrReturnConcurrencyModel(node, &model), Rc::ValueOutOfRange);
  EXPECT_EQ(model, 77u);
  EXPECT_RC(sntrReturnConcurrencyModel(node, nullptr), Rc::NullModelOutput);
  EXPECT_RC(sntrReturnConcurrencyModel(nullptr, nullptr), Rc::NullNode);
  EXPECT_RC(sntrSetConcurrencyModel(nullptr, 6), Rc::NullNode);
}

// Through the functions that take the work, one or two calls of the services layer failing.
TEST_F(Sections, TheFirstFailureIsToldAndTheSectionIsLeft) {
  const struct {
    const char *name;
    OSSFaultKind kind;
    std::uint64_t nth;
    bool releaseFails;
    Rc work, expected;
  } rows[] = {{"count, then release", OSSFaultAtomicIncrement, 1, true, Rc::Ok, Rc::AtomicFailed},
              {"unmark, then release", OSSFaultAtomicSwap, 2, true, Rc::Ok, Rc::AtomicFailed},
              {"work, then release", OSSFaultLatchRelease, 1, false, Rc::TagTooLarge, Rc::TagTooLarge}};
  const sntr::Trace trace(sntr::Fn::sntrInitNode);
  for (const auto &row : rows) {
    ossFaultArm(row.kind, row.nth);
    if (row.releaseFails) ossFaultArm(OSSFaultLatchRelease, 1);
    const Rc got = sntr::writeSection(trace, node, Held::No, [&] { return row.work; });
    EXPECT_RC(got, row.expected) << row.name;
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
    EXPECT_RC(sntr::writeSection(trace, node, Held::No, change), Rc::Ok) << before << " to " << after;
    node->concurrencyModel = before;
    EXPECT_RC(sntr::readSection(trace, node, Held::No, change), Rc::Ok) << before << " to " << after;
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0) << before << " to " << after;
  }
  const std::string untouched = bytes();
  EXPECT_RC(sntr::writeSection(trace, node, Held::Yes, [] { return Rc::TagTooLarge; }), Rc::TagTooLarge);
  EXPECT_EQ(bytes(), untouched) << "who holds the section neither enters nor leaves";
}

TEST_F(Sections, TheRepairIsReachedOnceByWhoeverFindsTheMark) {
  block->writeInProgress.storage[0] = 1;
  ossFaultArm(OSSFaultLatchGet, 1);
  EXPECT_RC(kEnterRead(node, block), Rc::LatchFailed);
  EXPECT_EQ(repairs, 0) << "not without the latch";
  EXPECT_RC(kEnterWrite(node, block), Rc::Ok) << "entry goes on";
  EXPECT_EQ(repairs, 1);
  EXPECT_RC(kExitWrite(node, block), Rc::Ok);
  EXPECT_RC(kEnterRead(node, block), Rc::Ok);
  EXPECT_EQ(repairs, 1) << "the writer has removed the mark";
  EXPECT_RC(kExitRead(node, block), Rc::Ok);
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
  EXPECT_RC(kEnterRead(node, block), Rc::Ok);
  EXPECT_EQ(repairs, 1);
  EXPECT_RC(kExitRead(node, block), Rc::Ok);
}

}  // namespace
