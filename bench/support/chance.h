// SPDX-License-Identifier: MIT
// Chance for benchmarks that must not repeat themselves.
#pragma once

#include <cstdint>

namespace bench {

// Numbers that no hardware guesses and that never come round, unlike an order written down: an order that repeats would
// give each block its old size again, and the heap would come to rest.
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
