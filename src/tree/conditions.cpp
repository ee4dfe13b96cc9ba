// See conditions.h: the refusals, and the two exported readers. Neither takes a latch.
#include "tree/conditions.h"

#include <sntr/status.h>

#include "frame/trace.h"

namespace sntr {

Rc refusalOf(std::uint32_t condition, std::uint32_t mask) {
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

}  // namespace sntr

using namespace sntr;

extern "C" {

std::uint32_t sntrGetNodeCondition(const SNodeCB_t *node, std::uint32_t *condition) {
  return traced(Fn::sntrGetNodeCondition, [&](const Trace &t) {
    if (node == nullptr) return t.fail(10, Rc::NullNode);
    if (condition == nullptr) return t.fail(20, Rc::NullOutput);
    return t.fail(30, readCondition(node, *condition));
  });
}

std::uint32_t sntrCheckNodeCondition(const SNodeCB_t *node, std::uint32_t mask) {
  return traced(Fn::sntrCheckNodeCondition, [&](const Trace &t) {
    if (node == nullptr) return t.fail(10, Rc::NullNode);
    return t.fail(20, checkCondition(node, mask));
  });
}

}  // extern "C"
