// SPDX-License-Identifier: MIT
// The condition of a node, which decides if its content may be read or written.
// Thread safety: any thread. Callers normally hold the node's section; without it the result may be outdated at once.
#pragma once

#include <cstdint>

#include "layout/rc.h"
#include "layout/words.h"
#include "sntr/types.h"

namespace sntr {

// Masks of the checks: bit n stands for condition n. Only the bit of "created" has an effect.
constexpr std::uint32_t maskBit(std::uint32_t condition) { return 1u << condition; }
constexpr std::uint32_t kMaskCreatedBit = maskBit(SNTR_CONDITION_CREATED);
constexpr std::uint32_t kMaskActive =
    maskBit(SNTR_CONDITION_INITIALIZED) | maskBit(SNTR_CONDITION_ACTIVE) | maskBit(SNTR_CONDITION_DISASSOCIATED);
static_assert((kMaskActive & kMaskCreatedBit) == 0, "a node that is only created has no content to read");

// Reads the stored condition into the output, even a bad one. Returns Ok, or ConditionOutOfRange if it is not 1 to 5.
inline Rc readCondition(const SNodeCB_t *node, std::uint32_t &condition) {
  condition = loadField(node->nodeCondition);
  const bool known = condition >= SNTR_CONDITION_CREATED && condition <= SNTR_CONDITION_DISASSOCIATED;
  return known ? Rc::Ok : Rc::ConditionOutOfRange;
}

// The caller is in a write section of the node, or no other thread has the node yet.
inline void storeCondition(SNodeCB_t *node, std::uint32_t condition) { storeField(node->nodeCondition, condition); }

// Returns the code that refuses a node that is not active; Ok for a node that is only created if the mask has that bit.
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

// Checks the condition of a node, which is not null. Returns Ok for an active node, else NodeNotInitialized (unless the
// mask allows it), NodeOnlyInitialized, NodeAbandoned, NodeDisassociated, or ConditionOutOfRange for any other value.
inline Rc checkCondition(const SNodeCB_t *node, std::uint32_t mask) {
  const std::uint32_t condition = loadField(node->nodeCondition);
  return condition == SNTR_CONDITION_ACTIVE ? Rc::Ok : refusalOf(condition, mask);
}

}  // namespace sntr
