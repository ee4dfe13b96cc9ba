// SPDX-License-Identifier: MIT
// See node_build.h.
#include "tree/node_build.h"

#include <cstring>

#include "frame/section.h"
#include "tree/conditions.h"
#include "tree/node_areas.h"

namespace sntr {

// No sum wraps: 64 areas of the largest size need 33 bits.
static_assert(SNTR_AREA_COUNT * SNTR_MAX_AREA_SIZE + kControlBlockSize > SNTR_MAX_NODE_SIZE);

Rc planNode(std::uint64_t options, const std::uint64_t *areaSizes, NodePlan &plan) {
  plan.options = options;
  plan.total = kControlBlockSize;
  for (std::uint32_t i = 0; i < SNTR_AREA_COUNT; ++i) {
    const std::uint64_t size = areaSizes[i];
    if (size > SNTR_MAX_AREA_SIZE) return Rc::AreaTooLarge;
    plan.areaTable[i] = AreaEntry{size, 0, plan.total};
    plan.total += size;
  }
  return isNodeSize(plan.total) ? Rc::Ok : Rc::BadNodeSize;
}

Rc buildNode(SNodeCB_t *node, const NodePlan &plan, std::uint32_t latchVersion) {
  // Clears everything: a block of a pool holds old contents, which readers of this node must not see.
  std::memset(static_cast<void *>(node), 0, plan.total);
  node->nodeSize = plan.total;
  node->nodeOptions = plan.options;
  storeCondition(node, SNTR_CONDITION_CREATED);
  if (Rc rc = setConcurrencyModel(node, SNTR_MODEL_LATCHED); failed(rc)) return rc;
  if (Rc rc = initializeLatches(node, &node->primaryLatch, latchVersion); failed(rc)) return rc;
  if (Rc rc = initializeLatches(node, &node->secondaryLatch, latchVersion); failed(rc)) return rc;
  std::memcpy(node->areaTable, plan.areaTable, sizeof(plan.areaTable));
  return Rc::Ok;
}

}  // namespace sntr
