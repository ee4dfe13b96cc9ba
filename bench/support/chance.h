// SPDX-License-Identifier: MIT
// Random numbers for benchmarks that must not repeat themselves.
#pragma once

#include <cstdint>

namespace bench {

// Draws numbers that no hardware can predict and that do not repeat. A list of numbers made beforehand would repeat,
// give each block its old size again, and bring the heap to rest.
class Chance {
 public:
  std::uint32_t below(std::uint32_t n) {
    state_ = state_ * 6364136223846793005 + 1442695040888963407;
    return static_cast<std::uint32_t>((state_ >> 32) * n >> 32);
  }

 private:
  std::uint64_t state_ = 20240229;
};

}  // namespace bench
