// SPDX-License-Identifier: MIT
// Reads and writes words of memory by their offset, of any type and alignment.
#pragma once

#include <cstdint>
#include <cstring>

namespace support {

template <class T = std::uint64_t>
T wordAt(const void *base, std::uint64_t offset) {
  T value{};
  std::memcpy(&value, static_cast<const char *>(base) + offset, sizeof(T));
  return value;
}

template <class T>
void setWordAt(void *base, std::uint64_t offset, T value) {
  std::memcpy(static_cast<char *>(base) + offset, &value, sizeof(T));
}

}  // namespace support
