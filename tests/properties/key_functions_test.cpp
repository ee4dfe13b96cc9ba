// Digits, hashes, bucket indexes, primes and the order of keys: the format's worked examples, and what is refused.
#include <gtest/gtest.h>
#include <sntr/property_tables.h>

#include <string>

#include "layout/rc.h"
#include "properties/tag_hash.h"
#include "support/codes.h"

namespace properties_test {

using sntr::Rc;
using support::named;

std::uint64_t hashOf(std::uint64_t seed, const std::string &id) {
  return sntr::hashBytes(seed, reinterpret_cast<const std::uint8_t *>(id.data()), id.size());
}

TEST(Keys, AreTheDigitsFromTheLast) {
  const struct {
    std::uint64_t number;
    const char *key;
  } rows[] = {{0, "0"}, {7, "7"}, {1234, "4321"}, {1048576, "6758401"}, {~std::uint64_t{0}, "51615590737044764481"}};
  for (const auto &row : rows) {
    char key[32] = {};
    std::uint64_t length = 0;
    sntrConvertNumberToKey(row.number, key, &length);
    EXPECT_EQ(std::string(key, length), row.key) << row.number;
  }
  sntrConvertNumberToKey(5, nullptr, nullptr);
}

TEST(Hashes, MatchTheWorkedExamples) {
  const struct {
    const char *name;
    std::uint64_t seen, expected;
  } rows[] = {
      {"tag 1048576", sntr::hashTag(1048576), 1253798360594},
      {"tag 1234 and abc", hashOf(1234, "abc"), 1198207314},
      {"abc alone", hashOf(0, "abc"), 980398},
      {"tag 7 and ab", hashOf(7, "ab"), 77661},
      {"tag 5 and nothing", hashOf(5, ""), 5},
      {"nothing alone", hashOf(0, ""), 0},
      {"tag 5 and more than a word", hashOf(5, "abcdefghij"), 10036849710494355589u},
  };
  for (const auto &row : rows) EXPECT_EQ(row.seen, row.expected) << row.name;
}

TEST(Indexes, AreTheHashesModuloTheCounts) {
  std::uint64_t index = 0;
  EXPECT_RC(sntrGetHTIndexForTag(1234, 101, &index), Rc::Ok);
  EXPECT_EQ(index, 41U);
  EXPECT_RC(sntrGetHTIndexForTag(1234, 0, &index), Rc::BadBucketCount);
  EXPECT_RC(sntrGetHTIndexForTag(1234, 101, nullptr), Rc::NullOutput);

  std::uint64_t both = 0, tag = 0, id = 0;
  EXPECT_RC(sntrGetHTIndex(1234, "abc", 3, 101, 101, 53, &both, &tag, &id), Rc::Ok);
  EXPECT_EQ(both, 76U);
  EXPECT_EQ(tag, 41U);
  EXPECT_EQ(id, 4U);
  EXPECT_RC(sntrGetHTIndex(1, nullptr, 0, 1, 1, 1, &both, &tag, &id), Rc::NullID);
  EXPECT_RC(sntrGetHTIndex(1, "a", 1, 1, 1, 1, &both, nullptr, &id), Rc::NullOutput);
  EXPECT_RC(sntrGetHTIndex(1, "a", 1, 1, 1, 0, &both, &tag, &id), Rc::BadBucketCount);
  EXPECT_EQ(both, 76U) << "an output was stored by a call that failed";
}

TEST(Primes, GoUpFromTheWantedNumber) {
  const struct {
    std::uint64_t wanted, prime;
  } rows[] = {{1, 1}, {7, 7}, {9, 11}, {100, 101}, {0x8000, 32771}, {100000, 100003}};
  for (const auto &row : rows) {
    std::uint64_t prime = 0;
    sntrGetPrimeNumber(row.wanted, &prime);
    EXPECT_EQ(prime, row.prime) << row.wanted;
  }
  sntrGetPrimeNumber(5, nullptr);
}

TEST(KeyOrder, IsByTagThenLengthThenBytes) {
  const struct {
    const char *name;
    std::uint64_t tag1;
    std::string id1;
    std::uint64_t tag2;
    std::string id2;
    int sign;
  } rows[] = {
      {"lower tag", 6, "zz", 7, "a", -1},     {"higher tag", 8, "a", 7, "zz", 1},
      {"shorter first", 7, "b", 7, "aa", -1}, {"longer last", 7, "aa", 7, "b", 1},
      {"bytes", 7, "ab", 7, "aa", 1},         {"bytes are unsigned", 7, "\x7f", 7, "\x80", -1},
      {"equal", 7, "aa", 7, "aa", 0},         {"empty", 7, "", 7, "", 0},
  };
  for (const auto &row : rows) {
    std::int64_t order = 99;
    EXPECT_RC(sntrCompareTagID(row.tag1, row.id1.data(), row.id1.size(), row.tag2, row.id2.data(), row.id2.size(),
                               SNTR_KIND_IR, &order),
              Rc::Ok);
    EXPECT_EQ((order > 0) - (order < 0), row.sign) << row.name;
  }
}

TEST(KeyOrder, RefusesInThisOrder) {
  const struct {
    const char *name;
    std::uint64_t tag;
    const char *id;
    std::uint64_t length;
    std::uint32_t kind;
    bool output;
    Rc expected;
  } rows[] = {
      {"kind", 0x100001, nullptr, 0x1001, SNTR_KIND_R, false, Rc::BadKind},
      {"identifier", 0x100001, nullptr, 0x1001, 2, false, Rc::NullID},
      {"output", 0x100001, "a", 0x1001, 0x800, false, Rc::NullOrderOutput},
      {"tag", 0x100001, "a", 0x1001, SNTR_KIND_IV, true, Rc::TagTooLarge},
      {"length", 0x100000, "a", 0x1001, SNTR_KIND_IV, true, Rc::ComparedIDTooLong},
  };
  for (const auto &row : rows) {
    std::int64_t order = 99;
    std::int64_t *out = row.output ? &order : nullptr;
    EXPECT_RC(sntrCompareTagID(1, "a", 1, row.tag, row.id, row.length, row.kind, out), row.expected) << row.name;
    EXPECT_RC(sntrCompareTagID(row.tag, row.id, row.length, 1, "a", 1, row.kind, out), row.expected) << row.name;
    EXPECT_EQ(order, 99) << row.name;
  }
}

}  // namespace properties_test
