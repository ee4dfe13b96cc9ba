// Random operations on R lists of both layouts, held against a map and a count of slots.
//
// SNTR_TEST_SEED replays a run; the seed is printed.
#include <cstdlib>
#include <iostream>
#include <random>

#include "properties/r_node.h"

namespace properties_test {

constexpr int kOperations = SNTR_SANITIZED ? 30000 : 1100000;
constexpr int kBetweenWalks = 5000;

struct Property {
  std::int32_t value;
  std::uint64_t rc;
};

class RModel : public RNode {
 protected:
  void SetUp() override {
    const char *given = std::getenv("SNTR_TEST_SEED");
    const std::uint64_t seed = given != nullptr ? std::strtoull(given, nullptr, 0) : std::random_device{}();
    std::cout << "SNTR_TEST_SEED=" << seed << "\n";
    random.seed(seed);
  }

  std::uint64_t below(std::uint64_t limit) { return random() % limit; }

  Rc expectedAdd(std::uint64_t tag) const {
    if (tag != 0 || isTable) {
      if (model.count(tag) != 0) return Rc::RExists;
    }
    if (!isTable) return model.size() == slots ? Rc::RListFull : Rc::Ok;
    return freed > 0 || handedOut < slots ? Rc::Ok : Rc::NoRoomForSlot;
  }

  Rc expectedDelete(std::uint64_t tag) const {
    if (model.count(tag) == 0) return isTable ? Rc::RNotInTable : Rc::RNotFound;
    const bool stackHasRoom = !isTable || tailRoom >= 0x98 * handedOut + 8 * (freed + 1);
    return stackHasRoom ? Rc::Ok : Rc::NoRoomForFreedSlot;
  }

  void addOne(std::uint64_t tag) {
    const auto value = static_cast<std::int32_t>(random());
    const Rc expected = expectedAdd(tag);
    ASSERT_EQ(named(sntrAddRProperty(node, tag, value, 0)), named(expected)) << tag;
    if (expected != Rc::Ok || (tag == 0 && !isTable)) return;
    model[tag] = Property{value, 0};
    freed > 0 ? --freed : handedOut += isTable ? 1 : 0;
  }

  void deleteOne(std::uint64_t tag) {
    const Rc expected = expectedDelete(tag);
    ASSERT_EQ(named(sntrDeleteRProperty(node, tag, 0)), named(expected)) << tag;
    if (expected != Rc::Ok) return;
    model.erase(tag);
    freed += isTable ? 1 : 0;
  }

  void setOne(std::uint64_t tag) {
    const auto value = static_cast<std::int32_t>(random());
    const std::uint64_t rc = random();
    const bool exists = model.count(tag) != 0;
    const Rc missing = isTable ? Rc::RNotInTable : Rc::RNotFound;
    ASSERT_EQ(named(sntrSetValueForRProperty(node, tag, value, 0)), named(exists ? Rc::Ok : Rc::RNotFound)) << tag;
    ASSERT_EQ(named(sntrSetRCForRProperty(node, tag, rc, 0)), named(exists ? Rc::Ok : missing)) << tag;
    if (exists) model[tag] = Property{value, rc};
  }

  void getOne(std::uint64_t tag) {
    std::int32_t value = 0;
    std::uint64_t rc = 0;
    const auto found = model.find(tag);
    if (found == model.end()) {
      ASSERT_EQ(named(sntrGetValueForRProperty(node, tag, &value, 0)), named(Rc::RNotFound)) << tag;
      return;
    }
    SNodeProperty_t *const record = recordOf(tag);
    ASSERT_EQ(named(sntrGetValueForRProperty(node, tag, &value, 0)), named(Rc::Ok)) << tag;
    ASSERT_EQ(value, found->second.value) << tag;
    ASSERT_EQ(named(sntrGetValueAndRCForRProperty(node, record, &value, &rc, 0)), named(Rc::Ok)) << tag;
    ASSERT_EQ(value, found->second.value) << tag;
    ASSERT_EQ(rc, found->second.rc) << tag;
  }

  void compareWhole() {
    const support::RListState state = support::checkInvariants(node);
    ASSERT_EQ(state.faults, "");
    ASSERT_EQ(state.values.size(), model.size());
    for (const auto &[tag, property] : model) ASSERT_EQ(state.values.at(tag), property.value) << tag;
    ASSERT_EQ(state.handedOut, handedOut);
    ASSERT_EQ(state.freed, freed);
    std::uint64_t count = 0;
    ASSERT_EQ(named(sntrReturnRPropertyCount(node, 0, &count, 0)), named(Rc::Ok));
    ASSERT_EQ(count, model.size());
  }

  void run(int operations, std::uint64_t tagLimit) {
    for (int i = 0; i < operations && !HasFatalFailure(); ++i) {
      const std::uint64_t tag = below(tagLimit);
      switch (below(6)) {
        case 0:
        case 1:
          addOne(tag);
          break;
        case 2:
          deleteOne(tag);
          break;
        case 3:
          setOne(tag);
          break;
        default:
          getOne(tag);
      }
      if (i % kBetweenWalks == 0) compareWhole();
    }
    if (!HasFatalFailure()) compareWhole();
  }

  std::mt19937_64 random;
  std::map<std::uint64_t, Property> model;
  bool isTable = false;
  std::uint64_t slots = 0;
  std::uint64_t tailRoom = 0;  // bytes of the area that slots and stack share
  std::uint64_t handedOut = 0;
  std::uint64_t freed = 0;
};

TEST_F(RModel, Table) {
  isTable = true;
  const std::uint64_t buckets = 53;
  slots = 80;
  tailRoom = slots * 0x98 + 8 * 11 + 3;
  activeNode(8 + 8 * buckets + 0x10 + tailRoom);
  ASSERT_EQ(named(layOut(SNTR_LAYOUT_HASH, buckets)), named(Rc::Ok));
  run(kOperations * 8 / 10, 130);
}

TEST_F(RModel, Array) {
  slots = 20;
  array(slots);
  run(kOperations * 2 / 10, 40);
}

}  // namespace properties_test
