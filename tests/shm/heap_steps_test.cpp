// SPDX-License-Identifier: MIT
// What a process that dies leaves behind: the heap is looked at after every single instruction of a change.
//
// The processor traps after each instruction while the trap flag is set, so the library runs exactly as shipped. In
// every state the level-0 chain of the allocated list alone must tell what is allocated: as before the call, or as
// after it; and wherever more than one word has changed so far, the intent must be stated.
#include <csignal>
#include <set>

#include "support/heap_fixture.h"

#if defined(__x86_64__) && !SNTR_SANITIZED

namespace sntr {
namespace {

using test::TestHeap;
using State = std::vector<char>;

constexpr std::uint64_t kHeader = TestHeap::kHeader, kArea = kHeader + 0x1e8, kIntentAt = kArea + 0x38;

State stateOf(TestHeap &heap) { return {heap.base(), heap.base() + heap.bytes()}; }

TestHeap *watched = nullptr;
std::vector<State> states;  // of the last call: the first, and one for each instruction that changed the heap
bool changed = false;       // whether it changed what callers own

// Runs on the thread that is stepped, between two instructions.
void onStep(int /*signal*/) {
  if (std::memcmp(states.back().data(), watched->base(), watched->bytes()) != 0) states.push_back(stateOf(*watched));
}

template <class Call>
void step(TestHeap &heap, Call &&call) {
  watched = &heap;
  states = {stateOf(heap)};
  struct sigaction action {
  }, before{};
  action.sa_handler = onStep;
  sigaction(SIGTRAP, &action, &before);
  asm volatile("pushfq\n orq $0x100, (%%rsp)\n popfq" ::: "memory", "cc");
  call();
  asm volatile("pushfq\n andq $~0x100, (%%rsp)\n popfq" ::: "memory", "cc");
  sigaction(SIGTRAP, &before, nullptr);
}

// Returns true if two states differ, except in what is one word each and complete in itself: the latches, the mark that
// the settings were used, the intent.
bool differ(const State &a, const State &b) {
  for (std::size_t at = 0; at + 8 <= a.size(); at += 8) {
    const std::size_t field = at - kHeader;
    const bool isComplete = (field >= 0x60 && field < 0xe8) || (field >= 0x138 && field < 0x1e8) || at == kIntentAt;
    if (!isComplete && std::memcmp(&a[at], &b[at], 8) != 0) return true;
  }
  return false;
}

// Runs a call step by step. Extents come and go on their own within a call; what callers own changes at most once.
template <class Call>
void expectTruthfulSteps(TestHeap &heap, Call &&call) {
  const auto before = heap.look();
  step(heap, call);
  const auto after = heap.look();
  EXPECT_EQ(before.problem + after.problem, "");
  const auto ownedIn = [&](std::map<std::uint64_t, std::uint64_t> chain) {
    for (const auto *extents : {&before.extents, &after.extents}) {
      for (const auto &extent : *extents) chain.erase(extent.first);
    }
    return chain;
  };
  const auto was = ownedIn(before.allocated), is = ownedIn(after.allocated);
  changed = false;
  for (const State &state : states) {
    const auto now = ownedIn(test::allocatedChain(state.data(), kHeader));
    changed = changed || now != was;
    ASSERT_EQ(now, changed ? is : was) << "the chain is neither the state before nor the one after";
    if (!differ(states.front(), state) || !differ(state, states.back())) continue;
    ASSERT_NE(support::wordAt(state.data(), kIntentAt), 0u);
  }
}

TEST(HeapSteps, AllocationAndReleaseAreOneStoreEach) {
  TestHeap heap(16384, 10, 5);
  std::vector<std::uint64_t> chunks;
  std::set<std::size_t> extentCounts;
  for (std::uint32_t rc = 0; rc == 0 && !HasFailure();) {
    std::uint64_t chunk = 0;
    expectTruthfulSteps(heap, [&] { rc = heap.take(24, chunk); });
    EXPECT_EQ(changed, rc == 0);
    if (rc == 0) EXPECT_GT(states.size(), 10u) << "the call was not watched";
    if (rc == 0) chunks.push_back(chunk);
    extentCounts.insert(heap.look().extents.size());
  }
  EXPECT_GT(extentCounts.size(), 2u) << "growth was not among the changes";
  for (std::size_t i = 0; i < chunks.size() && !HasFailure(); ++i) {
    std::uint64_t &picked = chunks[(i * 7) % chunks.size()];
    if (picked != 0) expectTruthfulSteps(heap, [&] { static_cast<void>(heap.giveBack(picked)); });
    picked = 0;
  }
}

TEST(HeapSteps, CompactionNeverLosesAChunk) {
  TestHeap heap(16384, 30, 5);
  const std::vector<std::uint64_t> chunks = heap.fill(24);
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    if (i % 4 != 0) ASSERT_EQ(heap.giveBack(chunks[i]), 0u);  // three in a row merge and leave two nodes dead
  }
  const std::uint64_t next = heap.read(kArea + 0x18);
  expectTruthfulSteps(heap, [&] { static_cast<void>(sntrDefragmentSList(heap.base(), SNTR_HEAP_POOL, kHeader)); });
  EXPECT_LT(heap.read(kArea + 0x18), next) << "nothing was compacted";
  EXPECT_FALSE(changed);
}

}  // namespace
}  // namespace sntr

#endif
