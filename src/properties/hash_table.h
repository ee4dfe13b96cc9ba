// SPDX-License-Identifier: MIT
// Finds, adds and deletes properties in a hash table, over any keyed kind.
//
// Thread safety: the caller holds the node's section (for changes the write section) and opened the table inside it.
// Invariants:
// 1. Each bucket heads a chain of slots in strictly ascending key order, so a miss ends at the first greater key.
// 2. A link is one 8-byte word: a bucket, or the first word of a slot. One store of it creates a property, and ends it.
// 3. Everything is checked as it is read. A link leads to a slot that was handed out, and a walk takes no more steps
//    than the area could hold slots: a loop made of damage ends too.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "layout/rc.h"
#include "layout/words.h"
#include "properties/kind_types.h"
#include "properties/property_list.h"
#include "properties/side_chains.h"
#include "properties/slot_stack.h"
#include "tree/change_counter.h"

namespace sntr {

// Follows the chains of one list, within the bounds of its area.
template <class K>
class ChainWalk {
 public:
  explicit ChainWalk(const PropertyList &list)
      : area_(list.area), slots_(slotsOf<K>(list)), budget_(list.area.size()) {}

  bool holds(std::uint64_t offset) const { return slots_.holds(offset); }

  // Finds the slot at an offset. Returns Ok, or the kind's damage code if there is none.
  Rc slotAt(std::uint64_t offset, std::byte *&slot) const {
    if (!slots_.holds(offset)) [[unlikely]]
      return K::data.damaged;
    slot = area_.atChecked(offset);
    return Rc::Ok;
  }

  // Counts a step beyond a slot. Returns Ok, or the kind's damage code after more steps than the list has slots.
  Rc goOn() {
    if (budget_ < slots_.size()) [[unlikely]]
      return K::data.damaged;
    budget_ -= slots_.size();
    return Rc::Ok;
  }

