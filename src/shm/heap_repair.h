// SPDX-License-Identifier: MIT
// Repair of a heap whose latch holder died inside a change.
//
// enterHeap() calls this, holding the latch, if it finds an intent; the section's work follows. It changes nothing yet.
// A later version must start from the level-0 chain of the allocated list and be harmless to an undamaged heap.
#pragma once

#include "shm/heap_view.h"

namespace sntr {

void repairHeap(const HeapView &view);

}  // namespace sntr
