// SPDX-License-Identifier: MIT
// A publisher's longest call while readers are stopped at random moments, as a debugger, a job control or a scheduler
// may do it. The publisher sets in a loop. The threads of another process get in a loop, and that process is stopped
// and continued repeatedly. Each has a processor of its own.
//
// The time is the longest call of a round, so time that the system takes from the publisher counts too. The subject
// `ours_alone` is the same publisher without readers: the machine's own effect on it.
#include <signal.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <thread>

#include "support/chance.h"
#include "support/r_stores.h"
#include "support/workers.h"

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kProperties = 1000;
constexpr std::chrono::seconds kRound{1};
constexpr std::uint32_t kStopped = 10000;     // microseconds of each stop of the readers
constexpr std::uint32_t kMostRunning = 1000;  // microseconds, at most, between two stops
constexpr std::size_t kReaders = 2;

// The longest call in seconds, shared with the forked publisher.
double &longest() {
  static auto *shared =
      static_cast<double *>(mmap(nullptr, sizeof(double), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  return *shared;
}

template <class Store>
std::uint64_t publish(Store &store) {
  const Order &order = Order::below(kProperties);
  std::uint64_t wrong = 0;
  Clock::duration most{};
  const Clock::time_point end = Clock::now() + kRound;
  Clock::time_point before = Clock::now();
  for (std::size_t at = 0; before < end; ++at) {
    wrong |= store.set(order[at]);
    const Clock::time_point after = Clock::now();
    most = std::max(most, after - before);
    before = after;
  }
  longest() = std::chrono::duration<double>(most).count();
  DoneFlag::set();
  return wrong;
}

template <class Store>
std::uint64_t readUntilDone(Store &store) {
  std::array<std::uint64_t, kReaders> wrong{};
  std::array<std::thread, kReaders> threads;
  for (std::size_t i = 0; i < kReaders; ++i) {
    threads[i] = std::thread([&, i] {
      floor::nameThread();
      for (std::size_t at = i; !DoneFlag::isSet(); ++at) wrong[i] |= store.get(Order::below(kProperties)[at]);
    });
  }
  for (std::thread &thread : threads) thread.join();
  return wrong[0] | wrong[1];
}

void stopAndContinue(pid_t readers) {
  static Chance chance;
  while (!DoneFlag::isSet()) {
    usleep(1 + chance.below(kMostRunning));
    kill(readers, SIGSTOP);
    usleep(kStopped);
    kill(readers, SIGCONT);
  }
}

template <class Store>
void addPublisher(const std::string &subject, unsigned workers) {
  add("longest_set_readers_stopped/" + subject,
      [workers](benchmark::State &state) {
        auto &store = cached<Store>(kProperties);
        Order::below(kProperties);  // created before any fork
        longest() = 0;
        const auto task = [&](unsigned worker) { return worker == 0 ? publish(store) : readUntilDone(store); };
        const auto meanwhile = [&](const std::vector<pid_t> &started) {
          if (workers == 2) stopAndContinue(started[1]);
        };
        for (auto _ : state) {
          runTogether(Workers::Processes, workers, task, meanwhile);
          state.SetIterationTime(longest());
        }
      })
      ->UseManualTime()
      ->Iterations(1);
}

const bool registered = [] {
  addPublisher<RNode>("ours", 2);
  addPublisher<RNode>("ours_alone", 1);
  addPublisher<RBoost<boostmap::PlainMutex>>("boost_plain", 2);
  return true;
}();

}  // namespace

}  // namespace bench
