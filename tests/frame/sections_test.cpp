// SPDX-License-Identifier: MIT
// Critical sections and the exclusive latch: who excludes whom, what is refused, what a failing call or a dead writer
// leaves behind.
#include <gtest/gtest.h>
#include <sntr/latches.h>

#include <cstring>

#include "frame/section.h"
#include "support/actor.h"
#include "support/fail_each.h"
#include "support/words.h"

namespace {

int repairs = 0;

}  // namespace

// Stands in the library's place of repair, whose object file the linker then leaves out.
void sntr::repairNode(SNodeCB_t * /*node*/) { ++repairs; }

namespace {

using sntr::Rc;
using support::Child;

constexpr auto kEnterRead = sntrEnterCriticalSectionBeforeRead;
constexpr auto kExitRead = sntrExitCriticalSectionAfterRead;
constexpr auto kEnterWrite = sntrEnterCriticalSectionBeforeWrite;
constexpr auto kExitWrite = sntrExitCriticalSectionAfterWrite;
constexpr decltype(kEnterRead) kCalls[] = {kEnterRead, kExitRead, kEnterWrite, kExitWrite};

// A control block alone, in shared memory, so that a forked child works on the same node.
class Sections : public ::testing::Test {
 protected:
  Sections() {
    node->concurrencyModel = SNTR_MODEL_LATCHED;
    EXPECT_RC(sntrInitializeLatches(node, block, SNTR_VERSION), Rc::Ok);
    repairs = 0;
  }
  ~Sections() override { EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0) << "a latch is still held"; }

  // The value of an atomic is its first four bytes.
  static int valueOf(const OSSVAtomicSigned32 &atomic) { return support::wordAt<int>(&atomic, 0); }
  std::string bytes() const { return {reinterpret_cast<const char *>(node), sizeof(SNodeCB_t)}; }

  support::Shared<SNodeCB_t> shared_;
  SNodeCB_t *const node = &*shared_;
  SNodeLatchBlock_t *const block = &node->primaryLatch;
};

TEST_F(Sections, AWriterIsMarkedInsideAndCountedAReaderNeither) {
  ASSERT_RC(kEnterWrite(node, block), Rc::Ok);
  EXPECT_EQ(valueOf(block->writeInProgress), 1);
  EXPECT_RC(kEnterRead(node, block), Rc::LatchFailed) << "a second entry by the same thread";
  Child other([&] { return kExitWrite(node, block) == sntr::code(Rc::LatchFailed) ? 0 : 1; });
  EXPECT_EQ(other.result(), 0) << "left by one who is not inside";
  EXPECT_EQ(valueOf(block->writeInProgress), 1) << "the mark of the one who is inside";
  EXPECT_RC(kExitWrite(node, block), Rc::Ok);
  EXPECT_RC(kExitWrite(node, block), Rc::LatchFailed) << "left twice";
  ASSERT_RC(kEnterRead(node, block), Rc::Ok);
  EXPECT_EQ(valueOf(block->writeInProgress), 0);
  EXPECT_RC(kExitRead(node, block), Rc::Ok);
  EXPECT_EQ(valueOf(block->writeCount), 1);
}

TEST_F(Sections, AreLeftByTheModelThatTheyWereEnteredBy) {
  const auto change = [&] { return node->concurrencyModel = 0, Rc::Ok; };
  EXPECT_RC(sntr::readSection(sntr::Trace(sntr::Fn::sntrInitNode), node, sntr::Held::No, change), Rc::Ok);
}

TEST_F(Sections, RefuseOrPassByModelAndStampAndThenTouchNothing) {
  const std::tuple<std::uint32_t, std::uint32_t, Rc> rows[] = {{0, 0, Rc::Ok},
                                                               {5, SNTR_VERSION, Rc::Ok},
                                                               {6, SNTR_VERSION, Rc::ValueOutOfRange},
                                                               {1, SNTR_VERSION + 1, Rc::BadLatchVersion}};
  for (const auto &[model, stamp, expected] : rows) {
    SCOPED_TRACE("model " + std::to_string(model));
    EXPECT_RC(sntrSetConcurrencyModel(node, model), model > 5 ? Rc::ValueOutOfRange : Rc::Ok);
    EXPECT_EQ(node->concurrencyModel == model, model <= 5);
    node->concurrencyModel = model;
    block->latchVersion = stamp;
    const std::string before = bytes();
    for (auto call : kCalls) EXPECT_RC(call(node, block), expected);
    std::uint32_t read = 99;
    EXPECT_RC(sntrReturnConcurrencyModel(node, &read), model > 5 ? Rc::ValueOutOfRange : Rc::Ok);
    EXPECT_EQ(read, model);
    EXPECT_EQ(bytes(), before);
  }
}

