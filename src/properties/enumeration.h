// SPDX-License-Identifier: MIT
// Counts properties and copies their keys, over any keyed kind; walks over the records of an array.
//
// Thread safety: callers of functions without a Trace, of numberOfProperties() and of the walkers hold the node's
// section. The other functions enter it, unless the caller holds it.
// Invariant: in both layouts the not-found code here is the table's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/section.h"
#include "layout/words.h"
#include "properties/lookup.h"

namespace sntr {

// Calls visit(record) for each property, in either layout, until it returns false. Returns Ok or the damage code.
template <class K, class Visit>
Rc visitProperties(const PropertyList &list, Visit &&visit) {
  if (list.isTable()) return visitTable<K>(list, visit);
  visitArray<K>(list, visit);
  return Rc::Ok;
}

// Counts by walking: the chains decide what exists, `areaUsed` only describes it.
template <class K>
Rc countAll(const PropertyList &list, std::uint64_t &count) {
  count = 0;
  return visitProperties<K>(list, [&](std::byte *) { return ++count != 0; });
}

// Calls visit(record) for each property with a tag, until it returns false: at most one in a kind without identifiers.
// A missing tag is no failure. Returns the codes of the walk.
template <class K, class Visit>
Rc visitTag(const PropertyList &list, const TagKey &key, Visit &&visit) {
  if (!list.isTable()) {
    visitArray<K>(list, [&](std::byte *record) { return key.orderTo(record) != 0 || visit(record); });
    return Rc::Ok;
  }
  if constexpr (kHasID<K>) {
    return visitTagChain<K>(list, key, visit);
  } else {
    std::byte *record = nullptr;
    const Rc rc = findRecord<K>(list, key, record);
    if (!failed(rc)) static_cast<void>(visit(record));
    return rc == K::data.notInTable ? Rc::Ok : rc;
  }
}

// Counts the properties of one tag. Returns Ok, or the not-found or damage code with a count of 0.
template <class K>
Rc countTag(const PropertyList &list, const TagKey &key, std::uint64_t &count) {
  count = 0;
  const Rc rc = visitTag<K>(list, key, [&](std::byte *) { return ++count != 0; });
  if (failed(rc)) count = 0;
  if (failed(rc) || count != 0) return rc;
  return K::data.notInTable;
}

// Checks the argument of an operation on one tag, or on all for 0: the kind's own check, with an empty identifier.
template <class K>
Rc prepareTag(SNodeCB_t *node, TagKey &key) {
  key.takeHash();
  if constexpr (kHasID<K>) return checkInputFor<K>(node, TagIDKey(key.tag, 0, ""), 1);
  if constexpr (!kHasID<K>) return checkInputFor<K>(node, key, 1);
}

// Opens the list and counts all properties for tag 0, else those with the tag. The caller holds the section.
template <class K>
Rc countProperties(SNodeCB_t *node, const TagKey &key, std::uint64_t &count) {
  PropertyList list;
  if (Rc rc = openToFind<K>(node, list); failed(rc)) return rc;
  return key.tag == 0 ? countAll<K>(list, count) : countTag<K>(list, key, count);
}

// Counts all properties for a caller that holds the section; the node's condition is not checked.
template <class K>
Rc numberOfProperties(const Trace &t, SNodeCB_t *node, std::uint64_t *count) {
  if (node == nullptr) return t.fail(1, Rc::NullNode);
  if (count == nullptr) return t.fail(2, Rc::NullOutput);
  PropertyList list;
  if (Rc rc = openToFind<K>(node, list); failed(rc)) return t.fail(3, rc);
  return t.fail(4, countAll<K>(list, *count));
}

// Counts in a section. A count above a list's maximum is stored, and reported after the section.
template <class K>
Rc returnPropertyCount(const Trace &t, SNodeCB_t *node, TagKey key, std::uint64_t *count, std::uint64_t latchHeld) {
  if (Rc rc = prepareTag<K>(node, key); failed(rc)) return t.fail(1, rc);
  if (count == nullptr) return t.fail(2, Rc::NullOutput);
  const Rc rc = readSection(t, node, heldIf(latchHeld), [&]() -> Rc {
    if (Rc bad = checkCondition(node, kMaskProperties); failed(bad)) return t.fail(3, bad);
    return t.fail(4, countProperties<K>(node, key, *count));
  });
  if (failed(rc)) return rc;
  return *count <= SNTR_MAX_PROPERTIES ? Rc::Ok : t.fail(5, K::data.badCount);
}

// Counts the properties of one tag. Unlike above, tag 0 is an ordinary tag, and the node's condition is not checked.
template <class K>
Rc numberForTag(const Trace &t, SNodeCB_t *node, TagKey key, std::uint64_t *count, std::uint64_t latchHeld) {
  if (Rc rc = prepareTag<K>(node, key); failed(rc)) return t.fail(1, rc);
  if (count == nullptr) return t.fail(2, K::data.nullUsedOutput);
  PropertyList list;
  if (Rc rc = openToFind<K>(node, list); failed(rc)) return t.fail(3, rc);
  return readSection(t, node, heldIf(latchHeld), [&]() -> Rc {
    if (Rc rc = openToFind<K>(node, list); failed(rc)) return t.fail(4, rc);
    return t.fail(5, countTag<K>(list, key, *count));
  });
}

// The caller's arrays for keys, those of the kind, of `capacity` entries each.
struct KeyArrays {
  std::uint64_t *tags;
  std::uint64_t *idLengths;
  void *ids;  // `capacity` slots of `idWidth` bytes
  std::uint64_t *valueSizes;
  std::uint64_t capacity;
  std::uint64_t idWidth;
};

// Copies an identifier. Returns Ok, IDTooLong (longer than its list or the caller's slot allows), or BytesOutsideArea.
inline Rc copyID(const PropertyList &list, const std::byte *record, std::byte *slot, std::uint64_t width,
                 std::uint64_t &length) {
  const StoredID stored(list, record);
  if (stored.length > std::min(list.limits.maxID, width)) return Rc::IDTooLong;
  if (!stored.isInItsRoom(list)) return Rc::BytesOutsideArea;
  length = stored.length;
  std::memcpy(slot, stored.room, stored.length);
  return Rc::Ok;
}

// Copies the size of a value. Returns Ok, the kind's outside code, or BadValueSize.
template <class K>
Rc copySize(const PropertyList &list, const std::byte *record, std::uint64_t &size) {
  const auto offset = readWord<std::uint64_t>(record + K::valueOffsetAt);
  if (!liesWithin(offset, 1, list.area.begin(), list.area.end())) return K::valueOutside;
  size = readWord<std::uint64_t>(record + K::valueOffsetAt + kWordSize);
  return checkValueSize(size, list.limits.maxValue);
}

template <class K>
class KeySink {
 public:
  explicit KeySink(const KeyArrays &arrays) : to_(arrays) {}

