// The condition of a node: whether its content may be read or written.
//
// Any thread. Callers normally hold the node's section; without it the answer is old at once.
#pragma once

#include <cstdint>

#include "layout/rc.h"
#include "layout/words.h"
#include "sntr/types.h"

namespace sntr {

// Masks of the checks: bit n stands for condition n. Only the bit of "created" has an effect.
constexpr std::uint32_t kMaskActive = 0x2c;
constexpr std::uint32_t kMaskCreatedBit = 1u << SNTR_CONDITION_CREATED;
static_assert((kMaskActive & kMaskCreatedBit) == 0, "a node that is only created has no content to read");

// Writes the stored condition, whatever it is; ConditionOutOfRange when it is not 1 to 5.
inline Rc readCondition(const SNodeCB_t *node, std::uint32_t &condition) {
  condition = loadField(node->nodeCondition);
  const bool known = condition >= SNTR_CONDITION_CREATED && condition <= SNTR_CONDITION_DISASSOCIATED;
  return known ? Rc::Ok : Rc::ConditionOutOfRange;
}

// The caller is in a write section of the node, or the node is not known to anyone else yet.
inline void storeCondition(SNodeCB_t *node, std::uint32_t condition) { storeField(node->nodeCondition, condition); }

// Why a node whose condition is not "active" is refused: Ok for a node that is only created when the mask has that bit.
constexpr Rc refusalOf(std::uint32_t condition, std::uint32_t mask) {
  switch (condition) {
    case SNTR_CONDITION_CREATED:
      return (mask & kMaskCreatedBit) != 0 ? Rc::Ok : Rc::NodeNotInitialized;
    case SNTR_CONDITION_INITIALIZED:
      return Rc::NodeOnlyInitialized;
    case SNTR_CONDITION_ACTIVE:
      return Rc::Ok;
    case SNTR_CONDITION_ABANDONED:
      return Rc::NodeAbandoned;
    case SNTR_CONDITION_DISASSOCIATED:
      return Rc::NodeDisassociated;
    default:
      return Rc::ConditionOutOfRange;
  }
}

// Ok for an active node. NodeNotInitialized (unless the mask allows it), NodeOnlyInitialized, NodeAbandoned,
// NodeDisassociated; ConditionOutOfRange for anything else. The node is not null.
inline Rc checkCondition(const SNodeCB_t *node, std::uint32_t mask) {
  const std::uint32_t condition = loadField(node->nodeCondition);
  return condition == SNTR_CONDITION_ACTIVE ? Rc::Ok : refusalOf(condition, mask);
}

}  // namespace sntr
