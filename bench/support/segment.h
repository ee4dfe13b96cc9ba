// SPDX-License-Identifier: MIT
// A segment of the library with one pool, and nodes in it.
//
// The segment loses its name as soon as it is made, so that nothing is left in /dev/shm however the program ends; the
// memory, and forked children that inherit it, are not touched by that.
#pragma once

#include <sntr/sntr.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>

#include "support/work.h"

namespace bench {

// Throws what a call answered, unless it is 0.
void requireOk(std::uint32_t rc, const char *what);

class Segment {
 public:
  enum class Name { Removed, Kept };

  // The pool has `poolSize` bytes for blocks.
  explicit Segment(std::uint64_t poolSize, const ShmPoolParams *params = nullptr, Name name = Name::Removed);
  ~Segment();
  Segment(const Segment &) = delete;
  Segment &operator=(const Segment &) = delete;

  struct Area {
    std::uint64_t kind;  // SNTR_KIND_* or SNTR_OPTION_*
    std::uint64_t size;
  };

  // An active node.
  SNodeCB_t *makeNode(std::initializer_list<Area> areas, std::uint32_t model);
  // A block as large as the node, with a copy of it: links inside a node do not depend on its address.
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

// A node of its own segment, which has room for it.
SNodeCB_t *makeNode(std::unique_ptr<Segment> &segment, std::initializer_list<Segment::Area> areas, std::uint32_t model);

// The number of buckets that a table with this capacity gets.
std::uint64_t bucketsFor(std::uint64_t capacity);

}  // namespace bench
