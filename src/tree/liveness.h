// SPDX-License-Identifier: MIT
// Refreshes a node, for the operations on whole trees.
// Thread safety: any thread, outside the node's section.
#pragma once

#include "frame/trace.h"
#include "sntr/types.h"

namespace sntr {

// Notes in a write section that the owner still maintains the node, which is not null. Returns Ok, a code of the
// section, UpdateOf... or ConditionOutOfRange for a node that is not active, BadLivenessMode, or AtomicFailed.
Rc refreshNode(const Trace &t, SNodeCB_t *node);

}  // namespace sntr
