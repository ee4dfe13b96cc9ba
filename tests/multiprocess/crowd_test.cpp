// SPDX-License-Identifier: MIT
// Several processes change the same heaps and the same lists at once. Each finds its own as it left it, and in the end
// nothing is left.
//
// Others are killed at random moments of their work. The rest go on: none hangs or crashes, latches pass to them, and
// every call returns a documented code. The dead process's current work may be lost.
//
// Half-made changes of a dead process are not repaired yet. At the moment of its death the record of allocated chunks
// is sound. But a later user of that heap may get memory twice, and may damage the record in turn. So the record is
// checked before any other change of the heap, in a new segment each time.
#include <cstring>
#include <list>
#include <map>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include "multiprocess/shared_segment.h"
#include "support/property_invariants.h"

namespace multiprocess_test {
namespace {

// The fate of the other processes in the segment.
enum class Others : bool { Live, MayDie };

enum class Action { Add, Delete, Set, Get };

// One process's work, a random step at a time. Blocks carry their owner's mark in every byte. Tags of properties and
// list entries are the owner's alone, if the others live.
class Worker {
 public:
  Worker(const SharedSegment &site, std::uint64_t mark, Others others)
      : site_(site), mark_(mark), others_(others), random_(static_cast<unsigned>(mark)) {
    std::uint64_t buckets = 0;
    EXPECT_RC(sntrGetHashTableSizeForRVProperties(site.node, SNTR_KIND_R, &buckets), Rc::Ok);
    deleteMisses_ = buckets == 0 ? Rc::RNotFound : Rc::RNotInTable;
  }

  void work(int steps) {
    for (int i = 0; i < steps && !testing::Test::HasFailure(); ++i) {
      const auto start = Clock::now();
      const std::uint64_t action = random_() % 32;
      if (action == 0) {
        makeAndDropPool();
      } else if (action < 16) {
        takeOrGive();
      } else if (action < 28 || others_ == Others::MayDie) {
        useProperty(static_cast<Action>(random_() % 4), random_() % kTags);
      } else {
        changeLists(random_() % 8);
      }
      EXPECT_LT(Clock::now() - start, std::chrono::seconds(5)) << "a dead process's latch did not pass over";
    }
  }

  // Reads the properties, which stay, and gives the rest back.
  void finish() {
    for (std::uint64_t which = 0; which < kTags; ++which) useProperty(Action::Get, which);
    while (!blocks_.empty()) give();
    while (!entries_.empty()) changeLists(*entries_.begin());
  }

 private:
  static constexpr std::uint64_t kTags = 24, kMost = 16;

  // After a death a heap or list may be half changed, and returns codes for it, but no others than these. A free
  // returns the pad type's code if its block was allocated a second time.
  void expect(std::uint32_t rc, Rc exact, const std::set<Rc> &afterDeath, const char *what) {
    if (others_ == Others::Live || !afterDeath.contains(static_cast<Rc>(rc))) EXPECT_RC(rc, exact) << what;
  }

  void makeAndDropPool() {
    ShmPoolHandle *pool = nullptr;
    expect(support::createPool(&pool, site_.domain, 0x800), Rc::Ok,
           {Rc::DomainFull, Rc::DomainNoBlockLargeEnough, Rc::ChunkOutsideHeap}, "create pool");
    if (pool == nullptr) return;
    expect(support::freePool(&pool, SNTR_FREE_POOL_IF_UNUSED), Rc::Ok, {Rc::DomainBlockNotFound, Rc::ChunkOutsideHeap},
           "free pool");
    if (pool != nullptr) EXPECT_RC(sntrDestroyShmPoolHandle(&pool), Rc::Ok);
  }

