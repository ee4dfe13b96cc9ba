// SPDX-License-Identifier: MIT
// What a process has mapped, by address: uses counted, full windows told, and many threads at once.
#include "shm/mappings.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace sntr {
namespace {

const void *at(std::uint64_t number) { return reinterpret_cast<const void *>((number + 1) << 12); }

TEST(Mappings, AreKnownWhileTheyAreUsed) {
  constexpr std::uint64_t kMany = 5000;
  for (std::uint64_t i = 0; i < kMany; ++i) ASSERT_TRUE(rememberMapping(at(i), i + 1));
  for (std::uint64_t i = 0; i < kMany; i += 2) ASSERT_TRUE(rememberMapping(at(i), i + 2)) << "the last size holds";
  for (std::uint64_t i = 0; i < kMany; ++i) ASSERT_EQ(mappedBytes(at(i)), i + 2 - i % 2) << i;
  for (std::uint64_t i = 0; i < kMany; ++i) forgetMapping(at(i));
  for (std::uint64_t i = 0; i < kMany; ++i) ASSERT_EQ(mappedBytes(at(i)), i % 2 == 0 ? i + 2 : 0) << i;
  for (std::uint64_t i = 0; i < kMany; i += 2) forgetMappings(at(i));
  for (std::uint64_t i = 0; i < kMany; ++i) ASSERT_EQ(mappedBytes(at(i)), 0u) << i;
}

TEST(Mappings, OfOneWindowAreRefusedWhenItIsFull) {
  std::vector<std::uint64_t> neighbours;
  for (std::uint64_t i = 0; neighbours.size() <= kMappingWindow; ++i) {
    const auto address = reinterpret_cast<std::uintptr_t>(at(i));
    if (mappingWindow(address) == &mappingSlots[0]) neighbours.push_back(i);
  }
  for (std::size_t i = 0; i < kMappingWindow; ++i) ASSERT_TRUE(rememberMapping(at(neighbours[i]), 8)) << i;
  EXPECT_FALSE(rememberMapping(at(neighbours.back()), 8));
  forgetMapping(at(neighbours.front()));
  EXPECT_TRUE(rememberMapping(at(neighbours.back()), 16)) << "a slot is used again";
  EXPECT_EQ(mappedBytes(at(neighbours.back())), 16u);
  for (const std::uint64_t i : neighbours) forgetMappings(at(i));
}

TEST(Mappings, OfManyThreadsDoNotDisturbOneAnother) {
  const auto useInTurn = [](std::uint64_t thread) {
    for (std::uint64_t round = 0; round < 20000; ++round) {
      const std::uint64_t own = 10 + thread + 4 * (round % 8), shared = 1;
      for (const std::uint64_t used : {own, shared}) ASSERT_TRUE(rememberMapping(at(used), used));
      for (const std::uint64_t used : {own, shared}) ASSERT_EQ(mappedBytes(at(used)), used);
      for (const std::uint64_t used : {own, shared}) forgetMapping(at(used));
    }
  };
  std::vector<std::thread> threads;
  for (std::uint64_t thread = 0; thread < 4; ++thread) threads.emplace_back(useInTurn, thread);
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(mappedBytes(at(1)), 0u);
}

}  // namespace
}  // namespace sntr
