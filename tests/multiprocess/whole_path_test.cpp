// From one process to another and back: what is published is read elsewhere exactly, and what is changed there is seen.
#include <algorithm>
#include <chrono>
#include <numeric>

#include "multiprocess/shared_segment.h"
#include "support/property_invariants.h"

namespace multiprocess_test {
namespace {

constexpr std::uint64_t kTags = 100;
constexpr std::uint64_t kNew = SNTR_MAX_TAG;

std::int32_t valueOf(std::uint64_t tag) { return static_cast<std::int32_t>(tag * 0x9e3779b1); }
std::uint64_t rcOf(std::uint64_t tag) { return ~(tag << 40); }

void expectProperty(SNodeCB_t *node, std::uint64_t tag, std::int32_t value, std::uint64_t rc) {
  std::int32_t valueRead = 0;
  std::uint64_t rcRead = 0;
  EXPECT_RC(sntrGetValueForRProperty(node, tag, &valueRead, 0), Rc::Ok) << "tag " << tag;
  EXPECT_RC(sntrGetRCForRProperty(node, tag, &rcRead, 0), Rc::Ok) << "tag " << tag;
  EXPECT_EQ(valueRead, value) << "tag " << tag;
  EXPECT_EQ(rcRead, rc) << "tag " << tag;
}

void readAndChange(const Task &task) {
  const Connection here(task);
  ASSERT_NE(here.node, nullptr);
  for (std::uint64_t tag = 1; tag <= kTags; ++tag) expectProperty(here.node, tag, valueOf(tag), rcOf(tag));
  std::vector<std::uint64_t> tags(kTags + 1);
  ASSERT_RC(sntrReturnRProperties(here.node, tags.data(), 0, tags.size(), 0), Rc::Ok);
  std::sort(tags.begin(), tags.end());
  std::vector<std::uint64_t> expected(kTags + 1);
  std::iota(expected.begin(), expected.end(), 0);
  EXPECT_EQ(tags, expected);
  std::int32_t value = 7;
  EXPECT_RC(sntrGetValueForRProperty(here.node, kNew, &value, 0), Rc::RNotFound);
  EXPECT_EQ(value, 7);

  EXPECT_RC(sntrSetValueForRProperty(here.node, 1, -1, 0), Rc::Ok);
  EXPECT_RC(sntrSetRCForRProperty(here.node, 2, 2, 0), Rc::Ok);
  EXPECT_RC(sntrDeleteRProperty(here.node, 3, 0), Rc::Ok);
  EXPECT_RC(sntrAddRProperty(here.node, kNew, 4, 0), Rc::Ok);
}
const PartName kReader("reader", readAndChange);

class WholePath : public SharedSegment, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(WholePath, ArrivesAndComesBack) {
  createDomain(0x100000);
  createPool(0x40000);
  createNode(GetParam(), kTags + 1);
  for (std::uint64_t tag = 1; tag <= kTags; ++tag) {
    ASSERT_RC(sntrAddRProperty(node, tag, valueOf(tag), 0), Rc::Ok) << tag;
    ASSERT_RC(sntrSetRCForRProperty(node, tag, rcOf(tag), 0), Rc::Ok) << tag;
  }
  EXPECT_EQ(Actor("reader", task()).result(), 0);
  expectProperty(node, 1, -1, rcOf(1));
  expectProperty(node, 2, valueOf(2), 2);
  expectProperty(node, kNew, 4, 0);
  std::uint64_t count = 0;
  EXPECT_RC(sntrReturnRPropertyCount(node, 3, &count, 0), Rc::RNotInTable);
  EXPECT_RC(sntrReturnRPropertyCount(node, 0, &count, 0), Rc::Ok);
  EXPECT_EQ(count, kTags);
  EXPECT_EQ(support::checkInvariants(node).faults, "");
  EXPECT_EQ(infoOf(pool).connectCount, 1u);
  EXPECT_EQ(infoOf(domain).connectCount, 1u);
}

INSTANTIATE_TEST_SUITE_P(, WholePath, testing::Values(SNTR_LAYOUT_ARRAY, SNTR_LAYOUT_HASH),
                         [](const auto &row) { return row.param == SNTR_LAYOUT_HASH ? "Hash" : "Array"; });

// Whatever a reader sees, value and result code were set together.
constexpr std::int32_t kLeastChanges = 3;

void readPairs(const Task &task) {
  const Connection here(task);
  SNodeProperty_t *record = nullptr;
  ASSERT_RC(sntrGetAddressForRProperty(here.node, 1, &record), Rc::Ok);
  std::int32_t changes = 0;
  for (std::int32_t last = 0; !support::parentHasTold();) {
    std::int32_t value = 0;
    std::uint64_t rc = 0;
    ASSERT_RC(sntrGetValueAndRCForRProperty(here.node, record, &value, &rc, 0), Rc::Ok);
    ASSERT_EQ(rc, ~static_cast<std::uint64_t>(value));
    ASSERT_RC(sntrEnterCriticalSectionBeforeRead(here.node, &here.node->primaryLatch), Rc::Ok);
    EXPECT_RC(sntrGetRCForRProperty(here.node, 1, &rc, 1), Rc::Ok);
    EXPECT_RC(sntrGetValueForRProperty(here.node, 1, &value, 1), Rc::Ok);
    ASSERT_RC(sntrExitCriticalSectionAfterRead(here.node, &here.node->primaryLatch), Rc::Ok);
    ASSERT_EQ(rc, ~static_cast<std::uint64_t>(value));
    ASSERT_GE(value, last) << "an older pair came back";
    if (value != last) ++changes;
    last = value;
  }
  EXPECT_GE(changes, kLeastChanges);
}
const PartName kPairReader("pair reader", readPairs);

TEST_F(SharedSegment, ReadersNeverSeeAValueWithoutItsResultCode) {
  createDomain(0x100000);
  createPool(0x40000);
  createNode(SNTR_LAYOUT_HASH, 10);
  ASSERT_RC(sntrAddRProperty(node, 1, 0, 0), Rc::Ok);
  ASSERT_RC(sntrSetRCForRProperty(node, 1, ~std::uint64_t{0}, 0), Rc::Ok);
  SNodeProperty_t *record = nullptr;
  ASSERT_RC(sntrGetAddressForRProperty(node, 1, &record), Rc::Ok);
  Actor first("pair reader", task(0));
  Actor second("pair reader", task(1));
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(1500);
  for (std::int32_t value = 1; std::chrono::steady_clock::now() < end; ++value) {
    ASSERT_RC(sntrSetValueAndRCForRProperty(node, record, value, ~static_cast<std::uint64_t>(value), 0), Rc::Ok);
  }
  first.tell();
  second.tell();
  EXPECT_EQ(first.result(), 0);
  EXPECT_EQ(second.result(), 0);
}

}  // namespace
}  // namespace multiprocess_test
