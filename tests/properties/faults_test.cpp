// Services-layer calls made to fail once, in turn, through the operations on properties of every kind: the first
// failure is told, every section is left, and the list can be used.
#include "frame/sequence.h"
#include "properties/kind_node.h"

namespace properties_test {
namespace {

// A block that cannot be freed is of no use to a caller, so its failure is not told.
constexpr OSSFaultKind kFailing[] = {OSSFaultMemoryAlloc,  OSSFaultLatchInit,  OSSFaultLatchGet,
                                     OSSFaultLatchRelease, OSSFaultAtomicInit, OSSFaultAtomicIncrement,
                                     OSSFaultAtomicAdd,    OSSFaultAtomicSwap};

class Faults : public FilledKindNode {
 protected:
  // Makes one call fail, and perhaps the release of the latch; false when the operation makes no such call.
  bool failNth(OSSFaultKind failing, std::uint64_t nth, bool releaseToo, char operation) {
    const std::uint64_t calls = ossFaultCalls(failing), before = used();
    const std::string tail(bytes() + end - 24, 24);
    ossFaultArm(failing, nth);
    if (releaseToo) ossFaultArm(OSSFaultLatchRelease, 1);
    const std::uint32_t rc = run(operation);
    ossFaultDisarm();
    const bool met = ossFaultCalls(failing) - calls >= nth;
    const std::string place = text(operation) + std::to_string(nth) + " of calls " + std::to_string(failing);
    const Rc code = failing == OSSFaultMemoryAlloc ? Rc::DomainHandleAllocFailed
                    : failing < OSSFaultAtomicInit ? Rc::LatchFailed
                                                   : Rc::AtomicFailed;
    EXPECT_RC(rc, met ? code : Rc::Ok) << place;
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0) << place;
    if (kind == &kR && used() != 0) EXPECT_EQ(faults(), "") << place;
    if (met && !kind->isBase() && operation != 'L' && operation != 'H') EXPECT_RC(run('k'), Rc::Ok) << place;
    if (!met || operation != 'a' || (failing != OSSFaultAtomicInit && failing != OSSFaultLatchInit)) return met;
    EXPECT_EQ(used(), before) << place;
    EXPECT_EQ(std::string(bytes() + end - 24, 24), tail) << place << ": the slot was not given back";
    return met;
  }

  // Each call in turn, alone and with a latch that cannot be given back after it.
  void failEach(char operation) {
    const std::string undamaged = content();
    std::uint64_t failed = 0;
    for (const OSSFaultKind failing : kFailing) {
      for (std::uint64_t nth = 1; failNth(failing, nth, false, operation); ++nth, ++failed) {
        restore(undamaged);
        if (failing != OSSFaultLatchRelease) failNth(failing, nth, true, operation);
        restore(undamaged);
      }
      restore(undamaged);
    }
    const bool reads = sntr::kReadsWithoutLatch && (operation == 'g' || operation == 'r');
    EXPECT_EQ(failed > 1, !reads) << text(operation) << (reads ? "takes a latch" : "makes no calls that can fail");
  }
};

TEST_F(Faults, EachFailingCallIsTold) {
  forEachFilled(support::kAllKinds, [&] {
    for (const char operation : operations() + (kind->isBase() ? "" : "LH")) failEach(operation);
    if (kind->isBase()) return;
    ASSERT_RC(of().add({9, "e"}, {7, "old"}), Rc::Ok);
    failEach('a');  // which takes a fresh place now
  });
}

// What R has more.
TEST_F(Faults, EachCallOfTheOthersIsTold) {
  std::uint64_t out = 0;
  const std::pair<const char *, std::function<std::uint32_t()>> rows[] = {
      {"add to table", [&] { return sntrAddRPropertyToHashTable(node, 5, 1, 0); }},
      {"delete from table", [&] { return sntrDeleteRPropertyFromHashTable(node, 4); }},
      {"set both", [&] { return sntrSetValueAndRCForRProperty(node, recordOf(4), 1, 1, 0); }},
      {"count tag", [&] { return sntrGetRPropertiesNoForGivenTag(node, 4, &out, 0); }},
  };
  for (const auto &[name, call] : rows) {
    bool told = true;
    for (std::uint64_t nth = 1; told; ++nth) {
      fill(kR, SNTR_LAYOUT_HASH);
      const std::uint64_t injected = ossFaultInjected();
      ossFaultArmAny(nth);
      told = call() != 0;
      ossFaultDisarm();
      EXPECT_EQ(told, ossFaultInjected() != injected) << name << ", call " << nth;
      EXPECT_TRUE(told || nth > 1) << name << " makes no call that can fail";
      EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0) << name << ", call " << nth;
      EXPECT_EQ(faults(), "") << name << ", call " << nth;
    }
    ASSERT_RC(sntrEnterCriticalSectionBeforeWrite(node, &node->primaryLatch), Rc::Ok);
    EXPECT_RC(call(), Rc::LatchFailed) << name << " has a section of its own";
    EXPECT_RC(sntrAddRPropertyToHashTable(node, 12, 1, 1), Rc::Ok) << name << ": the section is the caller's";
    ASSERT_RC(sntrExitCriticalSectionAfterWrite(node, &node->primaryLatch), Rc::Ok);
  }
}

