// Links in shared memory: byte offsets as a type.
//
// Each process maps the memory at its own address, so nothing in it is ever a pointer. An Offset<T> says what it leads
// to; 0 means none. It cannot be added to or turned into a pointer here: that is done by one checked function a base
// (the heap's and the node's), which knows the bounds.
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

// The next multiple of 8, or 0 when there is none below 2^64; the callers' bounds refuse that like any other misfit.
constexpr std::uint64_t roundUp8(std::uint64_t value) { return (value + 7) & ~std::uint64_t{7}; }

// True when a sum of two sizes would wrap around.
constexpr bool addsOver(std::uint64_t a, std::uint64_t b) { return a + b < a; }

// True when [offset, offset + size) lies in [low, high), whatever the values are.
constexpr bool liesWithin(std::uint64_t offset, std::uint64_t size, std::uint64_t low, std::uint64_t high) {
  return offset >= low && offset <= high && size <= high - offset;
}

static_assert(!liesWithin(~std::uint64_t{0}, 2, 0, 100), "a wrapped end is outside");

}  // namespace sntr
