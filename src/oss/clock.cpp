// SPDX-License-Identifier: MIT
// The time of day; the contract is in oss/identity.h.
#include <oss/identity.h>
#include <time.h>

#include "inject.h"

uint64_t ossTimeGetUTC(void) {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  return oss::stoppedClockOr(static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000);
}
