// SPDX-License-Identifier: MIT
// A node in private memory with an area of one kind and its neighbours, and verbs for what the cases do with it.
#pragma once

#include <oss/fault.h>
#include <oss/memory.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>

#include "support/kinds.h"
#include "support/nodes.h"
#include "support/property_invariants.h"
#include "support/words.h"

namespace properties_test {

using sntr::Rc;
using support::kBaseR, support::kBaseV, support::kIR, support::kIV, support::Kind, support::kR, support::kV;
using support::Key, support::named, support::Properties, support::Value;

// In the rooms, half of the lists begin at an odd byte. Only aligned ones are read and written on the fast way, which
// the shipped libraries are tested for.
#ifdef SNTR_SHIPPED
constexpr bool kAligned = true;
#else
constexpr bool kAligned = false;
#endif

// Returns a seed and prints it; SNTR_TEST_SEED replays a run.
inline std::uint64_t seedOfRun() {
  const char *const given = std::getenv("SNTR_TEST_SEED");
  const std::uint64_t seed = given != nullptr ? std::strtoull(given, nullptr, 0) : std::random_device{}();
  std::printf("SNTR_TEST_SEED=%llu replays this run\n", static_cast<unsigned long long>(seed));
  return seed;
}

class FilledKindNode : public ::testing::Test {
 protected:
  static constexpr std::uint64_t kMaxID = 8, kMaxValue = 136;

