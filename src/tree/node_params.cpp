// SPDX-License-Identifier: MIT
// See node_params.h.
#include "tree/node_params.h"

#include <oss/identity.h>

#include "frame/section.h"
#include "layout/words.h"
#include "tree/conditions.h"

namespace sntr {

namespace {

constexpr std::uint32_t kDefaultStatusMode = 1;
constexpr std::uint32_t kHighestStatusMode = 2;
constexpr std::uint32_t kDefaultParam5 = 200;
constexpr std::uint32_t kDefaultUpdateInterval = 200;

constexpr std::uint32_t orDefault(std::uint32_t given, std::uint32_t fallback) { return given != 0 ? given : fallback; }

// These are bits, not conditions: "created" and "active" are not among them, and some are no condition that a reader
// accepts. Published.
constexpr bool maySetCondition(std::uint32_t condition) {
  return condition == 2 || condition == 4 || condition == 8 || condition == 16 || condition == 32;
}

}  // namespace

Rc resolveParams(const SNodeParams *given, std::uint32_t defaultCondition, SNodeParams &resolved) {
  resolved = given != nullptr ? *given : SNodeParams{};
  if (resolved.condition != 0 && !maySetCondition(resolved.condition)) return Rc::BadCondition;
  if (resolved.statusMode > kHighestStatusMode) return Rc::BadStatusMode;
  resolved.condition = orDefault(resolved.condition, defaultCondition);
  resolved.statusMode = orDefault(resolved.statusMode, kDefaultStatusMode);
  resolved.param5 = orDefault(resolved.param5, kDefaultParam5);
  resolved.updateInterval = orDefault(resolved.updateInterval, kDefaultUpdateInterval);
  resolved.concurrencyModel = orDefault(resolved.concurrencyModel, SNTR_MODEL_LATCHED);
  return Rc::Ok;
}

// Condition and model go last: both are read without the latch, and a new model admits others at once. Interval and
// time are read without it too, each alone.
Rc storeParams(SNodeCB_t *node, const SNodeParams &params) {
  node->nodeParam0 = params.param0;
  node->nodeParam1 = params.param1;
  node->nodeParam2 = params.param2;
  node->statusMode = params.statusMode;
  node->nodeParam5 = params.param5;
  storeField(node->updateInterval, params.updateInterval);
  storeField(node->nodeTime, params.time != 0 ? params.time : ossTimeGetUTC());
  orderStores();
  storeCondition(node, params.condition);
  storeField(node->concurrencyModel, params.concurrencyModel);
  return checkModel(params.concurrencyModel);
}

}  // namespace sntr
