// SPDX-License-Identifier: MIT
// Allocating and freeing blocks: with L blocks live, each round frees one at random and allocates another of a random
// size.
#include <unistd.h>

#include <boost/interprocess/managed_shared_memory.hpp>
#include <boost/interprocess/shared_memory_object.hpp>
#include <vector>

#include "floor/heap.h"
#include "floor/one_order_heap.h"
#include "support/chance.h"
#include "support/segment.h"

namespace bench {
namespace {

namespace ipc = boost::interprocess;

// The requested sizes: spread evenly, or one size.
struct Sizes {
  const char *name;
  std::uint32_t least;
  std::uint32_t most;
};
constexpr Sizes kMixed{"mixed", 16, 2048};
constexpr Sizes kFixed{"fixed", 64, 64};

// Returns twice the live bytes: enough that no round fails, and little enough that the blocks stay mixed.
constexpr std::uint64_t bytesFor(std::uint32_t live, std::uint32_t most) {
  return std::uint64_t{live} * (most + 64) + (std::uint64_t{1} << 18);
}

class Ours {
 public:
  Ours(std::uint32_t live, std::uint32_t most, std::uint32_t levels) : params_{}, segment_(nullptr) {
    params_.maxLevel = levels;
    segment_ = std::make_unique<Segment>(bytesFor(live, most), &params_);
  }
  void *take(std::uint64_t size) {
    void *block = nullptr;
    return _sntrAllocateShmBlock(&block, segment_->pool(), size, 0, __FILE__, __LINE__) == 0 ? block : nullptr;
  }
  bool giveBack(void *block) { return _sntrFreeShmBlock(&block, segment_->pool(), 0, __FILE__, __LINE__) == 0; }

 private:
  ShmPoolParams params_;
  std::unique_ptr<Segment> segment_;
};

// The library's default: best fit over a red-black tree, behind its own mutex in shared memory.
class Boost {
 public:
  Boost(std::uint32_t live, std::uint32_t most, std::uint32_t /*levels*/)
      : segment_(ipc::create_only, name(), bytesFor(live, most)) {
    ipc::shared_memory_object::remove(name());
  }
  void *take(std::uint64_t size) { return segment_.allocate(size, std::nothrow); }
  bool giveBack(void *block) {
    segment_.deallocate(block);
    return true;
  }

 private:
  static const char *name() {
    static const std::string mine = "sntr-bench-heap." + std::to_string(getpid());
    return mine.c_str();
  }
  ipc::managed_shared_memory segment_;
};

// The least work that this heap's own format needs.
class Floor {
 public:
  Floor(std::uint32_t live, std::uint32_t most, std::uint32_t levels) : heap_(bytesFor(live, most), live, levels) {}
  void *take(std::uint64_t size) { return heap_.take(size); }
  bool giveBack(void *block) { return heap_.giveBack(block); }

 private:
  floor::FormatHeap heap_;
};

// The least work that another format would need.
class OtherFormat {
 public:
  OtherFormat(std::uint32_t live, std::uint32_t most, std::uint32_t /*levels*/) : heap_(bytesFor(live, most), live) {}
  void *take(std::uint64_t size) { return heap_.take(size); }
  bool giveBack(void *block) { return heap_.giveBack(block); }

 private:
  floor::OneOrderHeap heap_;
};

// A heap with its live blocks. Created once and used for many rounds, so that it resembles an old heap.
template <class Heap>
class Population {
 public:
  Population(std::uint32_t live, std::uint32_t least, std::uint32_t most, std::uint32_t levels)
      : heap_(live, most, levels), least_(least), spread_(most - least + 1), blocks_(live) {
    for (void *&block : blocks_) block = heap_.take(least_ + chance_.below(spread_));
    for (std::uint32_t i = 0; i < 20 * live; ++i) require(replace() == 0, "a round failed");
  }
  // Returns 0 if both calls succeeded.
  std::uint64_t replace() {
    void *&block = blocks_[chance_.below(static_cast<std::uint32_t>(blocks_.size()))];
    const bool freed = heap_.giveBack(block);
    block = heap_.take(least_ + chance_.below(spread_));
    return freed && block != nullptr ? 0 : 1;
  }

 private:
  Heap heap_;
  Chance chance_;
  const std::uint32_t least_;
  const std::uint32_t spread_;
  std::vector<void *> blocks_;
};

template <class Heap>
void addWork(const char *subject, const Sizes &sizes, std::uint32_t live, std::uint32_t levels) {
  const std::string deep = levels == 10 ? "" : "_" + std::to_string(levels) + "_levels";
  add(std::string("allocate_free_") + sizes.name + deep + "/" + subject, [=](benchmark::State &state) {
    auto &population = cached<Population<Heap>>(number(state), sizes.least, sizes.most, levels);
    std::uint64_t wrong = 0;
    for (auto _ : state) wrong |= population.replace();
    if (wrong != 0) state.SkipWithError("a call failed");
  })->Arg(live);
}

void addAll(const Sizes &sizes, std::uint32_t live, std::uint32_t levels) {
  addWork<Ours>("ours", sizes, live, levels);
  addWork<Boost>("boost", sizes, live, levels);
  addWork<Floor>("floor", sizes, live, levels);
  addWork<OtherFormat>("other_format", sizes, live, levels);
}

const bool registered = [] {
  for (const std::uint32_t live : {100U, 1000U, 10000U, 30000U}) addAll(kMixed, live, 10);
  addAll(kMixed, 10000, 15);
  addAll(kMixed, 30000, 15);
  addAll(kFixed, 1000, 10);
  return true;
}();

}  // namespace
}  // namespace bench
