// SPDX-License-Identifier: MIT
// Copies bytes that a writer may be changing, for a reader without the latch (frame/sequence.h). From a multiple of 8,
// relaxed loads copy whole words; from anywhere else, single bytes.
// Thread safety: any thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "layout/offset.h"
#include "layout/words.h"

namespace sntr {

inline bool isWordPlace(const std::byte *at) { return reinterpret_cast<std::uintptr_t>(at) % kWordSize == 0; }

// Copies one word, or four. Written out, because the compiler unrolls no loop with atomics in it.
inline void copyWord(std::byte *to, const std::byte *from) {
  writeWord<std::uint64_t>(to, readWord<std::uint64_t>(from));
}
constexpr std::uint64_t kFourWords = 4 * kWordSize;
inline void copyFourWords(std::byte *to, const std::byte *from) {
  const auto a = readWord<std::uint64_t>(from), b = readWord<std::uint64_t>(from + kWordSize);
  const auto c = readWord<std::uint64_t>(from + 2 * kWordSize), d = readWord<std::uint64_t>(from + 3 * kWordSize);
  writeWord<std::uint64_t>(to, a);
  writeWord<std::uint64_t>(to + kWordSize, b);
  writeWord<std::uint64_t>(to + 2 * kWordSize, c);
  writeWord<std::uint64_t>(to + 3 * kWordSize, d);
}

inline void copyBytesSingly(std::byte *to, const std::byte *from, std::uint64_t count) {
  for (std::uint64_t i = 0; i < count; ++i) to[i] = static_cast<std::byte>(readWord<std::uint8_t>(from + i));
}

// A function of its own, which has registers for four words.
[[gnu::noinline]] inline void copyShared(std::byte *to, const std::byte *from, std::uint64_t count) {
  std::uint64_t at = 0;
  if (isWordPlace(from)) {
    for (; at + kFourWords <= count; at += kFourWords) copyFourWords(to + at, from + at);
    for (; at + kWordSize <= count; at += kWordSize) copyWord(to + at, from + at);
  }
  copyBytesSingly(to + at, from + at, count - at);
}

// The largest number of bytes that is copied in line.
constexpr std::uint64_t kMostInLine = 64;

// Copies up to kMostInLine bytes, a multiple of 8, by words: the first four and the last four, which overlap.
inline void copyFewWords(std::byte *to, const std::byte *from, std::uint64_t count) {
  static_assert(kMostInLine == 2 * kFourWords);
  if (count >= kFourWords) {
    copyFourWords(to, from);
    copyFourWords(to + count - kFourWords, from + count - kFourWords);
  } else {
    for (std::uint64_t at = 0; at < count; at += kWordSize) copyWord(to + at, from + at);
  }
}

}  // namespace sntr
