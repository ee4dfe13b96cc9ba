// Counting properties and copying their keys out, over any keyed kind; and the walkers, which callers use to visit the
// records of an array one by one.
//
// In both layouts the not-found code here is the table's. Callers of what takes no Trace hold the node's section.
#pragma once

#include <cstddef>
#include <cstdint>

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

// Counts the properties of one tag, for kinds that a tag alone names. The not-found code with a count of 0.
template <class K>
Rc countTag(const PropertyList &list, const TagKey &key, std::uint64_t &count) {
  count = 0;
  if (list.isTable()) {
    std::byte *record = nullptr;
    const Rc rc = findRecord<K>(list, key, record);
    count = failed(rc) ? 0 : 1;
    return rc;
  }
  visitArray<K>(list, [&](std::byte *record) {
    if (key.orderTo(record) == 0) ++count;
    return true;
  });
  return count != 0 ? Rc::Ok : K::data.notInTable;
}

// Opens the list and counts: all properties for tag 0, else those with the tag. The caller holds the section.
template <class K>
Rc countProperties(SNodeCB_t *node, const TagKey &key, std::uint64_t &count) {
  PropertyList list;
  if (Rc rc = openList(node, K::data, list); failed(rc)) return rc;
  return key.tag == 0 ? countAll<K>(list, count) : countTag<K>(list, key, count);
}

// Counts all properties for a caller that holds the section; the condition of the node is not looked at.
template <class K>
Rc numberOfProperties(const Trace &t, SNodeCB_t *node, std::uint64_t *count) {
  if (node == nullptr) return t.fail(1, Rc::NullNode);
  if (count == nullptr) return t.fail(2, Rc::NullOutput);
  PropertyList list;
  if (Rc rc = openList(node, K::data, list); failed(rc)) return t.fail(3, rc);
  return t.fail(4, countAll<K>(list, *count));
}

// Counts in a section. More properties than a list may be created with are reported, with the count, after the section.
template <class K>
Rc returnPropertyCount(const Trace &t, SNodeCB_t *node, TagKey key, std::uint64_t *count, std::uint64_t latchHeld) {
  if (Rc rc = key.prepare(node); failed(rc)) return t.fail(1, rc);
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
  if (Rc rc = key.prepare(node); failed(rc)) return t.fail(1, rc);
  if (count == nullptr) return t.fail(2, K::data.nullUsedOutput);
  PropertyList list;
  if (Rc rc = openList(node, K::data, list); failed(rc)) return t.fail(3, rc);
  return readSection(t, node, heldIf(latchHeld), [&]() -> Rc {
    if (Rc rc = openList(node, K::data, list); failed(rc)) return t.fail(4, rc);
    return t.fail(5, countTag<K>(list, key, *count));
  });
}

// Where the keys of R properties are copied to: the caller's array of `capacity` tags.
struct TagSink {
  std::uint64_t *tags;
  std::uint64_t capacity;
  std::uint64_t stored = 0;

  bool isFull() const { return stored == capacity; }

  // TagTooLarge for a stored tag that no property can have: the record is damaged.
  Rc store(const std::byte *record) {
    const std::uint64_t tag = tagOf(record);
    if (tag > SNTR_MAX_TAG) return Rc::TagTooLarge;
    tags[stored++] = tag;
    return Rc::Ok;
  }

  void clearRest() {
    for (std::uint64_t i = stored; i < capacity; ++i) tags[i] = 0;
  }
};

// Copies the keys of all properties, or of those with the filter's tag, up to the sink's capacity. The codes of the
// walk and of the sink.
template <class K, class Sink>
Rc copyKeys(const PropertyList &list, const TagKey &filter, Sink &sink) {
  if (list.isTable() && filter.tag != 0) {
    std::byte *record = nullptr;
    const Rc found = findRecord<K>(list, filter, record);
    return failed(found) ? found : sink.store(record);
  }
  Rc stored = Rc::Ok;
  const Rc walked = visitProperties<K>(list, [&](std::byte *record) {
    if (filter.tag != 0 && filter.orderTo(record) != 0) return true;
    stored = sink.store(record);
    return !failed(stored) && !sink.isFull();
  });
  return firstFailure(walked, stored);
}

// The same for a node's list: the entries behind the last stored one are cleared, and no entry at all is not-found.
template <class K, class Sink>
Rc returnKeys(SNodeCB_t *node, const TagKey &filter, Sink &sink) {
  PropertyList list;
  if (Rc rc = openList(node, K::data, list); failed(rc)) return rc;
  const Rc rc = copyKeys<K>(list, filter, sink);
  sink.clearRest();
  if (failed(rc)) return rc;
  return sink.stored != 0 ? Rc::Ok : K::data.notInTable;
}

// NullNode, the kind's count code, NullTags.
template <class K>
Rc checkKeysOutput(const SNodeCB_t *node, const std::uint64_t *tags, std::uint64_t capacity) {
  if (node == nullptr) return Rc::NullNode;
  if (capacity == 0 || capacity > SNTR_MAX_PROPERTIES) return K::data.badCount;
  return tags != nullptr ? Rc::Ok : Rc::NullTags;
}

// Copies tags in a section. The order of the checks is the callers': the area before the filter, the list after it.
template <class K>
Rc returnTags(const Trace &t, SNodeCB_t *node, std::uint64_t *tags, TagKey filter, std::uint64_t capacity,
              std::uint64_t latchHeld) {
  if (Rc rc = checkKeysOutput<K>(node, tags, capacity); failed(rc)) return t.fail(1, rc);
  PropertyArea area;
  if (Rc rc = area.open(node, K::data.selector); failed(rc)) return t.fail(2, rc);
  if (Rc rc = filter.prepare(node); failed(rc)) return t.fail(3, rc);
  PropertyList list;
  if (Rc rc = openList(node, K::data, list); failed(rc)) return t.fail(4, rc);
  TagSink sink{tags, capacity};
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
  if (Rc rc = readLimits(list); failed(rc)) return t.fail(6, rc);
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
    return failed(rc) ? rc : readLimits(list);
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
