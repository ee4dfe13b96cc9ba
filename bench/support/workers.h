// SPDX-License-Identifier: MIT
// Work that several processes, or threads, do at the same time, each on a processor of its own.
//
// The workers are forked, or started, for each run and meet at a flag in shared memory; the parent sleeps until they
// have ended. Time is taken by the workers, from the first one's start to the last one's end. A forked worker uses what
// its parent has mapped.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <vector>

namespace bench {

enum class Workers { Processes, Threads };

// What a worker does: it is told its number, and answers 0 when all is well.
using WorkerTask = std::function<std::uint64_t(unsigned worker)>;

// The seconds that a run took: from the first start to the last end, and of the first worker alone.
struct Elapsed {
  double together;
  double ofFirst;
};

// What the parent does while the processes work, whose ids it is given in their order.
using Meanwhile = std::function<void(const std::vector<pid_t> &workers)>;

// Throws when a worker could not be started or failed.
Elapsed runTogether(Workers kind, unsigned count, const WorkerTask &task, const Meanwhile &meanwhile = {});

// A flag that all workers of a run see; cleared before each.
class DoneFlag {
 public:
  static void clear();
  static void set();
  static bool isSet();
};

// What a program does between two calls: arithmetic that takes so many nanoseconds on this machine and touches no
// memory. Measured once.
class OtherWork {
 public:
  explicit OtherWork(std::uint32_t nanoseconds);
  void operator()() const {
    std::uint64_t x = steps_;
    for (std::uint64_t i = 0; i < steps_; ++i) asm volatile("imulq %1, %0" : "+r"(x) : "r"(x) : "cc");
  }

 private:
  OtherWork() = default;
  static double nanosecondsPerStep();

  std::uint64_t steps_ = 0;
};

}  // namespace bench
