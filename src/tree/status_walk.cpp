// SPDX-License-Identifier: MIT
// See status_walk.h.
//
// The way down is kept in private memory, a small block per level, not on the stack: a tree may be 0x8000 levels deep,
// and a damaged one has no end.
// Invariant: the levels form a chain from the innermost to the top. Each but the top holds an attached dependent of the
// next outer one's node.
#include "tree/status_walk.h"

#include <oss/memory.h>
#include <sntr/status.h>

#include <new>

#include "layout/version.h"
#include "tree/conditions.h"
#include "tree/dependents.h"
#include "tree/liveness.h"
#include "tree/node_life.h"

namespace sntr {

namespace {

constexpr char kSourceTag[] = "sntri";

// The steps of the actions trace as 20 to 24, under the function that walks; the walk as 30 to 41.

// Returns the bit by which an action selects every node. An unknown action has none, and so fails only for nodes
// selected by their condition.
constexpr std::uint32_t everyNodeBit(std::uint32_t action) {
  if (action == SNTR_ACTION_REFRESH) return SNTR_MASK_EVERY_REFRESH;
  return action >= SNTR_ACTION_ACTIVATE && action <= SNTR_ACTION_DISCLAIM ? SNTR_MASK_EVERY_NODE : 0;
}

Rc selects(const StatusOrder &order, const SNodeCB_t *node, bool &selected) {
  std::uint32_t condition = 0;
  if (Rc rc = readCondition(node, condition); failed(rc)) return rc;
  selected = (order.mask & (std::uint32_t{1} << condition | everyNodeBit(order.action))) != 0;
  return Rc::Ok;
}

Rc disclaim(const Trace &t, const StatusOrder &order, SNodeCB_t *&node) {
  if (order.info == nullptr) return t.fail(31, Rc::NullKey);
  return disclaimNode(t, node, order.info->pool, order.info->version);
}

Rc act(const Trace &t, const StatusOrder &order, SNodeCB_t *&node) {
  switch (order.action) {
    case SNTR_ACTION_ACTIVATE:
      return activateNode(t, node);
    case SNTR_ACTION_ABANDON:
      return changeCondition(t, node, SNTR_CONDITION_ABANDONED);
    case SNTR_ACTION_DISASSOCIATE:
      return changeCondition(t, node, SNTR_CONDITION_DISASSOCIATED);
    case SNTR_ACTION_DISCLAIM:
      return disclaim(t, order, node);
    case SNTR_ACTION_REFRESH:
      return refreshNode(t, node);
    default:
      return t.fail(32, Rc::BadStatusAction);
  }
}

// A dependent in one of these conditions cannot be attached; the walk continues behind it.
constexpr bool isPassedOver(Rc rc) {
  return rc == Rc::NodeOnlyInitialized || rc == Rc::NodeNotInitialized || rc == Rc::NodeDisassociated;
}

// Returns true if a code from a dependent's subtree ends the walk of its parent's dependents.
constexpr bool stops(Rc rc) { return failed(rc) && rc != Rc::NodeAbandoned; }

class TreeWalk {
 public:
  TreeWalk(const Trace &t, const StatusOrder &order) : t_(t), order_(order) {}

  // Acts on a node after everything below it. The code of a level goes to the next outer one.
  Rc run(SNodeCB_t *&top, std::uint64_t depth) {
    Rc last = enter(Dependent{top, 0, true, nullptr}, depth);
    while (inner_ != nullptr) {
      Dependent next{};
      const Rc found = stops(last) ? last : nextBelow(next);
      if (!failed(found) && next.node != nullptr) {
        last = descend(next);
        continue;
      }
      const Rc done = failed(found) ? found : applyToNode(t_, order_, inner_->self.node);
      if (inner_->outer == nullptr) top = inner_->self.node;
      last = leave(done);
    }
    return last;
  }

 private:
  struct Level {
    Level *outer;         // null at the top
    Dependent self;       // its node is null after it was freed
    std::uint64_t depth;  // as the caller counts
    std::uint64_t slot;   // of the next dependent to look at
  };

