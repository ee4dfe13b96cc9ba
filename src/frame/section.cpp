// SPDX-License-Identifier: MIT
// See section.h: the functions off the hot path.
#include "frame/section.h"

#include <oss/latch.h>

#include "layout/version.h"
#include "layout/words.h"

namespace sntr {

namespace {

constexpr Rc latchResult(std::uint32_t result) { return result == 0 ? Rc::Ok : Rc::LatchFailed; }

constexpr Rc atomicResult(std::uint32_t result) { return result == 0 ? Rc::Ok : Rc::AtomicFailed; }

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

NextTry admitReader(SNodeCB_t *node) {
  SNodeLatchBlock_t *block = &node->primaryLatch;
  if (!isStamped(*block)) return {.rc = Rc::BadLatchVersion};
  if (ossVLatchTestHeld(&block->latch) == 0) return {.rc = Rc::LatchFailed};
  return {.underLatch = !kReadsWithoutLatch || !isAlignedNode(node)};
}

NextTry awaitWriter(SNodeCB_t *node, std::uint64_t &deadline) {
  SNodeLatchBlock_t *block = &node->primaryLatch;
  const std::int32_t count = readCell(&block->writeCount);
  const std::uint32_t waited = ossVLatchAwait(&block->latch, &deadline);
  if (waited == code(Rc::OssLatchOwnerDead)) return {.underLatch = true};
  if (waited != 0) return {.rc = Rc::LatchFailed};
  // The latch was free. A writer that is inside since then holds it; one that came and left has counted.
  const bool marked = readCell(&block->writeInProgress) != 0;
  return {.underLatch = marked && ossLatchIsFree(latchWordsOf(node)) && readCell(&block->writeCount) == count};
}

}  // namespace sntr
