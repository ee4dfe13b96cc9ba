// A heap opened for work: where its parts are in this process, with every bound read once and checked.
//
// A view is made inside the heap's latch and thrown away with it. Its node() is the one function that turns an offset
// of the skip lists into an address.
#pragma once

#include <cstddef>
#include <cstdint>

#include "shm/heap.h"
#include "shm/skip_area.h"
#include "shm/skip_list.h"

namespace sntr {

// Which list a node is in; SkipNode::allocated holds it.
enum class Listed : std::uint32_t { Free = 0, Allocated = 1 };

struct HeapView {
  std::byte *base;
  HeapType type;
  std::uint64_t headerOffset;
  std::uint64_t total;      // of the heap, in bytes
  std::uint64_t areaStart;  // offset of the skip-list area
  std::uint64_t nodesLow;   // first offset at which a node may stand
  std::uint64_t blocksLow;  // first offset of managed space
  std::uint64_t end;        // behind the last managed byte
  std::uint32_t levels;     // L
  HeapHeader *header;
  HeapTail *tail;
  SkipArea *area;
  NodeRef head;           // sentinels of the free list
  NodeRef last;           //
  NodeRef allocatedHead;  // of the allocated list

  const HeapTraits &traits() const { return traitsOf(type); }
  std::byte *at(std::uint64_t offset) const { return base + offset; }

  // The live node of a list at an offset, its level read once. ChunkOutsideHeap where none can be, and for a node of
  // the other list: after a process died inside a change, links of the upper levels may still lead to it.
  Rc node(std::uint64_t offset, Listed list, NodeRef &out) const;

  // Space of a node, live or dead, without regard to its state.
  Rc nodeSpace(std::uint64_t offset, NodeRef &out) const;

  // True when the bytes lie in managed space and the block is one that the lists could hold.
  bool holdsBlock(std::uint64_t offset, std::uint64_t size) const {
    return size != 0 && isMultipleOf8(offset) && isMultipleOf8(size) && liesWithin(offset, size, blocksLow, end);
  }

  std::uint64_t maxSteps() const { return total / skipNodeSize(0) + 2 * kMaxSkipLevels; }
};

// Reads the bounds of a heap: its stored offset, and sizes that must agree with one another and with the limit. Whether
// it carries its eyecatcher is the caller's to test. The type's offsetMismatch, its notThis where it reaches beyond its
// memory, StoredUserAreaTooLarge, ChunkOutsideHeap for a skip-list area that cannot be.
Rc openHeap(const HeapRef &heap, HeapView &view);

// A counter of the heap, moved by the holder of its latch.
inline void addTo(std::uint64_t &word, std::uint64_t amount) {
  writeWord<std::uint64_t>(&word, readWord<std::uint64_t>(&word) + amount);
}
inline void takeFrom(std::uint64_t &word, std::uint64_t amount) {
  writeWord<std::uint64_t>(&word, readWord<std::uint64_t>(&word) - amount);
}

// States the change under way for as long as it lives; what was stated before comes back with its end. Nothing here can
// fail, so a destructor may do it.
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

// The free list as a space of nodes: two orders over the same nodes and one current level.
class FreeSpace {
 public:
  explicit FreeSpace(const HeapView &view) : view_(view) {}
  Rc node(std::uint64_t offset, NodeRef &out) const;
  const NodeRef &head() const { return view_.head; }
  const NodeRef &end() const { return view_.last; }
  std::uint32_t levels() const { return view_.levels; }
  std::uint32_t currentLevel() const { return static_cast<std::uint32_t>(readWord<std::uint64_t>(levelWord())); }
  void setCurrentLevel(std::uint32_t level) const { writeWord<std::uint64_t>(levelWord(), level); }
  std::uint64_t maxSteps() const { return view_.maxSteps(); }
  Rc damage() const { return Rc::ChunkOutsideHeap; }

 private:
  void *levelWord() const { return view_.at(view_.areaStart + freeLevelAt(view_.levels)); }
  const HeapView &view_;
};

// The allocated list as a space of nodes.
class AllocatedSpace {
 public:
  explicit AllocatedSpace(const HeapView &view) : view_(view) {}
  Rc node(std::uint64_t offset, NodeRef &out) const;
  const NodeRef &head() const { return view_.allocatedHead; }
  NodeRef end() const { return NodeRef{}; }
  std::uint32_t levels() const { return view_.levels; }
  std::uint32_t currentLevel() const {
    return static_cast<std::uint32_t>(readWord<std::uint64_t>(&view_.area->allocatedLevel));
  }
  void setCurrentLevel(std::uint32_t level) const { writeWord<std::uint64_t>(&view_.area->allocatedLevel, level); }
  std::uint64_t maxSteps() const { return view_.maxSteps(); }
  Rc damage() const { return Rc::ChunkOutsideHeap; }

 private:
  const HeapView &view_;
};

using FreeByOffset = SkipList<ByOffset, FreeSpace>;
using FreeBySize = SkipList<BySize, FreeSpace>;
using Allocated = SkipList<ByChunk, AllocatedSpace>;

}  // namespace sntr
