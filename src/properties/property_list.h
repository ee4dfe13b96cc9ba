// A property list as an operation sees it: the area, its limits and bucket counts, each read once and checked.
//
// Opening one is the first step of every operation. What is opened before a section only tells whether to go on, since
// another process may lay the list out meanwhile; what is used is opened inside the section.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

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

// What follows takes the kind as an argument of its own, and not from the list: known where it is called, its numbers
// become constants there, and a list that only this call sees need not stand in memory.

// Reads the bucket counts of an opened area. BadBucketCount: out of range, a later one 0, or a table that does not fit.
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
  const std::uint64_t head = kind.tableHeader + kWordSize * list.bucketTotal();
  return head + kTailSize <= list.area.size() ? Rc::Ok : Rc::BadBucketCount;
}

// Reads the limits of an opened area. MaxIDSizeTooLarge, BadMaxValueSize.
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

// The codes of findArea(), then BadBucketCount, MaxIDSizeTooLarge, BadMaxValueSize. The node is not null.
[[gnu::always_inline]] inline Rc openList(SNodeCB_t *node, const KindData &kind, PropertyList &out) {
  out.kind = &kind;
  if (Rc rc = out.area.open(node, kind.selector); failed(rc)) return rc;
  if (Rc rc = readBucketCounts(kind, out); failed(rc)) return rc;
  return readLimits(kind, out.area, out.limits);
}

// The slots of a table that were ever handed out: the first of them, and the distance that every one stays below.
static_assert(SNTR_MAX_AREA_SIZE < std::uint64_t{1} << 32);
struct SlotRange {
  std::uint64_t first;
  std::uint64_t distance;
  std::uint64_t slotSize;

  constexpr SlotRange(std::uint64_t first_, std::uint64_t high, std::uint64_t slotSize_)
      : first(first_),
        distance(liesWithin(first_, slotSize_, 0, high) ? high - first_ - slotSize_ + 1 : 0),
        slotSize(slotSize_) {}

  // An offset below the first wraps and is too far away. What is left fits 32 bits, which divide faster.
  constexpr bool holds(std::uint64_t offset) const {
    const std::uint64_t behind = offset - first;
    return behind < distance && static_cast<std::uint32_t>(behind) % static_cast<std::uint32_t>(slotSize) == 0;
  }
};
static_assert(SlotRange(16, 48, 16).holds(32) && !SlotRange(16, 47, 16).holds(32) && !SlotRange(16, 48, 16).holds(0));
static_assert(!SlotRange(16, 31, 16).holds(16) && !SlotRange(16, 8, 16).holds(16));

// Whether an offset is that of a slot of a list's table whose slots end at `high`.
inline bool isSlot(const PropertyList &list, std::uint64_t slotSize, std::uint64_t offset, std::uint64_t high) {
  return SlotRange(list.firstSlot(), high, slotSize).holds(offset);
}

// Where the slots that were ever handed out end. A damaged word never leads behind the tail.
inline std::uint64_t slotsEnd(const PropertyList &list) {
  const auto next = readWord<std::uint64_t>(list.area.tailWord(offsetof(TableTail, nextFreeOffset)));
  return std::min(next, list.area.end() - kTailSize);
}

// The sizes of a kind's slot and array record: constants for a kind whose records hold no bytes of varying number, so
// that the division in isSlot() becomes a multiplication.
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

}  // namespace sntr
