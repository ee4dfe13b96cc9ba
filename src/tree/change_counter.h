// The count of structural changes of a node, by which observers learn that its lists are not what they were.
//
// Changed atomically, so that observers may read it without the node's latch. Callers hold the write section.
#pragma once

#include "layout/rc.h"
#include "sntr/types.h"

namespace sntr {

// One structural change more. AtomicFailed, and the count is what it was.
inline Rc countChange(SNodeCB_t *node) {
  return node->reconfigCounter.increment(nullptr) == 0 ? Rc::Ok : Rc::AtomicFailed;
}

}  // namespace sntr
