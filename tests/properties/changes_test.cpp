// Adding, deleting and locating R properties in both layouts, and the slots of a table.
#include "properties/kind_node.h"

namespace properties_test {

using RChanges = RNode;

TEST_F(RChanges, AddsToAnAreaThatWasNeverLaidOut) {
  activeNode(8 + 0x90);
  EXPECT_RC(sntrDeleteRProperty(node, 5, 0), Rc::RNotFound);
  add(5, 50);
  EXPECT_EQ(word(kUsed), 8U + 0x90);
  EXPECT_EQ(get(5), 50);
  EXPECT_RC(sntrAddRProperty(node, 6, 0, 0), Rc::RListFull);
}

TEST_F(RChanges, CodesInBothLayouts) {
  SNodeProperty_t *record = nullptr;
  for (const bool isTable : {false, true}) {
    isTable ? table(3, 3, {1}) : array(3, {1});
    const Rc missing = isTable ? Rc::RNotInTable : Rc::RNotFound;
    expectCodes({
        {"add, node", sntrAddRProperty(nullptr, 0x100001, 0, 0), Rc::NullNode},
        {"add, tag", sntrAddRProperty(node, 0x100001, 0, 0), Rc::TagTooLarge},
        {"add, largest tag", sntrAddRProperty(node, 0x100000, 0, 0), Rc::Ok},
        {"delete, node", sntrDeleteRProperty(nullptr, 0x100001, 0), Rc::NullNode},
        {"delete, tag", sntrDeleteRProperty(node, 0x100001, 0), Rc::TagTooLarge},
        {"delete, missing", sntrDeleteRProperty(node, 2, 0), missing},
        {"locate, node", sntrGetAddressForRProperty(nullptr, 0x100001, nullptr), Rc::NullNode},
        {"locate, tag", sntrGetAddressForRProperty(node, 0x100001, nullptr), Rc::TagTooLarge},
        {"locate, output", sntrGetAddressForRProperty(node, 1, nullptr), Rc::NullRRecord},
        {"locate, missing", sntrGetAddressForRProperty(node, 2, &record), missing},
        {"table add, node", sntrAddRPropertyToHashTable(nullptr, 0x100001, 0, 0), Rc::NullNode},
        {"table add, tag", sntrAddRPropertyToHashTable(node, 0x100001, 0, 0), Rc::TagTooLarge},
        {"table find, output", sntrFindRPropertyInHashTable(node, 1, nullptr), Rc::NullRRecord},
        {"table find, missing", sntrFindRPropertyInHashTable(node, 2, &record), Rc::RNotInTable},
        {"table delete, missing", sntrDeleteRPropertyFromHashTable(node, 2), Rc::RNotInTable},
        {"table add", sntrAddRPropertyToHashTable(node, 8, 0, 0), isTable ? Rc::Ok : Rc::BadBucketCount},
        {"table delete", sntrDeleteRPropertyFromHashTable(node, 8), isTable ? Rc::Ok : Rc::RNotInTable},
    });
  }
}

TEST_F(RChanges, AnInactiveNodeIsRefusedAfterItsArea) {
  createNode(tableSize(3, 3));
  setWord(area, 5000);  // more buckets than fit
  expectCodes({{"the list comes before the condition", sntrAddRProperty(node, 1, 0, 0), Rc::BadBucketCount},
               {"delete", sntrDeleteRProperty(node, 1, 0), Rc::NodeOnlyInitialized}});
  setWord(area, 0);
  SNodeProperty_t *record = nullptr;
  expectCodes({{"add", sntrAddRProperty(node, 1, 0, 0), Rc::NodeOnlyInitialized},
               {"locate", sntrGetAddressForRProperty(node, 1, &record), Rc::NodeOnlyInitialized}});
}

TEST_F(RChanges, AMissLeavesTheRecordWhereTheSearchStopped) {
  table(1, 3);
  auto *const untouched = reinterpret_cast<SNodeProperty_t *>(bytes());
  SNodeProperty_t *record = untouched;
  EXPECT_RC(sntrFindRPropertyInHashTable(node, 1, &record), Rc::RNotInTable);
  EXPECT_EQ(record, untouched) << "an empty bucket has no record";
  add(5);
  add(8);
  const struct { std::uint64_t wanted, stopped; } rows[] = {{1, 5}, {6, 8}, {9, 8}};
  for (const auto &row : rows) {
    EXPECT_RC(sntrFindRPropertyInHashTable(node, row.wanted, &record), Rc::RNotInTable);
    EXPECT_EQ(word(offsetOf(record)), row.stopped) << row.wanted;
  }
}

using Allocator = KindNode;

TEST_F(Allocator, ServesTheFourKeyedKinds) {
  for (const Kind *f : support::kLists) {
    layOutKind(*f, SNTR_LAYOUT_HASH, 0x2001, 1);
    SCOPED_TRACE(f->name);
    const std::uint64_t first = bucket(f->arrays), before = used();
    std::uint64_t offsets[3] = {}, count = 0, size = 0;
    for (int i = 0; i < 2; ++i) sntrGetFreeSpaceOffsetForProperty(node, f->selector, &offsets[i]);
    EXPECT_EQ(offsets[0], first);
    EXPECT_EQ(offsets[1], first + slotSize());
    EXPECT_RC(sntrUpdateListOfFreedLLNodes(node, f->selector, &offsets[0]), Rc::Ok);
    EXPECT_RC(sntrGetNumberOfFreedLListNodes(node, f->selector, &count), Rc::Ok);
    EXPECT_RC(sntrGetMemoryStackSizeForHashTable(node, f->selector, &size), Rc::Ok);
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(size, 0x18U);
    EXPECT_EQ(used(), before + 8);
    sntrGetFreeSpaceOffsetForProperty(node, f->selector, &offsets[2]);
    EXPECT_EQ(offsets[2], offsets[0]);
  }
}

TEST_F(RChanges, CodesOfTheAllocator) {
  table(3, 3, {1});
  std::uint64_t out = 0;
  const std::uint64_t foreign = area + 9;
  expectCodes({
      {"take, node", sntrGetFreeSpaceOffsetForProperty(nullptr, 1, nullptr), Rc::NullNode},
      {"take, output", sntrGetFreeSpaceOffsetForProperty(node, 1, nullptr), Rc::NullOutput},
      {"take, kind", sntrGetFreeSpaceOffsetForProperty(node, SNTR_KIND_BASE_R, &out), Rc::BadKind},
      {"free, node", sntrUpdateListOfFreedLLNodes(nullptr, 1, nullptr), Rc::NullNode},
      {"free, link", sntrUpdateListOfFreedLLNodes(node, SNTR_KIND_R, nullptr), Rc::NullOutput},
      {"free, no slot", sntrUpdateListOfFreedLLNodes(node, SNTR_KIND_R, &foreign), Rc::RDamaged},
      {"count, output", sntrGetNumberOfFreedLListNodes(node, 1, nullptr), Rc::NullFreedCountOutput},
      {"count, kind", sntrGetNumberOfFreedLListNodes(node, 0, &out), Rc::BadKind},
      {"size, output", sntrGetMemoryStackSizeForHashTable(node, 1, nullptr), Rc::NullFreedCountOutput},
      {"buckets, node", sntrGetHashTableSizeForRVProperties(nullptr, 1, nullptr), Rc::NullNode},
      {"buckets, output", sntrGetHashTableSizeForRVProperties(node, 1, nullptr), Rc::NullBucketCountOutput},
      {"buckets, kind", sntrGetHashTableSizeForRVProperties(node, SNTR_KIND_IR, &out), Rc::BadKind},
  });
  EXPECT_RC(sntrGetHashTableSizeForRVProperties(node, SNTR_KIND_R, &out), Rc::Ok);
  EXPECT_EQ(out, 3U);
  array(3);
  expectCodes({{"take from an array", sntrGetFreeSpaceOffsetForProperty(node, SNTR_KIND_R, &out), Rc::BadBucketCount},
               {"buckets of an array", sntrGetHashTableSizeForRVProperties(node, SNTR_KIND_R, &out), Rc::Ok}});
  EXPECT_EQ(out, 0U);
}

}  // namespace properties_test
