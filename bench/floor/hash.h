// The hashes of the property tables, as fast as they can be made: the numbers are part of the format.
//
// Three sums go over the bytes, x ^= c, s += c, p = (p + 1)(c + 1). Two steps of the third are one:
// ((p + 1) a + 1) b = p ab + (a + 1) b, so a multiplication for each two bytes is left in the chain.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

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

// The decimal digits as characters, the least significant first.
inline std::uint64_t hashTag(std::uint64_t tag) {
  Sums sums(0);
  auto rest = static_cast<std::uint32_t>(tag);
  while (rest >= 10) {
    const std::uint32_t tens = rest / 10;
    const std::uint32_t hundreds = rest / 100;
    sums.two('0' + rest - tens * 10, '0' + tens - hundreds * 10);
    rest = hundreds;
    if (rest == 0) return sums.value();
  }
  sums.one('0' + rest);
  return sums.value();
}

inline std::uint64_t hashBytes(std::uint64_t seed, const unsigned char *bytes, std::size_t count) {
  Sums sums(seed);
  std::size_t i = 0;
  for (; i + 1 < count; i += 2) sums.two(bytes[i], bytes[i + 1]);
  if (i < count) sums.one(bytes[i]);
  return sums.value();
}

}  // namespace bench::floor
