// SPDX-License-Identifier: MIT
// Sequence lock beside a node's latch: reads of what the latch guards, without taking it.
//
// A writer, holding the latch: mark 1, count + 1, data, mark 0, release of the latch. A reader: count, mark, data,
// count again. If the mark was 0 and both counts are equal, no writer was inside between the first look and the last
// load: the data is a snapshot. Otherwise the reader discards it and tries again.
//
// Invariants:
// 1. The reader loads the count before the mark. In the opposite order a writer could enter between the two loads, and
//    its count would be taken for the one before it.
// 2. The writer's count comes before its data, ordered by a release fence. The reader's second count comes after its
//    data, ordered by an acquire fence. So a reader that loads a new word also loads the new count. (H.-J. Boehm, "Can
//    Seqlocks Get Along With Programming Language Memory Models?", 2012.)
// 3. A release clears the mark after the data. So a reader that finds the mark 0 finds the data complete.
//
// Data between the two looks may be half changed. It is checked like everything in shared memory, every walk is
// bounded, and the caller gets nothing before the last look. A reader that is stopped for exactly a multiple of 2^32
// write sections cannot detect the change.
//
// Thread safety: any thread of any process. Nothing is stored, so the memory may be mapped read-only.
#pragma once

#include <oss/fast_paths.h>

#include <cstddef>
#include <cstdint>

#include "frame/cells.h"
#include "layout/node_block.h"
#include "layout/offset.h"
#include "layout/version.h"
#include "layout/words.h"

namespace sntr {

// The thread sanitizer does not follow fences: under it every read takes the latch. gcc has a macro, clang a feature.
#ifdef __SANITIZE_THREAD__
constexpr bool kReadsWithoutLatch = false;
#elif defined(__clang__)
#if __has_feature(thread_sanitizer)
constexpr bool kReadsWithoutLatch = false;
#else
constexpr bool kReadsWithoutLatch = true;
#endif
#else
constexpr bool kReadsWithoutLatch = true;
#endif

// A hook between two accesses. It does nothing; tests let a writer act there.
struct NoGap {
  void operator()() const {}
};

// Takes the first look at an aligned block. Returns false if a writer is inside.
template <class Gap = NoGap>
[[gnu::always_inline]] inline bool beginSequence(const SNodeLatchBlock_t &block, std::int32_t &count, Gap &&gap = {}) {
  count = loadAligned(&block.writeCount);
  gap();
  return loadAligned(&block.writeInProgress) == 0;
}

// Takes the last look. Returns true if the data read since beginSequence() is a snapshot.
[[gnu::always_inline]] inline bool endSequence(const SNodeLatchBlock_t &block, std::int32_t count) {
  std::atomic_thread_fence(std::memory_order_acquire);
  return readWord<std::int32_t>(&block.writeCount) == count;
}

// The writer's side, for the holder of the latch of an aligned block; requires open cells (`ossCellsAreOpen`).
template <class Gap = NoGap>
[[gnu::always_inline]] inline void beginWrite(SNodeLatchBlock_t &block, Gap &&gap = {}) {
  storeAligned(&block.writeInProgress, 1);
  gap();
  storeAligned(&block.writeCount, successorOf(loadAligned(&block.writeCount)));
  orderStores();
}

[[gnu::always_inline]] inline void endWrite(SNodeLatchBlock_t &block) { storeAligned(&block.writeInProgress, 0); }

// Offset of the latch words in a node that begins at a multiple of 8. The cells of such a node are aligned.
constexpr std::uint64_t kLatchWordsAt =
    roundUp8(offsetof(SNodeCB_t, primaryLatch) + offsetof(SNodeLatchBlock_t, latch.storage));
static_assert((offsetof(SNodeCB_t, primaryLatch) + offsetof(SNodeLatchBlock_t, writeInProgress)) % 4 == 0 &&
              (offsetof(SNodeCB_t, primaryLatch) + offsetof(SNodeLatchBlock_t, writeCount)) % 4 == 0);

inline OSSLatchWords *latchWordsOf(SNodeCB_t *node) {
  return reinterpret_cast<OSSLatchWords *>(reinterpret_cast<std::byte *>(node) + kLatchWordsAt);
}

inline bool isStamped(const SNodeLatchBlock_t &block) {
  return readWord<std::uint32_t>(&block.latchVersion) == kVersionWord;
}

inline bool isAlignedNode(const SNodeCB_t *node) { return reinterpret_cast<std::uintptr_t>(node) % kWordSize == 0; }

// Begins a read of an aligned node under model 1. Returns false if the block is not stamped, if this thread holds or
// may hold the section, or if a writer is inside; also under the thread sanitizer.
[[gnu::always_inline]] inline bool beginRead(SNodeCB_t *node, std::int32_t &count) {
  return kReadsWithoutLatch && isStamped(node->primaryLatch) && !ossLatchMayBeOwn(latchWordsOf(node)) &&
         beginSequence(node->primaryLatch, count);
}

}  // namespace sntr
