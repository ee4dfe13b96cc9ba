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
Rc findEntry(const Trace &t, const Place &place, typename Entry::Key key, typename Entry::Record **record) {
  if (key == nullptr || record == nullptr) return t.fail(1, Rc::NullListEntry);
  return t.fail(2, onList<Entry>(place, [&](const auto &list) { return list.find(key, *record); }));
}

template <class Entry, class Place>
Rc insertEntry(const Trace &t, const Place &place, const typename Entry::Record *record,
               typename Entry::Record **stored) {
  if (record == nullptr || stored == nullptr) return t.fail(1, Rc::NullListEntry);
  return t.fail(2, onList<Entry>(place, [&](const auto &list) { return list.insert(*record, *stored); }));
}

template <class Entry, class Place>
Rc deleteEntry(const Trace &t, const Place &place, typename Entry::Key key) {
  if (key == nullptr) return t.fail(1, Rc::NullListEntry);
  return t.fail(2, onList<Entry>(place, [&](const auto &list) { return list.erase(key); }));
}

template <class Entry, class Place>
Rc deleteEntries(const Trace &t, const Place &place) {
  return t.fail(1, onList<Entry>(place, [](const auto &list) { return list.clear(); }));
}

// The C library's output is a cancellation point, and the list's latch is held meanwhile.
template <class Entry, class Place>
Rc printEntries(const Trace &t, const Place &place) {
  int former = 0;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &former);
  const Rc rc = onList<Entry>(place, [](const auto &list) { return list.print(); });
  pthread_setcancelstate(former, nullptr);
  return t.fail(1, rc);
}

}  // namespace sntr
