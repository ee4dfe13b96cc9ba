// SPDX-License-Identifier: MIT
// A segment of the library with one pool, and nodes in it.
//
// The segment's name is removed as soon as it is made, except with Name::Kept. So nothing is left in /dev/shm, however
// the program ends. The memory stays, also for forked children, which inherit it.
//
// Thread safety: one thread makes and destroys a segment.
#pragma once

#include <sntr/sntr.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>

#include "support/work.h"

namespace bench {

// Throws the text of a result code, unless it is 0.
void requireOk(std::uint32_t rc, const char *what);

class Segment {
 public:
  enum class Name { Removed, Kept };

  // Makes a pool with `poolSize` bytes for blocks.
  explicit Segment(std::uint64_t poolSize, const ShmPoolParams *params = nullptr, Name name = Name::Removed);
  ~Segment();
  Segment(const Segment &) = delete;
  Segment &operator=(const Segment &) = delete;

  struct Area {
    std::uint64_t kind;  // SNTR_KIND_* or SNTR_OPTION_*
    std::uint64_t size;
  };

  // Makes an active node.
  SNodeCB_t *makeNode(std::initializer_list<Area> areas, std::uint32_t model);
  // Allocates a block with a copy of the node. Links inside a node do not depend on its address.
  void *copyOf(const SNodeCB_t *node);

  void *allocate(std::uint64_t size);
  ShmPoolHandle *pool() const { return where_.pool; }
  ShmDomainHandle *domain() const { return where_.domain; }
  const ShmSegInfo_t &where() const { return where_; }
  OSSIPCResID key() const { return key_; }
  std::uint64_t offsetOf(const SNodeCB_t *node) const;

 private:
  OSSIPCResID key_{};
  ShmSegInfo_t where_{};
};

// Makes a node in a segment of its own, which has room for it.
SNodeCB_t *makeNode(std::unique_ptr<Segment> &segment, std::initializer_list<Segment::Area> areas, std::uint32_t model);

// Returns the number of buckets of a table with this capacity.
std::uint64_t bucketsFor(std::uint64_t capacity);

}  // namespace bench
