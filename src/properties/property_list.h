// SPDX-License-Identifier: MIT
// A property list as an operation sees it: the area, its limits and bucket counts, each read once and checked.
//
// Thread safety: every operation opens its list first. A list opened before a section only decides whether to go on,
// because another process may lay it out meanwhile; the list that is used is opened inside the section.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "layout/rc.h"
#include "properties/kinds.h"
#include "properties/property_area.h"

namespace sntr {

// Room for identifier and value bytes in each record of a list; 0 for a kind without them.
struct Limits {
  std::uint64_t maxID;
  std::uint64_t maxValue;
};

constexpr Rc checkMaxIDSize(std::uint64_t size) { return size <= kMaxIDSize ? Rc::Ok : Rc::MaxIDSizeTooLarge; }

constexpr Rc checkMaxValueSize(std::uint64_t size) {
  return size >= 1 && size <= kMaxValueSize ? Rc::Ok : Rc::BadMaxValueSize;
}

constexpr std::size_t kMaxBucketArrays = 3;

struct PropertyList {
  PropertyArea area;
  const KindData *kind;
  Limits limits;
  std::uint64_t bucketCounts[kMaxBucketArrays];  // full key, tag, identifier; the first is 0 in an array

  bool isTable() const { return bucketCounts[0] != 0; }
  std::uint64_t stride() const { return kind->recordSize + limits.maxID + limits.maxValue; }
  std::uint64_t slotSize() const { return kind->chainSize + stride(); }

  std::uint64_t bucketTotal() const { return bucketCounts[0] + bucketCounts[1] + bucketCounts[2]; }
  std::uint64_t tableHeadSize() const { return kind->tableHeader + kWordSize * bucketTotal(); }
  std::uint64_t firstSlot() const { return area.begin() + tableHeadSize(); }
};

// These functions take the kind as an argument, not from the list: its numbers become constants at the call, and a list
// local to the call need not be stored.

// Reads the bucket counts. Returns Ok, or BadBucketCount: out of range, a later one 0, or a table that does not fit.
[[gnu::always_inline]] inline Rc readBucketCounts(const KindData &kind, PropertyList &list) {
  list.bucketCounts[0] = list.area.headerWord(kind.bucketCountAt);
  list.bucketCounts[1] = 0;
  list.bucketCounts[2] = 0;
  if (list.bucketCounts[0] == 0) return Rc::Ok;
  if (list.bucketCounts[0] >= kBucketCountLimit) return Rc::BadBucketCount;
  if (kind.bucketArrays == kMaxBucketArrays) {
    for (std::uint64_t i = 1; i < kMaxBucketArrays; ++i) {
      list.bucketCounts[i] = list.area.headerWord(kind.bucketCountAt + kWordSize * i);
      if (list.bucketCounts[i] == 0 || list.bucketCounts[i] >= kBucketCountLimit) return Rc::BadBucketCount;
    }
  }
  // Offsets from the node: no area begins so near to it that the tail of a small one could wrap.
  const std::uint64_t first = list.area.begin() + kind.tableHeader + kWordSize * list.bucketTotal();
  return first <= list.area.end() - kTailSize ? Rc::Ok : Rc::BadBucketCount;
}

// Reads the limits of an opened area. Returns Ok, MaxIDSizeTooLarge or BadMaxValueSize.
[[gnu::always_inline]] inline Rc readLimits(const KindData &kind, const PropertyArea &area, Limits &out) {
  out = Limits{0, 0};
  if (kind.maxIDAt != kNoField) {
    out.maxID = area.headerWord(kind.maxIDAt);
    if (Rc rc = checkMaxIDSize(out.maxID); failed(rc)) return rc;
  }
  if (kind.maxValueAt == kNoField) return Rc::Ok;
  out.maxValue = area.headerWord(kind.maxValueAt);
  return checkMaxValueSize(out.maxValue);
}

// Opens a list; the node is not null. Returns Ok, BadBucketCount, or the codes of findArea() and readLimits().
[[gnu::always_inline]] inline Rc openList(SNodeCB_t *node, const KindData &kind, PropertyList &out) {
  out.kind = &kind;
  if (Rc rc = out.area.open(node, kind.selector); failed(rc)) return rc;
  if (Rc rc = readBucketCounts(kind, out); failed(rc)) return rc;
  return readLimits(kind, out.area, out.limits);
}

// The slots of a table that were ever handed out: from `first` on, of one size, below `high`. An offset before the
// first wraps and is too far away. All numbers are below 2^32.
static_assert(SNTR_MAX_NODE_SIZE < std::uint64_t{1} << 32 && SNTR_MAX_AREA_SIZE < std::uint64_t{1} << 27);
class SlotRange {
 public:
  constexpr SlotRange(std::uint64_t first, std::uint64_t high, std::uint64_t size)
      : first_(first), size_(size), distance_(first + size <= high ? high - first - size + 1 : 0) {}

