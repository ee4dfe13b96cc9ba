// What a node has one of: a property of each base kind, and the export list.
#include "properties/kind_node.h"

namespace properties_test {

using SingleRecords = KindNode;

TEST_F(SingleRecords, ABaseKindHoldsOneProperty) {
  for (const Kind *f : {&kBaseR, &kBaseV}) {
    layOutKind(*f, SNTR_LAYOUT_HASH, 0, 1);
    SCOPED_TRACE(f->name);
    const Value first = f->hasBytes() ? Value{0, "abc"} : Value{-7, ""};
    Value value;
    std::uint64_t rc = 0;
    std::map<Key, std::uint64_t> keys;
    EXPECT_RC(of().add({5}, first), Rc::Ok);
    EXPECT_RC(of().setRC({5}, 77), Rc::Ok);
    EXPECT_RC(of().get({5}, value, kMaxValue), Rc::Ok);
    EXPECT_RC(of().getRC({5}, rc), Rc::Ok);
    EXPECT_TRUE(value == first && rc == 77) << value.number << value.bytes << " " << rc;
    EXPECT_RC(of().keys(keys, 1, 1, 0), Rc::Ok);
    EXPECT_EQ(keys, (std::map<Key, std::uint64_t>{{{5}, first.bytes.size()}}));
    EXPECT_RC(of().get({6}, value, kMaxValue), f->notFound);
    EXPECT_RC(of().erase({6}), f->notFound);
    const Value long17{0, std::string(kMaxValue + 1, 'x')};
    EXPECT_RC(of().set({5}, long17), f->hasBytes() ? Rc::BadValueSize : Rc::Ok);
    EXPECT_RC(of().add({0x100001}, first), Rc::TagTooLarge);
    if (f == &kBaseV) {
      EXPECT_RC(sntrCreateBaseVProperty(node, 5, 2, bytes() + area + 0x1a8 + 1, 0), Rc::Ok) << "of its own value";
      EXPECT_RC(of().get({5}, value, kMaxValue), Rc::Ok);
      EXPECT_EQ(value.bytes, "bc");
    }
    EXPECT_RC(of().erase({5}), Rc::Ok);
    EXPECT_RC(of().erase({5}), f->notFound);
  }
}

// Whatever looks for a base property that was never made, was deleted, or is of a kind that the node lacks.
TEST_F(SingleRecords, ABasePropertyThatIsNotThereIsNotFound) {
  const auto expectNone = [&](const char *state) {
    SCOPED_TRACE(std::string(kind->name) + ", " + state);
    Value value;
    std::uint64_t rc = 0;
    std::int32_t *number = nullptr;
    void *place = nullptr;
    SNodeProperty_t *record = nullptr, *const kept = reinterpret_cast<SNodeProperty_t *>(bytes() + word(entry() + 16));
    std::vector<std::uint32_t> got = {of().get({0}, value, kMaxValue), of().set({0}, {1, "x"}), of().getRC({0}, rc),
                                      of().setRC({0}, 1), of().erase({1})};
    if (kind == &kBaseR) {
      got.push_back(sntrGetAddressForBaseRProperty(node, 0, &record));
      got.push_back(sntrGetAddressForBaseRPropertyValue(node, 0, &number));
      got.push_back(sntrGetValueAndRCForBaseRProperty(node, kept, &value.number, &rc, 0));
      got.push_back(sntrSetValueAndRCForBaseRProperty(node, kept, 1, 1, 0));
    } else {
      got.push_back(sntrGetAddressForBaseVProperty(node, 0, &record));
      got.push_back(sntrGetAddressForBaseVPropertyValue(node, 0, &place));
      got.push_back(sntrGetValueAndRCForBaseVProperty(node, kept, nullptr, nullptr, nullptr, &rc, 0));
      got.push_back(sntrSetValueAndRCForBaseVProperty(node, kept, 1, "x", 1, 0));
    }
    for (std::size_t i = 0; i < got.size(); ++i) EXPECT_RC(got[i], kind->notFound) << i;
    EXPECT_RC(of().erase({0}), Rc::Ok);
  };
  for (const Kind *f : {&kBaseR, &kBaseV}) {
    layOutKind(*f, SNTR_LAYOUT_HASH, 0, 1);
    expectNone("never made");
    EXPECT_RC(of().add({0}, {1, "x"}), Rc::Ok);
    EXPECT_RC(of().setRC({0}, 1), Rc::Ok) << "tag 0 is a tag";
    EXPECT_RC(of().erase({0}), Rc::Ok);
    expectNone("deleted");
    activeNode(8);
    expectNone("no such kind");
  }
}

// A named entry is stored, an entry of 0 leaves what stands there; the first five are bounded.
TEST_F(SingleRecords, TheExportListChangesOnlyWhatItNames) {
  layOutKind(kBaseR, SNTR_LAYOUT_HASH, 0, 1);
  const std::uint64_t list = word(0x560 + 24 * SNTR_AREA_EXPORT_LIST + 16) + 8;
  std::uint32_t entries[58] = {0x8000, 0, 3};
  EXPECT_RC(sntrExportListOfChangedProperties(node, 0, entries), Rc::Ok);
  entries[0] = 0, entries[57] = 0x12345678;
  EXPECT_RC(sntrExportListOfChangedProperties(node, 0, entries), Rc::Ok);
  const std::pair<std::uint64_t, std::uint32_t> kept[] = {{0, 0x8000}, {1, 0}, {2, 3}, {57, 0x12345678}};
  for (const auto &[entry, value] : kept) EXPECT_EQ(static_cast<std::uint32_t>(word(list + 4 * entry)), value) << entry;
  sntrExportListOfChangedProperties(node, 0, reinterpret_cast<const std::uint32_t *>(bytes() + list - 4));
  EXPECT_EQ(static_cast<std::uint32_t>(word(list + 12)), 3U) << "each entry moves once";
  const Rc tooMany[] = {Rc::BadRCount, Rc::BadVCount, Rc::BadIRCount, Rc::BadIVCount, Rc::BadDependentCount};
  for (int i = 0; i < 5; ++i) {
    std::uint32_t one[58] = {};
    one[i] = 0x8001;
    EXPECT_RC(sntrExportListOfChangedProperties(node, 0, one), tooMany[i]);
  }
}

}  // namespace properties_test