  bool isFull() const { return stored_ == to_.capacity; }
  bool isEmpty() const { return stored_ == 0; }

  // Returns Ok, NullTags, NullLength, NullID or NullValueSizes.
  Rc check() const {
    if (to_.tags == nullptr) return Rc::NullTags;
    if constexpr (kHasID<K>) {
      if (to_.idLengths == nullptr) return Rc::NullLength;
      if (to_.ids == nullptr) return Rc::NullID;
    }
    if constexpr (kHasBytes<K>) {
      if (to_.valueSizes == nullptr) return Rc::NullValueSizes;
    }
    return Rc::Ok;
  }
  Rc checkCapacity() const {
    return to_.capacity == 0 || to_.capacity > SNTR_MAX_PROPERTIES ? K::data.badCount : Rc::Ok;
  }
  Rc checkWidth(const PropertyList &list) const {
    return kHasID<K> && to_.idWidth > list.limits.maxID ? Rc::IDSlotTooWide : Rc::Ok;
  }

  // Stores the key of one property; an entry counts only after all of it was stored. Returns Ok, TagTooLarge for a
  // stored tag that no property can have, or a code of copyID() or copySize().
  Rc store(const PropertyList &list, const std::byte *record) {
    const std::uint64_t tag = tagOf(record);
    if (tag > SNTR_MAX_TAG) return Rc::TagTooLarge;
    if constexpr (kHasID<K>) {
      if (Rc rc = copyID(list, record, slot(stored_), to_.idWidth, to_.idLengths[stored_]); failed(rc)) return rc;
    }
    if constexpr (kHasBytes<K>) {
      if (Rc rc = copySize<K>(list, record, to_.valueSizes[stored_]); failed(rc)) return rc;
    }
    to_.tags[stored_++] = tag;
    return Rc::Ok;
  }

  void clearRest() {
    const std::uint64_t rest = to_.capacity - stored_;
    std::memset(to_.tags + stored_, 0, rest * sizeof(*to_.tags));
    if constexpr (kHasID<K>) {
      std::memset(to_.idLengths + stored_, 0, rest * sizeof(*to_.idLengths));
      std::memset(slot(stored_), 0, rest * to_.idWidth);
    }
    if constexpr (kHasBytes<K>) std::memset(to_.valueSizes + stored_, 0, rest * sizeof(*to_.valueSizes));
  }

 private:
  std::byte *slot(std::uint64_t index) const { return static_cast<std::byte *>(to_.ids) + index * to_.idWidth; }

