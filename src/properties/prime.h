// SPDX-License-Identifier: MIT
// Turns a wanted number of buckets into a prime.
// Thread safety: pure; any thread.
#pragma once

#include <cstdint>

namespace sntr {

// Returns the smallest odd number, from the wanted one up, that no odd number from 3 to its square root divides. So 0
// and 1 return 1, a valid bucket count on purpose. Takes time in proportion to the square root of the number.
constexpr std::uint64_t primeFrom(std::uint64_t wanted) {
  const auto isAccepted = [](std::uint64_t candidate) {
    for (std::uint64_t divisor = 3; divisor <= candidate / divisor; divisor += 2) {
      if (candidate % divisor == 0) return false;
    }
    return true;
  };
  std::uint64_t candidate = wanted | 1;
  while (!isAccepted(candidate)) candidate += 2;
  return candidate;
}

static_assert(primeFrom(0) == 1 && primeFrom(2) == 3 && primeFrom(8) == 11 && primeFrom(25) == 29);

}  // namespace sntr
