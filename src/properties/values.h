// Reading and writing registers and result codes, over the kinds whose value is a register and, for result codes and
// addresses, over any kind. Values of bytes are in byte_values.h. This is the full way; fast_values.h is the fast one.
//
// A register is an atomic cell: a caller may keep a register's address and change it without the node's latch, so even
// the holder of the section meets other threads here. Arguments are checked, and the key is hashed, before anything of
// the list is read. Reads take no latch: what they find goes to locals, and to the caller once it is known to stand.
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

// AtomicFailed, and the register is what it was.
template <class K>
Rc writeRegister(std::byte *record, std::int32_t value) {
  return writeCell(cellAt(record + K::valueAt), value);
}

// Reads the value of a key. After a failure the output is what it was.
template <class K>
Rc getRegister(const Trace &t, SNodeCB_t *node, typename K::Key key, std::int32_t *out, std::uint64_t latchHeld) {
  if (Rc rc = prepare<K>(node, key); failed(rc)) return t.fail(1, rc);
  if (out == nullptr) return t.fail(2, K::nullValueOutput);
  std::int32_t value = 0;
  const Rc rc = readWithoutLatch(t, node, heldIf(latchHeld), [&]() -> Finding {
    PropertyList list;
    std::byte *record = nullptr;
    if (Rc bad = locateForValue<K>(node, key, list, record); failed(bad)) return {3, bad};
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
    if (Rc rc = locateForValue<K>(node, key, list, record); failed(rc)) return t.fail(2, rc);
    return t.fail(3, writeRegister<K>(record, value));
  });
}

// Reads both by the record's address, which any process may have kept from a time when the list looked different: it is
// looked at only once the node was found active.
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
    if (Rc bad = admitRecord<K>(node, record, list); failed(bad)) return {5, bad};
    value = readRegister<K>(record);
    rcValue = readWord<std::uint64_t>(record + kRCAt);
    return {};
  });
  if (failed(rc)) return rc;
  *out = value;
  *rcOut = rcValue;
  return rc;
}

// Writes both by the record's address. The register first: when its exchange fails nothing was changed.
template <class K>
Rc setRegisterAndRC(const Trace &t, SNodeCB_t *node, SNodeProperty_t *property, std::int32_t value,
                    std::uint64_t rcValue, std::uint64_t latchHeld) {
  if (node == nullptr) return t.fail(1, Rc::NullNode);
  if (property == nullptr) return t.fail(2, K::data.nullRecord);
  auto *record = reinterpret_cast<std::byte *>(property);
  return writeSection(t, node, heldIf(latchHeld), [&]() -> Rc {
    PropertyList list;
    if (Rc rc = admitRecord<K>(node, record, list); failed(rc)) return t.fail(3, rc);
    if (Rc rc = writeRegister<K>(record, value); failed(rc)) return t.fail(4, rc);
    writeWord<std::uint64_t>(record + kRCAt, rcValue);
    return Rc::Ok;
  });
}

// Reads the result code of a key. Unlike a value's, its not-found code tells the layout of the list.
template <class K>
Rc getRC(const Trace &t, SNodeCB_t *node, typename K::Key key, std::uint64_t *rcOut, std::uint64_t latchHeld) {
  if (Rc rc = prepare<K>(node, key); failed(rc)) return t.fail(1, rc);
  if (rcOut == nullptr) return t.fail(2, Rc::NullRCOutput);
  std::uint64_t rcValue = 0;
  const Rc rc = readWithoutLatch(t, node, heldIf(latchHeld), [&]() -> Finding {
    PropertyList list;
    std::byte *record = nullptr;
    if (Rc bad = locate<K>(node, key, list, record); failed(bad)) return {3, bad};
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
    if (Rc rc = locate<K>(node, key, list, record); failed(rc)) return t.fail(2, rc);
    writeWord<std::uint64_t>(record + kRCAt, rcValue);
    return Rc::Ok;
  });
}

// The address of a record, for a caller that holds the section.
template <class K>
Rc addressOfRecord(const Trace &t, SNodeCB_t *node, typename K::Key key, SNodeProperty_t **out) {
  if (Rc rc = prepare<K>(node, key); failed(rc)) return t.fail(1, rc);
  if (out == nullptr) return t.fail(2, K::data.nullRecord);
  PropertyList list;
  std::byte *record = nullptr;
  if (Rc rc = locate<K>(node, key, list, record); failed(rc)) return t.fail(3, rc);
  *out = reinterpret_cast<SNodeProperty_t *>(record);
  return Rc::Ok;
}

// The address of a register, for a caller that holds the section. It may be any address.
template <class K>
Rc addressOfRegister(const Trace &t, SNodeCB_t *node, typename K::Key key, std::int32_t **out) {
  if (Rc rc = prepare<K>(node, key); failed(rc)) return t.fail(1, rc);
  if (out == nullptr) return t.fail(2, K::data.nullRecord);
  PropertyList list;
  std::byte *record = nullptr;
  if (Rc rc = locateForValue<K>(node, key, list, record); failed(rc)) return t.fail(3, rc);
  *out = reinterpret_cast<std::int32_t *>(record + K::valueAt);
  return Rc::Ok;
}

}  // namespace sntr
