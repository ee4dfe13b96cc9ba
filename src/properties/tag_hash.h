// The hash functions of the property tables.
//
// Every process that maps a node must find the same bucket for a key, so these functions are part of the format. Pure
// functions; any thread. All arithmetic is unsigned 64-bit and wraps.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace sntr {

// The hash of a string of bytes with a seed: three sums, taken in byte by byte, x ^= c, s += c, p = (p + 1)(c + 1).
//
// Only the third waits for its last multiplication. So several steps of it are made one, with factors that wait for
// nothing: ((p + 1) a + 1) b = (p + 1) ab + b.
class KeyHash {
 public:
  constexpr explicit KeyHash(std::uint64_t seed) : exclusive_(seed), sum_(seed), product_(seed) {}

  constexpr void fold(std::uint64_t byte) {
    exclusive_ ^= byte;
    sum_ += byte;
    product_ = (product_ + 1) * (byte + 1);
  }

  // Two bytes, the first one first.
  constexpr void fold(std::uint64_t first, std::uint64_t second) {
    exclusive_ ^= first ^ second;
    sum_ += first + second;
    product_ = (product_ + 1) * ((first + 1) * (second + 1)) + (second + 1);
  }

  // Eight bytes, the lowest one first. The first two sums do not care for the order, and take all bytes at once.
  constexpr void foldEight(std::uint64_t bytes) {
    constexpr std::uint64_t kEvenBytes = 0x00ff00ff00ff00ff, kOnes = 0x0001000100010001;
    const std::uint64_t even = bytes & kEvenBytes, odd = bytes >> 8 & kEvenBytes;
    std::uint64_t folded = bytes ^ bytes >> 32;
    folded ^= folded >> 16;
    exclusive_ ^= (folded ^ folded >> 8) & 0xff;
    sum_ += (even + odd) * kOnes >> 48;
    // a and b, of each two bytes: 256 at most, and so two lanes of 16 bits for each.
    std::uint64_t a = even + kOnes, b = odd + kOnes;
    for (int pair = 0; pair < 4; ++pair, a >>= 16, b >>= 16) {
      const std::uint64_t second = b & 0xffff;
      product_ = (product_ + 1) * ((a & 0xffff) * second) + second;
    }
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

// Folds in the digits of a number, which are made as they are needed and never stored. Two at a time: one division for
// both, and a multiplication that is one for each number below 100.
constexpr std::uint64_t foldDigits(KeyHash hash, std::uint32_t number) {
  while (number >= 10) {
    const std::uint32_t above = number / 100;
    const std::uint32_t pair = number - 100 * above;
    const std::uint32_t tens = pair * 103 >> 10;
    hash.fold('0' + pair - 10 * tens, '0' + tens);
    if (above == 0) return hash.value();
    number = above;
  }
  hash.fold('0' + number);
  return hash.value();
}

// The hash of a tag that a property may have: that of its digits.
constexpr std::uint64_t hashPropertyTag(std::uint64_t tag) {
  return foldDigits(KeyHash(0), static_cast<std::uint32_t>(tag));
}

// The same for any number.
constexpr std::uint64_t hashTag(std::uint64_t tag) {
  KeyHash hash(0);
  for (; tag >> 32 != 0; tag /= 100) hash.fold('0' + tag % 10, '0' + tag / 10 % 10);
  return foldDigits(hash, static_cast<std::uint32_t>(tag));
}

// The hash of an identifier. The seed is the tag for the full key and 0 for the identifier alone.
inline std::uint64_t hashBytes(std::uint64_t seed, const std::uint8_t *bytes, std::size_t count) {
  KeyHash hash(seed);
  std::size_t at = 0;
  for (; at + 8 <= count; at += 8) {
    std::uint64_t eight = 0;
    std::memcpy(&eight, bytes + at, sizeof eight);
    hash.foldEight(eight);
  }
  for (; at < count; ++at) hash.fold(bytes[at]);
  return hash.value();
}

static_assert(hashTag(0) == 49 && hashTag(7) == 56 && hashTag(1234) == 7163062, "the format's own examples");

}  // namespace sntr
