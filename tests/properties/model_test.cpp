// SPDX-License-Identifier: MIT
// Random operations on properties of each kind, lists in both layouts, held against a map and a count of slots: every
// answer, value and result code is compared, and at intervals all keys, and what holds for an R list at rest.
#include <algorithm>
#include <random>
#include <set>

#include "properties/kind_node.h"

namespace properties_test {
namespace {

constexpr int kOperations = SNTR_SANITIZED ? 20000 : 200000;
constexpr int kBetweenLooks = 1000;
constexpr std::uint64_t kBuckets = 7, kSlots = 80, kRecords = 20;  // 80 slots: some keys find none

class Model : public FilledKindNode {
 protected:
  // A table's slots share the rest of their area with the stack of freed ones, for which there is too little. Two of an
  // array's records are empty.
  void layOut(const Kind &wanted, std::uint32_t layout) {
    kind = &wanted, model.clear(), met.clear(), freed = 0;
    const bool asTable = layout == SNTR_LAYOUT_HASH;
    const std::uint64_t head = kind->tableHeader + 8 * kBuckets * kind->arrays + 16;
    const std::uint64_t table = head + kSlots * slotSize() + 8 * 3 + 3, array = kind->arrayHeader + kRecords * stride();
    std::vector<std::pair<Key, Value>> initial;
    for (std::uint64_t i = 0; i < (kind->isBase() ? 0 : asTable ? 5 : 7); ++i) {
      const Key key = i > 4 ? Key{} : kind->hasID() ? Key{3, {'a', "vwxyz"[i]}} : Key{tagOf(i + 1)};
      initial.emplace_back(key, makeValue());
      if (i < 5) model[key] = {initial.back().second, 0};
    }
    layOutKind(*kind, layout, asTable ? table : array, asTable ? kBuckets : kRecords, initial);
    tailRoom = isTable ? end - area - head : 0;
    places = isTable ? tailRoom / slotSize() : kRecords;
    handedOut = isTable ? model.size() : 0;
    counted = initial.size();
  }

  std::uint64_t below(std::uint64_t limit) { return random() % limit; }
  // Tags of one to seven digits.
  static std::uint64_t tagOf(std::uint64_t number) { return number % 3 == 0 ? number : number * 8065; }
  Key makeKey() {
    if (kind->isBase()) return {below(4)};
    if (!kind->hasID()) return {tagOf(below(isTable ? 130 : 40))};
    std::string id(below(kMaxID + 1), 'a');
    if (!id.empty()) id.back() = static_cast<char>('a' + below(2));
    return {below(isTable ? 8 : 6), id};
  }
  Value makeValue() {
    if (!kind->hasBytes()) return {static_cast<std::int32_t>(random()), ""};
    std::string text(1 + below(kMaxValue), '\0');
    std::ranges::generate(text, [&] { return static_cast<char>(random()); });
    return {0, text};
  }

  Rc expectedAdd(const Key &key) const {
    if (kind->isBase()) return Rc::Ok;
    if (model.count(key) != 0) return kind->exists;
    if (!isTable) return model.size() == places ? kind->full : Rc::Ok;
    return freed > 0 || handedOut < places ? Rc::Ok : Rc::NoRoomForSlot;
  }
  Rc expectedErase(const Key &key) const {
    if (model.count(key) == 0) return kind->isBase() && key.tag == 0 && model.empty() ? Rc::Ok : missing();
    const bool stackHasRoom = !isTable || tailRoom >= slotSize() * handedOut + 8 * (freed + 1);
    return stackHasRoom ? Rc::Ok : Rc::NoRoomForFreedSlot;
  }

