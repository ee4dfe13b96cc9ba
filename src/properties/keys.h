// The keys by which properties are found: what the caller gave, and its hash.
//
// A key is prepared before a section is entered: then neither the checks nor the hash are made while others wait for
// the latch. Private to the call; nothing here reads shared memory unless it says so.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>

#include "layout/rc.h"
#include "layout/words.h"
#include "properties/tag_hash.h"
#include "sntr/types.h"

namespace sntr {

// The two checks that every property operation begins with: NullNode, TagTooLarge.
constexpr Rc checkNodeAndTag(const SNodeCB_t *node, std::uint64_t tag) {
  if (node == nullptr) return Rc::NullNode;
  return tag <= SNTR_MAX_TAG ? Rc::Ok : Rc::TagTooLarge;
}

// The tag of a record, wherever it stands.
inline std::uint64_t tagOf(const std::byte *record) { return readWord<std::uint64_t>(record); }

struct PropertyList;

// The key of the kinds that a tag alone names.
struct TagKey {
  std::uint64_t tag;
  std::uint64_t hash = 0;

  // The tag was checked.
  constexpr void takeHash() { hash = hashPropertyTag(tag); }
  static constexpr void takeChainHashes() {}

  // How this key stands to that of a record. Reads the record's tag once. Cannot fail.
  std::strong_ordering orderTo(const std::byte *record) const { return tag <=> tagOf(record); }
  Rc compareTo(const PropertyList & /*list*/, const std::byte *record, std::strong_ordering &order) const {
    order = orderTo(record);
    return Rc::Ok;
  }
};

}  // namespace sntr
