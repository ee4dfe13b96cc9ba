// Adding and deleting one property, over any keyed kind: the checks, the section, and the layout that is met.
//
// The list is opened twice: before the section for the order of the codes, and inside it for use, because another
// process may have laid the list out in between.
#pragma once

#include <cstdint>

#include "frame/section.h"
#include "properties/lookup.h"

namespace sntr {

// Adds a property to a list of either layout.
template <class K>
Rc addProperty(const Trace &t, SNodeCB_t *node, typename K::Key key, const typename K::Value &value,
               std::uint64_t latchHeld) {
  if (Rc rc = prepareValue<K, Use::Add>(node, key, value); failed(rc)) return t.fail(1, rc);
  key.takeChainHashes();
  PropertyList list;
  if (Rc rc = openList(node, K::data, list); failed(rc)) return t.fail(2, rc);
  return writeSection(t, node, heldIf(latchHeld), [&]() -> Rc {
    if (Rc rc = checkCondition(node, kMaskProperties); failed(rc)) return t.fail(3, rc);
    if (Rc rc = openList(node, K::data, list); failed(rc)) return t.fail(4, rc);
    if (Rc rc = checkRoom<K>(list, key, value); failed(rc)) return t.fail(6, rc);
    return t.fail(5, list.isTable() ? addToTable<K>(node, list, key, value) : addToArray<K>(node, list, key, value));
  });
}

// Deletes a property from a list of either layout.
template <class K>
Rc deleteProperty(const Trace &t, SNodeCB_t *node, typename K::Key key, std::uint64_t latchHeld) {
  if (Rc rc = prepare<K>(node, key); failed(rc)) return t.fail(1, rc);
  return writeSection(t, node, heldIf(latchHeld), [&]() -> Rc {
    if (Rc rc = checkCondition(node, kMaskProperties); failed(rc)) return t.fail(2, rc);
    PropertyList list;
    if (Rc rc = openToFind<K>(node, list); failed(rc)) return t.fail(3, rc);
    return t.fail(4, list.isTable() ? deleteFromTable<K>(node, list, key) : deleteFromArray<K>(node, list, key));
  });
}

// Adds to a table, and to nothing else; the condition of the node is not looked at.
template <class K>
Rc addToTableOnly(const Trace &t, SNodeCB_t *node, typename K::Key key, const typename K::Value &value,
                  std::uint64_t latchHeld) {
  if (Rc rc = prepareValue<K, Use::Add>(node, key, value); failed(rc)) return t.fail(1, rc);
  key.takeChainHashes();
  PropertyList list;
  if (Rc rc = openList(node, K::data, list); failed(rc)) return t.fail(2, rc);
  return writeSection(t, node, heldIf(latchHeld), [&]() -> Rc {
    if (Rc rc = openList(node, K::data, list); failed(rc)) return t.fail(3, rc);
    if (Rc rc = checkRoom<K>(list, key, value); failed(rc)) return t.fail(5, rc);
    return t.fail(4, addToTable<K>(node, list, key, value));
  });
}

// Deletes from a table, and from nothing else, always in a section of its own.
template <class K>
Rc deleteFromTableOnly(const Trace &t, SNodeCB_t *node, typename K::Key key) {
  if (Rc rc = prepare<K>(node, key); failed(rc)) return t.fail(1, rc);
  PropertyList list;
  if (Rc rc = openToFind<K>(node, list); failed(rc)) return t.fail(2, rc);
  return writeSection(t, node, Held::No, [&]() -> Rc {
    if (Rc rc = openToFind<K>(node, list); failed(rc)) return t.fail(3, rc);
    return t.fail(4, deleteFromTable<K>(node, list, key));
  });
}

// Searches a table. `out` receives the record at which the search stopped, whatever the answer, and keeps what it holds
// when there was none.
template <class K>
Rc findInTableOnly(const Trace &t, SNodeCB_t *node, typename K::Key key, SNodeProperty_t **out) {
  if (Rc rc = prepare<K>(node, key); failed(rc)) return t.fail(1, rc);
  if (out == nullptr) return t.fail(2, K::data.nullRecord);
  PropertyList list;
  if (Rc rc = openToFind<K>(node, list); failed(rc)) return t.fail(3, rc);
  if (!list.isTable()) return t.fail(4, K::data.notInTable);
  ChainPlace place;
  if (Rc rc = searchTable<K>(list, key, place); failed(rc)) return t.fail(5, rc);
  if (place.record != nullptr) *out = reinterpret_cast<SNodeProperty_t *>(place.record);
  return t.fail(6, place.matched ? Rc::Ok : K::data.notInTable);
}

}  // namespace sntr
