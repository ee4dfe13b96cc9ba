// SPDX-License-Identifier: MIT
// Liveness: the owner refreshes a node, and an observer checks for refreshes; and the count of structural changes.
//
// Thread safety: any thread. A refresh runs in a write section of the node. A look takes no latch and stores nothing in
// the node: it reads each word once, so observers never delay the owner.
#include "tree/liveness.h"

#include <oss/identity.h>

#include "frame/cells.h"
#include "frame/section.h"
#include "layout/words.h"
#include "tree/observer.h"

namespace sntr {

namespace {

// Returns the code that refuses a node without liveness; Ok for an active one.
Rc livenessRefusal(const SNodeCB_t *node) {
  switch (loadField(node->nodeCondition)) {
    case SNTR_CONDITION_CREATED:
      return Rc::UpdateOfCreated;
    case SNTR_CONDITION_INITIALIZED:
      return Rc::UpdateOfInitialized;
    case SNTR_CONDITION_ACTIVE:
      return Rc::Ok;
    case SNTR_CONDITION_ABANDONED:
      return Rc::UpdateOfAbandoned;
    case SNTR_CONDITION_DISASSOCIATED:
      return Rc::UpdateOfDisassociated;
    default:
      return Rc::ConditionOutOfRange;
  }
}

Rc refresh(SNodeCB_t *node) {
  if (Rc rc = livenessRefusal(node); failed(rc)) return rc;
  switch (loadField(node->statusMode)) {
    case SNTR_LIVENESS_COUNTER:
      return node->updateCounter.increment(nullptr) == 0 ? Rc::Ok : Rc::AtomicFailed;
    case SNTR_LIVENESS_TIME:
      storeField(node->nodeTime, ossTimeGetUTC());
      return Rc::Ok;
    default:
      return Rc::BadLivenessMode;
  }
}

// Compares for a different value, not a larger one: the counter wraps.
Rc lookByCounter(SNodeCB_t *node, SNodeObserver &observer) {
  const std::int32_t now = readCell(&node->updateCounter);
  return now == readCell(&observer.lookCounter) ? Rc::NotUpdatedSinceLook : writeCell(&observer.lookCounter, now);
}

// A refresh in the future means that the clock stepped back since: then no time has passed.
Rc lookByTime(const SNodeCB_t *node, SNodeObserver &observer) {
  const std::uint64_t now = ossTimeGetUTC();
  const std::uint64_t refreshed = loadField(node->nodeTime);
  const std::uint64_t elapsed = now > refreshed ? now - refreshed : 0;
  if (elapsed > std::uint64_t{2} * loadField(node->updateInterval)) return Rc::OwnerLate;
  observer.lookTime = now;
  return Rc::Ok;
}

Rc look(SNodeCB_t *node, SNodeObserver &observer) {
  if (Rc rc = livenessRefusal(node); failed(rc)) return rc;
  switch (observer.livenessMode) {
    case SNTR_LIVENESS_COUNTER:
      return lookByCounter(node, observer);
    case SNTR_LIVENESS_TIME:
      return lookByTime(node, observer);
    default:
      return Rc::BadLivenessMode;
  }
}

}  // namespace

Rc refreshNode(const Trace &t, SNodeCB_t *node) {
  return writeSection(t, node, Held::No, [&] { return t.fail(21, refresh(node)); });
}

}  // namespace sntr

using namespace sntr;

extern "C" {

std::uint32_t sntrUpdateNodeStatus(SNodeCB_t *node) {
  return traced(Fn::sntrUpdateNodeStatus, [&](const Trace &t) {
    if (node == nullptr) return t.fail(10, Rc::NullNode);
    return refreshNode(t, node);
  });
}

std::uint32_t sntrIsStillBeingUpdated(SNodeCB_t *node, SNodeObserver *observer) {
  return traced(Fn::sntrIsStillBeingUpdated, [&](const Trace &t) {
    if (node == nullptr) return t.fail(10, Rc::NullNode);
    if (observer == nullptr) return t.fail(20, Rc::NullObserver);
    return t.fail(30, look(node, *observer));
  });
}

std::uint32_t sntrGetNodeReconfigCounter(SNodeCB_t *node, std::int64_t *counter) {
  return traced(Fn::sntrGetNodeReconfigCounter, [&](const Trace &t) {
    if (node == nullptr) return t.fail(10, Rc::NullNode);
    if (counter == nullptr) return t.fail(20, Rc::NullOutput);
    *counter = readCell(&node->reconfigCounter);
    return Rc::Ok;
  });
}

}  // extern "C"
