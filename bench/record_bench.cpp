// SPDX-License-Identifier: MIT
// Value and result code by the address of a record: each in a section of its own, and 16 in one that the caller holds.
// Beside memory-mapped values, which are accessed by handles.
#include "peers/mmv_values.h"
#include "support/r_stores.h"

namespace bench {

namespace {

constexpr std::uint32_t kNumber = 1000;
constexpr benchmark::IterationCount kHeld = 16;
constexpr std::uint64_t kResultCode = 3;

// The addresses of all records of a node.
template <class Node>
struct Records : Node {
  explicit Records(std::uint32_t n) : Node(n), of(n) {
    for (std::uint32_t i = 0; i < n; ++i) {
      const Key key = keyOf(i, Tags::Dense);
      requireOk(sntrGetAddressForRProperty(this->node, key.tag, &of[i]), "looking a record up");
      requireOk(static_cast<std::uint32_t>(setRecord(key, 0)), "setting a record");
    }
  }
  std::uint64_t getRecord(Key key, std::uint64_t held) {
    std::int32_t value = 0;
    std::uint64_t resultCode = 0;
    const std::uint32_t rc = sntrGetValueAndRCForRProperty(this->node, of[key.index], &value, &resultCode, held);
    return answer(rc, value, key) | (resultCode ^ kResultCode);
  }
  std::uint64_t setRecord(Key key, std::uint64_t held) {
    return sntrSetValueAndRCForRProperty(this->node, of[key.index], valueOf(key), kResultCode, held);
  }
  std::vector<SNodeProperty_t *> of;
};

template <class Node>
void addRecords(const std::string &subject) {
  using Store = Records<Node>;
  add("get_record/" + subject, [](benchmark::State &state) {
    auto &store = cached<Store>(number(state));
    timeEach(state, Order::below(number(state)), [&](Key key) { return store.getRecord(key, 0); });
  })->Arg(kNumber);
  add("set_record/" + subject, [](benchmark::State &state) {
    auto &store = cached<Store>(number(state));
    timeEach(state, Order::below(number(state)), [&](Key key) { return store.setRecord(key, 0); });
  })->Arg(kNumber);
  add("get_record_held/" + subject, [](benchmark::State &state) {
    auto &store = cached<Store>(number(state));
    SNodeLatchBlock_t *block = &store.node->primaryLatch;
    timeBatches(state, Order::below(number(state)), kHeld, [&](const Order &order, std::size_t at) {
      std::uint64_t wrong = sntrEnterCriticalSectionBeforeRead(store.node, block);
      for (std::size_t i = 0; i < kHeld; ++i) wrong |= store.getRecord(order[at + i], 1);
      return wrong | sntrExitCriticalSectionAfterRead(store.node, block);
    });
  })->Arg(kNumber);
  add("set_record_held/" + subject, [](benchmark::State &state) {
    auto &store = cached<Store>(number(state));
    SNodeLatchBlock_t *block = &store.node->primaryLatch;
    timeBatches(state, Order::below(number(state)), kHeld, [&](const Order &order, std::size_t at) {
      std::uint64_t wrong = sntrEnterCriticalSectionBeforeWrite(store.node, block);
      for (std::size_t i = 0; i < kHeld; ++i) wrong |= store.setRecord(order[at + i], 1);
      return wrong | sntrExitCriticalSectionAfterWrite(store.node, block);
    });
  })->Arg(kNumber);
}

void addMmv(const std::string &subject, void (MmvValues::*set)(Key)) {
  add("set_record_held/" + subject, [set](benchmark::State &state) {
    auto &values = cached<MmvValues>(number(state), Tags::Dense);
    timeBatches(state, Order::below(number(state)), kHeld, [&](const Order &order, std::size_t at) -> std::uint64_t {
      for (std::size_t i = 0; i < kHeld; ++i) (values.*set)(order[at + i]);
      return 0;
    });
    if (!values.areRight()) state.SkipWithError("a value is wrong");
  })->Arg(kNumber);
}

const bool registered = [] {
  addRecords<RNode>("ours");
  addRecords<UnprotectedRNode>("ours_unprotected");
  addMmv("mmv_handle", &MmvValues::setByHandle);
  addMmv("mmv_handle_double", &MmvValues::setByHandleConverting);
  for (const std::uint32_t n : {10U, kNumber}) {
    add("set_r/mmv_name", [](benchmark::State &state) {
      auto &values = cached<MmvValues>(number(state), Tags::Dense);
      timeEach(state, Order::below(number(state)), [&](Key key) { return values.set(key); });
    })->Arg(n);
  }
  return true;
}();

}  // namespace

}  // namespace bench