TEST_F(Faults, WhoHoldsTheSectionSaysSo) {
  forEachFilled(support::kAllKinds, [&] {
    ASSERT_RC(sntrEnterCriticalSectionBeforeWrite(node, &node->primaryLatch), Rc::Ok);
    for (const char operation : operations()) {
      const std::string before = content();
      EXPECT_RC(run(operation, 0), Rc::LatchFailed) << text(operation);
      EXPECT_TRUE(content() == before) << text(operation) << "something was changed";
      EXPECT_RC(run(operation, 1), Rc::Ok) << text(operation);
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

// The change counter comes last: what could not be counted is there and counted, but in no chain of tags or identifiers
// - whatever links the slot held when it was freed - and can be deleted.
TEST_F(Faults, AFailingChangeCounterLeavesThePropertyLinked) {
  const auto addTo = [&](std::uint64_t place, std::uint64_t added) {
    const std::uint64_t before = used();
    const std::int32_t changed = changes();
    std::uint64_t count = 0;
    ossFaultArm(OSSFaultAtomicIncrement, 2);  // the first counts the write section
    EXPECT_RC(run('a'), Rc::AtomicFailed);
    EXPECT_RC(of().count(0, count), Rc::Ok);
    EXPECT_EQ(count, place + 1);
    EXPECT_EQ(changes(), changed);
    EXPECT_EQ(word(record(place)), 7u);
    EXPECT_EQ(used(), before + added);
    EXPECT_RC(of().count(7, count), isTable && kind->hasID() ? kind->notInTable : Rc::Ok);
    for (std::uint64_t link = 0x08; isTable && link < kind->chain; link += 8) {
      EXPECT_EQ(word(slot(place) + link), 0u) << "link " << link;
    }
    EXPECT_RC(run('a'), kind->exists);
    ossFaultArm(OSSFaultAtomicIncrement, 2);
    EXPECT_RC(of().erase({7, "x"}), Rc::AtomicFailed);
    EXPECT_RC(of().erase({7, "x"}), isTable ? kind->notInTable : kind->notFound) << "it does not bring anything back";
  };
  forEachFilled(support::kLists, [&] {
    const std::string whole = content();
    const std::uint64_t size = isTable ? slotSize() : stride();
    SCOPED_TRACE(where());
    addTo(3, size - (isTable ? 8 : 0));  // a place that was freed
    restore(whole);
    ASSERT_RC(of().add({9, "e"}, {7, "old"}), Rc::Ok);
    addTo(4, size);
  });
}

}  // namespace
}  // namespace properties_test
