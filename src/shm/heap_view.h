// SPDX-License-Identifier: MIT
// A heap opened for work: the addresses of its parts in this process, with every bound read once and checked.
//
// A view is made inside the heap's latch and discarded with it. Its node() is the one function that turns an offset of
// the skip lists into an address.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "shm/heap.h"
#include "shm/skip_area.h"
#include "shm/skip_list.h"

namespace sntr {

// The list of a node, as SkipNode::allocated holds it.
enum class Listed : std::uint32_t { Free = 0, Allocated = 1 };

struct HeapView {
  std::byte *base;
  HeapType type;
  std::uint64_t headerOffset;
  std::uint64_t total;       // of the heap, in bytes
  std::uint64_t areaStart;   // offset of the skip-list area
  std::uint64_t nodesLow;    // lowest offset of a node
  std::uint64_t blocksLow;   // first offset of managed space
  std::uint64_t end;         // offset after the last managed byte
  std::uint64_t places;      // multiples of 8 from nodesLow on at which a node of any level fits
  std::uint64_t steps;       // more hops than any list of the heap can need
  std::uint32_t levels;      // L
  std::uint64_t latchOwner;  // owner word of the heap's latch, see exitExclusive(); 0 if unknown
  HeapHeader *header;
  HeapTail *tail;
  SkipArea *area;
  NodeRef head;           // sentinels of the free list
  NodeRef last;           //
  NodeRef allocatedHead;  // of the allocated list

  const HeapTraits &traits() const { return traitsOf(type); }
  std::byte *at(std::uint64_t offset) const { return base + offset; }

  // Finds the live node of a list at an offset and reads its level once. Returns ChunkOutsideHeap if there can be none,
  // and for a node of the other list: upper links may lead there after a process died inside a change.
  Rc node(std::uint64_t offset, Listed list, NodeRef &out) const;

  // Finds the space of a node, live or dead, whatever its state.
  Rc nodeSpace(std::uint64_t offset, NodeRef &out) const;

  // Returns true if the bytes lie in managed space and could be a block of the lists.
  bool holdsBlock(std::uint64_t offset, std::uint64_t size) const {
    return size != 0 && isMultipleOf8(offset) && isMultipleOf8(size) && liesWithin(offset, size, blocksLow, end);
  }
};

// Reads the bounds of a heap: its stored offset, and sizes that must agree with one another and with the limit. The
// caller tests the eyecatcher. Returns the type's offsetMismatch; its notThis if it reaches beyond its memory;
// StoredUserAreaTooLarge; ChunkOutsideHeap for an impossible skip-list area.
Rc openHeap(const HeapRef &heap, HeapView &view);

// Reads only the parts before the skip-list area; the rest stays unset. Returns openHeap()'s codes except the area's.
Rc openHeader(const HeapRef &heap, HeapView &view);

// Change a counter of the heap; the caller holds its latch.
inline void addTo(std::uint64_t &word, std::uint64_t amount) {
  writeWord<std::uint64_t>(&word, readWord<std::uint64_t>(&word) + amount);
}
inline void takeFrom(std::uint64_t &word, std::uint64_t amount) {
  writeWord<std::uint64_t>(&word, readWord<std::uint64_t>(&word) - amount);
}

// States the change under way during its lifetime, then restores the previous word, which cannot fail.
class StatedIntent {
 public:
  StatedIntent(const HeapView &view, Intent intent, std::uint64_t offset)
      : word_(&view.area->intent), before_(readWord<std::uint64_t>(word_)) {
    publishWord<std::uint64_t>(word_, intentWord(intent, offset));
  }
  // Names the chunk in flight once it is known.
  void about(Intent intent, std::uint64_t offset) const {
    publishWord<std::uint64_t>(word_, intentWord(intent, offset));
  }
  ~StatedIntent() { publishWord<std::uint64_t>(word_, before_); }
  StatedIntent(const StatedIntent &) = delete;
  StatedIntent &operator=(const StatedIntent &) = delete;

 private:
  std::uint64_t *word_;
  std::uint64_t before_;
};

// Recognizes the usual nodes of a walk quickly: live, of one list, far enough from the heap's end to fit at any level,
// and no record of an extent. All other nodes need the full check. It copies the view's bounds, so that a walk keeps
// them in registers whatever it writes.
template <Listed list>
class PlainNodes {
 public:
  explicit PlainNodes(const HeapView &view)
      : base_(view.base), low_(view.nodesLow), places_(view.places), levels_(view.levels) {}

