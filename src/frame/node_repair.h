// SPDX-License-Identifier: MIT
// Repair of a node whose writer died inside a write section.
//
// The function that gets a node's latch calls this, holding it, if writeInProgress is already 1. The section's work
// follows. It changes nothing yet; a later version must be harmless to an undamaged node.
#pragma once

#include "sntr/types.h"

namespace sntr {

void repairNode(SNodeCB_t *node);

}  // namespace sntr
