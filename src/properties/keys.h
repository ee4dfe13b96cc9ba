// SPDX-License-Identifier: MIT
// The keys by which properties are found: the caller's arguments and their hash. A key is prepared before a section is
// entered, so that no thread waits for its checks and hashes.
// Thread safety: private to the call; only orderTo(), compareTo() and tagOf() read shared memory.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>

#include "layout/rc.h"
#include "layout/words.h"
#include "properties/tag_hash.h"
#include "sntr/types.h"

namespace sntr {

// Makes the first two checks of every property operation. Returns Ok, NullNode or TagTooLarge.
constexpr Rc checkNodeAndTag(const SNodeCB_t *node, std::uint64_t tag) {
  if (node == nullptr) return Rc::NullNode;
  return tag <= SNTR_MAX_TAG ? Rc::Ok : Rc::TagTooLarge;
}

// Returns the tag of a record of any kind.
inline std::uint64_t tagOf(const std::byte *record) { return readWord<std::uint64_t>(record); }

struct PropertyList;

// The key of the kinds that a tag alone names.
struct TagKey {
  std::uint64_t tag;
  std::uint64_t hash = 0;

  // The tag must have been checked.
  constexpr void takeHash() { hash = hashPropertyTag(tag); }
  static constexpr void takeChainHashes() {}

  // Compares this key with that of a record. Reads the record's tag once; cannot fail.
  std::strong_ordering orderTo(const std::byte *record) const { return tag <=> tagOf(record); }
  Rc compareTo(const PropertyList & /*list*/, const std::byte *record, std::strong_ordering &order) const {
    order = orderTo(record);
    return Rc::Ok;
  }
};

}  // namespace sntr