  constexpr std::uint64_t size() const { return size_; }

  // The remainder fits 32 bits, which divide faster.
  constexpr bool holds(std::uint64_t offset) const {
    const std::uint64_t behind = offset - first_;
    return behind < distance_ && static_cast<std::uint32_t>(behind) % static_cast<std::uint32_t>(size_) == 0;
  }

 private:
  std::uint64_t first_;
  std::uint64_t size_;
  std::uint64_t distance_;  // every slot's offset from the first is below it
};

// A range with a slot size known at compile time. The index of a slot takes one multiplication by the inverse of the
// size's odd part, and one rotation. An offset of no slot becomes larger than any number of slots. With SlotRange, a
// get of a register takes a twentieth longer.
template <std::uint64_t slotSize>
class FixedSlotRange {
 public:
  constexpr FixedSlotRange(std::uint64_t first, std::uint64_t high, std::uint64_t /*size*/)
      : first_(first), count_(first <= high ? (high - first) * kReciprocal >> kShift : 0) {}

  static constexpr std::uint64_t size() { return slotSize; }

  constexpr bool holds(std::uint64_t offset) const { return std::rotr((offset - first_) * kInverse, kTwos) < count_; }

 private:
  static constexpr int kTwos = std::countr_zero(slotSize);
  // Each step doubles the number of correct bits; every odd number is its own inverse in the first three.
  static constexpr std::uint64_t kInverse = [] {
    const std::uint64_t odd = slotSize >> kTwos;
    std::uint64_t inverse = odd;
    for (int bits = 3; bits < 64; bits *= 2) inverse *= 2 - odd * inverse;
    return inverse;
  }();
  // Division of any number below 2^27 by the size.
  static constexpr int kShift = 35;
  static constexpr std::uint64_t kReciprocal = ((std::uint64_t{1} << kShift) + slotSize - 1) / slotSize;
  static_assert((kReciprocal * slotSize - (std::uint64_t{1} << kShift)) << 27 < std::uint64_t{1} << kShift);

  std::uint64_t first_;
  std::uint64_t count_;
};

template <class Range>
constexpr bool holdsItsSlots() {
  const Range two(16, 320, 152), one(16, 319, 152), empty(16, 16, 152), none(320, 16, 152);
  return two.holds(16) && two.holds(168) && !two.holds(169) && !two.holds(320) && !two.holds(0) && one.holds(16) &&
         !one.holds(168) && !empty.holds(16) && !none.holds(16) && !none.holds(320);
}
static_assert(holdsItsSlots<SlotRange>() && holdsItsSlots<FixedSlotRange<152>>());

// Returns true for the offset of a slot in a list's table whose slots end at `high`.
inline bool isSlot(const PropertyList &list, std::uint64_t slotSize, std::uint64_t offset, std::uint64_t high) {
  return SlotRange(list.firstSlot(), high, slotSize).holds(offset);
}

// Returns the end of the slots that were ever handed out. A damaged word never leads beyond the tail.
inline std::uint64_t slotsEnd(const PropertyList &list) {
  const auto next = readWord<std::uint64_t>(list.area.tailWord(offsetof(TableTail, nextFreeOffset)));
  return std::min(next, list.area.end() - kTailSize);
}

// The sizes of a kind's slot and array record. They are constants if its records hold no bytes of varying number: then
// the division in isSlot() becomes a multiplication.
template <class K>
constexpr bool kFixedSize = K::data.maxIDAt == kNoField &&K::data.maxValueAt == kNoField;

template <class K>
constexpr std::uint64_t firstSlotOf(const PropertyList &list) {
  return list.area.begin() + K::data.tableHeader + kWordSize * list.bucketTotal();
}

template <class K>
constexpr std::uint64_t strideOf(const PropertyList &list) {
  if constexpr (kFixedSize<K>) {
    return K::data.recordSize;
  } else {
    return K::data.recordSize + list.limits.maxID + list.limits.maxValue;
  }
}

template <class K>
constexpr std::uint64_t slotSizeOf(const PropertyList &list) {
  return K::data.chainSize + strideOf<K>(list);
}

template <class K>
using SlotsOf = std::conditional_t<kFixedSize<K>, FixedSlotRange<K::data.chainSize + K::data.recordSize>, SlotRange>;

template <class K>
constexpr SlotsOf<K> slotsOf(const PropertyList &list) {
  return {firstSlotOf<K>(list), slotsEnd(list), slotSizeOf<K>(list)};
}

}  // namespace sntr
