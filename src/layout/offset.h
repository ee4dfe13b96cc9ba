// SPDX-License-Identifier: MIT
// Links in shared memory: byte offsets as a type.
//
// Each process maps the memory at its own address, so shared memory holds no pointer. An Offset<T> names its target's
// type; 0 means none. It has no arithmetic and no conversion to a pointer: one checked function per base (the heap's
// and the node's) does that, with the bounds.
#pragma once

#include <cstdint>

namespace sntr {

template <class T>
struct Offset {
  std::uint64_t value = 0;

  constexpr explicit operator bool() const { return value != 0; }
  constexpr bool operator==(const Offset &) const = default;
};

static_assert(sizeof(Offset<int>) == 8, "a link is one 8-byte word, so that one store changes it");

constexpr std::uint64_t kWordSize = 8;

constexpr bool isMultipleOf8(std::uint64_t value) { return value % kWordSize == 0; }

// Returns the next multiple of 8, or 0 if none exists below 2^64; the callers' bounds checks refuse 0.
constexpr std::uint64_t roundUp8(std::uint64_t value) { return (value + 7) & ~std::uint64_t{7}; }

// Returns true if the sum of two sizes wraps around.
constexpr bool addsOver(std::uint64_t a, std::uint64_t b) { return a + b < a; }

// Returns true if [offset, offset + size) lies in [low, high), for any values.
constexpr bool liesWithin(std::uint64_t offset, std::uint64_t size, std::uint64_t low, std::uint64_t high) {
  return offset >= low && offset <= high && size <= high - offset;
}

static_assert(!liesWithin(~std::uint64_t{0}, 2, 0, 100), "a wrapped end is outside");

}  // namespace sntr
