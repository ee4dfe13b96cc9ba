// The node parameters: defaults, rules, and where they go. Shared by initializing a node and setting its options.
#pragma once

#include <cstdint>

#include "layout/rc.h"
#include "sntr/types.h"

namespace sntr {

// Copies the caller's parameters (null: all zero) with each zero replaced by its default, but for the time.
// BadCondition, BadStatusMode.
Rc resolveParams(const SNodeParams *given, std::uint32_t defaultCondition, SNodeParams &resolved);

// Stores them; a time of 0 becomes now. The caller is in the node's write section. ValueOutOfRange when the model is
// above 5: it is stored all the same, as everything else is.
Rc storeParams(SNodeCB_t *node, const SNodeParams &params);

}  // namespace sntr
