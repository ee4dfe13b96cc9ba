// A skip list over an order: search, link and unlink, written once.
//
// The order says which links it uses and what the key is; the space says where the list's nodes are. The same code
// keeps the free blocks by offset, the free blocks by size and the record of allocated chunks, and runs on a toy array
// in a test.
//
// A Space provides
//     Rc node(std::uint64_t offset, NodeRef &out)   the checked node at an offset (a sentinel is known by identity)
//     NodeRef head(), end()                         end() may be "no node", whose offset is 0
//     std::uint32_t levels()                        links that the head has
//     std::uint32_t currentLevel(), void setCurrentLevel(std::uint32_t)
//     std::uint64_t maxSteps()                      more hops than a whole list can need
//     Rc damage()                                   what to answer for a list that cannot be
//
// Searches change nothing and may fail; link and unlink follow a search and cannot fail. So an operation that searches
// first either does all of its change or none. The caller holds the latch that guards the list.
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

// The record of allocated chunks: by offset, forward only.
struct ByChunk {
  static constexpr Links kForward = Links::OffsetForward;
  static constexpr Links kBackward = Links::OffsetForward;
  static constexpr bool kHasBackward = false;
  static std::uint64_t key(const NodeRef &node) { return node.blockOffset(); }
};

// Between which nodes something stands, or is to stand, at each level.
struct Place {
  NodeRef before[kMaxSkipLevels];
  NodeRef after[kMaxSkipLevels];
};

template <class Order, class Space>
class SkipList {
 public:
  explicit SkipList(const Space &space) : space_(space) {}

  // The place of a key at every level: behind the last node whose key is lower, before the first whose key is not.
  Rc find(std::uint64_t key, Place &place) const { return find(key, space_.levels() - 1, place); }

  // The same up to a level; above it nothing is written. Inlined, so that the space's bounds stay in registers.
  [[gnu::always_inline]] Rc find(std::uint64_t key, std::uint32_t upTo, Place &place) const {
    const std::uint32_t top = space_.currentLevel();
    if (top >= space_.levels()) return space_.damage();
    for (std::uint32_t i = top + 1; i <= upTo; ++i) {
      place.before[i] = space_.head();
      place.after[i] = space_.end();
    }
    NodeRef here = space_.head();
    NodeRef ahead = space_.end();  // the node known not to be lower, from the level above at first
    std::uint64_t steps = space_.maxSteps();
    for (std::uint32_t i = top;;) {
      bool goesOn = false;
      if (Rc rc = look(key, i, here, ahead, goesOn); failed(rc)) return rc;
      if (goesOn) {
        if (steps-- == 0) return space_.damage();
        continue;
      }
      if (i <= upTo) {
        place.before[i] = here;
        place.after[i] = ahead;
      }
      if (i-- == 0) return Rc::Ok;
    }
  }

  // The first node whose key is not lower.
  Rc seek(std::uint64_t key, NodeRef &node) const {
    Place place;
    if (Rc rc = find(key, 0, place); failed(rc)) return rc;
    node = place.after[0];
    return Rc::Ok;
  }

  // The place of a linked node from its own links, each verified to point back here.
  Rc around(const NodeRef &node, Place &place) const requires Order::kHasBackward {
    for (std::uint32_t i = 0; i <= node.level; ++i) {
      if (Rc rc = reach(node, Order::kBackward, i, place.before[i]); failed(rc)) return rc;
      if (Rc rc = reach(node, Order::kForward, i, place.after[i]); failed(rc)) return rc;
      const bool meet = place.before[i].readLink(Order::kForward, i) == node.offset &&
                        place.after[i].readLink(Order::kBackward, i) == node.offset;
      if (!meet) return space_.damage();
    }
    return Rc::Ok;
  }

