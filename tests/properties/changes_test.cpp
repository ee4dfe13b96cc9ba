// Adding, deleting and locating R properties in both layouts, and the slots of a table.
#include "properties/r_node.h"

namespace properties_test {

using RChanges = RNode;

TEST_F(RChanges, ChainsAreSortedAndRefuseASecondTag) {
  table(1, 4);
  for (const std::uint64_t tag : {5U, 3U, 9U}) add(tag);
  EXPECT_EQ(tags(4), (std::vector<std::uint64_t>{3, 5, 9, 0}));
  const std::string before = content().substr(area);
  EXPECT_EQ(named(sntrAddRProperty(node, 5, 1, 0)), named(Rc::RExists));
  EXPECT_EQ(content().substr(area), before);
  EXPECT_EQ(changes(), 3);
  EXPECT_EQ(faults(), "");
}

TEST_F(RChanges, SlotsAreReusedLastFreedFirst) {
  table(3, 4, {1, 2, 3});
  const std::uint64_t slotOf1 = offsetOf(recordOf(1));
  const std::uint64_t slotOf2 = offsetOf(recordOf(2));
  remove(1);
  remove(2);
  add(11);
  add(12);
  EXPECT_EQ(offsetOf(recordOf(11)), slotOf2);
  EXPECT_EQ(offsetOf(recordOf(12)), slotOf1);
  EXPECT_EQ(faults(), "");
  EXPECT_EQ(changes(), 7);
}

TEST_F(RChanges, AFullTableTakesOneMoreOnlyIntoAFreedSlot) {
  table(1, 2, {1});
  add(2);
  EXPECT_EQ(named(sntrAddRProperty(node, 3, 0, 0)), named(Rc::NoRoomForSlot));
  remove(1);
  add(3);
  EXPECT_EQ(faults(), "");
}

TEST_F(RChanges, AFreedSlotNeedsAPlaceOnTheStack) {
  activeNode(0x18 + 0xa0);  // one bucket, one slot, and nothing between them and the tail
  ASSERT_EQ(named(layOut(SNTR_LAYOUT_HASH, 1, {4})), named(Rc::Ok));
  EXPECT_EQ(named(sntrDeleteRProperty(node, 4, 0)), named(Rc::NoRoomForFreedSlot));
  EXPECT_EQ(get(4), 0);
  EXPECT_EQ(faults(), "");
}

TEST_F(RChanges, ArrayReusesItsFirstEmptyRecord) {
  array(3, {1, 2, 3});
  const std::uint64_t second = offsetOf(recordOf(2));
  EXPECT_EQ(named(sntrAddRProperty(node, 4, 0, 0)), named(Rc::RListFull));
  remove(2);
  add(4, 44);
  EXPECT_EQ(offsetOf(recordOf(4)), second);
  EXPECT_EQ(get(4), 44);
  EXPECT_EQ(named(sntrAddRProperty(node, 3, 0, 0)), named(Rc::RExists)) << "behind a reused record";
  EXPECT_EQ(faults(), "");
}

TEST_F(RChanges, TagZeroIsEmptyInAnArrayAndAPropertyInATable) {
  array(2, {1});
  add(0, 9);
  add(0, 9);
  EXPECT_EQ(word(kUsed), 8U + 0x90);
  EXPECT_EQ(changes(), 3);
  EXPECT_EQ(named(sntrDeleteRProperty(node, 0, 0)), named(Rc::RNotFound));
  table(3, 3);
  add(0, 9);
  EXPECT_EQ(get(0), 9);
  EXPECT_EQ(named(sntrAddRProperty(node, 0, 9, 0)), named(Rc::RExists));
  remove(0);
  EXPECT_EQ(faults(), "");
}

TEST_F(RChanges, AddsToAnAreaThatWasNeverLaidOut) {
  activeNode(8 + 0x90);
  EXPECT_EQ(named(sntrDeleteRProperty(node, 5, 0)), named(Rc::RNotFound));
  add(5, 50);
  EXPECT_EQ(word(kUsed), 8U + 0x90);
  EXPECT_EQ(get(5), 50);
  EXPECT_EQ(named(sntrAddRProperty(node, 6, 0, 0)), named(Rc::RListFull));
}

TEST_F(RChanges, CodesInBothLayouts) {
  SNodeProperty_t *record = nullptr;
  for (const bool isTable : {false, true}) {
    isTable ? table(3, 3, {1}) : array(3, {1});
    const Rc missing = isTable ? Rc::RNotInTable : Rc::RNotFound;
    expectCodes({
        {"add, node", [&] { return sntrAddRProperty(nullptr, 0x100001, 0, 0); }, Rc::NullNode},
        {"add, tag", [&] { return sntrAddRProperty(node, 0x100001, 0, 0); }, Rc::TagTooLarge},
        {"add, largest tag", [&] { return sntrAddRProperty(node, 0x100000, 0, 0); }, Rc::Ok},
        {"delete, node", [&] { return sntrDeleteRProperty(nullptr, 0x100001, 0); }, Rc::NullNode},
        {"delete, tag", [&] { return sntrDeleteRProperty(node, 0x100001, 0); }, Rc::TagTooLarge},
        {"delete, missing", [&] { return sntrDeleteRProperty(node, 2, 0); }, missing},
        {"locate, node", [&] { return sntrGetAddressForRProperty(nullptr, 0x100001, nullptr); }, Rc::NullNode},
        {"locate, tag", [&] { return sntrGetAddressForRProperty(node, 0x100001, nullptr); }, Rc::TagTooLarge},
        {"locate, output", [&] { return sntrGetAddressForRProperty(node, 1, nullptr); }, Rc::NullRRecord},
        {"locate, missing", [&] { return sntrGetAddressForRProperty(node, 2, &record); }, missing},
        {"table add, node", [&] { return sntrAddRPropertyToHashTable(nullptr, 0x100001, 0, 0); }, Rc::NullNode},
        {"table add, tag", [&] { return sntrAddRPropertyToHashTable(node, 0x100001, 0, 0); }, Rc::TagTooLarge},
        {"table find, output", [&] { return sntrFindRPropertyInHashTable(node, 1, nullptr); }, Rc::NullRRecord},
        {"table find, missing", [&] { return sntrFindRPropertyInHashTable(node, 2, &record); }, Rc::RNotInTable},
        {"table delete, missing", [&] { return sntrDeleteRPropertyFromHashTable(node, 2); }, Rc::RNotInTable},
        {"table add", [&] { return sntrAddRPropertyToHashTable(node, 8, 0, 0); },
         isTable ? Rc::Ok : Rc::BadBucketCount},
        {"table delete", [&] { return sntrDeleteRPropertyFromHashTable(node, 8); }, isTable ? Rc::Ok : Rc::RNotInTable},
    });
  }
}

TEST_F(RChanges, AnInactiveNodeIsRefusedAfterItsArea) {
  createNode(tableSize(3, 3));
  setWord(area, 5000);  // more buckets than fit
  expectCodes(
      {{"the list comes before the condition", [&] { return sntrAddRProperty(node, 1, 0, 0); }, Rc::BadBucketCount},
       {"delete", [&] { return sntrDeleteRProperty(node, 1, 0); }, Rc::NodeOnlyInitialized}});
  setWord(area, 0);
  SNodeProperty_t *record = nullptr;
  expectCodes({{"add", [&] { return sntrAddRProperty(node, 1, 0, 0); }, Rc::NodeOnlyInitialized},
               {"locate", [&] { return sntrGetAddressForRProperty(node, 1, &record); }, Rc::NodeOnlyInitialized}});
}

TEST_F(RChanges, AMissLeavesTheRecordWhereTheSearchStopped) {
  table(1, 3);
  auto *const untouched = reinterpret_cast<SNodeProperty_t *>(bytes());
  SNodeProperty_t *record = untouched;
  EXPECT_EQ(named(sntrFindRPropertyInHashTable(node, 1, &record)), named(Rc::RNotInTable));
  EXPECT_EQ(record, untouched) << "an empty bucket has no record";
  add(5);
  add(8);
  const struct { std::uint64_t wanted, stopped; } rows[] = {{1, 5}, {6, 8}, {9, 8}};
  for (const auto &row : rows) {
    EXPECT_EQ(named(sntrFindRPropertyInHashTable(node, row.wanted, &record)), named(Rc::RNotInTable));
    EXPECT_EQ(word(offsetOf(record)), row.stopped) << row.wanted;
  }
}

TEST_F(RChanges, WorkInsideTheCallersSection) {
  table(3, 3);
  ASSERT_EQ(named(sntrEnterCriticalSectionBeforeWrite(node, &node->primaryLatch)), named(Rc::Ok));
  std::int32_t value = 0;
  expectCodes({
      {"add", [&] { return sntrAddRProperty(node, 1, 5, 1); }, Rc::Ok},
      {"add to table", [&] { return sntrAddRPropertyToHashTable(node, 2, 6, 1); }, Rc::Ok},
      {"get", [&] { return sntrGetValueForRProperty(node, 2, &value, 1); }, Rc::Ok},
      {"delete", [&] { return sntrDeleteRProperty(node, 1, 1); }, Rc::Ok},
      {"a second entry", [&] { return sntrAddRProperty(node, 1, 5, 0); }, Rc::LatchFailed},
      {"a delete with a section of its own", [&] { return sntrDeleteRPropertyFromHashTable(node, 2); },
       Rc::LatchFailed},
  });
  ASSERT_EQ(named(sntrExitCriticalSectionAfterWrite(node, &node->primaryLatch)), named(Rc::Ok));
  EXPECT_EQ(value, 6);
  EXPECT_EQ(faults(), "");
}

// Lays headers of tables of the other kinds down by hand: the allocator serves them too.
TEST_F(RChanges, TheAllocatorServesTheFourKeyedKinds) {
  activeNode(0x2001, SNTR_KIND_R | SNTR_KIND_V | SNTR_KIND_IR | SNTR_KIND_IV);
  const struct {
    const char *name;
    std::uint32_t kind, entry;
    std::vector<std::uint64_t> header;
    std::uint64_t buckets, slot;
  } rows[] = {
      {"R", SNTR_KIND_R, 6, {1}, 1, 0x98},
      {"V", SNTR_KIND_V, 7, {16, 1}, 1, 0x1b0 + 16},
      {"IR", SNTR_KIND_IR, 8, {12, 1, 2, 3}, 6, 0x250 + 12},
      {"IV", SNTR_KIND_IV, 9, {12, 16, 1, 2, 3}, 6, 0x1e0 + 12 + 16},
  };
  for (const auto &row : rows) {
    const std::uint64_t start = word(0x560 + 24 * row.entry + 16);
    const std::uint64_t end = start + 0x2001;
    for (std::size_t i = 0; i < row.header.size(); ++i) setWord(start + 8 * i, row.header[i]);
    const std::uint64_t first = start + 8 * (row.header.size() + row.buckets);
    setWord(end - 16, first);
    std::uint64_t offsets[3] = {};
    std::uint64_t count = 0;
    std::uint64_t size = 0;
    for (int i = 0; i < 2; ++i) sntrGetFreeSpaceOffsetForProperty(node, row.kind, &offsets[i]);
    EXPECT_EQ(offsets[0], first) << row.name;
    EXPECT_EQ(offsets[1], first + row.slot) << row.name;
    EXPECT_EQ(named(sntrUpdateListOfFreedLLNodes(node, row.kind, &offsets[0])), named(Rc::Ok)) << row.name;
    EXPECT_EQ(named(sntrGetNumberOfFreedLListNodes(node, row.kind, &count)), named(Rc::Ok)) << row.name;
    EXPECT_EQ(named(sntrGetMemoryStackSizeForHashTable(node, row.kind, &size)), named(Rc::Ok)) << row.name;
    EXPECT_EQ(count, 1U) << row.name;
    EXPECT_EQ(size, 0x18U) << row.name;
    EXPECT_EQ(word(0x560 + 24 * row.entry + 8), 8U) << row.name;
    sntrGetFreeSpaceOffsetForProperty(node, row.kind, &offsets[2]);
    EXPECT_EQ(offsets[2], offsets[0]) << row.name;
  }
}

TEST_F(RChanges, CodesOfTheAllocator) {
  table(3, 3, {1});
  std::uint64_t out = 0;
  const std::uint64_t foreign = area + 9;
  expectCodes({
      {"take, node", [&] { return sntrGetFreeSpaceOffsetForProperty(nullptr, 1, nullptr); }, Rc::NullNode},
      {"take, output", [&] { return sntrGetFreeSpaceOffsetForProperty(node, 1, nullptr); }, Rc::NullOutput},
      {"take, kind", [&] { return sntrGetFreeSpaceOffsetForProperty(node, SNTR_KIND_BASE_R, &out); }, Rc::BadKind},
      {"free, node", [&] { return sntrUpdateListOfFreedLLNodes(nullptr, 1, nullptr); }, Rc::NullNode},
      {"free, link", [&] { return sntrUpdateListOfFreedLLNodes(node, SNTR_KIND_R, nullptr); }, Rc::NullOutput},
      {"free, no slot", [&] { return sntrUpdateListOfFreedLLNodes(node, SNTR_KIND_R, &foreign); }, Rc::RDamaged},
      {"count, output", [&] { return sntrGetNumberOfFreedLListNodes(node, 1, nullptr); }, Rc::NullFreedCountOutput},
      {"count, kind", [&] { return sntrGetNumberOfFreedLListNodes(node, 0, &out); }, Rc::BadKind},
      {"size, output", [&] { return sntrGetMemoryStackSizeForHashTable(node, 1, nullptr); }, Rc::NullFreedCountOutput},
      {"buckets, node", [&] { return sntrGetHashTableSizeForRVProperties(nullptr, 1, nullptr); }, Rc::NullNode},
      {"buckets, output", [&] { return sntrGetHashTableSizeForRVProperties(node, 1, nullptr); },
       Rc::NullBucketCountOutput},
      {"buckets, kind", [&] { return sntrGetHashTableSizeForRVProperties(node, SNTR_KIND_IR, &out); }, Rc::BadKind},
  });
  array(3);
  expectCodes(
      {{"take from an array", [&] { return sntrGetFreeSpaceOffsetForProperty(node, SNTR_KIND_R, &out); },
        Rc::BadBucketCount},
       {"buckets of an array", [&] { return sntrGetHashTableSizeForRVProperties(node, SNTR_KIND_R, &out); }, Rc::Ok}});
  EXPECT_EQ(out, 0U);
}

}  // namespace properties_test
