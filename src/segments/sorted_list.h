// SPDX-License-Identifier: MIT
// A singly linked list that ascends by its key, written once for both stores and both kinds of entries.
//
// Invariants:
// 1. A node is filled before one store links it; one store unlinks it before it is freed. A process that dies in
//    between leaves a whole list, and at most one unused block.
// 2. The caller has the list to itself: the store exists inside the domain's latch, or the list is this process's own.
#pragma once

#include <cstdint>
#include <cstdio>

#include "layout/rc.h"
#include "layout/words.h"

namespace sntr {

template <class Entry, class Store>
class SortedList {
 public:
  using Record = typename Entry::Record;
  using Key = typename Entry::Key;
  using Node = typename Store::Node;

  explicit SortedList(const Store &store) : store_(store) {}

  // Finds the stored record of a key, or sets null. Returns the store's and the comparison's codes.
  Rc find(Key key, Record *&record) const {
    Spot spot;
    if (Rc rc = locate(key, spot); failed(rc)) return rc;
    record = spot.matched ? &spot.node->record : nullptr;
    return Rc::Ok;
  }

  // Inserts a copy. Returns EntryExists, or the codes of find() and the allocation. A failure changes nothing.
  Rc insert(const Record &record, Record *&stored) const {
    Spot spot;
    if (Rc rc = locate(Entry::keyOf(record), spot); failed(rc)) return rc;
    return spot.matched ? Rc::EntryExists : insertAt(spot, record, stored);
  }

  // Finds the stored record with the same key, or inserts the given one. Returns insert()'s codes except EntryExists.
  Rc findOrInsert(const Record &record, Record *&stored) const {
    Spot spot;
    if (Rc rc = locate(Entry::keyOf(record), spot); failed(rc)) return rc;
    if (!spot.matched) return insertAt(spot, record, stored);
    stored = &spot.node->record;
    return Rc::Ok;
  }

  // Removes an entry. Returns NoSuchEntry, or the codes of find() and of the release.
  Rc erase(Key key) const {
    Spot spot;
    if (Rc rc = locate(key, spot); failed(rc)) return rc;
    return spot.matched ? remove(spot) : Rc::NoSuchEntry;
  }

  // Removes all nodes from the first on; stops at the first failure.
  Rc clear() const {
    Spot spot;
    for (std::uint64_t steps = 0; steps <= store_.mostNodes(); ++steps) {
      if (Rc rc = follow(store_.head(), spot); failed(rc)) return rc;
      if (spot.node == nullptr) return Rc::Ok;
      if (Rc rc = remove(spot); failed(rc)) return rc;
    }
    return Rc::ChunkOutsideHeap;
  }

  // Writes one line per node to standard output.
  Rc print() const {
    Spot spot;
    if (Rc rc = follow(store_.head(), spot); failed(rc)) return rc;
    if (spot.node == nullptr) std::puts("List is empty");
    for (std::uint64_t steps = 1; spot.node != nullptr; ++steps) {
      if (steps > store_.mostNodes()) return Rc::ChunkOutsideHeap;
      Entry::print(static_cast<int>(steps), spot.node->record);
      if (Rc rc = goOn(*spot.node, spot); failed(rc)) return rc;
    }
    return Rc::Ok;
  }

 private:
  // A link's word and the node it leads to.
  struct Spot {
    void *word = nullptr;    // the head, or a node's next
    std::uint64_t link = 0;  // the value read there
    Node *node = nullptr;    // null at the end of the list
    bool matched = false;    // the node has the wanted key
  };

  // Reads a link once and checks it.
  Rc follow(void *word, Spot &spot) const {
    spot = Spot{word, readWord<std::uint64_t>(word), nullptr, false};
    return spot.link == 0 ? Rc::Ok : store_.node(spot.link, spot.node);
  }

  // Follows a node's link. The list ascends, so a next key that is not greater means damage; this also detects a cycle
  // at once. Returns ChunkOutsideHeap for damage.
  Rc goOn(Node &from, Spot &spot) const {
    int order = 1;
    if (Rc rc = follow(&from.next, spot); failed(rc) || spot.node == nullptr || Store::kTrusted) return rc;
    if (Rc rc = Entry::compare(store_.mode(), spot.node->record, Entry::keyOf(from.record), order); failed(rc))
      return rc;
    return order > 0 ? Rc::Ok : Rc::ChunkOutsideHeap;
  }

  // Finds a key's node, or the first node after its position; `spot.word` is the link to change for an insertion.
  Rc locate(Key key, Spot &spot) const {
    if (Rc rc = follow(store_.head(), spot); failed(rc)) return rc;
    for (std::uint64_t steps = 0; steps <= store_.mostNodes(); ++steps) {
      if (spot.node == nullptr) return Rc::Ok;
      int order = 0;
      if (Rc rc = Entry::compare(store_.mode(), spot.node->record, key, order); failed(rc)) return rc;
      spot.matched = order == 0;
      if (order >= 0) return Rc::Ok;
      if (Rc rc = goOn(*spot.node, spot); failed(rc)) return rc;
    }
    return Rc::ChunkOutsideHeap;
  }

  Rc insertAt(const Spot &spot, const Record &record, Record *&stored) const {
    void *block = nullptr;
    if (Rc rc = store_.allocate(block); failed(rc)) return rc;
    auto *const node = static_cast<Node *>(block);
    node->next = spot.link;
    node->record = record;
    publishWord<std::uint64_t>(spot.word, store_.linkTo(node));
    stored = &node->record;
    return Rc::Ok;
  }

  // Unlinks the node and frees it; links it again if it could not be freed, so that it is not lost. Checks the next
  // link first: a damaged one must not be copied into the node before.
  Rc remove(const Spot &spot) const {
    Spot after;
    if (Rc rc = goOn(*spot.node, after); failed(rc)) return rc;
    publishWord<std::uint64_t>(spot.word, after.link);
    void *block = spot.node;
    const Rc freed = store_.release(block);
    if (block != nullptr) publishWord<std::uint64_t>(spot.word, spot.link);
    return freed;
  }

  const Store &store_;
};

}  // namespace sntr
