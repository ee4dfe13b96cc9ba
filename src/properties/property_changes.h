// SPDX-License-Identifier: MIT
// Adds and deletes one property, over any keyed kind: the checks, the section, and the choice of the layout. The list
// is opened twice: before the section for the order of the codes, and inside it for use. Another process may have laid
// it out in between.
// Thread safety: any thread; each function enters the write section, unless the caller holds it. The exception is
// findInTableOnly(), which needs the caller's section.
#pragma once

#include <cstdint>

#include "frame/section.h"
#include "properties/lookup.h"

namespace sntr {

// The reach of a change: a list of either layout in an active node, or a table alone in any condition of the node.
enum class Reach : bool { AnyList, TableOnly };

template <Reach reach>
Rc checkConditionFor(const SNodeCB_t *node) {
  return reach == Reach::TableOnly ? Rc::Ok : checkCondition(node, kMaskProperties);
}

template <class K, Reach reach = Reach::AnyList>
Rc addProperty(const Trace &t, SNodeCB_t *node, typename K::Key key, const typename K::Value &value,
               std::uint64_t latchHeld) {
  if (Rc rc = prepareValue<K, Use::Add>(node, key, value); failed(rc)) return t.fail(1, rc);
  key.takeChainHashes();
  PropertyList list;
  if (Rc rc = openList(node, K::data, list); failed(rc)) return t.fail(2, rc);
  return writeSection(t, node, heldIf(latchHeld), [&]() -> Rc {
    if (Rc rc = checkConditionFor<reach>(node); failed(rc)) return t.fail(3, rc);
    if (Rc rc = openList(node, K::data, list); failed(rc)) return t.fail(4, rc);
    if (Rc rc = checkRoom<K>(list, key, value); failed(rc)) return t.fail(6, rc);
    const bool toTable = reach == Reach::TableOnly || list.isTable();
    return t.fail(5, toTable ? addToTable<K>(node, list, key, value) : addToArray<K>(node, list, key, value));
  });
}

// Deletes a property. From a table alone, the list's codes come also before the section's.
template <class K, Reach reach = Reach::AnyList>
Rc deleteProperty(const Trace &t, SNodeCB_t *node, typename K::Key key, std::uint64_t latchHeld) {
  constexpr bool tableOnly = reach == Reach::TableOnly;
  if (Rc rc = prepare<K>(node, key); failed(rc)) return t.fail(1, rc);
  PropertyList list;
  if (Rc rc = tableOnly ? openToFind<K>(node, list) : Rc::Ok; failed(rc)) return t.fail(5, rc);
  return writeSection(t, node, heldIf(latchHeld), [&]() -> Rc {
    if (Rc rc = checkConditionFor<reach>(node); failed(rc)) return t.fail(2, rc);
    if (Rc rc = openToFind<K>(node, list); failed(rc)) return t.fail(3, rc);
    const bool fromTable = tableOnly || list.isTable();
    return t.fail(4, fromTable ? deleteFromTable<K>(node, list, key) : deleteFromArray<K>(node, list, key));
  });
}

// Searches a table. `out` receives the record at which the search stopped, found or not, and is unchanged without one.
template <class K>
Rc findInTableOnly(const Trace &t, SNodeCB_t *node, typename K::Key key, SNodeProperty_t **out) {
  if (Rc rc = prepare<K>(node, key); failed(rc)) return t.fail(1, rc);
  if (out == nullptr) return t.fail(2, K::data.nullRecord);
  PropertyList list;
  if (Rc rc = openToFind<K>(node, list); failed(rc)) return t.fail(3, rc);
  if (!list.isTable()) return t.fail(4, K::data.notInTable);
  ChainPlace place;
  if (Rc rc = findInTable<K>(list, key, place); failed(rc)) return t.fail(5, rc);
  if (place.record != nullptr) *out = reinterpret_cast<SNodeProperty_t *>(place.record);
  return t.fail(6, place.matched ? Rc::Ok : K::data.notInTable);
}

}  // namespace sntr
