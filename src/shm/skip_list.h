// SPDX-License-Identifier: MIT
// A skip list over an order: search, link and unlink, written once.
//
// The order names the links and the key; the space resolves offsets to nodes. The same code keeps the free blocks by
// offset, the free blocks by size and the allocated list.
//
// A Space provides
//     Rc node(std::uint64_t offset, NodeRef &out)   the checked node at an offset (a sentinel by its identity)
//     NodeRef head(), end()                         end() may be "no node", whose offset is 0
//     std::uint32_t levels()                        links that the head has
//     std::uint32_t currentLevel(), void setCurrentLevel(std::uint32_t)
//     std::uint64_t maxSteps()                      more hops than a whole list can need
//     Rc damage()                                   the code for an impossible list
//
// Searches change nothing and may fail; link and unlink follow a search and cannot fail. So an operation that searches
// first makes all of its change or none.
//
// Thread safety: the caller holds the latch that guards the list.
#pragma once

#include <cstdint>

#include "layout/rc.h"
#include "shm/heap_header.h"
#include "shm/skip_node.h"
#include "shm/work_count.h"

namespace sntr {

struct ByOffset {
  static constexpr Links kForward = Links::OffsetForward;
  static constexpr Links kBackward = Links::OffsetBackward;
  static constexpr bool kHasBackward = true;
  static std::uint64_t key(const NodeRef &node) { return node.blockOffset(); }
};

struct BySize {
  static constexpr Links kForward = Links::SizeForward;
  static constexpr Links kBackward = Links::SizeBackward;
  static constexpr bool kHasBackward = true;
  static std::uint64_t key(const NodeRef &node) { return node.blockSize(); }
};

// The allocated list: by offset, forward only.
struct ByChunk {
  static constexpr Links kForward = Links::OffsetForward;
  static constexpr Links kBackward = Links::OffsetForward;
  static constexpr bool kHasBackward = false;
  static std::uint64_t key(const NodeRef &node) { return node.blockOffset(); }
};

// A splice: the nodes before and after a node or a key, level by level.
struct Splice {
  NodeRef before[kMaxSkipLevels];
  NodeRef after[kMaxSkipLevels];
};

template <class Order, class Space>
class SkipList {
 public:
  explicit SkipList(const Space &space) : space_(space) {}

  // Finds the splice of a key at every level: after the last node with a lower key, before the first with no lower one.
  Rc find(std::uint64_t key, Splice &splice) const { return find(key, space_.levels() - 1, splice); }

  // Does so up to a level and writes nothing above it. Inlined, so that the space's bounds stay in registers.
  [[gnu::always_inline]] Rc find(std::uint64_t key, std::uint32_t upTo, Splice &splice) const {
    const std::uint32_t top = space_.currentLevel();
    if (top >= space_.levels()) return space_.damage();
    for (std::uint32_t i = top + 1; i <= upTo; ++i) {
      splice.before[i] = space_.head();
      splice.after[i] = space_.end();
    }
    NodeRef here = space_.head();
    NodeRef ahead = space_.end();  // not lower; at first from the level above
    std::uint64_t steps = space_.maxSteps();
    for (std::uint32_t i = top;;) {
      bool goesOn = false;
      if (Rc rc = look(key, i, here, ahead, goesOn); failed(rc)) return rc;
      if (goesOn) {
        if (steps-- == 0) return space_.damage();
        continue;
      }
      if (i <= upTo) {
        splice.before[i] = here;
        splice.after[i] = ahead;
      }
      if (i-- == 0) return Rc::Ok;
    }
  }

  // Finds the first node whose key is not lower.
  Rc findFirst(std::uint64_t key, NodeRef &node) const {
    Splice splice;
    if (Rc rc = find(key, 0, splice); failed(rc)) return rc;
    node = splice.after[0];
    return Rc::Ok;
  }

  // Reads the splice of a linked node from its own links, each verified to point back.
  Rc spliceOf(const NodeRef &node, Splice &splice) const requires Order::kHasBackward {
    for (std::uint32_t i = 0; i <= node.level; ++i) {
      if (Rc rc = reach(node, Order::kBackward, i, splice.before[i]); failed(rc)) return rc;
      if (Rc rc = reach(node, Order::kForward, i, splice.after[i]); failed(rc)) return rc;
      const bool meet = splice.before[i].readLink(Order::kForward, i) == node.offset &&
                        splice.after[i].readLink(Order::kBackward, i) == node.offset;
      if (!meet) return space_.damage();
    }
    return Rc::Ok;
  }

