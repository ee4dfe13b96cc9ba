// Refreshing a node, as the operations on whole trees use it.
#pragma once

#include "frame/trace.h"
#include "sntr/types.h"

namespace sntr {

// Notes that the owner still cares for the node, in a write section of it. The section's codes; UpdateOf... and
// ConditionOutOfRange for a node that is not active; BadLivenessMode; AtomicFailed. The node is not null.
Rc refreshNode(const Trace &t, SNodeCB_t *node);

}  // namespace sntr
