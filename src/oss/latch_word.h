// SPDX-License-Identifier: MIT
// The owner word of a latch: its holder, and whether a thread sleeps on it. Pure functions; they touch no memory.
//
//   bits 0-22   number of the owner's thread, 1 to 0x400000; 0: free, and then every other bit is 0 too
//   bits 23-30  0
//   bit  31     waiters: a thread may be asleep on the word, so a release must wake one
//   bits 32-63  stamp of the owner's start (thread_stat.h), 0 if unknown
//
// Waiters sleep on the low half. The stamp distinguishes an owner from a later thread with the same number. It is in
// the same word, so that taking a dead owner's latch is one exchange, which fails if another thread was faster.
#pragma once

#include <oss/fast_paths.h>

#include <bit>
#include <cstdint>

namespace oss {

inline constexpr std::uint64_t kFree = 0;
inline constexpr std::uint64_t kWaiters = OSS_LATCH_WAITERS;
inline constexpr std::uint64_t kThreadMask = (std::uint64_t{1} << 23) - 1;
inline constexpr std::uint64_t kReservedMask = kWaiters - 1 - kThreadMask;

// The largest thread number of the system.
inline constexpr std::uint32_t kLargestThread = 0x400000;

static_assert(kLargestThread <= kThreadMask && (kThreadMask & kWaiters) == 0 && (kReservedMask & kThreadMask) == 0);
static_assert(std::endian::native == std::endian::little, "the low half must be the first four bytes of the word");

constexpr std::uint32_t threadOf(std::uint64_t word) { return static_cast<std::uint32_t>(word & kThreadMask); }
constexpr std::uint32_t stampOf(std::uint64_t word) { return static_cast<std::uint32_t>(word >> 32); }
constexpr std::uint64_t ownerOf(std::uint64_t word) { return word & ~kWaiters; }

constexpr std::uint64_t makeOwner(std::uint32_t thread, std::uint32_t stamp) {
  return std::uint64_t{stamp} << 32 | thread;
}

// Returns true if a latch can hold this word. Shared memory may hold anything.
constexpr bool isPlausible(std::uint64_t word) {
  if (word == kFree) return true;
  return (word & kReservedMask) == 0 && threadOf(word) != 0 && threadOf(word) <= kLargestThread;
}

}  // namespace oss
