// SPDX-License-Identifier: MIT
// See mmv_values.h.
#include "peers/mmv_values.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

namespace bench {

MmvValues::MmvValues(std::uint32_t n, Tags) {
  static int count = 0;
  const std::string root = "/dev/shm/sntr_bench.mmv." + std::to_string(getpid());
  const std::string file = "values" + std::to_string(++count);
  // The folder of its files. It must be set before the library's first call.
  require(setenv("PCP_TMP_DIR", root.c_str(), 1) == 0, "setting PCP_TMP_DIR");
  mkdir(root.c_str(), 0700);
  mkdir((root + "/mmv").c_str(), 0700);

  constexpr int kCluster = 123;
  mmv_registry_t *registry = mmv_stats_registry(file.c_str(), kCluster, static_cast<mmv_stats_flags_t>(0));
  require(registry != nullptr, "making a registry of memory-mapped values");
  const pmUnits units{};
  names_.reserve(n);  // the registry keeps pointers to them
  for (std::uint32_t i = 0; i < n; ++i) {
    names_.push_back("value." + std::to_string(i + 1));
    mmv_stats_add_metric(registry, names_.back().c_str(), static_cast<int>(i + 1), MMV_TYPE_I32, MMV_SEM_INSTANT, units,
                         static_cast<int>(MMV_INDOM_NULL), "", "");
  }
  map_ = mmv_stats_start(registry);
  unlink((root + "/mmv/" + file).c_str());
  rmdir((root + "/mmv").c_str());
  rmdir(root.c_str());
  require(map_ != nullptr, "mapping memory-mapped values");
  for (std::uint32_t i = 0; i < n; ++i) {
    handles_.push_back(mmv_lookup_value_desc(map_, names_[i].c_str(), nullptr));
    require(handles_.back() != nullptr, "looking a memory-mapped value up");
    setByHandle(keyOf(i, Tags::Dense));
  }
}

MmvValues::~MmvValues() { mmv_stats_stop("values", map_); }

bool MmvValues::areRight() const {
  for (std::uint32_t i = 0; i < handles_.size(); ++i) {
    if (answer(0, handles_[i]->l, keyOf(i, Tags::Dense)) != 0) return false;
  }
  return true;
}

}  // namespace bench
