// SPDX-License-Identifier: MIT
// Operations on a whole list or node: laying out a list with its first properties, copying its keys, and creating and
// freeing a node.
#include <bit>

#include "support/other_stores.h"

namespace bench {

namespace {

constexpr std::uint32_t kValueSize = 64;

// The creators' arrays for n properties. Tags from 1, for all kinds.
struct Initial {
  explicit Initial(std::uint32_t n)
      : tags(n), registers(n), idLengths(n, kIDSize), ids(n), sizes(n, kValueSize), values(n, bytes) {
    for (std::uint32_t i = 0; i < n; ++i) {
      const Key key = keyOf(i, Tags::Dense);
      tags[i] = key.tag;
      ids[i] = IDs::of(key);
    }
  }
  unsigned char bytes[kValueSize] = {};
  std::vector<std::uint64_t> tags;
  std::vector<std::int32_t> registers;
  std::vector<std::uint64_t> idLengths;
  std::vector<const void *> ids;
  std::vector<std::uint64_t> sizes;
  std::vector<const void *> values;
};

// A node with one list that can be laid out repeatedly. `kind` is a SNTR_KIND_*.
class List {
 public:
  List(std::uint32_t n, std::uint32_t kind, std::uint32_t layout) : n_(n), kind_(kind), layout_(layout), initial_(n) {
    // The largest of all kinds and layouts: an IV table.
    const std::uint64_t size = 0x100 + bucketsFor(n) * (0x18 + sizeOfSlot());
    node_ = makeNode(segment_, {{kind, size}}, SNTR_MODEL_LATCHED);
    requireOk(static_cast<std::uint32_t>(create()), "creating a list");
  }

  // A list is laid out once in its node's life, so this resets its area to unused first.
  std::uint64_t create() {
    node_->areaTable[std::countr_zero(kind_) - 1].areaUsed = 0;
    const Initial &in = initial_;
    switch (kind_) {
      case SNTR_KIND_R:
        return sntrCreateRPropertyList(node_, in.tags.data(), in.registers.data(), n_, n_, layout_, 0);
      case SNTR_KIND_V:
        return sntrCreateVPropertyList(node_, in.tags.data(), in.sizes.data(), in.values.data(), n_, n_, kValueSize,
                                       layout_, 0);
      case SNTR_KIND_IR:
        return sntrCreateIRPropertyList(node_, in.tags.data(), in.idLengths.data(), in.ids.data(), in.registers.data(),
                                        n_, n_, kIDSize, layout_, 0);
      default:
        return sntrCreateIVPropertyList(node_, in.tags.data(), in.idLengths.data(), in.ids.data(), in.sizes.data(),
                                        in.values.data(), n_, n_, kIDSize, kValueSize, layout_, 0);
    }
  }

  // Copies all keys and checks the last entry, which is filled only if all are.
  std::uint64_t keys() {
    outTags_.resize(n_);
    outLengths_.resize(n_);
    outSizes_.resize(n_);
    outIDs_.resize(std::size_t{n_} * kIDSize);
    outTags_.back() = 0;
    const std::uint64_t rc = copyKeys();
    return rc | (outTags_.back() == 0 ? 1 : 0);
  }

 private:
  std::uint64_t copyKeys() {
    switch (kind_) {
      case SNTR_KIND_R:
        return sntrReturnRProperties(node_, outTags_.data(), 0, n_, 0);
      case SNTR_KIND_V:
        return sntrReturnVProperties(node_, outTags_.data(), outSizes_.data(), 0, n_, 0);
      case SNTR_KIND_IR:
        return sntrReturnIRProperties(node_, outTags_.data(), outLengths_.data(), outIDs_.data(), 0, n_, kIDSize, 0);
      default:
        return sntrReturnIVProperties(node_, outTags_.data(), outLengths_.data(), outIDs_.data(), outSizes_.data(), 0,
                                      n_, kIDSize, 0);
    }
  }

  std::uint64_t sizeOfSlot() const {
    switch (kind_) {
      case SNTR_KIND_R:
        return 0x98;
      case SNTR_KIND_V:
        return 0x1b0 + kValueSize;
      case SNTR_KIND_IR:
        return 0x250 + kIDSize;
      default:
        return 0x1e0 + kIDSize + kValueSize;
    }
  }

