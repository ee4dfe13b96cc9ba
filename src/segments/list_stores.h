// SPDX-License-Identifier: MIT
// The places of a list: in a domain, under its latch, or in this process's private memory.
//
// A place runs work on the list's store, `Rc work(const Store &)`. A store converts links to nodes and back, and
// allocates and frees nodes. A shared store exists only while the domain's latch is held.
//
// Latch order: the domain's latch, then the pool's, which each allocation and release takes and leaves.
#pragma once

#include <oss/memory.h>

#include <cstdint>
#include <utility>

#include "segments/list_entries.h"
#include "shm/heap_view.h"
#include "shm/pool.h"

namespace sntr {

template <class Entry>
class SharedStore {
 public:
  using Node = ListNode<typename Entry::Record>;
  static constexpr bool kTrusted = false;

  SharedStore(const ShmPoolHandle *pool, const HeapView &view) : pool_(pool), view_(view) {}

  void *head() const { return Entry::sharedHead(*view_.tail); }
  std::uint32_t mode() const { return kSegmentCompareMode; }
  std::uint64_t mostNodes() const { return view_.total / sizeof(Node); }

  // Returns the node of a link, or ChunkOutsideHeap if no pool's block, and so no node, can lie there.
  Rc node(std::uint64_t link, Node *&out) const {
    if (!isMultipleOf8(link) || !liesWithin(link, sizeof(Node), view_.blocksLow, view_.end))
      return Rc::ChunkOutsideHeap;
    out = reinterpret_cast<Node *>(view_.at(link));
    return Rc::Ok;
  }

  std::uint64_t linkTo(const void *node) const {
    return reinterpret_cast<std::uintptr_t>(node) - reinterpret_cast<std::uintptr_t>(view_.base);
  }

  // Return the pool's codes unchanged. A release nulls the address once the block is free, even if it fails later.
  Rc allocate(void *&block) const { return allocateBlock(pool_, sizeof(Node), block); }
  Rc release(void *&block) const { return freeBlock(pool_, block); }

 private:
  const ShmPoolHandle *pool_;
  const HeapView &view_;
};

// A store whose links were written by this process and are trusted.
template <class Entry>
class PrivateStore {
 public:
  using Node = ListNode<typename Entry::Record>;
  static constexpr bool kTrusted = true;
  static_assert(sizeof(void *) == sizeof(std::uint64_t), "a link holds an address");

  void *head() const { return Entry::privateHead(); }
  std::uint32_t mode() const { return Entry::privateMode(); }
  std::uint64_t mostNodes() const { return ~std::uint64_t{0}; }

  Rc node(std::uint64_t link, Node *&out) const {
    out = reinterpret_cast<Node *>(static_cast<std::uintptr_t>(link));
    return Rc::Ok;
  }

  std::uint64_t linkTo(const void *node) const { return reinterpret_cast<std::uintptr_t>(node); }

  Rc allocate(void *&block) const {
    block = _ossMemAlloc(sizeof(Node), kTag, __LINE__);
    return block != nullptr ? Rc::Ok : Rc::OssNoMemory;
  }

  // Always nulls the address: the memory is gone even if the services layer reports a failure to free it.
  Rc release(void *&block) const {
    void *const memory = block;
    block = nullptr;
    return static_cast<Rc>(_ossMemFree(memory, kTag, __LINE__));
  }

 private:
  static constexpr const char *kTag = "sntrll";
};

// The domain of a pool. Returns the codes of poolHeap() and checkHeap() before taking the latch, then heapSection()'s.
class SharedPlace {
 public:
  explicit SharedPlace(const ShmPoolHandle *pool) : pool_(pool) {}

  template <class Entry, class Work>
  Rc run(Work &&work) const {
    HeapRef poolRef{};
    if (Rc rc = poolHeap(pool_, poolRef); failed(rc)) return rc;
    const HeapRef domain = domainHeapOf(*pool_, poolRef);
    if (Rc rc = checkHeap(domain); failed(rc)) return rc;
    return heapSection(domain, [&] {
      HeapView view;
      if (Rc rc = openHeap(domain, view); failed(rc)) return rc;
      return work(SharedStore<Entry>(pool_, view));
    });
  }

 private:
  const ShmPoolHandle *pool_;
};

// This process. The caller of the exported function excludes other threads.
class PrivatePlace {
 public:
  template <class Entry, class Work>
  Rc run(Work &&work) const {
    return std::forward<Work>(work)(PrivateStore<Entry>());
  }
};

}  // namespace sntr
