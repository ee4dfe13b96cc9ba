// SPDX-License-Identifier: MIT
// Registers by tag: get and set, add and delete, under model 1 and without a latch.
#include "peers/lmdb_store.h"
#include "support/r_stores.h"

namespace bench {

namespace {

constexpr std::uint32_t kNumbers[] = {10, 100, 1000, 10000, 30000};

template <class Store>
void addGet(const std::string &subject, const std::string &suffix = "", Tags tags = Tags::Dense,
            Visit visit = Visit::AtRandom) {
  for (const std::uint32_t n : kNumbers) {
    add("get_r" + suffix + "/" + subject, [=](benchmark::State &state) {
      auto &store = cached<Store>(number(state), tags);
      timeEach(state, Order::below(number(state), tags, visit), [&](Key key) { return store.get(key); });
    })->Arg(n);
  }
}

template <class Store>
void addGetSet(const std::string &subject, const std::string &suffix = "", Tags tags = Tags::Dense,
               Visit visit = Visit::AtRandom) {
  addGet<Store>(subject, suffix, tags, visit);
  for (const std::uint32_t n : kNumbers) {
    add("set_r" + suffix + "/" + subject, [=](benchmark::State &state) {
      auto &store = cached<Store>(number(state), tags);
      timeEach(state, Order::below(number(state), tags, visit), [&](Key key) { return store.set(key); });
    })->Arg(n);
  }
}

// Changes batches of the store's first properties, or of others behind them.
template <class Store>
void addChanges(const std::string &subject) {
  constexpr std::uint32_t kBatch = 500;
  for (const std::uint32_t n : {1000U, 30000U}) {
    add("add_r/" + subject,
        [](benchmark::State &state) {
          auto &store = cached<Store>(number(state), Tags::Dense);
          timeUndone(
              state, number(state), kBatch, [&](Key key) { return store.add(key); },
              [&](Key key) { return store.remove(key); });
        })
        ->Arg(n)
        ->UseManualTime();
    add("delete_r/" + subject,
        [](benchmark::State &state) {
          auto &store = cached<Store>(number(state), Tags::Dense);
          timeUndone(
              state, number(state) / 4, kBatch, [&](Key key) { return store.remove(key); },
              [&](Key key) { return store.add(key); });
        })
        ->Arg(n)
        ->UseManualTime();
  }
}

template <class Store>
void addAll(const std::string &subject) {
  addGetSet<Store>(subject);
  addGetSet<Store>(subject, "_sparse", Tags::Sparse);
  addGetSet<Store>(subject, "_in_turn", Tags::Dense, Visit::InTurn);
  addChanges<Store>(subject);
}

const bool registered = [] {
  addAll<RNode>("ours");
  addAll<RFloor>("floor");
  addAll<RBoost<boostmap::PlainMutex>>("boost_plain");
  addAll<RBoost<boostmap::RobustMutex>>("boost_robust");
  addGet<RFloorNoLatch>("floor_no_latch");
  addGet<RFloorNoLatch>("floor_no_latch", "_sparse", Tags::Sparse);
  addGet<RFloorNoLatch>("floor_no_latch", "_in_turn", Tags::Dense, Visit::InTurn);
  for (const Visit visit : {Visit::AtRandom, Visit::InTurn}) {
    const std::string suffix = visit == Visit::InTurn ? "_in_turn" : "";
    addGetSet<UnprotectedRNode>("ours_unprotected", suffix, Tags::Dense, visit);
    addGetSet<UnprotectedRFloor>("floor_unprotected", suffix, Tags::Dense, visit);
  }
  addGetSet<RLmdb>("lmdb");
  return true;
}();

}  // namespace

}  // namespace bench
