// R lists whose words another process scribbled over: each operation ends, stays inside the node, and tells.
//
// The node is one private allocation, so the address sanitizer sees a step outside it.
#include <array>

#include "properties/r_node.h"

namespace properties_test {

class RDamage : public RNode {
 protected:
  // One bucket, slots with the tags 2, 4, 6 in this order, and one freed slot behind them.
  void damagedTable() {
    table(1, 6, {2});
    for (const std::uint64_t tag : {4U, 6U, 8U}) add(tag);
    remove(8);
    first = area + 16;
  }

  std::uint64_t slot(std::uint64_t index) const { return first + 0x98 * index; }

  // The answers of all operations; each must come back, whatever the words hold.
  std::vector<std::uint32_t> runEverything() {
    std::array<std::uint64_t, 8> out = {};
    std::int32_t value = 0;
    std::int32_t *address = nullptr;
    SNodeProperty_t *record = nullptr;
    auto *const kept = reinterpret_cast<SNodeProperty_t *>(bytes() + slot(1) + 8);
    return {
        sntrGetValueForRProperty(node, 6, &value, 0),
        sntrSetValueForRProperty(node, 5, 1, 0),
        sntrGetAddressForRProperty(node, 7, &record),
        sntrGetAddressForRPropertyValue(node, 4, &address),
        sntrGetValueAndRCForRProperty(node, kept, &value, out.data(), 0),
        sntrSetValueAndRCForRProperty(node, kept, 1, 1, 0),
        sntrGetRCForRProperty(node, 2, out.data(), 0),
        sntrSetRCForRProperty(node, 2, 1, 0),
        sntrReturnRPropertyCount(node, 0, out.data(), 0),
        sntrReturnRPropertyCount(node, 6, out.data(), 0),
        sntrReturnRProperties(node, out.data(), 0, out.size(), 0),
        sntrReturnRProperties(node, out.data(), 6, out.size(), 0),
        sntrGetFirstRPropertyLocation(node, &record, &out[0], &out[1]),
        sntrGetNumberOfFreedLListNodes(node, SNTR_KIND_R, out.data()),
        sntrAddRProperty(node, 7, 1, 0),
        sntrAddRProperty(node, 9, 1, 0),
        sntrDeleteRProperty(node, 2, 0),
        sntrDeleteRProperty(node, 6, 0),
        sntrCreateRPropertyList(node, nullptr, nullptr, 0, 3, SNTR_LAYOUT_HASH, 0),
    };
  }

