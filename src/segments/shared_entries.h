// SPDX-License-Identifier: MIT
// The shared lists, for the rooms above.
// Thread safety: any thread. Each takes the domain's latch, and the pool's inside it. The handle is only read.
#pragma once

#include <sntr/segments.h>

#include "layout/rc.h"

namespace sntr {

// Ensures that a shared list of the pool's domain has an entry with the record's key: the existing one, or a copy of
// the record. It holds the domain's latch once, so that no other process can change the entry in between. `offset`
// receives the stored record's offset from the start of the domain. Returns the codes of the exported insertion except
// EntryExists; a failure writes nothing.
Rc ensureAttachEntry(const ShmPoolHandle *pool, const AttachSegInfo &record, std::uint64_t &offset);
Rc ensureModuleEntry(const ShmPoolHandle *pool, const GCFModuleInfo &record, std::uint64_t &offset);

}  // namespace sntr
