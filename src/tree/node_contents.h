// What is written into the areas of a node when it is initialized.
//
// The arguments of sntrInitNode() gathered in one record, their checks, and the filling of the areas. The record and
// what it points to belong to the caller's thread; the node is filled inside its write section.
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
  std::uint64_t infoDataSize;  // as info told it when it was checked
  std::uint64_t capacity;
  const void *record24;
  const void *record1056;

  bool has(std::uint32_t option) const { return (options & option) != 0; }
};

// Checks what the node's options ask for, in the published order; rounds the capacity and takes the data's size over.
// CapacityTooLarge, NullID, DataTooLong, NullNodeInfo, NullRecord1056, NullRecord24.
Rc checkContents(NodeContents &contents);

// Fills the area of each option that the node has. The lookup's codes; AreaOverused when the contents need more than
// the area has, and then nothing is written there. Stops at the first failure. The caller is in the node's write
// section.
Rc fillAreas(SNodeCB_t *node, const NodeContents &contents);

}  // namespace sntr
