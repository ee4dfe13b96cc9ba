// The limits of a node's lists, and the argument check that all property operations share.
//
// Any thread; no latch is needed, because limits never change once a list is laid out.
#pragma once

#include <cstdint>

#include "layout/rc.h"
#include "properties/property_list.h"

namespace sntr {

// Whether a node was created with a kind, which never changes in its life.
inline bool hasKind(const SNodeCB_t *node, std::uint32_t selector) {
  return (loadField(node->nodeOptions) & selector) != 0;
}

// The limits of a kind: 0 for a node without its option. The codes of findArea(), MaxIDSizeTooLarge, BadMaxValueSize.
Rc limitsOf(SNodeCB_t *node, const KindData &kind, Limits &out);

// The arguments by which a property is named, and the size of its value. Kinds without one ignore it.
struct PropertyInput {
  std::uint32_t kind;
  std::uint64_t tag;
  std::uint64_t idLength;
  const void *id;
  std::uint64_t valueSize;
};

// BadValueSize. 1 passes whatever the maximum is: callers that have no value pass it.
constexpr Rc checkValueSize(std::uint64_t size, std::uint64_t maximum) {
  return size == 1 || (size >= 2 && size <= maximum) ? Rc::Ok : Rc::BadValueSize;
}

// Node and tag first, then by kind: the limit that counts, which goes to its output, and what is held against it.
Rc checkInput(SNodeCB_t *node, const PropertyInput &input, std::uint64_t *maxID, std::uint64_t *maxValue);

// The same for callers that have no use for the limits.
inline Rc checkInputOf(SNodeCB_t *node, const PropertyInput &input) {
  std::uint64_t maxID = 0;
  std::uint64_t maxValue = 0;
  return checkInput(node, input, &maxID, &maxValue);
}

}  // namespace sntr
