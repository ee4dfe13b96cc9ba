// SPDX-License-Identifier: MIT
// See shared_entries.h.
#include "segments/shared_entries.h"

#include "segments/list_operations.h"

namespace sntr {

namespace {

template <class Entry>
Rc ensureEntry(const ShmPoolHandle *pool, const typename Entry::Record &record, std::uint64_t &offset) {
  return SharedPlace(pool).run<Entry>([&](const SharedStore<Entry> &store) {
    typename Entry::Record *stored = nullptr;
    const SortedList<Entry, SharedStore<Entry>> list(store);
    if (Rc rc = list.findOrInsert(record, stored); failed(rc)) return rc;
    offset = store.linkTo(stored);
    return Rc::Ok;
  });
}

}  // namespace

Rc ensureAttachEntry(const ShmPoolHandle *pool, const AttachSegInfo &record, std::uint64_t &offset) {
  return ensureEntry<AttachEntry>(pool, record, offset);
}

Rc ensureModuleEntry(const ShmPoolHandle *pool, const GCFModuleInfo &record, std::uint64_t &offset) {
  return ensureEntry<ModuleEntry>(pool, record, offset);
}

}  // namespace sntr
