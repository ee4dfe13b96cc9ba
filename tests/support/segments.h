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

// No two tests of one machine get the same.
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

// Something has the key's name, a link that leads nowhere included.
inline bool segmentIsLeft(const OSSIPCResID &key) {
  return std::filesystem::exists(std::filesystem::symlink_status(fileOf(key)));
}

// Removes whatever has the key's name.
inline void removeSegment(const OSSIPCResID &key) {
  std::error_code ignored;
  std::filesystem::remove_all(fileOf(key), ignored);
}

}  // namespace support
