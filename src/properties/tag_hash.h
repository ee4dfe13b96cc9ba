// The hash functions of the property tables.
//
// Every process that maps a node must find the same bucket for a key, so these functions are part of the format. Pure
// functions; any thread. All arithmetic is unsigned 64-bit and wraps.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sntr {

// The hash of a string of bytes with a seed, taken in byte by byte.
class KeyHash {
 public:
  constexpr explicit KeyHash(std::uint64_t seed) : exclusive_(seed), sum_(seed), product_(seed) {}

  constexpr void fold(std::uint8_t byte) {
    exclusive_ ^= byte;
    sum_ += byte;
    product_ = (product_ + 1) * (std::uint64_t{byte} + 1);
  }

  constexpr std::uint64_t value() const { return exclusive_ ^ sum_ ^ product_; }

 private:
  std::uint64_t exclusive_;
  std::uint64_t sum_;
  std::uint64_t product_;
};

// Calls take(character) for each decimal digit of a number, the least significant first. 0 has one digit.
template <class Take>
constexpr void forEachDigit(std::uint64_t number, Take &&take) {
  do {
    take(static_cast<std::uint8_t>('0' + number % 10));
    number /= 10;
  } while (number != 0);
}

// The hash of a tag: that of its digits, which are folded in as they come and never stored.
constexpr std::uint64_t hashTag(std::uint64_t tag) {
  KeyHash hash(0);
  forEachDigit(tag, [&](std::uint8_t digit) { hash.fold(digit); });
  return hash.value();
}

// The hash of an identifier. The seed is the tag for the full key and 0 for the identifier alone.
constexpr std::uint64_t hashBytes(std::uint64_t seed, const std::uint8_t *bytes, std::size_t count) {
  KeyHash hash(seed);
  for (std::size_t i = 0; i < count; ++i) hash.fold(bytes[i]);
  return hash.value();
}

static_assert(hashTag(0) == 49 && hashTag(7) == 56 && hashTag(1234) == 7163062, "the format's own examples");

}  // namespace sntr
