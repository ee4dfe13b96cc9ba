// The skip list by itself, on a toy array: the code of the heap's lists, without a heap.
#include "shm/skip_list.h"

#include <gtest/gtest.h>

#include <array>
#include <map>
#include <random>
#include <set>
#include <vector>

namespace sntr {
namespace {

// Nodes of one size in an array; offset 1 + i stands for the i-th. Node 0 is the head, node 1 the end.
class Toy {
 public:
  static constexpr std::uint32_t kLevels = 4;
  Toy() {
    for (std::uint32_t i = 0; i < kLevels; ++i) {
      for (const Links array : {Links::OffsetForward, Links::SizeForward}) head().writeLink(array, i, end().offset);
      for (const Links array : {Links::OffsetBackward, Links::SizeBackward}) end().writeLink(array, i, head().offset);
    }
  }
  NodeRef at(std::uint64_t i, std::uint32_t level = kLevels - 1) const {
    return NodeRef{memory_[i].data(), 1 + i, level};
  }
  NodeRef make(std::uint64_t i, std::uint32_t level, std::uint64_t offset, std::uint64_t size) {
    const NodeRef node = at(i, level);
    node.fields()->nodeLevel = level;
    node.fields()->blockOffset = offset;
    node.fields()->blockSize = size;
    return node;
  }
  Rc node(std::uint64_t offset, NodeRef &out) const {
    if (offset < 1 || offset > memory_.size()) return damage();
    out = at(offset - 1);
    if (offset > 2) out.level = static_cast<std::uint32_t>(out.fields()->nodeLevel);
    return out.level < kLevels ? Rc::Ok : damage();
  }
  NodeRef head() const { return at(0); }
  NodeRef end() const { return at(1); }
  std::uint32_t levels() const { return kLevels; }
  std::uint32_t currentLevel() const { return level_; }
  void setCurrentLevel(std::uint32_t level) const { level_ = level; }
  std::uint64_t maxSteps() const { return memory_.size(); }
  Rc damage() const { return Rc::ChunkOutsideHeap; }

 private:
  mutable std::array<std::array<std::byte, skipNodeSize(kLevels - 1)>, 66> memory_{};
  mutable std::uint32_t level_ = 0;
};

template <class Order>
std::vector<std::uint64_t> keysOf(const Toy &toy) {
  std::vector<std::uint64_t> keys;
  NodeRef node = toy.head();
  while (node.readLink(Order::kForward, 0) != toy.end().offset && keys.size() < 100) {
    if (failed(toy.node(node.readLink(Order::kForward, 0), node))) return {};
    keys.push_back(Order::key(node));
  }
  return keys;
}

template <class Order>
void insert(Toy &toy, const NodeRef &node) {
  Place place;
  const SkipList<Order, Toy> list(toy);
  ASSERT_EQ(list.find(Order::key(node), place), Rc::Ok);
  list.link(node, place);
}

template <class Order>
void remove(Toy &toy, const NodeRef &node) {
  Place place;
  const SkipList<Order, Toy> list(toy);
  ASSERT_EQ(list.around(node, place), Rc::Ok);
  list.unlink(node, place);
}

TEST(SkipList, KeepsTwoOrdersOverTheSameNodes) {
  std::mt19937 random(std::random_device{}());
  Toy toy;
  std::map<std::uint64_t, std::pair<NodeRef, std::uint64_t>> model;  // by offset: node and size
  std::vector<std::uint64_t> free;
  for (std::uint64_t i = 2; i < 66; ++i) free.push_back(i);
  for (int round = 0; round < 20000; ++round) {
    if (!free.empty() && (model.empty() || random() % 2 == 0)) {
      const std::uint64_t key = random() % 10000;
      if (model.count(key) != 0) continue;
      const NodeRef node = toy.make(free.back(), random() % Toy::kLevels, key, random() % 20);
      free.pop_back();
      insert<ByOffset>(toy, node);
      insert<BySize>(toy, node);
      model[key] = {node, node.blockSize()};
    } else if (!model.empty()) {
      auto pick = model.lower_bound(random() % 10000);
      if (pick == model.end()) pick = model.begin();
      const NodeRef node = pick->second.first;
      remove<ByOffset>(toy, node);
      remove<BySize>(toy, node);
      SkipList<ByOffset, Toy>(toy).settleLevel();
      free.push_back(node.offset - 1);
      model.erase(pick);
    }
    std::vector<std::uint64_t> offsets;
    std::multiset<std::uint64_t> sizes;
    for (const auto &entry : model) offsets.push_back(entry.first), sizes.insert(entry.second.second);
    ASSERT_EQ(keysOf<ByOffset>(toy), offsets);
    ASSERT_EQ(keysOf<BySize>(toy), std::vector<std::uint64_t>(sizes.begin(), sizes.end()));
  }
}

// A chain that leads back to itself, and a link to nowhere, are reported; the walk ends.
TEST(SkipList, ReportsLoopsAndStrayLinks) {
  for (const std::uint64_t stray : {std::uint64_t{3}, std::uint64_t{0}, std::uint64_t{999}}) {
    Toy toy;
    for (const std::uint64_t i : {2u, 3u}) insert<ByOffset>(toy, toy.make(i, 0, 10 * i, 1));
    toy.at(3, 0).writeLink(ByOffset::kForward, 0, stray);
    Place place;
    const SkipList<ByOffset, Toy> list(toy);
    EXPECT_EQ(list.find(1000, place), Rc::ChunkOutsideHeap) << stray;
    EXPECT_EQ(list.around(toy.at(3, 0), place), Rc::ChunkOutsideHeap) << stray;
  }
}

}  // namespace
}  // namespace sntr
