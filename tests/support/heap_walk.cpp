#include "support/heap_walk.h"

#include <set>

#include "support/words.h"

namespace sntr::test {

namespace {

constexpr auto word = support::wordAt<std::uint64_t>;
constexpr auto half = support::wordAt<std::uint32_t>;

class Walker {
 public:
  Walker(const void *base, std::uint64_t header, bool isDomain) : base_(base), header_(header) {
    const std::uint64_t userArea = (word(base, header + 0xf0) + 7) & ~std::uint64_t{7};
    area_ = header + 0x1e8 + userArea;
    levels_ = word(base, area_);
    tail_ = area_ + 0xa8 + 0x28 * levels_;
    picture_.managedStart = area_ + word(base, area_ + 8);
    picture_.managedEnd = ((isDomain ? 0 : header) + word(base, header + 0x38)) & ~std::uint64_t{7};
  }

  HeapPicture walk() {
    if (levels_ < 1 || levels_ > 25) return fail("levels");
    walkChain(area_ + 0x40, 0, word(base_, area_ + 0x30), 0, picture_.allocated, 1);
    walkChain(area_ + 0x78 + 8 * levels_, tail_, word(base_, area_ + 0x70 + 8 * levels_), 0, picture_.free, 0);
    walkSizes();
    checkTiling();
    checkSums();
    return picture_;
  }

 private:
  HeapPicture fail(const std::string &what) {
    if (picture_.problem.empty()) picture_.problem = what;
    return picture_;
  }

  std::uint64_t link(std::uint64_t node, std::uint64_t array, std::uint64_t i) const {
    return word(base_, node + 0x30 + 8 * (array * (word(base_, node + 0x20) + 1) + i));
  }

  void checkNode(std::uint64_t node, std::uint32_t allocated) {
    if (half(base_, node + 0x28) == 0xdead) fail("a dead node is linked");
    if (half(base_, node + 0x2c) != allocated) fail("the mark of an allocated node is wrong");
    if (word(base_, node + 0x10) != 0 || word(base_, node + 0x18) != 0) fail("a reserved word is not 0");
    if (!nodes_.insert(node).second) fail("a node is linked twice");
    nodeBytes_ += 0x50 + 0x20 * word(base_, node + 0x20);
  }

  // The offset order: level 0 in full, then that each level above is part of the one below it.
  void walkChain(std::uint64_t head, std::uint64_t end, std::uint64_t top, std::uint64_t array,
                 std::map<std::uint64_t, std::uint64_t> &blocks, std::uint32_t allocated) {
    std::set<std::uint64_t> below;
    std::uint64_t last = 0;
    for (std::uint64_t node = link(head, array, 0), before = head; node != end && picture_.problem.empty();) {
      checkNode(node, allocated);
      if (link(node, 1, 0) != before) fail("a link back is wrong");
      const std::uint64_t offset = word(base_, node);
      if (offset < last) fail("blocks are not in order, or overlap");
      last = offset + word(base_, node + 8);
      blocks[offset] = word(base_, node + 8);
      if (allocated == 1 && half(base_, node + 0x28) != 0) picture_.extents[offset] = word(base_, node + 8);
      below.insert(node);
      before = node;
      node = link(node, array, 0);
    }
    for (std::uint64_t i = 1; i < levels_; ++i) checkLevel(head, end, array, i, top, below);
  }

  void checkLevel(std::uint64_t head, std::uint64_t end, std::uint64_t array, std::uint64_t i, std::uint64_t top,
                  std::set<std::uint64_t> &below) {
    std::set<std::uint64_t> here;
    std::set<std::uint64_t> expected;
    for (const std::uint64_t node : below) {
      if (word(base_, node + 0x20) >= i) expected.insert(node);
    }
    for (std::uint64_t node = link(head, array, i); node != end && here.insert(node).second;)
      node = link(node, array, i);
    if (here != expected) fail("level " + std::to_string(i) + " does not hold the nodes that reach it");
    if (i > top && !here.empty()) fail("a level above the current one is in use");
    if (i == top && here.empty()) fail("the current level is empty");
    below.swap(here);
  }

  void walkSizes() {
    const std::uint64_t head = area_ + 0x78 + 8 * levels_;
    std::uint64_t last = 0;
    for (std::uint64_t node = link(head, 2, 0), before = head; node != tail_ && picture_.problem.empty();) {
      if (picture_.bySize.size() > picture_.free.size()) fail("the size order has too many nodes");
      if (link(node, 3, 0) != before) fail("a link back in the size order is wrong");
      if (word(base_, node + 8) < last) fail("the size order does not ascend");
      last = word(base_, node + 8);
      picture_.bySize.push_back(word(base_, node));
      before = node;
      node = link(node, 2, 0);
    }
    if (picture_.bySize.size() != picture_.free.size()) fail("the two orders hold different blocks");
    picture_.largestFree = last;
  }

  // Free and allocated blocks cover the managed space, and no two free blocks touch.
  void checkTiling() {
    std::map<std::uint64_t, std::uint64_t> all = picture_.allocated;
    all.insert(picture_.free.begin(), picture_.free.end());
    std::uint64_t at = picture_.managedStart;
    bool freeBefore = false;
    for (const auto &[offset, size] : all) {
      const bool isFree = picture_.free.count(offset) != 0;
      if (offset != at) fail("a gap or an overlap at " + std::to_string(at));
      if (isFree && freeBefore) fail("two free blocks touch at " + std::to_string(offset));
      freeBefore = isFree;
      at = offset + size;
    }
    if (at != picture_.managedEnd) fail("the blocks do not reach the end");
  }

  void checkSums() {
    std::uint64_t freeBytes = 0;
    std::uint64_t allocatedBytes = 0;
    for (const auto &block : picture_.free) freeBytes += block.second;
    for (const auto &block : picture_.allocated) allocatedBytes += block.second;
    if (word(base_, header_ + 0x40) != freeBytes) fail("heapStat1 is not the sum of free bytes");
    if (word(base_, header_ + 0x48) != allocatedBytes) fail("heapStat2 is not the sum of allocated bytes");
    if (word(base_, area_ + 0x20) != picture_.allocated.size()) fail("the count of allocated chunks is wrong");
    if (word(base_, area_ + 0x28) != nodes_.size()) fail("slNodeCount is wrong");
    if (word(base_, area_ + 0x10) != 0x48 * levels_ + 0xd8 + nodeBytes_) fail("slBytesUsed is wrong");
    if (word(base_, area_ + 0x38) != 0) fail("an intent is left");
  }

  const void *base_;
  std::uint64_t header_;
  std::uint64_t area_ = 0;
  std::uint64_t levels_ = 0;
  std::uint64_t tail_ = 0;
  std::uint64_t nodeBytes_ = 0;
  std::set<std::uint64_t> nodes_;
  HeapPicture picture_;
};

}  // namespace

HeapPicture lookAtHeap(const void *base, std::uint64_t headerOffset, bool isDomain) {
  return Walker(base, headerOffset, isDomain).walk();
}

std::map<std::uint64_t, std::uint64_t> allocatedChain(const void *base, std::uint64_t headerOffset) {
  const std::uint64_t area = headerOffset + 0x1e8 + ((word(base, headerOffset + 0xf0) + 7) & ~std::uint64_t{7});
  std::map<std::uint64_t, std::uint64_t> chunks;
  for (std::uint64_t node = word(base, area + 0x70); node != 0; node = word(base, node + 0x30)) {
    if (!chunks.emplace(word(base, node), word(base, node + 8)).second) return {};  // a loop is no state at all
  }
  return chunks;
}

}  // namespace sntr::test
