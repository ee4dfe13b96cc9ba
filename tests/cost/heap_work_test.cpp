// How much work one call does, counted: links followed and nodes moved must not grow with the heap. Built from the
// heap's own sources with their counters switched on.
#include <algorithm>
#include <random>

#include "shm/work_count.h"
#include "support/heap_fixture.h"

namespace sntr {
namespace {

using test::TestHeap;

struct Work {
  double mean = 0;
  std::uint64_t most = 0;
};

class Meter {
 public:
  template <class Call>
  void measure(Call &&call) {
    const std::uint64_t before = linksFollowed + nodesMoved;
    call();
    const std::uint64_t work = linksFollowed + nodesMoved - before;
    sum_ += work;
    ++calls_;
    most_ = std::max(most_, work);
  }
  Work result() const { return Work{static_cast<double>(sum_) / static_cast<double>(calls_), most_}; }

 private:
  std::uint64_t sum_ = 0;
  std::uint64_t calls_ = 0;
  std::uint64_t most_ = 0;
};

// Fills a heap with small blocks, empties it in random order, and in between uses it at half of its load.
Work workIn(std::uint64_t total) {
  std::mt19937_64 random(7);
  TestHeap heap(total, 125, 16);
  Meter meter;
  std::vector<std::uint64_t> chunks;
  for (bool refused = false; !refused;) {
    std::uint64_t chunk = 0;
    meter.measure([&] { refused = heap.take(8, chunk) != 0; });
    if (!refused) chunks.push_back(chunk);
  }
  std::shuffle(chunks.begin(), chunks.end(), random);
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    meter.measure([&] { EXPECT_EQ(heap.giveBack(chunks[i]), 0u); });
    if (i != chunks.size() / 2) continue;
    for (int again = 0; again < 2000; ++again) {
      std::uint64_t chunk = 0;
      meter.measure([&] { EXPECT_EQ(heap.take(8, chunk), 0u); });
      meter.measure([&] { EXPECT_EQ(heap.giveBack(chunk), 0u); });
    }
  }
  EXPECT_GT(nodesMoved, 0u) << "no node moved: nothing was given back";
  return meter.result();
}

TEST(HeapWork, OfACallAtMostDoublesInASixteenTimesLargerHeap) {
  const Work small = workIn(1 << 20);
  const Work large = workIn(16 << 20);
  std::printf("links followed and nodes moved a call: %.1f (most %llu) in 1 MiB, %.1f (most %llu) in 16 MiB\n",
              small.mean, static_cast<unsigned long long>(small.most), large.mean,
              static_cast<unsigned long long>(large.most));
  EXPECT_GT(small.mean, 1.0) << "the counters are off";
  EXPECT_LE(large.mean, 2 * small.mean);
  EXPECT_LE(large.most, 2 * small.most);
}

// Of an allocation that takes the place of a released block of the same size, again and again: the record of chunks must
// keep the levels by which it is searched.
TEST(HeapWork, OfBlocksOfOneSizeStaysThatOfASearch) {
  std::mt19937_64 random(7);
  TestHeap heap(1 << 20, 4000, 10);
  std::vector<std::uint64_t> chunks(1000);
  for (std::uint64_t &chunk : chunks) ASSERT_EQ(heap.take(64, chunk), 0u);
  Meter late;
  for (int i = 0; i < 40000; ++i) {
    std::uint64_t &chunk = chunks[random() % chunks.size()];
    ASSERT_EQ(heap.giveBack(chunk), 0u);
    const auto take = [&] { ASSERT_EQ(heap.take(64, chunk), 0u); };
    i < 39000 ? take() : late.measure(take);
  }
  EXPECT_LE(late.result().mean, 80) << "links followed: twice the levels are some twenty";
}

}  // namespace
}  // namespace sntr
