// SPDX-License-Identifier: MIT
// Stores of 32-bit registers by tag, one class a subject. Each holds `n` of them. A call returns 0 if it succeeded, and
// a read if the value is right too.
//
// Thread safety: any thread, also of a forked child. An unprotected store locks nothing.
#pragma once

#include <sntr/sntr.h>

#include <cstdint>
#include <memory>
#include <numeric>
#include <vector>

#include "floor/table.h"
#include "peers/boost_map.h"
#include "support/segment.h"
#include "support/work.h"

namespace bench {

inline constexpr std::uint32_t kUnprotected = 2;  // a concurrency model that locks nothing

inline std::int32_t valueOf(Key key) { return static_cast<std::int32_t>(key.index); }

// Returns the result of a read: 0 if the code is 0 and the value is right.
inline std::uint64_t answer(std::uint32_t rc, std::int32_t value, Key key) {
  return rc | static_cast<std::uint32_t>(value ^ valueOf(key));
}

// A node with a table of n properties and room for n more.
class RNode {
 public:
  explicit RNode(std::uint32_t n, Tags tags = Tags::Dense, std::uint32_t model = SNTR_MODEL_LATCHED);

  std::uint64_t get(Key key) {
    std::int32_t value = 0;
    const std::uint32_t rc = sntrGetValueForRProperty(node, key.tag, &value, 0);
    return answer(rc, value, key);
  }
  std::uint64_t set(Key key) { return sntrSetValueForRProperty(node, key.tag, valueOf(key), 0); }
  std::uint64_t add(Key key) { return sntrAddRProperty(node, key.tag, valueOf(key), 0); }
  std::uint64_t remove(Key key) { return sntrDeleteRProperty(node, key.tag, 0); }

  std::unique_ptr<Segment> segment;
  SNodeCB_t *node = nullptr;
};

struct UnprotectedRNode : RNode {
  explicit UnprotectedRNode(std::uint32_t n, Tags plan = Tags::Dense) : RNode(n, plan, kUnprotected) {}
};

// The floor's node: a copy of a node that the library laid out.
template <class Original>
class CopyOf {
 protected:
  template <class... Arguments>
  explicit CopyOf(Arguments... arguments)
      : original_(arguments...), copy_(original_.node->nodeSize + 0x1000), node_(copy_.copyOf(original_.node)) {}

 private:
  Original original_;
  Segment copy_;

 protected:
  floor::Node node_;
};

class RFloor : protected CopyOf<RNode> {
 public:
  explicit RFloor(std::uint32_t n, Tags tags = Tags::Dense, std::uint32_t model = SNTR_MODEL_LATCHED)
      : CopyOf(n, tags, model) {}

  std::uint64_t get(Key key) {
    std::int32_t value = 0;
    const std::uint32_t rc = floor::getR(node_, key.tag, &value);
    return answer(rc, value, key);
  }
  std::uint64_t set(Key key) { return floor::setR(node_, key.tag, valueOf(key)); }
  std::uint64_t add(Key key) { return floor::addR(node_, key.tag, valueOf(key)); }
  std::uint64_t remove(Key key) { return floor::deleteR(node_, key.tag); }
};

// A floor whose gets take no latch; its sets do.
struct RFloorNoLatch : RFloor {
  using RFloor::RFloor;

  std::uint64_t get(Key key) {
    std::int32_t value = 0;
    const std::uint32_t rc = floor::getRNoLatch(node_, key.tag, &value);
    return answer(rc, value, key);
  }
};

struct UnprotectedRFloor : RFloor {
  explicit UnprotectedRFloor(std::uint32_t n, Tags tags = Tags::Dense) : RFloor(n, tags, kUnprotected) {}
};

template <class Mutex>
class RBoost {
 public:
  explicit RBoost(std::uint32_t n, Tags tags = Tags::Dense) : map_(n) {
    for (std::uint32_t i = 0; i < n; ++i) require(add(keyOf(i, tags)) == 0, "filling a map");
  }
  std::uint64_t get(Key key) {
    std::int32_t value = 0;
    const std::uint64_t missing = map_.at(key.tag, [&](std::int32_t stored) { value = stored; });
    return missing | answer(0, value, key);
  }
  std::uint64_t set(Key key) {
    return map_.at(key.tag, [&](std::int32_t &stored) { stored = valueOf(key); });
  }
  std::uint64_t add(Key key) { return map_.insert(key.tag, valueOf(key)); }
  std::uint64_t remove(Key key) { return map_.erase(key.tag); }

 private:
  boostmap::TagMap<std::int32_t, Mutex> map_;
};

}  // namespace bench
