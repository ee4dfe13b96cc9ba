// Critical sections on a node, and the heap's exclusive latches, as functions that take the work.
//
// Under model 1 a section holds the node's primary latch; under models 0 and 2 to 5 nothing is locked. Entering gives
// back the model it found and leaving takes that one, so that work which changes the model inside its own section
// neither keeps the latch for ever nor releases one that was never taken.
//
// Latch order: a node's latch comes before nothing else of the library's; who holds one calls no storage operation. The
// work runs on the caller's thread; no path takes a latch that its thread holds (the services layer refuses it).
#pragma once

#include <cstdint>
#include <utility>

#include "frame/trace.h"
#include "layout/node_block.h"

namespace sntr {

// Whether the caller of an operation already holds the node's section: then it is neither entered nor left.
enum class Held : bool { No, Yes };

constexpr Held heldIf(std::uint64_t latchHeld) { return latchHeld != 0 ? Held::Yes : Held::No; }

// The model under which a section was entered.
struct SectionModel {
  std::uint32_t value;
};

// 0 to 5 are models; ValueOutOfRange above.
constexpr std::uint32_t kHighestModel = 5;
constexpr Rc checkModel(std::uint32_t model) { return model <= kHighestModel ? Rc::Ok : Rc::ValueOutOfRange; }

// Reads the node's model once. ValueOutOfRange above 5; the model is stored all the same.
Rc concurrencyModelOf(const SNodeCB_t *node, std::uint32_t &model);

// Stores a model. ValueOutOfRange above 5, and the old one stays. Takes no latch: sections that are under way end under
// the model that they began with.
Rc setConcurrencyModel(SNodeCB_t *node, std::uint32_t model);

// Node and block are not null. ValueOutOfRange for a model above 5; under model 1 BadLatchVersion for a block that is
// not stamped, LatchFailed, and for writing AtomicFailed. A failed entry leaves nothing held and nothing marked.
Rc enterRead(SNodeCB_t *node, SNodeLatchBlock_t *block, SectionModel &model);
Rc enterWrite(SNodeCB_t *node, SNodeLatchBlock_t *block, SectionModel &model);

// The latch is given back whatever else fails.
Rc exitRead(SNodeLatchBlock_t *block, SectionModel model);
Rc exitWrite(SNodeLatchBlock_t *block, SectionModel model);

// Makes a latch block usable: `stamp` is the version word that it will carry. Under model 1 BadLatchVersion for another
// stamp, LatchFailed, AtomicFailed; the stamp is written last. Under other models nothing is written and 0 is the
// answer.
Rc initializeLatches(const SNodeCB_t *node, SNodeLatchBlock_t *block, std::uint32_t stamp);

// Probes of the sections; no exported function uses these numbers for anything else.
constexpr std::uint32_t kProbeEnter = 90;
constexpr std::uint32_t kProbeExit = 91;

// Runs `Rc work()` in a read section of the node, unless the caller holds one. The work traces its own failures; the
// first failure is the answer, and the section is left on every path.
template <class Work>
inline Rc readSection(const Trace &t, SNodeCB_t *node, Held held, Work &&work) {
  if (held == Held::Yes) return std::forward<Work>(work)();
  SectionModel model{};
  if (Rc rc = enterRead(node, &node->primaryLatch, model); failed(rc)) return t.fail(kProbeEnter, rc);
  const Rc done = std::forward<Work>(work)();
  return firstFailure(done, t.fail(kProbeExit, exitRead(&node->primaryLatch, model)));
}

// The same for writing.
template <class Work>
inline Rc writeSection(const Trace &t, SNodeCB_t *node, Held held, Work &&work) {
  if (held == Held::Yes) return std::forward<Work>(work)();
  SectionModel model{};
  if (Rc rc = enterWrite(node, &node->primaryLatch, model); failed(rc)) return t.fail(kProbeEnter, rc);
  const Rc done = std::forward<Work>(work)();
  return firstFailure(done, t.fail(kProbeExit, exitWrite(&node->primaryLatch, model)));
}

}  // namespace sntr
