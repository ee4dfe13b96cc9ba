// From a key to a record in either layout, and the checks that every operation on one property begins with.
//
// Nothing here takes a latch: callers hold the node's section.
#pragma once

#include <cstddef>
#include <cstdint>

#include "layout/rc.h"
#include "properties/array_list.h"
#include "properties/hash_table.h"
#include "properties/kind_types.h"
#include "properties/property_list.h"
#include "tree/conditions.h"

namespace sntr {

// Masks of the condition check: for an operation on properties, and for laying out a list.
constexpr std::uint32_t kMaskProperties = 0x28;
constexpr std::uint32_t kMaskCreateList = kMaskActive;

// Opens a list to look for properties that it may have; an add uses openList() itself. In a node without the kind,
// whose maxima say so, the list is an array without records. The codes of openList().
template <class K>
Rc openToFind(SNodeCB_t *node, PropertyList &list) {
  const Rc rc = openList(node, K::data, list);
  if (rc != Rc::BadMaxValueSize || hasKind(node, K::data.selector)) return rc;
  list.limits = Limits{0, 0};
  list.bucketCounts[0] = 0;
  return Rc::Ok;
}

// Opens the area of a base kind, which must hold the whole record; the room for a value is the rest of it. The area's
// codes, the kind's damage code.
template <class K>
Rc openBase(SNodeCB_t *node, PropertyList &list) {
  if (Rc rc = list.area.open(node, K::data.selector); failed(rc)) return rc;
  if (list.area.size() < K::data.recordSize) return K::data.damaged;
  list.limits = Limits{0, list.area.size() - K::data.recordSize};
  return Rc::Ok;
}

// Whether the node has no property of an opened base kind: none was made, or it was deleted.
inline bool isNoBase(const PropertyList &list) { return list.area.used() == 0; }

// Opens what a kind keeps its records in, to read or write a record. For a base kind the codes of openBase(), and the
// not-found code for a node without the kind; for a keyed kind those of openToFind().
template <class K>
Rc openRecords(SNodeCB_t *node, PropertyList &list) {
  if constexpr (kIsBase<K>) {
    const Rc rc = openBase<K>(node, list);
    return rc == K::data.damaged && !hasKind(node, K::data.selector) ? K::data.notFound : rc;
  } else {
    return openToFind<K>(node, list);
  }
}

// The single record of an opened base area.
inline std::byte *baseRecord(const PropertyList &list) { return list.area.at(list.area.begin(), 0); }

// Finds the record of a key in what was opened. The not-found code of the list's layout; the damage code, the codes of
// comparing keys.
template <class K>
Rc findRecord(const PropertyList &list, const typename K::Key &key, std::byte *&record) {
  if constexpr (kIsBase<K>) {
    record = baseRecord(list);
    return !isNoBase(list) && key.orderTo(record) == 0 ? Rc::Ok : K::data.notFound;
  } else {
    if (!list.isTable()) return findInArray<K>(list, key, record);
    ChainPlace place;
    if (Rc rc = searchTable<K>(list, key, place); failed(rc)) return rc;
    record = place.record;
    return place.matched ? Rc::Ok : K::data.notInTable;
  }
}

// The condition of the node, the list, the record: the codes of each, in this order.
template <class K>
Rc locate(SNodeCB_t *node, const typename K::Key &key, PropertyList &list, std::byte *&record) {
  if (Rc rc = checkCondition(node, kMaskProperties); failed(rc)) return rc;
  if (Rc rc = openRecords<K>(node, list); failed(rc)) return rc;
  return findRecord<K>(list, key, record);
}

// The same for reading and writing values, which have one not-found code for both layouts.
template <class K>
Rc locateForValue(SNodeCB_t *node, const typename K::Key &key, PropertyList &list, std::byte *&record) {
  const Rc rc = locate<K>(node, key, list, record);
  if constexpr (kIsBase<K>) {
    return rc;
  } else {
    return rc == K::data.notInTable ? K::data.notFound : rc;
  }
}

// Whether an address that a caller kept is the start of a record of the list: the kind's damage code when it is not.
// Before that, for a base kind, the not-found code when there is no property.
template <class K>
Rc checkRecord(const PropertyList &list, const void *record) {
  const std::uint64_t offset = list.area.offsetOf(record);
  if constexpr (kIsBase<K>) {
    if (isNoBase(list)) return K::data.notFound;
    return offset == list.area.begin() ? Rc::Ok : K::data.damaged;
  } else {
    if (list.isTable()) return slotsOf<K>(list).holds(offset - K::data.chainSize) ? Rc::Ok : K::data.damaged;
    const std::uint64_t first = list.area.begin() + K::data.arrayHeader;
    const std::uint64_t stride = strideOf<K>(list);
    const bool isOne = liesWithin(offset, stride, first, list.area.end()) && (offset - first) % stride == 0;
    return isOne ? Rc::Ok : K::data.damaged;
  }
}

// The condition of the node, the list, whether the address is a record of it: the codes of each, in this order.
template <class K>
Rc admitRecord(SNodeCB_t *node, const void *record, PropertyList &list) {
  if (Rc rc = checkCondition(node, kMaskProperties); failed(rc)) return rc;
  if (Rc rc = openRecords<K>(node, list); failed(rc)) return rc;
  return checkRecord<K>(list, record);
}

}  // namespace sntr
