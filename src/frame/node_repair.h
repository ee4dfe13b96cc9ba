// The place where a node is mended after its writer died inside a write section.
//
// Whoever enters a section and finds writeInProgress already 1 calls this, holding the latch, before the work begins.
// It changes nothing yet, and entry goes on; what it will do is harmless to a node that is whole.
#pragma once

#include "sntr/types.h"

namespace sntr {

void repairNode(SNodeCB_t *node);

}  // namespace sntr