  std::uint64_t first = 0;
};

TEST_F(RDamage, EachWordWithEachWildValue) {
  damagedTable();
  const std::string whole = content();
  std::vector<std::uint64_t> words = {kSize,    kUsed,         kOffset,        0x20,          area,
                                      area + 8, areaEnd() - 8, areaEnd() - 16, areaEnd() - 24};
  for (std::uint64_t i = 0; i < 4; ++i) words.insert(words.end(), {slot(i), slot(i) + 8});
  const std::vector<std::uint64_t> wild = {0,
                                           1,
                                           2,
                                           3,
                                           8,
                                           0x98,
                                           area - 8,
                                           area,
                                           area + 8,
                                           slot(0),
                                           slot(1),
                                           slot(2),
                                           slot(3),
                                           slot(4),
                                           slot(1) + 1,
                                           areaEnd() - 16,
                                           areaEnd(),
                                           word(0x20) - 8,
                                           word(0x20),
                                           0x8000,
                                           0x8001,
                                           0x186a3,
                                           0x186a4,
                                           0x4000000,
                                           0x4000001,
                                           std::uint64_t{1} << 63,
                                           ~std::uint64_t{0} - 7,
                                           ~std::uint64_t{0}};
  for (const std::uint64_t at : words) {
    for (const std::uint64_t value : wild) {
      setWord(at, value);
      for (const std::uint32_t rc : runEverything()) {
        EXPECT_NE(sntr::findResultCode(rc), nullptr) << named(rc) << ", word " << at << " = " << value;
      }
      restore(whole);
    }
  }
  EXPECT_EQ(faults(), "");
}

TEST_F(RDamage, IsToldByItsCode) {
  damagedTable();
  const std::string whole = content();
  const std::uint64_t end = areaEnd();
  std::uint64_t out = 0;
  const auto addNew = [&] { return sntrAddRProperty(node, 7, 1, 0); };
  const auto removeLast = [&] { return sntrDeleteRProperty(node, 6, 0); };
  const auto find = [&] { return sntrGetRCForRProperty(node, 6, &out, 0); };
  const auto count = [&] { return sntrReturnRPropertyCount(node, 0, &out, 0); };
  const struct {
    const char *name;
    std::uint64_t at, value;
    std::function<std::uint32_t()> call;
    Rc expected;
  } rows[] = {
      {"buckets beyond the limit", area, 0x186a4, find, Rc::BadBucketCount},
      {"buckets that do not fit", area, 500, find, Rc::BadBucketCount},
      {"bucket to the header", area + 8, area, find, Rc::RDamaged},
      {"bucket between slots", area + 8, slot(1) + 8, find, Rc::RDamaged},
      {"bucket to a slot never used", area + 8, slot(4), find, Rc::RDamaged},
      {"bucket outside the node", area + 8, ~std::uint64_t{0} - 3, find, Rc::RDamaged},
      {"slot that follows itself", slot(1), slot(1), find, Rc::RDamaged},
      {"loop of two", slot(1), slot(0), count, Rc::RDamaged},
      {"last slot leads outside", slot(2), end, count, Rc::RDamaged},
      {"delete must not spread a bad link", slot(2), slot(2) + 1, removeLast, Rc::RDamaged},
      {"delete must not leave a slot that leads to itself", slot(2), slot(2), removeLast, Rc::RDamaged},
      {"next free slot below the slots", end - 16, area, find, Rc::RDamaged},
      {"freed count", end - 8, 0x8001, addNew, Rc::BadFreedStack},
      {"freed count beyond the area", end - 8, 0x7000, addNew, Rc::BadFreedStack},
      {"freed slot in the buckets", end - 24, area + 8, addNew, Rc::NoRoomForSlot},
      {"freed slot never used", end - 24, slot(4), addNew, Rc::NoRoomForSlot},
      {"freed slot outside", end - 24, ~std::uint64_t{0}, addNew, Rc::NoRoomForSlot},
      {"stack meets the slots", end - 16, end - 24, removeLast, Rc::NoRoomForFreedSlot},
      {"less used than a word", kUsed, 0, addNew, Rc::BadFreedStack},
      {"less used than a slot", kUsed, 16, removeLast, Rc::RDamaged},
      {"more used than there is", kUsed, word(kSize) + 1, find, Rc::AreaOverused},
      {"area too large", kSize, 0x4000001, find, Rc::AreaOutsideNode},
      {"area gone", kOffset, 0, find, Rc::AreaNeverCreated},
      {"area behind the node", kOffset, word(0x20) - 8, find, Rc::AreaOutsideNode},
  };
  for (const auto &row : rows) {
    setWord(row.at, row.value);
    const std::string before = content().substr(area, word(0x20) - area);
    EXPECT_EQ(named(row.call()), named(row.expected)) << row.name;
    EXPECT_EQ(content().substr(area, word(0x20) - area), before) << row.name << ": something was changed";
    restore(whole);
  }
}

TEST_F(RDamage, FreshSlotsEndBelowTheStack) {
  table(1, 6, {2});
  const std::uint64_t end = areaEnd();
  for (const std::uint64_t next : {area, area + 17, end - 16, end - 0x98, ~std::uint64_t{0}}) {
    setWord(end - 16, next);
    std::uint64_t offset = 0;
    EXPECT_EQ(named(sntrGetFreeSpaceOffsetForProperty(node, SNTR_KIND_R, &offset)), named(Rc::NextFreeOutsideArea))
        << next;
    EXPECT_EQ(word(end - 16), next);
  }
}

TEST_F(RDamage, AnArrayCountsNoMoreThanItHolds) {
  array(3, {1, 2, 3});
  const std::string whole = content();
  for (const std::uint64_t used : {std::uint64_t{0}, std::uint64_t{7}, std::uint64_t{8}, word(kSize)}) {
    setWord(kUsed, used);
    std::uint64_t count = 9;
    EXPECT_EQ(named(sntrReturnRPropertyCount(node, 0, &count, 0)), named(Rc::Ok));
    EXPECT_EQ(count, used > 8 ? 3U : 0U) << used;
    std::int32_t value = 0;
    EXPECT_EQ(named(sntrGetValueForRProperty(node, 3, &value, 0)), named(used > 8 ? Rc::Ok : Rc::RNotFound)) << used;
    restore(whole);
  }
}

}  // namespace properties_test
