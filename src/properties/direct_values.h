// The shortest way through reading and writing a register by tag, and what that of values of bytes (direct_bytes.h) has in
// common with it.
//
// Nearly every call finds the same: tracing off, the latched model, the latch free, a table, the record near the head of
// its chain. Then it comes through here without a call, and so without registers that must be kept for one. The calls
// that stand here are the last thing that is done, with the arguments as they came. Each function is told where to:
//
//   otherwise   nothing was done: begin again on the next longer way
//   afterwards  the section was entered and nothing was found: leave it, and take the longest way, which can say why
//
// The next longer way is quick_values.h, which makes the same checks, and serves arrays and what is not aligned too. Where
// nothing is to be entered, because the caller holds the section or the model locks nothing, the operations with
// `Unlocked` in their names do the same.
//
// Any thread. Each check is one that the operation itself makes, and nothing is stored before all of them are made.
#pragma once

#include <oss/fast_paths.h>

#include <cstddef>
#include <cstdint>

#include "frame/section.h"
#include "frame/trace.h"
#include "layout/version.h"
#include "properties/direct_table.h"
#include "properties/quick_values.h"

namespace sntr::direct {

// Where the words of a node's latch stand, when the node begins at a multiple of 8. Its cells are aligned then.
constexpr std::uint64_t kLatchWordsAt =
    roundUp8(offsetof(SNodeCB_t, primaryLatch) + offsetof(SNodeLatchBlock_t, latch.storage));
static_assert((offsetof(SNodeCB_t, primaryLatch) + offsetof(SNodeLatchBlock_t, writeInProgress)) % 4 == 0 &&
              (offsetof(SNodeCB_t, primaryLatch) + offsetof(SNodeLatchBlock_t, writeCount)) % 4 == 0);

inline OSSLatchWords *latchWordsOf(SNodeCB_t *node) {
  return reinterpret_cast<OSSLatchWords *>(reinterpret_cast<std::byte *>(node) + kLatchWordsAt);
}

// Whether the tag and the trace let a call come this way.
[[gnu::always_inline]] inline bool admits(std::uint64_t tag) { return tag <= SNTR_MAX_TAG && ossTraceIsOn() == 0; }

// Whether a node is to be entered, and its latch stands as in latchWordsOf().
[[gnu::always_inline]] inline bool isLocking(const SNodeCB_t *node, std::uint64_t latchHeld) {
  return node != nullptr && ((reinterpret_cast<std::uintptr_t>(node) & 7) | latchHeld) == 0 &&
         loadField(node->concurrencyModel) == SNTR_MODEL_LATCHED;
}

// Whether nothing is to be entered, and cells may be reached in line.
[[gnu::always_inline]] inline bool isUnlocked(const SNodeCB_t *node, std::uint64_t latchHeld) {
  if (node == nullptr || reinterpret_cast<std::uintptr_t>(node) % 8 != 0 || ossCellsAreOpen == 0) return false;
  if (latchHeld != 0) return true;
  const std::uint32_t model = loadField(node->concurrencyModel);
  return model != SNTR_MODEL_LATCHED && model <= kHighestModel;
}

// Enters a section. `self` receives the owner word with which it is left. False: nothing was done.
[[gnu::always_inline]] inline bool enter(SNodeCB_t *node, std::uint64_t &self) {
  return readWord<std::uint32_t>(&node->primaryLatch.latchVersion) == kVersionWord &&
         ossLatchTryTake(latchWordsOf(node), &self);
}

// Leaves it where others wait, or the latch was damaged.
[[gnu::noinline]] inline std::uint32_t leaveByCall(SNodeCB_t *node) {
  return code(quick::releaseByCall(&node->primaryLatch) ? Rc::Ok : Rc::LatchFailed);
}

[[gnu::always_inline]] inline std::uint32_t leave(SNodeCB_t *node, std::uint64_t self) {
  if (ossLatchTryLeave(latchWordsOf(node), self)) [[likely]]
    return code(Rc::Ok);
  return leaveByCall(node);
}

// Leaves a section in which nothing was done. Where that fails the longest way meets the latch as it is, and says so.
inline void giveUp(SNodeCB_t *node) { static_cast<void>(leave(node, ossIdentity.word)); }

// Marks and counts a writer, as markWriter(). Who got the latch in line knows that cells are open.
[[gnu::always_inline]] inline void mark(SNodeCB_t *node) {
  OSSOpenCell *const count = ossOpenAligned(&node->primaryLatch.writeCount);
  // The orders are those of ossAtomicTryWrite() and ossAtomicTryCount().
  __atomic_store_n(ossOpenAligned(&node->primaryLatch.writeInProgress), 1, __ATOMIC_RELEASE);
  const auto counted = static_cast<std::uint32_t>(__atomic_load_n(count, __ATOMIC_RELAXED));
  __atomic_store_n(count, static_cast<std::int32_t>(counted + 1), __ATOMIC_RELEASE);
  orderStores();
}

[[gnu::always_inline]] inline void unmark(SNodeCB_t *node) {
  __atomic_store_n(ossOpenAligned(&node->primaryLatch.writeInProgress), 0, __ATOMIC_RELEASE);
}

template <class K>
concept HasRegister = requires {
  K::valueAt;
};

// Whether the registers of a table, if it has any, are aligned cells: all of them are when its area begins as one.
template <class K>
constexpr bool hasAlignedCells(const AreaPlace &area) {
  if constexpr (HasRegister<K>) {
    static_assert((K::data.tableHeader | kWordSize | K::data.chainSize | K::data.recordSize | K::valueAt) % 4 == 0);
    return area.begin % 4 == 0;
  } else {
    return true;
  }
}

// Finds the table and takes aim: false when something is not as it should be, or there is no table.
template <class K>
[[gnu::always_inline]] inline bool prepare(SNodeCB_t *node, std::uint64_t tag, Aim &aim) {
  std::uint64_t hash = hashPropertyTag(tag);
  keepHere(hash);
  AreaPlace area;
  return placeArea<K::data.selector>(node, area) && hasAlignedCells<K>(area) &&
         takeAim<K>(reinterpret_cast<const std::byte *>(node), area, hash, aim);
}

// A record that was found, and the room for a value in it.
struct Found {
  std::byte *record;
  std::uint64_t maxValue;
};

// In the section: whether no writer died in it and the node is active; and then the record, or null.
template <class K>
[[gnu::always_inline]] inline Found findEntered(SNodeCB_t *node, const Aim &aim, std::uint64_t tag) {
  auto *const base = reinterpret_cast<std::byte *>(node);
  Found found{nullptr, 0};
  if (readWord<std::int32_t>(&node->primaryLatch.writeInProgress) == 0 &&
      loadField(node->nodeCondition) == SNTR_CONDITION_ACTIVE && isStillTrue<K>(aim, base)) [[likely]]
    found.record = findRecord<K>(base, aim, tag, found.maxValue);
  return found;
}

// The same where nothing was entered; all that comes before, too.
template <class K>
[[gnu::always_inline]] inline Found findUnlocked(SNodeCB_t *node, std::uint64_t tag, std::uint64_t latchHeld) {
  Aim aim;
  Found found{nullptr, 0};
  if (isUnlocked(node, latchHeld) && admits(tag) && loadField(node->nodeCondition) == SNTR_CONDITION_ACTIVE &&
      prepare<K>(node, tag, aim)) [[likely]]
    found.record = findRecord<K>(reinterpret_cast<std::byte *>(node), aim, tag, found.maxValue);
  return found;
}

template <class K>
[[gnu::always_inline]] inline void readCellOf(std::byte *record, std::int32_t *out) {
  *out = __atomic_load_n(ossOpenAligned(cellAt(record + K::valueAt)), __ATOMIC_ACQUIRE);
}

template <class K>
[[gnu::always_inline]] inline void writeCellOf(std::byte *record, std::int32_t value) {
  __atomic_store_n(ossOpenAligned(cellAt(record + K::valueAt)), value, __ATOMIC_RELEASE);
}

template <class K, auto otherwise, auto afterwards>
[[gnu::always_inline]] inline std::uint32_t getRegister(SNodeCB_t *node, std::uint64_t tag, std::int32_t *out,
                                                        std::uint64_t latchHeld) {
  Aim aim;
  std::uint64_t self = 0;
  if (!isLocking(node, latchHeld) || !admits(tag) || out == nullptr || !prepare<K>(node, tag, aim)) [[unlikely]]
    return otherwise(node, tag, out, latchHeld);
  if (!enter(node, self)) [[unlikely]]
    return otherwise(node, tag, out, 0);
  const Found found = findEntered<K>(node, aim, tag);
  if (found.record == nullptr) [[unlikely]]
    return afterwards(node, tag, out);
  readCellOf<K>(found.record, out);
  return leave(node, self);
}

template <class K, auto otherwise>
[[gnu::always_inline]] inline std::uint32_t getRegisterUnlocked(SNodeCB_t *node, std::uint64_t tag, std::int32_t *out,
                                                                std::uint64_t latchHeld) {
  const Found found = out != nullptr ? findUnlocked<K>(node, tag, latchHeld) : Found{nullptr, 0};
  if (found.record == nullptr) [[unlikely]]
    return otherwise(node, tag, out, latchHeld);
  readCellOf<K>(found.record, out);
  return code(Rc::Ok);
}

template <class K, auto otherwise, auto afterwards>
[[gnu::always_inline]] inline std::uint32_t setRegister(SNodeCB_t *node, std::uint64_t tag, std::int32_t value,
                                                        std::uint64_t latchHeld) {
  Aim aim;
  std::uint64_t self = 0;
  if (!isLocking(node, latchHeld) || !admits(tag) || !prepare<K>(node, tag, aim)) [[unlikely]]
    return otherwise(node, tag, value, latchHeld);
  if (!enter(node, self)) [[unlikely]]
    return otherwise(node, tag, value, 0);
  const Found found = findEntered<K>(node, aim, tag);
  if (found.record == nullptr) [[unlikely]]
    return afterwards(node, tag, value);
  mark(node);
  writeCellOf<K>(found.record, value);
  unmark(node);
  return leave(node, self);
}

template <class K, auto otherwise>
[[gnu::always_inline]] inline std::uint32_t setRegisterUnlocked(SNodeCB_t *node, std::uint64_t tag, std::int32_t value,
                                                                std::uint64_t latchHeld) {
  const Found found = findUnlocked<K>(node, tag, latchHeld);
  if (found.record == nullptr) [[unlikely]]
    return otherwise(node, tag, value, latchHeld);
  writeCellOf<K>(found.record, value);
  return code(Rc::Ok);
}

}  // namespace sntr::direct
