// SPDX-License-Identifier: MIT
// The node parameters: defaults, rules and storing, for initializing a node and setting its options.
// Thread safety: any thread; the caller of storeParams() is in the node's write section.
#pragma once

#include <cstdint>

#include "layout/rc.h"
#include "sntr/types.h"

namespace sntr {

// Copies the caller's parameters (null: all zero) and replaces each zero by its default, except the time. Returns Ok,
// BadCondition or BadStatusMode.
Rc resolveParams(const SNodeParams *given, std::uint32_t defaultCondition, SNodeParams &resolved);

// Stores them; a time of 0 becomes now. Returns Ok, or ValueOutOfRange for a model above 5, with everything stored.
Rc storeParams(SNodeCB_t *node, const SNodeParams &params);

}  // namespace sntr
