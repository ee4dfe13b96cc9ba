// The shortest way through reading and writing a value of bytes by tag. As direct_values.h; where nothing is to be entered
// the next longer way is short enough.
//
// One more thing may be left to a function of the exported one's, `finish`: the latch is held, all else is done, and many
// bytes are to be copied, by a call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "properties/direct_values.h"

namespace sntr::direct {

// Up to so many bytes are copied in line. A call for so few costs more than the copy.
constexpr std::uint64_t kMostInLine = 128;

// Copies the first `ends` of `count` bytes and the last. The two may overlap, and together are all. All are read before
// any is written: a caller may pass a part of the value itself.
template <std::size_t ends>
[[gnu::always_inline]] inline void copyEnds(std::byte *to, const std::byte *from, std::uint64_t count) {
  std::byte first[ends], last[ends];
  std::memcpy(first, from, ends);
  std::memcpy(last, from + count - ends, ends);
  std::memcpy(to, first, ends);
  std::memcpy(to + count - ends, last, ends);
}

// Copies 1 to kMostInLine bytes.
[[gnu::always_inline]] inline void copyInLine(void *to, const void *from, std::uint64_t count) {
  auto *const out = static_cast<std::byte *>(to);
  const auto *const in = static_cast<const std::byte *>(from);
  if (count > 64) return copyEnds<64>(out, in, count);
  if (count >= 32) return copyEnds<32>(out, in, count);
  if (count >= 16) return copyEnds<16>(out, in, count);
  if (count >= 8) return copyEnds<8>(out, in, count);
  if (count >= 4) return copyEnds<4>(out, in, count);
  if (count >= 2) return copyEnds<2>(out, in, count);
  *out = *in;
}

// Whether the value of a record stands in the record's own room.
template <class K>
[[gnu::always_inline]] inline bool hasValueInPlace(SNodeCB_t *node, const std::byte *record) {
  return isWordAt(record + K::valueOffsetAt, PropertyArea::offsetIn(node, record + K::data.recordSize));
}

template <class K>
[[gnu::always_inline]] inline std::uint64_t valueSizeOf(const std::byte *record) {
  return wordAt(record + K::valueOffsetAt + kWordSize);
}

// Whether a record was found whose value may be read, and how long it is.
template <class K>
[[gnu::always_inline]] inline bool isReadable(SNodeCB_t *node, const Found &found, std::uint64_t &size) {
  if (found.record == nullptr || !hasValueInPlace<K>(node, found.record)) return false;
  size = valueSizeOf<K>(found.record);
  return size - 1 < found.maxValue;
}

[[gnu::always_inline]] inline void tellPlace(std::byte *room, std::uint64_t size, std::uint64_t *sizeOut,
                                             void **address) {
  if (sizeOut != nullptr) *sizeOut = size;
  if (address != nullptr) *address = room;
}

template <class K, auto otherwise, auto afterwards, auto finish>
[[gnu::always_inline]] inline std::uint32_t getBytes(SNodeCB_t *node, std::uint64_t tag, std::uint64_t *sizeOut,
                                                     void **address, void *buffer, std::uint64_t latchHeld) {
  Aim aim;
  std::uint64_t self = 0, size = 0;
  if (!isLocking(node, latchHeld) || !admits(tag) || !prepare<K>(node, tag, aim)) [[unlikely]]
    return otherwise(node, tag, sizeOut, address, buffer, latchHeld);
  if (!enter(node, self)) [[unlikely]]
    return otherwise(node, tag, sizeOut, address, buffer, 0);
  const Found found = findEntered<K>(node, aim, tag);
  if (!isReadable<K>(node, found, size)) [[unlikely]]
    return afterwards(node, tag, sizeOut, address, buffer);
  std::byte *const room = found.record + K::data.recordSize;
  tellPlace(room, size, sizeOut, address);
  if (buffer != nullptr) {
    if (size > kMostInLine) return finish(node, buffer, room, size);
    copyInLine(buffer, room, size);
  }
  return leave(node, self);
}

// Ends getBytes() of a longer value.
inline std::uint32_t finishGet(SNodeCB_t *node, void *buffer, const std::byte *room, std::uint64_t size) {
  std::memmove(buffer, room, size);
  return leave(node, ossIdentity.word);
}

// The end of a write: the size after the bytes, for whoever finds the node when this thread has died in between.
template <class K>
[[gnu::always_inline]] inline std::uint32_t finishStored(SNodeCB_t *node, std::byte *record, std::uint64_t size,
                                                         std::uint64_t self) {
  orderStores();
  writeWord<std::uint64_t>(record + K::valueOffsetAt + kWordSize, size);
  unmark(node);
  return leave(node, self);
}

template <class K, auto otherwise, auto afterwards, auto finish>
[[gnu::always_inline]] inline std::uint32_t setBytes(SNodeCB_t *node, std::uint64_t tag, std::uint64_t size,
                                                     const void *value, std::uint64_t latchHeld) {
  Aim aim;
  std::uint64_t self = 0;
  if (!isLocking(node, latchHeld) || !admits(tag) || value == nullptr ||
      (loadField(node->nodeOptions) & K::data.selector) == 0 || !prepare<K>(node, tag, aim)) [[unlikely]]
    return otherwise(node, tag, size, value, latchHeld);
  if (!enter(node, self)) [[unlikely]]
    return otherwise(node, tag, size, value, 0);
  const Found found = findEntered<K>(node, aim, tag);
  if (found.record == nullptr || size - 1 >= found.maxValue || !hasValueInPlace<K>(node, found.record)) [[unlikely]]
    return afterwards(node, tag, size, value);
  mark(node);
  if (size > kMostInLine) return finish(node, found.record, value, size);
  copyInLine(found.record + K::data.recordSize, value, size);
  return finishStored<K>(node, found.record, size, self);
}

// Ends setBytes() of a longer value.
template <class K>
inline std::uint32_t finishSet(SNodeCB_t *node, std::byte *record, const void *value, std::uint64_t size) {
  std::memmove(record + K::data.recordSize, value, size);
  return finishStored<K>(node, record, size, ossIdentity.word);
}

}  // namespace sntr::direct
