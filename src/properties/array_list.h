// SPDX-License-Identifier: MIT
// Finds, adds and deletes properties in an array of records, over any keyed kind.
//
// Thread safety: the caller holds the node's section (the write section for changes) and opened the list inside it.
// Invariants:
// 1. Records lie back to back behind the header, one per stride; tag 0 marks an empty one.
// 2. The store of the tag creates a property, and ends it.
// 3. `areaUsed` counts the live records, not the filled part of the array. Holes lie between them: a walk ends after as
//    many live records as are in use, or at the end of the area.
#pragma once

#include <algorithm>
#include <compare>
#include <cstddef>
#include <cstdint>

#include "layout/rc.h"
#include "layout/words.h"
#include "properties/kind_types.h"
#include "properties/property_list.h"
#include "tree/change_counter.h"

namespace sntr {

// Returns true if records have no room for the kind's identifiers or values. Such an array holds no record.
template <class K>
constexpr bool hasNoMaximum(const PropertyList &list) {
  return !kFixedSize<K> && list.limits.maxID + list.limits.maxValue == 0;
}

// Returns the number of records in `bytes` of the area, header included.
template <class K>
std::uint64_t recordsIn(const PropertyList &list, std::uint64_t bytes) {
  if (bytes < K::data.arrayHeader || hasNoMaximum<K>(list)) return 0;
  return (bytes - K::data.arrayHeader) / strideOf<K>(list);
}

template <class K>
std::uint64_t arrayCapacity(const PropertyList &list) {
  return recordsIn<K>(list, list.area.size());
}

template <class K>
std::uint64_t arrayInUse(const PropertyList &list) {
  return recordsIn<K>(list, list.area.used());
}

// Returns the record at an index, or null if it does not lie whole inside the area.
template <class K>
std::byte *arrayRecord(const PropertyList &list, std::uint64_t index) {
  const std::uint64_t stride = strideOf<K>(list);
  return list.area.at(list.area.begin() + K::data.arrayHeader + index * stride, stride);
}

// Calls visit(record) for each live record in order, until it returns false. The area bounds the walk, whatever
// `areaUsed` is: too large a count ends at the last record, too small a count only hides records.
template <class K, class Visit>
void visitArray(const PropertyList &list, Visit &&visit) {
  const std::uint64_t capacity = arrayCapacity<K>(list);
  std::uint64_t left = arrayInUse<K>(list);
  for (std::uint64_t i = 0; i < capacity && left > 0; ++i) {
    std::byte *record = arrayRecord<K>(list, i);
    if (tagOf(record) == 0) continue;
    --left;
    if (!visit(record)) return;
  }
}

// Finds the record of a key. Returns Ok, the kind's not-found code, or a code of comparing keys.
template <class K>
Rc findInArray(const PropertyList &list, const typename K::Key &key, std::byte *&found) {
  Rc rc = K::data.notFound;
  visitArray<K>(list, [&](std::byte *record) {
    auto order = std::strong_ordering::less;
    const Rc compared = key.compareTo(list, record, order);
    if (!failed(compared) && order != 0) return true;
    found = record;
    rc = compared;
    return false;
  });
  return rc;
}

// Returns the first empty record, or null.
template <class K>
std::byte *findEmptyRecord(const PropertyList &list) {
  const std::uint64_t capacity = arrayCapacity<K>(list);
  for (std::uint64_t i = 0; i < capacity; ++i) {
    std::byte *record = arrayRecord<K>(list, i);
    if (tagOf(record) == 0) return record;
  }
  return nullptr;
}

// Stores a property in an empty record of the array. Tag 0 leaves the record empty and is not counted. Returns Ok, or:
// a code of filling, before the record exists; AtomicFailed from the change counter, after it was stored and counted.
template <class K>
Rc storeInArray(SNodeCB_t *node, PropertyList &list, std::byte *record, const typename K::Key &key,
                const typename K::Value &value) {
  if (Rc rc = fillRecord<K>(node, list, record, key, value); failed(rc)) return rc;
  publishWord<std::uint64_t>(record, key.tag);
  if (key.tag != 0) list.area.setUsed(list.area.used() + strideOf<K>(list));
  return countChange(node);
}

// Adds a property. Returns Ok, the kind's exists or list-full code, a code of comparing or filling, or AtomicFailed.
template <class K>
Rc addToArray(SNodeCB_t *node, PropertyList &list, const typename K::Key &key, const typename K::Value &value) {
  std::byte *record = nullptr;
  const Rc found = findInArray<K>(list, key, record);
  if (found != K::data.notFound) return failed(found) ? found : K::data.exists;
  // A list that was never laid out does not count its header yet.
  const std::uint64_t used = std::max(list.area.used(), K::data.arrayHeader);
  record = findEmptyRecord<K>(list);
  if (record == nullptr || list.area.size() < used + strideOf<K>(list)) return K::data.listFull;
  if (used != list.area.used()) list.area.setUsed(used);
  return storeInArray<K>(node, list, record, key, value);
}

// Deletes a property: only its tag changes. Returns Ok, the kind's not-found code, a code of comparing, or AtomicFailed
// with the property gone.
template <class K>
Rc deleteFromArray(SNodeCB_t *node, PropertyList &list, const typename K::Key &key) {
  std::byte *record = nullptr;
  if (Rc rc = findInArray<K>(list, key, record); failed(rc)) return rc;
  writeWord<std::uint64_t>(record, 0);
  list.area.setUsed(list.area.used() - strideOf<K>(list));
  return countChange(node);
}

}  // namespace sntr
