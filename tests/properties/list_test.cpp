// Laying out R lists: what each layout stores, what is refused and in which order, and how time grows.
#include <chrono>
#include <numeric>
#include <tuple>

#include "properties/r_node.h"

namespace properties_test {

using RList = RNode;

TEST_F(RList, ArrayStoresEmptyRecordsUpToTheCapacity) {
  activeNode(8 + 0x90 * 4);
  std::memset(bytes() + area, 0x55, 8 + 0x90 * 4);
  EXPECT_RC(layOut(SNTR_LAYOUT_ARRAY, 4, {0, 7, 0}), Rc::Ok) << "empty records are not duplicates";
  const std::uint64_t expected[] = {0, 7, 0, 0};
  for (std::uint64_t i = 0; i < 4; ++i) EXPECT_EQ(word(area + 8 + 0x90 * i), expected[i]) << i;
  EXPECT_EQ(word(area + 8 + 0x90 * 3 + 16), 0U) << "an empty record has a value";
  EXPECT_EQ(word(kUsed), 8U + 0x90);
  EXPECT_EQ(changes(), 3) << "one for each record that was given";
}

TEST_F(RList, TwoEqualTags) {
  activeNode(0x4000);
  EXPECT_RC(layOut(SNTR_LAYOUT_ARRAY, 8, {7, 0x200000, 0x200000}), Rc::RExists) << "duplicates come first";
  EXPECT_RC(layOut(SNTR_LAYOUT_ARRAY, 8, {7, 0x200000}), Rc::TagTooLarge);
  EXPECT_EQ(word(kUsed), 0U) << "a refused array was laid out";
  EXPECT_RC(layOut(SNTR_LAYOUT_HASH, 8, {1, 2, 1, 3}), Rc::RExists);
  EXPECT_EQ(support::checkInvariants(node).values.size(), 2U) << "what was added before stays";
  activeNode(0x4000);
  EXPECT_RC(layOut(SNTR_LAYOUT_HASH, 8, {1, 0x100001, 1}), Rc::TagTooLarge) << "in input order";
}

TEST_F(RList, IsLaidOutOnce) {
  const std::pair<const char *, std::function<void()>> rows[] = {
      {"an empty array", [&] { layOut(SNTR_LAYOUT_ARRAY, 0); }},
      {"a table", [&] { layOut(SNTR_LAYOUT_HASH, 8, {7}); }},
      {"an add", [&] { add(7); }},
      {"an attempt that failed",
       [&] {
         layOut(SNTR_LAYOUT_HASH, 8, {7, 7});
       }},
  };
  for (const auto &[name, fill] : rows) {
    activeNode(0x4000);
    fill();
    const auto list = [&] { return std::tuple(std::string(bytes() + area, 0x4000), word(kUsed), changes()); };
    const auto before = list();
    EXPECT_RC(layOut(SNTR_LAYOUT_ARRAY, 8, {3}), Rc::ListLaidOut) << name;
    EXPECT_RC(layOut(SNTR_LAYOUT_HASH, 8, {3}), Rc::ListLaidOut) << name;
    EXPECT_RC(layOut(SNTR_LAYOUT_ARRAY, 8, {3, 3}), Rc::RExists) << name << ", and arguments come first";
    EXPECT_TRUE(list() == before) << name;
    ASSERT_RC(sntrAbandonNode(&node), Rc::Ok);
    EXPECT_RC(layOut(SNTR_LAYOUT_HASH, 8, {3}), Rc::NodeAbandoned) << name;
  }
}

TEST_F(RList, RefusesInThisOrder) {
  const std::uint64_t tag = 1;
  const std::int32_t value = 1;
  const auto create = [&](const std::uint64_t *tags, const std::int32_t *values, std::uint64_t count,
                          std::uint64_t capacity, std::uint32_t layout) {
    return sntrCreateRPropertyList(node, tags, values, count, capacity, layout, 0);
  };
  createNode(8, 0);
  expectCodes({
      {"node", sntrCreateRPropertyList(nullptr, &tag, &value, 1, 1, 0, 0), Rc::NullNode},
      {"option", create(nullptr, nullptr, 0x8001, 1, 9), Rc::NoROption},
  });
  createNode(8);
  expectCodes({
      {"count", create(nullptr, nullptr, 0x8001, 1, 9), Rc::BadRCount},
      {"capacity", create(nullptr, nullptr, 1, 0x8001, 9), Rc::BadRCount},
      {"tags", create(nullptr, nullptr, 1, 1, 9), Rc::NullTags},
      {"values", create(&tag, nullptr, 1, 1, 9), Rc::NullRegisterValues},
      {"layout", create(&tag, &value, 1, 1, 2), Rc::BadLayout},
      {"array too small", create(&tag, &value, 1, 1, 0), Rc::RAreaTooSmall},
      {"many buckets", create(nullptr, nullptr, 0, ~std::uint64_t{0}, 1), Rc::BadBucketCount},
      {"100004 buckets", create(nullptr, nullptr, 0, 0x186a4, 1), Rc::BadBucketCount},
      {"100003 buckets", create(nullptr, nullptr, 0, 100003, 1), Rc::RTableAreaTooSmall},
      {"few buckets", create(&tag, &value, 4, 2, 1), Rc::FewerBucketsThanProperties},
      {"condition", create(nullptr, nullptr, 0, 1, 0), Rc::NodeOnlyInitialized},
  });
  EXPECT_EQ(word(kUsed), 0U) << "a refused call laid something out";
  activeNode(7);
  expectCodes({{"no header", create(nullptr, nullptr, 0, 0, 0), Rc::RAreaTooSmall}});
  activeNode(0xa0 + 0x17);
  expectCodes({{"a byte short", create(nullptr, nullptr, 0, 1, 1), Rc::RTableAreaTooSmall}});
  activeNode(0xa0 + 0x18);
  expectCodes({{"just enough", create(nullptr, nullptr, 0, 1, 1), Rc::Ok}});
}

TEST_F(RList, CapacityBeyondTheAreaKeepsWhatWasStored) {
  activeNode(8 + 0x90 * 2 + 0x8f);
  EXPECT_RC(layOut(SNTR_LAYOUT_ARRAY, 3, {7}), Rc::RDamaged);
  EXPECT_EQ(get(7), 0);
}

// The fastest of a few runs, so that a busy machine does not count.
double secondsFor(const std::function<void()> &work) {
  double best = 1e9;
  for (int i = 0; i < 5; ++i) {
    const auto start = std::chrono::steady_clock::now();
    work();
    best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  return best;
}

TEST_F(RList, TimeGrowsWithTheNumberOfProperties) {
  for (const std::uint32_t layout : {SNTR_LAYOUT_ARRAY, SNTR_LAYOUT_HASH}) {
    double seconds[2] = {};
    const std::uint64_t counts[2] = {0x800, 0x8000};
    activeNode(0x18 + 0xa0 * 0x8100);
    for (int i = 0; i < 2; ++i) {
      std::vector<std::uint64_t> tags(counts[i]);
      std::iota(tags.begin(), tags.end(), 1);
      seconds[i] = secondsFor([&] {
        setWord(kUsed, 0);
        EXPECT_RC(layOut(layout, counts[i], tags), Rc::Ok);
      });
    }
    // Linear is 16 times and quadratic 256 times as long; in between lie caches, which this test is not about.
    EXPECT_LT(seconds[1], 64 * seconds[0]) << "layout " << layout;
  }
}

}  // namespace properties_test
