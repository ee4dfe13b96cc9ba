// SPDX-License-Identifier: MIT
#include "support/heap_walk.h"

#include <algorithm>
#include <set>

#include "support/words.h"

namespace sntr::test {

namespace {

constexpr auto word = support::wordAt<std::uint64_t>;
constexpr auto half = support::wordAt<std::uint32_t>;

std::uint64_t areaOf(const void *base, std::uint64_t header) {
  return header + 0x1e8 + ((word(base, header + 0xf0) + 7) & ~std::uint64_t{7});
}

class Walker {
 public:
  Walker(const void *base, std::uint64_t header, bool isDomain)
      : base_(base), header_(header), area_(areaOf(base, header)), levels_(word(base, area_)) {
    picture_.managedStart = area_ + word(base, area_ + 8);
    picture_.managedEnd = ((isDomain ? 0 : header) + word(base, header + 0x38)) & ~std::uint64_t{7};
  }

  HeapPicture walk() {
    expect(levels_ >= 1 && levels_ <= 25, "levels");
    if (!picture_.problem.empty()) return picture_;
    const std::uint64_t head = area_ + 0x78 + 8 * levels_, tail = area_ + 0xa8 + 0x28 * levels_;
    const std::uint64_t top = word(base_, head - 8);
    for (const std::uint64_t node : walkList(area_ + 0x40, 0, 0, word(base_, area_ + 0x30))) {
      take(node, 1, picture_.allocated);
      if (half(base_, node + 0x28) != 0) picture_.extents[word(base_, node)] = word(base_, node + 8);
    }
    const auto byOffset = walkList(head, tail, 0, top), bySize = walkList(head, tail, 2, top);
    expect(std::set(byOffset.begin(), byOffset.end()) == std::set(bySize.begin(), bySize.end()), "the orders differ");
    for (const std::uint64_t node : byOffset) take(node, 0, picture_.free);
    for (const std::uint64_t node : bySize) picture_.bySize.push_back(word(base_, node));
    checkBlocks();
    return picture_;
  }

 private:
  void expect(bool holds, const std::string &what) {
    if (!holds && picture_.problem.empty()) picture_.problem = what;
  }

  std::uint64_t link(std::uint64_t node, std::uint64_t array, std::uint64_t i) const {
    return word(base_, node + 0x30 + 8 * (array * (word(base_, node + 0x20) + 1) + i));
  }

  // Walks an order, whose links back are the next array: level 0 in full, then that each level above holds the nodes
  // that reach it. Returns the nodes of level 0.
  std::vector<std::uint64_t> walkList(std::uint64_t head, std::uint64_t end, std::uint64_t array, std::uint64_t top) {
    const std::uint64_t most = picture_.managedEnd / 0x50, key = array == 0 ? 0 : 8;
    const auto walkLevel = [&](std::uint64_t i) {
      std::vector<std::uint64_t> nodes;
      std::uint64_t before = head;
      for (std::uint64_t node = link(head, array, i); node != end && nodes.size() <= most;
           node = link(node, array, i)) {
        expect(link(node, array + 1, i) == before, "a link back is wrong");
        nodes.push_back(before = node);
      }
      return nodes;
    };
    auto reached = walkLevel(0);
    const auto all = reached;
    const auto isLower = [&](std::uint64_t a, std::uint64_t b) { return word(base_, a + key) < word(base_, b + key); };
    expect(std::ranges::is_sorted(all, isLower), "a list does not ascend");
    for (std::uint64_t i = 1; i < levels_; ++i) {
      std::erase_if(reached, [&](std::uint64_t node) { return word(base_, node + 0x20) < i; });
      expect(walkLevel(i) == reached, "level " + std::to_string(i) + " does not hold the nodes that reach it");
      expect(reached.empty() == (i > top), "the current level is not the highest in use");
    }
    return all;
  }

  void take(std::uint64_t node, std::uint32_t allocated, std::map<std::uint64_t, std::uint64_t> &blocks) {
    expect(half(base_, node + 0x28) != 0xdead, "a dead node is linked");
    expect(half(base_, node + 0x2c) == allocated, "the mark of an allocated node is wrong");
    expect(word(base_, node + 0x10) == 0 && word(base_, node + 0x18) == 0, "a reserved word is not 0");
    expect(blocks.emplace(word(base_, node), word(base_, node + 8)).second, "two nodes have one offset");
    ++nodes_;
    nodeBytes_ += 0x50 + 0x20 * word(base_, node + 0x20);
  }

  // Checks that free and allocated blocks cover the managed space, that no two free blocks touch, and every sum.
  void checkBlocks() {
    auto all = picture_.allocated;
    all.insert(picture_.free.begin(), picture_.free.end());
    std::uint64_t at = picture_.managedStart, freeEnd = 0, freeBytes = 0, extentBytes = 0;
    for (const auto &[offset, size] : all) {
      expect(offset == at, "a gap or an overlap at " + std::to_string(at));
      at = offset + size;
      if (picture_.extents.contains(offset)) extentBytes += size;
      if (!picture_.free.contains(offset)) continue;
      expect(offset != freeEnd, "two free blocks touch at " + std::to_string(offset));
      freeEnd = at;
      freeBytes += size;
    }
    expect(at == picture_.managedEnd, "the blocks do not reach the end");
    expect(word(base_, header_ + 0x40) == freeBytes, "heapStat1 is not the sum of free bytes");
    expect(word(base_, header_ + 0x48) == at - picture_.managedStart - freeBytes,
           "heapStat2 is not that of allocated bytes");
    expect(word(base_, area_ + 0x48) == extentBytes, "the bytes of extents are wrong");
    expect(word(base_, area_ + 0x20) == picture_.allocated.size(), "the count of allocated chunks is wrong");
    expect(word(base_, area_ + 0x28) == nodes_, "slNodeCount is wrong");
    expect(word(base_, area_ + 0x10) == 0x48 * levels_ + 0xd8 + nodeBytes_, "slBytesUsed is wrong");
    expect(word(base_, area_ + 0x38) == 0, "an intent is left");
  }

  const void *base_;
  std::uint64_t header_, area_, levels_;
  std::uint64_t nodes_ = 0, nodeBytes_ = 0;
  HeapPicture picture_;
};

}  // namespace

HeapPicture lookAtHeap(const void *base, std::uint64_t headerOffset, bool isDomain) {
  return Walker(base, headerOffset, isDomain).walk();
}

std::map<std::uint64_t, std::uint64_t> allocatedChain(const void *base, std::uint64_t headerOffset) {
  std::map<std::uint64_t, std::uint64_t> chunks;
  for (std::uint64_t node = word(base, areaOf(base, headerOffset) + 0x70); node != 0; node = word(base, node + 0x30)) {
    if (!chunks.emplace(word(base, node), word(base, node + 8)).second) return {};  // a loop is no valid state
  }
  return chunks;
}

}  // namespace sntr::test
