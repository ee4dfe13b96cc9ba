// SPDX-License-Identifier: MIT
// The operations on the lists, over a kind of entry and a place: argument checks and traces around sorted_list.h.
#pragma once

#include <pthread.h>

#include "frame/trace.h"
#include "segments/list_stores.h"
#include "segments/sorted_list.h"

namespace sntr {

template <class Entry, class Place, class Work>
Rc onList(const Place &place, Work &&work) {
  return place.template run<Entry>(
      [&](const auto &store) { return work(SortedList<Entry, std::remove_cvref_t<decltype(store)>>(store)); });
}

template <class Entry, class Place>
std::uint32_t findEntry(Fn fn, const Place &place, typename Entry::Key key, typename Entry::Record **record) {
  return traced(fn, [&](const Trace &t) {
    if (key == nullptr || record == nullptr) return t.fail(1, Rc::NullListEntry);
    return t.fail(2, onList<Entry>(place, [&](const auto &list) { return list.find(key, *record); }));
  });
}

template <class Entry, class Place>
std::uint32_t insertEntry(Fn fn, const Place &place, const typename Entry::Record *record,
                          typename Entry::Record **stored) {
  return traced(fn, [&](const Trace &t) {
    if (record == nullptr || stored == nullptr) return t.fail(1, Rc::NullListEntry);
    return t.fail(2, onList<Entry>(place, [&](const auto &list) { return list.insert(*record, *stored); }));
  });
}

template <class Entry, class Place>
std::uint32_t deleteEntry(Fn fn, const Place &place, typename Entry::Key key) {
  return traced(fn, [&](const Trace &t) {
    if (key == nullptr) return t.fail(1, Rc::NullListEntry);
    return t.fail(2, onList<Entry>(place, [&](const auto &list) { return list.erase(key); }));
  });
}

template <class Entry, class Place>
std::uint32_t deleteEntries(Fn fn, const Place &place) {
  return traced(fn, [&](const Trace &t) {
    return t.fail(1, onList<Entry>(place, [](const auto &list) { return list.clear(); }));
  });
}

// Prints with cancellation disabled: the C library's output is a cancellation point, and the list's latch is held.
template <class Entry, class Place>
std::uint32_t printEntries(Fn fn, const Place &place) {
  return traced(fn, [&](const Trace &t) {
    int former = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &former);
    const Rc rc = onList<Entry>(place, [](const auto &list) { return list.print(); });
    pthread_setcancelstate(former, nullptr);
    return t.fail(1, rc);
  });
}

}  // namespace sntr