  bool contain(std::uint64_t offset, NodeRef &out) const {
    // The low bits of an uneven offset become high ones, so that one comparison detects them too.
    if (std::rotr(offset - low_, 3) >= places_) return false;
    std::byte *const at = base_ + offset;
    const SkipNode *const node = reinterpret_cast<const SkipNode *>(at);
    const std::uint64_t level = readWord<std::uint64_t>(&node->nodeLevel);
    if (level >= levels_ || readWord<std::uint64_t>(&node->state) != kLive) return false;
    out = NodeRef{at, offset, static_cast<std::uint32_t>(level)};
    return true;
  }
  std::uint32_t levels() const { return levels_; }

 private:
  // Both words of a live node's state, in one.
  static constexpr std::uint64_t kLive = static_cast<std::uint64_t>(list) << 32 | kNodeLive;
  static_assert(offsetof(SkipNode, allocated) == offsetof(SkipNode, state) + sizeof(std::uint32_t));

  std::byte *base_;
  std::uint64_t low_;
  std::uint64_t places_;
  std::uint32_t levels_;
};

// The free list as a space of nodes: two orders over the same nodes and one current level.
class FreeSpace {
 public:
  explicit FreeSpace(const HeapView &view) : view_(&view), plain_(view) {}
  Rc node(std::uint64_t offset, NodeRef &out) const {
    if (plain_.contain(offset, out)) [[likely]]
      return Rc::Ok;
    NodeRef other{};
    const Rc rc = unusual(*view_, offset, other);
    out = other;
    return rc;
  }
  // Prefetches a node that a walk may reach. Any offset will do: nothing is read, and no address is refused. It adds
  // numbers, because the sum need not be an address of this process.
  void expect(std::uint64_t offset) const {
    __builtin_prefetch(reinterpret_cast<const void *>(reinterpret_cast<std::uintptr_t>(view_->base) + offset));
  }
  const NodeRef &head() const { return view_->head; }
  const NodeRef &end() const { return view_->last; }
  std::uint32_t levels() const { return plain_.levels(); }
  std::uint32_t currentLevel() const { return static_cast<std::uint32_t>(readWord<std::uint64_t>(levelWord())); }
  void setCurrentLevel(std::uint32_t level) const { writeWord<std::uint64_t>(levelWord(), level); }
  std::uint64_t maxSteps() const { return view_->steps; }
  Rc damage() const { return Rc::ChunkOutsideHeap; }

 private:
  // Returns a sentinel, or the result of view.node().
  static Rc unusual(const HeapView &view, std::uint64_t offset, NodeRef &out);
  void *levelWord() const { return view_->at(view_->areaStart + freeLevelAt(view_->levels)); }

  const HeapView *view_;
  PlainNodes<Listed::Free> plain_;
};

// The allocated list as a space of nodes.
class AllocatedSpace {
 public:
  explicit AllocatedSpace(const HeapView &view) : view_(&view), plain_(view) {}
  Rc node(std::uint64_t offset, NodeRef &out) const {
    if (plain_.contain(offset, out)) [[likely]]
      return Rc::Ok;
    NodeRef other{};
    const Rc rc = view_->node(offset, Listed::Allocated, other);
    out = other;
    return rc;
  }
  const NodeRef &head() const { return view_->allocatedHead; }
  NodeRef end() const { return NodeRef{}; }
  std::uint32_t levels() const { return plain_.levels(); }
  std::uint32_t currentLevel() const {
    return static_cast<std::uint32_t>(readWord<std::uint64_t>(&view_->area->allocatedLevel));
  }
  void setCurrentLevel(std::uint32_t level) const { writeWord<std::uint64_t>(&view_->area->allocatedLevel, level); }
  std::uint64_t maxSteps() const { return view_->steps; }
  Rc damage() const { return Rc::ChunkOutsideHeap; }

 private:
  const HeapView *view_;
  PlainNodes<Listed::Allocated> plain_;
};

using FreeByOffset = SkipList<ByOffset, FreeSpace>;
using FreeBySize = SkipList<BySize, FreeSpace>;
using Allocated = SkipList<ByChunk, AllocatedSpace>;

}  // namespace sntr
