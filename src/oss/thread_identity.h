// Who the calling thread is, as the owner word of a latch, at the price of two loads.
//
// Asking the system costs microseconds, so each thread asks once and keeps the answer. The danger is fork(): the
// child's thread starts with a copy of the parent's answer and would pass for the parent. So the answer carries the
// epoch of its process, and is good only while that is the epoch of the page below. The kernel wipes the page in a
// forked child; there 0 is found, and the child begins an epoch that no ancestor had.
//
// Any thread; safe in signal handlers and in a forked child of a process with several threads.
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

// The calling thread's answer. The published one, with which callers get latches in line; its 24 bytes fit what the
// loader keeps back for libraries loaded late. In the build for tests one of its own: there the published one is never
// filled in, so that callers come to the calls, which can be made to fail.
#ifdef OSS_FAULT_INJECTION
[[gnu::visibility("hidden"), gnu::tls_model("initial-exec")]] extern __thread OSSThreadIdentity tIdentity;
inline OSSThreadIdentity &ownIdentity() noexcept { return tIdentity; }
#else
inline OSSThreadIdentity &ownIdentity() noexcept { return ossIdentity; }
#endif

// Asks the system and keeps the answer.
[[gnu::cold]] std::uint64_t refreshIdentity() noexcept;

// The owner word of the calling thread, without the waiters bit. Never 0.
inline std::uint64_t ownWord() noexcept {
  // Relaxed: this thread, or the one that forked, has itself met the epoch that it kept.
  const OSSThreadIdentity &identity = ownIdentity();
  if (identity.epoch == __atomic_load_n(&gEpochPage.epoch, __ATOMIC_RELAXED)) [[likely]]
    return identity.word;
  return refreshIdentity();
}

}  // namespace oss
