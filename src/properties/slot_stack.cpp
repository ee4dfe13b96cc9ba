// SPDX-License-Identifier: MIT
// See slot_stack.h. Each word is read once. No sum wraps: the stack's count is checked, and areas lie inside the node.
#include "properties/slot_stack.h"

namespace sntr {

namespace {

std::byte *nextFreeWord(const PropertyList &list) { return list.area.tailWord(offsetof(TableTail, nextFreeOffset)); }

std::byte *freedCountWord(const PropertyList &list) { return list.area.tailWord(offsetof(TableTail, freedCount)); }

// Returns true if one more slot still counts as inside the area.
bool hasRoom(const PropertyList &list, std::uint64_t used, std::uint64_t bytes) {
  return list.area.size() - used >= bytes;
}

}  // namespace

Rc readFreedStack(const PropertyList &list, FreedStack &out) {
  out.count = readWord<std::uint64_t>(freedCountWord(list));
  if (out.count > SNTR_MAX_PROPERTIES) return Rc::BadFreedStack;
  out.bytes = kTailSize + kWordSize * out.count;
  return out.bytes <= list.area.size() ? Rc::Ok : Rc::BadFreedStack;
}

// Tests the used bytes before the offset: a full area is the common failure, a damaged offset the rare one. The slot
// must end below the stack, even if the two words of the tail contradict each other.
Rc takeFreshSlot(PropertyList &list, const FreedStack &stack, SlotLease &out) {
  const std::uint64_t size = list.slotSize();
  if (!hasRoom(list, list.area.used(), size)) return Rc::NoRoomForSlot;
  const auto next = readWord<std::uint64_t>(nextFreeWord(list));
  if (!isSlot(list, size, next, list.area.end() - stack.bytes)) return Rc::NextFreeOutsideArea;
  out = SlotLease{next, list.area.at(next, size), true};
  writeWord<std::uint64_t>(nextFreeWord(list), next + size);
  return Rc::Ok;
}

// The popped offset may be anything; only a slot that was handed out before, and below the stack, is taken. The word
// itself stays on the stack: giveBackSlot() relies on it.
Rc takeFreedSlot(PropertyList &list, SlotLease &out) {
  FreedStack stack{};
  if (Rc rc = readFreedStack(list, stack); failed(rc)) return rc;
  if (stack.count == 0) return Rc::FreedCountZero;
  if (list.area.used() < kWordSize) return Rc::BadFreedStack;
  const std::uint64_t used = list.area.used() - kWordSize;
  const std::uint64_t size = list.slotSize();
  const auto offset = readWord<std::uint64_t>(list.area.at(list.area.end() - stack.bytes, kWordSize));
  const std::uint64_t high = std::min(slotsEnd(list), list.area.end() - stack.bytes);
  if (!isSlot(list, size, offset, high) || !hasRoom(list, used, size)) return Rc::NoRoomForSlot;
  out = SlotLease{offset, list.area.at(offset, size), false};
  writeWord<std::uint64_t>(freedCountWord(list), stack.count - 1);
  list.area.setUsed(used);
  return Rc::Ok;
}

Rc takeSlot(PropertyList &list, SlotLease &out) {
  FreedStack stack{};
  if (Rc rc = readFreedStack(list, stack); failed(rc)) return rc;
  return stack.count == 0 ? takeFreshSlot(list, stack, out) : takeFreedSlot(list, out);
}

void giveBackSlot(PropertyList &list, const SlotLease &slot) {
  if (slot.fresh) {
    writeWord<std::uint64_t>(nextFreeWord(list), slot.offset);
    return;
  }
  // The slot's word is still on the stack: taking a slot only lowers the count.
  const auto count = readWord<std::uint64_t>(freedCountWord(list));
  writeWord<std::uint64_t>(freedCountWord(list), count + 1);
  list.area.setUsed(list.area.used() + kWordSize);
}

Rc pushFreedSlot(PropertyList &list, std::uint64_t offset) {
  if (!hasRoom(list, list.area.used(), kWordSize)) return Rc::NoRoomForFreedSlot;
  FreedStack stack{};
  if (Rc rc = readFreedStack(list, stack); failed(rc)) return rc;
  const std::uint64_t high = slotsEnd(list);
  if (!isSlot(list, list.slotSize(), offset, high)) return list.kind->damaged;
  // The new word must lie between the slots and the stack. After 0x8000 freed slots the stack is full for good.
  const std::uint64_t position = list.area.end() - stack.bytes - kWordSize;
  if (stack.count == SNTR_MAX_PROPERTIES || position < high) return Rc::NoRoomForFreedSlot;
  writeWord<std::uint64_t>(list.area.at(position, kWordSize), offset);
  writeWord<std::uint64_t>(freedCountWord(list), stack.count + 1);
  list.area.setUsed(list.area.used() + kWordSize);
  return Rc::Ok;
}

}  // namespace sntr
