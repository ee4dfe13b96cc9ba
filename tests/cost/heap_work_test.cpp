// SPDX-License-Identifier: MIT
// How much work one call does, counted: links followed and nodes moved must not grow with the heap. Built from the
// heap's own sources with their counters switched on.
#include <algorithm>
#include <random>

#include "shm/work_count.h"
#include "support/heap_fixture.h"

namespace sntr {
namespace {

using test::TestHeap;

// The work of the calls measured.
struct Work {
  std::uint64_t calls = 0, sum = 0, most = 0;

  template <class Call>
  void measure(Call &&call) {
    const std::uint64_t before = linksFollowed + nodesMoved;
    call();
    const std::uint64_t work = linksFollowed + nodesMoved - before;
    ++calls;
    sum += work;
    most = std::max(most, work);
  }
  double mean() const { return static_cast<double>(sum) / static_cast<double>(calls); }
};

// Fills a heap with small blocks, empties it in random order, and in between uses it at half of its load.
Work workIn(std::uint64_t total) {
  std::mt19937_64 random(7);
  TestHeap heap(total, 125, 16);
  Work work;
  std::vector<std::uint64_t> chunks;
  std::uint64_t chunk = 0;
  for (std::uint32_t rc = 0; rc == 0; chunks.push_back(chunk)) work.measure([&] { rc = heap.take(8, chunk); });
  chunks.pop_back();
  std::shuffle(chunks.begin(), chunks.end(), random);
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    work.measure([&] { EXPECT_EQ(heap.giveBack(chunks[i]), 0u); });
    for (int again = 0; again < (i == chunks.size() / 2 ? 2000 : 0); ++again) {
      work.measure([&] { EXPECT_EQ(heap.take(8, chunk), 0u); });
      work.measure([&] { EXPECT_EQ(heap.giveBack(chunk), 0u); });
    }
  }
  EXPECT_GT(nodesMoved, 0u) << "no node moved: nothing was given back";
  return work;
}

TEST(HeapWork, OfACallAtMostDoublesInASixteenTimesLargerHeap) {
  const Work small = workIn(1 << 20), large = workIn(16 << 20);
  EXPECT_GT(small.mean(), 1.0) << "the counters are off";
  EXPECT_LE(large.mean(), 2 * small.mean());
  EXPECT_LE(large.most, 2 * small.most);
}

// Of an allocation that takes the place of a released block of the same size, again and again: the record of chunks
// must keep the levels by which it is searched.
TEST(HeapWork, OfBlocksOfOneSizeStaysThatOfASearch) {
  std::mt19937_64 random(7);
  TestHeap heap(1 << 20, 4000, 10);
  std::vector<std::uint64_t> chunks(1000);
  for (std::uint64_t &chunk : chunks) ASSERT_EQ(heap.take(64, chunk), 0u);
  Work late;
  for (int i = 0; i < 40000; ++i) {
    std::uint64_t &chunk = chunks[random() % chunks.size()];
    ASSERT_EQ(heap.giveBack(chunk), 0u);
    const auto take = [&] { ASSERT_EQ(heap.take(64, chunk), 0u); };
    i < 39000 ? take() : late.measure(take);
  }
  EXPECT_LE(late.mean(), 80) << "links followed: twice the levels are some twenty";
}

}  // namespace
}  // namespace sntr
