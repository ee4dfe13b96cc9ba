// SPDX-License-Identifier: MIT
// Lays out a property list and stores its initial properties, over any keyed kind.
//
// Thread safety: any thread; the creators enter the node's write section, unless the caller holds it.
// Invariants:
// 1. Arguments and area are checked first; a failure of these checks leaves the node unchanged.
// 2. The first bucket count of a table is 0 until all the rest is in place. A process that dies while it lays out a
//    table leaves an empty array, which is not laid out again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>

#include "frame/section.h"
#include "properties/array_list.h"
#include "properties/hash_table.h"
#include "properties/initial_keys.h"
#include "properties/lookup.h"
#include "properties/prime.h"
#include "properties/property_list.h"

namespace sntr {

// Returns Ok, or: NullNode; the kind's no-option code; with initial properties the kind's count code and the codes of
// checkArrays(); the codes of checkLimits(); with initial properties the first code of checkElement().
template <class K, class Initial>
Rc checkCreation(const SNodeCB_t *node, const Initial &initial, std::uint64_t capacity) {
  if (node == nullptr) return Rc::NullNode;
  if (!hasKind(node, K::data.selector)) return K::data.noOption;
  if (initial.count() == 0) return initial.checkLimits();
  if (initial.count() > SNTR_MAX_PROPERTIES || capacity > SNTR_MAX_PROPERTIES) return K::data.badCount;
  if (Rc rc = initial.checkArrays(); failed(rc)) return rc;
  if (Rc rc = initial.checkLimits(); failed(rc)) return rc;
  for (std::uint64_t i = 0; i < initial.count(); ++i) {
    if (Rc rc = initial.checkElement(i); failed(rc)) return rc;
  }
  return Rc::Ok;
}

// Chooses the number of buckets for a capacity. Returns Ok, BadBucketCount (without a search for a prime beyond the
// limit), or FewerBucketsThanProperties.
constexpr Rc chooseBucketCount(std::uint64_t capacity, std::uint64_t count, std::uint64_t &buckets) {
  if (capacity > kBucketCountLimit) return Rc::BadBucketCount;
  buckets = primeFrom(capacity);
  if (buckets >= kBucketCountLimit) return Rc::BadBucketCount;
  return buckets >= count ? Rc::Ok : Rc::FewerBucketsThanProperties;
}

// Checks that nothing was ever laid out in the area or added to it: a new list would contain old records. Reads the
// used bytes again, inside the section. Returns Ok, AreaOverused or ListLaidOut.
inline Rc checkUnused(PropertyList &list) {
  if (!list.area.readUsed()) return Rc::AreaOverused;
  return list.area.used() == 0 ? Rc::Ok : Rc::ListLaidOut;
}

// Turns an unused area into an array without records. The header fits. The used bytes go first: from that store on no
// other caller lays the list out.
template <class K>
void layOutEmptyArray(PropertyList &list) {
  const auto word = [&](std::uint64_t position) { return list.area.at(list.area.begin() + position, kWordSize); };
  list.area.setUsed(K::data.arrayHeader);
  publishWord<std::uint64_t>(word(K::data.bucketCountAt), 0);
  if constexpr (kHasID<K>) writeWord<std::uint64_t>(word(K::data.maxIDAt), list.limits.maxID);
  if constexpr (kHasBytes<K>) writeWord<std::uint64_t>(word(K::data.maxValueAt), list.limits.maxValue);
}

// The number of properties between a prefetch and its use: about as many as the latency of uncached memory takes.
constexpr std::uint64_t kLookAhead = 8;

// Prefetches bytes for writing. Their address need not be valid.
inline void fetchToWrite(const std::byte *base, std::uint64_t offset, std::uint64_t size) {
  constexpr std::uint64_t kLine = 64;
  const std::uintptr_t start = reinterpret_cast<std::uintptr_t>(base) + offset;
  for (std::uint64_t at = 0; at < size; at += kLine) {
    __builtin_prefetch(reinterpret_cast<const void *>(start + at), 1);
  }
}

// Stores the initial records and, behind them, empty ones up to the capacity. Returns Ok, the kind's damage code if a
// record does not lie whole in the area, or AtomicFailed; the records before it stay.
template <class K, class Initial>
Rc storeInitialRecords(SNodeCB_t *node, PropertyList &list, const Initial &initial, std::uint64_t capacity) {
  const std::uint64_t records = initial.count() == 0 ? 0 : std::max(initial.count(), capacity);
  for (std::uint64_t i = 0; i < records; ++i) {
    std::byte *record = arrayRecord<K>(list, i);
    if (record == nullptr) return K::data.damaged;
    fetchToWrite(record, kLookAhead * strideOf<K>(list), strideOf<K>(list));
    std::memset(record, 0, strideOf<K>(list));
    if (i >= initial.count()) continue;
    const Rc rc = storeInArray<K>(node, list, record, initial.key(i), initial.value(i));
    if (failed(rc)) return rc;
  }
  return Rc::Ok;
}

// Creates an array. The keys are checked before the section; their code comes after the node's condition.
template <class K, class Initial>
Rc createArray(const Trace &t, SNodeCB_t *node, PropertyList &list, const Initial &initial, std::uint64_t capacity,
               Held held) {
  if (list.area.size() < K::data.arrayHeader + strideOf<K>(list) * initial.count())
    return t.fail(4, K::data.areaTooSmall);
  // Such an array has no room for a record: nothing would ever be found in it.
  if (initial.count() > 0 && hasNoMaximum<K>(list)) return t.fail(12, K::data.listFull);
  const Rc keys = checkInitialKeys(initial, K::data.exists);
  return writeSection(t, node, held, [&]() -> Rc {
    if (Rc rc = checkCondition(node, kMaskCreateList); failed(rc)) return t.fail(5, rc);
    if (failed(keys)) return t.fail(6, keys);
    if (Rc rc = checkUnused(list); failed(rc)) return t.fail(13, rc);
    layOutEmptyArray<K>(list);
    return t.fail(7, storeInitialRecords<K>(node, list, initial, capacity));
  });
}

// Lays out a table without properties; its bucket counts are set and it fits. The counts go last, and the first count
// last of all, because a first count other than 0 makes the area a table.
template <class K>
void layOutTable(PropertyList &list) {
  layOutEmptyArray<K>(list);
  const std::uint64_t bucketBytes = kWordSize * list.bucketTotal();
  std::memset(list.area.at(list.area.begin() + K::data.tableHeader, bucketBytes), 0, bucketBytes);
  writeWord<std::uint64_t>(list.area.tailWord(offsetof(TableTail, freedCount)), 0);
  writeWord<std::uint64_t>(list.area.tailWord(offsetof(TableTail, nextFreeOffset)), list.firstSlot());
  list.area.setUsed(list.tableHeadSize() + kTailSize);
  for (std::uint64_t i = K::data.bucketArrays; i-- > 0;) {
    std::byte *word = list.area.at(list.area.begin() + K::data.bucketCountAt + kWordSize * i, kWordSize);
    publishWord<std::uint64_t>(word, list.bucketCounts[i]);
  }
}

// An initial property that waits for its turn: its key with all hashes, or the code of its failure.
template <class K, class Initial>
struct Pending {
  typename K::Key key;
  Rc prepared;

