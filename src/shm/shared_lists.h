// SPDX-License-Identifier: MIT
// The shared lists, as needed to free a pool: entries whose memory is about to be released.
//
// The rooms above interpret entries; here only their link counts.
//
// Thread safety: the caller is inside the domain's section.
#pragma once

#include "shm/heap_view.h"

namespace sntr {

// Unlinks every entry of the domain's shared lists in [low, high), at any position. A list that is damaged there ends
// before the damage, since no walk could continue after it. Cannot fail.
void unlinkEntriesWithin(const HeapView &domain, std::uint64_t low, std::uint64_t high);

}  // namespace sntr