  KeyArrays to_;
  std::uint64_t stored_ = 0;
};

// Copies the keys of all properties, or of those with the filter's tag, up to the sink's capacity. Returns the codes of
// the walk and of the sink.
template <class K>
Rc copyKeys(const PropertyList &list, const TagKey &filter, KeySink<K> &sink) {
  Rc stored = Rc::Ok;
  const auto take = [&](std::byte *record) {
    stored = sink.store(list, record);
    return !failed(stored) && !sink.isFull();
  };
  const Rc walked = filter.tag == 0 ? visitProperties<K>(list, take) : visitTag<K>(list, filter, take);
  return firstFailure(stored, walked);
}

// Copies the keys of a node's list and clears the entries behind the last stored one. No entry at all is not-found.
template <class K>
Rc returnKeys(SNodeCB_t *node, const TagKey &filter, KeySink<K> &sink) {
  PropertyList list;
  if (Rc rc = openToFind<K>(node, list); failed(rc)) return rc;
  const Rc rc = copyKeys<K>(list, filter, sink);
  sink.clearRest();
  if (failed(rc)) return rc;
  return sink.isEmpty() ? K::data.notInTable : Rc::Ok;
}

// Copies keys in a section. The order of the checks is published: the area before the filter, the list after it.
template <class K>
Rc returnProperties(const Trace &t, SNodeCB_t *node, const KeyArrays &arrays, TagKey filter, std::uint64_t latchHeld) {
  if (node == nullptr) return t.fail(1, Rc::NullNode);
  KeySink<K> sink(arrays);
  if (Rc rc = sink.checkCapacity(); failed(rc)) return t.fail(2, rc);
  if (Rc rc = sink.check(); failed(rc)) return t.fail(7, rc);
  PropertyArea area;
  if (Rc rc = area.open(node, K::data.selector); failed(rc)) return t.fail(8, rc);
  if (Rc rc = checkNodeAndTag(node, filter.tag); failed(rc)) return t.fail(3, rc);
  PropertyList list;
  if (Rc rc = openToFind<K>(node, list); failed(rc)) return t.fail(4, rc);
  if (Rc rc = sink.checkWidth(list); failed(rc)) return t.fail(9, rc);
  filter.takeHash();
  return readSection(t, node, heldIf(latchHeld), [&]() -> Rc {
    if (Rc rc = checkCondition(node, kMaskProperties); failed(rc)) return t.fail(5, rc);
    return t.fail(6, returnKeys<K>(node, filter, sink));
  });
}

// Checks the position of a walker; the one just behind the area passes. Returns Ok, or the kind's walk code.
template <class K>
Rc checkPosition(std::uint64_t offset, std::uint64_t areaOffset, std::uint64_t areaSize) {
  return liesWithin(offset, 0, areaOffset, areaOffset + areaSize) ? Rc::Ok : K::data.walkDamaged;
}

// Returns the first record of an array, the number of records in use, and the number that fits. The two counts are
// stored even if the area is too small for its header.
template <class K>
Rc firstLocation(const Trace &t, SNodeCB_t *node, SNodeProperty_t **location, std::uint64_t *used,
                 std::uint64_t *capacity) {
  if (node == nullptr) return t.fail(1, Rc::NullNode);
  if (used == nullptr) return t.fail(2, K::data.nullUsedOutput);
  if (capacity == nullptr) return t.fail(3, K::data.nullCapacityOutput);
  if (location == nullptr) return t.fail(4, K::data.nullRecord);
  PropertyList list;
  list.kind = &K::data;
  if (Rc rc = list.area.open(node, K::data.selector); failed(rc)) return t.fail(5, rc);
  if (Rc rc = readLimits(K::data, list.area, list.limits); failed(rc)) return t.fail(6, rc);
  *used = arrayInUse<K>(list);
  *capacity = arrayCapacity<K>(list);
  const std::uint64_t first = list.area.begin() + K::data.arrayHeader;
  if (Rc rc = checkPosition<K>(first, list.area.begin(), list.area.size()); failed(rc)) return t.fail(7, rc);
  *location = reinterpret_cast<SNodeProperty_t *>(list.area.at(first, 0));
  return Rc::Ok;
}

// Reads the sizes that the stride of a kind depends on, if any. Returns the codes of findArea() and readLimits().
template <class K>
Rc openStride([[maybe_unused]] SNodeCB_t *node, PropertyList &list) {
  list.kind = &K::data;
  if constexpr (kFixedSize<K>) {
    return Rc::Ok;
  } else {
    const Rc rc = list.area.open(node, K::data.selector);
    return failed(rc) ? rc : readLimits(K::data, list.area, list.limits);
  }
}

// Returns the record after a location, inside the area of the given entry. Nothing is read at the location.
template <class K>
Rc nextLocation(const Trace &t, SNodeCB_t *node, const AreaEntry *entry, SNodeProperty_t **location) {
  if (node == nullptr) return t.fail(1, Rc::NullNode);
  if (entry == nullptr) return t.fail(2, Rc::NullOutput);
  if (location == nullptr || *location == nullptr) return t.fail(3, K::data.nullRecord);
  PropertyList list;
  if (Rc rc = openStride<K>(node, list); failed(rc)) return t.fail(4, rc);
  const std::uint64_t offset = PropertyArea::offsetIn(node, *location) + strideOf<K>(list);
  const auto areaOffset = loadField(entry->areaOffset);
  if (Rc rc = checkPosition<K>(offset, areaOffset, loadField(entry->areaSize)); failed(rc)) return t.fail(5, rc);
  *location = reinterpret_cast<SNodeProperty_t *>(PropertyArea::addressIn(node, offset));
  return Rc::Ok;
}

}  // namespace sntr
