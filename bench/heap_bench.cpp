// Allocating and freeing blocks: with L blocks live, one chosen at random is freed and another of a random size takes
// its place. One round is one free and one allocation.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <boost/interprocess/managed_shared_memory.hpp>
#include <boost/interprocess/shared_memory_object.hpp>
#include <vector>

#include "support/segment.h"

namespace bench {
namespace {

namespace ipc = boost::interprocess;

// What is asked for: sizes spread evenly, or one size.
struct Sizes {
  const char *name;
  std::uint32_t least;
  std::uint32_t most;
};
constexpr Sizes kMixed{"mixed", 16, 2048};
constexpr Sizes kFixed{"fixed", 64, 64};

// Twice what is live: room enough that no round fails, and little enough that the blocks stay among one another.
constexpr std::uint64_t bytesFor(std::uint32_t live, std::uint32_t most) {
  return std::uint64_t{live} * (most + 64) + (std::uint64_t{1} << 18);
}

// Numbers that no hardware guesses and that never come round, unlike an order written down: an order that repeats would
// give each block its old size again, and the heap would come to rest.
class Chance {
 public:
  std::uint32_t below(std::uint32_t n) {
    state_ = state_ * 6364136223846793005 + 1442695040888963407;
    return static_cast<std::uint32_t>((state_ >> 32) * n >> 32);
  }

 private:
  std::uint64_t state_ = 20240229;
};

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

// The library's default: best fit over a red-black tree, behind the mutex that it puts into shared memory.
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

// The least work of best fit over a skip list: a latch, one search a change of the list, and the splice. Blocks know
// their neighbours by the sizes before them; nothing is checked, and nothing is left that could mend a dead writer's
// heap. Nodes stand apart from the blocks, because the least block is too small for one.
class Floor {
 public:
  Floor(std::uint32_t live, std::uint32_t most, std::uint32_t /*levels*/)
      : bytes_(bytesFor(live, most)), nodeCount_(live + 3), mapped_(bytes_ + nodeCount_ * sizeof(Node)) {
    void *const at = mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    require(at != MAP_FAILED, "no memory");
    nodes_ = static_cast<Node *>(at);
    blocks_ = static_cast<char *>(at) + nodeCount_ * sizeof(Node);
    nodes_[kTail].size = ~std::uint32_t{0};
    for (std::uint32_t &next : nodes_[kHead].forward) next = kTail;
    for (std::uint32_t i = 2; i < nodeCount_; ++i) spare_.push_back(i);
    block(0)->size = static_cast<std::uint32_t>(bytes_ - 2 * sizeof(Block)) & ~15U;
    block(block(0)->size)->before = block(0)->size;
    enter(newNode(), 0, block(0)->size);
  }
  ~Floor() { munmap(nodes_, mapped_); }
  Floor(const Floor &) = delete;
  Floor &operator=(const Floor &) = delete;

  void *take(std::uint64_t size) {
    latch();
    // In steps of a header, so that what is left has room for one.
    const auto n = static_cast<std::uint32_t>((size + 2 * sizeof(Block) - 1) / sizeof(Block) * sizeof(Block));
    std::uint32_t before[kLevels];
    const std::uint32_t fit = search(n, before);
    if (fit == kTail) {
      unlatch();
      return nullptr;
    }
    const std::uint32_t offset = nodes_[fit].offset;
    const std::uint32_t rest = nodes_[fit].size - n;
    leave(fit);
    Block *const taken = block(offset + rest);
    if (rest != 0) {
      enter(fit, offset, rest);
      taken->before = rest;
    } else {
      spare_.push_back(fit);
    }
    taken->size = n;
    taken->node = kNone;
    block(offset + rest + n)->before = n;
    unlatch();
    return taken + 1;
  }
  bool giveBack(void *at) {
    latch();
    const Block *const freed = static_cast<Block *>(at) - 1;
    auto offset = static_cast<std::uint32_t>(reinterpret_cast<const char *>(freed) - blocks_);
    std::uint32_t size = freed->size;
    std::uint32_t node = kNone;
    if (const Block *const after = block(offset + size); after->node != kNone) {
      node = after->node;
      size += after->size;
      leave(node);
    }
    if (freed->before != 0 && block(offset - freed->before)->node != kNone) {
      if (node != kNone) spare_.push_back(node);
      offset -= freed->before;
      node = block(offset)->node;
      size += block(offset)->size;
      leave(node);
    }
    enter(node != kNone ? node : newNode(), offset, size);
    block(offset + size)->before = size;
    unlatch();
    return true;
  }

