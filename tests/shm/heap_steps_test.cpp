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
using Chain = std::map<std::uint64_t, std::uint64_t>;

struct Watch {
  const char *memory = nullptr;
  std::size_t bytes = 0;
  std::vector<char> last;  // as after the previous instruction
  std::vector<std::vector<char>> *states = nullptr;
};
Watch watch;

// Copies the heap whenever the last instruction changed it. Runs on the thread that is stepped, between two
// instructions.
void onStep(int /*signal*/) {
  if (std::memcmp(watch.last.data(), watch.memory, watch.bytes) == 0) return;
  std::memcpy(watch.last.data(), watch.memory, watch.bytes);
  watch.states->push_back(watch.last);
}

template <class Call>
std::vector<std::vector<char>> statesDuring(TestHeap &heap, Call &&call) {
  std::vector<std::vector<char>> states;
  watch = Watch{heap.base(), heap.bytes(), std::vector<char>(heap.base(), heap.base() + heap.bytes()), &states};
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = onStep;
  sigaction(SIGTRAP, &action, &before);
  asm volatile("pushfq\n orq $0x100, (%%rsp)\n popfq" ::: "memory", "cc");
  call();
  asm volatile("pushfq\n andq $~0x100, (%%rsp)\n popfq" ::: "memory", "cc");
  sigaction(SIGTRAP, &before, nullptr);
  return states;
}

constexpr std::uint64_t kIntentAt = TestHeap::kHeader + 0x1e8 + 0x38;

// What changes outside the heap's records proper, one word each and complete in itself: the latches, the mark that the
// settings were used.
bool isBookkeeping(std::size_t at) {
  const std::size_t field = at - TestHeap::kHeader;
  return (field >= 0x60 && field < 0xe8) || (field >= 0x138 && field < 0x1e8);
}

std::size_t wordsChanged(const std::vector<char> &a, const std::vector<char> &b) {
  std::size_t changed = 0;
  for (std::size_t at = 0; at + 8 <= a.size(); at += 8) {
    if (!isBookkeeping(at) && at != kIntentAt && std::memcmp(&a[at], &b[at], 8) != 0) ++changed;
  }
  return changed;
}

std::uint64_t intentIn(const std::vector<char> &state) {
  std::uint64_t intent = 0;
  std::memcpy(&intent, &state[kIntentAt], 8);
  return intent;
}

Chain withoutExtents(const Chain &chain, const std::map<std::uint64_t, std::uint64_t> &extents) {
  Chain rest = chain;
  for (const auto &extent : extents) rest.erase(extent.first);
  return rest;
}

// Runs a call step by step. Extents come and go on their own within a call; what callers own changes at most once.
template <class Call>
std::size_t expectTruthfulSteps(TestHeap &heap, const char *name, Call &&call) {
  const std::vector<char> start(heap.base(), heap.base() + heap.bytes());
  const auto before = heap.look();
  const auto states = statesDuring(heap, call);
  const auto after = heap.look();
  EXPECT_EQ(before.problem, "") << name;
  EXPECT_EQ(after.problem, "") << name;
  std::map<std::uint64_t, std::uint64_t> extents = before.extents;
  extents.insert(after.extents.begin(), after.extents.end());
  const Chain was = withoutExtents(before.allocated, extents);
  const Chain is = withoutExtents(after.allocated, extents);
  bool changed = false;
  for (const auto &state : states) {
    const Chain now = withoutExtents(test::allocatedChain(state.data(), TestHeap::kHeader), extents);
    if (now != was) changed = true;
    EXPECT_EQ(now, changed ? is : was) << name << ": the chain is neither the state before nor the one after";
    const bool moreThanOne = wordsChanged(start, state) > 0 && state != states.back();
    if (moreThanOne && wordsChanged(state, states.back()) > 0) EXPECT_NE(intentIn(state), 0u) << name;
    if (::testing::Test::HasFailure()) return states.size();
  }
  return states.size();
}

TEST(HeapSteps, AllocationAndReleaseAreOneStoreEach) {
  TestHeap heap(16384, 10, 5);
  std::vector<std::uint64_t> chunks;
  std::set<std::size_t> extentCounts;
  for (bool refused = false; !refused;) {
    std::uint64_t chunk = 0;
    const std::size_t steps = expectTruthfulSteps(heap, "take", [&] { refused = heap.take(24, chunk) != 0; });
    if (HasFailure()) return;
    if (!refused) EXPECT_GT(steps, 10u) << "the call was not watched";
    if (!refused) chunks.push_back(chunk);
    extentCounts.insert(heap.look().extents.size());
  }
  EXPECT_GT(extentCounts.size(), 2u) << "growth was not among the changes";
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    const std::size_t pick = (i * 7) % chunks.size();
    if (chunks[pick] == 0) continue;
    expectTruthfulSteps(heap, "give back", [&] { static_cast<void>(heap.giveBack(chunks[pick])); });
    if (HasFailure()) return;
    chunks[pick] = 0;
  }
}

TEST(HeapSteps, CompactionNeverLosesAChunk) {
  TestHeap heap(16384, 30, 5);
  std::vector<std::uint64_t> chunks = heap.fill(24);
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    if (i % 4 != 0) ASSERT_EQ(heap.giveBack(chunks[i]), 0u);  // three in a row merge and leave two nodes dead
  }
  const auto before = heap.look();
  const std::uint64_t next = heap.read<std::uint64_t>(TestHeap::kHeader + 0x1e8 + 0x18);
  expectTruthfulSteps(heap, "compact",
                      [&] { static_cast<void>(sntrDefragmentSList(heap.base(), SNTR_HEAP_POOL, TestHeap::kHeader)); });
  EXPECT_LT(heap.read<std::uint64_t>(TestHeap::kHeader + 0x1e8 + 0x18), next) << "nothing was compacted";
  EXPECT_EQ(withoutExtents(heap.look().allocated, heap.look().extents),
            withoutExtents(before.allocated, before.extents));
}

}  // namespace
}  // namespace sntr

#endif
