// One process writes properties of all six kinds, another reads them: no value is ever seen half old and half new, and
// what stands beside a value belongs to it.
#include <set>
#include <thread>

#include "multiprocess/worker.h"
#include "support/kinds.h"

namespace multiprocess_test {
namespace {

using support::kBaseR, support::kBaseV, support::Kind, support::kIR, support::kIV, support::kR, support::kV;
using support::Key, support::Properties, support::Value;

constexpr std::uint64_t kMaxValue = 0x1000, kMaxID = 8, kCapacity = 5;
constexpr auto kTime = std::chrono::milliseconds(kSanitized ? 250 : 1000);  // for each layout
constexpr std::uint64_t kLeastRounds = kSanitized ? 20 : 200;

// The kinds with their keys. Tag 3 stands beside other identifiers too, so that its chains have several members.
const std::vector<std::pair<const Kind *, std::vector<Key>>> kKeys = {
    {&kR, {{1}, {3}}}, {&kV, {{1}, {3}}}, {&kIR, {{3, "a"}, {3, "bb"}, {4}}}, {&kIV, {{3}, {3, "bb"}, {4, "a"}}},
    {&kBaseR, {{2}}},  {&kBaseV, {{2}}}};

// What the writer's round of this number stores: a value of bytes is one letter throughout, and the letter tells the
// size; the result code tells the round.
std::size_t sizeOf(char letter) {
  const std::size_t sizes[] = {64, 0x1000, 1, 100, 0xfff, 64, 2000};
  return sizes[static_cast<std::size_t>(letter - 'a') % 7];
}
char letterOf(std::uint64_t round) { return static_cast<char>('a' + round % 26); }
Value valueOf(std::uint64_t round) {
  return {static_cast<std::int32_t>(round), std::string(sizeOf(letterOf(round)), letterOf(round))};
}
bool isWhole(const std::string &bytes) { return bytes == std::string(sizeOf(bytes[0]), bytes[0]); }

// A change of a value and its result code in one section; every third by taking the property away and adding it again,
// which moves it to another slot.
void change(const Properties &held, const Key &key, std::uint64_t round) {
  ASSERT_RC(sntrEnterCriticalSectionBeforeWrite(held.n, &held.n->primaryLatch), Rc::Ok);
  if (round % 3 == 0) {
    EXPECT_RC(held.erase(key), Rc::Ok) << round;
    EXPECT_RC(held.add(key, valueOf(round)), Rc::Ok) << round;
  } else {
    EXPECT_RC(held.set(key, valueOf(round)), Rc::Ok) << round;
  }
  EXPECT_RC(held.setRC(key, round), Rc::Ok) << round;
  ASSERT_RC(sntrExitCriticalSectionAfterWrite(held.n, &held.n->primaryLatch), Rc::Ok);
}

void writeAllKinds(const Task &task) {
  const Connection here(task);
  std::uint64_t round = 1;
  for (; !support::parentHasTold() && !testing::Test::HasFailure(); ++round) {
    for (const auto &[kind, keys] : kKeys) {
      for (const Key &key : keys) change({here.node, *kind, 1}, key, round);
    }
    if (round == 1) support::tellParent();
  }
  EXPECT_GT(round, kLeastRounds);
}
const PartName kWriter("write all kinds", writeAllKinds);

class AllKinds : public SharedSegment {
 protected:
  void createLists(std::uint32_t layout) {
    support::Sizes sizes{};
    sizes[SNTR_AREA_NODE_ID] = 3;  // areas begin at odd bytes
    sizes[SNTR_AREA_BASE_R] = 0x90, sizes[SNTR_AREA_BASE_V] = 0x1a8 + kMaxValue, sizes[SNTR_AREA_R] = 0x801;
    for (std::size_t i = SNTR_AREA_V; i <= SNTR_AREA_IV; ++i) sizes[i] = 0x300 + 7 * (0x250 + kMaxValue);
    createActiveNode(0x7e0, sizes);
    for (const Kind *kind : support::kLists) {
      ASSERT_RC((Properties{node, *kind}.create(layout, kCapacity, kMaxID, kMaxValue)), Rc::Ok) << kind->name;
    }
    for (const auto &[kind, keys] : kKeys) {
      for (const Key &k : keys) ASSERT_RC((Properties{node, *kind}.add(k, valueOf(0))), Rc::Ok) << kind->name;
    }
  }

