// SPDX-License-Identifier: MIT
// Reads and writes registers, over the kinds with one; and result codes and addresses, over any kind. Values of bytes
// are in byte_values.h. This is the full way; fast_values.h is the fast way.
//
// Thread safety: any thread; the functions that return an address, or have no Trace, need the node's section.
// Invariants:
// 1. A register is an atomic cell. A caller may keep its address and change it without the node's latch: even the
//    holder of the section shares it with other threads.
// 2. Arguments are checked, and the key is hashed, before anything of the list is read.
// 3. Reads take no latch: they store results in locals, and in the caller's outputs once they are known to be valid.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/cells.h"
#include "frame/section.h"
#include "properties/lookup.h"

namespace sntr {

template <class K>
std::int32_t readRegister(const std::byte *record) {
  return readCell(cellAt(record + K::valueAt));
}

// Returns Ok, or AtomicFailed with the register unchanged.
template <class K>
Rc writeRegister(std::byte *record, std::int32_t value) {
  return writeCell(cellAt(record + K::valueAt), value);
}

// Reads the value of a key. After a failure the output is unchanged.
template <class K>
Rc getRegister(const Trace &t, SNodeCB_t *node, typename K::Key key, std::int32_t *out, std::uint64_t latchHeld) {
  if (Rc rc = prepare<K>(node, key); failed(rc)) return t.fail(1, rc);
  if (out == nullptr) return t.fail(2, K::nullValueOutput);
  std::int32_t value = 0;
  const Rc rc = readWithoutLatch(t, node, heldIf(latchHeld), [&]() -> Finding {
    PropertyList list;
    std::byte *record = nullptr;
    if (Rc bad = findForValue<K>(node, key, list, record); failed(bad)) return {3, bad};
    value = readRegister<K>(record);
    return {};
  });
  if (!failed(rc)) *out = value;
  return rc;
}

// Writes the value of a key; the result code beside it stays.
template <class K>
Rc setRegister(const Trace &t, SNodeCB_t *node, typename K::Key key, std::int32_t value, std::uint64_t latchHeld) {
  if (Rc rc = prepare<K>(node, key); failed(rc)) return t.fail(1, rc);
  return writeSection(t, node, heldIf(latchHeld), [&]() -> Rc {
    PropertyList list;
    std::byte *record = nullptr;
    if (Rc rc = findForValue<K>(node, key, list, record); failed(rc)) return t.fail(2, rc);
    return t.fail(3, writeRegister<K>(record, value));
  });
}

// Reads both by the record's address, which any process may have kept while the list changed. The address is used only
// after the node was found active.
template <class K>
Rc getRegisterAndRC(const Trace &t, SNodeCB_t *node, SNodeProperty_t *property, std::int32_t *out, std::uint64_t *rcOut,
                    std::uint64_t latchHeld) {
  if (node == nullptr) return t.fail(1, Rc::NullNode);
  if (property == nullptr) return t.fail(2, K::data.nullRecord);
  if (out == nullptr) return t.fail(3, K::nullValueOutput);
  if (rcOut == nullptr) return t.fail(4, Rc::NullRCOutput);
  const auto *record = reinterpret_cast<const std::byte *>(property);
  std::int32_t value = 0;
  std::uint64_t rcValue = 0;
  const Rc rc = readWithoutLatch(t, node, heldIf(latchHeld), [&]() -> Finding {
    PropertyList list;
    if (Rc bad = validateInNode<K>(node, record, list); failed(bad)) return {5, bad};
    value = readRegister<K>(record);
    rcValue = readWord<std::uint64_t>(record + kRCAt);
    return {};
  });
  if (failed(rc)) return rc;
  *out = value;
  *rcOut = rcValue;
  return rc;
}

// Writes both by the record's address. The register goes first: if its exchange fails, nothing was changed.
template <class K>
Rc setRegisterAndRC(const Trace &t, SNodeCB_t *node, SNodeProperty_t *property, std::int32_t value,
                    std::uint64_t rcValue, std::uint64_t latchHeld) {
  if (node == nullptr) return t.fail(1, Rc::NullNode);
  if (property == nullptr) return t.fail(2, K::data.nullRecord);
  auto *record = reinterpret_cast<std::byte *>(property);
  return writeSection(t, node, heldIf(latchHeld), [&]() -> Rc {
    PropertyList list;
    if (Rc rc = validateInNode<K>(node, record, list); failed(rc)) return t.fail(3, rc);
    if (Rc rc = writeRegister<K>(record, value); failed(rc)) return t.fail(4, rc);
    writeWord<std::uint64_t>(record + kRCAt, rcValue);
    return Rc::Ok;
  });
}

// Reads the result code of a key. Unlike a value's, its not-found code depends on the layout of the list.
template <class K>
Rc getRC(const Trace &t, SNodeCB_t *node, typename K::Key key, std::uint64_t *rcOut, std::uint64_t latchHeld) {
  if (Rc rc = prepare<K>(node, key); failed(rc)) return t.fail(1, rc);
  if (rcOut == nullptr) return t.fail(2, Rc::NullRCOutput);
  std::uint64_t rcValue = 0;
  const Rc rc = readWithoutLatch(t, node, heldIf(latchHeld), [&]() -> Finding {
    PropertyList list;
    std::byte *record = nullptr;
    if (Rc bad = findInNode<K>(node, key, list, record); failed(bad)) return {3, bad};
    rcValue = readWord<std::uint64_t>(record + kRCAt);
    return {};
  });
  if (!failed(rc)) *rcOut = rcValue;
  return rc;
}

// Writes the result code of a key; the value beside it stays.
template <class K>
Rc setRC(const Trace &t, SNodeCB_t *node, typename K::Key key, std::uint64_t rcValue, std::uint64_t latchHeld) {
  if (Rc rc = prepare<K>(node, key); failed(rc)) return t.fail(1, rc);
  return writeSection(t, node, heldIf(latchHeld), [&]() -> Rc {
    PropertyList list;
    std::byte *record = nullptr;
    if (Rc rc = findInNode<K>(node, key, list, record); failed(rc)) return t.fail(2, rc);
    writeWord<std::uint64_t>(record + kRCAt, rcValue);
    return Rc::Ok;
  });
}

// Returns the address of a record to a caller that holds the section.
template <class K>
Rc addressOfRecord(const Trace &t, SNodeCB_t *node, typename K::Key key, SNodeProperty_t **out) {
  if (Rc rc = prepare<K>(node, key); failed(rc)) return t.fail(1, rc);
  if (out == nullptr) return t.fail(2, K::data.nullRecord);
  PropertyList list;
  std::byte *record = nullptr;
  if (Rc rc = findInNode<K>(node, key, list, record); failed(rc)) return t.fail(3, rc);
  *out = reinterpret_cast<SNodeProperty_t *>(record);
  return Rc::Ok;
}

// Returns the address of a register, at any alignment, to a caller that holds the section.
template <class K>
Rc addressOfRegister(const Trace &t, SNodeCB_t *node, typename K::Key key, std::int32_t **out) {
  if (Rc rc = prepare<K>(node, key); failed(rc)) return t.fail(1, rc);
  if (out == nullptr) return t.fail(2, K::data.nullRecord);
  PropertyList list;
  std::byte *record = nullptr;
  if (Rc rc = findForValue<K>(node, key, list, record); failed(rc)) return t.fail(3, rc);
  *out = reinterpret_cast<std::int32_t *>(record + K::valueAt);
  return Rc::Ok;
}

}  // namespace sntr
