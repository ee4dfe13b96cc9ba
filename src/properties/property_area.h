// SPDX-License-Identifier: MIT
// The one place that turns offsets inside a property area into addresses.
//
// Offsets count from the start of the node. They come from shared memory and may be any number: at() checks both ends
// of a range. Other files of this folder do address arithmetic only inside the record in hand. Records begin at any
// byte: use their addresses with layout/words.h, never for a struct.
//
// Thread safety: the caller holds the node's section while it uses `used()`; begin, end and size never change.
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
  // Takes a checked copy of the area table's entry. Nothing in the table is read again, so later damage to the entry
  // cannot move the bounds. Returns the codes of findArea().
  Rc open(SNodeCB_t *node, std::uint32_t kind) {
    node_ = node;
    return findArea(node, kind, area_);
  }

  std::uint64_t begin() const { return area_.offset; }
  std::uint64_t end() const { return area_.offset + area_.size; }
  std::uint64_t size() const { return area_.size; }
  std::uint64_t used() const { return area_.used; }

  // Reads the used bytes again, if the area was opened before the section. Returns false if they exceed the size.
  bool readUsed() {
    area_.used = loadField(node_->areaTable[area_.index].areaUsed);
    return area_.used <= area_.size;
  }

  // The caller holds the write section, and `used` is at most the size.
  void setUsed(std::uint64_t used) { setAreaUsed(node_, area_, used); }

  // Returns the address of `size` bytes at an offset from the node, or null if they do not all lie in the area.
  std::byte *at(std::uint64_t offset, std::uint64_t size) const {
    return liesWithin(offset, size, begin(), end()) ? addressIn(node_, offset) : nullptr;
  }

  // Returns the address of an offset already checked to be a slot, or a bucket, of this area.
  std::byte *atChecked(std::uint64_t offset) const { return addressIn(node_, offset); }

  // Returns the offset of an address from a node. For an address outside the node it lies in no area of the node.
  static std::uint64_t offsetIn(const SNodeCB_t *node, const void *address) {
    return reinterpret_cast<std::uintptr_t>(address) - reinterpret_cast<std::uintptr_t>(node);
  }
  std::uint64_t offsetOf(const void *address) const { return offsetIn(node_, address); }

  // Returns the address of an offset already checked against an area.
  static std::byte *addressIn(SNodeCB_t *node, std::uint64_t offset) {
    return reinterpret_cast<std::byte *>(node) + offset;
  }

  // Returns a header word. An area that ends before the word reads as 0, never as the next area's bytes.
  std::uint64_t headerWord(std::uint64_t position) const {
    return position + kWordSize <= size() ? readWord<std::uint64_t>(area_.start + position) : 0;
  }

  // Returns the address of a position known to be inside the area.
  std::byte *atPosition(std::uint64_t position) const { return area_.start + position; }

  // Returns a word of the tail. The area must hold a table, so that the tail fits.
  std::byte *tailWord(std::uint64_t position) const { return atPosition(size() - sizeof(TableTail) + position); }

 private:
  SNodeCB_t *node_;
  Area area_;
};

}  // namespace sntr
