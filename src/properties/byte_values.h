// SPDX-License-Identifier: MIT
// Reads and writes values of bytes, over the kinds that have them. This is the full way; fast_values.h is the fast way.
//
// Thread safety: any thread; addressOfBytes(), and functions without a Trace, need the node's section.
// Invariants:
// 1. A value changes only inside a write section, so a reader sees the whole old value or the whole new one. A writer
//    that dies while it copies leaves a torn value with its old size, because the size is stored last.
// 2. The bytes lie in the room of their own record. Offset and size are read once, and checked before any byte is used.
// 3. Arguments are checked, and the key is hashed, before anything of the list is read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/section.h"
#include "properties/lookup.h"
#include "properties/shared_bytes.h"
#include "properties/values.h"

namespace sntr {

// The outputs of a read; each may be null. The buffer holds as many bytes as the value may have.
struct BytesOutput {
  std::uint64_t *size;
  void **address;
  void *buffer;
};

// Returns Ok, or the kind's outside code if there is no record or its value does not lie in the record's own room.
template <class K>
Rc checkValuePlace(const PropertyList &list, std::byte *record, std::byte *&room) {
  if (record == nullptr) return K::valueOutside;
  room = K::room(list, record);
  const auto offset = readWord<std::uint64_t>(record + K::valueOffsetAt);
  return offset == list.area.offsetOf(room) ? Rc::Ok : K::valueOutside;
}

// A value on its way to the caller. Up to kMostStaged bytes wait here until they are known to be of one moment, so that
// a failing get stores nothing. Larger values go straight to the caller's buffer, which a failing get leaves undefined.
struct ValueCopy {
  static constexpr std::uint64_t kMostStaged = 4096;

  std::byte *room = nullptr;
  std::uint64_t size = 0;
  alignas(64) std::byte stage[kMostStaged];

  // Takes the value of a record. Returns Ok, the kind's outside code, or BadValueSize.
  template <class K>
  Rc take(const PropertyList &list, std::byte *record, void *buffer) {
    if (Rc rc = checkValuePlace<K>(list, record, room); failed(rc)) return rc;
    size = readWord<std::uint64_t>(record + K::valueOffsetAt + kWordSize);
    if (size == 0 || size > list.limits.maxValue) return Rc::BadValueSize;
    if (buffer == nullptr) return Rc::Ok;
    const std::uint64_t rounded = roundUp8(size);
    if (size <= kMostInLine && rounded <= list.limits.maxValue && isWordPlace(room)) {
      copyFewWords(stage, room, rounded);
    } else {
      copyShared(size <= kMostStaged ? stage : static_cast<std::byte *>(buffer), room, size);
    }
    return Rc::Ok;
  }

