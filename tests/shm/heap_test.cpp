// SPDX-License-Identifier: MIT
// The heap from outside: held against a model under random use; its list operations for storage laid out by hand; the
// pads around a chunk, and the place of repair.
#include <algorithm>
#include <random>

#include "shm/chunk_pads.h"
#include "shm/heap_repair.h"
#include "support/codes.h"
#include "support/heap_fixture.h"

namespace sntr {

// Stands in for the library's own, which does nothing yet.
int repairsReached = 0;
void repairHeap(const HeapView & /*view*/) { ++repairsReached; }

namespace {

using test::HeapPicture;
using test::TestHeap;

constexpr std::uint64_t kHeader = TestHeap::kHeader, kArea = kHeader + 0x1e8;
constexpr std::uint64_t kPads = 0x20;  // of the default pad type

std::mt19937_64 seeded() {
  const char *const given = std::getenv("SNTR_TEST_SEED");
  const std::uint64_t seed = given != nullptr ? std::strtoull(given, nullptr, 0) : std::random_device{}();
  std::printf("SNTR_TEST_SEED=%llu replays this run\n", static_cast<unsigned long long>(seed));
  return std::mt19937_64(seed);
}

// Returns the offset of the first of the smallest blocks that hold n bytes; 0 if there is none.
std::uint64_t bestFit(const HeapPicture &picture, std::uint64_t n) {
  const auto serves = [&](std::uint64_t block) { return picture.free.at(block) >= n; };
  const auto found = std::ranges::find_if(picture.bySize, serves);
  return found == picture.bySize.end() ? 0 : *found;
}

// A heap in use, and a model that holds only which ranges are allocated. A checked call looks at the heap before and
// after.
struct Model {
  TestHeap heap;
  std::mt19937_64 &random;
  std::map<std::uint64_t, std::uint64_t> chunks = {};

  void take(std::uint64_t size, bool checked) {
    const HeapPicture before = checked ? heap.look() : HeapPicture{};
    const std::uint64_t n = ((size + 7) & ~std::uint64_t{7}) + kPads, free = heap.read(kHeader + 0x40);
    std::uint64_t chunk = 0;
    const std::uint32_t rc = heap.take(size, chunk);
    if (rc == 0) chunks[chunk] = n;
    if (rc != 0) ASSERT_RC(rc, free < n ? Rc::PoolFull : Rc::PoolNoBlockLargeEnough) << n << " of " << free;
    if (!checked) return;
    const HeapPicture after = look();
    const std::uint64_t fit = bestFit(before, n);
    ASSERT_EQ(rc == 0, fit != 0) << n << " bytes";
    if (rc != 0) ASSERT_EQ(after.free, before.free);
    if (rc != 0 || after.extents != before.extents || after.allocated.at(chunk) != n) return;
    ASSERT_EQ(chunk, fit + before.free.at(fit) - n) << "not the high end of the block freed last among the best";
    if (chunk != fit) ASSERT_EQ(bestFit(after, chunk - fit), fit) << "the rest is not the first of its size";
  }

  void giveBack(bool checked) {
    auto picked = chunks.lower_bound(random() % heap.bytes());
    if (picked == chunks.end()) picked = chunks.begin();
    const std::uint64_t chunk = picked->first;
    const HeapPicture before = checked ? heap.look() : HeapPicture{};
    misleadFrom(chunk);
    ASSERT_EQ(heap.giveBack(chunk), 0u);
    chunks.erase(picked);
    if (!checked) return;
    HeapPicture after = look();
    const auto &[block, size] = *std::prev(after.free.upper_bound(chunk));
    if (after.extents == before.extents) ASSERT_EQ(bestFit(after, size), block) << "not the first of its size";
    after.extents.insert({{chunk, 0}, {chunk + 8, 0}, {block + size + 8, 0}, {3, 0}, {~std::uint64_t{0}, 0}});
    for (const auto &stranger : after.extents) {
      ASSERT_RC(heap.giveBack(stranger.first), Rc::PoolBlockNotFound) << stranger.first;
    }
  }

  // Spoils the words that lead a release to its record, or from there back to its neighbour: they may say anything.
  void misleadFrom(std::uint64_t chunk) {
    const std::uint64_t junk[] = {0, chunk, heap.read32(chunks.begin()->first + 8), random() % heap.bytes()};
    const std::uint64_t record = kArea + 8 * std::uint64_t{heap.read32(chunk + 8)};
    const bool isRecord = heap.read(record) == chunk && heap.read(record + 0x28) == std::uint64_t{1} << 32;
    if (random() % 4 == 0) heap.write32(chunk + 8, static_cast<std::uint32_t>(junk[random() % 4]));
    if (isRecord && random() % 4 == 0) heap.write(record + 0x38 + 8 * heap.read(record + 0x20), junk[random() % 4]);
  }

