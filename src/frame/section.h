// SPDX-License-Identifier: MIT
// Critical sections on a node, as functions that take the work.
//
// Under model 1 a section holds the node's primary latch; under models 0 and 2 to 5 nothing is locked. Leaving uses the
// model that entering found. So work may change the model inside its section: the latch is neither kept for ever nor
// released without having been taken.
//
// Latch order: take no other latch, and call no storage operation, while holding a node's.
//
// Thread safety: any thread of any process. The work runs on the caller's thread. No path takes a latch that its thread
// holds; the services layer refuses it.
#pragma once

#include <oss/fast_paths.h>

#include <cstdint>
#include <utility>

#include "frame/cells.h"
#include "frame/node_repair.h"
#include "frame/sequence.h"
#include "frame/trace.h"
#include "layout/node_block.h"
#include "layout/pause.h"
#include "layout/version.h"
#include "layout/words.h"

namespace sntr {

// Yes if the caller of an operation already holds the node's section: the operation then neither enters nor leaves it.
enum class Held : bool { No, Yes };

constexpr Held heldIf(std::uint64_t latchHeld) { return latchHeld != 0 ? Held::Yes : Held::No; }

// State of an entered section, needed to leave it.
struct Entered {
  std::uint32_t model = 0;
  std::uint64_t latchWord = 0;  // owner word if taken inline; 0 if taken by a call, or not at all
};

// The models are 0 to 5. Returns ValueOutOfRange above 5.
constexpr std::uint32_t kHighestModel = 5;
constexpr Rc checkModel(std::uint32_t model) { return model <= kHighestModel ? Rc::Ok : Rc::ValueOutOfRange; }

// Reads the node's model once. Returns 0, or ValueOutOfRange above 5; `model` is set in both cases.
Rc concurrencyModelOf(const SNodeCB_t *node, std::uint32_t &model);

// Stores a model. Returns 0, or ValueOutOfRange above 5 with the old one kept. Takes no latch: sections under way end
// under the model with which they began.
Rc setConcurrencyModel(SNodeCB_t *node, std::uint32_t model);

// Gets the latch of a stamped block: the only way into a section. So this is the one place that detects a writer who
// died inside. No other writer can be inside while the latch is held, so a mark that is set is a dead writer's.
inline Rc obtainLatch(SNodeCB_t *node, SNodeLatchBlock_t *block, Entered &entered) {
  if (!isStamped(*block)) [[unlikely]]
    return Rc::BadLatchVersion;
  entered.latchWord = ossVLatchTryGet(&block->latch);
  if (entered.latchWord == 0 && ossVLatchGet(&block->latch) != 0) [[unlikely]]
    return Rc::LatchFailed;
  // The first four bytes of an atomic are its value; a latch block may begin at any address.
  if (readWord<std::int32_t>(&block->writeInProgress) != 0) [[unlikely]]
    repairNode(node);
  return Rc::Ok;
}

// Releases the latch. Does not test the stamp again: the latch must be released whatever has happened to the stamp.
inline Rc giveBackLatch(SNodeLatchBlock_t *block, const Entered &entered) {
  if (ossVLatchTryRelease(&block->latch, entered.latchWord)) [[likely]]
    return Rc::Ok;
  return ossVLatchRelease(&block->latch) == 0 ? Rc::Ok : Rc::LatchFailed;
}

// Marks and counts a writer: the mark before the count, and both before the work (see sequence.h). Returns 0, or
// AtomicFailed with nothing marked.
inline Rc markWriter(SNodeLatchBlock_t *block) {
  if (Rc rc = writeCell(&block->writeInProgress, 1); failed(rc)) return rc;
  if (Rc rc = countCellUnderLatch(&block->writeCount); failed(rc)) {
    return firstFailure(rc, writeCell(&block->writeInProgress, 0));
  }
  orderStores();
  return Rc::Ok;
}

// Enter a section; node and block are not null. Each returns 0, or:
//   ValueOutOfRange  the model is above 5
//   BadLatchVersion  model 1: the block is not stamped
//   LatchFailed      model 1: the latch could not be obtained
//   AtomicFailed     model 1, writing: the writer could not be marked
// A failed entry leaves nothing held and nothing marked.
inline Rc enterRead(SNodeCB_t *node, SNodeLatchBlock_t *block, Entered &entered) {
  entered.model = loadField(node->concurrencyModel);
  return entered.model == SNTR_MODEL_LATCHED ? obtainLatch(node, block, entered) : checkModel(entered.model);
}

inline Rc enterWrite(SNodeCB_t *node, SNodeLatchBlock_t *block, Entered &entered) {
  if (Rc rc = enterRead(node, block, entered); failed(rc)) return rc;
  if (entered.model != SNTR_MODEL_LATCHED) return Rc::Ok;
  const Rc marked = markWriter(block);
  return failed(marked) ? firstFailure(marked, giveBackLatch(block, entered)) : marked;
}

// Leave a section. Release the latch whatever else fails.
inline Rc exitRead(SNodeLatchBlock_t *block, const Entered &entered) {
  return entered.model == SNTR_MODEL_LATCHED ? giveBackLatch(block, entered) : Rc::Ok;
}

inline Rc exitWrite(SNodeLatchBlock_t *block, const Entered &entered) {
  if (entered.model != SNTR_MODEL_LATCHED) return Rc::Ok;
  const Rc unmarked = writeCell(&block->writeInProgress, 0);
  return firstFailure(unmarked, giveBackLatch(block, entered));
}

// Makes a latch block usable under model 1; other models write nothing and return 0. Writes the stamp last. Returns
// ValueOutOfRange for a model above 5, BadLatchVersion if `stamp` is not the version word, LatchFailed, AtomicFailed.
Rc initializeLatches(const SNodeCB_t *node, SNodeLatchBlock_t *block, std::uint32_t stamp);

// Probes of the sections; no exported function uses these numbers for anything else.
constexpr std::uint32_t kProbeEnter = 90;
constexpr std::uint32_t kProbeExit = 91;

// Runs `Rc work()` in a read section of the node, unless the caller holds one. The work traces its own failures.
// Returns the first failure; leaves the section on every path. The work appears once, so that it is inlined.
template <class Work>
inline Rc readSection(const Trace &t, SNodeCB_t *node, Held held, Work &&work) {
  Entered entered;
  if (held == Held::No) {
    if (Rc rc = enterRead(node, &node->primaryLatch, entered); failed(rc)) return t.fail(kProbeEnter, rc);
  }
  const Rc done = std::forward<Work>(work)();
  return held == Held::Yes ? done : firstFailure(done, t.fail(kProbeExit, exitRead(&node->primaryLatch, entered)));
}

// Runs `Rc work()` in a write section; otherwise like readSection().
template <class Work>
inline Rc writeSection(const Trace &t, SNodeCB_t *node, Held held, Work &&work) {
  Entered entered;
  if (held == Held::No) {
    if (Rc rc = enterWrite(node, &node->primaryLatch, entered); failed(rc)) return t.fail(kProbeEnter, rc);
  }
  const Rc done = std::forward<Work>(work)();
  return held == Held::Yes ? done : firstFailure(done, t.fail(kProbeExit, exitWrite(&node->primaryLatch, entered)));
}

// Result of a read without the latch. A failure is traced only after the read proved to be a snapshot.
struct Finding {
  std::uint32_t probe = 0;
  Rc rc = Rc::Ok;
};

// Next step of a read whose tries failed because of a writer.
struct NextTry {
  bool underLatch = false;
  Rc rc = Rc::Ok;
};

// Checks a node under model 1 for reads without its latch. They need the latch at an address that is no multiple of 8,
// and under the thread sanitizer. Returns BadLatchVersion, or LatchFailed if this thread holds the section.
NextTry admitReader(SNodeCB_t *node);

// Sleeps until the writer inside has left. It never spins: a reader of higher priority would keep the writer from its
// processor. The latch is needed if its owner has died, or if the mark is set although no writer is inside. Returns
// LatchFailed if the wait fails or reaches `deadline`, which is 0 before the first wait of a read.
NextTry awaitWriter(SNodeCB_t *node, std::uint64_t &deadline);

// Tries before a reader sleeps. A section takes as long as one or two of them.
constexpr int kReadTries = 32;

// The slow half of readWithoutLatch(): the tries after the first one.
template <class Work>
[[gnu::noinline]] Rc readAgain(const Trace &t, SNodeCB_t *node, Work &work) {
  NextTry next = admitReader(node);
  for (std::uint64_t deadline = 0; !next.underLatch && !failed(next.rc); next = awaitWriter(node, deadline)) {
    for (int i = 0; i < kReadTries; ++i, pauseBriefly()) {
      std::int32_t count = 0;
      if (!beginSequence(node->primaryLatch, count)) continue;
      const Finding found = work();
      if (endSequence(node->primaryLatch, count)) return t.fail(found.probe, found.rc);
    }
  }
  if (failed(next.rc)) return t.fail(kProbeEnter, next.rc);
  return readSection(t, node, Held::No, [&] {
    const Finding found = work();
    return t.fail(found.probe, found.rc);
  });
}

// Runs `Finding work()` on a snapshot, without the node's latch if possible, and returns its code. The work may run
// several times and may read inconsistent data; it stores nothing for the caller. It runs once if the model is not 1,
// or if the caller holds the section.
template <class Work>
inline Rc readWithoutLatch(const Trace &t, SNodeCB_t *node, Held held, Work &&work) {
  const std::uint32_t model = loadField(node->concurrencyModel);
  if (held == Held::No && model == SNTR_MODEL_LATCHED) [[likely]] {
    std::int32_t count = 0;
    if (!isAlignedNode(node) || !beginRead(node, count)) [[unlikely]]
      return readAgain(t, node, work);
    const Finding found = work();
    if (!endSequence(node->primaryLatch, count)) [[unlikely]]
      return readAgain(t, node, work);
    return t.fail(found.probe, found.rc);
  }
  if (Rc rc = held == Held::No ? checkModel(model) : Rc::Ok; failed(rc)) return t.fail(kProbeEnter, rc);
  const Finding found = work();
  return t.fail(found.probe, found.rc);
}

}  // namespace sntr
