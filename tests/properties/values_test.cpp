// Values and result codes of R properties, by tag and by record; counting, copying tags out and walking.
#include "properties/r_node.h"

namespace properties_test {

using RValues = RNode;

TEST_F(RValues, ValueAndResultCodeDoNotTouchEachOther) {
  for (const bool isTable : {false, true}) {
    isTable ? table(3, 3, {1, 2}) : array(3, {1, 2});
    const std::int32_t before = changes();
    std::uint64_t rc = 0;
    EXPECT_EQ(named(sntrSetRCForRProperty(node, 2, 0xfedcba9876543210, 0)), named(Rc::Ok));
    EXPECT_EQ(named(sntrSetValueForRProperty(node, 2, INT32_MIN, 0)), named(Rc::Ok));
    EXPECT_EQ(named(sntrGetRCForRProperty(node, 2, &rc, 0)), named(Rc::Ok));
    EXPECT_EQ(rc, 0xfedcba9876543210U);
    EXPECT_EQ(get(2), INT32_MIN);
    EXPECT_EQ(get(1), 0) << "the neighbour";
    EXPECT_EQ(changes(), before);
  }
}

TEST_F(RValues, RecordAndRegisterAddressesLeadToTheProperty) {
  for (const bool isTable : {false, true}) {
    isTable ? table(3, 3, {1, 2}) : array(3, {1, 2});
    std::int32_t value = 0;
    std::uint64_t rc = 0;
    std::int32_t *address = nullptr;
    EXPECT_EQ(named(sntrSetValueAndRCForRProperty(node, recordOf(2), -7, 70, 0)), named(Rc::Ok));
    EXPECT_EQ(named(sntrGetValueAndRCForRProperty(node, recordOf(2), &value, &rc, 0)), named(Rc::Ok));
    EXPECT_EQ(value, -7);
    EXPECT_EQ(rc, 70U);
    EXPECT_EQ(named(sntrGetAddressForRPropertyValue(node, 2, &address)), named(Rc::Ok));
    EXPECT_EQ(offsetOf(address), offsetOf(recordOf(2)) + 16);
  }
}

TEST_F(RValues, OnlyTheStartOfARecordIsARecord) {
  for (const bool isTable : {false, true}) {
    isTable ? table(3, 3, {1}) : array(3, {1});
    const std::uint64_t record = offsetOf(recordOf(1));
    const std::uint64_t size = isTable ? 0x98 : 0x90;
    // An array's record may be empty; a table's must have been handed out.
    const std::uint64_t beyond = record + size * (isTable ? 1 : 3);
    const std::uint64_t wrong[] = {0, record - 1, record + 1, record - size, beyond, areaEnd(), std::uint64_t{1} << 40};
    for (const std::uint64_t offset : wrong) {
      auto *const address = reinterpret_cast<SNodeProperty_t *>(reinterpret_cast<std::uintptr_t>(bytes()) + offset);
      std::int32_t value = 0;
      std::uint64_t rc = 0;
      EXPECT_EQ(named(sntrSetValueAndRCForRProperty(node, address, 1, 1, 0)), named(Rc::RDamaged)) << offset;
      EXPECT_EQ(named(sntrGetValueAndRCForRProperty(node, address, &value, &rc, 0)), named(Rc::RDamaged)) << offset;
    }
  }
}

TEST_F(RValues, Codes) {
  std::int32_t value = 0;
  std::int32_t *address = nullptr;
  std::uint64_t rc = 0;
  const std::uint64_t big = 0x100001;
  for (const bool isTable : {false, true}) {
    isTable ? table(3, 3, {1}) : array(3, {1});
    const Rc missing = isTable ? Rc::RNotInTable : Rc::RNotFound;
    SNodeProperty_t *const record = recordOf(1);
    expectCodes({
        {"get, node", [&] { return sntrGetValueForRProperty(nullptr, big, nullptr, 0); }, Rc::NullNode},
        {"get, tag", [&] { return sntrGetValueForRProperty(node, big, nullptr, 0); }, Rc::TagTooLarge},
        {"get, output", [&] { return sntrGetValueForRProperty(node, 2, nullptr, 0); }, Rc::NullRValueOutput},
        {"get, missing", [&] { return sntrGetValueForRProperty(node, 2, &value, 0); }, Rc::RNotFound},
        {"set, node", [&] { return sntrSetValueForRProperty(nullptr, big, 1, 0); }, Rc::NullNode},
        {"set, tag", [&] { return sntrSetValueForRProperty(node, big, 1, 0); }, Rc::TagTooLarge},
        {"set, missing", [&] { return sntrSetValueForRProperty(node, 2, 1, 0); }, Rc::RNotFound},
        {"address, output", [&] { return sntrGetAddressForRPropertyValue(node, 2, nullptr); }, Rc::NullRRecord},
        {"address, missing", [&] { return sntrGetAddressForRPropertyValue(node, 2, &address); }, Rc::RNotFound},
        {"get both, node", [&] { return sntrGetValueAndRCForRProperty(nullptr, nullptr, nullptr, nullptr, 0); },
         Rc::NullNode},
        {"get both, record", [&] { return sntrGetValueAndRCForRProperty(node, nullptr, nullptr, nullptr, 0); },
         Rc::NullRRecord},
        {"get both, value", [&] { return sntrGetValueAndRCForRProperty(node, record, nullptr, nullptr, 0); },
         Rc::NullRValueOutput},
        {"get both, rc", [&] { return sntrGetValueAndRCForRProperty(node, record, &value, nullptr, 0); },
         Rc::NullRCOutput},
        {"set both, node", [&] { return sntrSetValueAndRCForRProperty(nullptr, nullptr, 1, 1, 0); }, Rc::NullNode},
        {"set both, record", [&] { return sntrSetValueAndRCForRProperty(node, nullptr, 1, 1, 0); }, Rc::NullRRecord},
        {"get rc, tag", [&] { return sntrGetRCForRProperty(node, big, nullptr, 0); }, Rc::TagTooLarge},
        {"get rc, output", [&] { return sntrGetRCForRProperty(node, 2, nullptr, 0); }, Rc::NullRCOutput},
        {"get rc, missing", [&] { return sntrGetRCForRProperty(node, 2, &rc, 0); }, missing},
        {"set rc, tag", [&] { return sntrSetRCForRProperty(node, big, 1, 0); }, Rc::TagTooLarge},
        {"set rc, missing", [&] { return sntrSetRCForRProperty(node, 2, 1, 0); }, missing},
    });
    ASSERT_EQ(named(sntrAbandonNode(&node)), named(Rc::Ok));
    auto *const nowhere = reinterpret_cast<SNodeProperty_t *>(node);
    expectCodes({
        {"get, condition", [&] { return sntrGetValueForRProperty(node, 2, &value, 0); }, Rc::NodeAbandoned},
        {"set, condition", [&] { return sntrSetValueForRProperty(node, 2, 1, 0); }, Rc::NodeAbandoned},
        {"get both, condition", [&] { return sntrGetValueAndRCForRProperty(node, nowhere, &value, &rc, 0); },
         Rc::NodeAbandoned},
        {"set both, condition", [&] { return sntrSetValueAndRCForRProperty(node, nowhere, 1, 1, 0); },
         Rc::NodeAbandoned},
        {"get rc, condition", [&] { return sntrGetRCForRProperty(node, 2, &rc, 0); }, Rc::NodeAbandoned},
        {"set rc, condition", [&] { return sntrSetRCForRProperty(node, 2, 1, 0); }, Rc::NodeAbandoned},
        {"count, condition", [&] { return sntrReturnRPropertyCount(node, 0, &rc, 0); }, Rc::NodeAbandoned},
        {"tags, condition", [&] { return sntrReturnRProperties(node, &rc, 0, 1, 0); }, Rc::NodeAbandoned},
    });
  }
}

TEST_F(RValues, Counts) {
  for (const bool isTable : {false, true}) {
    isTable ? table(3, 5, {4, 5, 6}) : array(5, {4, 0, 5, 6});
    remove(4);
    std::uint64_t count = 99;
    EXPECT_EQ(named(sntrReturnRPropertyCount(node, 0, &count, 0)), named(Rc::Ok));
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(named(sntrGetNumberOfRProperties(node, &count)), named(Rc::Ok));
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(named(sntrReturnRPropertyCount(node, 6, &count, 0)), named(Rc::Ok));
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(named(sntrGetRPropertiesNoForGivenTag(node, 4, &count, 0)), named(Rc::RNotInTable));
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(named(sntrReturnRPropertyCount(node, 4, &count, 0)), named(Rc::RNotInTable));
  }
}

TEST_F(RValues, TagsAreTheFirstOnesWhateverHolesLieBetween) {
  array(6, {4, 5, 6, 7});
  remove(4);
  remove(6);
  EXPECT_EQ(tags(1), (std::vector<std::uint64_t>{5}));
  EXPECT_EQ(tags(4), (std::vector<std::uint64_t>{5, 7, 0, 0}));
  EXPECT_EQ(tags(3, 7), (std::vector<std::uint64_t>{7, 0, 0}));
  EXPECT_EQ(tags(2, 4), (std::vector<std::uint64_t>{0, 0}));
  EXPECT_EQ(named(lastCode), named(Rc::RNotInTable));
  setWord(offsetOf(recordOf(7)), 0x100001);
  EXPECT_EQ(tags(3), (std::vector<std::uint64_t>{5, 0, 0}));
  EXPECT_EQ(named(lastCode), named(Rc::TagTooLarge));
  table(1, 4);
  for (const std::uint64_t tag : {9U, 3U, 6U}) add(tag);
  EXPECT_EQ(tags(2), (std::vector<std::uint64_t>{3, 6}));
  EXPECT_EQ(tags(4), (std::vector<std::uint64_t>{3, 6, 9, 0}));
  EXPECT_EQ(tags(2, 6), (std::vector<std::uint64_t>{6, 0}));
}

TEST_F(RValues, NothingToCopyIsNotFound) {
  for (const bool isTable : {false, true}) {
    isTable ? table(3, 3) : array(3);
    EXPECT_EQ(tags(2), (std::vector<std::uint64_t>{0, 0})) << isTable;
    EXPECT_EQ(named(lastCode), named(Rc::RNotInTable)) << isTable;
  }
}

TEST_F(RValues, CodesOfEnumeration) {
  table(3, 3, {1});
  std::uint64_t out = 0;
  const std::uint64_t big = 0x100001;
  expectCodes({
      {"tags, node", [&] { return sntrReturnRProperties(nullptr, nullptr, big, 0, 0); }, Rc::NullNode},
      {"tags, capacity 0", [&] { return sntrReturnRProperties(node, nullptr, big, 0, 0); }, Rc::BadRCount},
      {"tags, capacity", [&] { return sntrReturnRProperties(node, nullptr, big, 0x8001, 0); }, Rc::BadRCount},
      {"tags, array", [&] { return sntrReturnRProperties(node, nullptr, big, 1, 0); }, Rc::NullTags},
      {"tags, filter", [&] { return sntrReturnRProperties(node, &out, big, 1, 0); }, Rc::TagTooLarge},
      {"count, node", [&] { return sntrReturnRPropertyCount(nullptr, big, nullptr, 0); }, Rc::NullNode},
      {"count, tag", [&] { return sntrReturnRPropertyCount(node, big, nullptr, 0); }, Rc::TagTooLarge},
      {"count, output", [&] { return sntrReturnRPropertyCount(node, 1, nullptr, 0); }, Rc::NullOutput},
      {"by tag, output", [&] { return sntrGetRPropertiesNoForGivenTag(node, 1, nullptr, 0); }, Rc::NullRUsedOutput},
      {"number, node", [&] { return sntrGetNumberOfRProperties(nullptr, nullptr); }, Rc::NullNode},
      {"number, output", [&] { return sntrGetNumberOfRProperties(node, nullptr); }, Rc::NullOutput},
      {"exports, node", [&] { return sntrReturnExports(nullptr, nullptr); }, Rc::NullNode},
      {"exports, output", [&] { return sntrReturnExports(node, nullptr); }, Rc::NullOutput},
      {"exports", [&] { return sntrReturnExports(node, &out); }, Rc::Ok},
  });
  EXPECT_EQ(out, SNTR_KIND_R);
}

TEST_F(RValues, WalkersReachTheEndOfTheAreaAndNoFurther) {
  activeNode(8 + 0x90 * 3);
  ASSERT_EQ(named(layOut(SNTR_LAYOUT_ARRAY, 3, {7, 0, 9})), named(Rc::Ok));
  SNodeProperty_t *at = nullptr;
  AreaEntry *entry = nullptr;
  std::uint64_t used = 0;
  std::uint64_t capacity = 0;
  ASSERT_EQ(named(sntrGetPExportPointer(&entry, node, SNTR_KIND_R)), named(Rc::Ok));
  ASSERT_EQ(named(sntrGetFirstRPropertyLocation(node, &at, &used, &capacity)), named(Rc::Ok));
  EXPECT_EQ(used, 2U);
  EXPECT_EQ(capacity, 3U);
  for (std::uint64_t i = 0; i < 3; ++i) {
    EXPECT_EQ(offsetOf(at), area + 8 + 0x90 * i);
    EXPECT_EQ(named(sntrGetNextRPropertyLocation(node, entry, &at)), named(Rc::Ok)) << i;
  }
  EXPECT_EQ(named(sntrGetNextRPropertyLocation(node, entry, &at)), named(Rc::RDamaged));
  EXPECT_EQ(offsetOf(at), areaEnd()) << "a failing walker moved";
  expectCodes({
      {"first, used", [&] { return sntrGetFirstRPropertyLocation(node, nullptr, nullptr, nullptr); },
       Rc::NullRUsedOutput},
      {"first, capacity", [&] { return sntrGetFirstRPropertyLocation(node, nullptr, &used, nullptr); },
       Rc::NullRCapacityOutput},
      {"first, location", [&] { return sntrGetFirstRPropertyLocation(node, nullptr, &used, &capacity); },
       Rc::NullRRecord},
      {"next, entry", [&] { return sntrGetNextRPropertyLocation(node, nullptr, &at); }, Rc::NullOutput},
      {"next, location", [&] { return sntrGetNextRPropertyLocation(node, entry, nullptr); }, Rc::NullRRecord},
  });
  activeNode(7);
  EXPECT_EQ(named(sntrGetFirstRPropertyLocation(node, &at, &used, &capacity)), named(Rc::RDamaged));
  EXPECT_EQ(used + capacity, 0U);
}

}  // namespace properties_test
