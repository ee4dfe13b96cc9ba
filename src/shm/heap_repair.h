// The place where a heap is mended after its holder died inside a change.
//
// Whoever enters the heap's section and finds an intent stated calls this, holding the latch, before the work begins.
// It changes nothing yet, and entry goes on; what it will do starts from the level-0 chain of the allocated list and is
// harmless to a heap that is whole.
#pragma once

#include "shm/heap_view.h"

namespace sntr {

void repairHeap(const HeapView &view);

}  // namespace sntr
