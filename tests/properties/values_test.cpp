// Values and result codes of R properties, by tag and by record; counting, copying tags out and walking.
#include "properties/kind_node.h"

namespace properties_test {

using RValues = RNode;

TEST_F(RValues, RecordAndRegisterAddressesLeadToTheProperty) {
  for (const bool isTable : {false, true}) {
    isTable ? table(3, 3, {1, 2}) : array(3, {1, 2});
    std::int32_t value = 0;
    std::uint64_t rc = 0;
    std::int32_t *address = nullptr;
    EXPECT_RC(sntrSetValueAndRCForRProperty(node, recordOf(2), -7, 70, 0), Rc::Ok);
    EXPECT_RC(sntrGetValueAndRCForRProperty(node, recordOf(2), &value, &rc, 0), Rc::Ok);
    EXPECT_EQ(value, -7);
    EXPECT_EQ(rc, 70U);
    EXPECT_RC(sntrGetAddressForRPropertyValue(node, 2, &address), Rc::Ok);
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
      EXPECT_RC(sntrSetValueAndRCForRProperty(node, address, 1, 1, 0), Rc::RDamaged) << offset;
      EXPECT_RC(sntrGetValueAndRCForRProperty(node, address, &value, &rc, 0), Rc::RDamaged) << offset;
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
        {"get, node", sntrGetValueForRProperty(nullptr, big, nullptr, 0), Rc::NullNode},
        {"get, tag", sntrGetValueForRProperty(node, big, nullptr, 0), Rc::TagTooLarge},
        {"get, output", sntrGetValueForRProperty(node, 2, nullptr, 0), Rc::NullRValueOutput},
        {"get, missing", sntrGetValueForRProperty(node, 2, &value, 0), Rc::RNotFound},
        {"set, node", sntrSetValueForRProperty(nullptr, big, 1, 0), Rc::NullNode},
        {"set, tag", sntrSetValueForRProperty(node, big, 1, 0), Rc::TagTooLarge},
        {"set, missing", sntrSetValueForRProperty(node, 2, 1, 0), Rc::RNotFound},
        {"address, output", sntrGetAddressForRPropertyValue(node, 2, nullptr), Rc::NullRRecord},
        {"address, missing", sntrGetAddressForRPropertyValue(node, 2, &address), Rc::RNotFound},
        {"get both, node", sntrGetValueAndRCForRProperty(nullptr, nullptr, nullptr, nullptr, 0), Rc::NullNode},
        {"get both, record", sntrGetValueAndRCForRProperty(node, nullptr, nullptr, nullptr, 0), Rc::NullRRecord},
        {"get both, value", sntrGetValueAndRCForRProperty(node, record, nullptr, nullptr, 0), Rc::NullRValueOutput},
        {"get both, rc", sntrGetValueAndRCForRProperty(node, record, &value, nullptr, 0), Rc::NullRCOutput},
        {"set both, node", sntrSetValueAndRCForRProperty(nullptr, nullptr, 1, 1, 0), Rc::NullNode},
        {"set both, record", sntrSetValueAndRCForRProperty(node, nullptr, 1, 1, 0), Rc::NullRRecord},
        {"get rc, tag", sntrGetRCForRProperty(node, big, nullptr, 0), Rc::TagTooLarge},
        {"get rc, output", sntrGetRCForRProperty(node, 2, nullptr, 0), Rc::NullRCOutput},
        {"get rc, missing", sntrGetRCForRProperty(node, 2, &rc, 0), missing},
        {"set rc, tag", sntrSetRCForRProperty(node, big, 1, 0), Rc::TagTooLarge},
        {"set rc, missing", sntrSetRCForRProperty(node, 2, 1, 0), missing},
    });
    ASSERT_RC(sntrAbandonNode(&node), Rc::Ok);
    auto *const nowhere = reinterpret_cast<SNodeProperty_t *>(node);
    expectCodes({
        {"get, condition", sntrGetValueForRProperty(node, 1, &value, 0), Rc::NodeAbandoned},
        {"set, condition", sntrSetValueForRProperty(node, 1, 1, 0), Rc::NodeAbandoned},
        {"get both, condition", sntrGetValueAndRCForRProperty(node, nowhere, &value, &rc, 0), Rc::NodeAbandoned},
        {"set both, condition", sntrSetValueAndRCForRProperty(node, nowhere, 1, 1, 0), Rc::NodeAbandoned},
        {"get rc, condition", sntrGetRCForRProperty(node, 2, &rc, 0), Rc::NodeAbandoned},
        {"set rc, condition", sntrSetRCForRProperty(node, 2, 1, 0), Rc::NodeAbandoned},
        {"count, condition", sntrReturnRPropertyCount(node, 0, &rc, 0), Rc::NodeAbandoned},
        {"tags, condition", sntrReturnRProperties(node, &rc, 0, 1, 0), Rc::NodeAbandoned},
    });
  }
}

