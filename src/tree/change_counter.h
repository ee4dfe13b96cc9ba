// The count of structural changes of a node, by which observers learn that its lists are not what they were.
//
// Changed atomically, so that observers may read it without the node's latch. Callers hold the write section.
#pragma once

#include "frame/cells.h"
#include "layout/rc.h"
#include "layout/words.h"
#include "sntr/types.h"

namespace sntr {

// One structural change more. AtomicFailed, and the count is what it was. Under model 1 only the holder of the node's
// latch comes here; under the others nobody is kept out, and callers who share a node so must not lose a change of the
// count at least.
inline Rc countChange(SNodeCB_t *node) {
  if (loadField(node->concurrencyModel) == SNTR_MODEL_LATCHED) [[likely]]
    return countCellUnderLatch(&node->reconfigCounter);
  return node->reconfigCounter.increment(nullptr) == 0 ? Rc::Ok : Rc::AtomicFailed;
}

}  // namespace sntr
