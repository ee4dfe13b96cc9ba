// The steps of a node's life as the operations on whole trees use them.
//
// Any thread, outside the node's section: each enters and leaves it. The node is not null. Failures are traced under
// the function whose trace is given.
#pragma once

#include <cstdint>

#include "frame/trace.h"
#include "sntr/types.h"

namespace sntr {

// The section's codes; NodeOnlyCreated, and the node stays as it was.
Rc activateNode(const Trace &t, SNodeCB_t *node);

// Gives a node a condition whatever the one before. The section's codes.
Rc changeCondition(const Trace &t, SNodeCB_t *node, std::uint32_t condition);

// Gives a node's block back, and nulls the address once that is done. Takes no latch of the node: nobody uses it any
// more. NullPoolHandle, BadVersion, freeBlock()'s codes.
Rc disclaimNode(const Trace &t, SNodeCB_t *&node, const ShmPoolHandle *pool, std::uint32_t version);

}  // namespace sntr