  Rc enter(const Dependent &self, std::uint64_t depth) {
    if (levels_ == SNTR_MAX_TREE_LEVELS) return t_.fail(33, Rc::LimitTooLarge);
    void *const memory = _ossMemAlloc(sizeof(Level), kSourceTag, __LINE__);
    if (memory == nullptr) return t_.fail(34, Rc::OssNoMemory);
    inner_ = new (memory) Level{inner_, self, depth, 0};
    ++levels_;
    return Rc::Ok;
  }

  Rc descend(const Dependent &dependent) {
    const Rc entered = enter(dependent, inner_->depth + 1);
    return failed(entered) ? firstFailure(entered, release(dependent)) : entered;
  }

  // Ends the innermost level: removes the entry of a freed dependent from its parent, and releases the dependent.
  Rc leave(Rc done) {
    Level *const level = inner_;
    inner_ = level->outer;
    --levels_;
    Rc rc = done;
    if (inner_ != nullptr) {
      if (level->self.node == nullptr) rc = firstFailure(rc, removeEntry(level->self));
      rc = firstFailure(rc, release(level->self));
    }
    return firstFailure(rc, t_.fail(35, static_cast<Rc>(_ossMemFree(level, kSourceTag, __LINE__))));
  }

  Rc removeEntry(const Dependent &freed) {
    const Rc rc = removeDependentEntry(inner_->self.node, freed);
    return rc == Rc::NoSuchDependent ? Rc::Ok : t_.fail(36, rc);
  }

  Rc release(const Dependent &dependent) { return t_.fail(37, releaseDependent(dependent)); }

  bool goesBelow() const {
    const bool has = (loadField(inner_->self.node->nodeOptions) & SNTR_OPTION_DEPENDENTS) != 0;
    return has && order_.withDependents && (order_.limit == 0 || inner_->depth < order_.limit);
  }

  // Finds the next dependent of the innermost level to descend to; a null node if there is none.
  Rc nextBelow(Dependent &next) {
    if (!goesBelow()) return Rc::Ok;
    for (;;) {
      if (++reached_ > kMostNodesWalked) return t_.fail(38, Rc::LimitTooLarge);
      next = Dependent{};
      const Rc rc = t_.fail(39, nextDependent(inner_->self.node, inner_->slot, next));
      if (isPassedOver(rc)) continue;
      if (failed(rc) || next.node == nullptr) return rc;
      bool goDown = false;
      if (Rc settled = settle(next, goDown); failed(settled)) return settled;
      if (goDown) return Rc::Ok;
    }
  }

  // Decides on an attached dependent: delete it now with all below it, descend to it, or else release it.
  Rc settle(const Dependent &next, bool &goDown) {
    if (order_.action == SNTR_ACTION_DISCLAIM) {
      bool selected = false;
      const Rc rc = t_.fail(40, selects(order_, next.node, selected));
      if (failed(rc)) return firstFailure(rc, release(next));
      if (selected) return t_.fail(41, deleteDependentAndSubtree(inner_->self.node, order_.info, next));
    }
    goDown = next.inSameSegment;
    return goDown ? Rc::Ok : release(next);
  }

  const Trace &t_;
  const StatusOrder &order_;
  Level *inner_ = nullptr;
  std::uint64_t levels_ = 0;
  std::uint64_t reached_ = 0;  // dependents visited in the whole walk
};

}  // namespace

Rc applyToNode(const Trace &t, const StatusOrder &order, SNodeCB_t *&node) {
  bool selected = false;
  if (Rc rc = selects(order, node, selected); failed(rc)) return t.fail(30, rc);
  return selected ? act(t, order, node) : Rc::Ok;
}

Rc applyToTree(const Trace &t, const StatusOrder &order, std::uint64_t depth, SNodeCB_t *&top) {
  return TreeWalk(t, order).run(top, depth);
}

}  // namespace sntr