  std::uint32_t n_;
  std::uint32_t kind_;
  std::uint32_t layout_;
  Initial initial_;
  std::unique_ptr<Segment> segment_;
  SNodeCB_t *node_ = nullptr;
  std::vector<std::uint64_t> outTags_, outLengths_, outSizes_;
  std::vector<char> outIDs_;
};

// Lists with 0x8000 properties together, laid out in turn. A list is laid out once in its node's life, in uncached
// memory; one small list laid out repeatedly would lie in the nearest cache.
class Lists {
 public:
  Lists(std::uint32_t n, std::uint32_t kind, std::uint32_t layout) {
    for (std::uint32_t made = 0; made < 0x8000; made += n) lists_.push_back(std::make_unique<List>(n, kind, layout));
  }
  std::uint64_t create() { return lists_[turn_++ % lists_.size()]->create(); }

 private:
  std::vector<std::unique_ptr<List>> lists_;
  std::size_t turn_ = 0;
};

// Only the stores of a table of R: bucket, link, tag, result code, register. No check, no latch, no count.
class TableStores {
 public:
  explicit TableStores(std::uint32_t n) : n_(n), buckets_(bucketsFor(n)), memory_(buckets_ + n * kSlotWords) {}

  std::uint64_t create() {
    std::fill_n(memory_.begin(), buckets_, 0);
    std::uint64_t slot = buckets_;
    for (std::uint64_t tag = 1; tag <= n_; ++tag, slot += kSlotWords) {
      std::uint64_t *link = &memory_[floor::hashTag(tag) % buckets_];
      while (*link != 0 && memory_[*link + 1] < tag) link = &memory_[*link];
      const std::uint64_t words[] = {*link, tag, 0, tag};
      std::copy(std::begin(words), std::end(words), &memory_[slot]);
      *link = slot;
    }
    return memory_[slot - kSlotWords + 1] == n_ ? 0 : 1;
  }

 private:
  static constexpr std::uint64_t kSlotWords = 0x98 / 8;
  std::uint64_t n_;
  std::uint64_t buckets_;
  std::vector<std::uint64_t> memory_;
};

void addLists() {
  add("create_list/r_hash_floor",
      [](benchmark::State &state) {
        auto &table = cached<TableStores>(number(state));
        timeEach(state, Order::below(1), [&](Key) { return table.create(); });
      })
      ->Arg(0x800)
      ->Arg(0x8000);
  struct Kind {
    const char *name;
    std::uint32_t kind;
  };
  for (const Kind &kind :
       {Kind{"r", SNTR_KIND_R}, {"v64", SNTR_KIND_V}, {"ir", SNTR_KIND_IR}, {"iv64", SNTR_KIND_IV}}) {
    for (const std::uint32_t layout : {SNTR_LAYOUT_ARRAY, SNTR_LAYOUT_HASH}) {
      const std::string name = std::string(kind.name) + (layout == SNTR_LAYOUT_HASH ? "_hash" : "_array");
      add("create_list/" + name,
          [=](benchmark::State &state) {
            auto &lists = cached<Lists>(number(state), kind.kind, layout);
            timeEach(state, Order::below(1), [&](Key) { return lists.create(); });
          })
          ->Arg(0x800)
          ->Arg(0x8000);
      add("keys_out/" + name, [=](benchmark::State &state) {
        auto &list = cached<List>(number(state), kind.kind, layout);
        timeEach(state, Order::below(1), [&](Key) { return list.keys(); });
      })->Arg(0x800);
    }
  }
}

// Creates and frees a node with a list for R.
void addNodeLife() {
  add("node_create_disclaim/ours", [](benchmark::State &state) {
    auto &segment = cached<Segment>(std::uint64_t{1} << 18);
    std::uint64_t sizes[SNTR_AREA_COUNT] = {};
    sizes[SNTR_AREA_R] = 1024;
    timeEach(state, Order::below(1), [&](Key) -> std::uint64_t {
      SNodeCB_t *node = nullptr;
      std::uint64_t size = 0;
      std::uint64_t offset = 0;
      const std::uint32_t rc = sntrCreateNode(&segment.where(), &node, SNTR_KIND_R, sizes, &size, &offset);
      return rc | sntrDisclaimNode(&node, segment.pool(), SNTR_VERSION);
    });
  });
}

const bool registered = [] {
  addLists();
  addNodeLife();
  return true;
}();

}  // namespace

}  // namespace bench
