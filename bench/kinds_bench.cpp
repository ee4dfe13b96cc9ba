// SPDX-License-Identifier: MIT
// The kinds other than R, by key: IR, V, IV and the base properties.
#include "support/other_stores.h"

namespace bench {

namespace {

template <class Store>
void addGet(const std::string &work, const std::string &subject, std::initializer_list<std::uint32_t> numbers) {
  for (const std::uint32_t n : numbers) {
    add("get_" + work + "/" + subject, [](benchmark::State &state) {
      auto &store = cached<Store>(number(state));
      timeEach(state, Order::below(number(state)), [&](Key key) { return store.get(key); });
    })->Arg(n);
  }
}

template <class Store>
void addGetSet(const std::string &work, const std::string &subject, std::initializer_list<std::uint32_t> numbers) {
  addGet<Store>(work, subject, numbers);
  for (const std::uint32_t n : numbers) {
    add("set_" + work + "/" + subject, [](benchmark::State &state) {
      auto &store = cached<Store>(number(state));
      timeEach(state, Order::below(number(state)), [&](Key key) { return store.set(key); });
    })->Arg(n);
  }
}

template <class Store>
void addIRChanges(const std::string &subject) {
  constexpr std::uint32_t kBatch = 250;
  add("add_ir/" + subject,
      [](benchmark::State &state) {
        auto &store = cached<Store>(number(state));
        timeUndone(
            state, number(state), kBatch, [&](Key key) { return store.add(key); },
            [&](Key key) { return store.remove(key); });
      })
      ->Arg(1000)
      ->UseManualTime();
  add("delete_ir/" + subject,
      [](benchmark::State &state) {
        auto &store = cached<Store>(number(state));
        timeUndone(
            state, number(state) / 4, kBatch, [&](Key key) { return store.remove(key); },
            [&](Key key) { return store.add(key); });
      })
      ->Arg(1000)
      ->UseManualTime();
}

template <class Store, class Call>
void addBase(const std::string &name, Call call) {
  add(name, [call](benchmark::State &state) {
    auto &store = cached<Store>();
    timeEach(state, Order::below(1), [&](Key) { return (store.*call)(); });
  });
}

template <class Store>
void addBases(const std::string &subject) {
  addBase<Store>("get_base_r/" + subject, &BaseNode::getR);
  addBase<Store>("set_base_r/" + subject, &BaseNode::setR);
  addBase<Store>("get_base_v64/" + subject, &BaseNode::getV);
  addBase<Store>("set_base_v64/" + subject, &BaseNode::setV);
}

const bool registered = [] {
  using boostmap::PlainMutex;
  using boostmap::RobustMutex;
  addGetSet<IRNode>("ir", "ours", {10, 1000, 30000});
  addGetSet<IRFloor>("ir", "floor", {10, 1000, 30000});
  addGetSet<IRBoost<PlainMutex>>("ir", "boost_plain", {10, 1000, 30000});
  addGetSet<IRBoost<RobustMutex>>("ir", "boost_robust", {10, 1000, 30000});
  addGetSet<UnprotectedIRNode>("ir", "ours_unprotected", {1000});
  addIRChanges<IRNode>("ours");
  addIRChanges<IRBoost<PlainMutex>>("boost_plain");

  addGetSet<VNode<64>>("v64", "ours", {10, 1000, 30000});
  addGetSet<VFloor<64>>("v64", "floor", {10, 1000, 30000});
  addGet<VFloorWords<64>>("v64", "floor_words", {10, 1000, 30000});
  addGetSet<VBoost<64, PlainMutex>>("v64", "boost_plain", {10, 1000, 30000});
  addGetSet<VBoost<64, RobustMutex>>("v64", "boost_robust", {10, 1000, 30000});
  addGetSet<VNode<4096>>("v4096", "ours", {10, 1000});
  addGetSet<VFloor<4096>>("v4096", "floor", {10, 1000});
  addGet<VFloorWords<4096>>("v4096", "floor_words", {10, 1000});
  addGetSet<VBoost<4096, PlainMutex>>("v4096", "boost_plain", {10, 1000});
  addGetSet<VBoost<4096, RobustMutex>>("v4096", "boost_robust", {10, 1000});
  addGetSet<IVNode<64>>("iv64", "ours", {10, 1000, 30000});

  addGetSet<UnprotectedVNode<64>>("v64", "ours_unprotected", {1000});
  addGetSet<UnprotectedVNode<4096>>("v4096", "ours_unprotected", {1000});
  addGetSet<UnprotectedIVNode<64>>("iv64", "ours_unprotected", {1000});

  addBases<BaseNode>("ours");
  addBases<UnprotectedBaseNode>("ours_unprotected");
  return true;
}();

}  // namespace

}  // namespace bench
