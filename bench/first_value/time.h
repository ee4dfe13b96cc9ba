// SPDX-License-Identifier: MIT
/* The output of the two readers: nanoseconds from main() to the value, and the value, as text. */
#ifndef BENCH_FIRST_VALUE_TIME_H
#define BENCH_FIRST_VALUE_TIME_H

#include <stdint.h>
#include <stdio.h>
#include <time.h>

static inline int64_t nanoseconds(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * INT64_C(1000000000) + now.tv_nsec;
}

static inline int tell(int64_t taken, int32_t value) { return printf("%lld %d\n", (long long)taken, value) < 0; }

#endif
