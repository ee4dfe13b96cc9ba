// SPDX-License-Identifier: MIT
// See thread_identity.h. The slow side: runs once per thread, and again in the thread that fork() leaves in a child.
#include "thread_identity.h"

#include <oss/identity.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>

#include "thread_stat.h"

namespace oss {

namespace {

// Never an epoch, so that a new thread does not take the page's initial 0 for its own epoch.
constexpr std::uint64_t kNoEpoch = ~std::uint64_t{0};

// The last epoch assigned. Not on the page: a child continues from its parent's last one, so its epochs differ from
// every epoch that a thread can have inherited.
constinit std::atomic<std::uint64_t> gLastEpoch{0};

// Wipes the epoch as the kernel does, for systems whose kernel cannot. It misses children made without fork().
void forgetEpoch() { __atomic_store_n(&gEpochPage.epoch, 0, __ATOMIC_RELAXED); }

// Runs at load, because neither call may be made in a signal handler.
[[gnu::constructor]] void watchForks() {
  static_cast<void>(madvise(&gEpochPage, sizeof gEpochPage, MADV_WIPEONFORK));
  static_cast<void>(pthread_atfork(nullptr, nullptr, forgetEpoch));
}

// Returns the epoch of this process; begins one if there is none. Relaxed: threads that begin one at the same moment
// only have to agree on its number, which the exchange ensures.
std::uint64_t currentEpoch() {
  std::atomic_ref<std::uint64_t> current(gEpochPage.epoch);
  std::uint64_t epoch = current.load(std::memory_order_relaxed);
  if (epoch != 0) return epoch;
  const std::uint64_t next = gLastEpoch.fetch_add(1, std::memory_order_relaxed) + 1;
  const bool begun = current.compare_exchange_strong(epoch, next, std::memory_order_relaxed);
  return begun ? next : epoch;
}

}  // namespace

constinit EpochPage gEpochPage{};
#ifdef OSS_FAULT_INJECTION
__thread OSSThreadIdentity tIdentity = {kNoEpoch, 0, &gEpochPage.epoch};
#endif

std::uint64_t refreshIdentity() noexcept {
  const std::uint64_t epoch = currentEpoch();
  const auto thread = static_cast<std::uint32_t>(gettid());
  OSSThreadIdentity &identity = ownIdentity();
  identity.word = makeOwner(thread, ownStartStamp(thread));
  // The word before the epoch that validates it: a signal handler may run between the two stores and read them.
  std::atomic_signal_fence(std::memory_order_release);
  identity.epoch = epoch;
  return identity.word;
}

}  // namespace oss

__thread OSSThreadIdentity ossIdentity = {oss::kNoEpoch, 0, &oss::gEpochPage.epoch};

uint32_t ossThreadID(void) { return oss::threadOf(oss::ownWord()); }
