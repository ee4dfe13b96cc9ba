// From a key to a record in either layout, and the checks that every operation on one property begins with.
//
// Nothing here takes a latch: callers hold the node's section.
#pragma once

#include <cstddef>
#include <cstdint>

#include "layout/rc.h"
#include "properties/array_list.h"
#include "properties/hash_table.h"
#include "properties/property_list.h"
#include "tree/conditions.h"

namespace sntr {

// Masks of the condition check: for an operation on properties, and for laying out a list.
constexpr std::uint32_t kMaskProperties = 0x28;
constexpr std::uint32_t kMaskCreateList = kMaskActive;

// Finds the record of a key in an opened list. The not-found code of the list's layout; the damage code.
template <class K>
Rc findRecord(const PropertyList &list, const typename K::Key &key, std::byte *&record) {
  if (!list.isTable()) {
    record = findInArray<K>(list, key);
    return record != nullptr ? Rc::Ok : K::data.notFound;
  }
  ChainPlace place;
  if (Rc rc = searchTable<K>(list, key, place); failed(rc)) return rc;
  record = place.record;
  return place.matched ? Rc::Ok : K::data.notInTable;
}

// The condition of the node, the list, the record: the codes of each, in this order.
template <class K>
Rc locate(SNodeCB_t *node, const typename K::Key &key, std::byte *&record) {
  if (Rc rc = checkCondition(node, kMaskProperties); failed(rc)) return rc;
  PropertyList list;
  if (Rc rc = openList(node, K::data, list); failed(rc)) return rc;
  return findRecord<K>(list, key, record);
}

// The same for reading and writing values, which have one not-found code for both layouts.
template <class K>
Rc locateForValue(SNodeCB_t *node, const typename K::Key &key, std::byte *&record) {
  const Rc rc = locate<K>(node, key, record);
  return rc == K::data.notInTable ? K::data.notFound : rc;
}

// Whether an address that a caller kept is the start of a record of the list: the kind's damage code when it is not.
template <class K>
Rc checkRecord(const PropertyList &list, const void *record) {
  const std::uint64_t offset = list.area.offsetOf(record);
  if (list.isTable()) {
    const bool isOne = isSlot(list, slotSizeOf<K>(list), offset - K::data.chainSize, slotsEnd(list));
    return isOne ? Rc::Ok : K::data.damaged;
  }
  const std::uint64_t first = list.area.begin() + K::data.arrayHeader;
  const std::uint64_t stride = strideOf<K>(list);
  const bool isOne = liesWithin(offset, stride, first, list.area.end()) && (offset - first) % stride == 0;
  return isOne ? Rc::Ok : K::data.damaged;
}

// The condition of the node, the list, whether the address is a record of it: the codes of each, in this order.
template <class K>
Rc admitRecord(SNodeCB_t *node, const void *record) {
  if (Rc rc = checkCondition(node, kMaskProperties); failed(rc)) return rc;
  PropertyList list;
  if (Rc rc = openList(node, K::data, list); failed(rc)) return rc;
  return checkRecord<K>(list, record);
}

}  // namespace sntr
