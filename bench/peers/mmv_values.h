// SPDX-License-Identifier: MIT
// The memory-mapped values of Performance Co-Pilot: 32-bit metrics without instances, in a file in /dev/shm whose name
// is removed at once. They have no lock: a set is a store.
//
// Thread safety: one thread writes.
#pragma once

#include <string>
#include <vector>

#include "support/r_stores.h"
#include "support/work.h"

// These two come last, in this order: they need macros, and leave macros that spoil other headers.
// clang-format off
#include <pcp/pmapi.h>
#include <pcp/mmv_stats.h>
// clang-format on

namespace bench {

class MmvValues {
 public:
  explicit MmvValues(std::uint32_t n, Tags tags = Tags::Dense);
  MmvValues(const MmvValues &) = delete;
  MmvValues &operator=(const MmvValues &) = delete;
  ~MmvValues();

  // Set by handle: the value as a number of its type, and as a double that is converted.
  void setByHandle(Key key) {
    std::int32_t value = valueOf(key);
    mmv_set(map_, handles_[key.index], &value);
  }
  void setByHandleConverting(Key key) { mmv_set_value(map_, handles_[key.index], valueOf(key)); }

  // Sets by name; checks the value through the handle.
  std::uint64_t set(Key key) {
    mmv_stats_set(map_, names_[key.index].c_str(), nullptr, valueOf(key));
    return answer(0, handles_[key.index]->l, key);
  }

  // Returns true if every value is the one that was set.
  bool areRight() const;

 private:
  void *map_ = nullptr;
  std::vector<std::string> names_;
  std::vector<pmAtomValue *> handles_;
};

}  // namespace bench