  // In an array tag 0 marks an empty record: it can be added as often as one likes, and is never there. A base property
  // is replaced.
  void addOne(const Key &key) {
    const Value value = makeValue();
    const Rc expected = *met.insert(expectedAdd(key)).first;
    ASSERT_RC(of().add(key, value), expected);
    if (expected != Rc::Ok) return;
    ++counted;
    if (kind->isBase()) model.clear();
    if (key.tag == 0 && !isTable && !kind->isBase()) return;
    model[key] = {value, 0};
    freed > 0 ? --freed : handedOut += isTable ? 1 : 0;
  }
  void eraseOne(const Key &key) {
    const Rc expected = *met.insert(expectedErase(key)).first;
    ASSERT_RC(of().erase(key), expected);
    if (expected != Rc::Ok) return;
    counted += model.erase(key);
    freed += isTable ? 1 : 0;
  }
  // Sets a value, both by the record, or the result code.
  void setOne(const Key &key) {
    const Value value = makeValue();
    const std::uint64_t way = below(3), rc = random();
    const auto there = model.find(key);
    if (there == model.end()) {
      ASSERT_RC(of().set(key, value), kind->notFound);
      ASSERT_RC(of().setRC(key, rc), missing());
      return;
    }
    if (way == 0) ASSERT_RC(of().set(key, value), Rc::Ok);
    if (way == 1) ASSERT_RC(of().setBoth(recordOf(key), value, rc), Rc::Ok);
    if (way == 2) ASSERT_RC(of().setRC(key, rc), Rc::Ok);
    if (way != 2) there->second.first = value;
    if (way != 0) there->second.second = rc;
  }
  // A value becomes a part of itself.
  void setPart(const Key &key) {
    const auto there = model.find(key);
    if (there == model.end() || !kind->hasBytes()) return;
    std::string &all = there->second.first.bytes;
    const std::uint64_t shift = below(all.size()), size = 1 + below(all.size() - shift);
    const char *const own = reinterpret_cast<const char *>(recordOf(key)) + kind->stride(kMaxID, 0);
    ASSERT_RC((of().call<sntrSetValueForVProperty, sntrSetValueForIVProperty, sntrSetValueForBaseVProperty>(
                  key, size, own + shift, of().held)),
              Rc::Ok);
    all = all.substr(shift, size);
  }
  // Gets value and result code, each by the key, and both by the record.
  void getOne(const Key &key) {
    const auto found = model.find(key);
    const bool there = found != model.end();
    Value value, both;
    std::uint64_t rc = 0, rcToo = 0, size = 0;
    char bytes[kMaxValue];
    ASSERT_RC(of().get(key, value, kMaxValue), there ? Rc::Ok : kind->notFound);
    ASSERT_RC(of().getRC(key, rc), there ? Rc::Ok : missing());
    if (!there) return;
    ASSERT_RC(of().getBoth(recordOf(key), both.number, size, bytes, rcToo), Rc::Ok);
    both.bytes.assign(bytes, size);
    ASSERT_TRUE((found->second == std::pair{value, rc})) << value.number << value.bytes << ", " << rc;
    ASSERT_TRUE((found->second == std::pair{both, rcToo})) << both.number << both.bytes << ", " << rcToo;
  }

  void step() {
    const Key key = makeKey();
    SCOPED_TRACE(where() + ": " + std::to_string(key.tag) + " " + key.id);
    const std::uint64_t action = below(8);
    if (action < 2) return addOne(key);
    if (action < 3) return eraseOne(key);
    if (action < 5) return setOne(key);
    return action < 6 ? setPart(key) : getOne(key);
  }

  // Counts and copies keys, also into one entry too few.
  void expectKeys(const std::map<Key, std::uint64_t> &expected, std::uint64_t tag) {
    std::map<Key, std::uint64_t> found, fewer;
    EXPECT_RC(of().count(tag, got.out), tag == 0 || !expected.empty() ? Rc::Ok : kind->notInTable);
    EXPECT_EQ(got.out, expected.size());
    EXPECT_RC(of().keys(found, expected.size(), 256, kMaxID, tag), expected.empty() ? kind->notInTable : Rc::Ok);
    ASSERT_EQ(found, expected);
    if (expected.size() < 2) return;
    EXPECT_RC(of().keys(fewer, expected.size() - 1, expected.size() - 1, kMaxID, tag), Rc::Ok);
    EXPECT_TRUE(fewer.size() == expected.size() - 1 && std::ranges::includes(expected, fewer)) << "too few entries";
  }
  void compareAll() {
    ASSERT_EQ(static_cast<std::uint64_t>(changes()), counted);
    std::map<std::uint64_t, std::map<Key, std::uint64_t>> byTag;
    for (const auto &[key, property] : model) byTag[0][key] = byTag[key.tag][key] = property.first.bytes.size();
    std::map<Key, std::uint64_t> base;
    if (kind->isBase() && !model.empty()) ASSERT_RC(of().keys(base, 1, 1, 0), Rc::Ok);
    if (kind->isBase()) ASSERT_EQ(base, byTag[0]);
    for (std::uint64_t tag = 0; tag <= 10 && !kind->isBase(); ++tag) expectKeys(byTag[tag], tag);
    if (kind != &kR) return;
    const support::RListState state = support::checkInvariants(node);
    ASSERT_EQ(state.faults, "");
    ASSERT_EQ(state.values.size(), model.size());
    for (const auto &[key, property] : model) ASSERT_EQ(state.values.at(key.tag), property.first.number) << key.tag;
    ASSERT_TRUE(state.handedOut == handedOut && state.freed == freed) << state.handedOut << " " << state.freed;
  }

  std::mt19937_64 random{seedOfRun()};
  std::map<Key, std::pair<Value, std::uint64_t>> model;  // with result codes
  std::uint64_t tailRoom = 0;                            // bytes of the area that slots and stack share
  std::uint64_t places = 0, handedOut = 0, freed = 0, counted = 0;
  std::set<Rc> met;  // what adding and deleting has answered
};

TEST_F(Model, AnswersAsAMapWould) {
  for (const Kind *each : support::kAllKinds) {
    for (const std::uint32_t layout : {SNTR_LAYOUT_ARRAY, SNTR_LAYOUT_HASH}) {
      layOut(*each, layout);
      for (int i = 0; i < kOperations && !HasFailure(); ++i) {
        if (i % kBetweenLooks == 0) compareAll();
        step();
      }
      if (!HasFailure()) compareAll();
      EXPECT_EQ(met.size(), isTable ? 5u : kind->isBase() ? 2u : 4u) << where() << " refuses too little";
    }
  }
}

}  // namespace
}  // namespace properties_test
