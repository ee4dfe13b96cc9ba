// A node in private memory with an area of one kind, at an odd byte, and its neighbours.
#pragma once

#include "properties/r_node.h"
#include "support/kinds.h"

namespace properties_test {

using support::kBaseR, support::kBaseV, support::kIR, support::kIV, support::Kind, support::kR, support::kV;
using support::Key, support::Properties, support::Value;

class KindNode : public RNode {
 protected:
  static constexpr std::uint64_t kMaxID = 8, kMaxValue = 16;

  // An empty list of the kind, its area of a size of its own; V is laid out for the base kinds too, whose limit is V's.
  void layOutKind(const Kind &wanted, std::uint32_t layout, std::uint64_t areaSize, std::uint64_t capacity,
                  const std::vector<std::pair<Key, Value>> &initial = {}) {
    support::Sizes sizes{};
    sizes[0] = 67, sizes[4] = 0x95, sizes[5] = 0x1a8 + kMaxValue, sizes[63] = 67;  // odd places, and neighbours
    sizes[7] = 0x500, sizes[11] = 240;
    if (!wanted.isBase()) sizes[wanted.area] = areaSize;
    if (kAligned) {
      for (std::uint64_t &size : sizes) size = (size + 7) / 8 * 8;
    }
    createNode(sizes, 0x17e0);
    ASSERT_RC(sntrActivateNode(&node), Rc::Ok);
    kind = &wanted, isTable = layout == SNTR_LAYOUT_HASH && !kind->isBase();
    area = word(entry() + 16), end = area + word(entry());
    const Kind &laidOut = kind->isBase() ? kV : *kind;
    ASSERT_RC((Properties{node, laidOut}.create(layout, capacity, kMaxID, kMaxValue, initial)), Rc::Ok) << kind->name;
  }

  Properties of(std::uint64_t held = 0) const { return {node, *kind, held}; }
  std::string where() const { return std::string(kind->name) + (isTable ? " table" : " array"); }

  std::uint64_t entry() const { return kind->entry(); }
  std::uint64_t used() const { return word(entry() + 8); }
  std::uint64_t stride() const { return kind->stride(kMaxID, kMaxValue); }
  std::uint64_t slotSize() const { return kind->chain + stride(); }
  std::uint64_t bucket(std::uint64_t array) const { return area + kind->tableHeader + 8 * array; }

  const Kind *kind = nullptr;
  bool isTable = false;
  std::uint64_t end = 0;
};

// Three properties, each in the one bucket of every array of a table, and a place that was freed behind them.
class FilledKindNode : public KindNode {
 protected:
  void fill(const Kind &wanted, std::uint32_t layout) {
    layOutKind(wanted, layout, 0x60 + 6 * (0x250 + kMaxValue) + 0x25, 0);
    const std::vector<Key> keys = {{2, "a"}, {4, "bb"}, {6, "c"}, {8, "d"}};
    for (const Key &key : keys) {
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
        work();
      }
    }
  }

  // An operation by its letter: get, set, result code read and written, add, delete, count, count of a tag, keys out; L
  // and H lay the list out. They work on the middle property, (4, "bb"); what is added, (7, "x"), comes behind the last.
  // A base kind has only 4.
  std::uint32_t run(char operation, std::uint64_t held = 0) {
    const Key middle{4, "bb"};
    Value value;
    std::uint64_t out = 0;
    std::map<Key, std::uint64_t> keys;
    switch (operation) {
      case 'g':
        return of(held).get(middle, value, end);
      case 's':
        return of(held).set(middle, {1, "new"});
      case 'r':
        return of(held).getRC(middle, out);
      case 'w':
        return of(held).setRC(middle, 1);
      case 'a':
        return of(held).add({kind->isBase() ? 4u : 7u, "x"}, {7, "old"});
      case 'd':
        return of(held).erase(middle);
      case 'c':
        return of(held).count(0, out);
      case 't':
        return of(held).count(4, out);
      case 'k':
        return of(held).keys(keys, 0, 32, kMaxID);
      default:
        clearArea();  // or it would be the second time
        return of(held).create(operation == 'L' ? SNTR_LAYOUT_ARRAY : SNTR_LAYOUT_HASH, 3, kMaxID, kMaxValue,
                               {{{2, "a"}, {20, "old"}}, {{4, "bb"}, {40, "sixteen letters."}}});
    }
  }
  void clearArea() {
    std::memset(bytes() + area, 0, end - area);
    setWord(entry() + 8, 0);
  }
  std::string operations() const { return kind->isBase() ? "gsrwadk" : "gsrwadctk"; }
  std::string text(char operation) const { return where() + ", " + operation + ": "; }

  std::uint64_t slot(std::uint64_t i) const { return bucket(kind->arrays) + i * slotSize(); }
  std::uint64_t record(std::uint64_t i) const {
    if (kind->isBase()) return area;
    return isTable ? slot(i) + kind->chain : area + kind->arrayHeader + i * stride();
  }
};

}  // namespace properties_test
