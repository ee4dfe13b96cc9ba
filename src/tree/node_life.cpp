// SPDX-License-Identifier: MIT
// The steps of a node's life after initialization, and the sizes that a node reports. Each runs in one section of the
// node.
// Thread safety: as node_life.h and sntr/nodes.h say.
#include "tree/node_life.h"

#include <sntr/nodes.h>

#include "frame/section.h"
#include "layout/words.h"
#include "tree/conditions.h"
#include "tree/node_areas.h"
#include "tree/node_params.h"

namespace sntr {

namespace {

constexpr std::uint64_t kRegisterSize = 4;

Rc activateLatched(SNodeCB_t *node) {
  if (loadField(node->nodeCondition) == SNTR_CONDITION_CREATED) return Rc::NodeOnlyCreated;
  storeCondition(node, SNTR_CONDITION_ACTIVE);
  return Rc::Ok;
}

// Stores the size even if no node can have it.
Rc readNodeSize(const Trace &t, const SNodeCB_t *node, std::uint64_t &size) {
  if (Rc rc = checkCondition(node, kMaskActive); failed(rc)) return t.fail(30, rc);
  size = loadField(node->nodeSize);
  return isNodeSize(size) ? Rc::Ok : t.fail(40, Rc::BadNodeSize);
}

}  // namespace

Rc activateNode(const Trace &t, SNodeCB_t *node) {
  return writeSection(t, node, Held::No, [&] { return t.fail(20, activateLatched(node)); });
}

Rc changeCondition(const Trace &t, SNodeCB_t *node, std::uint32_t condition) {
  return writeSection(t, node, Held::No, [&] {
    storeCondition(node, condition);
    return Rc::Ok;
  });
}

}  // namespace sntr

using namespace sntr;

extern "C" {

std::uint32_t sntrSetNodeOptions(SNodeCB_t *node, const SNodeParams *parameters) {
  return traced(Fn::sntrSetNodeOptions, [&](const Trace &t) {
    if (node == nullptr) return t.fail(10, Rc::NullNode);
    SNodeParams resolved;
    if (Rc rc = resolveParams(parameters, SNTR_CONDITION_ACTIVE, resolved); failed(rc)) return t.fail(20, rc);
    return writeSection(t, node, Held::No, [&] { return t.fail(30, storeParams(node, resolved)); });
  });
}

std::uint32_t sntrGetNodeSize(SNodeCB_t *node, std::uint64_t *nodeSize, std::uint32_t latchHeld) {
  return traced(Fn::sntrGetNodeSize, [&](const Trace &t) {
    if (node == nullptr) return t.fail(10, Rc::NullNode);
    if (nodeSize == nullptr) return t.fail(20, Rc::NullSizeOutput);
    return readSection(t, node, heldIf(latchHeld), [&] { return readNodeSize(t, node, *nodeSize); });
  });
}

std::uint32_t sntrReturnRegisterSize(SNodeCB_t *node, std::uint64_t *size) {
  return traced(Fn::sntrReturnRegisterSize, [&](const Trace &t) {
    if (node == nullptr) return t.fail(10, Rc::NullNode);
    if (size == nullptr) return t.fail(20, Rc::NullRegisterSizeOutput);
    return readSection(t, node, Held::No, [&] {
      if (Rc rc = checkCondition(node, kMaskActive); failed(rc)) return t.fail(30, rc);
      *size = kRegisterSize;
      return Rc::Ok;
    });
  });
}

std::uint32_t sntrActivateNode(SNodeCB_t **node) {
  return traced(Fn::sntrActivateNode, [&](const Trace &t) {
    if (node == nullptr || *node == nullptr) return t.fail(10, Rc::NullNode);
    return activateNode(t, *node);
  });
}

std::uint32_t sntrAbandonNode(SNodeCB_t **node) {
  return traced(Fn::sntrAbandonNode, [&](const Trace &t) {
    if (node == nullptr || *node == nullptr) return t.fail(10, Rc::NullNode);
    return changeCondition(t, *node, SNTR_CONDITION_ABANDONED);
  });
}

std::uint32_t sntrDisassociateNode(SNodeCB_t **node) {
  return traced(Fn::sntrDisassociateNode, [&](const Trace &t) {
    if (node == nullptr || *node == nullptr) return t.fail(10, Rc::NullNode);
    return changeCondition(t, *node, SNTR_CONDITION_DISASSOCIATED);
  });
}

}  // extern "C"
