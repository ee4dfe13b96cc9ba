// Finding, adding and deleting in a hash table, over any keyed kind.
//
// Each bucket heads a chain of slots in strictly ascending key order, so a miss ends at the first greater key. A link
// is one 8-byte word: the bucket, or the first word of the slot before. That one store is what makes a property exist
// and what ends it. Everything is checked as it is read: a link must lead to a slot that was handed out, and a walk
// takes no more steps than the area could hold slots, so a loop made of damage ends too.
//
// Callers hold the node's section, the write section for changes, and have opened the list inside it as a table.
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

// Follows the chains of one list, within what its area could hold.
template <class K>
class ChainWalk {
 public:
  explicit ChainWalk(const PropertyList &list)
      : area_(list.area), slots_(slotsOf<K>(list)), budget_(list.area.size()) {}

  bool holds(std::uint64_t offset) const { return slots_.holds(offset); }

  // The slot at an offset. The kind's damage code if there is none.
  Rc slotAt(std::uint64_t offset, std::byte *&slot) const {
    if (!slots_.holds(offset)) [[unlikely]]
      return K::data.damaged;
    slot = area_.atChecked(offset);
    return Rc::Ok;
  }

  // To be called before going on behind a slot. The kind's damage code after more steps than the list has slots.
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

// The word of a bucket of the full-key array, the first array behind the header. The index is below their number, and
// the rest of the area is known to fit.
template <class K>
std::byte *bucketAt(const PropertyList &list, std::uint64_t index) {
  return list.area.atPosition(K::data.tableHeader + kWordSize * index);
}

// Where a search ended.
struct ChainPlace {
  std::byte *link = nullptr;    // the word before the place: a bucket, or the first word of a slot
  std::uint64_t next = 0;       // what it held
  std::byte *record = nullptr;  // the last record looked at; null in an empty bucket
  bool matched = false;         // whether that record has the key, and so `next` is its slot
};

// Prefetches the first and the last line of a slot's value.
template <class K>
[[gnu::always_inline]] inline void prefetchValue(const PropertyList &list, const std::byte *slot) {
  const std::byte *room = slot + K::data.chainSize + K::data.recordSize;
  __builtin_prefetch(room);
  __builtin_prefetch(room + list.limits.maxValue - 1);
}

// Steps over the first slot of a chain if its tag is below the wanted one. Which of the first two slots has a tag no
// processor can foresee, so this is done without a branch: with one, a get among 1,000 takes a third longer. What is
// not sound is left to the search. Not for keys with an identifier: it stands in another line of the cache, for which
// the choice would have to wait.
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

// Searches for a key, up to the first record that is not before it. The kind's damage code, those of comparing keys.
template <class K>
[[gnu::always_inline]] inline Rc searchTable(const PropertyList &list, const typename K::Key &key, ChainPlace &place) {
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

// What a kind has beside the full-key chain.
template <class K>
using HeadsOf = std::conditional_t<kHasID<K>, SideHeads, NoSideChains>;
template <class K>
using LinksOf = std::conditional_t<kHasID<K>, SideLinks, NoSideChains>;

// Fills a slot that was just taken, its links and tag included. The links of the tag and identifier chains are cleared
// first: until they are set, the slot is in neither, and a delete must see that. Nothing leads to the slot yet, so the
// order of the other stores is free. The codes of filling.
template <class K>
Rc fillSlot(SNodeCB_t *node, const PropertyList &list, const SlotLease &slot, std::uint64_t next,
            const typename K::Key &key, const typename K::Value &value) {
  std::byte *record = slot.address + K::data.chainSize;
  std::memset(slot.address + kWordSize, 0, K::data.chainSize - kWordSize);
  writeWord<std::uint64_t>(slot.address, next);
  writeWord<std::uint64_t>(record, key.tag);
  return K::fill(node, list, record, key, value);
}

// Takes a slot and fills it; after a failure the table is as it was. The codes of takeSlot() and of filling.
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

// Adds a property. The kind's exists and damage codes, those of comparing and of makeSlot(), AtomicFailed. A failure
// before the link leaves the table as it was; a failing change counter leaves the property linked and counted, and in
// no chain but the full key's.
template <class K>
Rc addToTable(SNodeCB_t *node, PropertyList &list, const typename K::Key &key, const typename K::Value &value) {
  if (!list.isTable()) return Rc::BadBucketCount;
  ChainPlace place;
  if (Rc rc = searchTable<K>(list, key, place); failed(rc)) return rc;
  if (place.matched) return K::data.exists;
  HeadsOf<K> heads;
  if (Rc rc = heads.read(list, key); failed(rc)) return rc;
  std::uint64_t slot = 0;
  if (Rc rc = makeSlot<K>(node, list, place.next, key, value, slot); failed(rc)) return rc;
  // From this store on the property exists: a writer that dies behind it leaves a used count that is too low, and one
  // that dies before it leaves a slot that no chain reaches. Both can be told from the chains.
  publishWord<std::uint64_t>(place.link, slot);
  list.area.setUsed(list.area.used() + slotSizeOf<K>(list));
  if (Rc rc = countChange(node); failed(rc)) return rc;
  heads.push(list, slot);
  return Rc::Ok;
}

// Deletes a property. The kind's not-found and damage codes, those of comparing and of pushFreedSlot(), AtomicFailed. A
// failure before the change counter leaves the property in place, a failing counter does not bring it back.
template <class K>
Rc deleteFromTable(SNodeCB_t *node, PropertyList &list, const typename K::Key &key) {
  if (!list.isTable()) return K::data.notInTable;
  ChainPlace place;
  if (Rc rc = searchTable<K>(list, key, place); failed(rc)) return rc;
  if (!place.matched) return K::data.notInTable;

  // What follows becomes the link's new value: damage in it must not spread to the chain before it, and a slot that
  // leads to itself would stay in the chain.
  const auto next = readWord<std::uint64_t>(place.record - K::data.chainSize);
  const std::uint64_t slotSize = slotSizeOf<K>(list);
  const bool nextIsSound = next == 0 || (next != place.next && isSlot(list, slotSize, next, slotsEnd(list)));
  if (!nextIsSound || list.area.used() < slotSize) return K::data.damaged;
  LinksOf<K> links;
  if (Rc rc = links.find(list, place.next); failed(rc)) return rc;

  // The push comes first, because it is the step that can fail. A writer that dies behind it leaves a slot that is both
  // on the stack and in a chain; the full-key chains tell that it is live.
  if (Rc rc = pushFreedSlot(list, place.next); failed(rc)) return rc;
  links.unlink();
  publishWord<std::uint64_t>(place.link, next);
  list.area.setUsed(list.area.used() - slotSize);
  return countChange(node);
}

// Calls visit(record) for each property with a tag, newest first, until it answers false; for kinds with a tag chain.
// A bucket mixes tags. The kind's damage code.
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

// Calls visit(record) for each property, bucket by bucket, tags ascending in each, until it answers false. The kind's
// damage code, after the properties before the damage were visited.
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
