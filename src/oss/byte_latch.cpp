// SPDX-License-Identifier: MIT
// Waiting for a one-byte latch of this process, by any thread; the contract is in oss/latch.h.
#include <oss/latch.h>
#include <sched.h>
#include <time.h>

#include "layout/pause.h"
#include "layout/rc.h"
#include "system_calls.h"

namespace {

constexpr uint8_t kHeld = 1;

// A running owner releases the byte within these; one that is not running needs the processor.
constexpr int kSpins = 100;
constexpr int kYields = 20;

constexpr timespec kNap = {0, 200000};

void giveWay(int attempt) {
  if (attempt < kSpins) {
    sntr::pauseBriefly();
  } else if (attempt < kSpins + kYields) {
    sched_yield();
  } else {
    oss::sleepUncancelled(kNap);
  }
}

// Acquire: pairs with the store of 0 by the last holder. The load before it leaves the cache line to the owner.
bool tryTake(volatile uint8_t *latch) {
  return __atomic_load_n(latch, __ATOMIC_RELAXED) == 0 && __atomic_exchange_n(latch, kHeld, __ATOMIC_ACQUIRE) == 0;
}

}  // namespace

uint32_t ossLockGetConflict(volatile uint8_t *latch) {
  if (latch == nullptr) return sntr::code(sntr::Rc::OssBadArgument);
  for (int attempt = 0; !tryTake(latch);) {
    giveWay(attempt);
    if (attempt < kSpins + kYields) ++attempt;
  }
  return sntr::code(sntr::Rc::Ok);
}