 private:
  const PropertyArea &area_;
  SlotsOf<K> slots_;
  std::uint64_t budget_;  // bytes of slots that may still be visited
};

// Returns a bucket of the full-key array, just behind the header. The index is below the bucket count; the array fits.
template <class K>
std::byte *bucketAt(const PropertyList &list, std::uint64_t index) {
  return list.area.atPosition(K::data.tableHeader + kWordSize * index);
}

// The result of a search.
struct ChainPlace {
  std::byte *link = nullptr;    // the word that leads to the next slot: a bucket, or the first word of a slot
  std::uint64_t next = 0;       // its content
  std::byte *record = nullptr;  // the last record compared; null in an empty bucket
  bool matched = false;         // true if that record has the key, so that `next` is its slot
};

// Prefetches the first and the last line of a slot's value.
template <class K>
[[gnu::always_inline]] inline void prefetchValue(const PropertyList &list, const std::byte *slot) {
  const std::byte *room = slot + K::data.chainSize + K::data.recordSize;
  __builtin_prefetch(room);
  __builtin_prefetch(room + list.limits.maxValue - 1);
}

// Steps over the first slot of a chain if its tag is below the wanted one. No processor can predict that, so there is
// no branch: with one, a get among 1,000 takes a third longer. Unsound links are left to the search. Not for keys with
// an identifier: it lies in another cache line, which the choice would wait for.
template <class K>
[[gnu::always_inline]] inline void passFirstSlot(const PropertyList &list, const ChainWalk<K> &walk, const TagKey &key,
                                                 ChainPlace &place) {
  if (!walk.holds(place.next)) [[unlikely]]
    return;
  std::byte *slot = list.area.atChecked(place.next);
  const auto second = readWord<std::uint64_t>(slot);
  if constexpr (!kFixedSize<K>) prefetchValue<K>(list, slot);
  const std::uint64_t passed = std::uint64_t{0} - std::uint64_t{tagOf(slot + K::data.chainSize) < key.tag};
  place.record = slot + K::data.chainSize;
  place.link += passed & static_cast<std::uint64_t>(slot - place.link);
  place.next ^= passed & (place.next ^ second);
}

// Searches for a key, up to the first record that is not before it. Returns Ok, the kind's damage code, or a code of
// comparing keys.
template <class K>
[[gnu::always_inline]] inline Rc findInTable(const PropertyList &list, const typename K::Key &key, ChainPlace &place) {
  ChainWalk<K> walk(list);
  place.link = bucketAt<K>(list, key.hash % list.bucketCounts[0]);
  place.next = readWord<std::uint64_t>(place.link);
  if constexpr (!kHasID<K>) passFirstSlot<K>(list, walk, key, place);
  for (;;) {
    std::byte *slot = nullptr;
    if (Rc rc = walk.slotAt(place.next, slot); failed(rc)) return place.next == 0 ? Rc::Ok : rc;
    place.record = slot + K::data.chainSize;
    auto order = std::strong_ordering::less;
    if (Rc rc = key.compareTo(list, place.record, order); failed(rc)) return rc;
    place.matched = order == 0;
    if (order <= 0) return Rc::Ok;
    if (Rc rc = walk.goOn(); failed(rc)) return rc;
    place.link = slot;
    place.next = readWord<std::uint64_t>(slot);
  }
}

// The further chains of a kind, beside the full-key chain.
template <class K>
using HeadsOf = std::conditional_t<kHasID<K>, SideHeads, NoSideChains>;
template <class K>
using LinksOf = std::conditional_t<kHasID<K>, SideLinks, NoSideChains>;

// Fills a slot that was just taken, its links and tag included. The links of the tag and identifier chains are cleared
// first: until they are set the slot is in neither, and a delete must see that. Nothing leads to the slot yet, so the
// order of the other stores is free. Returns the codes of filling.
template <class K>
Rc fillSlot(SNodeCB_t *node, const PropertyList &list, const SlotLease &slot, std::uint64_t next,
            const typename K::Key &key, const typename K::Value &value) {
  std::byte *record = slot.address + K::data.chainSize;
  std::memset(slot.address + kWordSize, 0, K::data.chainSize - kWordSize);
  writeWord<std::uint64_t>(slot.address, next);
  writeWord<std::uint64_t>(record, key.tag);
  return fillRecord<K>(node, list, record, key, value);
}

// Takes and fills a slot; a failure leaves the table unchanged. Returns the codes of takeSlot() and of filling.
template <class K>
Rc makeSlot(SNodeCB_t *node, PropertyList &list, std::uint64_t next, const typename K::Key &key,
            const typename K::Value &value, std::uint64_t &offset) {
  SlotLease slot{};
  if (Rc rc = takeSlot(list, slot); failed(rc)) return rc;
  offset = slot.offset;
  const Rc filled = fillSlot<K>(node, list, slot, next, key, value);
  if (failed(filled)) giveBackSlot(list, slot);
  return filled;
}

// Adds a property. Returns Ok, the kind's exists or damage code, a code of comparing or of makeSlot(), or AtomicFailed.
// A failure before the link leaves the table unchanged. A failing change counter leaves the property linked and
// counted, but only in the full-key chain.
template <class K>
Rc addToTable(SNodeCB_t *node, PropertyList &list, const typename K::Key &key, const typename K::Value &value) {
  if (!list.isTable()) return Rc::BadBucketCount;
  ChainPlace place;
  if (Rc rc = findInTable<K>(list, key, place); failed(rc)) return rc;
  if (place.matched) return K::data.exists;
  HeadsOf<K> heads;
  if (Rc rc = heads.read(list, key); failed(rc)) return rc;
  std::uint64_t slot = 0;
  if (Rc rc = makeSlot<K>(node, list, place.next, key, value, slot); failed(rc)) return rc;
  // This store creates the property. A writer that dies after it leaves too low a used count; one that dies before it
  // leaves a slot that no chain reaches. The chains show both.
  publishWord<std::uint64_t>(place.link, slot);
  list.area.setUsed(list.area.used() + slotSizeOf<K>(list));
  if (Rc rc = countChange(node); failed(rc)) return rc;
  heads.push(list, slot);
  return Rc::Ok;
}

// Deletes a property. Returns Ok, the kind's not-found or damage code, a code of comparing or of pushFreedSlot(), or
// AtomicFailed. A failure before the change counter leaves the property in place; after a failure of the counter it is
// gone.
template <class K>
Rc deleteFromTable(SNodeCB_t *node, PropertyList &list, const typename K::Key &key) {
  if (!list.isTable()) return K::data.notInTable;
  ChainPlace place;
  if (Rc rc = findInTable<K>(list, key, place); failed(rc)) return rc;
  if (!place.matched) return K::data.notInTable;

  // The next link becomes the new value of this one: damage in it must not spread to the chain before it, and a slot
  // that leads to itself would stay in the chain.
  const auto next = readWord<std::uint64_t>(place.record - K::data.chainSize);
  const std::uint64_t slotSize = slotSizeOf<K>(list);
  const bool nextIsSound = next == 0 || (next != place.next && isSlot(list, slotSize, next, slotsEnd(list)));
  if (!nextIsSound || list.area.used() < slotSize) return K::data.damaged;
  LinksOf<K> links;
  if (Rc rc = links.find(list, place.next); failed(rc)) return rc;

  // Push first, because that step can fail. A writer that dies after it leaves a slot both on the stack and in a chain;
  // the full-key chains show that it is live.
  if (Rc rc = pushFreedSlot(list, place.next); failed(rc)) return rc;
  links.unlink();
  publishWord<std::uint64_t>(place.link, next);
  list.area.setUsed(list.area.used() - slotSize);
  return countChange(node);
}

// Calls visit(record) for each property with a tag, newest first, until it returns false; for kinds with a tag chain. A
// bucket mixes tags. Returns Ok, or the kind's damage code.
template <class K, class Visit>
Rc visitTagChain(const PropertyList &list, const TagKey &key, Visit &&visit) {
  ChainWalk<K> walk(list);
  const std::byte *link = list.area.at(sideBucket(list, kTagChain, key.hash), kWordSize);
  while (const auto offset = readWord<std::uint64_t>(link)) {
    std::byte *slot = nullptr;
    if (Rc rc = walk.slotAt(offset - kTagChain.nextAt, slot); failed(rc)) return rc;
    if (Rc rc = walk.goOn(); failed(rc)) return rc;
    std::byte *record = slot + K::data.chainSize;
    if (key.orderTo(record) == 0 && !visit(record)) return Rc::Ok;
    link = slot + kTagChain.nextAt;
  }
  return Rc::Ok;
}

// Calls visit(record) for each property, bucket by bucket, tags ascending in each, until it returns false. Returns Ok,
// or the kind's damage code, after visiting the properties before the damage.
template <class K, class Visit>
Rc visitTable(const PropertyList &list, Visit &&visit) {
  ChainWalk<K> walk(list);
  for (std::uint64_t index = 0; index < list.bucketCounts[0]; ++index) {
    std::byte *link = bucketAt<K>(list, index);
    while (const auto offset = readWord<std::uint64_t>(link)) {
      if (Rc rc = walk.slotAt(offset, link); failed(rc)) return rc;
      if (Rc rc = walk.goOn(); failed(rc)) return rc;
      if (!visit(link + K::data.chainSize)) return Rc::Ok;
    }
  }
  return Rc::Ok;
}

}  // namespace sntr