TEST_F(Sections, RefuseNull) {
  for (auto call : kCalls) EXPECT_RC(call(nullptr, nullptr), Rc::NullNode);
  for (auto call : kCalls) EXPECT_RC(call(node, nullptr), Rc::NullLatchBlock);
  EXPECT_RC(sntrInitializeLatches(node, nullptr, 1), Rc::NullLatchBlock);
  EXPECT_RC(sntrInitializeLatches(nullptr, block, 1), Rc::NullNode);
  EXPECT_RC(sntrReturnConcurrencyModel(node, nullptr), Rc::NullModelOutput);
  EXPECT_RC(sntrReturnConcurrencyModel(nullptr, nullptr), Rc::NullNode);
  EXPECT_RC(sntrSetConcurrencyModel(nullptr, 6), Rc::NullNode);
}

TEST_F(Sections, ABlockIsStampedOnlyWhenAllOfItIsUsable) {
  alignas(8) unsigned char odd[sizeof(SNodeLatchBlock_t) + 1];
  auto *const shifted = reinterpret_cast<SNodeLatchBlock_t *>(odd + 1);
  const auto stamp = [&] { return support::wordAt<std::uint32_t>(shifted, 0); };
  const auto clear = [&] { std::memset(odd, 0, sizeof(odd)); };
  const auto initialize = [&] { return sntrInitializeLatches(node, shifted, SNTR_VERSION); };
  const support::Calls failed = support::failEach(clear, initialize, [&](OSSFaultKind kind, std::uint32_t rc) {
    EXPECT_RC(rc, support::usualCode(kind));
    EXPECT_EQ(stamp(), 0u);
  });
  EXPECT_EQ(failed[OSSFaultLatchInit], 2u);
  EXPECT_EQ(failed[OSSFaultAtomicInit], 2u);
  EXPECT_EQ(stamp(), SNTR_VERSION);
  clear();
  EXPECT_RC(sntrInitializeLatches(node, shifted, 1), Rc::BadLatchVersion);
  node->concurrencyModel = 6;
  EXPECT_RC(initialize(), Rc::ValueOutOfRange);
  node->concurrencyModel = 3;
  EXPECT_RC(sntrInitializeLatches(node, shifted, 1), Rc::Ok) << "nothing to stamp";
  EXPECT_EQ(stamp(), 0u);
}

// The latch has to pass from the dead, and each entry repairs until a writer has removed the mark.
TEST_F(Sections, AWriterThatDiesInsideIsFoundByTheNext) {
  Child writer([&] { return kEnterWrite(node, block) == 0 ? raise(SIGKILL) : 1; });
  ASSERT_EQ(writer.result(), -SIGKILL);
  ossFaultArm(OSSFaultLatchGet, 1);
  EXPECT_RC(kEnterRead(node, block), Rc::LatchFailed);
  EXPECT_EQ(repairs, 0) << "not without the latch";
  const std::pair<bool, int> rows[] = {{false, 1}, {true, 2}, {false, 2}};
  for (const auto &[writes, expected] : rows) {
    EXPECT_RC((writes ? kEnterWrite : kEnterRead)(node, block), Rc::Ok);
    EXPECT_EQ(repairs, expected) << (writes ? "writer" : "reader");
    EXPECT_RC((writes ? kExitWrite : kExitRead)(node, block), Rc::Ok);
  }
}

TEST(ExclusiveLatch, IsHeldByOneThreadAndRefusesWhatIsNoLatch) {
  alignas(8) unsigned char bytes[0x88] = {};
  for (auto call : {sntrEnterELCriticalSection, sntrExitELCriticalSection}) {
    EXPECT_RC(call(nullptr), Rc::NullExclusiveLatch);
    EXPECT_RC(call(bytes), Rc::BadLatchVersion);
  }
  EXPECT_RC(sntrInitializeExsLatch(nullptr, 0), Rc::NullExclusiveLatch);
  const std::uint64_t wide = SNTR_VERSION | std::uint64_t{1} << 32;
  EXPECT_RC(sntrInitializeExsLatch(bytes, wide), Rc::BadLatchVersion) << "the whole argument counts";
  ossFaultArm(OSSFaultLatchInit, 1);
  EXPECT_RC(sntrInitializeExsLatch(bytes, SNTR_VERSION), Rc::LatchFailed);
  EXPECT_RC(sntrEnterELCriticalSection(bytes), Rc::BadLatchVersion) << "stamped, and no latch";
  EXPECT_RC(sntrInitializeExsLatch(bytes, SNTR_VERSION), Rc::Ok);
  EXPECT_RC(sntrEnterELCriticalSection(bytes), Rc::Ok);
  EXPECT_RC(sntrEnterELCriticalSection(bytes), Rc::LatchFailed);
  EXPECT_RC(sntrExitELCriticalSection(bytes), Rc::Ok);
  EXPECT_RC(sntrExitELCriticalSection(bytes), Rc::LatchFailed);
}

}  // namespace
