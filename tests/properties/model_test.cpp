// Random operations on lists of each kind in both layouts, held against a map and a count of slots: every answer, value
// and result code is compared, and at intervals all keys, and what holds for an R list at rest.
//
// SNTR_TEST_SEED replays a run; the seed is printed.
#include <cstdlib>
#include <random>
#include <set>

#include "properties/kind_node.h"

namespace properties_test {
namespace {

constexpr int kOperations = SNTR_SANITIZED ? 20000 : 300000;
constexpr int kBetweenLooks = 1000;
constexpr std::uint64_t kBuckets = 53, kSlots = 80, kRecords = 20;  // 80 slots: some keys find none

struct Property {
  Value value;
  std::uint64_t rc = 0;
};

class Model : public KindNode, public testing::WithParamInterface<std::tuple<const Kind *, std::uint32_t>> {
 protected:
  void SetUp() override {
    const char *const given = std::getenv("SNTR_TEST_SEED");
    const std::uint64_t seed = given != nullptr ? std::strtoull(given, nullptr, 0) : std::random_device{}();
    std::printf("SNTR_TEST_SEED=%llu replays this run\n", static_cast<unsigned long long>(seed));
    random.seed(seed);
    kind = std::get<0>(GetParam());
    layOut(std::get<1>(GetParam()));
  }

  // A table's slots share the rest of their area with the stack of freed ones, for which there is too little.
  void layOut(std::uint32_t layout) {
    const std::uint64_t head = kind->tableHeader + 8 * kBuckets * kind->arrays + 16;
    const std::uint64_t table = head + kSlots * slotSize() + 8 * 3 + 3;
    std::vector<std::pair<Key, Value>> initial;
    for (std::uint64_t i = 1; i <= 5; ++i) {
      initial.emplace_back(kind->hasID() ? Key{3, std::string(i, 'a')} : Key{i}, makeValue());
      model[initial.back().first] = {initial.back().second};
    }
    if (layout == SNTR_LAYOUT_HASH) layOutKind(*kind, layout, table, kBuckets, initial);
    if (layout == SNTR_LAYOUT_ARRAY)
      layOutKind(*kind, layout, kind->arrayHeader + kRecords * stride(), kRecords, initial);
    tailRoom = isTable ? end - area - head : 0;
    places = isTable ? tailRoom / slotSize() : (end - area - kind->arrayHeader) / stride();
    handedOut = isTable ? model.size() : 0;
    counted = changes();
    EXPECT_EQ(counted, 5) << "one for each initial property";
  }

  std::uint64_t below(std::uint64_t limit) { return random() % limit; }
  Key makeKey() {
    if (!kind->hasID()) return {below(isTable ? 130 : 40)};
    return {below(isTable ? 10 : 6), std::string(below(kMaxID + 1), static_cast<char>('a' + below(2)))};
  }
  Value makeValue() {
    if (!kind->hasBytes()) return {static_cast<std::int32_t>(random()), ""};
    return {0, std::string(1 + below(kMaxValue), static_cast<char>(random()))};
  }

  Rc expectedAdd(const Key &key) const {
    if (model.count(key) != 0) return kind->exists;
    if (!isTable) return model.size() == places ? kind->full : Rc::Ok;
    return freed > 0 || handedOut < places ? Rc::Ok : Rc::NoRoomForSlot;
  }
  Rc expectedErase(const Key &key) const {
    if (model.count(key) == 0) return missing();
    const bool stackHasRoom = !isTable || tailRoom >= slotSize() * handedOut + 8 * (freed + 1);
    return stackHasRoom ? Rc::Ok : Rc::NoRoomForFreedSlot;
  }
  Rc missing() const { return isTable ? kind->notInTable : kind->notFound; }

  // What the lists are small enough to refuse.
  void expectRefusalsMet() const {
    const std::set<Rc> ofTable{Rc::NoRoomForSlot, Rc::NoRoomForFreedSlot, kind->exists, kind->notInTable, Rc::Ok};
    const std::set<Rc> ofArray{kind->full, kind->exists, kind->notFound, Rc::Ok};
    for (const Rc each : isTable ? ofTable : ofArray) EXPECT_EQ(met.count(each), 1u) << named(each);
  }

