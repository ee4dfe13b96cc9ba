// SPDX-License-Identifier: MIT
// The least work of allocating and freeing in the heap's own format. The format has free blocks in two orders, a record
// of chunks that links forward, pads and hint, the intent word, a latch for the settings and one for the lists. Levels
// come from rand().
//
// The floor makes only the searches that the format makes necessary: the best fit; the place of its rest by size,
// unless the rest stays; the place of a new record; the nodes before a record that is removed; the free neighbours; and
// their place by size. It checks nothing, plans nothing before doing it, and never grows node space.
//
// Thread safety: any thread of one process; the account of node space is private.
#pragma once

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "floor/latch.h"
#include "shm/chunk_pads.h"
#include "shm/heap_header.h"
#include "shm/skip_area.h"
#include "shm/skip_list.h"
#include "support/work.h"

namespace bench::floor {

class FormatHeap {
 public:
  FormatHeap(std::uint64_t bytes, std::uint32_t live, std::uint32_t levels)
      : levels_(levels), blocks_(kNodesAt + (4 * live + 1000) * sntr::skipNodeSize(1)), mapped_(blocks_ + bytes) {
    void *const at = mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    require(at != MAP_FAILED, "no memory");
    base_ = static_cast<char *>(at);
    for (const std::uint64_t sentinel : {kHead, kTail, kRecords}) node(sentinel)->nodeLevel = levels_ - 1;
    // The tail's keys are the highest.
    node(kTail)->blockOffset = node(kTail)->blockSize = ~std::uint64_t{0};
    for (std::uint32_t i = 0; i < levels_; ++i) {
      link(kHead, Links::OffsetForward, i) = link(kHead, Links::SizeForward, i) = kTail;
      link(kRecords, Links::OffsetForward, i) = kTail;
    }
    const std::uint64_t first = newNode(freeTop_);
    node(first)->blockOffset = blocks_;
    node(first)->blockSize = mapped_ - blocks_;
    Trail trail;
    search<sntr::ByOffset>(kHead, freeTop_, blocks_, trail);
    enterFree(first, trail);
  }
  ~FormatHeap() { munmap(base_, mapped_); }
  FormatHeap(const FormatHeap &) = delete;
  FormatHeap &operator=(const FormatHeap &) = delete;

  void *take(std::uint64_t size) {
    settings_.enter();
    const std::uint64_t n = sntr::roundUp8(size) + kPads;
    settings_.leave();
    latch_.enter();
    Trail trail;
    const std::uint64_t fit = search<sntr::BySize>(kHead, freeTop_, n, trail);
    void *const taken = fit == kTail ? nullptr : base_ + cut(fit, n) + kFront;
    latch_.leave();
    return taken;
  }

  bool giveBack(void *at) {
    const auto chunk = static_cast<std::uint64_t>(static_cast<char *>(at) - base_) - kFront;
    latch_.enter();
    intent_ = chunk | static_cast<std::uint64_t>(sntr::Intent::Release);
    Trail trail;
    const std::uint64_t record = search<sntr::ByOffset>(kRecords, recordTop_, chunk, trail);
    for (std::uint32_t i = 0; i <= node(record)->nodeLevel; ++i)
      link(trail.before[i], Links::OffsetForward, i) = link(record, Links::OffsetForward, i);
    release(record, chunk, node(record)->blockSize);
    intent_ = 0;
    return latch_.leave();
  }

 private:
  using SkipNode = sntr::SkipNode;
  using Links = sntr::Links;
  struct Trail {
    std::uint64_t before[sntr::kMaxSkipLevels];
  };
  // Offsets of the free list's sentinels, the record's head, and node space. Each sentinel has room for all levels.
  static constexpr std::uint64_t kHead = 0;
  static constexpr std::uint64_t kTail = 0x400;
  static constexpr std::uint64_t kRecords = 0x800;
  static constexpr std::uint64_t kNodesAt = 0xc00;
  static_assert(sntr::skipNodeSize(sntr::kMaxSkipLevels - 1) <= kTail);
  // Bytes of the usual pad type: in front of a block, and of both pads.
  static constexpr std::uint64_t kFront = 0x10;
  static constexpr std::uint64_t kPads = 0x20;

