// SPDX-License-Identifier: MIT
// The exported actions on trees: their checks, and the entry that a freed top leaves in its parent.
// Thread safety: as status_walk.h.
#include <sntr/status.h>

#include "frame/section.h"
#include "tree/conditions.h"
#include "tree/dependents.h"
#include "tree/status_walk.h"

namespace sntr {

namespace {

// Masks of the check of the top's condition. Both let active nodes and those that are only created pass.
constexpr std::uint32_t kMaskTopToDisclaim = 0x3e;
constexpr std::uint32_t kMaskTop = 0x2e;

constexpr std::uint64_t kTopDepth = 1;

Rc checkTop(const Trace &t, SNodeCB_t *top, std::uint32_t action) {
  const std::uint32_t mask = action == SNTR_ACTION_DISCLAIM ? kMaskTopToDisclaim : kMaskTop;
  return readSection(t, top, Held::No, [&] { return t.fail(12, checkCondition(top, mask)); });
}

bool concernsParent(const SNodeCB_t *top, const StatusOrder &order) {
  const bool asked = order.action == SNTR_ACTION_DISCLAIM && (order.mask & SNTR_MASK_PARENTS_ENTRY) != 0;
  return asked && (loadField(top->nodeOptions) & SNTR_OPTION_NODE_INFO) != 0;
}

// Finds the parent first: after the top is freed, nothing leads to it.
Rc applyFromTop(const Trace &t, const StatusOrder &order, SNodeCB_t *top) {
  SNodeCB_t *parent = nullptr;
  Dependent entry{};
  if (concernsParent(top, order)) {
    if (Rc rc = findParent(top, order.info, parent, entry); failed(rc)) return t.fail(14, rc);
  }
  const Rc done = applyToTree(t, order, kTopDepth, top);
  if (parent == nullptr) return done;
  Rc removed = top == nullptr ? removeDependentEntry(parent, entry) : Rc::Ok;
  if (removed == Rc::NoSuchDependent) removed = Rc::Ok;
  const Rc released = firstFailure(removed, releaseDependent(entry));
  return firstFailure(done, t.fail(15, released));
}

}  // namespace

}  // namespace sntr

using namespace sntr;

extern "C" {

std::uint32_t sntrSetNodeStatusRecursively(SNodeCB_t **node, const ShmSegInfo_t *info, const void * /*parentInfo*/,
                                           std::uint32_t reserved, std::uint32_t action, std::uint32_t mask,
                                           std::uint32_t depth, std::uint64_t limit) {
  return traced(Fn::sntrSetNodeStatusRecursively, [&](const Trace &t) {
    if (node == nullptr || *node == nullptr) return t.fail(10, Rc::NullNode);
    const bool withDependents = (mask & SNTR_MASK_NODE_ALONE) == 0 || reserved == 0;
    return applyToTree(t, StatusOrder{info, action, mask, withDependents, limit}, depth, *node);
  });
}

std::uint32_t sntrSetStatusForEachNodeInATree(SNodeCB_t *top, const ShmSegInfo_t *info, std::uint64_t limit,
                                              std::uint32_t action, std::uint32_t mask) {
  return traced(Fn::sntrSetStatusForEachNodeInATree, [&](const Trace &t) {
    if (top == nullptr) return t.fail(10, Rc::NullNode);
    if (info == nullptr) return t.fail(11, Rc::NullKey);
    if (Rc rc = checkTop(t, top, action); failed(rc)) return rc;
    if (limit > SNTR_MAX_TREE_LEVELS) return t.fail(13, Rc::LimitTooLarge);
    return applyFromTop(t, StatusOrder{info, action, mask, true, limit}, top);
  });
}

}  // extern "C"
