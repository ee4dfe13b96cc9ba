// The shared lists as the rooms above use them.
//
// Any thread; the domain's latch is taken, and the pool's inside it. The handle is the caller's and is only read.
#pragma once

#include <sntr/segments.h>

#include "layout/rc.h"

namespace sntr {

// Sees to it that a shared list of the pool's domain has an entry with the record's key: the one that is there, or a
// copy of the record. One hold of the domain's latch, so that no other process can insert or delete the entry in
// between. `offset` receives the stored record's offset from the start of the domain. The codes of the exported
// insertion but EntryExists; a failure writes nothing.
Rc ensureAttachEntry(const ShmPoolHandle *pool, const AttachSegInfo &record, std::uint64_t &offset);
Rc ensureModuleEntry(const ShmPoolHandle *pool, const GCFModuleInfo &record, std::uint64_t &offset);

}  // namespace sntr