  void deliver(const BytesOutput &out) const {
    if (out.size != nullptr) *out.size = size;
    if (out.address != nullptr) *out.address = room;
    if (out.buffer == nullptr || size > kMostStaged) return;
    // Copies few bytes by words again: a wider load would wait until the stores of the words are done.
    const std::uint64_t words = size <= kMostInLine ? size / kWordSize * kWordSize : 0;
    copyFewWords(static_cast<std::byte *>(out.buffer), stage, words);
    if (words != size) std::memcpy(static_cast<std::byte *>(out.buffer) + words, stage + words, size - words);
  }
};

// Stores a value in its room, which is large enough: the bytes, then their number, for invariant 1. The bytes may be a
// part of the value itself.
template <class K>
void storeBytes(const PropertyList &list, std::byte *record, const Bytes &value) {
  std::memmove(K::room(list, record), value.data, value.size);
  orderStores();
  writeWord<std::uint64_t>(record + K::valueOffsetAt + kWordSize, value.size);
}

// Returns Ok, the kind's outside code, or its code for too large a value. After a failure the value is unchanged.
template <class K>
Rc writeBytes(const PropertyList &list, std::byte *record, const Bytes &value) {
  std::byte *room = nullptr;
  if (Rc rc = checkValuePlace<K>(list, record, room); failed(rc)) return rc;
  if (value.size > list.limits.maxValue) return K::beyondRoom;
  storeBytes<K>(list, record, value);
  return Rc::Ok;
}

// Reads the value of a key. A failure leaves the outputs unchanged, except a buffer above ValueCopy::kMostStaged bytes.
template <class K>
Rc getBytes(const Trace &t, SNodeCB_t *node, typename K::Key key, const BytesOutput &out, std::uint64_t latchHeld) {
  if (Rc rc = prepare<K>(node, key); failed(rc)) return t.fail(1, rc);
  ValueCopy copy;
  const Rc rc = readWithoutLatch(t, node, heldIf(latchHeld), [&]() -> Finding {
    PropertyList list;
    std::byte *record = nullptr;
    if (Rc bad = findForValue<K>(node, key, list, record); failed(bad)) return {2, bad};
    return {3, copy.take<K>(list, record, out.buffer)};
  });
  if (!failed(rc)) copy.deliver(out);
  return rc;
}

// Writes the value of a key; the result code beside it stays.
template <class K>
Rc setBytes(const Trace &t, SNodeCB_t *node, typename K::Key key, const Bytes &value, std::uint64_t latchHeld) {
  if (Rc rc = prepareValue<K>(node, key, value); failed(rc)) return t.fail(1, rc);
  return writeSection(t, node, heldIf(latchHeld), [&]() -> Rc {
    PropertyList list;
    std::byte *record = nullptr;
    if (Rc rc = findForValue<K>(node, key, list, record); failed(rc)) return t.fail(2, rc);
    return t.fail(3, writeBytes<K>(list, record, value));
  });
}

// Reads both by the record's address, which is used only after the node was found active. Outputs as in getBytes().
template <class K>
Rc getBytesAndRC(const Trace &t, SNodeCB_t *node, SNodeProperty_t *property, const BytesOutput &out,
                 std::uint64_t *rcOut, std::uint64_t latchHeld) {
  if (node == nullptr) return t.fail(1, Rc::NullNode);
  if (property == nullptr) return t.fail(2, K::data.nullRecord);
  if (rcOut == nullptr) return t.fail(3, Rc::NullRCOutput);
  auto *record = reinterpret_cast<std::byte *>(property);
  ValueCopy copy;
  std::uint64_t rcValue = 0;
  const Rc rc = readWithoutLatch(t, node, heldIf(latchHeld), [&]() -> Finding {
    PropertyList list;
    if (Rc bad = validateInNode<K>(node, record, list); failed(bad)) return {4, bad};
    rcValue = readWord<std::uint64_t>(record + kRCAt);
    return {5, copy.take<K>(list, record, out.buffer)};
  });
  if (failed(rc)) return rc;
  copy.deliver(out);
  *rcOut = rcValue;
  return rc;
}

// Writes both by the record's address. The argument check covers only the size: tag 0 and an empty identifier pass it.
template <class K>
Rc setBytesAndRC(const Trace &t, SNodeCB_t *node, SNodeProperty_t *property, const Bytes &value, std::uint64_t rcValue,
                 std::uint64_t latchHeld) {
  if (node == nullptr) return t.fail(1, Rc::NullNode);
  if (property == nullptr) return t.fail(2, K::data.nullRecord);
  if (Rc rc = checkInputOf(node, {K::data.selector, 0, 0, "", value.size}); failed(rc)) return t.fail(3, rc);
  if (value.data == nullptr) return t.fail(4, K::nullValue);
  auto *record = reinterpret_cast<std::byte *>(property);
  return writeSection(t, node, heldIf(latchHeld), [&]() -> Rc {
    PropertyList list;
    if (Rc rc = validateInNode<K>(node, record, list); failed(rc)) return t.fail(5, rc);
    if (Rc rc = writeBytes<K>(list, record, value); failed(rc)) return t.fail(6, rc);
    writeWord<std::uint64_t>(record + kRCAt, rcValue);
    return Rc::Ok;
  });
}

// Returns the address of a value, at any alignment, to a caller that holds the section.
template <class K>
Rc addressOfBytes(const Trace &t, SNodeCB_t *node, typename K::Key key, void **out) {
  if (Rc rc = prepare<K>(node, key); failed(rc)) return t.fail(1, rc);
  if (out == nullptr) return t.fail(2, K::data.nullRecord);
  PropertyList list;
  std::byte *record = nullptr;
  if (Rc rc = findForValue<K>(node, key, list, record); failed(rc)) return t.fail(3, rc);
  std::byte *room = nullptr;
  if (Rc rc = checkValuePlace<K>(list, record, room); failed(rc)) return t.fail(4, rc);
  *out = room;
  return Rc::Ok;
}

}  // namespace sntr
