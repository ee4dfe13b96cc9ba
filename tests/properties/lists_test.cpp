// SPDX-License-Identifier: MIT
// What the model and the ladders leave: states of a node, what bounds a list, tables and slots alone, the export list.
#include <chrono>
#include <numeric>
#include <tuple>

#include "properties/kind_node.h"

namespace properties_test {

class RList : public FilledKindNode {
 protected:
  std::uint32_t layOut(std::uint32_t layout, std::uint64_t capacity, const std::vector<std::uint64_t> &tags) {
    const std::vector<std::int32_t> values(tags.size());
    return sntrCreateRPropertyList(node, tags.data(), values.data(), tags.size(), capacity, layout, 0);
  }
};

// Operations on a property of few bytes in nodes with few kinds, and with areas that are too small or were never laid
// out. V has a largest value of 16, if it is not what is tested.
TEST_F(RList, IsRefusedByTheStateOfItsNode) {
  constexpr std::uint64_t kEach = 0x17e0, kNone = SNTR_OPTION_EXPORT_LIST;
  using Expected = std::vector<std::pair<const char *, Rc>>;
  const std::tuple<const Kind &, std::uint64_t, std::uint64_t, Expected> rows[] = {
      {kV, 8, kNone, {{"gsrwpd", Rc::VNotFound}, {"tk", Rc::VNotInTable}, {"a", Rc::BadMaxValueSize}}},
      {kV, 0x500, kEach, {{"gsrwpBSdatck", Rc::BadMaxValueSize}}},
      {kIV, 8, kNone, {{"gsrwpd", Rc::IVNotFound}, {"tk", Rc::IVNotInTable}, {"a", Rc::BadMaxValueSize}}},
      {kBaseR, 8, kNone, {{"gsrwpBSd", Rc::BaseRNotFound}, {"a", Rc::NoBaseROption}}},
      {kBaseV, 8, kNone, {{"gsrwpBSd", Rc::BaseVNotFound}, {"a", Rc::NoBaseVOption}}},
      {kBaseR, 0x8f, kEach, {{"gsrwpBSdk", Rc::BaseRDamaged}, {"a", Rc::BaseRAreaTooSmall}}},
      {kBaseV, 0x1a8 + 15, kEach, {{"gsrwpBSd", Rc::BaseVNotFound}, {"a", Rc::BaseVAreaTooSmall}}},
      {kBaseV, 0x1a8 + 16, kEach, {{"agsrwpBSd", Rc::Ok}}},
      {kBaseV, 0x1a8, SNTR_KIND_BASE_V, {{"a", Rc::BaseVAreaTooSmall}}},
      {kBaseV, 0x1a8 + 1, SNTR_KIND_BASE_V, {{"agsrwpBSd", Rc::Ok}}},
      {kR, 8 + 0x90, kEach, {{"gsd", Rc::RNotFound}, {"agsr", Rc::Ok}, {"a", Rc::RExists}}},
      {kR, 8 + 0x8f, kEach, {{"a", Rc::RListFull}}},
      {kR, 7, kEach, {{"gsrwpd", Rc::RNotFound}}},  // what follows begins with a byte of V
      {kIR, 0x500, kEach, {{"a", Rc::IRListFull}}},
  };
  for (const auto &[tested, areaSize, options, expected] : rows) {
    createNode(tested, areaSize, true, options);
    if (&tested != &kV) setWord(word(kV.entry() + 16), 16);
    Arguments a{node, recordAt(area), {1, ""}, {1, "x"}};
    a.width = 0;
    for (const auto &[letters, rc] : expected) {
      for (const char each : std::string(letters)) EXPECT_RC(perform(each, a), rc) << text(each) << areaSize;
    }
  }
  createNode(kIV, 8, true, kNone);
  EXPECT_RC(of().erase({1, std::string(0x1001, 'a')}), Rc::IDTooLong) << "longer than in any list";
}

TEST_F(RList, CapacityAndTagsAreBounded) {
  const std::tuple<std::uint32_t, std::uint64_t, std::vector<std::uint64_t>, Rc, std::uint64_t> rows[] = {
      {SNTR_LAYOUT_HASH, ~std::uint64_t{0}, {}, Rc::BadBucketCount, 0},
      {SNTR_LAYOUT_HASH, 0x186a4, {}, Rc::BadBucketCount, 0},
      {SNTR_LAYOUT_HASH, 100003, {}, Rc::RTableAreaTooSmall, 0},
      {SNTR_LAYOUT_ARRAY, 9, {7}, Rc::RDamaged, 8 + 0x90},
      {SNTR_LAYOUT_ARRAY, 0, {}, Rc::Ok, 8},
      {SNTR_LAYOUT_ARRAY, 8, {7, 0x200000, 0x200000}, Rc::RExists, 0},
      {SNTR_LAYOUT_HASH, 5, {1, 2, 1, 0x100001}, Rc::RExists, 8 + 40 + 16 + 2 * 0x98},
      {SNTR_LAYOUT_HASH, 5, {1, 0x100001, 1}, Rc::TagTooLarge, 8 + 40 + 16 + 0x98}};
  for (const auto &[layout, capacity, tags, rc, bytes] : rows) {
    createNode(kR, 8 + 9 * 0x90 - 1);
    EXPECT_RC(layOut(layout, capacity, tags), rc) << "capacity " << capacity;
    EXPECT_EQ(used(), bytes) << "what was stored stays, and no more, " << named(rc);
    if (bytes != 0) EXPECT_RC(layOut(SNTR_LAYOUT_HASH, 1, {}), Rc::ListLaidOut);
  }
}

// The fastest of a few runs counts, and not what a busy machine adds. Linear is 16 times and quadratic 256 times as
// long; in between lie caches, which this test is not about.
TEST_F(RList, TimeGrowsWithTheNumberOfProperties) {
  for (const std::uint32_t layout : {SNTR_LAYOUT_ARRAY, SNTR_LAYOUT_HASH}) {
    createNode(kR, 0x18 + 0xa0 * 0x8100);
    const auto timeOf = [&](std::uint64_t count) {
      std::vector<std::uint64_t> tags(count);
      std::iota(tags.begin(), tags.end(), 1);
      auto best = std::chrono::nanoseconds::max();
      for (int i = 0; i < 5; ++i) {
        setWord(entry() + 8, 0);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_RC(layOut(layout, count, tags), Rc::Ok);
        best = std::min<std::chrono::nanoseconds>(best, std::chrono::steady_clock::now() - start);
      }
      return best;
    };
    const auto few = timeOf(0x800);
    EXPECT_LT(timeOf(0x8000), 64 * few) << "layout " << layout;
    EXPECT_RC(of().add({0x8001}, {}), Rc::Ok);
    EXPECT_RC(of().count(0, got.out), Rc::BadRCount) << "more than a list should have";
    EXPECT_EQ(got.out, 0x8001U);
  }
}

// The operations on a table alone do not ask for the condition of the node. Their search ends at a record, found or
// not.
TEST_F(RList, TableAlone) {
  fill(kR, SNTR_LAYOUT_HASH);
  node->nodeCondition = SNTR_CONDITION_ABANDONED;
  EXPECT_RC(sntrAddRPropertyToHashTable(node, 8, 1, 0), Rc::Ok);
  EXPECT_RC(sntrDeleteRPropertyFromHashTable(node, 4), Rc::Ok);
  const std::pair<std::uint64_t, std::uint64_t> rows[] = {{1, 2}, {4, 6}, {7, 8}, {9, 8}};
  for (const auto &[wanted, stopped] : rows) {
    EXPECT_RC(sntrFindRPropertyInHashTable(node, wanted, &got.record), Rc::RNotInTable);
    EXPECT_EQ(support::wordAt(got.record, 0), stopped) << wanted;
  }
  setWord(area, 5000);  // more buckets than fit
  EXPECT_RC(of().add({1}, {}), Rc::BadBucketCount) << "the list comes before the condition";
  EXPECT_RC(of().erase({1}), Rc::NodeAbandoned);
  layOutKind(kIR, SNTR_LAYOUT_HASH, 0x1000, 1);
  got.record = nullptr;
  EXPECT_RC(sntrFindIRPropertyInHashTable(node, 1, 1, "a", &got.record), Rc::IRNotInTable);
  EXPECT_EQ(got.record, nullptr) << "an empty bucket has no record";
  for (const char *id : {"baaaaaaa", "abbbbbbb"}) EXPECT_RC(of().add({1, id}, {}), Rc::Ok);
  EXPECT_EQ(word(bucket(0)), slot(1)) << "identifiers are ordered by their last byte";
}

TEST_F(RList, SlotsAreTakenAndFreed) {
  for (const Kind *each : support::kLists) {
    fill(*each, SNTR_LAYOUT_HASH);
    SCOPED_TRACE(where());
    const auto take = [&] { return sntrGetFreeSpaceOffsetForProperty(node, kind->selector(), &got.out); };
    const std::uint64_t freed = slot(3);
    EXPECT_RC(take(), Rc::Ok);
    EXPECT_EQ(got.out, freed);
    EXPECT_RC(sntrUpdateListOfFreedLLNodes(node, kind->selector(), &freed), Rc::Ok);
    EXPECT_RC(sntrGetNumberOfFreedLListNodes(node, kind->selector(), &got.out), Rc::Ok);
    EXPECT_RC(sntrGetMemoryStackSizeForHashTable(node, kind->selector(), &got.size), Rc::Ok);
    EXPECT_TRUE(got.out == 1 && got.size == 0x18) << got.out << " " << got.size;
    EXPECT_RC(take(), Rc::Ok);
    for (const std::uint64_t next : {area, area + 17, end - 16, end - slotSize(), ~std::uint64_t{0}}) {
      setWord(end - 16, next);
      EXPECT_RC(take(), Rc::NextFreeOutsideArea) << next;
      EXPECT_EQ(word(end - 16), next);
    }
    setWord(bucket(0), slot((end - slot(0)) / slotSize()));
    EXPECT_RC(run('g'), kind->damaged) << "a slot over the tail";
  }
}

TEST_F(RList, ABaseValueIsStoredFromItsOwnBytesWithinItsRoom) {
  fill(kBaseV, SNTR_LAYOUT_ARRAY);
  EXPECT_RC(sntrCreateBaseVProperty(node, 4, 2, bytes() + area + 0x1a8 + 1, 0), Rc::Ok);
  EXPECT_RC(of().get({4}, got.value, nodeSize), Rc::Ok);
  EXPECT_EQ(got.value.bytes, "ld");
  setWord(word(kV.entry() + 16), 2 * kMaxValue);
  EXPECT_RC(of().set({4}, {0, std::string(kMaxValue + 1, 'x')}), Rc::BaseVDamaged);
}

// A named entry is stored, an entry of 0 leaves what stands there; the first five are bounded.
TEST_F(RList, TheExportListChangesOnlyWhatItNames) {
  createNode(kBaseR, 0x90);
  const std::uint64_t areaSize = 0x560 + 24 * SNTR_AREA_EXPORT_LIST, list = word(areaSize + 16) + 8;
  const auto store = [&](std::size_t i, std::uint32_t value) {
    std::uint32_t entries[58] = {};
    entries[i] = value;
    return sntrExportListOfChangedProperties(node, 0, entries);
  };
  const Rc tooMany[] = {Rc::BadRCount, Rc::BadVCount, Rc::BadIRCount, Rc::BadIVCount, Rc::BadDependentCount};
  for (std::size_t i = 0; i < 5; ++i) EXPECT_RC(store(i, 0x8001), tooMany[i]);
  for (const auto &[i, value] : {std::pair(0ul, 0x8000u), {2, 3}, {57, 0x12345678}}) EXPECT_RC(store(i, value), Rc::Ok);
  EXPECT_RC(sntrExportListOfChangedProperties(node, 0, reinterpret_cast<std::uint32_t *>(bytes() + list - 4)), Rc::Ok);
  for (const auto &[i, value] : {std::pair(0ul, 0x8000u), {1, 0x8000}, {2, 3}, {3, 3}, {57, 0x12345678}}) {
    EXPECT_EQ(support::wordAt<std::uint32_t>(node, list + 4 * i), value) << i;
  }
  setWord(areaSize, 239);
  EXPECT_RC(store(57, 1), Rc::AreaOverused);
}

}  // namespace properties_test
