// See section.h: what of it is not on the way of every operation.
#include "frame/section.h"

#include <oss/latch.h>

#include "layout/version.h"
#include "layout/words.h"

namespace sntr {

namespace {

constexpr Rc latchResult(std::uint32_t answer) { return answer == 0 ? Rc::Ok : Rc::LatchFailed; }

constexpr Rc atomicResult(std::uint32_t answer) { return answer == 0 ? Rc::Ok : Rc::AtomicFailed; }

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

}  // namespace sntr
