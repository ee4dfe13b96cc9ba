// SPDX-License-Identifier: MIT
// Finds the record of a key in either layout, and makes the checks that every operation on one property begins with.
// Thread safety: nothing here takes a latch; the caller holds the node's section, or reads as frame/sequence.h says.
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
constexpr std::uint32_t kMaskProperties = maskBit(SNTR_CONDITION_ACTIVE) | maskBit(SNTR_CONDITION_DISASSOCIATED);
constexpr std::uint32_t kMaskCreateList = kMaskActive;

// Opens a list to look for properties; an add uses openList() itself. In a node without the kind, whose maximum is out
// of range, the list is an array without records. Returns the codes of openList().
template <class K>
Rc openToFind(SNodeCB_t *node, PropertyList &list) {
  const Rc rc = openList(node, K::data, list);
  if (rc != Rc::BadMaxValueSize || hasKind(node, K::data.selector)) return rc;
  list.limits = Limits{0, 0};
  list.bucketCounts[0] = 0;
  return Rc::Ok;
}

// Opens the area of a base kind, which must hold the whole record; the rest is room for the value. Returns Ok, a code
// of the area, or the kind's damage code.
template <class K>
Rc openBase(SNodeCB_t *node, PropertyList &list) {
  if (Rc rc = list.area.open(node, K::data.selector); failed(rc)) return rc;
  if (list.area.size() < K::data.recordSize) return K::data.damaged;
  list.limits = Limits{0, list.area.size() - K::data.recordSize};
  return Rc::Ok;
}

// Returns true if the opened base kind has no property: never created, or deleted.
inline bool isNoBase(const PropertyList &list) { return list.area.used() == 0; }

// Opens the records of a kind for reading or writing one. For a base kind, returns the codes of openBase(), and the
// not-found code for a node without the kind. For a keyed kind, returns the codes of openToFind().
template <class K>
Rc openRecords(SNodeCB_t *node, PropertyList &list) {
  if constexpr (kIsBase<K>) {
    const Rc rc = openBase<K>(node, list);
    return rc == K::data.damaged && !hasKind(node, K::data.selector) ? K::data.notFound : rc;
  } else {
    return openToFind<K>(node, list);
  }
}

// Returns the single record of an opened base area.
inline std::byte *baseRecord(const PropertyList &list) { return list.area.at(list.area.begin(), 0); }

// Finds the record of a key. Returns Ok, the layout's not-found code, the damage code, or a code of comparing keys.
template <class K>
Rc findRecord(const PropertyList &list, const typename K::Key &key, std::byte *&record) {
  if constexpr (kIsBase<K>) {
    record = baseRecord(list);
    return !isNoBase(list) && key.orderTo(record) == 0 ? Rc::Ok : K::data.notFound;
  } else {
    if (!list.isTable()) return findInArray<K>(list, key, record);
    ChainPlace place;
    if (Rc rc = findInTable<K>(list, key, place); failed(rc)) return rc;
    record = place.record;
    return place.matched ? Rc::Ok : K::data.notInTable;
  }
}

// Checks the node's condition, opens the list and finds the record. Returns the first failing step's code.
template <class K>
Rc findInNode(SNodeCB_t *node, const typename K::Key &key, PropertyList &list, std::byte *&record) {
  if (Rc rc = checkCondition(node, kMaskProperties); failed(rc)) return rc;
  if (Rc rc = openRecords<K>(node, list); failed(rc)) return rc;
  return findRecord<K>(list, key, record);
}

// Finds the record for reading or writing a value: both layouts have one not-found code.
template <class K>
Rc findForValue(SNodeCB_t *node, const typename K::Key &key, PropertyList &list, std::byte *&record) {
  const Rc rc = findInNode<K>(node, key, list, record);
  if constexpr (kIsBase<K>) {
    return rc;
  } else {
    return rc == K::data.notInTable ? K::data.notFound : rc;
  }
}

// Validates an address that a caller kept: it must be the start of a record of the list. Returns Ok or the kind's
// damage code; before it, for a base kind, the not-found code if there is no property.
template <class K>
Rc validateRecord(const PropertyList &list, const void *record) {
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

// Checks the node's condition, opens the list and validates a record's address. Returns the first failing step's code.
template <class K>
Rc validateInNode(SNodeCB_t *node, const void *record, PropertyList &list) {
  if (Rc rc = checkCondition(node, kMaskProperties); failed(rc)) return rc;
  if (Rc rc = openRecords<K>(node, list); failed(rc)) return rc;
  return validateRecord<K>(list, record);
}

}  // namespace sntr
