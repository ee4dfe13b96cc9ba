// SPDX-License-Identifier: MIT
// A heap of another format, for comparison: see OneOrderHeap.
#pragma once

#include <sys/mman.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <vector>

#include "support/chance.h"
#include "support/work.h"

namespace bench::floor {

// The least work of best fit over a skip list: a latch, a search for the fit, one for each insertion, and the splice. A
// block finds its neighbours by its own size and the one before it. Nothing is checked, and nothing could mend the heap
// of a dead writer. Nodes stand apart from the blocks, because the least block is too small for a node.
//
// Thread safety: any thread of one process; the list of spare nodes is private.
class OneOrderHeap {
 public:
  OneOrderHeap(std::uint64_t bytes, std::uint32_t live)
      : bytes_(bytes), nodeCount_(live + 3), mapped_(bytes_ + nodeCount_ * sizeof(Node)) {
    void *const at = mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    require(at != MAP_FAILED, "no memory");
    nodes_ = static_cast<Node *>(at);
    blocks_ = static_cast<char *>(at) + nodeCount_ * sizeof(Node);
    nodes_[kTail].size = ~std::uint32_t{0};
    for (std::uint32_t &next : nodes_[kHead].forward) next = kTail;
    for (std::uint32_t i = 2; i < nodeCount_; ++i) spare_.push_back(i);
    block(0)->size = static_cast<std::uint32_t>(bytes_ - 2 * sizeof(Block)) & ~15U;
    block(block(0)->size)->before = block(0)->size;
    enter(newNode(), 0, block(0)->size);
  }
  ~OneOrderHeap() { munmap(nodes_, mapped_); }
  OneOrderHeap(const OneOrderHeap &) = delete;
  OneOrderHeap &operator=(const OneOrderHeap &) = delete;

  void *take(std::uint64_t size) {
    latch();
    // Rounds up to whole headers, so that the rest has room for one.
    const auto n = static_cast<std::uint32_t>((size + 2 * sizeof(Block) - 1) / sizeof(Block) * sizeof(Block));
    std::uint32_t before[kLevels];
    const std::uint32_t fit = search(n, before);
    if (fit == kTail) {
      unlatch();
      return nullptr;
    }
    const std::uint32_t offset = nodes_[fit].offset;
    const std::uint32_t rest = nodes_[fit].size - n;
    leave(fit);
    Block *const taken = block(offset + rest);
    if (rest != 0) {
      enter(fit, offset, rest);
      taken->before = rest;
    } else {
      spare_.push_back(fit);
    }
    taken->size = n;
    taken->node = kNone;
    block(offset + rest + n)->before = n;
    unlatch();
    return taken + 1;
  }
  bool giveBack(void *at) {
    latch();
    const Block *const freed = static_cast<Block *>(at) - 1;
    auto offset = static_cast<std::uint32_t>(reinterpret_cast<const char *>(freed) - blocks_);
    std::uint32_t size = freed->size;
    std::uint32_t node = kNone;
    if (const Block *const after = block(offset + size); after->node != kNone) {
      node = after->node;
      size += after->size;
      leave(node);
    }
    if (freed->before != 0 && block(offset - freed->before)->node != kNone) {
      if (node != kNone) spare_.push_back(node);
      offset -= freed->before;
      node = block(offset)->node;
      size += block(offset)->size;
      leave(node);
    }
    enter(node != kNone ? node : newNode(), offset, size);
    block(offset + size)->before = size;
    unlatch();
    return true;
  }

 private:
  static constexpr std::uint32_t kLevels = 15;
  static constexpr std::uint32_t kHead = 0;
  static constexpr std::uint32_t kTail = 1;
  static constexpr std::uint32_t kNone = 0;  // the node of an allocated block
  struct Node {
    std::uint32_t size;
    std::uint32_t offset;
    std::uint32_t level;
    std::uint32_t forward[kLevels];
    std::uint32_t backward[kLevels];
  };
  struct Block {
    std::uint32_t before;  // size of the block before
    std::uint32_t size;
    std::uint32_t node;
    std::uint32_t unused;
  };

  Block *block(std::uint32_t offset) const { return reinterpret_cast<Block *>(blocks_ + offset); }
  void latch() {
    while (__atomic_exchange_n(&nodes_[kTail].level, 1U, __ATOMIC_ACQUIRE) != 0) continue;
  }
  void unlatch() { __atomic_exchange_n(&nodes_[kTail].level, 0U, __ATOMIC_RELEASE); }

  // Returns the first node of at least this size. Fills `before` up to the list's current level.
  std::uint32_t search(std::uint32_t size, std::uint32_t *before) const {
    std::uint32_t here = kHead;
    for (std::uint32_t i = top_ + 1; i-- > 0;) {
      while (nodes_[nodes_[here].forward[i]].size < size) here = nodes_[here].forward[i];
      before[i] = here;
    }
    return nodes_[here].forward[0];
  }
  std::uint32_t newNode() {
    const std::uint32_t node = spare_.back();
    spare_.pop_back();
    const auto rise = static_cast<std::uint32_t>(std::countr_one(chance_.below(1U << (kLevels - 1))));
    nodes_[node].level = std::min(rise, top_ + 1);
    return node;
  }
  void enter(std::uint32_t node, std::uint32_t offset, std::uint32_t size) {
    Node &entered = nodes_[node];
    std::uint32_t before[kLevels];
    search(size, before);
    entered.offset = offset;
    entered.size = size;
    if (entered.level > top_) before[top_ = entered.level] = kHead;
    for (std::uint32_t i = 0; i <= entered.level; ++i) {
      const std::uint32_t after = nodes_[before[i]].forward[i];
      entered.forward[i] = after;
      entered.backward[i] = before[i];
      nodes_[before[i]].forward[i] = node;
      nodes_[after].backward[i] = node;
    }
    block(offset)->size = size;
    block(offset)->node = node;
  }
  void leave(std::uint32_t node) {
    const Node &left = nodes_[node];
    for (std::uint32_t i = 0; i <= left.level; ++i) {
      nodes_[left.backward[i]].forward[i] = left.forward[i];
      nodes_[left.forward[i]].backward[i] = left.backward[i];
    }
  }

  std::size_t bytes_;
  std::size_t nodeCount_;
  std::size_t mapped_;
  Node *nodes_ = nullptr;
  char *blocks_ = nullptr;
  std::vector<std::uint32_t> spare_;
  Chance chance_;
  std::uint32_t top_ = 0;
};

}  // namespace bench::floor
