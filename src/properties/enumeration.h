// Counting properties and copying their keys out, over any keyed kind; and the walkers, which callers use to visit the
// records of an array one by one.
//
// In both layouts the not-found code here is the table's. Callers of what takes no Trace hold the node's section.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/section.h"
#include "layout/words.h"
#include "properties/lookup.h"

namespace sntr {

// Calls visit(record) for each property of a list of either layout, until it answers false. The kind's damage code.
template <class K, class Visit>
Rc visitProperties(const PropertyList &list, Visit &&visit) {
  if (list.isTable()) return visitTable<K>(list, visit);
  visitArray<K>(list, visit);
  return Rc::Ok;
}

// Counts by walking: the chains are what exists, and `areaUsed` is only what is known about it.
template <class K>
Rc countAll(const PropertyList &list, std::uint64_t &count) {
  count = 0;
  return visitProperties<K>(list, [&](std::byte *) { return ++count != 0; });
}

// Calls visit(record) for each property with a tag, until it answers false: of a kind that tags alone name there is at
// most one. A missing tag is no failure. The codes of the walk.
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

// Counts the properties of one tag. The not-found and damage codes, with a count of 0.
template <class K>
Rc countTag(const PropertyList &list, const TagKey &key, std::uint64_t &count) {
  count = 0;
  const Rc rc = visitTag<K>(list, key, [&](std::byte *) { return ++count != 0; });
  if (failed(rc)) count = 0;
  if (failed(rc) || count != 0) return rc;
  return K::data.notInTable;
}

// The argument check of an operation that names a tag, or 0 for all: the kind's own, with an empty identifier.
template <class K>
Rc prepareTag(SNodeCB_t *node, TagKey &key) {
  key.takeHash();
  if constexpr (kHasID<K>) return K::checkInput(node, TagIDKey(key.tag, 0, ""), 1);
  if constexpr (!kHasID<K>) return K::checkInput(node, key, 1);
}

// Opens the list and counts: all properties for tag 0, else those with the tag. The caller holds the section.
template <class K>
Rc countProperties(SNodeCB_t *node, const TagKey &key, std::uint64_t &count) {
  PropertyList list;
  if (Rc rc = openToFind<K>(node, list); failed(rc)) return rc;
  return key.tag == 0 ? countAll<K>(list, count) : countTag<K>(list, key, count);
}

// Counts all properties for a caller that holds the section; the condition of the node is not looked at.
template <class K>
Rc numberOfProperties(const Trace &t, SNodeCB_t *node, std::uint64_t *count) {
  if (node == nullptr) return t.fail(1, Rc::NullNode);
  if (count == nullptr) return t.fail(2, Rc::NullOutput);
  PropertyList list;
  if (Rc rc = openToFind<K>(node, list); failed(rc)) return t.fail(3, rc);
  return t.fail(4, countAll<K>(list, *count));
}

// Counts in a section. More properties than a list may be created with are reported, with the count, after the section.
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

// Unlike the count above, tag 0 is a tag like any other, and the condition of the node is not looked at.
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

// Where keys are copied to: the caller's arrays, those of the kind, of `capacity` entries each.
struct KeyArrays {
  std::uint64_t *tags;
  std::uint64_t *idLengths;
  void *ids;  // `capacity` slots of `idWidth` bytes
  std::uint64_t *valueSizes;
  std::uint64_t capacity;
  std::uint64_t idWidth;
};

// The bytes of an identifier. IDTooLong: longer than its list or the caller's slot allows; BytesOutsideArea.
inline Rc copyID(const PropertyList &list, const std::byte *record, std::byte *slot, std::uint64_t width,
                 std::uint64_t &length) {
  const StoredID stored(list, record);
  if (stored.length > std::min(list.limits.maxID, width)) return Rc::IDTooLong;
  if (!stored.isInItsRoom(list)) return Rc::BytesOutsideArea;
  length = stored.length;
  std::memcpy(slot, stored.room, stored.length);
  return Rc::Ok;
}

// The size of a value. The kind's outside code, BadValueSize.
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

  // NullTags, NullLength, NullID, NullValueSizes.
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
  // IDSlotTooWide.
  Rc checkWidth(const PropertyList &list) const {
    return kHasID<K> && to_.idWidth > list.limits.maxID ? Rc::IDSlotTooWide : Rc::Ok;
  }

  // Stores the key of one property; an entry counts once all of it was stored. TagTooLarge for a stored tag that no
  // property can have; the codes of copyID() and copySize().
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

// Copies the keys of all properties, or of those with the filter's tag, up to the sink's capacity. The codes of the
// walk and of the sink.
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

// The same for a node's list: the entries behind the last stored one are cleared, and no entry at all is not-found.
template <class K>
Rc returnKeys(SNodeCB_t *node, const TagKey &filter, KeySink<K> &sink) {
  PropertyList list;
  if (Rc rc = openToFind<K>(node, list); failed(rc)) return rc;
  const Rc rc = copyKeys<K>(list, filter, sink);
  sink.clearRest();
  if (failed(rc)) return rc;
  return sink.isEmpty() ? K::data.notInTable : Rc::Ok;
}

// Copies keys in a section. The order of the checks is the callers': the area before the filter, the list after it.
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

// Whether a walker may stand at an offset: the position just behind the area passes. The kind's walk code.
template <class K>
Rc checkPosition(std::uint64_t offset, std::uint64_t areaOffset, std::uint64_t areaSize) {
  return liesWithin(offset, 0, areaOffset, areaOffset + areaSize) ? Rc::Ok : K::data.walkDamaged;
}

// The first record of an array, how many records are in use and how many there is room for. The two counts are stored
// although the area is too small for its header.
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

// Reads what the stride of a kind depends on: nothing for a kind whose records have one size. The codes of findArea()
// and readLimits().
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

// The record after a location, inside the area of an entry that the caller got earlier. Nothing is read at the
// location.
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
