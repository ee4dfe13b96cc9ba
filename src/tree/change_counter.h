// SPDX-License-Identifier: MIT
// The count of structural changes of a node, by which observers detect that its lists changed.
// Thread safety: the caller holds the write section. The change is atomic: observers read without the node's latch.
#pragma once

#include "frame/cells.h"
#include "layout/rc.h"
#include "layout/words.h"
#include "sntr/types.h"

namespace sntr {

// Counts one structural change. Returns Ok, or AtomicFailed with the count unchanged. Under model 1 the caller holds
// the node's latch. Other models exclude no other caller, so there the increment must not lose a change.
inline Rc countChange(SNodeCB_t *node) {
  if (loadField(node->concurrencyModel) == SNTR_MODEL_LATCHED) [[likely]]
    return countCellUnderLatch(&node->reconfigCounter);
  return node->reconfigCounter.increment(nullptr) == 0 ? Rc::Ok : Rc::AtomicFailed;
}

}  // namespace sntr
