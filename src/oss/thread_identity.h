// SPDX-License-Identifier: MIT
// The identity of the calling thread, as the owner word of a latch, for the cost of two loads.
//
// The system call costs microseconds, so each thread makes it once and caches the result. After fork() the child's
// thread has a copy of the parent's result and would pass for the parent. So the result carries the epoch of its
// process and is valid only while the page below holds that epoch. The kernel wipes the page in a forked child: the
// child finds 0 and begins an epoch that no ancestor had.
//
// Thread safety: any thread; safe in signal handlers, and in a forked child of a process with several threads.
#pragma once

#include <oss/fast_paths.h>

#include <cstdint>

#include "latch_word.h"

namespace oss {

inline constexpr std::size_t kPageSize = 4096;

// Alone on its page, because wiping takes whole pages.
struct alignas(kPageSize) EpochPage {
  std::uint64_t epoch;
};
static_assert(sizeof(EpochPage) == kPageSize, "nothing else may lie on the page that is wiped");

[[gnu::visibility("hidden")]] extern EpochPage gEpochPage;

// Returns the calling thread's identity. The product uses the published one, with which callers take latches inline;
// its 24 bytes fit what the loader reserves for libraries loaded late. The build for tests has its own and never fills
// the published one: callers then make the calls, which can be made to fail.
#ifdef OSS_FAULT_INJECTION
[[gnu::visibility("hidden"), gnu::tls_model("initial-exec")]] extern __thread OSSThreadIdentity tIdentity;
inline OSSThreadIdentity &ownIdentity() noexcept { return tIdentity; }
#else
inline OSSThreadIdentity &ownIdentity() noexcept { return ossIdentity; }
#endif

// Determines the identity by system calls and caches it.
[[gnu::cold]] std::uint64_t refreshIdentity() noexcept;

// Returns the owner word of the calling thread, without the waiters bit. Never 0.
inline std::uint64_t ownWord() noexcept {
  // Relaxed: this thread, or the one that forked, read the cached epoch itself.
  const OSSThreadIdentity &identity = ownIdentity();
  if (identity.epoch == __atomic_load_n(&gEpochPage.epoch, __ATOMIC_RELAXED)) [[likely]]
    return identity.word;
  return refreshIdentity();
}

}  // namespace oss
