// SPDX-License-Identifier: MIT
// The sequence lock in every order: each load of a reader is made before, between and after all stores of writers.
//
// A reader stores nothing. So the states that the writers go through are recorded once, and in place of waiting a
// reader goes on to any later state between two of its loads.
#include "frame/sequence.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <vector>

namespace {

struct Shared {
  SNodeLatchBlock_t block{};
  std::uint64_t words[2]{};
};

// The states that three writers, who store 1, 2 and 3, go through.
std::vector<Shared> statesFrom(std::int32_t count) {
  Shared shared;
  sntr::storeAligned(&shared.block.writeCount, count);
  std::vector<Shared> states{shared};
  const auto gap = [&] { states.push_back(shared); };
  for (std::uint64_t value = 1; value <= 3; ++value) {
    sntr::beginWrite(shared.block, gap);
    gap();
    for (std::uint64_t &word : shared.words) sntr::writeWord<std::uint64_t>(&word, value), gap();
    sntr::endWrite(shared.block);
    gap();
  }
  return states;
}

// Goes on to the next moments, none of them before the one ahead of it; beyond the last ones the first is past `last`.
void advance(std::vector<std::size_t> &moments, std::size_t last) {
  std::size_t at = moments.size() - 1;
  while (at > 0 && moments[at] == last) --at;
  std::fill(moments.begin() + static_cast<std::ptrdiff_t>(at), moments.end(), moments[at] + 1);
}

// Reads once for each way in which the stores can fall before a reader's first load and into its four gaps.
TEST(Sequence, IsNeverTornInAnyOrder) {
  for (const std::int32_t firstCount : {0, -2, 0x7ffffffe}) {
    SCOPED_TRACE(firstCount);
    const std::vector<Shared> states = statesFrom(firstCount);
    std::set<std::uint64_t> accepted;
    for (std::vector<std::size_t> moments(5); moments[0] < states.size(); advance(moments, states.size() - 1)) {
      Shared seen = states[moments[0]];
      std::size_t gaps = 0;
      const auto gap = [&] { seen = states[moments.at(++gaps)]; };
      std::int32_t count = 0;
      std::uint64_t values[2] = {};
      const bool isFree = sntr::beginSequence(seen.block, count, gap);
      for (int i = 0; i < 2; ++i) gap(), values[i] = sntr::readWord<std::uint64_t>(&seen.words[i]);
      gap();
      if (!isFree || !sntr::endSequence(seen.block, count)) continue;
      ASSERT_EQ(values[0], values[1]) << "torn";
      accepted.insert(values[0]);
    }
    EXPECT_EQ(accepted, (std::set<std::uint64_t>{0, 1, 2, 3}));
  }
}

}  // namespace
