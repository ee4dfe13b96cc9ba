// SPDX-License-Identifier: MIT
// The pair of calls that takes and releases an uncontended lock. All locks are in shared memory.
#include "floor/latch.h"
#include "peers/boost_map.h"
#include "support/r_stores.h"

namespace bench {

namespace {

struct OurLatch {
  OurLatch() { requireOk(ossVLatchInit(&latch, 1), "making a latch"); }
  std::uint64_t pair() { return ossVLatchGet(&latch) | ossVLatchRelease(&latch); }
  ossVLatch latch;
};

struct FloorLatch {
  [[gnu::noinline]] std::uint64_t enter() { return latch.enter(), 0; }
  [[gnu::noinline]] std::uint64_t leave() { return latch.leave() ? 0 : 1; }
  std::uint64_t pair() { return enter() | leave(); }
  floor::Latch latch{};
};

template <bool robust>
struct CLibrary {
  std::uint64_t pair() {
    mutex.lock();
    mutex.unlock();
    return 0;
  }
  boostmap::SharedMutex mutex{robust};
};

struct BoostMutex {
  std::uint64_t pair() {
    mutex.lock();
    mutex.unlock();
    return 0;
  }
  boostmap::PlainMutex mutex;
};

// A lock in a block of a pool.
template <class Lock>
struct InSegment {
  Segment segment{0x10000};
  Lock *lock = new (segment.allocate(sizeof(Lock) + 64)) Lock;
};

template <class Lock>
void addPair(const std::string &subject) {
  add("latch_pair/" + subject, [](benchmark::State &state) {
    Lock &lock = *cached<InSegment<Lock>>().lock;
    timeEach(state, Order::below(1), [&](Key) { return lock.pair(); });
  });
}

void addSection(const std::string &subject, bool writing) {
  add("latch_pair/" + subject, [writing](benchmark::State &state) {
    SNodeCB_t *node = cached<RNode>(10U, Tags::Dense).node;
    SNodeLatchBlock_t *block = &node->primaryLatch;
    timeEach(state, Order::below(1), [&](Key) -> std::uint64_t {
      return writing ? sntrEnterCriticalSectionBeforeWrite(node, block) | sntrExitCriticalSectionAfterWrite(node, block)
                     : sntrEnterCriticalSectionBeforeRead(node, block) | sntrExitCriticalSectionAfterRead(node, block);
    });
  });
}

const bool registered = [] {
  addPair<OurLatch>("ours");
  addPair<FloorLatch>("floor");
  addPair<CLibrary<false>>("pthread");
  addPair<CLibrary<true>>("pthread_robust");
  addPair<BoostMutex>("boost_plain");
  addSection("ours_read_section", false);
  addSection("ours_write_section", true);
  return true;
}();

}  // namespace

}  // namespace bench
