// Critical sections on a node, and the heap's exclusive latches, as functions that take the work.
//
// Under model 1 a section holds the node's primary latch; under models 0 and 2 to 5 nothing is locked. Entering gives
// back the model it found and leaving takes that one, so that work which changes the model inside its own section
// neither keeps the latch for ever nor releases one that was never taken.
//
// Latch order: a node's latch comes before nothing else of the library's; who holds one calls no storage operation. The
// work runs on the caller's thread; no path takes a latch that its thread holds (the services layer refuses it).
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

// Whether the caller of an operation already holds the node's section: then it is neither entered nor left.
enum class Held : bool { No, Yes };

constexpr Held heldIf(std::uint64_t latchHeld) { return latchHeld != 0 ? Held::Yes : Held::No; }

// How a section was entered, and so how it is left.
struct Entered {
  std::uint32_t model = 0;
  std::uint64_t latchWord = 0;  // with which the latch was taken in line; 0: by a call, or not at all
};

// 0 to 5 are models; ValueOutOfRange above.
constexpr std::uint32_t kHighestModel = 5;
constexpr Rc checkModel(std::uint32_t model) { return model <= kHighestModel ? Rc::Ok : Rc::ValueOutOfRange; }

// Reads the node's model once. ValueOutOfRange above 5; the model is stored all the same.
Rc concurrencyModelOf(const SNodeCB_t *node, std::uint32_t &model);

// Stores a model. ValueOutOfRange above 5, and the old one stays. Takes no latch: sections that are under way end under
// the model that they began with.
Rc setConcurrencyModel(SNodeCB_t *node, std::uint32_t model);

// Gets the latch of a stamped block. This is the one way into a section, and so the one place that looks for a writer
// who died inside: with the latch in hand nobody else can be writing, so a mark that still stands is a dead writer's.
inline Rc obtainLatch(SNodeCB_t *node, SNodeLatchBlock_t *block, Entered &entered) {
  if (!isStamped(*block)) [[unlikely]]
    return Rc::BadLatchVersion;
  entered.latchWord = ossVLatchTryGet(&block->latch);
  if (entered.latchWord == 0 && ossVLatchGet(&block->latch) != 0) [[unlikely]]
    return Rc::LatchFailed;
  // The first four bytes of an atomic are its value, and a latch block may stand at any address.
  if (readWord<std::int32_t>(&block->writeInProgress) != 0) [[unlikely]]
    repairNode(node);
  return Rc::Ok;
}

// The stamp was tested on the way in. It is not tested again: whatever has happened to it, the latch must be given
// back.
inline Rc giveBackLatch(SNodeLatchBlock_t *block, const Entered &entered) {
  if (ossVLatchTryRelease(&block->latch, entered.latchWord)) [[likely]]
    return Rc::Ok;
  return ossVLatchRelease(&block->latch) == 0 ? Rc::Ok : Rc::LatchFailed;
}

// Marks and counts a writer. The mark comes before the count, and both before the work, as sequence.h says.
// AtomicFailed, and nothing is marked.
inline Rc markWriter(SNodeLatchBlock_t *block) {
  if (Rc rc = writeCell(&block->writeInProgress, 1); failed(rc)) return rc;
  if (Rc rc = countCellUnderLatch(&block->writeCount); failed(rc)) {
    return firstFailure(rc, writeCell(&block->writeInProgress, 0));
  }
  orderStores();
  return Rc::Ok;
}

// Node and block are not null. ValueOutOfRange for a model above 5; under model 1 BadLatchVersion for a block that is
// not stamped, LatchFailed, and for writing AtomicFailed. A failed entry leaves nothing held and nothing marked.
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

// The latch is given back whatever else fails.
inline Rc exitRead(SNodeLatchBlock_t *block, const Entered &entered) {
  return entered.model == SNTR_MODEL_LATCHED ? giveBackLatch(block, entered) : Rc::Ok;
}

inline Rc exitWrite(SNodeLatchBlock_t *block, const Entered &entered) {
  if (entered.model != SNTR_MODEL_LATCHED) return Rc::Ok;
  const Rc unmarked = writeCell(&block->writeInProgress, 0);
  return firstFailure(unmarked, giveBackLatch(block, entered));
}

// Makes a latch block usable: `stamp` is the version word that it will carry. Under model 1 BadLatchVersion for another
// stamp, LatchFailed, AtomicFailed; the stamp is written last. Under other models nothing is written and 0 is the
// answer.
Rc initializeLatches(const SNodeCB_t *node, SNodeLatchBlock_t *block, std::uint32_t stamp);

// Probes of the sections; no exported function uses these numbers for anything else.
constexpr std::uint32_t kProbeEnter = 90;
constexpr std::uint32_t kProbeExit = 91;

// Runs `Rc work()` in a read section of the node, unless the caller holds one. The work traces its own failures; the
// first failure is returned, and the section is left on every path. The work stands here once, so that it is compiled
// into the operation.
template <class Work>
inline Rc readSection(const Trace &t, SNodeCB_t *node, Held held, Work &&work) {
  Entered entered;
  if (held == Held::No) {
    if (Rc rc = enterRead(node, &node->primaryLatch, entered); failed(rc)) return t.fail(kProbeEnter, rc);
  }
  const Rc done = std::forward<Work>(work)();
  return held == Held::Yes ? done : firstFailure(done, t.fail(kProbeExit, exitRead(&node->primaryLatch, entered)));
}

// The same for writing.
template <class Work>
inline Rc writeSection(const Trace &t, SNodeCB_t *node, Held held, Work &&work) {
  Entered entered;
  if (held == Held::No) {
    if (Rc rc = enterWrite(node, &node->primaryLatch, entered); failed(rc)) return t.fail(kProbeEnter, rc);
  }
  const Rc done = std::forward<Work>(work)();
  return held == Held::Yes ? done : firstFailure(done, t.fail(kProbeExit, exitWrite(&node->primaryLatch, entered)));
}

// What a read without the latch found. Its failure is traced only once it is known that what was read was of one
// moment.
struct Finding {
  std::uint32_t probe = 0;
  Rc rc = Rc::Ok;
};

// How a read goes on after a try that met a writer.
struct NextTry {
  bool underLatch = false;
  Rc rc = Rc::Ok;
};

// Whether a node under model 1 can be read without its latch. Not if it begins at no multiple of 8, nor for the thread
// sanitizer. BadLatchVersion; LatchFailed: this thread holds the section.
NextTry admitReader(SNodeCB_t *node);

// Waits, asleep, for the writer that a read has met. It never waits by looking again and again: a reader of a higher
// priority would keep the writer from its processor. The latch is needed if its owner, or a writer whose mark stands
// although nobody is inside, has died. LatchFailed: at `deadline`, which is 0 before the first wait of a read.
NextTry awaitWriter(SNodeCB_t *node, std::uint64_t &deadline);

// Tries before a reader sleeps. A section is as long as one or two of them.
constexpr int kReadTries = 32;

// The second half of readWithoutLatch(): the tries after the first one.
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

// Runs `Finding work()` so that all it reads is of one moment, without the node's latch where that is possible, and
// returns its code. The work may run several times and may meet anything; it stores nothing for the caller. Under other
// models than 1, and where the caller holds the section, it runs once.
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
