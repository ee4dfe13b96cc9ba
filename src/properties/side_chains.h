// SPDX-License-Identifier: MIT
// The second and third chain of a slot whose key has an identifier: by tag alone, and by identifier alone.
//
// Thread safety: the caller holds the node's write section (for visiting, the section) and opened the table inside it.
// Invariants:
// 1. A link leads from word to word, newest first. A bucket and a slot's `next` word hold the offset of the next slot's
//    `next` word. The word after it leads back to the word that leads here, so unlinking needs no search.
// 2. The full-key chain decides what exists; these two only help to find it, and a slot may be in neither.
// 3. Every word may be damaged: all words to be changed are checked before the first store.
#pragma once

#include <cstddef>
#include <cstdint>

#include "layout/rc.h"
#include "layout/words.h"
#include "properties/id_keys.h"
#include "properties/property_list.h"

namespace sntr {

// The position of a chain's two words in a slot, and the index of its array of buckets.
struct SideChain {
  std::uint64_t nextAt;
  std::size_t array;

  constexpr std::uint64_t prevAt() const { return nextAt + kWordSize; }
};

inline constexpr SideChain kTagChain{offsetof(KeyLinks, tagNext), 1};
inline constexpr SideChain kIDChain{offsetof(KeyLinks, idNext), 2};
static_assert(kTagChain.prevAt() == offsetof(KeyLinks, tagPrev) && kIDChain.prevAt() == offsetof(KeyLinks, idPrev));

// Returns the offset of the bucket of a hash.
inline std::uint64_t sideBucket(const PropertyList &list, const SideChain &chain, std::uint64_t hash) {
  std::uint64_t index = hash % list.bucketCounts[chain.array];
  for (std::size_t i = 0; i < chain.array; ++i) index += list.bucketCounts[i];
  return list.area.begin() + list.kind->tableHeader + kWordSize * index;
}

// The bucket for a new slot, and its content.
struct SideHead {
  std::uint64_t bucket = 0;
  std::uint64_t first = 0;
};

// Reads the head of a chain. Returns Ok, or the kind's damage code if it leads to no slot.
inline Rc readSideHead(const PropertyList &list, const SideChain &chain, std::uint64_t hash, SideHead &out) {
  out.bucket = sideBucket(list, chain, hash);
  out.first = readWord<std::uint64_t>(list.area.at(out.bucket, kWordSize));
  const bool sound = out.first == 0 || isSlot(list, list.slotSize(), out.first - chain.nextAt, slotsEnd(list));
  return sound ? Rc::Ok : list.kind->damaged;
}

// Links a slot before the first of a chain.
inline void pushSide(const PropertyList &list, const SideChain &chain, const SideHead &head, std::uint64_t slot) {
  const std::uint64_t here = slot + chain.nextAt;
  writeWord<std::uint64_t>(list.area.at(here, kWordSize), head.first);
  writeWord<std::uint64_t>(list.area.at(here + kWordSize, kWordSize), head.bucket);
  if (head.first != 0) writeWord<std::uint64_t>(list.area.at(head.first + kWordSize, kWordSize), here);
  publishWord<std::uint64_t>(list.area.at(head.bucket, kWordSize), here);
}

// The neighbours of a slot in one chain: the word before it, and the word of the next slot that leads back.
struct SideNeighbours {
  std::byte *before = nullptr;  // null: the slot is in no such chain
  std::byte *back = nullptr;    // null: the slot is the last
  std::uint64_t next = 0;
  std::uint64_t prev = 0;
};

// Finds the neighbours. Returns Ok, or the kind's damage code if one lies outside the area or does not lead here.
inline Rc findNeighbours(const PropertyList &list, const SideChain &chain, std::uint64_t slot, SideNeighbours &out) {
  const std::uint64_t here = slot + chain.nextAt;
  out.prev = readWord<std::uint64_t>(list.area.at(here + kWordSize, kWordSize));
  if (out.prev == 0) return Rc::Ok;
  const auto leadsHere = [&](const std::byte *word) {
    return word != nullptr && readWord<std::uint64_t>(word) == here;
  };
  out.next = readWord<std::uint64_t>(list.area.at(here, kWordSize));
  out.before = list.area.at(out.prev, kWordSize);
  if (!leadsHere(out.before)) return list.kind->damaged;
  if (out.next == 0) return Rc::Ok;
  out.back = list.area.at(out.next, 2 * kWordSize);
  if (out.back == nullptr) return list.kind->damaged;
  out.back += kWordSize;
  return leadsHere(out.back) ? Rc::Ok : list.kind->damaged;
}

// Unlinks a slot from a chain; its own words stay.
inline void unlinkSide(const SideNeighbours &neighbours) {
  if (neighbours.before == nullptr) return;
  if (neighbours.back != nullptr) writeWord<std::uint64_t>(neighbours.back, neighbours.prev);
  publishWord<std::uint64_t>(neighbours.before, neighbours.next);
}

// Both chains of a key, for adding.
struct SideHeads {
  SideHead byTag;
  SideHead byID;

  Rc read(const PropertyList &list, const TagIDKey &key) {
    if (Rc rc = readSideHead(list, kTagChain, key.tagHash, byTag); failed(rc)) return rc;
    return readSideHead(list, kIDChain, key.idHash, byID);
  }
  void push(const PropertyList &list, std::uint64_t slot) const {
    pushSide(list, kTagChain, byTag, slot);
    pushSide(list, kIDChain, byID, slot);
  }
};

// Both chains of a slot, for deleting.
struct SideLinks {
  SideNeighbours byTag;
  SideNeighbours byID;

  Rc find(const PropertyList &list, std::uint64_t slot) {
    if (Rc rc = findNeighbours(list, kTagChain, slot, byTag); failed(rc)) return rc;
    return findNeighbours(list, kIDChain, slot, byID);
  }
  void unlink() const {
    unlinkSide(byTag);
    unlinkSide(byID);
  }
};

// Replaces SideHeads and SideLinks for kinds without these chains; does nothing.
struct NoSideChains {
  template <class Any>
  static constexpr Rc read(const PropertyList & /*list*/, const Any & /*key*/) {
    return Rc::Ok;
  }
  static constexpr Rc find(const PropertyList & /*list*/, std::uint64_t /*slot*/) { return Rc::Ok; }
  static constexpr void push(const PropertyList & /*list*/, std::uint64_t /*slot*/) {}
  static constexpr void unlink() {}
};

}  // namespace sntr
