// Services-layer calls made to fail once, in turn, through the operations on R properties.
#include "properties/r_node.h"

namespace properties_test {

class RFaults : public RNode {
 protected:
  std::string areaContent() const { return content().substr(area, word(kSize)); }
};

TEST_F(RFaults, AnAddThatCannotFillItsSlotLeavesTheTableAsItWas) {
  for (const bool reuse : {false, true}) {
    table(1, 4, {1});
    add(2);
    if (reuse) remove(2);
    const std::string before = areaContent().substr(0, 16 + 0x98 * (reuse ? 1 : 2)) + areaContent().substr(0x200);
    const std::uint64_t used = word(kUsed);
    const std::int32_t changed = changes();
    ossFaultArm(OSSFaultAtomicInit, 1);
    EXPECT_EQ(named(sntrAddRProperty(node, 3, 0, 0)), named(Rc::AtomicFailed));
    EXPECT_EQ(areaContent().substr(0, 16 + 0x98 * (reuse ? 1 : 2)) + areaContent().substr(0x200), before);
    EXPECT_EQ(word(kUsed), used);
    EXPECT_EQ(changes(), changed);
    EXPECT_EQ(faults(), "");
    add(3);
  }
}

TEST_F(RFaults, AFailingChangeCounterComesAfterTheChange) {
  for (const bool isTable : {false, true}) {
    isTable ? table(1, 4, {1}) : array(4, {1});
    ossFaultArm(OSSFaultAtomicIncrement, 2);  // the first counts the write section
    EXPECT_EQ(named(sntrAddRProperty(node, 3, 30, 0)), named(Rc::AtomicFailed));
    EXPECT_EQ(get(3), 30);
    EXPECT_EQ(changes(), 1);
    EXPECT_EQ(faults(), "");
    ossFaultArm(OSSFaultAtomicIncrement, 2);
    EXPECT_EQ(named(sntrDeleteRProperty(node, 1, 0)), named(Rc::AtomicFailed));
    EXPECT_EQ(tags(2), (std::vector<std::uint64_t>{3, 0}));
    EXPECT_EQ(faults(), "");
  }
}

TEST_F(RFaults, EachCallOfEachOperation) {
  std::uint64_t out[4] = {};
  std::int32_t value = 0;
  const struct {
    const char *name;
    std::function<std::uint32_t()> call;
  } rows[] = {
      {"create array",
       [&] {
         return layOut(SNTR_LAYOUT_ARRAY, 3, {7, 8});
       }},
      {"create table",
       [&] {
         return layOut(SNTR_LAYOUT_HASH, 3, {7, 8});
       }},
      {"add", [&] { return sntrAddRProperty(node, 5, 1, 0); }},
      {"add to table", [&] { return sntrAddRPropertyToHashTable(node, 5, 1, 0); }},
      {"delete", [&] { return sntrDeleteRProperty(node, 1, 0); }},
      {"delete from table", [&] { return sntrDeleteRPropertyFromHashTable(node, 1); }},
      {"get", [&] { return sntrGetValueForRProperty(node, 1, &value, 0); }},
      {"set", [&] { return sntrSetValueForRProperty(node, 1, 1, 0); }},
      {"get both", [&] { return sntrGetValueAndRCForRProperty(node, recordOf(1), &value, out, 0); }},
      {"set both", [&] { return sntrSetValueAndRCForRProperty(node, recordOf(1), 1, 1, 0); }},
      {"get rc", [&] { return sntrGetRCForRProperty(node, 1, out, 0); }},
      {"set rc", [&] { return sntrSetRCForRProperty(node, 1, 1, 0); }},
      {"count", [&] { return sntrReturnRPropertyCount(node, 0, out, 0); }},
      {"count tag", [&] { return sntrGetRPropertiesNoForGivenTag(node, 1, out, 0); }},
      {"tags", [&] { return sntrReturnRProperties(node, out, 0, 4, 0); }},
  };
  for (const auto &row : rows) {
    for (std::uint64_t nth = 1;; ++nth) {
      table(3, 6, {1, 2});
      const std::uint64_t injected = ossFaultInjected();
      ossFaultArmAny(nth);
      const std::uint32_t rc = row.call();
      ossFaultDisarm();
      EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0) << row.name << ", call " << nth;
      EXPECT_EQ(faults(), "") << row.name << ", call " << nth;
      if (ossFaultInjected() == injected) {
        EXPECT_EQ(named(rc), named(Rc::Ok)) << row.name;
        EXPECT_GT(nth, 1U) << row.name << " makes no call that can fail";
        break;
      }
      const bool onlyFreed = std::string(row.name) == "create array" && rc == 0;  // memory that is gone all the same
      EXPECT_TRUE(rc != 0 || onlyFreed) << row.name << " did not tell that call " << nth << " failed";
    }
  }
}

}  // namespace properties_test
