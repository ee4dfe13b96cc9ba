// SPDX-License-Identifier: MIT
// The slots of a table: fresh ones behind those in use, and freed ones on a stack that grows down from the tail. One
// code serves the four keyed kinds, because a slot is a number of bytes here.
// Thread safety: the caller holds the node's write section and opened the list inside it, as a table.
// Invariant: the slot freed last is reused first; a fresh slot is taken only if the stack is empty.
#pragma once

#include <cstddef>
#include <cstdint>

#include "layout/rc.h"
#include "properties/property_list.h"

namespace sntr {

// The stack of freed slots: its number of words, and its bytes with the two words of the tail.
struct FreedStack {
  std::uint64_t count;
  std::uint64_t bytes;
};

// Returns Ok, or BadFreedStack: more than 0x8000 slots, or larger than the area.
Rc readFreedStack(const PropertyList &list, FreedStack &out);

// A slot that was taken; nothing leads to it yet.
struct SlotLease {
  std::uint64_t offset;
  std::byte *address;
  bool fresh;
};

// Takes a slot without raising `areaUsed`. Returns Ok, BadFreedStack, NoRoomForSlot or NextFreeOutsideArea; a failure
// leaves the table unchanged.
Rc takeSlot(PropertyList &list, SlotLease &out);

// The two halves of takeSlot(). takeFreedSlot() returns FreedCountZero if the stack is empty.
Rc takeFreshSlot(PropertyList &list, const FreedStack &stack, SlotLease &out);
Rc takeFreedSlot(PropertyList &list, SlotLease &out);

// Undoes takeSlot(); nothing else was taken or freed in between.
void giveBackSlot(PropertyList &list, const SlotLease &slot);

// Pushes a slot on the stack. Returns Ok, the kind's damage code for an offset of no slot, BadFreedStack, or
// NoRoomForFreedSlot: the stack would reach the slots or its limit. A failure leaves the table unchanged.
Rc pushFreedSlot(PropertyList &list, std::uint64_t offset);

}  // namespace sntr