  Pending(SNodeCB_t *node, const Initial &initial, std::uint64_t i)
      : key(initial.key(i)), prepared(prepare<K>(node, key)) {
    if (!failed(prepared)) key.takeChainHashes();
  }
};

// Prefetches what the add will touch: the first slot of each chain for the property. The contents of the buckets are
// neither trusted nor followed; an invalid address is not fetched.
template <class K>
void fetchAhead(SNodeCB_t *node, const PropertyList &list, const typename K::Key &key) {
  const auto *base = reinterpret_cast<const std::byte *>(node);
  const auto fetch = [&](std::uint64_t bucket) {
    fetchToWrite(base, readWord<std::uint64_t>(list.area.atChecked(bucket)), 1);
  };
  const std::uint64_t index = key.hash % list.bucketCounts[0];
  fetch(list.area.begin() + K::data.tableHeader + kWordSize * index);
  if constexpr (kHasID<K>) {
    fetch(sideBucket(list, kTagChain, key.tagHash));
    fetch(sideBucket(list, kIDChain, key.idHash));
  }
  // Of a slot with a register, only the beginning is written.
  const std::uint64_t slotSize = slotSizeOf<K>(list);
  const std::uint64_t written = kFixedSize<K> ? K::data.chainSize + offsetof(RRecord, value) : slotSize;
  fetchToWrite(base, slotsEnd(list) + kLookAhead * slotSize, written);
}

// Adds in the order of the arrays and stops at the first failure; earlier properties stay. The slots of a large table
// are uncached and scattered, so each property's are prefetched some turns ahead.
template <class K, class Initial>
Rc addInitialProperties(SNodeCB_t *node, PropertyList &list, const Initial &initial) {
  std::optional<Pending<K, Initial>> pending[kLookAhead];
  for (std::uint64_t i = 0; i < initial.count() + kLookAhead; ++i) {
    auto &place = pending[i % kLookAhead];
    if (i >= kLookAhead) {
      if (failed(place->prepared)) return place->prepared;
      const Rc rc = addToTable<K>(node, list, place->key, initial.value(i - kLookAhead));
      if (failed(rc)) return rc;
    }
    if (i >= initial.count()) continue;
    place.emplace(node, initial, i);
    if (!failed(place->prepared)) fetchAhead<K>(node, list, place->key);
  }
  return Rc::Ok;
}

// Creates a table. Bucket counts and slot size are fixed for the life of the list.
template <class K, class Initial>
Rc createTable(const Trace &t, SNodeCB_t *node, PropertyList &list, const Initial &initial, std::uint64_t capacity,
               Held held) {
  std::uint64_t buckets = 0;
  if (Rc rc = chooseBucketCount(capacity, initial.count(), buckets); failed(rc)) return t.fail(8, rc);
  for (std::uint64_t i = 0; i < kMaxBucketArrays; ++i) list.bucketCounts[i] = i < K::data.bucketArrays ? buckets : 0;
  // One slot for each bucket. Such an area also holds header, buckets and tail: no second test.
  const std::uint64_t least = list.tableHeadSize() + kTailSize + buckets * slotSizeOf<K>(list);
  if (list.area.size() < least) return t.fail(9, K::data.tableAreaTooSmall);
  return writeSection(t, node, held, [&]() -> Rc {
    if (Rc rc = checkCondition(node, kMaskCreateList); failed(rc)) return t.fail(10, rc);
    if (Rc rc = checkUnused(list); failed(rc)) return t.fail(14, rc);
    layOutTable<K>(list);
    return t.fail(11, addInitialProperties<K>(node, list, initial));
  });
}

template <class K, class Initial>
Rc createList(const Trace &t, SNodeCB_t *node, const Initial &initial, std::uint64_t capacity, std::uint32_t layout,
              std::uint64_t latchHeld) {
  if (Rc rc = checkCreation<K>(node, initial, capacity); failed(rc)) return t.fail(1, rc);
  PropertyList list;
  list.kind = &K::data;
  list.limits = initial.limits;
  if (Rc rc = list.area.open(node, K::data.selector); failed(rc)) return t.fail(2, rc);
  if (layout == SNTR_LAYOUT_ARRAY) return createArray<K>(t, node, list, initial, capacity, heldIf(latchHeld));
  if (layout == SNTR_LAYOUT_HASH) return createTable<K>(t, node, list, initial, capacity, heldIf(latchHeld));
  return t.fail(3, Rc::BadLayout);
}

}  // namespace sntr