  // Value and result code together, and a value alone; the round that was seen.
  std::uint64_t look(const Kind &kind, const Key &k) {
    const Properties held{node, kind, 1}, free{node, kind};
    Value pair, alone;
    std::uint64_t rc = 0;
    EXPECT_RC(sntrEnterCriticalSectionBeforeRead(node, &node->primaryLatch), Rc::Ok);
    EXPECT_RC(held.get(k, pair, kMaxValue), Rc::Ok);
    EXPECT_RC(held.getRC(k, rc), Rc::Ok);
    EXPECT_RC(sntrExitCriticalSectionAfterRead(node, &node->primaryLatch), Rc::Ok);
    EXPECT_RC(free.get(k, alone, kMaxValue), Rc::Ok);
    if (!kind.hasBytes()) {
      EXPECT_EQ(static_cast<std::uint64_t>(pair.number), rc);
      EXPECT_GE(alone.number, pair.number) << "a later look saw an earlier value";
    } else {
      EXPECT_TRUE(isWhole(pair.bytes) && isWhole(alone.bytes)) << pair.bytes.size() << " " << alone.bytes.size();
      EXPECT_EQ(pair.bytes[0], letterOf(rc));
    }
    return rc;
  }

  // The keys of one kind as they are copied out, with sizes that the writer gives.
  void expectKeys(const Kind &kind, const std::vector<Key> &keys) {
    const std::set<std::uint64_t> known{64, 0x1000, 1, 100, 0xfff, 2000};
    std::map<Key, std::uint64_t> found;
    EXPECT_RC((Properties{node, kind}.keys(found, keys.size(), kCapacity, kMaxID)), Rc::Ok) << kind.name;
    EXPECT_EQ(found.size(), keys.size()) << kind.name;
    for (const Key &k : keys) {
      EXPECT_EQ(found.count(k), 1u) << kind.name << " " << k.tag << " " << k.id;
      if (kind.hasBytes()) EXPECT_EQ(known.count(found[k]), 1u) << found[k];
    }
  }

  void lookAtAll() {
    for (const auto &[kind, keys] : kKeys) {
      for (const Key &k : keys) seen[{kind, k}].insert(look(*kind, k));
      expectKeys(*kind, keys);
    }
  }

  std::map<std::pair<const Kind *, Key>, std::set<std::uint64_t>> seen;  // the rounds
};

TEST_F(AllKinds, AreSeenWholeWhileAnotherProcessWritesThem) {
  createDomain(0x400000);
  createPool(0x100000);
  for (const std::uint32_t layout : {SNTR_LAYOUT_ARRAY, SNTR_LAYOUT_HASH}) {
    SCOPED_TRACE(layout == SNTR_LAYOUT_ARRAY ? "array" : "table");
    createLists(layout);
    Actor writer("write all kinds", task());
    ASSERT_TRUE(writer.waits());
    seen.clear();
    std::uint64_t rounds = 0;
    for (const auto end = Clock::now() + kTime; Clock::now() < end && !HasFailure(); ++rounds) {
      lookAtAll();
      std::this_thread::sleep_for(std::chrono::microseconds(rounds % 64));  // so that neither side waits for long
    }
    writer.tell();
    EXPECT_EQ(writer.result(), 0);
    EXPECT_GT(rounds, kLeastRounds);
    for (const auto &[k, values] : seen) EXPECT_GT(values.size(), kLeastRounds / 4) << k.first->name;
    ASSERT_RC(sntrDisclaimNode(&node, pool, SNTR_VERSION), Rc::Ok);
  }
}

}  // namespace
}  // namespace multiprocess_test
