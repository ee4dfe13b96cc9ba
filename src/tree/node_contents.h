// SPDX-License-Identifier: MIT
// The contents of a node's areas at initialization: the arguments of sntrInitNode() in one record, their checks, and
// the filling of the areas.
// Thread safety: the record and its targets belong to the caller's thread; the node is filled inside its write section.
#pragma once

#include <cstdint>

#include "frame/trace.h"
#include "sntr/types.h"

namespace sntr {

struct NodeContents {
  std::uint64_t options;  // of the node, read once
  std::uint64_t base;
  std::uint64_t idLength;
  const void *id;
  const SNodeInfo *info;
  const void *infoData;
  std::uint64_t infoDataSize;  // info's value at the time of the check
  std::uint64_t capacity;
  const void *record24;
  const void *record1056;

  bool has(std::uint32_t option) const { return (options & option) != 0; }
};

// Checks the arguments for the node's options, in the published order; rounds the capacity and copies the data's size.
// Returns Ok, CapacityTooLarge, NullID, DataTooLong, NullNodeInfo, NullRecord1056 or NullRecord24.
Rc checkContents(NodeContents &contents);

// Fills the area of each option of the node and stops at the first failure. The caller is in the node's write section.
// Returns Ok, a code of findArea(), or AreaOverused for an area that is too small, which stays unchanged.
Rc fillAreas(SNodeCB_t *node, const NodeContents &contents);

}  // namespace sntr
