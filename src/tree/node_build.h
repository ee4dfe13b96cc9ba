// SPDX-License-Identifier: MIT
// The common part of creating a node in a pool and in private memory: the plan, and building the node in memory. It
// depends on no storage, so that a program with private nodes only links without it.
// Thread safety: the memory belongs to the caller alone until it publishes the node.
#pragma once

#include <cstdint>

#include "layout/rc.h"
#include "sntr/types.h"

namespace sntr {

// The parts of a new node.
struct NodePlan {
  std::uint64_t options;
  std::uint64_t total;                   // bytes, control block and areas
  AreaEntry areaTable[SNTR_AREA_COUNT];  // areas follow one another without gaps, with nothing used
};

// Plans a node from 64 area sizes. Returns Ok, AreaTooLarge or BadNodeSize.
Rc planNode(std::uint64_t options, const std::uint64_t *areaSizes, NodePlan &plan);

// Builds the node of a plan in plan.total bytes at a multiple of 8: zeroes, condition "created", model 1, both latch
// blocks stamped. Returns Ok, BadLatchVersion, LatchFailed or AtomicFailed; after a failure the memory holds no node.
Rc buildNode(SNodeCB_t *node, const NodePlan &plan, std::uint32_t latchVersion);

}  // namespace sntr
