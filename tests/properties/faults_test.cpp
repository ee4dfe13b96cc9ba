// SPDX-License-Identifier: MIT
// Services-layer calls made to fail once, in turn, through the operations on properties of every kind: the first
// failure is told, every section is left, and the list can be used.
#include "frame/sequence.h"
#include "properties/kind_node.h"
#include "support/fail_each.h"

namespace properties_test {
namespace {

class Faults : public FilledKindNode {
 protected:
  // The operations by their letters, and those of R's table alone: add, delete, count a tag. Delete has no argument to
  // say that the caller holds the section.
  std::string everyOperation() const { return operations() + (kind == &kR && isTable ? "SADn" : "S"); }

  std::uint32_t call(char operation, std::uint64_t held = 0) {
    std::uint64_t count = 0;
    if (operation == 'A') return sntrAddRPropertyToHashTable(node, 5, 1, held);
    if (operation == 'D') return sntrDeleteRPropertyFromHashTable(node, 4);
    if (operation == 'n') return sntrGetRPropertiesNoForGivenTag(node, 4, &count, held);
    return run(operation, held);
  }

  // The change counter comes last: what could not be counted is there, but in no chain of tags or identifiers -
  // whatever links the slot held when it was freed - and can be deleted.
  void expectAddedInNoChain(std::uint64_t place) {
    std::uint64_t count = 0;
    EXPECT_RC(of().count(0, count), Rc::Ok);
    EXPECT_EQ(count, place + 1);
    EXPECT_EQ(word(record(place)), 7u);
    EXPECT_RC(of().count(7, count), isTable && kind->hasID() ? kind->notInTable : Rc::Ok);
    for (std::uint64_t link = 0x08; isTable && link < kind->chain; link += 8) {
      EXPECT_EQ(word(slot(place) + link), 0u) << "link " << link;
    }
    EXPECT_RC(run('a'), kind->exists);
    ossFaultArm(OSSFaultAtomicIncrement, 2);
    EXPECT_RC(of().erase({7, "x"}), Rc::AtomicFailed);
    EXPECT_RC(of().erase({7, "x"}), missing()) << "it does not bring anything back";
  }

  // Each call in turn, alone and with a latch that cannot be given back after it. What is added to a list comes behind
  // `last` properties, and takes `bytes` of the area.
  void failEach(char operation, std::uint64_t last = 0, std::uint64_t bytes = 0) {
    SCOPED_TRACE(text(operation));
    const std::string undamaged = content(), stack = undamaged.substr(end - 24, 24);
    const std::uint64_t before = used();
    const std::int32_t changed = changes();
    const bool laysOut = operation == 'L' || operation == 'H';
    const bool reads = sntr::kReadsWithoutLatch && (operation == 'g' || operation == 'r');
    for (const bool releaseToo : {false, true}) {
      int increments = 0;  // the first counts the write section
      const auto check = [&](OSSFaultKind failed, std::uint32_t rc) {
        EXPECT_RC(rc, releaseToo && failed == OSSFaultMemoryFree ? Rc::LatchFailed : support::usualCode(failed));
        const auto marked = support::wordAt<int>(&node->primaryLatch.writeInProgress, 0);
        if (failed != OSSFaultAtomicSwap) EXPECT_EQ(marked, 0) << "the mark of a writer was left";
        if (kind == &kR && used() != 0) EXPECT_EQ(faults(), "");
        if (!laysOut && failed == OSSFaultLatchGet) EXPECT_TRUE(content() == undamaged) << "something was changed";
        if (last != 0 && failed == OSSFaultAtomicIncrement && ++increments == 2) {
          EXPECT_EQ(changes(), changed);
          EXPECT_EQ(used(), before + bytes);
          expectAddedInNoChain(last);
        } else if (last != 0 && (failed == OSSFaultAtomicInit || failed == OSSFaultLatchInit)) {
          EXPECT_EQ(used(), before);
          EXPECT_EQ(content().substr(end - 24, 24), stack) << "the slot was not given back";
        }
        if (!laysOut && !kind->isBase()) EXPECT_RC(run('k'), Rc::Ok);
      };
      const support::Calls failed =
          support::failEach([&] { restore(undamaged); }, [&] { return call(operation); }, check, releaseToo);
      if (HasFailure()) return;
      EXPECT_EQ(failed[OSSFaultLatchGet] == 0, reads) << (reads ? "takes a latch" : "makes no calls that can fail");
      EXPECT_TRUE(last == 0 || increments == 2) << "changes are counted";
    }
    restore(undamaged);
  }
};

TEST_F(Faults, EachFailingCallIsTold) {
  forEachFilled(support::kAllKinds, [&] {
    for (const char operation : everyOperation() + (kind->isBase() ? "" : "LH")) failEach(operation);
    if (kind->isBase()) return;
    const std::uint64_t bytes = isTable ? slotSize() : stride();
    failEach('a', 3, isTable ? bytes - 8 : bytes);  // takes a place that was freed, from a table's stack
    ASSERT_RC(of().add({9, "e"}, {7, "old"}), Rc::Ok);
    failEach('a', 4, bytes);  // takes a fresh place
  });
}

TEST_F(Faults, WhoHoldsTheSectionSaysSo) {
  forEachFilled(support::kAllKinds, [&] {
    ASSERT_RC(sntrEnterCriticalSectionBeforeWrite(node, &node->primaryLatch), Rc::Ok);
    for (const char operation : everyOperation()) {
      const std::string before = content();
      EXPECT_RC(call(operation, 0), Rc::LatchFailed) << text(operation);
      EXPECT_TRUE(content() == before) << text(operation) << "something was changed";
      if (operation != 'D') EXPECT_RC(call(operation, 1), Rc::Ok) << text(operation);
      restore(before);
    }
    ASSERT_RC(sntrExitCriticalSectionAfterWrite(node, &node->primaryLatch), Rc::Ok) << "left by an operation";
  });
}

TEST_F(Faults, AnArrayWhoseRecordsHaveNoRoomTakesNoProperties) {
  fill(kIR, SNTR_LAYOUT_ARRAY);
  const std::vector<std::pair<Key, Value>> initial = {{{2}, {20}}, {{4}, {40}}};
  const std::uint64_t before = used();
  EXPECT_RC(of().create(SNTR_LAYOUT_ARRAY, 2, 0, 0, initial), Rc::IRListFull);
  EXPECT_EQ(used(), before);
  clearArea();
  EXPECT_RC(of().create(SNTR_LAYOUT_HASH, 2, 0, 0, initial), Rc::Ok);
}

}  // namespace
}  // namespace properties_test
