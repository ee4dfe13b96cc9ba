// The slots of a table: fresh ones from the end of those in use, freed ones from a stack that grows down from the tail.
//
// Reuse runs last freed, first reused; fresh space is taken only when the stack is empty. The same code serves the four
// keyed kinds, because a slot is a number of bytes here. Callers hold the node's write section and have opened the list
// inside it, as a table.
#pragma once

#include <cstddef>
#include <cstdint>

#include "layout/rc.h"
#include "properties/property_list.h"

namespace sntr {

// The stack of freed slots: how many words are on it, and its bytes with the two words of the tail.
struct FreedStack {
  std::uint64_t count;
  std::uint64_t bytes;
};

// BadFreedStack: more than 0x8000 slots, or larger than the area.
Rc readFreedStack(const PropertyList &list, FreedStack &out);

// A slot that was taken and that nothing leads to yet.
struct SlotLease {
  std::uint64_t offset;
  std::byte *address;
  bool fresh;
};

// Takes a slot. `areaUsed` is not raised for it. BadFreedStack, NoRoomForSlot, NextFreeOutsideArea; after a failure the
// table is as it was.
Rc takeSlot(PropertyList &list, SlotLease &out);

// The two halves of takeSlot(). takeFreedSlot() answers FreedCountZero when the stack is empty.
Rc takeFreshSlot(PropertyList &list, const FreedStack &stack, SlotLease &out);
Rc takeFreedSlot(PropertyList &list, SlotLease &out);

// Undoes takeSlot(); nothing else was taken or freed in between.
void giveBackSlot(PropertyList &list, const SlotLease &slot);

// Puts a slot on the stack. The kind's damage code when the offset is no slot, NoRoomForFreedSlot when the stack would
// meet the slots or hold more than it may, BadFreedStack; after a failure the table is as it was.
Rc pushFreedSlot(PropertyList &list, std::uint64_t offset);

}  // namespace sntr
