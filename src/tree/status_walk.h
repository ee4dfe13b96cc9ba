// Applying a status action to a node, and to a node with everything below it.
//
// Any thread, outside the sections of all nodes. Each node is acted on in sections of its own; nothing is held between
// two of them, so other processes may change the tree under the walk, which then goes by what it finds.
#pragma once

#include <cstdint>

#include "frame/trace.h"
#include "sntr/types.h"

namespace sntr {

// What is to be done, to which nodes, how far down.
struct StatusOrder {
  const ShmSegInfo_t *info;  // may be null where the action does not need it
  std::uint32_t action;
  std::uint32_t mask;
  bool withDependents;
  std::uint64_t limit;  // levels; 0 for all
};

// Most nodes that a walk reaches. No tree has as many (they would fill 48 GiB); links that lead in circles do.
constexpr std::uint64_t kMostNodesWalked = 0x1000000;

// The node alone, if the mask selects it. ConditionOutOfRange, BadStatusAction, NullKey, the codes of the action. A
// node that was freed is null afterwards.
Rc applyToNode(const Trace &t, const StatusOrder &order, SNodeCB_t *&node);

// The nodes below it, then the node itself. Also LimitTooLarge, OssNoMemory, the codes of the dependents.
Rc applyToTree(const Trace &t, const StatusOrder &order, std::uint64_t depth, SNodeCB_t *&top);

}  // namespace sntr
