// The R area as the processes that share it see it: literal bytes at literal offsets, for both layouts.
#include <gtest/gtest.h>
#include <oss/memory.h>
#include <sntr/nodes.h>
#include <sntr/properties.h>
#include <sntr/property_lists.h>
#include <sntr/values.h>

#include <cstring>
#include <vector>

namespace {

class RBytes : public ::testing::Test {
 protected:
  void SetUp() override {
    std::uint64_t sizes[64] = {};
    sizes[4] = 1;  // the areas before push the R area off its alignment
    sizes[6] = 0x18 + 3 * 0xa0 + 24;
    std::uint64_t size = 0;
    ASSERT_EQ(sntrCreateNodeInPM(&node, SNTR_KIND_R, sizes, &size, &address, 0x1317d17, 0x1317d17), 0U);
    ASSERT_EQ(sntrInitNode(&node, 0, 0, nullptr, nullptr, nullptr, 0, nullptr, nullptr, nullptr), 0U);
    ASSERT_EQ(sntrActivateNode(&node), 0U);
  }
  void TearDown() override { _ossMemFree(node, "test", 0); }

  void create(std::uint32_t layout, const std::vector<std::uint64_t> &tags, const std::vector<std::int32_t> &values) {
    ASSERT_EQ(sntrCreateRPropertyList(node, tags.data(), values.data(), tags.size(), 3, layout, 0), 0U);
  }

  template <class T>
  T at(std::uint64_t offset) const {
    T value{};
    std::memcpy(&value, reinterpret_cast<const char *>(node) + offset, sizeof(value));
    return value;
  }
  std::uint64_t word(std::uint64_t offset) const { return at<std::uint64_t>(offset); }
  std::uint64_t used() const { return word(0x560 + 6 * 24 + 8); }

  SNodeCB_t *node = nullptr;
  SNodeCB_t *address = nullptr;
  static constexpr std::uint64_t kArea = 0xb60 + 1;
  static constexpr std::uint64_t kEnd = kArea + 0x18 + 3 * 0xa0 + 24;
};

TEST_F(RBytes, Table) {
  create(1, {7, 1234, 0x100000}, {70, -2, INT32_MAX});  // with 3 buckets: 56, 7163062 and 1253798360594 modulo 3
  ASSERT_EQ(sntrSetRCForRProperty(node, 1234, 0x1122334455667788, 0), 0U);
  const std::uint64_t slots = kArea + 8 + 3 * 8;
  EXPECT_EQ(word(0x560 + 6 * 24 + 16), kArea);
  EXPECT_EQ(word(kArea), 3U);
  EXPECT_EQ(word(kArea + 8 + 8 * (56 % 3)), slots) << "the first of bucket 2 is tag 7";
  EXPECT_EQ(word(kArea + 8 + 8 * (7163062 % 3)), slots + 0x98) << "the first of bucket 1 is tag 1234";
  const std::uint64_t tags[] = {7, 1234, 0x100000};
  const std::int32_t values[] = {70, -2, INT32_MAX};
  const std::uint64_t rcs[] = {0, 0x1122334455667788, 0};
  const std::uint64_t nexts[] = {1253798360594 % 3 == 2 ? slots + 2 * 0x98 : 0, 0, 0};
  for (std::uint64_t i = 0; i < 3; ++i) {
    const std::uint64_t slot = slots + 0x98 * i;
    EXPECT_EQ(word(slot), nexts[i]) << "next of slot " << i;
    EXPECT_EQ(word(slot + 0x08), tags[i]) << "tag of slot " << i;
    EXPECT_EQ(word(slot + 0x10), rcs[i]) << "rc of slot " << i;
    EXPECT_EQ(at<std::int32_t>(slot + 0x18), values[i]) << "value of slot " << i;
  }
  EXPECT_EQ(word(kEnd - 16), slots + 3 * 0x98);
  EXPECT_EQ(word(kEnd - 8), 0U);
  EXPECT_EQ(used(), 8U + 3 * 8 + 16 + 3 * 0x98);
}

TEST_F(RBytes, StackOfFreedSlots) {
  create(1, {7, 1234, 9}, {0, 0, 0});
  const std::uint64_t slots = kArea + 8 + 3 * 8;
  ASSERT_EQ(sntrDeleteRProperty(node, 1234, 0), 0U);
  ASSERT_EQ(sntrDeleteRProperty(node, 7, 0), 0U);
  EXPECT_EQ(word(kEnd - 8), 2U);
  EXPECT_EQ(word(kEnd - 0x18), slots + 0x98) << "freed first";
  EXPECT_EQ(word(kEnd - 0x20), slots) << "freed last";
  EXPECT_EQ(word(kEnd - 16), slots + 3 * 0x98);
  EXPECT_EQ(used(), 8U + 3 * 8 + 16 + 0x98 + 2 * 8);
  EXPECT_EQ(at<std::int32_t>(0x50), 5) << "changes";
}

TEST_F(RBytes, Array) {
  create(0, {7, 0}, {70, 0});
  EXPECT_EQ(word(kArea), 0U);
  EXPECT_EQ(word(kArea + 8), 7U);
  EXPECT_EQ(word(kArea + 8 + 8), 0U);
  EXPECT_EQ(at<std::int32_t>(kArea + 8 + 16), 70);
  ASSERT_EQ(sntrAddRProperty(node, 9, -90, 0), 0U);
  EXPECT_EQ(word(kArea + 8 + 0x90), 9U) << "the second record was the first empty one";
  EXPECT_EQ(at<std::int32_t>(kArea + 8 + 0x90 + 16), -90);
  EXPECT_EQ(used(), 8U + 2 * 0x90);
}

}  // namespace
