// See section.h. A section under model 1 is: get the latch, look for a dead writer; for writing also mark the block and
// count. Every word is read once, because the hottest operations spend most of their time here.
#include "frame/section.h"

#include <oss/latch.h>

#include "frame/node_repair.h"
#include "layout/version.h"
#include "layout/words.h"

namespace sntr {

namespace {

constexpr Rc latchResult(std::uint32_t answer) { return answer == 0 ? Rc::Ok : Rc::LatchFailed; }

constexpr Rc atomicResult(std::uint32_t answer) { return answer == 0 ? Rc::Ok : Rc::AtomicFailed; }

// The first four bytes of an atomic are its value, and a latch block may stand at any address.
bool isBeingWritten(const SNodeLatchBlock_t *block) { return readWord<std::int32_t>(&block->writeInProgress) != 0; }

// Gets the latch of a stamped block. This is the one way into a section, and so the one place that looks for a writer
// who died inside: with the latch in hand nobody else can be writing, so a mark that still stands is a dead writer's.
Rc obtain(SNodeCB_t *node, SNodeLatchBlock_t *block) {
  if (readWord<std::uint32_t>(&block->latchVersion) != kVersionWord) return Rc::BadLatchVersion;
  if (Rc rc = latchResult(ossVLatchGet(&block->latch)); failed(rc)) return rc;
  if (isBeingWritten(block)) [[unlikely]] {
    repairNode(node);
  }
  return Rc::Ok;
}

// The stamp was tested on the way in. It is not tested again: whatever has happened to it, the latch must be given
// back.
Rc giveBack(SNodeLatchBlock_t *block) { return latchResult(ossVLatchRelease(&block->latch)); }

// The mark comes before the count, and both before the work: whoever finds the mark knows that work may have begun.
Rc markWriter(SNodeLatchBlock_t *block) {
  if (Rc rc = atomicResult(block->writeInProgress.swap(1, nullptr)); failed(rc)) return rc;
  const Rc counted = atomicResult(block->writeCount.increment(nullptr));
  if (failed(counted)) return firstFailure(counted, atomicResult(block->writeInProgress.swap(0, nullptr)));
  return Rc::Ok;
}

}  // namespace

Rc concurrencyModelOf(const SNodeCB_t *node, std::uint32_t &model) {
  model = loadField(node->concurrencyModel);
  return checkModel(model);
}

Rc setConcurrencyModel(SNodeCB_t *node, std::uint32_t model) {
  if (Rc rc = checkModel(model); failed(rc)) return rc;
  storeField(node->concurrencyModel, model);
  return Rc::Ok;
}

Rc enterRead(SNodeCB_t *node, SNodeLatchBlock_t *block, SectionModel &model) {
  model.value = loadField(node->concurrencyModel);
  return model.value == SNTR_MODEL_LATCHED ? obtain(node, block) : checkModel(model.value);
}

Rc enterWrite(SNodeCB_t *node, SNodeLatchBlock_t *block, SectionModel &model) {
  model.value = loadField(node->concurrencyModel);
  if (model.value != SNTR_MODEL_LATCHED) return checkModel(model.value);
  if (Rc rc = obtain(node, block); failed(rc)) return rc;
  const Rc marked = markWriter(block);
  return failed(marked) ? firstFailure(marked, giveBack(block)) : marked;
}

Rc exitRead(SNodeLatchBlock_t *block, SectionModel model) {
  return model.value == SNTR_MODEL_LATCHED ? giveBack(block) : Rc::Ok;
}

Rc exitWrite(SNodeLatchBlock_t *block, SectionModel model) {
  if (model.value != SNTR_MODEL_LATCHED) return Rc::Ok;
  const Rc unmarked = atomicResult(block->writeInProgress.swap(0, nullptr));
  return firstFailure(unmarked, giveBack(block));
}

Rc initializeLatches(const SNodeCB_t *node, SNodeLatchBlock_t *block, std::uint32_t stamp) {
  std::uint32_t model = 0;
  if (Rc rc = concurrencyModelOf(node, model); failed(rc)) return rc;
  if (model != SNTR_MODEL_LATCHED) return Rc::Ok;
  if (stamp != kVersionWord) return Rc::BadLatchVersion;
  if (Rc rc = latchResult(ossVLatchInit(&block->latch, 1)); failed(rc)) return rc;
  if (Rc rc = latchResult(ossVLatchInit(&block->spareLatch, 1)); failed(rc)) return rc;
  if (Rc rc = atomicResult(block->writeInProgress.init(0, 1)); failed(rc)) return rc;
  if (Rc rc = atomicResult(block->writeCount.init(0, 1)); failed(rc)) return rc;
  publishWord<std::uint32_t>(&block->latchVersion, kVersionWord);
  return Rc::Ok;
}

}  // namespace sntr
