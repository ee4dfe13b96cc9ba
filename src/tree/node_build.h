// What creating a node in a pool and in private memory have in common: the plan, and building the node in memory.
//
// Depends on no storage, so that a program with private nodes only links without it. The memory is the caller's alone
// until it tells somebody of the node.
#pragma once

#include <cstdint>

#include "layout/rc.h"
#include "sntr/types.h"

namespace sntr {

// Everything that a new node is made of.
struct NodePlan {
  std::uint64_t options;
  std::uint64_t total;                   // bytes, control block and areas
  AreaEntry areaTable[SNTR_AREA_COUNT];  // areas follow one another without gaps, nothing used
};

// From 64 area sizes. AreaTooLarge, BadNodeSize.
Rc planNode(std::uint64_t options, const std::uint64_t *areaSizes, NodePlan &plan);

// Builds the node of a plan in plan.total bytes at a multiple of 8: zeroes, condition "created", model 1, both latch
// blocks stamped. BadLatchVersion, LatchFailed, AtomicFailed; after a failure the memory holds no node.
Rc buildNode(SNodeCB_t *node, const NodePlan &plan, std::uint32_t latchVersion);

}  // namespace sntr
