// The fast way through reading and writing a value returns what the full way returns, whatever the node's words hold.
// While tracing is on there is the full way alone; so each call is made twice, each time on the same damaged node.
#include <gtest/gtest.h>
#include <oss/trace.h>

#include <random>

#include "properties/kind_node.h"

namespace properties_test {
namespace {

constexpr std::uint64_t kProperties = 24;
constexpr int kRounds = 10000;

class FastWay : public KindNode {
 protected:
  struct Outcome {
    std::uint32_t rc;
    Value value;
    std::string left;  // the node's bytes afterwards
    bool operator==(const Outcome &) const = default;
  };

  void layOutMany(const Kind &wanted, std::uint32_t layout) {
    std::vector<std::pair<Key, Value>> initial;
    for (std::uint64_t i = 0; i < (wanted.isBase() ? 0 : kProperties); ++i) initial.push_back({keyOf(i), valueOf(i)});
    ASSERT_NO_FATAL_FAILURE(layOutKind(wanted, layout, 30 * 0x2c0 + 0x400, initial.size(), initial));
    if (wanted.isBase()) ASSERT_RC(of().add(keyOf(0), valueOf(0)), Rc::Ok);
    whole.assign(reinterpret_cast<const char *>(node), node->nodeSize);
    spots = {entry(), entry() + 8, entry() + 16, offsetof(SNodeCB_t, nodeOptions), offsetof(SNodeCB_t, nodeCondition)};
    for (const auto field :
         {offsetof(SNodeCB_t, concurrencyModel), latchesAt + offsetof(SNodeLatchBlock_t, latchVersion),
          latchesAt + offsetof(SNodeLatchBlock_t, writeInProgress)})
      spots.push_back(field);
    // The list's limits, its buckets and first records, and the tail.
    for (std::uint64_t at = area; at < area + 0x400 && at + 8 <= end; at += 8) spots.push_back(at);
    for (std::uint64_t at = end - 24; at < end; at += 8) spots.push_back(at);
  }

  // Tags of one to seven digits, some of them neighbours in one chain.
  static Key keyOf(std::uint64_t i) { return {i % 3 == 0 ? 12345 * i + 2 : 7 * i + 1, std::string(i % 8 + 1, 'a')}; }
  static Value valueOf(std::uint64_t i) {
    return {static_cast<std::int32_t>(i * 3), std::string(1 + i % kMaxValue, 'v')};
  }

  std::uint64_t otherThan(std::uint64_t x) {
    switch (random() % 7) {
      case 0:
        return 0;
      case 1:
        return x + random() % 3 - 1;
      case 2:
        return x + 8 * (random() % 64) - 256;
      case 3:
        return ~(random() % 32);
      case 4:
        return support::wordAt(whole.data(), bucket(random() % 16)) + slotSize() * (random() % 40);
      case 5:
        return keyOf(random() % kProperties).tag;
      default:
        return random() >> random() % 64;
    }
  }

  std::string damaged() {
    std::string image = whole;
    for (auto left = random() % 4; left != 0; --left) {
      const std::uint64_t at = spots[random() % 2 != 0 ? random() % 8 : random() % spots.size()];
      support::setWordAt(image.data(), at, otherThan(support::wordAt(image.data(), at)));
    }
    return image;
  }

  Outcome call(const std::string &image, bool writes, const Key &key, const Value &value, std::uint64_t held) {
    std::memcpy(static_cast<void *>(node), image.data(), image.size());
    Outcome outcome{0, value, {}};
    outcome.rc = writes ? of(held).set(key, value) : of(held).get(key, outcome.value, whole.size());
    outcome.left.assign(reinterpret_cast<const char *>(node), whole.size());
    return outcome;
  }

  static constexpr std::uint64_t latchesAt = offsetof(SNodeCB_t, primaryLatch);
  std::mt19937_64 random{std::random_device{}()};
  std::string whole;
  std::vector<std::uint64_t> spots;
};

TEST_F(FastWay, ReturnsWhatTheFullWayReturns) {
  const std::uint64_t seed = std::random_device{}();
  random.seed(seed);
  int fine = 0, refused = 0;
  for (const Kind *each : support::kAllKinds) {
    for (const std::uint32_t layout : {SNTR_LAYOUT_HASH, SNTR_LAYOUT_ARRAY}) {
      ASSERT_NO_FATAL_FAILURE(layOutMany(*each, layout));
      for (int round = 0; round < kRounds; ++round) {
        const std::string image = damaged();
        const Key key = random() % 8 != 0 ? keyOf(random() % kProperties) : Key{random() % 0x100003, "no"};
        const Value value{static_cast<std::int32_t>(random()), std::string(random() % (kMaxValue + 2), 'w')};
        const bool writes = random() % 2 != 0;
        const std::uint64_t held = random() % 6 == 0 ? 1 : 0;
        const Outcome fastWay = call(image, writes, key, value, held);
        ASSERT_RC(ossTraceOn("/dev/null"), Rc::Ok);
        const Outcome fullWay = call(image, writes, key, value, held);
        ASSERT_RC(ossTraceOff(), Rc::Ok);
        ASSERT_EQ(fastWay.rc, fullWay.rc) << where() << ", seed " << seed << ", round " << round;
        ASSERT_EQ(fastWay, fullWay) << where() << ", seed " << seed << ", round " << round;
        ++(fastWay.rc == 0 ? fine : refused);
      }
      std::memcpy(static_cast<void *>(node), whole.data(), whole.size());
    }
  }
  // Both happened often, or nothing was shown.
  EXPECT_GT(fine, kRounds);
  EXPECT_GT(refused, kRounds);
}

}  // namespace
}  // namespace properties_test
