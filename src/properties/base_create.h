// SPDX-License-Identifier: MIT
// Creates and deletes the single property of a base kind.
//
// Thread safety: any thread for functions with a Trace; baseLocation() and the others need the node's section.
// Invariants:
// 1. The record lies at the start of its area; creating it again overwrites it.
// 2. `areaUsed` covers the whole property: there is one if it is not 0.
#pragma once

#include <algorithm>
#include <cstdint>

#include "frame/section.h"
#include "properties/lookup.h"
#include "tree/change_counter.h"

namespace sntr {

// Computes the bytes that a value may need: the V list's maximum, at least 1 because size 1 always passes; 0 for a
// register. Returns the codes of limitsOf().
template <class K>
Rc valueBytes(SNodeCB_t *node, std::uint64_t &bytes) {
  bytes = 0;
  if constexpr (kHasBytes<K>) {
    Limits limits;
    if (Rc rc = limitsOf(node, kVData, limits); failed(rc)) return rc;
    bytes = std::max<std::uint64_t>(limits.maxValue, 1);
  }
  return Rc::Ok;
}

// Checks a value before the area. Returns Ok, BadValueSize, or the kind's null-value code.
template <class K>
Rc checkBaseValue(const typename K::Value &value, std::uint64_t bytes) {
  if constexpr (kHasBytes<K>) {
    if (Rc rc = checkValueSize(value.size, bytes); failed(rc)) return rc;
    if (value.data == nullptr) return K::nullValue;
  }
  return Rc::Ok;
}

// Writes the record. The section keeps readers out, so the order of the stores matters only if this process dies in
// between: the tag and then the used bytes, by which the property is found, go last.
template <class K>
Rc storeBase(SNodeCB_t *node, PropertyList &list, const TagKey &key, const typename K::Value &value,
             std::uint64_t used) {
  std::byte *record = baseRecord(list);
  if (Rc rc = fillRecord<K>(node, list, record, key, value); failed(rc)) return rc;
  publishWord<std::uint64_t>(record, key.tag);
  list.area.setUsed(used);
  return countChange(node);
}

template <class K>
Rc createBase(const Trace &t, SNodeCB_t *node, const TagKey &key, const typename K::Value &value,
              std::uint64_t latchHeld) {
  if (node == nullptr) return t.fail(1, Rc::NullNode);
  if (!hasKind(node, K::data.selector)) return t.fail(2, K::data.noOption);
  std::uint64_t bytes = 0;
  if (Rc rc = valueBytes<K>(node, bytes); failed(rc)) return t.fail(3, rc);
  if (Rc rc = checkBaseValue<K>(value, bytes); failed(rc)) return t.fail(4, rc);
  PropertyList list;
  if (Rc rc = list.area.open(node, K::data.selector); failed(rc)) return t.fail(5, rc);
  if (list.area.size() < K::data.recordSize + bytes) return t.fail(6, K::data.areaTooSmall);
  if (key.tag > SNTR_MAX_TAG) return t.fail(7, Rc::TagTooLarge);
  return writeSection(t, node, heldIf(latchHeld), [&]() -> Rc {
    if (Rc rc = checkCondition(node, kMaskCreateList); failed(rc)) return t.fail(8, rc);
    return t.fail(9, storeBase<K>(node, list, key, value, K::data.recordSize + bytes));
  });
}

// Ends the property by the store of the used bytes; an empty record has tag 0.
inline Rc emptyBase(SNodeCB_t *node, PropertyList &list, std::byte *record) {
  list.area.setUsed(0);
  writeWord<std::uint64_t>(record, 0);
  return countChange(node);
}

// Deletes the property of a tag. Deleting tag 0 without a property succeeds and changes nothing.
template <class K>
Rc deleteBase(const Trace &t, SNodeCB_t *node, TagKey key, std::uint64_t latchHeld) {
  if (Rc rc = prepare<K>(node, key); failed(rc)) return t.fail(1, rc);
  return writeSection(t, node, heldIf(latchHeld), [&]() -> Rc {
    PropertyList list;
    std::byte *record = nullptr;
    const Rc located = findInNode<K>(node, key, list, record);
    if (located == K::data.notFound && key.tag == 0 && isNoBase(list)) return Rc::Ok;
    if (failed(located)) return t.fail(2, located);
    return t.fail(3, emptyBase(node, list, record));
  });
}

// Returns the record, whatever its tag, to a caller that holds the section.
template <class K>
Rc baseLocation(const Trace &t, SNodeCB_t *node, SNodeProperty_t **out) {
  if (node == nullptr) return t.fail(1, Rc::NullNode);
  if (out == nullptr) return t.fail(2, K::data.nullRecord);
  PropertyList list;
  if (Rc rc = openBase<K>(node, list); failed(rc)) return t.fail(3, rc);
  *out = reinterpret_cast<SNodeProperty_t *>(baseRecord(list));
  return Rc::Ok;
}

// Reads the tag, 0 if there is no property. Returns Ok, or TagTooLarge for a damaged record.
inline Rc readBaseTag(const PropertyList &list, std::uint64_t &tag) {
  const std::uint64_t stored = isNoBase(list) ? 0 : tagOf(baseRecord(list));
  if (stored > SNTR_MAX_TAG) return Rc::TagTooLarge;
  tag = stored;
  return Rc::Ok;
}

// Reads the size of a BaseV value. Returns Ok, BaseVValueOutsideArea or BadValueSize.
inline Rc readBaseSize(const PropertyList &list, const std::byte *record, std::uint64_t &size) {
  const auto offset = readWord<std::uint64_t>(record + BaseVKind::valueOffsetAt);
  if (!liesWithin(offset, 1, list.area.begin(), list.area.end())) return BaseVKind::valueOutside;
  const auto stored = readWord<std::uint64_t>(record + BaseVKind::valueOffsetAt + kWordSize);
  if (Rc rc = checkValueSize(stored, list.limits.maxValue); failed(rc)) return rc;
  size = stored;
  return Rc::Ok;
}

// Reads the tag of the property and, for BaseV, the size of its value.
template <class K>
Rc returnBase(const Trace &t, SNodeCB_t *node, std::uint64_t *tag, [[maybe_unused]] std::uint64_t *size,
              std::uint64_t latchHeld) {
  if (node == nullptr) return t.fail(1, Rc::NullNode);
  if (tag == nullptr) return t.fail(2, Rc::NullBaseTagOutput);
  if constexpr (kHasBytes<K>) {
    if (size == nullptr) return t.fail(3, Rc::NullValueSizes);
  }
  PropertyArea area;
  if (Rc rc = area.open(node, K::data.selector); failed(rc)) return t.fail(4, rc);
  return readSection(t, node, heldIf(latchHeld), [&]() -> Rc {
    if (Rc rc = checkCondition(node, kMaskProperties); failed(rc)) return t.fail(5, rc);
    PropertyList list;
    if (Rc rc = openBase<K>(node, list); failed(rc)) return t.fail(6, rc);
    if (Rc rc = readBaseTag(list, *tag); failed(rc)) return t.fail(7, rc);
    if constexpr (kHasBytes<K>) return t.fail(8, readBaseSize(list, baseRecord(list), *size));
    return Rc::Ok;
  });
}

}  // namespace sntr
