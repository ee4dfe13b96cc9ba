// SPDX-License-Identifier: MIT
// Two workers at the same time: on stores of their own, on one store, and a reader beside a writer. The number at the
// end of a name is the nanoseconds of other work between two calls of a worker or writer.
//
// The time is that of one call: the run divided by the calls of all workers, so two workers on stores of their own can
// halve it. Beside a writer, only the reader's calls count.
#include "support/r_stores.h"
#include "support/workers.h"

namespace bench {

namespace {

constexpr std::uint32_t kProperties = 1000;
constexpr benchmark::IterationCount kCalls = 400000;  // of all workers together, in one run

enum class Call { Get, Set };

template <class Store>
std::uint64_t callStore(Store &store, Call call, Key key) {
  return call == Call::Get ? store.get(key) : store.set(key);
}

// Makes `count` calls, each followed by the other work. Workers begin at different places of the order.
template <class Store>
std::uint64_t makeCalls(Store &store, Call call, benchmark::IterationCount count, const OtherWork &other,
                        unsigned worker) {
  const Order &order = Order::below(kProperties);
  std::uint64_t wrong = 0;
  const std::size_t from = worker * (Order::kLength / 2 + 1);
  for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
    wrong |= callStore(store, call, order[from + i]);
    other();
  }
  return wrong;
}

// Times as many runs as the harness wants. `run` returns the seconds that kCalls calls took.
template <class Run>
void timeRuns(benchmark::State &state, Run &&run) {
  Order::below(kProperties);  // created before any fork
  while (state.KeepRunningBatch(kCalls)) state.SetIterationTime(run());
}

struct Crowd {
  const char *name;
  Workers kind;
  unsigned count;
};
constexpr Crowd kCrowds[] = {
    {"1_process", Workers::Processes, 1}, {"2_processes", Workers::Processes, 2}, {"2_threads", Workers::Threads, 2}};

template <class Store>
struct Stores {
  Store store[2] = {Store(kProperties), Store(kProperties)};
};

template <class Store>
void addTogether(const std::string &subject, Call call) {
  const std::string verb = call == Call::Get ? "get" : "set";
  for (const Crowd &crowd : kCrowds) {
    for (const bool own : {true, false}) {
      if (!own && crowd.count == 1) continue;
      auto *added =
          add(verb + (own ? "_own_nodes_" : "_one_node_") + crowd.name + "/" + subject, [=](benchmark::State &state) {
            auto &stores = cached<Stores<Store>>();
            const OtherWork other(number(state));
            timeRuns(state, [&] {
              const Elapsed elapsed = runTogether(crowd.kind, crowd.count, [&](unsigned worker) {
                return makeCalls(stores.store[own ? worker : 0], call, kCalls / crowd.count, other, worker);
              });
              return elapsed.together;
            });
          });
      added->Arg(0)->UseManualTime();
      if (!own) added->Arg(60);
    }
  }
}

// Runs two workers: the first reads; the other sets until the first is done.
template <class Store>
double runBesideWriter(Store &store, const OtherWork &pause) {
  DoneFlag::clear();
  const OtherWork none(0);
  const Elapsed elapsed = runTogether(Workers::Processes, 2, [&](unsigned worker) -> std::uint64_t {
    std::uint64_t wrong = 0;
    if (worker == 0) {
      wrong = makeCalls(store, Call::Get, kCalls, none, worker);
      DoneFlag::set();
      return wrong;
    }
    for (std::size_t at = 0; !DoneFlag::isSet(); ++at) {
      wrong |= store.set(Order::below(kProperties)[at]);
      pause();
    }
    return wrong;
  });
  return elapsed.ofFirst;
}

template <class Store>
void addBesideWriter(const std::string &subject) {
  add("get_beside_writer/" + subject,
      [](benchmark::State &state) {
        auto &store = cached<Stores<Store>>().store[0];
        const OtherWork pause(number(state));
        timeRuns(state, [&] { return runBesideWriter(store, pause); });
      })
      ->Arg(0)
      ->Arg(60)
      ->Arg(1000)
      ->Arg(10000)
      ->UseManualTime();
}

template <class Store>
void addAll(const std::string &subject) {
  addTogether<Store>(subject, Call::Get);
  addTogether<Store>(subject, Call::Set);
  addBesideWriter<Store>(subject);
}

const bool registered = [] {
  addAll<RNode>("ours");
  addAll<RFloor>("floor");
  addAll<RBoost<boostmap::PlainMutex>>("boost_plain");
  addAll<RBoost<boostmap::RobustMutex>>("boost_robust");
  addTogether<RFloorNoLatch>("floor_no_latch", Call::Get);
  addBesideWriter<RFloorNoLatch>("floor_no_latch");
  addBesideWriter<UnprotectedRNode>("ours_unprotected");
  return true;
}();

}  // namespace

}  // namespace bench