  void TearDown() override {
    ossFaultDisarm();
    EXPECT_EQ(_ossMemFree(node, "test", 0), 0U);
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0) << "a latch is still held";
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldBlocks), 0) << "memory was leaked";
  }

  // An active node with areas of every kind, the wanted one's of a size of its own.
  void createNode(const Kind &wanted, std::uint64_t areaSize, bool odd = true, std::uint64_t options = 0x17e0) {
    EXPECT_EQ(_ossMemFree(node, "test", 0), 0U);
    support::Sizes sizes{};
    sizes[0] = odd && !kAligned ? 67 : 72, sizes[4] = 0x98, sizes[5] = 0x1a8 + kMaxValue, sizes[11] = 240;
    sizes[6] = sizes[7] = sizes[8] = sizes[9] = 0x500, sizes[63] = 67;
    sizes[wanted.area] = areaSize;
    node = support::newPrivateNode(options, sizes);
    support::activate(node);
    kind = &wanted, isTable = false, nodeSize = node->nodeSize;
    area = word(entry() + 16), end = area + areaSize;
  }

  // An empty list of the kind, or with initial properties. For a base kind, lays out V, whose limit is its own.
  void layOutKind(const Kind &wanted, std::uint32_t layout, std::uint64_t areaSize, std::uint64_t capacity,
                  const std::vector<std::pair<Key, Value>> &initial = {}) {
    const bool isList = !wanted.isBase();
    createNode(wanted, isList ? areaSize : wanted.stride(0, kMaxValue), (wanted.area / 2 + layout) % 2 != 0);
    isTable = layout == SNTR_LAYOUT_HASH && isList;
    if (!initial.empty()) std::memset(bytes() + area, 0x55, end - area);
    const Properties laidOut{node, isList ? wanted : kV};
    ASSERT_RC(laidOut.create(layout, isList ? capacity : 0, kMaxID, kMaxValue, initial), Rc::Ok);
  }

  Properties of(std::uint64_t held = 0) const { return {node, *kind, held}; }
  std::string where() const { return std::string(kind->name) + (isTable ? " table" : " array"); }

  std::uint64_t entry() const { return kind->entry(); }
  std::uint64_t used() const { return word(entry() + 8); }
  std::uint64_t stride() const { return kind->stride(kMaxID, kMaxValue); }
  std::uint64_t slotSize() const { return kind->chain + stride(); }
  std::uint64_t bucket(std::uint64_t array) const { return area + kind->tableHeader + 8 * array; }
  std::int32_t changes() const { return support::wordAt<std::int32_t>(node, 0x50); }
  std::string faults() const { return support::checkInvariants(node).faults; }
  Rc missing() const { return isTable ? kind->notInTable : kind->notFound; }

  // Words of the node by their offset from its start, and records by theirs.
  char *bytes() const { return reinterpret_cast<char *>(node); }
  std::uint64_t word(std::uint64_t offset) const { return support::wordAt(node, offset); }
  void setWord(std::uint64_t offset, std::uint64_t value) { support::setWordAt(node, offset, value); }
  std::string content() const { return {bytes(), nodeSize}; }
  void restore(const std::string &content) { std::memcpy(bytes(), content.data(), content.size()); }
  SNodeProperty_t *recordAt(std::uint64_t offset) const {
    return reinterpret_cast<SNodeProperty_t *>(reinterpret_cast<std::uintptr_t>(node) + offset);
  }
  SNodeProperty_t *recordOf(const Key &key) {
    EXPECT_RC(of().record(key, got.record), Rc::Ok);
    return got.record;
  }

  // Three properties, each in the one bucket of every array of a table, and a place that was freed behind them.
  void fill(const Kind &wanted, std::uint32_t layout) {
    layOutKind(wanted, layout, 0x60 + 6 * (0x250 + kMaxValue) + 0x25, 0);
    for (const Key &key : {Key{2, "a"}, Key{4, "bb"}, Key{6, "c"}, Key{8, "d"}}) {
      if (!kind->isBase() || key.tag == 4) ASSERT_RC(of().add(key, {7, "old"}), Rc::Ok) << where();
    }
    if (!kind->isBase()) ASSERT_RC(of().erase({8, "d"}), Rc::Ok) << where();
  }

  // Works on a node of each kind in each layout.
  template <std::size_t count, class Work>
  void forEachFilled(const Kind *const (&kinds)[count], const Work &work) {
    for (const Kind *each : kinds) {
      for (const std::uint32_t layout : {SNTR_LAYOUT_ARRAY, SNTR_LAYOUT_HASH}) {
        fill(*each, layout);
        SCOPED_TRACE(where());
        work();
      }
    }
  }

  // The arguments of the operations below, as far as each has them.
  struct Arguments {
    SNodeCB_t *node;
    SNodeProperty_t *record;
    Key key{4, "bb"};
    Value value{1, "new"};
    std::uint64_t capacity = 32, width = kMaxID, filter = 0, count = 1, maxID = kMaxID, maxValue = kMaxValue;
    std::uint32_t layout = SNTR_LAYOUT_ARRAY;
    unsigned nulls = 0;
  };
  // An operation by its letter: get, set, result code read and written, add, delete, count, count of a tag, keys out;
  // address; both values read and set by the record; list created, of equal properties.
  std::uint32_t perform(char operation, const Arguments &a, std::uint64_t held = 0) {
    const Properties all{a.node, *kind, held, a.nulls};
    std::string buffer(nodeSize, '\0');
    std::map<Key, std::uint64_t> keys;
    if (operation == 'g') return all.get(a.key, got.value, nodeSize);
    if (operation == 's') return all.set(a.key, a.value);
    if (operation == 'r') return all.getRC(a.key, got.out);
    if (operation == 'w') return all.setRC(a.key, 1);
    if (operation == 'a') return all.add(a.key, a.value);
    if (operation == 'd') return all.erase(a.key);
    if (operation == 'c') return all.count(0, got.out);
    if (operation == 't') return all.count(a.key.tag, got.out);
    if (operation == 'k') return all.keys(keys, 0, a.capacity, a.width, a.filter);
    if (operation == 'p') return all.record(a.key, got.record);
    if (operation == 'B') return all.getBoth(a.record, got.value.number, got.size, buffer.data(), got.out);
    if (operation == 'S') return all.setBoth(a.record, a.value, 1);
    return all.create(a.layout, a.capacity, a.maxID, a.maxValue, {a.count, {a.key, a.value}});
  }
  // They work on the middle property, (4, "bb"); what is added, (7, "x"), comes behind the last. A base kind has only
  // 4. L and H lay the list out.
  std::uint32_t run(char operation, std::uint64_t held = 0) {
    Arguments a{node, recordAt(record(1))};
    if (operation == 'a') a.key = Key{kind->isBase() ? 4u : 7u, "x"}, a.value = Value{7, "old"};
    if (operation != 'L' && operation != 'H') return perform(operation, a, held);
    clearArea();  // or it would be the second time
    return of(held).create(operation == 'L' ? SNTR_LAYOUT_ARRAY : SNTR_LAYOUT_HASH, 3, kMaxID, kMaxValue,
                           {{{2, "a"}, {20, "old"}}, {{4, "bb"}, {40, "sixteen letters."}}});
  }
  void clearArea() {
    std::memset(bytes() + area, 0, end - area);
    setWord(entry() + 8, 0);
  }
  std::string operations() const { return kind->isBase() ? "gsrwadk" : "gsrwadctk"; }
  std::string text(char operation) const { return where() + ", " + operation + ": "; }

  // The node without its latches and, where a change is allowed, without what a change of the list changes.
  std::string contentOf(bool mayChange, std::string all) const {
    std::memset(all.data() + 0x250, 0, 0x308);
    if (!mayChange) return all;
    std::memset(all.data() + area, 0, end - area);
    std::memset(all.data() + entry() + 8, 0, 8);
    std::memset(all.data() + 0x50, 0, 128);
    return all;
  }
  std::string contentOf(bool mayChange) const { return contentOf(mayChange, content()); }

  std::uint64_t slot(std::uint64_t i) const { return bucket(kind->arrays) + i * slotSize(); }
  std::uint64_t record(std::uint64_t i) const {
    if (kind->isBase()) return area;
    return isTable ? slot(i) + kind->chain : area + kind->arrayHeader + i * stride();
  }

  SNodeCB_t *node = nullptr;
  const Kind *kind = nullptr;
  bool isTable = false;
  std::uint64_t area = 0, end = 0, nodeSize = 0;
  struct Got {
    Value value;
    std::uint64_t out = 0, size = 0;
    SNodeProperty_t *record = nullptr;
    bool operator==(const Got &) const = default;
  } got;  // what operations returned last
};

}  // namespace properties_test
