// SPDX-License-Identifier: MIT
// Applies a status action to a node, or to a node with everything below it.
// Thread safety: any thread, outside the sections of all nodes. Each action runs in sections of its own, and nothing is
// held between two of them. Other processes may change the tree meanwhile; the walk follows its present state.
#pragma once

#include <cstdint>

#include "frame/trace.h"
#include "sntr/types.h"

namespace sntr {

// The action, the nodes that it selects, and the depth.
struct StatusOrder {
  const ShmSegInfo_t *info;  // may be null if the action does not need it
  std::uint32_t action;
  std::uint32_t mask;
  bool withDependents;
  std::uint64_t limit;  // levels; 0 for all
};

// The most nodes that a walk reaches. No tree has as many (they would fill 48 GiB); circular links do.
constexpr std::uint64_t kMostNodesWalked = 0x1000000;

// Acts on the node alone, if the mask selects it. Returns Ok, ConditionOutOfRange, BadStatusAction, NullKey, or a code
// of the action. A freed node is null afterwards.
Rc applyToNode(const Trace &t, const StatusOrder &order, SNodeCB_t *&node);

// Acts on the nodes below it, then on the node. Also returns LimitTooLarge, OssNoMemory or a code of the dependents.
Rc applyToTree(const Trace &t, const StatusOrder &order, std::uint64_t depth, SNodeCB_t *&top);

}  // namespace sntr
