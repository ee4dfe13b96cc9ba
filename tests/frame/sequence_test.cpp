// The sequence lock in every order: each load of a reader is made before, between and after all stores of writers.
//
// A reader stores nothing. So the states that the writers go through are recorded once, and in place of waiting a
// reader goes on to any later state between two of its loads. The same with one mistake in the reader or in the writers
// shows that a torn value would be found.
#include "frame/sequence.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>
#include <vector>

namespace {

enum class Mistake { None, MarkBeforeCount, MarkIgnored, CountIgnored, DataBeforeCount };

struct Shared {
  SNodeLatchBlock_t block{};
  std::uint64_t words[2]{};
};

using Gap = std::function<void()>;

void countWrite(SNodeLatchBlock_t &block) {
  sntr::storeAligned(&block.writeCount, sntr::successorOf(sntr::loadAligned(&block.writeCount)));
}

void write(Shared &shared, Mistake mistake, std::uint64_t value, const Gap &gap) {
  const bool countsLast = mistake == Mistake::DataBeforeCount;
  countsLast ? sntr::storeAligned(&shared.block.writeInProgress, 1) : sntr::beginWrite(shared.block, gap);
  gap();
  for (std::uint64_t &word : shared.words) sntr::writeWord<std::uint64_t>(&word, value), gap();
  if (countsLast) countWrite(shared.block), gap();
  sntr::endWrite(shared.block);
  gap();
}

// False: what was read is void.
bool read(const Shared &shared, Mistake mistake, std::uint64_t (&values)[2], const Gap &gap) {
  std::int32_t count = 0;
  bool isFree = true;
  if (mistake == Mistake::MarkBeforeCount) {
    isFree = sntr::loadAligned(&shared.block.writeInProgress) == 0;
    gap();
    count = sntr::loadAligned(&shared.block.writeCount);
  } else {
    isFree = sntr::beginSequence(shared.block, count, gap) || mistake == Mistake::MarkIgnored;
  }
  for (int i = 0; i < 2; ++i) gap(), values[i] = sntr::readWord<std::uint64_t>(&shared.words[i]);
  gap();
  return isFree && (sntr::endSequence(shared.block, count) || mistake == Mistake::CountIgnored);
}

struct Tally {
  int torn = 0;
  std::set<std::uint64_t> accepted;
};

// Three writers store 1, 2 and 3. Reads once for each way in which their stores can fall before a reader's first load
// and into its four gaps.
Tally readInEveryOrder(std::int32_t firstCount, Mistake mistake) {
  Shared shared;
  sntr::storeAligned(&shared.block.writeCount, firstCount);
  std::vector<Shared> states{shared};
  for (std::uint64_t value = 1; value <= 3; ++value) write(shared, mistake, value, [&] { states.push_back(shared); });
  Tally tally;
  const std::size_t last = states.size() - 1;
  for (std::vector<std::size_t> moments(5); moments[0] <= last;) {
    Shared seen = states[moments[0]];
    std::size_t gaps = 0;
    std::uint64_t values[2] = {};
    if (read(seen, mistake, values, [&] { seen = states[moments.at(++gaps)]; })) {
      if (values[0] != values[1]) ++tally.torn;
      tally.accepted.insert(values[0]);
    }
    // The next moments, none before the one ahead of it.
    std::size_t at = moments.size() - 1;
    while (at > 0 && moments[at] == last) --at;
    std::fill(moments.begin() + static_cast<std::ptrdiff_t>(at), moments.end(), moments[at] + 1);
  }
  return tally;
}

TEST(Sequence, IsNeverTornInAnyOrder) {
  for (const std::int32_t count : {0, -2, 0x7ffffffe}) {
    const Tally tally = readInEveryOrder(count, Mistake::None);
    EXPECT_EQ(tally.torn, 0) << "from count " << count;
    EXPECT_EQ(tally.accepted, (std::set<std::uint64_t>{0, 1, 2, 3})) << "from count " << count;
  }
}

TEST(Sequence, IsTornByEachMistake) {
  for (int i = 1; i <= static_cast<int>(Mistake::DataBeforeCount); ++i) {
    EXPECT_GT(readInEveryOrder(0, static_cast<Mistake>(i)).torn, 0) << "mistake " << i;
  }
}

}  // namespace