TEST_F(RValues, NumbersOfProperties) {
  for (const bool isTable : {false, true}) {
    isTable ? table(3, 5, {4, 5, 6}) : array(5, {4, 0, 5, 6});
    remove(4);
    std::uint64_t all = 99, found = 99, none = 99;
    EXPECT_RC(sntrGetNumberOfRProperties(node, &all), Rc::Ok);
    EXPECT_RC(sntrGetRPropertiesNoForGivenTag(node, 6, &found, 0), Rc::Ok);
    EXPECT_RC(sntrGetRPropertiesNoForGivenTag(node, 4, &none, 0), Rc::RNotInTable);
    EXPECT_TRUE(all == 2 && found == 1 && none == 0) << all << " " << found << " " << none;
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
  EXPECT_RC(lastCode, Rc::RNotInTable);
  setWord(offsetOf(recordOf(7)), 0x100001);
  EXPECT_EQ(tags(3), (std::vector<std::uint64_t>{5, 0, 0}));
  EXPECT_RC(lastCode, Rc::TagTooLarge);
  table(1, 4);
  for (const std::uint64_t tag : {9U, 3U, 6U}) add(tag);
  EXPECT_EQ(tags(2), (std::vector<std::uint64_t>{3, 6}));
  EXPECT_EQ(tags(4), (std::vector<std::uint64_t>{3, 6, 9, 0}));
  EXPECT_EQ(tags(2, 6), (std::vector<std::uint64_t>{6, 0}));
}

TEST_F(RValues, CodesOfEnumeration) {
  table(3, 3, {1});
  std::uint64_t out = 0;
  const std::uint64_t big = 0x100001;
  expectCodes({
      {"tags, node", sntrReturnRProperties(nullptr, nullptr, big, 0, 0), Rc::NullNode},
      {"tags, capacity 0", sntrReturnRProperties(node, nullptr, big, 0, 0), Rc::BadRCount},
      {"tags, capacity", sntrReturnRProperties(node, nullptr, big, 0x8001, 0), Rc::BadRCount},
      {"tags, array", sntrReturnRProperties(node, nullptr, big, 1, 0), Rc::NullTags},
      {"tags, filter", sntrReturnRProperties(node, &out, big, 1, 0), Rc::TagTooLarge},
      {"count, node", sntrReturnRPropertyCount(nullptr, big, nullptr, 0), Rc::NullNode},
      {"count, tag", sntrReturnRPropertyCount(node, big, nullptr, 0), Rc::TagTooLarge},
      {"count, output", sntrReturnRPropertyCount(node, 1, nullptr, 0), Rc::NullOutput},
      {"by tag, output", sntrGetRPropertiesNoForGivenTag(node, 1, nullptr, 0), Rc::NullRUsedOutput},
      {"number, node", sntrGetNumberOfRProperties(nullptr, nullptr), Rc::NullNode},
      {"number, output", sntrGetNumberOfRProperties(node, nullptr), Rc::NullOutput},
      {"exports, node", sntrReturnExports(nullptr, nullptr), Rc::NullNode},
      {"exports, output", sntrReturnExports(node, nullptr), Rc::NullOutput},
      {"exports", sntrReturnExports(node, &out), Rc::Ok},
  });
  EXPECT_EQ(out, SNTR_KIND_R);
}

TEST_F(RValues, WalkersReachTheEndOfTheAreaAndNoFurther) {
  activeNode(8 + 0x90 * 3);
  ASSERT_RC(layOut(SNTR_LAYOUT_ARRAY, 3, {7, 0, 9}), Rc::Ok);
  SNodeProperty_t *at = nullptr;
  AreaEntry *entry = nullptr;
  std::uint64_t used = 0;
  std::uint64_t capacity = 0;
  ASSERT_RC(sntrGetPExportPointer(&entry, node, SNTR_KIND_R), Rc::Ok);
  ASSERT_RC(sntrGetFirstRPropertyLocation(node, &at, &used, &capacity), Rc::Ok);
  EXPECT_EQ(used, 2U);
  EXPECT_EQ(capacity, 3U);
  for (std::uint64_t i = 0; i < 3; ++i) {
    EXPECT_EQ(offsetOf(at), area + 8 + 0x90 * i);
    EXPECT_RC(sntrGetNextRPropertyLocation(node, entry, &at), Rc::Ok) << i;
  }
  EXPECT_RC(sntrGetNextRPropertyLocation(node, entry, &at), Rc::RDamaged);
  EXPECT_EQ(offsetOf(at), areaEnd()) << "a failing walker moved";
  expectCodes({
      {"first, used", sntrGetFirstRPropertyLocation(node, nullptr, nullptr, nullptr), Rc::NullRUsedOutput},
      {"first, capacity", sntrGetFirstRPropertyLocation(node, nullptr, &used, nullptr), Rc::NullRCapacityOutput},
      {"first, location", sntrGetFirstRPropertyLocation(node, nullptr, &used, &capacity), Rc::NullRRecord},
      {"next, entry", sntrGetNextRPropertyLocation(node, nullptr, &at), Rc::NullOutput},
      {"next, location", sntrGetNextRPropertyLocation(node, entry, nullptr), Rc::NullRRecord},
  });
  activeNode(7);
  EXPECT_RC(sntrGetFirstRPropertyLocation(node, &at, &used, &capacity), Rc::RDamaged);
  EXPECT_EQ(used + capacity, 0U);
}

// What looks for a property finds none, whatever its name and although the kind has an area; adding is refused.
TEST_F(RValues, ANodeWithoutTheKindHasNoSuchProperty) {
  activeNode(8);
  const Key key{1, "id"};
  Value value;
  std::uint64_t out = 0;
  std::map<Key, std::uint64_t> keys;
  SNodeProperty_t *record = nullptr;
  void *address = nullptr;
  for (const Kind *kind : {&kV, &kIV}) {
    SCOPED_TRACE(kind->name);
    const Properties of{node, *kind};
    expectCodes({
        {"get", of.get(key, value, 8), kind->notFound},
        {"set", of.set(key, {0, "x"}), kind->notFound},
        {"set, size first", of.set(key, {0, "xy"}), Rc::BadValueSize},
        {"get rc", of.getRC(key, out), kind->notFound},
        {"set rc", of.setRC(key, 1), kind->notFound},
        {"delete", of.erase(key), kind->notFound},
        {"count of a tag", of.count(1, out), kind->notInTable},
        {"count of all", of.count(0, out = 9), Rc::Ok},
        {"keys", of.keys(keys, 0, 1, 0), kind->notInTable},
        {"keys, wide slots", of.keys(keys, 0, 1, 1), kind->hasID() ? Rc::IDSlotTooWide : kind->notInTable},
        {"add", of.add({1}, {0, "x"}), Rc::BadMaxValueSize},
        {"add, identifier", of.add(key, {0, "x"}), kind->hasID() ? Rc::IDTooLong : Rc::BadMaxValueSize},
    });
    EXPECT_EQ(out, 0U);
  }
  expectCodes({
      {"V record", sntrGetAddressForVProperty(node, 1, &record), Rc::VNotFound},
      {"V value", sntrGetAddressForVPropertyValue(node, 1, &address), Rc::VNotFound},
      {"IV record", sntrGetAddressForIVProperty(node, 1, 2, "id", &record), Rc::IVNotFound},
      {"IV value", sntrGetAddressForIVPropertyValue(node, 1, 2, "id", &address), Rc::IVNotFound},
      {"longest identifier", sntrDeleteIVProperty(node, 1, 0x1001, "id", 0), Rc::IDTooLong},
      {"number of V", sntrGetNumberOfVProperties(node, &out), Rc::Ok},
      {"V of a tag", sntrGetVPropertiesNoForGivenTag(node, 1, &out, 0), Rc::VNotInTable},
  });
  activeNode(8, SNTR_KIND_V);
  EXPECT_RC(sntrGetRCForVProperty(node, 1, &out, 0), Rc::BadMaxValueSize) << "a list that was never laid out";
}

// Bytes of each length that is copied in a way of its own, from outside and from within the value itself.
TEST_F(RValues, BytesOfEachLengthArriveWhole) {
  constexpr std::uint64_t kMost = 320, kShifts[] = {0, 1, 9, 20};
  constexpr std::uint64_t kSizes[] = {1, 2, 3, 4, 7, 8, 15, 16, 17, 31, 32, 33, 63, 64, 65, 127, 128, 129, 300};
  support::Sizes sizes{};
  sizes[SNTR_AREA_V] = 0x800;
  for (const std::uint32_t layout : {SNTR_LAYOUT_ARRAY, SNTR_LAYOUT_HASH}) {
    createNode(sizes, SNTR_KIND_V);
    ASSERT_RC(sntrActivateNode(&node), Rc::Ok);
    ASSERT_RC(sntrCreateVPropertyList(node, nullptr, nullptr, nullptr, 0, 1, kMost, layout, 0), Rc::Ok);
    std::string text(kMost, 0);
    for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(i * 37 + 1);
    ASSERT_RC(sntrAddVProperty(node, 5, kMost, text.data(), 0), Rc::Ok);
    for (const std::uint64_t size : kSizes) {
      for (const std::uint64_t shift : kShifts) {
        std::string read(kMost, '-');
        std::uint64_t length = 0;
        void *address = nullptr;
        ASSERT_RC(sntrSetValueForVProperty(node, 5, kMost, text.data(), 0), Rc::Ok);
        ASSERT_RC(sntrGetValueForVProperty(node, 5, &length, &address, nullptr, 0), Rc::Ok);
        ASSERT_RC(sntrSetValueForVProperty(node, 5, size, static_cast<char *>(address) + shift, 0), Rc::Ok);
        ASSERT_RC(sntrGetValueForVProperty(node, 5, &length, nullptr, read.data(), 0), Rc::Ok);
        EXPECT_EQ(read.substr(0, length), text.substr(shift, size)) << layout << ", " << size << ", " << shift;
        EXPECT_EQ(read.substr(length), std::string(kMost - size, '-')) << layout << ", " << size << ", " << shift;
      }
    }
  }
}

}  // namespace properties_test
