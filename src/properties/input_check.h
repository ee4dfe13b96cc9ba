// SPDX-License-Identifier: MIT
// The limits of a node's lists, and the argument check that all property operations share.
// Thread safety: any thread, without a latch: limits never change after a list is laid out.
#pragma once

#include <cstdint>

#include "layout/rc.h"
#include "properties/property_list.h"

namespace sntr {

// Returns true if a node was created with a kind, which never changes.
inline bool hasKind(const SNodeCB_t *node, std::uint32_t selector) {
  return (loadField(node->nodeOptions) & selector) != 0;
}

// Reads the limits of a kind: 0 for a node without its option. Returns Ok, a code of findArea(), MaxIDSizeTooLarge or
// BadMaxValueSize.
Rc limitsOf(SNodeCB_t *node, const KindData &kind, Limits &out);

// The arguments that name a property, and the size of its value. Kinds without one ignore it.
struct PropertyInput {
  std::uint32_t kind;
  std::uint64_t tag;
  std::uint64_t idLength;
  const void *id;
  std::uint64_t valueSize;
};

// Returns Ok or BadValueSize. Size 1 passes under any maximum: callers without a value pass it.
constexpr Rc checkValueSize(std::uint64_t size, std::uint64_t maximum) {
  return size == 1 || (size >= 2 && size <= maximum) ? Rc::Ok : Rc::BadValueSize;
}

// Checks node and tag first; then by kind reads the limits, stores them in their outputs, and checks the rest.
Rc checkInput(SNodeCB_t *node, const PropertyInput &input, std::uint64_t *maxID, std::uint64_t *maxValue);

// Checks without returning the limits.
inline Rc checkInputOf(SNodeCB_t *node, const PropertyInput &input) {
  std::uint64_t maxID = 0;
  std::uint64_t maxValue = 0;
  return checkInput(node, input, &maxID, &maxValue);
}

}  // namespace sntr
