// SPDX-License-Identifier: MIT
// State of a thread as /proc shows it: running or not, and since when.
// Thread safety: any thread; safe in a signal handler and in a forked child, since nothing here allocates or locks.
#pragma once

#include <cstdint>

namespace oss {

// The start time is unknown.
inline constexpr std::uint32_t kNoStamp = 0;

// Returns the stamp of the calling thread's start: the low half of its start time in clock ticks, never 0. Returns
// kNoStamp if /proc is missing, or belongs to another PID namespace. Costs three system calls.
std::uint32_t ownStartStamp(std::uint32_t thread) noexcept;

// Returns true if a thread is certainly dead: its number is unused, it is a zombie, or its number belongs to a thread
// that started at another time. Any doubt counts as alive: taking the latch of a living owner breaks what it guards,
// while waiting for a dead one only ends at the limit.
//   stamp      of the thread in question; kNoStamp ignores the start time
//   trustProc  /proc uses the caller's thread numbers, as the caller's own stamp proves
bool threadIsDead(std::uint32_t thread, std::uint32_t stamp, bool trustProc) noexcept;

}  // namespace oss