  // Does so, but takes the nodes before from a search that found them up to a level. Falls back to spliceOf() if the
  // node does not fit that search.
  Rc spliceFrom(const NodeRef &node, const Splice &found, std::uint32_t known,
                Splice &splice) const requires Order::kHasBackward {
    if (node.level > known) return spliceOf(node, splice);
    for (std::uint32_t i = 0; i <= node.level; ++i) {
      splice.before[i] = found.before[i];
      if (Rc rc = reach(node, Order::kForward, i, splice.after[i]); failed(rc)) return rc;
      const bool meet = found.after[i] == node && node.readLink(Order::kBackward, i) == found.before[i].offset &&
                        splice.after[i].readLink(Order::kBackward, i) == node.offset;
      if (!meet) return spliceOf(node, splice);
    }
    return Rc::Ok;
  }

  // Extends a splice that is known up to level `known` to the levels above, by walking back to higher nodes.
  Rc extendUp(std::uint32_t known, std::uint32_t wanted, Splice &splice) const requires Order::kHasBackward {
    std::uint64_t steps = space_.maxSteps();
    for (std::uint32_t i = known + 1; i <= wanted; ++i) {
      NodeRef at = splice.before[i - 1];
      while (at.level < i) {
        if (steps-- == 0) return space_.damage();
        if (Rc rc = reach(at, Order::kBackward, at.level, at); failed(rc)) return rc;
      }
      splice.before[i] = at;
      if (Rc rc = reach(at, Order::kForward, i, splice.after[i]); failed(rc)) return rc;
    }
    return Rc::Ok;
  }

  // Links a node, whose own fields are written, into a splice. The node is complete before the level-0 link publishes
  // it; the upper levels only speed up searches.
  void link(const NodeRef &node, const Splice &splice) const {
    for (std::uint32_t i = 0; i <= node.level; ++i) {
      node.writeLink(Order::kForward, i, splice.after[i].offset);
      if constexpr (Order::kHasBackward) node.writeLink(Order::kBackward, i, splice.before[i].offset);
    }
    for (std::uint32_t i = 0; i <= node.level; ++i) {
      if constexpr (Order::kHasBackward) splice.after[i].writeLink(Order::kBackward, i, node.offset);
      publishWord<std::uint64_t>(splice.before[i].link(Order::kForward, i), node.offset);
    }
    if (node.level > space_.currentLevel()) space_.setCurrentLevel(node.level);
  }

  // Unlinks a node from its splice. Level 0 goes first: that store removes the node.
  void unlink(const NodeRef &node, const Splice &splice) const {
    for (std::uint32_t i = 0; i <= node.level; ++i) {
      publishWord<std::uint64_t>(splice.before[i].link(Order::kForward, i), splice.after[i].offset);
      if constexpr (Order::kHasBackward) splice.after[i].writeLink(Order::kBackward, i, splice.before[i].offset);
    }
  }

  // Lowers the current level while its list is empty. Called once a node is unlinked from both orders.
  void settleLevel() const {
    std::uint32_t top = space_.currentLevel();
    if (top >= space_.levels()) return;  // damaged; the next search reports it
    while (top > 0 && space_.head().readLink(Order::kForward, top) == space_.end().offset) --top;
    if (top != space_.currentLevel()) space_.setCurrentLevel(top);
  }

 private:
  // Examines the next node of a level: moves on to it if its key is lower, otherwise makes it the one ahead.
  [[gnu::always_inline]] Rc look(std::uint64_t key, std::uint32_t i, NodeRef &here, NodeRef &ahead,
                                 bool &goesOn) const {
    const std::uint64_t next = here.readLink(Order::kForward, i);
    if (next == ahead.offset) return Rc::Ok;
    if (next == space_.end().offset) {
      ahead = space_.end();
      return Rc::Ok;
    }
    expect(here, next, i);
    NodeRef node;
    if (Rc rc = visit(next, i, node); failed(rc)) return rc;
    goesOn = Order::key(node) < key;
    (goesOn ? here : ahead) = node;
    return Rc::Ok;
  }

  // Prefetches for the walk: the far links of a long node, and the next node of the level below in case this one is not
  // lower. The link is read again, and checked, when it is used.
  [[gnu::always_inline]] void expect(const NodeRef &here, std::uint64_t next, std::uint32_t i) const {
    if constexpr (requires { space_.expect(next); }) {
      if constexpr (Order::kForward == Links::SizeForward) space_.expect(next + skipNodeSize(0) - 2 * kWordSize);
      if (i > 0) space_.expect(here.readLink(Order::kForward, i - 1));
    }
  }

  Rc reach(const NodeRef &from, Links array, std::uint32_t i, NodeRef &to) const {
    return visit(from.readLink(array, i), i, to);
  }

  // Returns the node of a link of level i; it must have that level.
  Rc visit(std::uint64_t offset, std::uint32_t i, NodeRef &to) const {
    countLink();
    if (Rc rc = space_.node(offset, to); failed(rc)) return rc;
    return to.level >= i ? Rc::Ok : space_.damage();
  }

  const Space &space_;
};

}  // namespace sntr
