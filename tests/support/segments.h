// SPDX-License-Identifier: MIT
// Keys of segments for tests, the files behind them, and result codes compared by name.
#pragma once

#include <gtest/gtest.h>
#include <oss/segment.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>

#include "layout/rc.h"
#include "support/codes.h"

namespace support {

// Returns a key that no other test of this machine gets.
inline OSSIPCResID newKey() {
  static std::uint32_t count = 0;
  return OSSIPCResID{0x5e57000100000000 | static_cast<std::uint64_t>(getpid()), ++count};
}

inline std::filesystem::path fileOf(const OSSIPCResID &key) {
  char name[48];
  std::snprintf(name, sizeof name, "/dev/shm/qx7osse.%016llx%08x", static_cast<unsigned long long>(key.high),
                static_cast<unsigned>(key.low));
  return name;
}

// Returns true if anything has the key's name, even a link that leads nowhere.
inline bool segmentIsLeft(const OSSIPCResID &key) {
  return std::filesystem::exists(std::filesystem::symlink_status(fileOf(key)));
}

// Removes anything with the key's name.
inline void removeSegment(const OSSIPCResID &key) {
  std::error_code ignored;
  std::filesystem::remove_all(fileOf(key), ignored);
}

}  // namespace support
