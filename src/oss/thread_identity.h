// Who the calling thread is, as the owner word of a latch, at the price of two loads.
//
// Asking the system costs microseconds, so each thread asks once and keeps the answer. The danger is fork(): the
// child's thread starts with a copy of the parent's answer and would pass for the parent. So the answer carries the
// epoch of its process, and is good only while that is the epoch of the page below. The kernel wipes the page in a
// forked child; there 0 is found, and the child begins an epoch that no ancestor had.
//
// Any thread; safe in signal handlers and in a forked child of a process with several threads.
#pragma once

#include <atomic>
#include <cstdint>

#include "latch_word.h"

namespace oss {

inline constexpr std::size_t kPageSize = 4096;

// Alone on its page, because wiping takes whole pages.
struct alignas(kPageSize) EpochPage {
  std::atomic<std::uint64_t> epoch;
};
static_assert(sizeof(EpochPage) == kPageSize, "nothing else may lie on the page that is wiped");

struct ThreadIdentity {
  std::uint64_t epoch;
  std::uint64_t word;
};

[[gnu::visibility("hidden")]] extern EpochPage gEpochPage;

// Initial-exec, so that reaching it is one addition; 16 bytes fit what the loader keeps back for libraries loaded late.
[[gnu::visibility("hidden"), gnu::tls_model("initial-exec")]] extern __thread ThreadIdentity tIdentity;

// Asks the system and keeps the answer.
[[gnu::cold]] std::uint64_t refreshIdentity() noexcept;

// The owner word of the calling thread, without the waiters bit. Never 0.
inline std::uint64_t ownWord() noexcept {
  // Relaxed: this thread, or the one that forked, has itself met the epoch that it kept.
  if (tIdentity.epoch == gEpochPage.epoch.load(std::memory_order_relaxed)) [[likely]]
    return tIdentity.word;
  return refreshIdentity();
}

}  // namespace oss