  void takeOrGive() {
    if (blocks_.size() == kMost || (!blocks_.empty() && random_() % 2 == 0)) return give();
    const std::string bytes(1 + random_() % 200, static_cast<char>(mark_));
    void *block = nullptr;
    const std::uint32_t rc = support::allocate(&block, site_.pool, bytes.size());
    expect(rc, Rc::Ok, {Rc::PoolFull, Rc::PoolNoBlockLargeEnough, Rc::ChunkOutsideHeap}, "allocate");
    if (rc == 0) blocks_.emplace_back(std::memcpy(block, bytes.data(), bytes.size()), bytes);
  }
  void give() {
    std::swap(blocks_[random_() % blocks_.size()], blocks_.back());
    auto [block, bytes] = blocks_.back();
    blocks_.pop_back();
    EXPECT_TRUE(others_ == Others::MayDie || std::memcmp(block, bytes.data(), bytes.size()) == 0) << "given out again";
    expect(support::release(&block, site_.pool), Rc::Ok,
           {Rc::PoolBlockNotFound, Rc::ChunkOutsideHeap, Rc::UnknownPadType}, "free");
  }

  void useProperty(Action action, std::uint64_t which) {
    const std::uint64_t tag = 1 + mark_ % 8 * kTags + which;
    const bool has = values_.contains(tag);
    const auto value = static_cast<std::int32_t>(random_());
    std::int32_t read = 0;
    if (action == Action::Add) {
      expect(sntrAddRProperty(site_.node, tag, value, 0), has ? Rc::RExists : Rc::Ok,
             {Rc::Ok, Rc::RExists, Rc::NoRoomForSlot, Rc::NextFreeOutsideArea, Rc::BadFreedStack, Rc::RDamaged}, "add");
      values_.emplace(tag, value);
    } else if (action == Action::Delete) {
      expect(sntrDeleteRProperty(site_.node, tag, 0), has ? Rc::Ok : deleteMisses_,
             {Rc::Ok, Rc::RNotInTable, Rc::NoRoomForFreedSlot, Rc::BadFreedStack, Rc::RDamaged}, "delete");
      values_.erase(tag);
    } else if (action == Action::Set) {
      expect(sntrSetValueForRProperty(site_.node, tag, value, 0), has ? Rc::Ok : Rc::RNotFound,
             {Rc::Ok, Rc::RNotFound, Rc::RDamaged}, "set");
      if (has) values_[tag] = value;
    } else {
      expect(sntrGetValueForRProperty(site_.node, tag, &read, 0), has ? Rc::Ok : Rc::RNotFound,
             {Rc::Ok, Rc::RNotFound, Rc::RDamaged}, "get");
      if (has && others_ == Others::Live) EXPECT_EQ(read, values_[tag]) << "tag " << tag;
    }
  }

  // Inserts a segment and a module, or deletes them.
  void changeLists(std::uint64_t which) {
    AttachSegInfo segment{}, *segmentStored = nullptr;
    GCFModuleInfo module{}, *moduleStored = nullptr;
    segment.key = {which, static_cast<std::uint32_t>(mark_)};
    module.path[0] = static_cast<char>('a' + which), module.path[1] = static_cast<char>('a' + mark_);
    if (entries_.insert(which).second) {
      EXPECT_RC(sntrInsertAttachSegInfoNodeIntoLList(site_.pool, &segment, &segmentStored), Rc::Ok);
      EXPECT_RC(sntrInsertGCFNodeIntoLList(site_.pool, &module, &moduleStored), Rc::Ok);
      EXPECT_RC(sntrInsertGCFNodeIntoLList(site_.pool, &module, &moduleStored), Rc::EntryExists);
    } else {
      entries_.erase(which);
      EXPECT_RC(sntrDeleteAttachSegInfoNodeFromLList(site_.pool, &segment.key), Rc::Ok);
      EXPECT_RC(sntrDeleteGCFNodeFromLList(site_.pool, module.path), Rc::Ok);
    }
  }

  const SharedSegment &site_;
  const std::uint64_t mark_;
  const Others others_;
  std::minstd_rand random_;
  Rc deleteMisses_;
  std::vector<std::pair<void *, std::string>> blocks_;  // with their bytes
  std::map<std::uint64_t, std::int32_t> values_;        // of the properties, by tag
  std::set<std::uint64_t> entries_;                     // of the lists
};

struct Crowd : SharedSegment {
  // A process that works until it gets a signal.
  Child::Work worker(std::uint64_t mark, Others others) {
    return connected([=, this] {
      Worker worker(*this, mark, others);
      ++*ready;
      while (*go == 0 && !HasFailure()) worker.work(1);
      worker.finish();
    });
  }

