// SPDX-License-Identifier: MIT
// See workers.h.
#include "support/workers.h"

#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "floor/latch.h"
#include "support/work.h"

namespace bench {

namespace {

constexpr unsigned kMaxWorkers = 2;

// Memory that forked workers share. Words of different workers are at least a cache line apart.
struct Meeting {
  alignas(128) std::uint32_t arrived;
  alignas(128) std::uint32_t done;
  std::uint32_t failed;  // set by the parent
  struct alignas(128) Worker {
    std::int64_t start;
    std::int64_t end;
    std::uint64_t wrong;
  } worker[kMaxWorkers];
};

Meeting &meeting() {
  static auto *shared =
      static_cast<Meeting *>(mmap(nullptr, sizeof(Meeting), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  return *shared;
}

std::int64_t now() {
  timespec time;
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time.tv_sec * std::int64_t{1000000000} + time.tv_nsec;
}

// Binds a worker to a processor: the n-th of those that this program may use.
void takeProcessor(unsigned number) {
  cpu_set_t allowed;
  if (sched_getaffinity(0, sizeof allowed, &allowed) != 0) return;
  unsigned left = number % static_cast<unsigned>(CPU_COUNT(&allowed));
  for (std::size_t cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
    if (!CPU_ISSET(cpu, &allowed) || left-- != 0) continue;
    CPU_ZERO(&allowed);
    CPU_SET(cpu, &allowed);
    static_cast<void>(sched_setaffinity(0, sizeof allowed, &allowed));
    return;
  }
}

void work(unsigned number, unsigned count, const WorkerTask &task) {
  takeProcessor(number);
  floor::nameThread();
  Meeting &shared = meeting();
  Meeting::Worker &own = shared.worker[number];
  // Acquire and release: a worker that finds all arrived also finds what each wrote before.
  __atomic_fetch_add(&shared.arrived, 1, __ATOMIC_ACQ_REL);
  while (__atomic_load_n(&shared.arrived, __ATOMIC_ACQUIRE) < count) __builtin_ia32_pause();
  own.start = now();
  own.wrong = task(number);
  own.end = now();
}

// Releases the workers that wait for one that did not start, or has died.
void giveUp() {
  meeting().failed = 1;
  __atomic_fetch_add(&meeting().arrived, kMaxWorkers, __ATOMIC_ACQ_REL);
  DoneFlag::set();
}

void runProcesses(unsigned count, const WorkerTask &task, const Meanwhile &meanwhile) {
  std::vector<pid_t> started;
  while (started.size() < count) {
    const pid_t child = fork();
    if (child == 0) {
      work(static_cast<unsigned>(started.size()), count, task);
      _exit(0);
    }
    if (child < 0) break;
    started.push_back(child);
  }
  if (started.size() < count) giveUp();
  if (started.size() == count && meanwhile) meanwhile(started);
  for (std::size_t left = started.size(); left > 0; --left) {
    int status = 0;
    if (waitpid(-1, &status, 0) < 0 || status != 0) giveUp();
  }
}

void runThreads(unsigned count, const WorkerTask &task) {
  std::vector<std::thread> threads;
  for (unsigned number = 0; number < count; ++number) {
    threads.emplace_back([&, number] { work(number, count, task); });
  }
  for (std::thread &thread : threads) thread.join();
}

}  // namespace

Elapsed runTogether(Workers kind, unsigned count, const WorkerTask &task, const Meanwhile &meanwhile) {
  require(count <= kMaxWorkers, "too many workers");
  Meeting &shared = meeting();
  shared = Meeting{};
  kind == Workers::Processes ? runProcesses(count, task, meanwhile) : runThreads(count, task);
  require(shared.failed == 0, "a worker could not be started, or died");
  std::int64_t first = shared.worker[0].start;
  std::int64_t last = shared.worker[0].end;
  for (unsigned i = 0; i < count; ++i) {
    require(shared.worker[i].wrong == 0, "a worker failed");
    first = std::min(first, shared.worker[i].start);
    last = std::max(last, shared.worker[i].end);
  }
  const auto seconds = [](std::int64_t nanoseconds) { return static_cast<double>(nanoseconds) * 1e-9; };
  return {seconds(last - first), seconds(shared.worker[0].end - shared.worker[0].start)};
}

void DoneFlag::clear() { __atomic_store_n(&meeting().done, 0, __ATOMIC_RELEASE); }
// Release, and acquire below: a worker that finds the flag set also finds what was written before it.
void DoneFlag::set() { __atomic_store_n(&meeting().done, 1, __ATOMIC_RELEASE); }
bool DoneFlag::isSet() { return __atomic_load_n(&meeting().done, __ATOMIC_ACQUIRE) != 0; }

// Returns the least of several tries, because another program may interrupt one.
double OtherWork::nanosecondsPerStep() {
  constexpr std::uint64_t kSteps = 1000000;
  OtherWork probe;
  probe.steps_ = kSteps;
  double best = 1e9;
  for (int i = 0; i < 7; ++i) {
    const std::int64_t start = now();
    probe();
    best = std::min(best, static_cast<double>(now() - start) / kSteps);
  }
  return best;
}

OtherWork::OtherWork(std::uint32_t nanoseconds) {
  static const double perStep = nanosecondsPerStep();
  steps_ = static_cast<std::uint64_t>(nanoseconds / perStep + 0.5);
}

}  // namespace bench