  // The walk has seen that free blocks and chunks tile the heap and that no two free blocks touch; so these are merged.
  HeapPicture look() {
    HeapPicture picture = heap.look();
    EXPECT_EQ(picture.problem, "");
    EXPECT_EQ(picture.allocated.size(), chunks.size() + picture.extents.size());
    for (const auto &[offset, size] : chunks) {
      const std::uint64_t taken = picture.allocated[offset];  // a little more if a node for the rest had no room
      EXPECT_TRUE(taken >= size && taken < size + 192) << taken << " for " << size;
    }
    return picture;
  }
};

const struct {
  const char *name;
  std::uint64_t total, slots, levels, sizes;
  int operations, phase, checkEvery;
} kRuns[] = {{"mixed sizes", 1 << 20, 125, 10, 300, 1000000, 20000, 5000},
             {"8-byte blocks, one slot", 1 << 20, 1, 10, 8, 100000, 40000, 5000},
             {"few sizes, often full", 1 << 15, 10, 5, 60, 20000, 1000, 1},
             {"three slots, one level", 1 << 14, 3, 1, 200, 20000, 1000, 1},
             {"two slots, 25 levels", 1 << 14, 2, 25, 100, 20000, 1000, 1}};

TEST(Heap, AgreesWithAModelAndIsAsGoodAsNewAfterwards) {
  std::mt19937_64 random = seeded();
  for (const auto &row : kRuns) {
    SCOPED_TRACE(row.name);
    Model model{TestHeap(row.total, row.slots, row.levels), random};
    const HeapPicture fresh = model.heap.look();
    for (int i = 0; i < row.operations / (SNTR_SANITIZED ? 10 : 1); ++i) {
      const bool checked = i % row.checkEvery == 0, growing = i / row.phase % 2 == 0;
      if (model.chunks.empty() || random() % 100 < (growing ? 65u : 35u)) {
        model.take(random() % (i % 100 == 0 ? 20000 : row.sizes + 1), checked);
      } else {
        model.giveBack(checked);
      }
      if (checked && i % 64 == 0) EXPECT_RC(sntrDefragmentSList(model.heap.base(), 2, kHeader), Rc::Ok);
      if (HasFailure()) FAIL() << "operation " << i;
    }
    while (!model.chunks.empty() && !HasFailure()) model.giveBack(false);
    EXPECT_EQ(model.look().free, fresh.free);
    const auto most = [&](TestHeap &heap) {
      std::srand(1);  // levels are chance: two heaps compare only with the same luck
      return heap.fill(row.sizes).size();
    };
    TestHeap another(row.total, row.slots, row.levels);
    EXPECT_GE(most(model.heap) * 100, most(another) * 99) << "room for nodes was lost";
  }
}

class HeapLists : public ::testing::Test {
 protected:
  // A list operation on this heap.
  template <class... Args>
  std::uint32_t call(std::uint32_t (*operation)(void *, std::uint32_t, std::uint64_t, Args...),
                     std::type_identity_t<Args>... given) {
    return operation(heap.base(), SNTR_HEAP_POOL, kHeader, given...);
  }
  void expectFree(std::uint64_t bytes) {
    EXPECT_EQ(heap.look().problem, "");
    EXPECT_EQ(heap.read(kHeader + 0x40), bytes);
  }