  // Returns the chunks of a heap: free ones, and the rest.
  auto chunksOf(std::uint64_t header) const {
    const sntr::test::HeapPicture picture = sntr::test::lookAtHeap(base(), header, header == 0);
    EXPECT_EQ(picture.problem, "");
    return std::pair(picture.free, picture.allocated);
  }

  // Checks the chunks by the level-0 chain: without overlap, inside, and with that of the pool or node that stays.
  void expectSoundRecords() {
    for (const std::uint64_t header : {std::uint64_t{0}, pool->poolHeaderOffset}) {
      std::uint64_t reached = header;
      for (const auto &[offset, size] : sntr::test::allocatedChain(base(), header)) {
        EXPECT_TRUE(offset >= reached && size > 0 && size <= kSize - offset) << header << ": " << offset << " " << size;
        reached = offset + size;
      }
      EXPECT_NE(reached, header) << "no chunk at all";
    }
  }

  static constexpr std::uint64_t kSize = 0x200000;
};

TEST_F(Crowd, EachFindsItsOwnAndTheHeapsAreGivenBack) {
  create(kSize, 0x100000);
  for (const std::uint32_t layout : {SNTR_LAYOUT_ARRAY, SNTR_LAYOUT_HASH}) {
    SCOPED_TRACE(layout == SNTR_LAYOUT_ARRAY ? "array" : "table");
    createNode(layout, 200, 8);
    const auto ofDomain = chunksOf(0), ofPool = chunksOf(pool->poolHeaderOffset);
    std::list<Child> others;
    for (std::uint64_t mark = 1; mark < 4; ++mark) others.emplace_back(worker(mark, Others::Live));
    EXPECT_TRUE(areReady(3));
    Worker here(*this, 4, Others::Live);
    here.work(kSanitized ? 5000 : 100000);
    *go = 1;
    here.finish();
    for (Child &other : others) EXPECT_EQ(other.result(), 0);
    EXPECT_EQ(chunksOf(0), ofDomain);
    EXPECT_EQ(chunksOf(pool->poolHeaderOffset), ofPool);
    EXPECT_EQ(support::checkInvariants(node).faults, "");
    EXPECT_EQ(infoOf(pool).connectCount, 1u);
    EXPECT_EQ(infoOf(domain).connectCount, 1u);
  }
}

// The moment of a signal cannot be replayed.
TEST_F(Crowd, TheDeadStopNobodyAndLeaveARecordOfWhatIsAllocated) {
  std::random_device random;
  std::uint64_t kills = 0;
  const auto end = Clock::now() + std::chrono::milliseconds(kSanitized ? 3500 : 7000);
  while (Clock::now() < end && !HasFailure()) {
    SCOPED_TRACE("after " + std::to_string(kills) + " kills");
    create(kSize, 0x100000);
    createNode(SNTR_LAYOUT_HASH, 200, 8);
    Worker here(*this, 2, Others::MayDie);
    std::list<Child> bystanders;
    int processes = 0;
    for (unsigned left = random() % 8 == 0 ? 20 : 1; left > 0 && !HasFailure(); --left, ++kills) {
      Child victim(worker(3 + kills % 100, Others::MayDie));
      ASSERT_TRUE(areReady(++processes));
      usleep(random() % 3000);
      victim.kill();
      if (bystanders.empty()) {
        expectSoundRecords();
        bystanders.emplace_back(worker(1, Others::MayDie));
        ASSERT_TRUE(areReady(++processes));
      }
      here.work(30);
    }
    here.finish();
    *go = 1;
    for (Child &bystander : bystanders) EXPECT_EQ(bystander.result(), 0);
    node = nullptr;
    ASSERT_RC(sntrDestroyShmPoolHandle(&pool), Rc::Ok);
    ASSERT_RC(sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_ALWAYS), Rc::Ok);
  }
  EXPECT_GE(kills, 20u);
}

}  // namespace
}  // namespace multiprocess_test
