// SPDX-License-Identifier: MIT
// The fast way of reading and writing one value, for every kind and both layouts.
//
// It covers what nearly every call finds: tracing off, the node active, no writer inside, the latch free, the record in
// its place. The operations of values.h and byte_values.h run here without result codes and traces. Each function is
// compiled twice. The usual case, a table of a node whose section is free, has no calls and saves hardly a register.
// With the other cases in it, a get of a register takes a twentieth longer.
//
// Thread safety: any thread. A get takes no latch (frame/sequence.h); a set takes the latch in line.
// Invariants:
// 1. A function does its whole operation, or nothing visible: then the caller restarts on the full way, which alone
//    finds the error.
// 2. Both ways make the same checks by the same functions.
#pragma once

#include <oss/fast_paths.h>

#include <cstdint>

#include "frame/section.h"
#include "frame/trace.h"
#include "properties/byte_values.h"
#include "properties/lookup.h"
#include "properties/values.h"

namespace sntr::fast {

enum class Case { Usual, Any };

// How a try ended. Failed and Unusual: nothing was done. LatchLost: all was done, but the latch could not be released.
enum class Tried { Done, Failed, Unusual, LatchLost };

constexpr Tried triedIf(bool done) { return done ? Tried::Done : Tried::Failed; }

// Checks the arguments of an operation and hashes the key. An identifier is read only within the list's limit.
template <class K>
[[gnu::always_inline]] inline bool prepareKey(SNodeCB_t *node, typename K::Key &key, std::uint64_t valueSize = 1) {
  if (!isAlignedNode(node) || key.tag > SNTR_MAX_TAG || ossTraceIsOn() != 0) return false;
  if constexpr (kIsBase<K>) return !failed(checkInputFor<K>(node, key, valueSize));
  if constexpr (kHasID<K> || kHasBytes<K>) {
    if ((loadField(node->nodeOptions) & K::data.selector) == 0) return false;
  }
  if constexpr (kHasID<K>) {
    PropertyArea area;
    Limits limits;
    if (failed(area.open(node, K::data.selector)) || failed(readLimits(K::data, area, limits))) return false;
    if (key.id == nullptr || key.idLength > limits.maxID) return false;
  }
  if constexpr (!kIsBase<K>) key.takeHash();
  return true;
}

template <class K, Case which>
[[gnu::always_inline]] inline Tried find(SNodeCB_t *node, const typename K::Key &key, PropertyList &list,
                                         std::byte *&record) {
  if (failed(checkCondition(node, kMaskProperties)) || failed(openRecords<K>(node, list))) return Tried::Failed;
  if constexpr (which == Case::Usual && !kIsBase<K>) {
    if (!list.isTable()) return Tried::Unusual;
  }
  return triedIf(!failed(findRecord<K>(list, key, record)));
}

// Returns true if the latch guards an operation: the node's model locks, and the caller does not hold the section.
[[gnu::always_inline]] inline bool isGuarded(const SNodeCB_t *node, std::uint64_t latchHeld) {
  return (latchHeld | (loadField(node->concurrencyModel) ^ SNTR_MODEL_LATCHED)) == 0;
}

inline bool mayBeUnguarded(const SNodeCB_t *node, std::uint64_t latchHeld) {
  return latchHeld != 0 || !failed(checkModel(loadField(node->concurrencyModel)));
}

// Runs `Tried take()`, which reads a value into locals, so that all it reads is of one moment. Only the full way checks
// whether this thread holds the latch.
template <Case which, class Take>
[[gnu::always_inline]] inline Tried read(SNodeCB_t *node, std::uint64_t latchHeld, Take &&take) {
  if (which == Case::Any && !isGuarded(node, latchHeld)) {
    return mayBeUnguarded(node, latchHeld) ? take() : Tried::Failed;
  }
  const SNodeLatchBlock_t &block = node->primaryLatch;
  std::int32_t count = 0;
  if (!kReadsWithoutLatch || !isStamped(block) || !ossLatchIsFree(latchWordsOf(node))) return Tried::Failed;
  if (!beginSequence(block, count)) return Tried::Failed;
  const Tried tried = take();
  return tried != Tried::Done || endSequence(block, count) ? tried : Tried::Failed;
}

// Releases a latch that other threads wait for, or that was damaged.
[[gnu::noinline]] inline bool leaveByCall(SNodeCB_t *node) { return ossVLatchRelease(&node->primaryLatch.latch) == 0; }

// Runs `Tried find()` and then `void store()` in a write section, unless the caller holds one. The section is marked
// and counted only after everything was found. A mark that is already set is a dead writer's; the full way repairs that
// node. The lines of the mark and the count are prefetched for writing during the search: prefetched before the latch
// is taken, sets among 30,000 take a tenth longer.
template <Case which, class Find, class Store>
[[gnu::always_inline]] inline Tried write(SNodeCB_t *node, std::uint64_t latchHeld, Find &&find, Store &&store) {
  if (which == Case::Any && !isGuarded(node, latchHeld)) {
    const Tried found = mayBeUnguarded(node, latchHeld) ? find() : Tried::Failed;
    if (found == Tried::Done) store();
    return found;
  }
  SNodeLatchBlock_t &block = node->primaryLatch;
  std::uint64_t self = 0;
  if (!isStamped(block) || !ossLatchTryTake(latchWordsOf(node), &self)) return Tried::Failed;
  __builtin_prefetch(&block.writeInProgress, 1);
  __builtin_prefetch(&block.writeCount, 1);
  const Tried found = loadAligned(&block.writeInProgress) == 0 ? find() : Tried::Failed;
  if (found == Tried::Done) [[likely]] {
    beginWrite(block);
    store();
    endWrite(block);
  }
  if (ossLatchTryLeave(latchWordsOf(node), self) || leaveByCall(node)) return found;
  return found == Tried::Done ? Tried::LatchLost : found;
}

// The operations, each with its fast way and its full way. Arguments have the order of the exported functions.

struct GetRegister {
  template <class K, Case which>
  [[gnu::always_inline]] static Tried fast(SNodeCB_t *node, typename K::Key key, std::int32_t *out,
                                           std::uint64_t latchHeld) {
    if (out == nullptr || !prepareKey<K>(node, key)) return Tried::Failed;
    std::int32_t value = 0;
    const Tried tried = read<which>(node, latchHeld, [&] {
      PropertyList list;
      std::byte *record = nullptr;
      if (Tried found = find<K, which>(node, key, list, record); found != Tried::Done) return found;
      if (!isAligned(cellAt(record + K::valueAt))) return Tried::Failed;
      value = loadAligned(cellAt(record + K::valueAt));
      return Tried::Done;
    });
    if (tried == Tried::Done) *out = value;
    return tried;
  }
  template <class K>
  static Rc full(const Trace &t, SNodeCB_t *node, const typename K::Key &key, std::int32_t *out,
                 std::uint64_t latchHeld) {
    return getRegister<K>(t, node, key, out, latchHeld);
  }
};

struct SetRegister {
  template <class K, Case which>
  [[gnu::always_inline]] static Tried fast(SNodeCB_t *node, typename K::Key key, std::int32_t value,
                                           std::uint64_t latchHeld) {
    if (ossCellsAreOpen == 0 || !prepareKey<K>(node, key)) return Tried::Failed;
    std::byte *record = nullptr;
    const auto findCell = [&] {
      PropertyList list;
      const Tried found = find<K, which>(node, key, list, record);
      return found == Tried::Done && !isAligned(cellAt(record + K::valueAt)) ? Tried::Failed : found;
    };
    return write<which>(node, latchHeld, findCell, [&] { storeAligned(cellAt(record + K::valueAt), value); });
  }
  template <class K>
  static Rc full(const Trace &t, SNodeCB_t *node, const typename K::Key &key, std::int32_t value,
                 std::uint64_t latchHeld) {
    return setRegister<K>(t, node, key, value, latchHeld);
  }
};

struct GetBytes {
  template <class K, Case which>
  [[gnu::always_inline]] static Tried fast(SNodeCB_t *node, typename K::Key key, std::uint64_t *size, void **address,
                                           void *buffer, std::uint64_t latchHeld) {
    if (!prepareKey<K>(node, key)) return Tried::Failed;
    ValueCopy copy;
    const Tried tried = read<which>(node, latchHeld, [&] {
      PropertyList list;
      std::byte *record = nullptr;
      if (Tried found = find<K, which>(node, key, list, record); found != Tried::Done) return found;
      return triedIf(!failed(copy.take<K>(list, record, buffer)));
    });
    if (tried == Tried::Done) copy.deliver({size, address, buffer});
    return tried;
  }
  template <class K>
  static Rc full(const Trace &t, SNodeCB_t *node, const typename K::Key &key, std::uint64_t *size, void **address,
                 void *buffer, std::uint64_t latchHeld) {
    return getBytes<K>(t, node, key, {size, address, buffer}, latchHeld);
  }
};

struct SetBytes {
  template <class K, Case which>
  [[gnu::always_inline]] static Tried fast(SNodeCB_t *node, typename K::Key key, std::uint64_t size, const void *value,
                                           std::uint64_t latchHeld) {
    if (ossCellsAreOpen == 0 || value == nullptr || !prepareKey<K>(node, key, size)) return Tried::Failed;
    PropertyList list;
    std::byte *record = nullptr;
    const auto findRoom = [&] {
      std::byte *room = nullptr;
      if (Tried found = find<K, which>(node, key, list, record); found != Tried::Done) return found;
      return triedIf(size - 1 < list.limits.maxValue && !failed(checkValuePlace<K>(list, record, room)));
    };
    return write<which>(node, latchHeld, findRoom, [&] { storeBytes<K>(list, record, {value, size}); });
  }
  template <class K>
  static Rc full(const Trace &t, SNodeCB_t *node, const typename K::Key &key, std::uint64_t size, const void *value,
                 std::uint64_t latchHeld) {
    return setBytes<K>(t, node, key, {value, size}, latchHeld);
  }
};

constexpr std::uint32_t resultOf(Tried tried) { return code(tried == Tried::Done ? Rc::Ok : Rc::LatchFailed); }

// Returns the last argument of an exported function: latchHeld.
constexpr std::uint64_t lastOf(std::uint64_t last) { return last; }
template <class First, class... Others>
constexpr std::uint64_t lastOf(First /*first*/, Others... others) {
  return lastOf(others...);
}

// Tries an operation on the key that the first arguments of an exported function form.
template <class Operation, class K, Case which, class... Others>
requires(!kHasID<K>) [[gnu::always_inline]] inline Tried attempt(SNodeCB_t *node, std::uint64_t tag, Others... others) {
  return Operation::template fast<K, which>(node, typename K::Key{tag}, others...);
}
template <class Operation, class K, Case which, class... Others>
requires kHasID<K>
[[gnu::always_inline]] inline Tried attempt(SNodeCB_t *node, std::uint64_t tag, std::uint64_t idLength, const void *id,
                                            Others... others) {
  return Operation::template fast<K, which>(node, typename K::Key{tag, idLength, id}, others...);
}

// Runs the operation on the full way.
template <class Operation, class K, class... Others>
requires(!kHasID<K>) Rc perform(const Trace &t, SNodeCB_t *node, std::uint64_t tag, Others... others) {
  return Operation::template full<K>(t, node, typename K::Key{tag}, others...);
}
template <class Operation, class K, class... Others>
requires kHasID<K> Rc perform(const Trace &t, SNodeCB_t *node, std::uint64_t tag, std::uint64_t idLength,
                              const void *id, Others... others) {
  return Operation::template full<K>(t, node, typename K::Key{tag, idLength, id}, others...);
}

// The two exits from the usual case take the arguments unchanged, each in a function of its own: leaving is a jump.
template <class Operation, class K, Fn fn, class... Arguments>
[[gnu::noinline]] std::uint32_t runInFull(SNodeCB_t *node, Arguments... arguments) {
  return traced(fn, [&](const Trace &t) { return perform<Operation, K>(t, node, arguments...); });
}

template <class Operation, class K, Fn fn, class... Arguments>
[[gnu::noinline, gnu::flatten]] std::uint32_t runInAnyCase(SNodeCB_t *node, Arguments... arguments) {
  const Tried tried = attempt<Operation, K, Case::Any>(node, arguments...);
  return tried != Tried::Failed ? resultOf(tried) : runInFull<Operation, K, fn>(node, arguments...);
}

// Implements an exported operation.
template <class Operation, class K, Fn fn, class... Arguments>
[[gnu::always_inline]] inline std::uint32_t run(SNodeCB_t *node, Arguments... arguments) {
  if (node == nullptr) return runInFull<Operation, K, fn>(node, arguments...);
  if (!isGuarded(node, lastOf(arguments...))) return runInAnyCase<Operation, K, fn>(node, arguments...);
  const Tried tried = attempt<Operation, K, Case::Usual>(node, arguments...);
  if (tried == Tried::Unusual) return runInAnyCase<Operation, K, fn>(node, arguments...);
  return tried != Tried::Failed ? resultOf(tried) : runInFull<Operation, K, fn>(node, arguments...);
}

}  // namespace sntr::fast
