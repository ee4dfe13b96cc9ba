// SPDX-License-Identifier: MIT
// Work of several processes, or threads, at the same time, each on a processor of its own.
//
// The workers are forked, or started, for each run, and start together by a flag in shared memory. The parent sleeps
// until they have ended. The workers take the time, from the first start to the last end. A forked worker uses the
// mappings of its parent.
//
// Thread safety: one thread calls runTogether(); the workers may use DoneFlag and OtherWork.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <vector>

namespace bench {

enum class Workers { Processes, Threads };

// The work of a worker, called with its number; returns 0 if it succeeded.
using WorkerTask = std::function<std::uint64_t(unsigned worker)>;

// The seconds of a run: from the first start to the last end, and of the first worker alone.
struct Elapsed {
  double together;
  double ofFirst;
};

// The work of the parent while the processes work; called with their ids, in order.
using Meanwhile = std::function<void(const std::vector<pid_t> &workers)>;

// Runs the workers. Throws if one could not be started, or failed.
Elapsed runTogether(Workers kind, unsigned count, const WorkerTask &task, const Meanwhile &meanwhile = {});

// A flag that the workers of a run share; runTogether() clears it.
class DoneFlag {
 public:
  static void clear();
  static void set();
  static bool isSet();
};

// Work of a program between two calls: arithmetic of so many nanoseconds on this machine, without memory. Measured
// once.
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
