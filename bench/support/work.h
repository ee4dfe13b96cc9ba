// SPDX-License-Identifier: MIT
// The common part of the benchmarks: the registration, the order of keys, and the loop that times one call a round.
//
// A name is work/subject/number, for example "get_r/ours/1000". The report compares subjects of one work and number.
// Stores outlive a benchmark, because with interleaved repetitions each benchmark runs many times.
//
// Thread safety: one thread. Workers of a run may look up an Order that exists already.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace bench {

// A failure of a setup; the benchmark that needs it reports it as its error.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

inline void require(bool fine, const std::string &what) {
  if (!fine) throw Failure(what);
}

// The tags of the properties: 1 to n, or spread over all possible tags. Dense tags are the best case of a map whose
// hash is the number itself.
enum class Tags : std::uint32_t { Dense = 1, Sparse = 629437 };

// The key of a call, made beforehand, so that making it is not timed.
struct Key {
  std::uint32_t index;  // below n
  std::uint32_t tag;
};

inline Key keyOf(std::uint32_t index, Tags tags) {
  constexpr std::uint32_t kAllTags = 0x100000;
  return {index, index * static_cast<std::uint32_t>(tags) % kAllTags + 1};
}

// The order of keys: one that no hardware can predict, or one after another repeatedly, like a monitor that shows all
// values.
enum class Visit { AtRandom, InTurn };

// Keys with indices below n. They are the same for every subject, because the seed is the same.
class Order {
 public:
  static constexpr std::size_t kLength = std::size_t{1} << 15;  // 256 KiB, read in sequence

  Order(std::uint32_t n, Tags tags, Visit visit) : keys_(kLength) {
    std::mt19937 random(20240229);
    std::uint32_t turn = 0;
    for (Key &key : keys_) {
      key = keyOf((visit == Visit::InTurn ? turn++ : static_cast<std::uint32_t>(random())) % n, tags);
    }
  }

  const Key &operator[](std::size_t i) const { return keys_[i % kLength]; }

  static const Order &below(std::uint32_t n, Tags tags = Tags::Dense, Visit visit = Visit::AtRandom) {
    static std::map<std::tuple<std::uint32_t, Tags, Visit>, Order> orders;
    return orders.try_emplace({n, tags, visit}, n, tags, visit).first->second;
  }

 private:
  std::vector<Key> keys_;
};

// Returns the store of these arguments; makes it at the first call.
template <class Store, class... Arguments>
Store &cached(Arguments... arguments) {
  static std::map<std::tuple<Arguments...>, std::unique_ptr<Store>> stores;
  std::unique_ptr<Store> &store = stores[std::make_tuple(arguments...)];
  if (store == nullptr) store = std::make_unique<Store>(arguments...);
  return *store;
}

// Times `op(key)`, which returns 0 if the call succeeded and gave the expected value.
template <class Op>
void timeEach(benchmark::State &state, const Order &order, Op &&op) {
  std::uint64_t wrong = 0;
  std::size_t at = 0;
  for (auto _ : state) wrong |= op(order[at++]);
  if (wrong != 0) state.SkipWithError("a call failed or gave a wrong value");
}

// Times work in batches of `batch` operations. `round(order, at)` does one batch, with keys from `at` on; it returns 0
// if all of them succeeded.
template <class Round>
void timeBatches(benchmark::State &state, const Order &order, benchmark::IterationCount batch, Round &&round) {
  std::uint64_t wrong = 0;
  std::size_t at = 0;
  while (state.KeepRunningBatch(batch)) {
    wrong |= round(order, at);
    at += static_cast<std::size_t>(batch);
  }
  if (wrong != 0) state.SkipWithError("a call failed or gave a wrong value");
}

// Times changes of a store, a batch at a time, and undoes them untimed. `doIt` and `undo` get dense keys, all
// different, from index `first` on. For a benchmark with manual time.
template <class Do, class Undo>
void timeUndone(benchmark::State &state, std::uint32_t first, std::uint32_t batch, Do &&doIt, Undo &&undo) {
  using Clock = std::chrono::steady_clock;
  std::vector<Key> keys;
  for (std::uint32_t i = 0; i < batch; ++i) keys.push_back(keyOf(first + i, Tags::Dense));
  std::shuffle(keys.begin(), keys.end(), std::mt19937(7));
  std::uint64_t wrong = 0;
  while (state.KeepRunningBatch(batch)) {
    const Clock::time_point start = Clock::now();
    for (const Key &key : keys) wrong |= doIt(key);
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    for (const Key &key : keys) wrong |= undo(key);
  }
  if (wrong != 0) state.SkipWithError("a call failed");
}

// Registers a benchmark whose setup may throw.
template <class Work>
benchmark::internal::Benchmark *add(const std::string &name, Work work) {
  return benchmark::RegisterBenchmark(name.c_str(), [work = std::move(work)](benchmark::State &state) {
    try {
      work(state);
    } catch (const std::exception &failure) {
      state.SkipWithError(failure.what());
    }
  });
}

// Returns the number with which the benchmark was registered.
inline std::uint32_t number(const benchmark::State &state) { return static_cast<std::uint32_t>(state.range(0)); }

}  // namespace bench
