// SPDX-License-Identifier: MIT
// The hashes of the property tables, as fast as possible. Their numbers are part of the format.
//
// Three sums go over the bytes: x ^= c, s += c, p = (p + 1)(c + 1). Two steps of the third sum are merged, with a and b
// for c + 1: ((p + 1) a + 1) b = p ab + (a + 1) b. So the chain has one multiplication for each two bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "properties/tag_hash.h"

namespace bench::floor {

struct Sums {
  std::uint64_t exclusive;
  std::uint64_t sum;
  std::uint64_t product;

  explicit Sums(std::uint64_t seed) : exclusive(seed), sum(seed), product(seed) {}

  void one(std::uint64_t c) {
    exclusive ^= c;
    sum += c;
    product = (product + 1) * (c + 1);
  }
  void two(std::uint64_t c, std::uint64_t d) {
    exclusive ^= c ^ d;
    sum += c + d;
    const std::uint64_t both = (c + 1) * (d + 1);
    product = product * both + both + d + 1;
  }
  std::uint64_t value() const { return exclusive ^ sum ^ product; }
};

// Hashes the decimal digits as characters, the least significant first. The library's own way, by tables of pairs of
// digits, is the fastest known.
inline std::uint64_t hashTag(std::uint64_t tag) { return sntr::hashPropertyTag(tag); }

inline std::uint64_t hashBytes(std::uint64_t seed, const unsigned char *bytes, std::size_t count) {
  Sums sums(seed);
  std::size_t i = 0;
  for (; i + 1 < count; i += 2) sums.two(bytes[i], bytes[i + 1]);
  if (i < count) sums.one(bytes[i]);
  return sums.value();
}

}  // namespace bench::floor
