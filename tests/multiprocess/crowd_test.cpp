// Several processes change the same heaps and the same list at once; afterwards nothing is wrong, and nothing is left.
#include <map>
#include <memory>
#include <random>

#include "multiprocess/worker.h"
#include "support/property_invariants.h"

namespace multiprocess_test {
namespace {

constexpr std::uint64_t kProcesses = 4;

class Crowd : public SharedSegment {
 protected:
  void playAtOnce(const char *part, std::uint64_t amount) {
    std::vector<std::unique_ptr<Actor>> actors;
    for (std::uint64_t i = 0; i < kProcesses; ++i) actors.push_back(std::make_unique<Actor>(part, task(i, amount)));
    for (const auto &actor : actors) EXPECT_EQ(actor->result(), 0) << part;
  }
};

void workSteps(const Task &task) {
  const Connection here(task);
  Worker worker(here.domain, here.pool, here.node, task.index + 1, Others::Live);
  for (std::uint64_t i = 0; i < task.amount && !testing::Test::HasFailure(); ++i) worker.step();
  worker.giveAll();
}
const PartName kSteps("steps", workSteps);

TEST_F(Crowd, GivesAHeapBackAsItWas) {
  createDomain(0x400000);
  createPool(0x40000);
  createNode(SNTR_LAYOUT_HASH, 200);
  const HeapPicture before[] = {lookAtPool(), lookAtDomain()};
  playAtOnce("steps", kSanitized ? 10000 : 200000);
  const HeapPicture after[] = {lookAtPool(), lookAtDomain()};
  for (int i = 0; i < 2; ++i) {
    SCOPED_TRACE(i == 0 ? "pool" : "domain");
    EXPECT_EQ(after[i].problem, "");
    EXPECT_EQ(before[i].free.size(), 1u);
    EXPECT_EQ(after[i].free, before[i].free);
    EXPECT_EQ(after[i].allocated, before[i].allocated);
  }
  EXPECT_EQ(support::checkInvariants(node).faults, "");
  EXPECT_EQ(infoOf(pool).connectCount, 1u);
  EXPECT_EQ(infoOf(domain).connectCount, 1u);
}

using Model = std::map<std::uint64_t, std::int32_t>;

std::uint64_t rcFor(std::int32_t value) { return static_cast<std::uint64_t>(value) * 3; }

// One change, or look, at one of a process's own properties, and what it must answer.
void act(SNodeCB_t *node, std::uint32_t action, std::uint64_t tag, std::int32_t value, const Model &model,
         Rc deleteMisses) {
  const auto known = model.find(tag);
  const Rc found = known == model.end() ? Rc::RNotFound : Rc::Ok;
  std::int32_t read = 0;
  std::uint64_t count = 0;
  switch (action) {
    case 0:
      EXPECT_RC(sntrAddRProperty(node, tag, value, 0), found == Rc::Ok ? Rc::RExists : Rc::Ok);
      break;
    case 1:
      EXPECT_RC(sntrDeleteRProperty(node, tag, 0), found == Rc::Ok ? Rc::Ok : deleteMisses);
      break;
    case 2:
      EXPECT_RC(sntrSetValueForRProperty(node, tag, value, 0), found);
      break;
    case 3:
      EXPECT_RC(sntrGetValueForRProperty(node, tag, &read, 0), found);
      if (found == Rc::Ok) EXPECT_EQ(read, known->second) << "tag " << tag;
      break;
    default:
      EXPECT_RC(sntrReturnRPropertyCount(node, tag, &count, 0), found == Rc::Ok ? Rc::Ok : Rc::RNotInTable);
      EXPECT_EQ(count, model.count(tag)) << "tag " << tag;
  }
}

// What process `index` leaves of its own tags. Decided by the number alone, so that the parent, without a node, comes
// to know what must be there.
Model changeOwn(SNodeCB_t *node, const Task &task, Rc deleteMisses) {
  std::minstd_rand random(static_cast<unsigned>(task.index + 1));
  Model model;
  for (std::uint64_t i = 0; i < task.amount && !testing::Test::HasFailure(); ++i) {
    const std::uint64_t tag = 1 + task.index * 1000 + random() % 40;
    const std::uint32_t action = static_cast<std::uint32_t>(random() % 5);
    const auto value = static_cast<std::int32_t>(random());
    if (node != nullptr) act(node, action, tag, value, model, deleteMisses);
    if (action == 0) model.emplace(tag, value);
    if (action == 1) model.erase(tag);
    if (action == 2 && model.count(tag) != 0) model[tag] = value;
  }
  return model;
}

void churnProperties(const Task &task) {
  const Connection here(task);
  std::uint64_t buckets = 0;
  ASSERT_RC(sntrGetHashTableSizeForRVProperties(here.node, SNTR_KIND_R, &buckets), Rc::Ok);
  const Model left = changeOwn(here.node, task, buckets == 0 ? Rc::RNotFound : Rc::RNotInTable);
  for (const auto &[tag, value] : left) {
    EXPECT_RC(sntrSetRCForRProperty(here.node, tag, rcFor(value), 0), Rc::Ok);
  }
}
const PartName kProperties("properties", churnProperties);

TEST_F(Crowd, EachFindsItsOwnPropertiesAsItLeftThem) {
  createDomain(0x400000);
  createPool(0x100000);
  const std::uint64_t amount = kSanitized ? 3000 : 30000;
  for (const std::uint32_t layout : {SNTR_LAYOUT_ARRAY, SNTR_LAYOUT_HASH}) {
    SCOPED_TRACE(layout == SNTR_LAYOUT_ARRAY ? "array" : "table");
    createNode(layout, kProcesses * 40);
    playAtOnce("properties", amount);
    Model expected;
    for (std::uint64_t i = 0; i < kProcesses; ++i) expected.merge(changeOwn(nullptr, task(i, amount), Rc::Ok));
    const support::RListState state = support::checkInvariants(node);
    EXPECT_EQ(state.faults, "");
    EXPECT_EQ(state.values, expected);
    for (const auto &[tag, value] : expected) {
      std::uint64_t rc = 0;
      EXPECT_RC(sntrGetRCForRProperty(node, tag, &rc, 0), Rc::Ok);
      EXPECT_EQ(rc, rcFor(value)) << "tag " << tag;
    }
    ASSERT_RC(sntrDisclaimNode(&node, pool, SNTR_VERSION), Rc::Ok);
    EXPECT_EQ(lookAtPool().problem, "");
    EXPECT_EQ(lookAtPool().free.size(), 1u);
  }
}

}  // namespace
}  // namespace multiprocess_test
