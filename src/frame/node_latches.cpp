// SPDX-License-Identifier: MIT
// The exported sections and the concurrency model: argument checks and traces around section.h.
//
// Entering and leaving are separate calls here, unlike inside the library. So leaving goes by the model that the node
// has at that moment, and tests the stamp again.
#include <oss/latch.h>
#include <sntr/latches.h>

#include "frame/section.h"
#include "layout/version.h"
#include "layout/words.h"

namespace sntr {

namespace {

Rc checkArguments(const SNodeCB_t *node, const SNodeLatchBlock_t *block) {
  if (node == nullptr) return Rc::NullNode;
  return block == nullptr ? Rc::NullLatchBlock : Rc::Ok;
}

// Reads the model by which a section is left. Under model 1 an unstamped block has no valid latch.
Rc modelOnExit(const SNodeCB_t *node, const SNodeLatchBlock_t *block, std::uint32_t &model) {
  if (Rc rc = concurrencyModelOf(node, model); failed(rc)) return rc;
  const bool usable = model != SNTR_MODEL_LATCHED || readWord<std::uint32_t>(&block->latchVersion) == kVersionWord;
  return usable ? Rc::Ok : Rc::BadLatchVersion;
}

// Returns LatchFailed if the caller does not hold the latch: the mark of another writer inside must stay.
Rc checkHolder(SNodeLatchBlock_t *block, std::uint32_t model) {
  const bool holds = model != SNTR_MODEL_LATCHED || ossVLatchTestHeld(&block->latch) == 0;
  return holds ? Rc::Ok : Rc::LatchFailed;
}

}  // namespace

}  // namespace sntr

using namespace sntr;

extern "C" {

std::uint32_t sntrInitializeLatches(const SNodeCB_t *node, SNodeLatchBlock_t *block, std::uint32_t latchVersion) {
  return traced(Fn::sntrInitializeLatches, [&](const Trace &t) {
    if (block == nullptr) return t.fail(10, Rc::NullLatchBlock);
    if (node == nullptr) return t.fail(20, Rc::NullNode);
    return t.fail(30, initializeLatches(node, block, latchVersion));
  });
}

std::uint32_t sntrEnterCriticalSectionBeforeRead(SNodeCB_t *node, SNodeLatchBlock_t *block) {
  return traced(Fn::sntrEnterCriticalSectionBeforeRead, [&](const Trace &t) {
    if (Rc rc = checkArguments(node, block); failed(rc)) return t.fail(10, rc);
    Entered entered;
    return t.fail(20, enterRead(node, block, entered));
  });
}

std::uint32_t sntrExitCriticalSectionAfterRead(SNodeCB_t *node, SNodeLatchBlock_t *block) {
  return traced(Fn::sntrExitCriticalSectionAfterRead, [&](const Trace &t) {
    if (Rc rc = checkArguments(node, block); failed(rc)) return t.fail(10, rc);
    Entered entered;
    if (Rc rc = modelOnExit(node, block, entered.model); failed(rc)) return t.fail(20, rc);
    return t.fail(30, exitRead(block, entered));
  });
}

std::uint32_t sntrEnterCriticalSectionBeforeWrite(SNodeCB_t *node, SNodeLatchBlock_t *block) {
  return traced(Fn::sntrEnterCriticalSectionBeforeWrite, [&](const Trace &t) {
    if (Rc rc = checkArguments(node, block); failed(rc)) return t.fail(10, rc);
    Entered entered;
    return t.fail(20, enterWrite(node, block, entered));
  });
}

std::uint32_t sntrExitCriticalSectionAfterWrite(SNodeCB_t *node, SNodeLatchBlock_t *block) {
  return traced(Fn::sntrExitCriticalSectionAfterWrite, [&](const Trace &t) {
    if (Rc rc = checkArguments(node, block); failed(rc)) return t.fail(10, rc);
    Entered entered;
    if (Rc rc = modelOnExit(node, block, entered.model); failed(rc)) return t.fail(20, rc);
    if (Rc rc = checkHolder(block, entered.model); failed(rc)) return t.fail(40, rc);
    return t.fail(30, exitWrite(block, entered));
  });
}

std::uint32_t sntrSetConcurrencyModel(SNodeCB_t *node, std::uint32_t model) {
  return traced(Fn::sntrSetConcurrencyModel, [&](const Trace &t) {
    if (node == nullptr) return t.fail(10, Rc::NullNode);
    return t.fail(20, setConcurrencyModel(node, model));
  });
}

std::uint32_t sntrReturnConcurrencyModel(const SNodeCB_t *node, std::uint32_t *model) {
  return traced(Fn::sntrReturnConcurrencyModel, [&](const Trace &t) {
    if (node == nullptr) return t.fail(10, Rc::NullNode);
    if (model == nullptr) return t.fail(20, Rc::NullModelOutput);
    return t.fail(30, concurrencyModelOf(node, *model));
  });
}

}  // extern "C"