  TestHeap heap{1 << 16};
  const std::uint64_t start = heap.look().managedStart, end = heap.look().managedEnd, all = end - start;
  std::uint64_t chunk = 0, node = 0, size = 0;
};

TEST_F(HeapLists, MoveABlockFromFreeToAllocatedAndBack) {
  ASSERT_RC(call(sntrGetFreeBlockFromSList, 256, &chunk), Rc::Ok);
  EXPECT_EQ(chunk, end - 256);
  ASSERT_RC(call(sntrInsertAllocMemChunk, chunk, 256), Rc::Ok);
  expectFree(all - 256);
  EXPECT_RC(call(sntrInsertAllocMemChunk, chunk + 248, 8), Rc::PoolBlockNotFound) << "it overlaps the one before it";
  EXPECT_RC(call(sntrInsertAllocMemChunk, chunk - 8, 16), Rc::PoolBlockNotFound) << "it overlaps the one behind it";
  EXPECT_RC(call(sntrReturnFreeBlockToSList, chunk + 8, 8), Rc::PoolBlockNotFound);
  ASSERT_RC(call(sntrDeleteAllocMemBlock, chunk, &size), Rc::Ok);
  EXPECT_EQ(size, 256u);
  ASSERT_RC(call(sntrReturnFreeBlockToSList, chunk, 256), Rc::Ok);
  EXPECT_RC(call(sntrReturnFreeBlockToSList, chunk, 256), Rc::PoolBlockNotFound) << "twice";
  expectFree(all);
  ASSERT_RC(call(sntrGetFreeBlockFromSList, all, &chunk), Rc::Ok);
  ASSERT_RC(call(sntrInsertAllocMemChunk, chunk, all), Rc::Ok);
  expectFree(0);
}

TEST_F(HeapLists, UnlinkANodeAndLinkItAgain) {
  EXPECT_RC(call(sntrFindFreeBlockInSList, start - 8, &node, &size), Rc::PoolBlockNotFound) << "the one behind it";
  ASSERT_RC(call(sntrFindFreeBlockInSList, start, &node, &size), Rc::Ok);
  EXPECT_EQ(size, all);
  EXPECT_RC(call(sntrInsertFreeMemBlock, node), Rc::PoolBlockNotFound) << "it is linked";
  ASSERT_RC(call(sntrDeleteFreeMemBlock, node), Rc::Ok);
  EXPECT_EQ(heap.read(kHeader + 0x40), 0u);
  EXPECT_RC(call(sntrDeleteFreeMemBlock, node), Rc::ChunkOutsideHeap) << "it is dead";
  EXPECT_RC(call(sntrFindFreeBlockInSList, start, &node, &size), Rc::PoolBlockNotFound);
  EXPECT_RC(call(sntrGetFreeBlockFromSList, 8, &chunk), Rc::PoolNoBlockLargeEnough);
  ASSERT_RC(call(sntrInsertAllocMemBlock, node), Rc::Ok);
  expectFree(0);
  ASSERT_RC(call(sntrDeleteAllocMemBlock, start, &size), Rc::Ok);
  ASSERT_RC(call(sntrInsertFreeMemBlock, node), Rc::Ok);
  expectFree(all);
}

// Dead nodes, nodes of the other list, a list that leads back into itself, and links that do not lead back.
TEST_F(HeapLists, RefuseDamagedNodesAndLinks) {
  ASSERT_RC(call(sntrFindFreeBlockInSList, start, &node, &size), Rc::Ok);
  const std::uint64_t links = 8 * (heap.read(node + 0x20) + 1), forward = node + 0x30 + 2 * links,
                      back = forward + links;
  const std::pair<std::uint64_t, std::uint64_t> rows[] = {
      {node + 0x28, 0xdead}, {node + 0x28, std::uint64_t{1} << 32}, {forward, node}, {forward, 999}, {back, node}};
  for (const auto &[at, value] : rows) {
    const std::uint64_t sound = heap.read(at);
    heap.write(at, value);
    EXPECT_RC(call(sntrGetFreeBlockFromSList, at == forward ? all + 8 : 8, &chunk), Rc::ChunkOutsideHeap) << value;
    heap.write(at, sound);
  }
  expectFree(all);
}

TEST_F(HeapLists, RefuseBadInput) {
  EXPECT_RC(sntrDefragmentSList(nullptr, 2, kHeader), Rc::NullBase);
  EXPECT_RC(sntrDefragmentSList(heap.base(), 3, kHeader), Rc::BadHeapType);
  EXPECT_RC(sntrConnectToStorageHeap(heap.base(), 1, kHeader), Rc::NotADomain) << "a pool is no domain";
  for (const std::uint64_t wrong : {kHeader + 4, kHeader + 8, ~std::uint64_t{7}}) {
    EXPECT_RC(sntrConnectToStorageHeap(heap.base(), 2, wrong), Rc::PoolOffsetMismatch) << wrong;
  }
  EXPECT_RC(call(sntrGetFreeBlockFromSList, 8, nullptr), Rc::NullStorageOutput);
  EXPECT_RC(call(sntrGetFreeBlockFromSList, 12, &chunk), Rc::ChunkOutsideHeap);
  for (const std::uint64_t bad : {std::uint64_t{0}, start - 8, end, start + 4, ~std::uint64_t{7}}) {
    EXPECT_RC(call(sntrInsertFreeMemChunk, bad, 8), Rc::ChunkOutsideHeap) << bad;
    EXPECT_RC(call(sntrInsertAllocMemChunk, bad, 8), Rc::ChunkOutsideHeap) << bad;
    EXPECT_RC(call(sntrDeleteFreeMemBlock, bad), Rc::ChunkOutsideHeap) << bad;
  }
  for (const std::uint64_t levels : {0u, 26u}) {
    EXPECT_RC(TestHeap(1 << 16, 50, levels).created, Rc::PoolHeaderMisfit) << levels;
  }
  EXPECT_RC(call(sntrChangeSlistSpace, ~std::uint64_t{0}), Rc::PoolFull);
  for (const std::uint64_t large : {end, ~std::uint64_t{0}, ~std::uint64_t{31}}) {
    EXPECT_RC(heap.take(large, chunk), Rc::PoolFull) << large;
  }
  expectFree(all);
}

// Space asked for by hand goes back with the first release that finds it idle; without its mark it is damage.
TEST_F(HeapLists, SpaceGrowsOnDemandAndGoesBack) {
  ASSERT_RC(call(sntrChangeSlistSpace, 10000), Rc::Ok);
  const auto [extent, bytes] = *heap.look().extents.begin();
  EXPECT_GE(bytes, 10000u);
  expectFree(all - bytes);
  const std::uint32_t mark = heap.read32(extent + 12);
  heap.write32(extent + 12, 0);
  EXPECT_RC(call(sntrDefragmentSList), Rc::ChunkOutsideHeap);
  heap.write32(extent + 12, mark);
  ASSERT_RC(heap.take(8, chunk), Rc::Ok);
  ASSERT_RC(heap.giveBack(chunk), Rc::Ok);
  expectFree(all);
}

// A heap whose last holder died in a change is offered for repair once at each entry, and works on.
TEST_F(HeapLists, ReachTheRepairWhenAnIntentIsLeft) {
  repairsReached = 0;
  ASSERT_RC(heap.take(all - kPads, chunk), Rc::Ok) << "down to the last byte";
  EXPECT_EQ(repairsReached, 0);
  heap.write(kArea + 0x38, 0x1001);
  ASSERT_RC(call(sntrConnectToStorageHeap), Rc::Ok);
  EXPECT_EQ(repairsReached, 1);
}

const struct {
  std::uint32_t type, front, back;
  std::uint64_t added, before;  // bytes in all, and before the caller's
  std::uint64_t size, counts;   // how far before the caller's bytes their size and the two counts stand; 0: nowhere
} kPadRows[] = {{0, 1, 1, 0x10, 0x10, 0, 0},
                {0xc0de1d1e, 8, 8, 0x10, 0x10, 0, 0},
                {0xeebc011a, 2, 2, 0x20, 0x10, 0, 0},
                {0xdabc011a, 2, 2, 0x30, 0x18, 0x10, 0},
                {0xa110cbee, 1, 8, 0x30 + 72, 0x28, 0x10, 0x18},
                {0xa110cbad, 3, 2, 0x40 + 40, 0x40, 0x10, 0x20},
                {0xa110ce87, 8, 1, 0x48 + 72, 0x78, 0x10, 0x18},
                {0x78ec011a, 2, 5, 0x58 + 56, 0x50, 0x10, 0x20}};

TEST_F(HeapLists, PutThePadsOfEachSchemeAroundAChunk) {
  for (const auto &row : kPadRows) {
    SCOPED_TRACE(testing::Message() << std::hex << row.type);
    heap.write32(kHeader + 0x13c, row.type);
    heap.write(kHeader + 0x158, row.front | std::uint64_t{row.back} << 32);
    std::uint64_t user = 0, front = 0;
    ASSERT_RC(sntrGetMemChunkFromShmHeap(heap.base(), 2, kHeader, 40, 0, nullptr, 0, &chunk, &user), Rc::Ok);
    EXPECT_EQ(user - chunk, row.before);
    EXPECT_EQ(heap.look().allocated[chunk], 40 + row.added);
    EXPECT_EQ(heap.read32(user - 4), row.type);
    if (row.size != 0) EXPECT_EQ(heap.read(user - row.size), 40u);
    if (row.counts != 0) EXPECT_EQ(heap.read(user - row.counts), row.front | std::uint64_t{row.back} << 32);
    EXPECT_EQ(frontOfBlock(reinterpret_cast<std::byte *>(heap.base()) + user, user, front), Rc::Ok);
    EXPECT_EQ(front, row.before) << "the way back from the block to its chunk";
    ASSERT_RC(heap.giveBack(chunk), Rc::Ok);
  }
  expectFree(all);
}

}  // namespace
}  // namespace sntr
