// SPDX-License-Identifier: MIT
// The two exported readers of a node's condition. Thread safety: any thread; neither takes a latch.
#include "tree/conditions.h"

#include <sntr/status.h>

#include "frame/trace.h"

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
