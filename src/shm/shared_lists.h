// The shared lists as the end of a pool meets them: entries that are about to be somebody else's memory.
//
// What an entry holds is for the rooms above; here only its link counts. The caller is inside the domain's section.
#pragma once

#include "shm/heap_view.h"

namespace sntr {

// Unlinks every entry of the domain's shared lists that lies in [low, high), wherever it stands in its list. A list
// that is damaged there ends before the damage; nobody could go on behind it. Cannot fail.
void unlinkEntriesWithin(const HeapView &domain, std::uint64_t low, std::uint64_t high);

}  // namespace sntr
