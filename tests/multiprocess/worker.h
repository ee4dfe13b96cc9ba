// One process's share of work in a segment: blocks, pools and properties at random, and the codes that it may meet.
#pragma once

#include <chrono>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "multiprocess/shared_segment.h"

namespace multiprocess_test {

using Clock = std::chrono::steady_clock;

// What may happen to the processes that work in the same segment.
enum class Others : bool { Live, MayDie };

// After a death a heap or list may be half changed, and says so; but it has no other codes than these. The pad
// type is met by a free whose block was given out a second time.
using Codes = std::set<Rc>;

inline const Codes kTaking{Rc::Ok, Rc::PoolFull, Rc::PoolNoBlockLargeEnough, Rc::ChunkOutsideHeap};
inline const Codes kGiving{Rc::Ok, Rc::PoolBlockNotFound, Rc::ChunkOutsideHeap, Rc::UnknownPadType};
inline const Codes kMaking{Rc::Ok, Rc::DomainFull, Rc::DomainNoBlockLargeEnough, Rc::ChunkOutsideHeap};
inline const Codes kDropping{Rc::Ok, Rc::DomainBlockNotFound, Rc::ChunkOutsideHeap};
inline const Codes kAdding{Rc::Ok,      Rc::RExists, Rc::NoRoomForSlot, Rc::NextFreeOutsideArea, Rc::BadFreedStack,
                           Rc::RDamaged};
inline const Codes kDeleting{Rc::Ok, Rc::RNotInTable, Rc::NoRoomForFreedSlot, Rc::BadFreedStack, Rc::RDamaged};
inline const Codes kSetting{Rc::Ok, Rc::RNotFound, Rc::RDamaged};

// One process's work, a random step at a time. Blocks carry their owner's mark in every byte.
class Worker {
 public:
  Worker(ShmDomainHandle *domain, ShmPoolHandle *pool, SNodeCB_t *node, std::uint64_t mark, Others others)
      : domain_(domain), pool_(pool), node_(node), mark_(mark), others_(others), random_(static_cast<unsigned>(mark)) {}

  ~Worker() {
    if (own_ != nullptr) EXPECT_RC(sntrDestroyShmPoolHandle(&own_), Rc::Ok);
  }
  Worker(const Worker &) = delete;
  Worker &operator=(const Worker &) = delete;

  void step() {
    const auto start = Clock::now();
    const std::uint64_t tag = 1 + (mark_ % 8) * 16 + random_() % 16;
    const std::uint64_t action = random_() % 32;
    if (action == 0) {
      makeOrDrop();
    } else if (action < 18) {
      takeOrGive();
    } else if (action < 23) {
      expectOneOf(kAdding, sntrAddRProperty(node_, tag, 1, 0), "add");
    } else if (action < 28) {
      expectOneOf(kDeleting, sntrDeleteRProperty(node_, tag, 0), "delete");
    } else {
      expectOneOf(kSetting, sntrSetValueForRProperty(node_, tag, 2, 0), "set");
    }
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(5)) << "a dead process's latch did not pass over";
  }

  void giveAll() {
    while (!blocks_.empty()) give();
    if (own_ != nullptr) makeOrDrop();
  }

 private:
  static constexpr std::size_t kMost = 16;

  static void expectOneOf(const Codes &codes, std::uint32_t rc, const char *what) {
    EXPECT_TRUE(codes.count(static_cast<Rc>(rc)) != 0) << what << " answered " << support::named(rc);
  }

  // Where nobody dies there is room for all, so storage refuses nothing.
  void expectStored(const Codes &codes, std::uint32_t rc, const char *what) {
    expectOneOf(others_ == Others::Live ? Codes{Rc::Ok} : codes, rc, what);
  }

  void makeOrDrop() {
    if (own_ == nullptr) {
      expectStored(kMaking, support::createPool(&own_, domain_, 0x800), "create pool");
    } else {
      expectStored(kDropping, support::freePool(&own_, SNTR_FREE_POOL_IF_UNUSED), "free pool");
    }
  }

  void takeOrGive() {
    if (blocks_.size() == kMost || (!blocks_.empty() && random_() % 2 == 0)) return give();
    const std::size_t size = 1 + random_() % 200;
    void *block = nullptr;
    const std::uint32_t rc = support::allocate(&block, pool_, size);
    expectStored(kTaking, rc, "allocate");
    if (rc != 0) return;
    std::memset(block, static_cast<int>(mark_), size);
    blocks_.emplace_back(block, size);
  }

  void give() {
    std::swap(blocks_[random_() % blocks_.size()], blocks_.back());
    auto [block, size] = blocks_.back();
    blocks_.pop_back();
    const std::string wanted(size, static_cast<char>(mark_));
    const bool intact = std::memcmp(block, wanted.data(), size) == 0;
    EXPECT_TRUE(intact || others_ == Others::MayDie) << "memory in use was given out again";
    expectStored(kGiving, support::release(&block, pool_), "free");
  }

  ShmDomainHandle *domain_;
  ShmPoolHandle *pool_;
  SNodeCB_t *node_;
  std::uint64_t mark_;
  Others others_;
  std::minstd_rand random_;
  std::vector<std::pair<void *, std::size_t>> blocks_;
  ShmPoolHandle *own_ = nullptr;
};

}  // namespace multiprocess_test
