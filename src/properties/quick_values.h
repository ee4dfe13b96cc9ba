// The short way through reading and writing one value.
//
// Most calls find everything as it should be: tracing off, the latch free, the node active, the record in its place. For
// those the operations of values.h and byte_values.h stand here a second time, without a word of what can be wrong. A
// function does everything that its operation does and answers with its code, or it does nothing that anybody could see,
// for whatever reason, and answers kNothingDone. Then the caller runs the operation itself, from its beginning; it is what
// finds out the result code, traces, waits for the latch, and reaches the services layer by calls. So the one failure
// that is told here is a latch that could not be given back, and every check is the one that the operation makes too.
//
// It is short because nothing is carried along for a failure, and because hardly anything is called: a compiler that
// sees a call keeps registers free for it on every way through.
#pragma once

#include <oss/fast_paths.h>

#include <cstdint>

#include "frame/section.h"
#include "frame/trace.h"
#include "properties/byte_values.h"
#include "properties/lookup.h"
#include "properties/values.h"

namespace sntr::quick {

// No result code.
constexpr std::uint32_t kNothingDone = 0xffffffff;

// Gives back a latch that others wait for, or that was damaged. Out of line: see above.
[[gnu::noinline]] inline bool releaseByCall(SNodeLatchBlock_t *block) { return ossVLatchRelease(&block->latch) == 0; }

// Whether the mark of a write section could be set in line.
inline bool canMark(SNodeLatchBlock_t *block) {
  return ossOpen(&block->writeInProgress) != nullptr && ossOpen(&block->writeCount) != nullptr;
}

// Runs `bool find()` and then `void use()` in a section of the node, for reading or writing, unless the caller holds
// one. A write is marked and counted only once find() has found everything, so that whoever gives up has left no trace.
template <bool write, class Find, class Use>
[[gnu::always_inline]] inline std::uint32_t inSection(SNodeCB_t *node, std::uint64_t latchHeld, Find &&find,
                                                      Use &&use) {
  SNodeLatchBlock_t *block = &node->primaryLatch;
  std::uint64_t latchWord = 0;
  if (latchHeld == 0) {
    const std::uint32_t model = loadField(node->concurrencyModel);
    if (model == SNTR_MODEL_LATCHED) [[likely]] {
      if (readWord<std::uint32_t>(&block->latchVersion) != kVersionWord) return kNothingDone;
      latchWord = ossVLatchTryGet(&block->latch);
      if (latchWord == 0) return kNothingDone;
    } else if (failed(checkModel(model))) {
      return kNothingDone;
    }
  }
  // A mark that stands is a dead writer's, whose node is repaired on the long way.
  const bool latched = latchWord != 0;
  const bool clean = !latched || (readWord<std::int32_t>(&block->writeInProgress) == 0 && (!write || canMark(block)));
  const bool found = clean && find();
  if (found) [[likely]] {
    if (write && latched) static_cast<void>(markWriter(block));
    use();
    if (write && latched) static_cast<void>(writeCell(&block->writeInProgress, 0));
  }
  if (!latched || ossVLatchTryRelease(&block->latch, latchWord)) [[likely]]
    return found ? code(Rc::Ok) : kNothingDone;
  const Rc released = releaseByCall(block) ? Rc::Ok : Rc::LatchFailed;
  return found ? code(released) : kNothingDone;
}

// What an operation asks of its arguments and of the area before the section. An identifier is read only within the
// list's limit. The area stays as it was opened, since it never changes in a node's life; but not how much of it is used.
template <class K>
[[gnu::always_inline]] inline bool prepareKey(SNodeCB_t *node, typename K::Key &key, PropertyList &list) {
  if (node == nullptr || key.tag > SNTR_MAX_TAG || ossTraceIsOn() != 0) return false;
  list.kind = &K::data;
  if (failed(list.area.open(node, K::data.selector))) return false;
  if constexpr (kHasID<K>) {
    if ((loadField(node->nodeOptions) & K::data.selector) == 0) return false;
    if (failed(readLimits(K::data, list.area, list.limits))) return false;
    if (key.id == nullptr || key.idLength > list.limits.maxID) return false;
  }
  key.takeHash();
  return true;
}

// Finds the record of a key in the list as it is now, which another process may have laid out anew since.
template <class K>
[[gnu::always_inline]] inline bool find(SNodeCB_t *node, const typename K::Key &key, PropertyList &list,
                                        std::byte *&record) {
  if (loadField(node->nodeCondition) != SNTR_CONDITION_ACTIVE) return false;
  if (failed(readBucketCounts(K::data, list)) || failed(readLimits(K::data, list.area, list.limits))) return false;
  return (list.isTable() || list.area.readUsed()) && !failed(findRecord<K>(list, key, record));
}

// Finds a record whose register can be read and written in line.
template <class K>
[[gnu::always_inline]] inline bool findRegister(SNodeCB_t *node, const typename K::Key &key, PropertyList &list,
                                                std::byte *&record) {
  return find<K>(node, key, list, record) && ossOpen(cellAt(record + K::valueAt)) != nullptr;
}

template <class K>
[[gnu::always_inline]] inline std::uint32_t getRegister(SNodeCB_t *node, typename K::Key key, std::int32_t *out,
                                                        std::uint64_t latchHeld) {
  PropertyList list;
  if (!prepareKey<K>(node, key, list) || out == nullptr) return kNothingDone;
  std::byte *record = nullptr;
  return inSection<false>(
      node, latchHeld, [&] { return findRegister<K>(node, key, list, record); },
      [&] { static_cast<void>(readRegister<K>(record, *out)); });
}

template <class K>
[[gnu::always_inline]] inline std::uint32_t setRegister(SNodeCB_t *node, typename K::Key key, std::int32_t value,
                                                        std::uint64_t latchHeld) {
  PropertyList list;
  if (!prepareKey<K>(node, key, list)) return kNothingDone;
  std::byte *record = nullptr;
  return inSection<true>(
      node, latchHeld, [&] { return findRegister<K>(node, key, list, record); },
      [&] { static_cast<void>(writeRegister<K>(record, value)); });
}

// Finds a record and the room of its value. Like the operation it reads the size, which may be damaged, before it
// believes it.
template <class K>
[[gnu::always_inline]] inline std::uint32_t getBytes(SNodeCB_t *node, typename K::Key key, const BytesOutput &out,
                                                     std::uint64_t latchHeld) {
  PropertyList list;
  if (!prepareKey<K>(node, key, list)) return kNothingDone;
  const auto findAndRead = [&] {
    std::byte *record = nullptr;
    return find<K>(node, key, list, record) && !failed(readBytes<K>(list, record, out));
  };
  return inSection<false>(node, latchHeld, findAndRead, [] {});
}

// The size is tested against the room that the list has now, and before anything is stored.
template <class K>
[[gnu::always_inline]] inline std::uint32_t setBytes(SNodeCB_t *node, typename K::Key key, const Bytes &value,
                                                     std::uint64_t latchHeld) {
  PropertyList list;
  if (!prepareKey<K>(node, key, list) || value.data == nullptr) return kNothingDone;
  if ((loadField(node->nodeOptions) & K::data.selector) == 0) return kNothingDone;
  std::byte *record = nullptr;
  const auto findRoom = [&] {
    std::byte *room = nullptr;
    return find<K>(node, key, list, record) && !failed(checkValueSize(value.size, list.limits.maxValue)) &&
           value.size <= list.limits.maxValue && !failed(checkValuePlace<K>(list, record, room));
  };
  return inSection<true>(node, latchHeld, findRoom, [&] { static_cast<void>(writeBytes<K>(list, record, value)); });
}

}  // namespace sntr::quick
