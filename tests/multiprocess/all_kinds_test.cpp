// SPDX-License-Identifier: MIT
// One process writes properties of all six kinds and another reads them: no value is ever half old and half new, and
// the result code beside a value belongs to it.
#include <algorithm>
#include <map>
#include <set>

#include "multiprocess/shared_segment.h"

namespace multiprocess_test {
namespace {

using support::kBaseR, support::kBaseV, support::kIR, support::kIV, support::kR, support::kV;
using support::Key, support::Value;

constexpr std::uint64_t kMaxValue = 0x1000, kCapacity = 5;

// The kinds with their keys. Tag 3 also has other identifiers, so that its chains have several members.
const std::vector<std::pair<const Kind *, std::vector<Key>>> kKeys = {
    {&kR, {{1}, {3}}}, {&kV, {{1}, {3}}}, {&kIR, {{3, "a"}, {3, "bb"}, {4}}}, {&kIV, {{3}, {3, "bb"}, {4, "a"}}},
    {&kBaseR, {{2}}},  {&kBaseV, {{2}}}};

// The writer's value for a round: bytes are one letter throughout, which determines their size. The result code is the
// round.
constexpr std::uint64_t kSizes[] = {64, kMaxValue, 1, 100, kMaxValue - 1, 17, 2000};
char letterOf(std::uint64_t round) { return static_cast<char>('a' + round % 26); }
std::string bytesOf(char letter) { return std::string(kSizes[static_cast<std::size_t>(letter - 'a') % 7], letter); }
Value valueOf(std::uint64_t round) { return {static_cast<std::int32_t>(round), bytesOf(letterOf(round))}; }

// Changes a value and its result code in one section; every third time by deleting the property and adding it again,
// which moves it to another slot.
void change(const Properties &held, const Key &key, std::uint64_t round) {
  ASSERT_RC(sntrEnterCriticalSectionBeforeWrite(held.n, &held.n->primaryLatch), Rc::Ok);
  const bool moves = round % 3 == 0;
  if (moves) EXPECT_RC(held.erase(key), Rc::Ok) << round;
  EXPECT_RC(moves ? held.add(key, valueOf(round)) : held.set(key, valueOf(round)), Rc::Ok) << round;
  EXPECT_RC(held.setRC(key, round), Rc::Ok) << round;
  ASSERT_RC(sntrExitCriticalSectionAfterWrite(held.n, &held.n->primaryLatch), Rc::Ok);
}

struct AllKinds : SharedSegment {
  // Reads value and result code together, and a value alone; returns the observed round.
  std::uint64_t look(const Kind &kind, const Key &key) {
    const Properties held{node, kind, 1}, free{node, kind};
    Value pair, alone;
    std::uint64_t rc = 0;
    EXPECT_RC(sntrEnterCriticalSectionBeforeRead(node, &node->primaryLatch), Rc::Ok);
    EXPECT_RC(held.get(key, pair, kMaxValue), Rc::Ok);
    EXPECT_RC(held.getRC(key, rc), Rc::Ok);
    EXPECT_RC(sntrExitCriticalSectionAfterRead(node, &node->primaryLatch), Rc::Ok);
    EXPECT_RC(free.get(key, alone, kMaxValue), Rc::Ok);
    if (!kind.hasBytes()) {
      EXPECT_EQ(static_cast<std::uint64_t>(pair.number), rc);
      EXPECT_GE(alone.number, pair.number) << "a later look saw an earlier value";
    } else {
      EXPECT_TRUE(pair.bytes == bytesOf(letterOf(rc))) << pair.bytes.size() << pair.bytes[0] << " for round " << rc;
      EXPECT_TRUE(alone.bytes == bytesOf(alone.bytes[0])) << alone.bytes.size() << alone.bytes[0];
    }
    return rc;
  }

  // Checks the copied keys of one kind, with sizes that the writer uses.
  void expectKeys(const Kind &kind, const std::vector<Key> &keys) {
    std::map<Key, std::uint64_t> found;
    EXPECT_RC((Properties{node, kind}.keys(found, keys.size(), kind.isBase() ? 1 : kCapacity, kMaxID)), Rc::Ok)
        << kind.name;
    EXPECT_EQ(found.size(), keys.size()) << kind.name;
    for (const Key &key : keys) {
      EXPECT_TRUE(found.contains(key)) << kind.name << " " << key.tag << " " << key.id;
      if (kind.hasBytes()) EXPECT_NE(std::ranges::count(kSizes, found[key]), 0) << found[key];
    }
  }
};

TEST_F(AllKinds, AreSeenWholeWhileAnotherProcessWritesThem) {
  create(0x400000, 0x100000);
  for (const std::uint32_t layout : {SNTR_LAYOUT_ARRAY, SNTR_LAYOUT_HASH}) {
    SCOPED_TRACE(layout == SNTR_LAYOUT_ARRAY ? "array" : "table");
    createNode(layout, kCapacity, kMaxValue, 3);
    for (const auto &[kind, keys] : kKeys) {
      for (const Key &key : keys) ASSERT_RC((Properties{node, *kind}.add(key, valueOf(0))), Rc::Ok) << kind->name;
    }
    Child writer(connected([&] {
      for (std::uint64_t round = 1; *go == 0 && !HasFailure(); ++round, *ready = 1) {
        for (const auto &[kind, keys] : kKeys) {
          for (const Key &key : keys) change({node, *kind, 1}, key, round);
        }
      }
    }));
    ASSERT_TRUE(areReady(1));
    std::map<std::pair<const Kind *, Key>, std::set<std::uint64_t>> seen;  // the rounds
    const auto end = Clock::now() + std::chrono::milliseconds(kSanitized ? 250 : 1000);
    while (Clock::now() < end && !HasFailure()) {
      for (const auto &[kind, keys] : kKeys) {
        for (const Key &key : keys) seen[{kind, key}].insert(look(*kind, key));
        expectKeys(*kind, keys);
      }
      usleep(30);  // so that neither side waits long
    }
    *go = 1;
    EXPECT_EQ(writer.result(), 0);
    for (const auto &[key, values] : seen) EXPECT_GT(values.size(), kSanitized ? 5u : 50u) << key.first->name;
  }
}

}  // namespace
}  // namespace multiprocess_test
