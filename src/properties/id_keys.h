// SPDX-License-Identifier: MIT
// The key of the kinds that a tag and an identifier name together.
// Thread safety: as keys.h; the caller owns the bytes.
#pragma once

#include <bit>
#include <compare>
#include <cstddef>
#include <cstdint>

#include "layout/rc.h"
#include "layout/words.h"
#include "properties/keys.h"
#include "properties/property_list.h"

namespace sntr {

static_assert(offsetof(IRRecord, idOffset) == offsetof(IVRecord, idOffset) &&
                  offsetof(IRRecord, idLength) == offsetof(IVRecord, idLength),
              "identifiers are found without knowing the kind");

// The identifier of a record: `length` bytes of the room behind it. Both words are read once.
struct StoredID {
  const std::byte *room;
  std::uint64_t offset;
  std::uint64_t length;

  StoredID(const PropertyList &list, const std::byte *record)
      : room(record + list.kind->recordSize),
        offset(readWord<std::uint64_t>(record + offsetof(IRRecord, idOffset))),
        length(readWord<std::uint64_t>(record + offsetof(IRRecord, idLength))) {}

  // Returns true if the identifier lies in the room of its own record. An offset to another record would find that
  // record's identifier there, and the order of a chain would break silently.
  bool isInItsRoom(const PropertyList &list) const { return offset == list.area.offsetOf(room); }
  bool isSound(const PropertyList &list) const { return length <= list.limits.maxID && isInItsRoom(list); }
};

// Compares two strings of `count` bytes, byte by byte. Each byte of the second, which may change, is read once.
inline std::strong_ordering compareBytes(const std::uint8_t *first, const std::byte *second, std::uint64_t count) {
  static_assert(std::endian::native == std::endian::little, "the first byte of a word is its lowest");
  std::uint64_t at = 0;
  for (; at + kWordSize <= count; at += kWordSize) {
    const auto ours = readWord<std::uint64_t>(first + at), theirs = readWord<std::uint64_t>(second + at);
    if (ours != theirs) return __builtin_bswap64(ours) <=> __builtin_bswap64(theirs);
  }
  for (; at < count; ++at) {
    const auto theirs = readWord<std::uint8_t>(second + at);
    if (first[at] != theirs) return first[at] <=> theirs;
  }
  return std::strong_ordering::equal;
}

struct TagIDKey {
  std::uint64_t tag;
  std::uint64_t idLength;
  const std::uint8_t *id;
  std::uint64_t hash = 0;
  std::uint64_t tagHash = 0;
  std::uint64_t idHash = 0;

  TagIDKey(std::uint64_t tag_, std::uint64_t idLength_, const void *id_)
      : tag(tag_), idLength(idLength_), id(static_cast<const std::uint8_t *>(id_)) {}

  void takeHash() { hash = hashBytes(tag, id, idLength); }

  // Only for an add: no other operation needs the hashes of the other two chains.
  void takeChainHashes() {
    tagHash = hashPropertyTag(tag);
    idHash = hashBytes(0, id, idLength);
  }

  // Compares by tag, then by length (the shorter first), then byte by byte. Returns Ok, or BytesOutsideArea if the
  // record's identifier is not in its room.
  Rc compareTo(const PropertyList &list, const std::byte *record, std::strong_ordering &order) const {
    const StoredID stored(list, record);
    if (!stored.isSound(list)) return Rc::BytesOutsideArea;
    order = tag <=> tagOf(record);
    if (order == 0) order = idLength <=> stored.length;
    if (order == 0) order = compareBytes(id, stored.room, stored.length);
    return Rc::Ok;
  }
};

}  // namespace sntr
