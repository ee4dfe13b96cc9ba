// SPDX-License-Identifier: MIT
// Fault injection: counts calls, fails the chosen one, stops the clock. Empty in the product.
// Thread safety: any thread; the state is process-private and has no latch. Each count is one atomic word; which thread
// gets which number is open (oss/fault.h). Order is relaxed, unless stated: the words guard nothing else.
#include "inject.h"

#ifdef OSS_FAULT_INJECTION

#include <atomic>

namespace oss {

namespace {

using Word = std::atomic<std::uint64_t>;
constexpr std::memory_order kRelaxed = std::memory_order_relaxed;

// Calls made so far, and the number of the call to fail; 0 is none, since calls are counted from 1.
struct Counter {
  Word calls{0};
  Word failing{0};

  void arm(std::uint64_t nth) noexcept { failing.store(nth == 0 ? 0 : calls.load(kRelaxed) + nth, kRelaxed); }
  bool hit() noexcept { return calls.fetch_add(1, kRelaxed) + 1 == failing.load(kRelaxed); }
};

constinit Counter gKinds[OSSFaultKindCount];
constinit Counter gAll;
constinit Word gInjected{0};
constinit std::atomic<std::int64_t> gHeld[OSSFaultHoldingCount];

// The stopped time. A separate word marks a running clock, since every number is a valid time.
constinit std::atomic<bool> gClockStopped{false};
constinit Word gClock{0};

bool isKind(OSSFaultKind kind) { return static_cast<std::uint32_t>(kind) < OSSFaultKindCount; }

}  // namespace

bool injected(OSSFaultKind kind) noexcept {
  // Counts both in any case, so that numbers do not depend on what is armed.
  const bool byKind = gKinds[kind].hit();
  const bool byAll = gAll.hit();
  if (!byKind && !byAll) return false;
  gInjected.fetch_add(1, kRelaxed);
  return true;
}

void countHeld(OSSFaultHolding holding, int change) noexcept { gHeld[holding].fetch_add(change, kRelaxed); }

std::uint64_t stoppedClockOr(std::uint64_t running) noexcept {
  return gClockStopped.load(std::memory_order_acquire) ? gClock.load(kRelaxed) : running;
}

}  // namespace oss

using oss::gAll;
using oss::gHeld;
using oss::gInjected;
using oss::gKinds;
using oss::kRelaxed;

void ossFaultArm(OSSFaultKind kind, uint64_t nth) {
  if (oss::isKind(kind)) gKinds[kind].arm(nth);
}

void ossFaultArmAny(uint64_t nth) { gAll.arm(nth); }

void ossFaultDisarm(void) {
  for (oss::Counter &kind : gKinds) kind.arm(0);
  gAll.arm(0);
}

uint64_t ossFaultCalls(OSSFaultKind kind) { return oss::isKind(kind) ? gKinds[kind].calls.load(kRelaxed) : 0; }

uint64_t ossFaultCallsOfAll(void) { return gAll.calls.load(kRelaxed); }

uint64_t ossFaultInjected(void) { return gInjected.load(kRelaxed); }

int64_t ossFaultHeld(OSSFaultHolding holding) {
  const bool known = static_cast<std::uint32_t>(holding) < OSSFaultHoldingCount;
  return known ? gHeld[holding].load(kRelaxed) : 0;
}

void ossFaultSetClock(uint64_t milliseconds) {
  oss::gClock.store(milliseconds, kRelaxed);
  // Release: pairs with the acquire in stoppedClockOr(): a thread that sees the clock stopped also sees the time.
  oss::gClockStopped.store(true, std::memory_order_release);
}

void ossFaultClearClock(void) { oss::gClockStopped.store(false, kRelaxed); }

#endif
