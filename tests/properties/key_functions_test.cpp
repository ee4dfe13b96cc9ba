// SPDX-License-Identifier: MIT
// Digits, hashes, bucket indexes, primes and the order of keys: the format's worked examples, and what is refused.
#include <gtest/gtest.h>
#include <sntr/property_tables.h>

#include <string>

#include "properties/tag_hash.h"
#include "support/codes.h"

namespace properties_test {

using sntr::Rc;

TEST(Keys, AreTheDigitsFromTheLast) {
  const std::pair<std::uint64_t, const char *> rows[] = {
      {0, "0"}, {7, "7"}, {1234, "4321"}, {1048576, "6758401"}, {~std::uint64_t{0}, "51615590737044764481"}};
  for (const auto &[number, digits] : rows) {
    char key[32] = {};
    std::uint64_t length = 0;
    sntrConvertNumberToKey(number, key, &length);
    EXPECT_EQ(std::string(key, length), digits) << number;
  }
  sntrConvertNumberToKey(5, nullptr, nullptr);
}

TEST(Keys, HashesMatchTheWorkedExamples) {
  const auto of = [](std::uint64_t seed, const std::string &id) {
    return sntr::hashBytes(seed, reinterpret_cast<const std::uint8_t *>(id.data()), id.size());
  };
  EXPECT_EQ(sntr::hashTag(1048576), 1253798360594u);
  EXPECT_EQ(sntr::hashTag(std::uint64_t{1} << 32), 245952462442427516u);
  EXPECT_EQ(of(1234, "abc"), 1198207314u);
  EXPECT_EQ(of(0, "abc"), 980398u);
  EXPECT_EQ(of(7, "ab"), 77661u);
  EXPECT_EQ(of(5, ""), 5u);
  EXPECT_EQ(of(0, ""), 0u);
  EXPECT_EQ(of(5, "abcdefghij"), 10036849710494355589u);
}

TEST(Keys, IndexesAreTheHashesModuloTheCounts) {
  std::uint64_t both = 0, tag = 0, id = 0;
  EXPECT_RC(sntrGetHTIndexForTag(1234, 101, &both), Rc::Ok);
  EXPECT_RC(sntrGetHTIndexForTag(1234, 0, &both), Rc::BadBucketCount);
  EXPECT_RC(sntrGetHTIndexForTag(1234, 101, nullptr), Rc::NullOutput);
  EXPECT_EQ(both, 41U);
  EXPECT_RC(sntrGetHTIndex(1234, "abc", 3, 101, 101, 53, &both, &tag, &id), Rc::Ok);
  EXPECT_RC(sntrGetHTIndex(1, nullptr, 0, 1, 1, 1, &both, &tag, &id), Rc::NullID);
  EXPECT_RC(sntrGetHTIndex(1, "a", 1, 1, 1, 1, &both, nullptr, &id), Rc::NullOutput);
  EXPECT_RC(sntrGetHTIndex(1, "a", 1, 1, 1, 0, &both, &tag, &id), Rc::BadBucketCount);
  EXPECT_TRUE(both == 76 && tag == 41 && id == 4) << both << " " << tag << " " << id;
}

TEST(Keys, HavePrimesFromTheWantedNumberUp) {
  const std::pair<std::uint64_t, std::uint64_t> rows[] = {{1, 1},     {7, 7},          {9, 11},
                                                          {100, 101}, {0x8000, 32771}, {100000, 100003}};
  for (const auto &[wanted, expected] : rows) {
    std::uint64_t prime = 0;
    sntrGetPrimeNumber(wanted, &prime);
    EXPECT_EQ(prime, expected) << wanted;
  }
  sntrGetPrimeNumber(5, nullptr);
}

TEST(Keys, AreOrderedByTagThenLengthThenBytes) {
  const std::pair<std::uint64_t, std::string> keys[] = {{6, "zz"},   {7, ""},   {7, "b"},  {7, "\x7f"},
                                                        {7, "\x80"}, {7, "aa"}, {7, "ab"}, {8, "a"}};
  for (const auto &one : keys) {
    for (const auto &[tag, id] : keys) {
      std::int64_t order = 99;
      EXPECT_RC(sntrCompareTagID(one.first, one.second.data(), one.second.size(), tag, id.data(), id.size(),
                                 SNTR_KIND_IR, &order),
                Rc::Ok);
      EXPECT_EQ((order > 0) - (order < 0), (&one.second > &id) - (&one.second < &id)) << one.second << ", " << id;
    }
  }
}

TEST(Keys, ComparisonRefusesInThisOrder) {
  std::int64_t order = 99;
  const auto expect = [](Rc rc, std::uint64_t tag, const char *id, std::uint32_t kind, std::int64_t *out) {
    EXPECT_RC(sntrCompareTagID(1, "a", 1, tag, id, 0x1001, kind, out), rc);
    EXPECT_RC(sntrCompareTagID(tag, id, 0x1001, 1, "a", 1, kind, out), rc);
  };
  expect(Rc::BadKind, 0x100001, nullptr, SNTR_KIND_R, nullptr);
  expect(Rc::NullID, 0x100001, nullptr, SNTR_OPTION_NODE_ID, nullptr);
  expect(Rc::NullOrderOutput, 0x100001, "a", SNTR_OPTION_DEPENDENTS, nullptr);
  expect(Rc::TagTooLarge, 0x100001, "a", SNTR_KIND_IV, &order);
  expect(Rc::ComparedIDTooLong, 0x100000, "a", SNTR_KIND_IV, &order);
  EXPECT_EQ(order, 99);
}

}  // namespace properties_test
