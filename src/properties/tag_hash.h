// SPDX-License-Identifier: MIT
// The hash functions of the property tables. All arithmetic is unsigned 64-bit and wraps.
// Thread safety: pure functions; any thread.
// Invariant: they are part of the format, because every process that maps a node must find the same bucket for a key.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace sntr {

// The hash of a string of bytes with a seed: three sums, each byte folded in by x ^= c, s += c, p = (p + 1)(c + 1).
// Only the third depends on its last multiplication. So several steps of it are merged, with independent factors:
// ((p + 1) a + 1) b = (p + 1) ab + b.
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

  // Eight bytes, the lowest one first. The first two sums do not depend on the order, and take all bytes at once.
  constexpr void foldEight(std::uint64_t bytes) {
    constexpr std::uint64_t kEvenBytes = 0x00ff00ff00ff00ff, kOnes = 0x0001000100010001;
    const std::uint64_t even = bytes & kEvenBytes, odd = bytes >> 8 & kEvenBytes;
    std::uint64_t folded = bytes ^ bytes >> 32;
    folded ^= folded >> 16;
    exclusive_ ^= (folded ^ folded >> 8) & 0xff;
    sum_ += (even + odd) * kOnes >> 48;
    // a and b, of each two bytes: 256 at most, so two lanes of 16 bits for each.
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

// Folds in the digits of a number, computed as needed and never stored. Two at a time: one division for both, and a
// multiplication that replaces the second division for numbers below 100.
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

// The effect of some digits on the three sums: for the product, p + 1 becomes (p + 1) factor + addend. 16 bits are
// enough: a table of all pairs of digits fits 13 lines of the processor's cache.
struct DigitStep {
  std::uint16_t factor;
  std::int16_t addend;
  std::uint16_t start;  // the value of p + 1 if these digits are the first, and p is 0
  std::uint8_t sum;
  std::uint8_t exclusive;
};

constexpr std::uint32_t kPairs = 100;

// A pair of digits, the lower one first.
constexpr DigitStep pairStep(std::uint32_t pair) {
  const std::uint32_t ones = '0' + pair % 10, tens = '0' + pair / 10;
  const std::uint32_t factor = (ones + 1) * (tens + 1), addend = tens + 2;
  return {static_cast<std::uint16_t>(factor), static_cast<std::int16_t>(addend),
          static_cast<std::uint16_t>(factor + addend), static_cast<std::uint8_t>(ones + tens),
          static_cast<std::uint8_t>(ones ^ tens)};
}

// The digits above which there is none: two, or one. This last step makes p itself, not p + 1.
constexpr DigitStep lastStep(std::uint32_t above) {
  const std::uint32_t digit = '0' + above;
  if (above < 10)
    return {static_cast<std::uint16_t>(digit + 1), 0, 0, static_cast<std::uint8_t>(digit),
            static_cast<std::uint8_t>(digit)};
  DigitStep step = pairStep(above);
  --step.addend;
  return step;
}

// The tables side by side, so that one address leads to each.
struct DigitTables {
  std::array<DigitStep, kPairs> pairs;
  std::array<DigitStep, kPairs> last;
  std::array<std::uint16_t, kPairs> whole;  // the hash of a number without further digits
};
inline constexpr DigitTables kDigits = [] {
  DigitTables tables{};
  for (std::uint32_t i = 0; i < kPairs; ++i) {
    tables.pairs[i] = pairStep(i);
    tables.last[i] = lastStep(i);
    tables.whole[i] = static_cast<std::uint16_t>(foldDigits(KeyHash(0), i));
  }
  return tables;
}();

// Returns the hash of a tag that a property may have, with seven digits at most. Every operation on one property waits
// for it. So pairs of digits are looked up, not computed. Three and four digits share one path without a branch,
// because no processor predicts which it is.
constexpr std::uint64_t hashPropertyTag(std::uint64_t tag) {
  const auto number = static_cast<std::uint32_t>(tag);
  if (number < kPairs) return kDigits.whole[number];
  std::uint32_t above = number / kPairs;
  const DigitStep &first = kDigits.pairs[number - kPairs * above];
  std::uint64_t product = first.start, sum = first.sum, exclusive = first.exclusive;
  const auto take = [&](const DigitStep &step) {
    product = product * step.factor + static_cast<std::uint64_t>(std::int64_t{step.addend});
    sum += step.sum;
    exclusive ^= step.exclusive;
  };
  const auto takeNext = [&] {
    const std::uint32_t rest = above / kPairs;
    take(kDigits.pairs[above - kPairs * rest]);
    above = rest;
  };
  if (above >= kPairs) takeNext();
  if (above >= kPairs) [[unlikely]]
    takeNext();
  take(kDigits.last[above]);
  return product ^ sum ^ exclusive;
}

// Returns the hash of any number as a tag.
constexpr std::uint64_t hashTag(std::uint64_t tag) {
  KeyHash hash(0);
  for (; tag >> 32 != 0; tag /= 100) hash.fold('0' + tag % 10, '0' + tag / 10 % 10);
  return foldDigits(hash, static_cast<std::uint32_t>(tag));
}

// Returns the hash of an identifier. The seed is the tag for the full key, and 0 for the identifier alone.
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

static_assert([] {
  for (std::uint64_t scale = 1; scale < 10000; scale *= 10) {
    for (std::uint64_t tag = 0; tag < 1048; tag += 7) {
      if (hashPropertyTag(tag * scale) != hashTag(tag * scale)) return false;
    }
  }
  return true;
}());
static_assert(hashTag(0) == 49 && hashTag(7) == 56 && hashTag(1234) == 7163062, "the format's own examples");

}  // namespace sntr
