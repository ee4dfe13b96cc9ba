// Processes killed at random moments of their work. The others go on: nobody hangs or crashes, latches pass over, and
// every call answers a code that its description has. What a dead process had in hand may be lost.
//
// Nothing mends yet what a process leaves half changed. At the moment of its death the record of allocated chunks is
// whole; but who works on in that heap may be given memory twice, and may damage the record in turn. So the record is
// looked at before anybody else has changed the heap, in a new segment each time.
#include <chrono>
#include <random>

#include "multiprocess/worker.h"
#include "support/words.h"

namespace multiprocess_test {
namespace {

using support::wordAt;

// The record of allocated chunks by its level-0 chain: ascending, without overlap, inside the heap, and with the chunk
// of the pool or node that never goes. Empty when sound.
std::string chainProblem(const char *base, std::uint64_t header, std::uint64_t end) {
  const std::uint64_t area = header + 0x1e8 + ((wordAt(base, header + 0xf0) + 7) & ~std::uint64_t{7});
  std::uint64_t reached = area;
  for (std::uint64_t node = wordAt(base, area + 0x70); node != 0; node = wordAt(base, node + 0x30)) {
    if (node < area || node + 0x50 > end) return "a link leads outside, to " + std::to_string(node);
    const std::uint64_t offset = wordAt(base, node);
    if (offset < reached) return "a chunk out of order, or two that overlap, at " + std::to_string(offset);
    reached = offset + wordAt(base, node + 8);
    if (reached > end || reached <= offset) return "a chunk of impossible size at " + std::to_string(offset);
  }
  return reached == area ? "no chunk at all" : "";
}

void workUntilTold(const Task &task) {
  const Connection here(task);
  Worker worker(here.domain, here.pool, here.node, task.index, Others::MayDie);
  support::tellParent();
  while (!support::parentHasTold() && !testing::Test::HasFailure()) worker.step();
  worker.giveAll();
}
const PartName kWorker("worker", workUntilTold);

class Killed : public SharedSegment {
 protected:
  void createAll() {
    createDomain(kSize);
    createPool(0x40000);
    createNode(SNTR_LAYOUT_HASH, 200);
  }
  void freeAll() {
    ASSERT_RC(sntrDestroyShmPoolHandle(&pool), Rc::Ok);
    ASSERT_RC(sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_ALWAYS), Rc::Ok);
  }

  void killAWorker() {
    Actor victim("worker", task(3 + kills_ % 100));
    ASSERT_TRUE(victim.waits());
    usleep(entropy_() % 3000);
    victim.kill();
    ++kills_;
  }
  void workOn(Worker &worker) {
    for (int i = 0; i < 30; ++i) worker.step();
  }

  // Both latches can be got, and both heaps' records are whole.
  void expectSoundRecords() {
    ASSERT_RC(sntrLatchShmDomain(domain), Rc::Ok);
    EXPECT_EQ(chainProblem(base(), 0, kSize), "") << "in the domain";
    ASSERT_RC(sntrUnlatchShmDomain(domain), Rc::Ok);
    ASSERT_RC(sntrLatchShmPool(pool), Rc::Ok);
    EXPECT_EQ(chainProblem(base(), pool->poolHeaderOffset, kSize), "") << "in the pool";
    ASSERT_RC(sntrUnlatchShmPool(pool), Rc::Ok);
  }

  template <class Round>
  void repeat(std::chrono::milliseconds time, const Round &round) {
    const auto end = Clock::now() + time / (kSanitized ? 2 : 1);
    while (Clock::now() < end && !HasFailure()) {
      SCOPED_TRACE("after " + std::to_string(kills_) + " kills");
      round();
    }
  }

  static constexpr std::uint64_t kSize = 0x100000;
  std::random_device entropy_;  // the moment of a signal cannot be replayed anyway
  std::uint64_t kills_ = 0;
};

TEST_F(Killed, LeavesARecordOfWhatIsAllocated) {
  repeat(std::chrono::milliseconds(3000), [&] {
    createAll();
    killAWorker();
    expectSoundRecords();
    Worker here(domain, pool, node, 2, Others::MayDie);
    workOn(here);
    freeAll();
  });
  EXPECT_GE(kills_, 10u);
}

TEST_F(Killed, StopsNobody) {
  repeat(std::chrono::milliseconds(4000), [&] {
    createAll();
    Actor bystander("worker", task(1));
    ASSERT_TRUE(bystander.waits());
    Worker here(domain, pool, node, 2, Others::MayDie);
    for (int i = 0; i < 20 && !HasFailure(); ++i) {
      killAWorker();
      workOn(here);
    }
    here.giveAll();
    bystander.tell();
    EXPECT_EQ(bystander.result(), 0);
    freeAll();
  });
  EXPECT_GE(kills_, 20u);
}

}  // namespace
}  // namespace multiprocess_test