  // In an array tag 0 marks an empty record: it can be added as often as one likes, and is never there.
  void addOne(const Key &key) {
    const Value value = makeValue();
    const Rc expected = *met.insert(expectedAdd(key)).first;
    ASSERT_RC(of().add(key, value), expected);
    if (expected != Rc::Ok) return;
    ++counted;
    if (key.tag == 0 && !isTable) return;
    model[key] = Property{value};
    freed > 0 ? --freed : handedOut += isTable ? 1 : 0;
  }
  void eraseOne(const Key &key) {
    const Rc expected = *met.insert(expectedErase(key)).first;
    ASSERT_RC(of().erase(key), expected);
    if (expected != Rc::Ok) return;
    ++counted;
    model.erase(key);
    freed += isTable ? 1 : 0;
  }
  void setOne(const Key &key) {
    const Value value = makeValue();
    const bool there = model.count(key) != 0;
    ASSERT_RC(of().set(key, value), there ? Rc::Ok : kind->notFound);
    if (there) model[key].value = value;
  }
  void setRCOfOne(const Key &key) {
    const std::uint64_t rc = random();
    const bool there = model.count(key) != 0;
    ASSERT_RC(of().setRC(key, rc), there ? Rc::Ok : missing());
    if (there) model[key].rc = rc;
  }
  void getOne(const Key &key) {
    Value value;
    std::uint64_t rc = 0;
    const auto found = model.find(key);
    const bool there = found != model.end();
    ASSERT_RC(of().get(key, value, kMaxValue), there ? Rc::Ok : kind->notFound);
    ASSERT_RC(of().getRC(key, rc), there ? Rc::Ok : missing());
    if (there)
      ASSERT_TRUE(value == found->second.value && rc == found->second.rc) << value.number << " " << value.bytes;
  }

  void step() {
    const Key key = makeKey();
    SCOPED_TRACE(where() + ": " + std::to_string(key.tag) + " " + key.id);
    const std::uint64_t action = below(8);
    if (action < 2) return addOne(key);
    if (action < 3) return eraseOne(key);
    if (action < 4) return setOne(key);
    return action < 5 ? setRCOfOne(key) : getOne(key);
  }

  void compareAll() {
    std::uint64_t count = 0;
    ASSERT_RC(of().count(0, count), Rc::Ok);
    ASSERT_EQ(count, model.size());
    ASSERT_EQ(changes(), counted);
    std::map<Key, std::uint64_t> found, expected;
    std::map<std::uint64_t, std::uint64_t> byTag;
    for (const auto &[key, property] : model) expected[key] = property.value.bytes.size(), ++byTag[key.tag];
    EXPECT_RC(of().keys(found, count, 256, kMaxID), count == 0 ? kind->notInTable : Rc::Ok);
    ASSERT_EQ(found, expected);
    for (std::uint64_t tag = 1; tag <= 10; ++tag) {
      EXPECT_RC(of().count(tag, count), byTag[tag] != 0 ? Rc::Ok : kind->notInTable);
      if (byTag[tag] != 0) EXPECT_EQ(count, byTag[tag]) << tag;
    }
    if (kind == &kR) compareList();
  }
  void compareList() {
    const support::RListState state = support::checkInvariants(node);
    ASSERT_EQ(state.faults, "");
    ASSERT_EQ(state.values.size(), model.size());
    for (const auto &[key, property] : model) ASSERT_EQ(state.values.at(key.tag), property.value.number) << key.tag;
    ASSERT_EQ(state.handedOut, handedOut);
    ASSERT_EQ(state.freed, freed);
  }

  std::mt19937_64 random;
  std::map<Key, Property> model;
  std::uint64_t tailRoom = 0;  // bytes of the area that slots and stack share
  std::uint64_t places = 0, handedOut = 0, freed = 0;
  std::int32_t counted = 0;
  std::set<Rc> met;  // what adding and deleting has answered
};

TEST_P(Model, AnswersAsAMapWould) {
  for (int i = 0; i < kOperations && !HasFailure(); ++i) {
    if (i % kBetweenLooks == 0) compareAll();
    step();
  }
  if (!HasFailure()) compareAll(), expectRefusalsMet();
}

INSTANTIATE_TEST_SUITE_P(, Model,
                         testing::Combine(testing::ValuesIn(support::kLists),
                                          testing::Values(SNTR_LAYOUT_ARRAY, SNTR_LAYOUT_HASH)),
                         [](const auto &row) {
                           return std::string(std::get<0>(row.param)->name) +
                                  (std::get<1>(row.param) == SNTR_LAYOUT_HASH ? "Table" : "Array");
                         });

}  // namespace
}  // namespace properties_test