 private:
  static constexpr std::uint32_t kLevels = 15;
  static constexpr std::uint32_t kHead = 0;
  static constexpr std::uint32_t kTail = 1;
  static constexpr std::uint32_t kNone = 0;  // of an allocated block
  struct Node {
    std::uint32_t size;
    std::uint32_t offset;
    std::uint32_t level;
    std::uint32_t forward[kLevels];
    std::uint32_t backward[kLevels];
  };
  struct Block {
    std::uint32_t before;  // size of the block before
    std::uint32_t size;
    std::uint32_t node;
    std::uint32_t unused;
  };

  Block *block(std::uint32_t offset) const { return reinterpret_cast<Block *>(blocks_ + offset); }
  void latch() {
    while (__atomic_exchange_n(&nodes_[kTail].level, 1U, __ATOMIC_ACQUIRE) != 0) continue;
  }
  void unlatch() { __atomic_exchange_n(&nodes_[kTail].level, 0U, __ATOMIC_RELEASE); }

  // The first node of at least this size; `before` as far as the list is high.
  std::uint32_t search(std::uint32_t size, std::uint32_t *before) const {
    std::uint32_t here = kHead;
    for (std::uint32_t i = top_ + 1; i-- > 0;) {
      while (nodes_[nodes_[here].forward[i]].size < size) here = nodes_[here].forward[i];
      before[i] = here;
    }
    return nodes_[here].forward[0];
  }
  std::uint32_t newNode() {
    const std::uint32_t node = spare_.back();
    spare_.pop_back();
    const auto rise = static_cast<std::uint32_t>(std::countr_one(chance_.below(1U << (kLevels - 1))));
    nodes_[node].level = std::min(rise, top_ + 1);
    return node;
  }
  void enter(std::uint32_t node, std::uint32_t offset, std::uint32_t size) {
    Node &entered = nodes_[node];
    std::uint32_t before[kLevels];
    search(size, before);
    entered.offset = offset;
    entered.size = size;
    if (entered.level > top_) before[top_ = entered.level] = kHead;
    for (std::uint32_t i = 0; i <= entered.level; ++i) {
      const std::uint32_t after = nodes_[before[i]].forward[i];
      entered.forward[i] = after;
      entered.backward[i] = before[i];
      nodes_[before[i]].forward[i] = node;
      nodes_[after].backward[i] = node;
    }
    block(offset)->size = size;
    block(offset)->node = node;
  }
  void leave(std::uint32_t node) {
    const Node &left = nodes_[node];
    for (std::uint32_t i = 0; i <= left.level; ++i) {
      nodes_[left.backward[i]].forward[i] = left.forward[i];
      nodes_[left.forward[i]].backward[i] = left.backward[i];
    }
  }

  std::size_t bytes_;
  std::size_t nodeCount_;
  std::size_t mapped_;
  Node *nodes_ = nullptr;
  char *blocks_ = nullptr;
  std::vector<std::uint32_t> spare_;
  Chance chance_;
  std::uint32_t top_ = 0;
};

// A heap with its live blocks. Made once and used up by many rounds, so that it is as old heaps are.
template <class Heap>
class Population {
 public:
  Population(std::uint32_t live, std::uint32_t least, std::uint32_t most, std::uint32_t levels)
      : heap_(live, most, levels), least_(least), spread_(most - least + 1), blocks_(live) {
    for (void *&block : blocks_) block = heap_.take(least_ + chance_.below(spread_));
    for (std::uint32_t i = 0; i < 20 * live; ++i) require(replace() == 0, "a round failed");
  }
  // 0 when both calls succeeded.
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