  SkipNode *node(std::uint64_t at) const { return reinterpret_cast<SkipNode *>(base_ + at); }
  std::uint64_t &link(std::uint64_t at, Links array, std::uint64_t i) const {
    auto *const links = reinterpret_cast<std::uint64_t *>(base_ + at + sizeof(SkipNode));
    return array == Links::OffsetForward ? links[i]
                                         : links[static_cast<std::uint64_t>(array) * (node(at)->nodeLevel + 1) + i];
  }
  template <class Order>
  std::uint64_t key(std::uint64_t at) const {
    return Order::kForward == Links::SizeForward ? node(at)->blockSize : node(at)->blockOffset;
  }
  static void orderStores() { __atomic_signal_fence(__ATOMIC_RELEASE); }

  // Returns the first node whose key is not lower; stores the nodes before it, one for each level.
  template <class Order>
  std::uint64_t search(std::uint64_t head, std::uint32_t top, std::uint64_t wanted, Trail &trail) const {
    std::uint64_t here = head;
    std::uint64_t ahead = kTail;
    for (std::uint32_t i = top + 1; i < levels_; ++i) trail.before[i] = head;
    for (std::uint32_t i = top + 1; i-- > 0;) {
      for (std::uint64_t next; (next = link(here, Order::kForward, i)) != ahead; here = next) {
        if (key<Order>(next) < wanted) continue;
        ahead = next;
        break;
      }
      trail.before[i] = here;
    }
    return ahead;
  }

  template <class Order>
  void enter(std::uint64_t at, const Trail &trail) {
    for (std::uint32_t i = 0; i <= node(at)->nodeLevel; ++i) {
      const std::uint64_t after = link(trail.before[i], Order::kForward, i);
      link(at, Order::kForward, i) = after;
      if constexpr (Order::kHasBackward) {
        link(at, Order::kBackward, i) = trail.before[i];
        link(after, Order::kBackward, i) = at;
      }
      orderStores();
      link(trail.before[i], Order::kForward, i) = at;
    }
  }
  template <class Order>
  void leave(std::uint64_t at) {
    for (std::uint32_t i = 0; i <= node(at)->nodeLevel; ++i) {
      const std::uint64_t before = link(at, Order::kBackward, i);
      const std::uint64_t after = link(at, Order::kForward, i);
      link(before, Order::kForward, i) = after;
      link(after, Order::kBackward, i) = before;
    }
  }
  void enterFree(std::uint64_t at, const Trail &byOffset) {
    Trail bySize;
    node(at)->allocated = 0;
    enter<sntr::ByOffset>(at, byOffset);
    search<sntr::BySize>(kHead, freeTop_, node(at)->blockSize, bySize);
    enter<sntr::BySize>(at, bySize);
    freeTop_ = std::max(freeTop_, static_cast<std::uint32_t>(node(at)->nodeLevel));
  }

  // Takes n bytes from the high end of a block and records them; returns their offset.
  std::uint64_t cut(std::uint64_t fit, std::uint64_t n) {
    const std::uint64_t rest = node(fit)->blockSize - n;
    const std::uint64_t chunk = node(fit)->blockOffset + rest;
    intent_ = chunk | static_cast<std::uint64_t>(sntr::Intent::Allocate);
    std::uint64_t record = fit;
    if (rest != 0) {
      resize(fit, node(fit)->blockOffset, rest);
      record = newNode(recordTop_);
    } else {
      leave<sntr::ByOffset>(fit);
      leave<sntr::BySize>(fit);
    }
    const std::uint64_t words[] = {n, record / sntr::kWordSize << 32 | sntr::kDefaultPadType};
    const std::uint64_t behind[] = {kPadWord, kPadWord};
    std::memcpy(base_ + chunk, words, sizeof words);
    std::memcpy(base_ + chunk + n - sizeof behind, behind, sizeof behind);
    node(record)->blockOffset = chunk;
    node(record)->blockSize = n;
    node(record)->allocated = 1;
    Trail trail;
    search<sntr::ByOffset>(kRecords, recordTop_, chunk, trail);
    enter<sntr::ByChunk>(record, trail);
    recordTop_ = std::max(recordTop_, static_cast<std::uint32_t>(node(record)->nodeLevel));
    intent_ = 0;
    return chunk;
  }

