// The heap from outside: best fit, merging, exhaustion, and what bad input gets.
#include <algorithm>
#include <random>

#include "layout/rc.h"
#include "support/heap_fixture.h"

namespace sntr {
namespace {

using test::HeapPicture;
using test::TestHeap;

constexpr std::uint64_t kPads = 0x20;  // of the default pad type

std::mt19937_64 seeded() {
  const char *const given = std::getenv("SNTR_TEST_SEED");
  const std::uint64_t seed = given != nullptr ? std::strtoull(given, nullptr, 0) : std::random_device{}();
  std::printf("SNTR_TEST_SEED=%llu replays this run\n", static_cast<unsigned long long>(seed));
  return std::mt19937_64(seed);
}

TEST(Heap, CutsTheHighEndOfTheSmallestBlockThatServes) {
  TestHeap heap(1 << 16);
  ASSERT_EQ(heap.created, 0u);
  const HeapPicture fresh = heap.look();
  ASSERT_EQ(fresh.problem, "");
  ASSERT_EQ(fresh.free.size(), 1u);
  std::uint64_t a = 0;
  std::uint64_t b = 0;
  ASSERT_EQ(heap.take(100, a), 0u);
  EXPECT_EQ(a, fresh.managedEnd - (104 + kPads)) << "a request is rounded up to 8 and cut from the high end";
  ASSERT_EQ(heap.take(8, b), 0u);
  EXPECT_EQ(b, a - (8 + kPads));
  EXPECT_EQ(heap.look().free.begin()->first, fresh.managedStart) << "the low part stays where it was";
  EXPECT_EQ(heap.look().problem, "");
}

// Among equal blocks the one freed last is used first; an exact fit takes the whole block.
TEST(Heap, PrefersTheBlockFreedLastAmongEquals) {
  TestHeap heap(1 << 16);
  std::vector<std::uint64_t> chunks(6);
  for (std::uint64_t &chunk : chunks) ASSERT_EQ(heap.take(64, chunk), 0u);
  for (const int i : {4, 0, 2}) ASSERT_EQ(heap.giveBack(chunks[static_cast<std::size_t>(i)]), 0u);
  for (const int i : {2, 0, 4}) {
    std::uint64_t again = 0;
    ASSERT_EQ(heap.take(64, again), 0u);
    EXPECT_EQ(again, chunks[static_cast<std::size_t>(i)]);
    EXPECT_EQ(heap.look().problem, "");
  }
}

TEST(Heap, MergesAReleasedChunkWithFreeNeighbours) {
  struct Row {
    const char *name;
    std::vector<int> first;
    int last;
    std::size_t blocks;  // free blocks afterwards, the large one included
  };
  // Chunk 0 lies highest in memory, chunk 4 borders on the large free block.
  const Row rows[] = {{"neither", {}, 2, 2},
                      {"below", {3}, 2, 2},
                      {"above", {1}, 2, 2},
                      {"both", {1, 3}, 2, 2},
                      {"the rest of the heap", {}, 4, 1},
                      {"everything", {0, 1, 2, 3}, 4, 1}};
  for (const Row &row : rows) {
    TestHeap heap(1 << 16);
    const HeapPicture fresh = heap.look();
    std::vector<std::uint64_t> chunks(5);
    for (std::uint64_t &chunk : chunks) ASSERT_EQ(heap.take(64, chunk), 0u);
    for (const int i : row.first) ASSERT_EQ(heap.giveBack(chunks[static_cast<std::size_t>(i)]), 0u);
    ASSERT_EQ(heap.giveBack(chunks[static_cast<std::size_t>(row.last)]), 0u);
    const HeapPicture picture = heap.look();
    EXPECT_EQ(picture.problem, "") << row.name;
    EXPECT_EQ(picture.free.size(), row.blocks) << row.name;
    for (const std::uint64_t chunk : chunks) {
      if (picture.allocated.count(chunk) != 0) ASSERT_EQ(heap.giveBack(chunk), 0u) << row.name;
    }
    EXPECT_EQ(heap.look().free, fresh.free) << row.name;
  }
}

TEST(Heap, RefusesWhatIsNotAChunk) {
  TestHeap heap(1 << 16);
  std::uint64_t chunk = 0;
  std::uint64_t second = 0;
  ASSERT_EQ(heap.take(64, second), 0u);
  ASSERT_EQ(heap.take(64, chunk), 0u);
  ASSERT_EQ(heap.giveBack(chunk), 0u);
  const std::vector<std::uint64_t> strangers = {chunk, chunk + 8, 0, ~std::uint64_t{0}, heap.total(), second + 8, 3};
  for (const std::uint64_t offset : strangers) {
    EXPECT_EQ(heap.giveBack(offset), code(Rc::PoolBlockNotFound)) << offset;
    EXPECT_EQ(heap.look().problem, "") << offset;
  }
  for (const std::uint64_t size : {std::uint64_t{1} << 17, ~std::uint64_t{0}, ~std::uint64_t{0} - 31}) {
    EXPECT_EQ(heap.take(size, chunk), code(Rc::PoolFull)) << size;
  }
  EXPECT_EQ(heap.take((1 << 16) - 16384, chunk), 0u);
  EXPECT_EQ(heap.take(20000, chunk), code(Rc::PoolFull));
}

// Fragmented: enough bytes in all, but no block of the size.
TEST(Heap, TellsAFullHeapFromAFragmentedOne) {
  TestHeap heap(1 << 16);
  const std::vector<std::uint64_t> chunks = heap.fill(1000);
  for (std::size_t i = 0; i < chunks.size(); i += 2) ASSERT_EQ(heap.giveBack(chunks[i]), 0u);
  std::uint64_t chunk = 0;
  EXPECT_EQ(heap.take(5000, chunk), code(Rc::PoolNoBlockLargeEnough));
  EXPECT_EQ(heap.look().problem, "");
}

// The words that lead a release to its record, and from there back, may say anything: the record is found all the same.
TEST(Heap, ReleasesAChunkWhateverLeadsToItsRecord) {
  for (const bool hint : {true, false}) {
    for (int wrong = 0; wrong < 6; ++wrong) {
      TestHeap heap(1 << 16);
      constexpr std::uint64_t kArea = TestHeap::kHeader + 0x1e8;
      std::vector<std::uint64_t> chunks(5);
      for (std::uint64_t &chunk : chunks) ASSERT_EQ(heap.take(64, chunk), 0u);
      const auto record = [&](std::size_t i) {
        return kArea + 8 * std::uint64_t{heap.read<std::uint32_t>(chunks[i] + 8)};
      };
      const std::uint64_t own = record(2), back = own + 0x30 + 8 * (heap.read<std::uint64_t>(own + 0x20) + 1);
      const std::uint64_t values[] = {0, record(1), record(4), own, kArea + 0x40, heap.bytes() - 8};
      const std::uint64_t value = values[wrong] != heap.read<std::uint64_t>(back) ? values[wrong] : 8;
      if (hint) heap.write<std::uint32_t>(chunks[2] + 8, static_cast<std::uint32_t>((value - kArea) / 8));
      if (!hint) heap.write<std::uint64_t>(back, value);
      EXPECT_EQ(heap.giveBack(chunks[2]), 0u) << value;
      EXPECT_EQ(heap.giveBack(chunks[2]), code(Rc::PoolBlockNotFound)) << value;
      EXPECT_EQ(heap.look().problem, "") << value;
      EXPECT_EQ(heap.look().allocated.size(), 4u) << value;
    }
  }
}

struct FillRow {
  const char *name;
  std::uint64_t slots;
  std::uint64_t levels;
  std::uint64_t size;
};

// Whatever the order of release, the bookkeeping that a full heap needed goes back.
TEST(Heap, IsAsGoodAsNewAfterBeingFullAndEmptied) {
  std::mt19937_64 random = seeded();
  const FillRow rows[] = {
      {"8-byte blocks", 125, 10, 8},        {"node-sized blocks", 125, 10, 112}, {"one slot", 1, 10, 8},
      {"three slots, one level", 3, 1, 24}, {"two slots, 25 levels", 2, 25, 8},  {"large blocks", 125, 7, 4096}};
  for (const FillRow &row : rows) {
    TestHeap heap(1 << 20, row.slots, row.levels);
    ASSERT_EQ(heap.created, 0u) << row.name;
    const HeapPicture fresh = heap.look();
    std::size_t firstRound = 0;
    for (int round = 0; round < 2; ++round) {
      std::srand(1);  // levels are chance: two rounds compare only with the same luck
      std::vector<std::uint64_t> chunks = heap.fill(row.size);
      ASSERT_EQ(heap.look().problem, "") << row.name;
      if (round == 0) firstRound = chunks.size();
      EXPECT_GE(chunks.size() * 100, firstRound * 99) << row.name << ": " << firstRound << " in the first round";
      std::shuffle(chunks.begin(), chunks.end(), random);
      for (const std::uint64_t chunk : chunks) ASSERT_EQ(heap.giveBack(chunk), 0u) << row.name;
      const HeapPicture empty = heap.look();
      EXPECT_EQ(empty.problem, "") << row.name;
      EXPECT_EQ(empty.free, fresh.free) << row.name;
    }
  }
}

// Room for bookkeeping is found anywhere, not only behind the skip-list area.
TEST(Heap, GrowsItsBookkeepingElsewhereWhenTheBlockBehindItIsTaken) {
  TestHeap heap(1 << 20, 25);
  std::vector<std::uint64_t> large = heap.fill(32768);
  const std::uint64_t lowest = *std::min_element(large.begin(), large.end());
  std::uint64_t rest = 0;
  while (heap.take(512, rest) == 0) large.push_back(rest);
  for (const std::uint64_t chunk : large) {
    if (chunk != lowest && chunk > lowest) ASSERT_EQ(heap.giveBack(chunk), 0u);
  }
  const std::vector<std::uint64_t> small = heap.fill(8);
  const HeapPicture full = heap.look();
  EXPECT_EQ(full.problem, "");
  EXPECT_GT(small.size(), 5000u);
  EXPECT_FALSE(full.extents.empty());
  EXPECT_LT(full.largestFree, 8 + kPads) << "refused although a block was large enough";
}

// A million operations against a model that knows only which ranges are allocated.
TEST(Heap, AgreesWithAModelUnderRandomUse) {
#if SNTR_SANITIZED
  constexpr int kOperations = 100000;
#else
  constexpr int kOperations = 1000000;
#endif
  std::mt19937_64 random = seeded();
  TestHeap heap(1 << 20, 125);
  std::vector<std::uint64_t> live;
  std::map<std::uint64_t, std::uint64_t> model;
  for (int i = 0; i < kOperations; ++i) {
    const bool growing = (i / 20000) % 2 == 0;
    if (live.empty() || random() % 100 < (growing ? 60u : 40u)) {
      const std::uint64_t size = random() % (i % 100 == 0 ? 20000 : 300);
      std::uint64_t chunk = 0;
      const std::uint32_t rc = heap.take(size, chunk);
      if (rc != 0) {
        ASSERT_TRUE(rc == code(Rc::PoolFull) || rc == code(Rc::PoolNoBlockLargeEnough)) << std::hex << rc;
        continue;
      }
      live.push_back(chunk);
      model[chunk] = ((size + 7) & ~std::uint64_t{7}) + kPads;
    } else {
      const std::size_t pick = random() % live.size();
      ASSERT_EQ(heap.giveBack(live[pick]), 0u);
      model.erase(live[pick]);
      live[pick] = live.back();
      live.pop_back();
    }
    if (i % (kOperations / 200) != 0) continue;
    HeapPicture picture = heap.look();
    ASSERT_EQ(picture.problem, "") << "after " << i << " operations";
    for (const auto &extent : picture.extents) picture.allocated.erase(extent.first);
    ASSERT_EQ(picture.allocated.size(), model.size()) << "after " << i << " operations";
    for (const auto &[offset, size] : model) {
      const std::uint64_t taken = picture.allocated[offset];  // a little more where a node for the rest had no room
      ASSERT_TRUE(taken >= size && taken < size + 192) << taken << " for " << size << " after " << i << " operations";
    }
  }
}

// Any word of header, lists and chunks may hold anything: codes, but no crash, no hang, no write outside.
TEST(Heap, SurvivesDamageAnywhere) {
  std::mt19937_64 random = seeded();
  for (int trial = 0; trial < (SNTR_SANITIZED ? 1000 : 5000); ++trial) {
    TestHeap heap(16384, 10, 5);
    std::vector<std::uint64_t> chunks = heap.fill(40);
    for (std::size_t i = 0; i < chunks.size(); i += 3) ASSERT_EQ(heap.giveBack(chunks[i]), 0u);
    for (int words = 0; words < 1 + trial % 3; ++words) {
      const std::uint64_t at = TestHeap::kHeader + 8 * (random() % (heap.total() / 8));
      // Not the total size: only a handle knows how much is really mapped. Not the latches: they have tests of their
      // own.
      const std::uint64_t field = at - TestHeap::kHeader;
      if (field == 0x38 || (field >= 0x60 && field < 0xe8) || (field >= 0x160 && field < 0x1e8)) continue;
      const std::uint64_t junk[] = {0, ~std::uint64_t{0}, random(), 8 * (random() % 2048), random() % 64, at};
      heap.write<std::uint64_t>(at, junk[random() % 6]);
    }
    for (const std::uint64_t chunk : chunks) static_cast<void>(heap.giveBack(chunk));
    std::uint64_t chunk = 0;
    for (const std::uint64_t size : {8u, 40u, 200u, 2000u}) static_cast<void>(heap.take(size, chunk));
    static_cast<void>(sntrDefragmentSList(heap.base(), SNTR_HEAP_POOL, TestHeap::kHeader));
  }
}

}  // namespace
}  // namespace sntr
