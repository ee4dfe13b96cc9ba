// SPDX-License-Identifier: MIT
// Checks the invariants of an R list at rest, on the literal bytes of its node. Shares no code with the library: it has
// its own hash, offsets and walk.
#pragma once

#include <map>
#include <set>
#include <string>

#include "support/words.h"

namespace support {

inline std::uint64_t hashOfDigits(std::uint64_t tag) {
  std::uint64_t x = 0, s = 0, p = 0;
  do {
    const std::uint64_t digit = '0' + tag % 10;
    x ^= digit, s += digit, p = (p + 1) * (digit + 1);
  } while ((tag /= 10) != 0);
  return x ^ s ^ p;
}

struct RListState {
  std::string faults;                            // empty if the list is sound, else one line a fault
  std::map<std::uint64_t, std::int32_t> values;  // live properties
  std::set<std::uint64_t> slots;                 // live and freed ones; none in an array
  std::uint64_t handedOut = 0;                   // slots that were ever in use; 0 for an array
  std::uint64_t freed = 0;                       // slots on the stack

  void expect(bool holds, const char *what, std::uint64_t seen) {
    if (!holds) faults += what + (" (" + std::to_string(seen) + ")\n");
  }
  std::uint64_t take(const void *node, std::uint64_t record) {
    const auto tag = wordAt(node, record);
    expect(values.emplace(tag, wordAt<std::int32_t>(node, record + 16)).second, "tag twice", tag);
    return tag;
  }
  void walkChain(const void *node, std::uint64_t bucket, std::uint64_t buckets, std::uint64_t first) {
    std::uint64_t least = 0;
    for (std::uint64_t slot = wordAt(node, first + 8 * bucket - 8 * buckets); slot != 0; slot = wordAt(node, slot)) {
      const bool isSlot = slot >= first && (slot - first) / 0x98 < handedOut && (slot - first) % 0x98 == 0;
      const bool isNew = isSlot && slots.insert(slot).second;
      expect(isNew, "link to no slot, or in a circle", slot);
      if (!isNew) return;
      const std::uint64_t tag = take(node, slot + 8);
      expect(hashOfDigits(tag) % buckets == bucket, "tag in another's bucket", tag);
      expect(tag >= least, "tags do not ascend", tag);
      least = tag + 1;
    }
  }
};

// The caller holds the node's section, or no other thread uses the node.
inline RListState checkInvariants(const void *node) {
  RListState list;
  const auto word = [&](std::uint64_t offset) { return wordAt(node, offset); };
  const std::uint64_t area = word(0x600), end = area + word(0x5f0), used = word(0x5f8), buckets = word(area);
  if (buckets == 0) {
    for (std::uint64_t record = area + 8; record + 0x90 <= end; record += 0x90) {
      if (word(record) != 0) list.take(node, record);
    }
    list.expect(used == 8 + 0x90 * list.values.size(), "used bytes of the array", used);
    return list;
  }
  const std::uint64_t first = area + 8 + 8 * buckets, next = word(end - 16);
  list.freed = word(end - 8), list.handedOut = (next - first) / 0x98;
  list.expect(next >= first && next <= end - 16 - 8 * list.freed, "next free offset", next);
  list.expect((next - first) % 0x98 == 0, "next free offset on no slot", next);
  for (std::uint64_t bucket = 0; bucket < buckets; ++bucket) list.walkChain(node, bucket, buckets, first);
  for (std::uint64_t i = 0; i < list.freed; ++i) {
    const std::uint64_t slot = word(end - 24 - 8 * i);
    list.expect(list.slots.insert(slot).second, "freed slot is live, or freed twice", slot);
  }
  list.expect(list.slots.size() == list.handedOut, "slots lost", list.slots.size());
  list.expect(used == 24 + 8 * buckets + 0x98 * list.values.size() + 8 * list.freed, "used bytes of the table", used);
  return list;
}

}  // namespace support
