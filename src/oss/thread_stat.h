// What the system tells about a thread through /proc: whether it still runs, and since when.
//
// Any thread; safe in a signal handler and in a forked child, since nothing here allocates or locks.
#pragma once

#include <cstdint>

namespace oss {

// No start time is known.
inline constexpr std::uint32_t kNoStamp = 0;

// The stamp of the calling thread's start: the low half of its start time in clock ticks, never 0. kNoStamp when /proc
// is not there, or numbers threads for another PID namespace than ours. Costs three system calls.
std::uint32_t ownStartStamp(std::uint32_t thread) noexcept;

// Whether a thread is certainly dead: no thread has its number, it is a zombie, or its number belongs to a thread that
// started at another time. Whatever cannot be found out counts as alive, because a latch that is taken from a living
// owner breaks what it guards, while one that waits for a dead owner only ends at its limit.
//   stamp      of the thread in question; kNoStamp leaves the start time out
//   trustProc  whether /proc numbers threads as we do, which the caller's own stamp shows
bool threadIsDead(std::uint32_t thread, std::uint32_t stamp, bool trustProc) noexcept;

}  // namespace oss
