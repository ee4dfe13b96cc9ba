// Finding, adding and deleting in an array of records, over any keyed kind.
//
// Records stand back to back behind the header, one every stride; tag 0 marks an empty one. `areaUsed` counts the live
// records, not how far the array is filled: holes lie between, so a walk goes on until it has seen as many live records
// as are in use, or the end of the area. The store of the tag is what makes a property exist and what ends it.
//
// Callers hold the node's section, the write section for changes, and have opened the list inside it.
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

// Whether records have no room for what the kind keeps behind them. Such an array has room for no record at all.
template <class K>
constexpr bool hasNoMaximum(const PropertyList &list) {
  return !kFixedSize<K> && list.limits.maxID + list.limits.maxValue == 0;
}

// How many records there are in `bytes` of the area, header included.
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

// The record at an index, or null when it does not lie whole inside the area.
template <class K>
std::byte *arrayRecord(const PropertyList &list, std::uint64_t index) {
  const std::uint64_t stride = strideOf<K>(list);
  return list.area.at(list.area.begin() + K::data.arrayHeader + index * stride, stride);
}

// Calls visit(record) for each live record in order, until it answers false. Bounded by the area, whatever `areaUsed`
// says: a count that is too large ends at the last record, one that is too small hides records but leads nowhere else.
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

// The record with a key. The kind's not-found code, those of comparing keys.
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

// The first empty record, or null.
template <class K>
std::byte *findEmptyRecord(const PropertyList &list) {
  const std::uint64_t capacity = arrayCapacity<K>(list);
  for (std::uint64_t i = 0; i < capacity; ++i) {
    std::byte *record = arrayRecord<K>(list, i);
    if (tagOf(record) == 0) return record;
  }
  return nullptr;
}

// Stores a property in an empty record of the array. Tag 0 leaves the record empty and is not counted. The codes of
// filling, before the record exists; AtomicFailed with it stored and counted when the change counter fails.
template <class K>
Rc storeInArray(SNodeCB_t *node, PropertyList &list, std::byte *record, const typename K::Key &key,
                const typename K::Value &value) {
  if (Rc rc = K::fill(node, list, record, key, value); failed(rc)) return rc;
  publishWord<std::uint64_t>(record, key.tag);
  if (key.tag != 0) list.area.setUsed(list.area.used() + strideOf<K>(list));
  return countChange(node);
}

// Adds a property. The kind's exists and list-full codes, those of comparing and of filling, AtomicFailed.
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

// Deletes a property: only its tag changes. The kind's not-found code, those of comparing, AtomicFailed with the
// property gone.
template <class K>
Rc deleteFromArray(SNodeCB_t *node, PropertyList &list, const typename K::Key &key) {
  std::byte *record = nullptr;
  if (Rc rc = findInArray<K>(list, key, record); failed(rc)) return rc;
  writeWord<std::uint64_t>(record, 0);
  list.area.setUsed(list.area.used() - strideOf<K>(list));
  return countChange(node);
}

}  // namespace sntr