  // Merges a released chunk with its free neighbours, or makes it a free block with the node of its record.
  void release(std::uint64_t record, std::uint64_t chunk, std::uint64_t size) {
    Trail around;
    const std::uint64_t after = search<sntr::ByOffset>(kHead, freeTop_, chunk, around);
    const std::uint64_t before = around.before[0];
    const bool joinsBefore = before != kHead && node(before)->blockOffset + node(before)->blockSize == chunk;
    const bool joinsAfter = node(after)->blockOffset == chunk + size;
    if (!joinsBefore && !joinsAfter) return enterFree(record, around);
    const std::uint64_t low = joinsBefore ? node(before)->blockOffset : chunk;
    const std::uint64_t high = joinsAfter ? node(after)->blockOffset + node(after)->blockSize : chunk + size;
    if (joinsBefore && joinsAfter) {
      leave<sntr::ByOffset>(after);
      leave<sntr::BySize>(after);
      retire(after);
    }
    resize(joinsBefore ? before : after, low, high - low);
    retire(record);
  }

  void resize(std::uint64_t at, std::uint64_t offset, std::uint64_t size) {
    const std::uint64_t before = link(at, Links::SizeBackward, 0);
    const std::uint64_t after = link(at, Links::SizeForward, 0);
    const bool stays = (before == kHead || node(before)->blockSize < size) && node(after)->blockSize >= size;
    if (!stays) leave<sntr::BySize>(at);
    node(at)->blockOffset = offset;
    node(at)->blockSize = size;
    if (stays) return;
    Trail trail;
    search<sntr::BySize>(kHead, freeTop_, size, trail);
    enter<sntr::BySize>(at, trail);
  }

  // Returns a node of a level that rand() draws: a dead one if there is one, else unused space.
  std::uint64_t newNode(std::uint32_t top) {
    std::uint32_t level = 0;
    while (std::rand() < RAND_MAX / 2 && level < levels_ - 1 && level <= top) ++level;
    std::uint64_t at = dead_[level];
    if (at != 0) {
      dead_[level] = link(at, Links::OffsetForward, 0);
    } else {
      at = nextNode_;
      nextNode_ += sntr::skipNodeSize(level);
      if (nextNode_ > blocks_) std::abort();
      node(at)->nodeLevel = level;
    }
    node(at)->state = sntr::kNodeLive;
    return at;
  }
  void retire(std::uint64_t at) {
    node(at)->state = sntr::kNodeDead;
    link(at, Links::OffsetForward, 0) = dead_[node(at)->nodeLevel];
    dead_[node(at)->nodeLevel] = at;
  }

  static constexpr std::uint64_t kPadWord = 0xbadc0ffee0ddf00d;

  std::uint32_t levels_;
  std::uint64_t blocks_;
  std::uint64_t mapped_;
  char *base_ = nullptr;
  std::uint64_t nextNode_ = kNodesAt;
  std::uint64_t dead_[sntr::kMaxSkipLevels] = {};
  std::uint32_t freeTop_ = 0;
  std::uint32_t recordTop_ = 0;
  std::uint64_t intent_ = 0;
  Latch settings_{};
  Latch latch_{};
};

}  // namespace bench::floor
