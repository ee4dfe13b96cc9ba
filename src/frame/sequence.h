// Reading what a node's latch guards without the latch: a sequence lock beside it.
//
// A writer, holding the latch: mark 1, count + 1, data, mark 0, and it gives the latch back. A reader: count, mark,
// data, count again. If the mark was 0 and the counts are equal, no writer was inside from the first look to the last
// load, and what was read is of one moment. Otherwise it is void, and the reader begins again.
//
// Why the orders are as they are:
//   1. The reader loads the count before the mark. The other way round a writer could enter between the two loads, and
//      its count would be taken for the one before it.
//   2. The writer's count comes before its data, kept there by a release fence, and the reader's second look at the
//      count comes after its data, kept there by an acquire fence. So a reader that meets a new word meets the new
//      count. (H.-J. Boehm, "Can Seqlocks Get Along With Programming Language Memory Models?", 2012.)
//   3. The mark is cleared by a release after the data. So a reader that finds the mark 0 finds the data complete.
//
// What is read between the looks may be half changed. It is checked like everything in shared memory, every walk is
// bounded, and nothing is given to the caller before the last look. A reader that is stopped for exactly a multiple of
// 2^32 write sections is not told from one for which nothing changed.
//
// Thread safety: any thread of any process; nothing is stored, so the memory may be mapped for reading only.
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

// The thread sanitizer does not follow fences. For it every read takes the latch. gcc names it by a macro, clang by a
// feature.
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

// What a reader does between two loads: nothing. Tests have writers act there.
struct NoGap {
  void operator()() const {}
};

// The first look at an aligned block. False: a writer is inside.
template <class Gap = NoGap>
[[gnu::always_inline]] inline bool beginSequence(const SNodeLatchBlock_t &block, std::int32_t &count, Gap &&gap = {}) {
  count = loadAligned(&block.writeCount);
  gap();
  return loadAligned(&block.writeInProgress) == 0;
}

// The last look: whether what was read since beginSequence() is of one moment.
[[gnu::always_inline]] inline bool endSequence(const SNodeLatchBlock_t &block, std::int32_t count) {
  std::atomic_thread_fence(std::memory_order_acquire);
  return readWord<std::int32_t>(&block.writeCount) == count;
}

// The writer's side, for the holder of the latch of an aligned block, where cells may be changed in line.
template <class Gap = NoGap>
[[gnu::always_inline]] inline void beginWrite(SNodeLatchBlock_t &block, Gap &&gap = {}) {
  storeAligned(&block.writeInProgress, 1);
  gap();
  storeAligned(&block.writeCount, successorOf(loadAligned(&block.writeCount)));
  orderStores();
}

[[gnu::always_inline]] inline void endWrite(SNodeLatchBlock_t &block) { storeAligned(&block.writeInProgress, 0); }

// Where the words of a node's latch stand, if the node begins at a multiple of 8. Its cells are aligned then.
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

// Whether a read of an aligned node under model 1 may begin. False: the block is not stamped, this thread holds the
// section or cannot tell whether it does, or a writer is inside.
[[gnu::always_inline]] inline bool beginRead(SNodeCB_t *node, std::int32_t &count) {
  return kReadsWithoutLatch && isStamped(node->primaryLatch) && !ossLatchMayBeOwn(latchWordsOf(node)) &&
         beginSequence(node->primaryLatch, count);
}

}  // namespace sntr