  // The same where a search, up to a level, has just met what is before the node. What does not fit that search is left
  // to the node's own links.
  Rc behind(const NodeRef &node, const Place &found, std::uint32_t known,
            Place &place) const requires Order::kHasBackward {
    if (node.level > known) return around(node, place);
    for (std::uint32_t i = 0; i <= node.level; ++i) {
      place.before[i] = found.before[i];
      if (Rc rc = reach(node, Order::kForward, i, place.after[i]); failed(rc)) return rc;
      const bool meet = found.after[i] == node && node.readLink(Order::kBackward, i) == found.before[i].offset &&
                        place.after[i].readLink(Order::kBackward, i) == node.offset;
      if (!meet) return around(node, place);
    }
    return Rc::Ok;
  }

  // Extends a place that is known up to level `known` to the levels above, by walking back to higher nodes.
  Rc climb(std::uint32_t known, std::uint32_t wanted, Place &place) const requires Order::kHasBackward {
    std::uint64_t steps = space_.maxSteps();
    for (std::uint32_t i = known + 1; i <= wanted; ++i) {
      NodeRef at = place.before[i - 1];
      while (at.level < i) {
        if (steps-- == 0) return space_.damage();
        if (Rc rc = reach(at, Order::kBackward, at.level, at); failed(rc)) return rc;
      }
      place.before[i] = at;
      if (Rc rc = reach(at, Order::kForward, i, place.after[i]); failed(rc)) return rc;
    }
    return Rc::Ok;
  }

  // Links a node, whose own fields are written, into a place. The node is complete before the level-0 link makes it
  // exist; the upper levels only speed up searches.
  void link(const NodeRef &node, const Place &place) const {
    for (std::uint32_t i = 0; i <= node.level; ++i) {
      node.writeLink(Order::kForward, i, place.after[i].offset);
      if constexpr (Order::kHasBackward) node.writeLink(Order::kBackward, i, place.before[i].offset);
    }
    for (std::uint32_t i = 0; i <= node.level; ++i) {
      if constexpr (Order::kHasBackward) place.after[i].writeLink(Order::kBackward, i, node.offset);
      publishWord<std::uint64_t>(place.before[i].link(Order::kForward, i), node.offset);
    }
    if (node.level > space_.currentLevel()) space_.setCurrentLevel(node.level);
  }

  // Unlinks a node that stands in this place. Level 0 goes first: that store is what ends it.
  void unlink(const NodeRef &node, const Place &place) const {
    for (std::uint32_t i = 0; i <= node.level; ++i) {
      publishWord<std::uint64_t>(place.before[i].link(Order::kForward, i), place.after[i].offset);
      if constexpr (Order::kHasBackward) place.after[i].writeLink(Order::kBackward, i, place.before[i].offset);
    }
  }

  // Lowers the current level while its list is empty. Called once both orders of a node were unlinked.
  void settleLevel() const {
    std::uint32_t top = space_.currentLevel();
    if (top >= space_.levels()) return;  // damaged; the next search says so
    while (top > 0 && space_.head().readLink(Order::kForward, top) == space_.end().offset) --top;
    if (top != space_.currentLevel()) space_.setCurrentLevel(top);
  }

 private:
  // Looks at the next node of a level: goes on to it where its key is lower, else it is the one ahead.
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

  // Fetches what a walk will need next: the far links of a long node, and the next node of the level below should this
  // one not be lower. Only fetched here: the link is read anew, and checked, when its turn comes.
  [[gnu::always_inline]] void expect(const NodeRef &here, std::uint64_t next, std::uint32_t i) const {
    if constexpr (requires { space_.expect(next); }) {
      if constexpr (Order::kForward == Links::SizeForward) space_.expect(next + skipNodeSize(0) - 2 * kWordSize);
      if (i > 0) space_.expect(here.readLink(Order::kForward, i - 1));
    }
  }

  Rc reach(const NodeRef &from, Links array, std::uint32_t i, NodeRef &to) const {
    return visit(from.readLink(array, i), i, to);
  }

  // The node that a link of level i leads to; it must reach up to that level.
  Rc visit(std::uint64_t offset, std::uint32_t i, NodeRef &to) const {
    countLink();
    if (Rc rc = space_.node(offset, to); failed(rc)) return rc;
    return to.level >= i ? Rc::Ok : space_.damage();
  }

  const Space &space_;
};

}  // namespace sntr
