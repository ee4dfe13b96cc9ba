// SPDX-License-Identifier: MIT
// The steps of a node's life, for the operations on whole trees. Nodes are not null. Failures are traced under the
// function whose trace is given.
// Thread safety: any thread, outside the node's section: each step enters and leaves it.
#pragma once

#include <cstdint>

#include "frame/trace.h"
#include "sntr/types.h"

namespace sntr {

// Activates a node. Returns Ok, a code of the section, or NodeOnlyCreated with the node unchanged.
Rc activateNode(const Trace &t, SNodeCB_t *node);

// Sets a node's condition, whatever it was before. Returns the section's codes.
Rc changeCondition(const Trace &t, SNodeCB_t *node, std::uint32_t condition);

// Frees a node's block, and then nulls the address. Takes no latch of the node: it is out of use. Returns Ok,
// NullPoolHandle, BadVersion, or a code of freeBlock().
Rc disclaimNode(const Trace &t, SNodeCB_t *&node, const ShmPoolHandle *pool, std::uint32_t version);

}  // namespace sntr
