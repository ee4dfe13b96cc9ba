// The one place that turns offsets inside a property area into addresses.
//
// Offsets are counted from the start of the node; they come out of shared memory, so any number may be met. at() checks
// both ends of what is asked for, and no other line of this room does arithmetic on addresses beyond the record in
// hand. Records begin at any byte, so the addresses are for layout/words.h and never for a struct.
//
// The caller holds the node's section for as long as it uses `used()`; begin, end and size never change in a node's
// life.
#pragma once

#include <cstddef>
#include <cstdint>

#include "layout/offset.h"
#include "layout/words.h"
#include "properties/record_layout.h"
#include "sntr/types.h"
#include "tree/node_areas.h"

namespace sntr {

class PropertyArea {
 public:
  // Takes a checked copy of the area table's entry; the codes are those of findArea(). From here on nothing in the
  // table is read again, so that an entry damaged meanwhile cannot move the bounds under an operation.
  Rc open(SNodeCB_t *node, std::uint32_t kind) {
    node_ = node;
    return findArea(node, kind, area_);
  }

  std::uint64_t begin() const { return area_.offset; }
  std::uint64_t end() const { return area_.offset + area_.size; }
  std::uint64_t size() const { return area_.size; }
  std::uint64_t used() const { return area_.used; }

  // Reads again how much is used, for a caller that opened the area before its section. False: more than there is.
  bool readUsed() {
    area_.used = loadField(node_->areaTable[area_.index].areaUsed);
    return area_.used <= area_.size;
  }

  // The caller holds the write section, and `used` is at most the size.
  void setUsed(std::uint64_t used) { setAreaUsed(node_, area_, used); }

  // The address of `size` bytes at an offset from the node, or null when they do not all lie in the area.
  std::byte *at(std::uint64_t offset, std::uint64_t size) const {
    return liesWithin(offset, size, begin(), end()) ? addressIn(node_, offset) : nullptr;
  }

  // The address of an offset that was found to be a slot, or a bucket, of this area by other means than at().
  std::byte *atChecked(std::uint64_t offset) const { return addressIn(node_, offset); }

  // The offset of an address from a node; for an address outside the node it is a number that lies in no area of it.
  static std::uint64_t offsetIn(const SNodeCB_t *node, const void *address) {
    return reinterpret_cast<std::uintptr_t>(address) - reinterpret_cast<std::uintptr_t>(node);
  }
  std::uint64_t offsetOf(const void *address) const { return offsetIn(node_, address); }

  // The address of an offset that was checked against an area by other means than at().
  static std::byte *addressIn(SNodeCB_t *node, std::uint64_t offset) {
    return reinterpret_cast<std::byte *>(node) + offset;
  }

  // A header word, by a position that the kind gives. An area that ends before the word reads as 0, never as the next
  // area's bytes.
  std::uint64_t headerWord(std::uint64_t position) const {
    return position + kWordSize <= size() ? readWord<std::uint64_t>(area_.start + position) : 0;
  }

  // The address of a position that is known to be inside the area.
  std::byte *atPosition(std::uint64_t position) const { return area_.start + position; }

  // A word of the tail. Only for an area that is known to hold a table, whose tail then fits.
  std::byte *tailWord(std::uint64_t position) const { return atPosition(size() - sizeof(TableTail) + position); }

 private:
  SNodeCB_t *node_;
  Area area_;
};

}  // namespace sntr
