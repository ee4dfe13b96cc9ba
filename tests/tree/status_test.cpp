// SPDX-License-Identifier: MIT
// Liveness of a node, and status actions over a made-up tree: this file stands in for the dependents of nodes.
#include <sntr/latches.h>
#include <sntr/status.h>

#include <map>

#include "support/memory_pool.h"
#include "tree/dependents.h"

namespace {

using enum sntr::Rc;
using support::Rc;

struct Entry {
  SNodeCB_t *node;  // null: an empty slot
  Rc attach = Ok;
  bool near = true;  // in the same segment
};
std::map<SNodeCB_t *, std::vector<Entry>> tree;
std::vector<std::pair<SNodeCB_t *, std::uint64_t>> removed;  // entries, by parent and slot
SNodeCB_t *waking;                                           // becomes active while its dependents are visited
SNodeCB_t *above;                                            // the parent of top
int attached = 0;

}  // namespace

namespace sntr {

Rc nextDependent(SNodeCB_t *node, std::uint64_t &slot, Dependent &out) {
  if (node == waking) node->nodeCondition = SNTR_CONDITION_ACTIVE;
  const std::vector<Entry> &entries = tree[node];
  while (slot < entries.size() && entries[slot].node == nullptr) ++slot;
  if (slot == entries.size()) return Ok;
  const Entry &entry = entries[slot++];
  if (entry.attach == Ok) ++attached, out = Dependent{entry.node, slot - 1, entry.near, nullptr};
  return entry.attach;
}
Rc releaseDependent(const Dependent &) {
  --attached;
  return Ok;
}
Rc removeDependentEntry(SNodeCB_t *node, const Dependent &dependent) {
  removed.emplace_back(node, dependent.slot);
  return NoSuchDependent;
}
Rc deleteDependentAndSubtree(SNodeCB_t *node, const ShmSegInfo_t *info, const Dependent &dependent) {
  removed.emplace_back(node, dependent.slot);
  SNodeCB_t *freed = dependent.node;
  return firstFailure(releaseDependent(dependent), Rc{sntrDisclaimNode(&freed, info->pool, info->version)});
}
Rc findParent(SNodeCB_t *node, const ShmSegInfo_t *, SNodeCB_t *&parent, Dependent &entry) {
  parent = above;
  if (parent != nullptr) entry = Dependent{node, 1, true, nullptr}, ++attached;
  return Ok;
}

}  // namespace sntr

namespace {

class Status : public support::MemoryPool {
 protected:
  // top -> (a -> (b), an empty slot, c)
  void SetUp() override {
    MemoryPool::SetUp();
    for (SNodeCB_t **node : {&top, &a, &b, &c})
      *node = newNode(0x810, {0, 0, 0, 64});  // with dependents and information
    tree = {{top, {{a}, {nullptr}, {c}}}, {a, {{b}}}};
    removed.clear(), waking = above = nullptr;
  }
  void TearDown() override {
    EXPECT_EQ(attached, 0) << "dependents stay attached";
    MemoryPool::TearDown();
  }
  std::uint32_t apply(std::uint32_t action, std::uint32_t mask, std::uint64_t limit = 0) {
    return sntrSetStatusForEachNodeInATree(top, &info, limit, action, mask);
  }
  std::uint32_t applyBelow(SNodeCB_t **node, std::uint32_t action, std::uint32_t mask, std::uint32_t reserved = 0) {
    return sntrSetNodeStatusRecursively(node, &info, nullptr, reserved, action, mask, 1, 0);
  }
  std::string conditions() const {
    std::string text;
    for (const SNodeCB_t *node : {top, a, b, c}) text += std::to_string(node->nodeCondition);
    return text;
  }
  void setConditions(const char *text) {
    for (SNodeCB_t *node : {top, a, b, c}) node->nodeCondition = static_cast<std::uint32_t>(*text++ - '0');
  }

  SNodeCB_t *top = nullptr, *a = nullptr, *b = nullptr, *c = nullptr;
};

TEST_F(Status, ARefreshIsSeenOnceByCounterAndForTwoIntervalsByTime) {
  SNodeObserver observer{};
  const auto look = [&] { return sntrIsStillBeingUpdated(top, &observer); };
  observer.livenessMode = SNTR_LIVENESS_COUNTER;
  EXPECT_RC(look(), NotUpdatedSinceLook);
  EXPECT_RC(sntrUpdateNodeStatus(top), Ok);
  ossFaultArm(OSSFaultAtomicIncrement, 2);  // after the section's own
  EXPECT_RC(sntrUpdateNodeStatus(top), AtomicFailed);
  ossFaultArm(OSSFaultAtomicSwap, 1);
  EXPECT_RC(look(), AtomicFailed);
  top->statusMode = SNTR_LIVENESS_TIME;
  ASSERT_RC(sntrEnterCriticalSectionBeforeWrite(top, &top->primaryLatch), Ok);
  EXPECT_RC(look(), Ok) << "a failed look was remembered, or a look takes the section or goes by the node's mode";
  ASSERT_RC(sntrExitCriticalSectionAfterWrite(top, &top->primaryLatch), Ok);
  EXPECT_RC(look(), NotUpdatedSinceLook);
  top->updateCounter.swap(-2, nullptr);
  EXPECT_RC(look(), Ok) << "a counter that wrapped";
  const std::tuple<std::uint64_t, std::uint32_t, Rc> rows[] = {
      {400, 200, Ok}, {401, 200, OwnerLate}, {-5000, 200, Ok}, {0x1fffffffe, ~0u, Ok}, {0x1ffffffff, ~0u, OwnerLate}};
  observer.livenessMode = SNTR_LIVENESS_TIME;
  ossFaultSetClock(1000000);
  EXPECT_RC(sntrUpdateNodeStatus(top), Ok);
  for (const auto &[elapsed, interval, expected] : rows) {
    observer.lookTime = 7;
    top->updateInterval = interval;
    ossFaultSetClock(1000000 + elapsed);
    EXPECT_RC(look(), expected) << elapsed;
    EXPECT_EQ(observer.lookTime, expected == Ok ? 1000000 + elapsed : 7);
  }
  std::int64_t counter = 0;
  top->reconfigCounter.swap(-2, nullptr);
  EXPECT_RC(sntrGetNodeReconfigCounter(top, &counter), Ok);
  EXPECT_EQ(counter, -2);
  EXPECT_RC(sntrIsStillBeingUpdated(top, nullptr), NullObserver);
}

TEST_F(Status, AnActionReachesWhatTheMaskAndTheLimitLet) {
  // A refresh selects by bit 3 too. The first failure stops: b comes before a, c and top. An unknown action fails only
  // if it selects a node.
  using Row = std::tuple<const char *, std::uint32_t, std::uint32_t, std::uint64_t, Rc, const char *>;
  const Row rows[] = {{"3123", 4, 0x1, 0, Ok, "4444"},      {"3313", 3, 0x1, 0, NodeOnlyCreated, "3313"},
                      {"3123", 4, 0x8, 0, Ok, "4124"},      {"3343", 7, 0x8, 0, UpdateOfAbandoned, "3343"},
                      {"3333", 5, 0x8, 1, Ok, "5333"},      {"1333", 9, 0x2, 0, BadStatusAction, "1333"},
                      {"3333", 5, 0x8, 2, Ok, "5535"},      {"3383", 4, 0x1, 0, ConditionOutOfRange, "3383"},
                      {"3333", 5, 0x8, 0x8000, Ok, "5555"}, {"4333", 4, 0x1, 0x8001, NodeAbandoned, "4333"},
                      {"3232", 3, 0x4, 0, Ok, "3333"},      {"3333", 4, 0x1, 0x8001, LimitTooLarge, "3333"},
                      {"3333", 9, 0x11, 0, Ok, "3333"}};
  for (const auto &[before, action, mask, limit, expected, after] : rows) {
    SCOPED_TRACE(std::string(before) + " action " + std::to_string(action) + " mask " + std::to_string(mask));
    setConditions(before);
    EXPECT_RC(apply(action, mask, limit), expected);
    EXPECT_EQ(conditions(), after);
    EXPECT_EQ(attached, 0);
  }
  EXPECT_RC(sntrSetStatusForEachNodeInATree(top, nullptr, 0, 4, 1), NullKey);
}

TEST_F(Status, SomeCodesDoNotStopTheWalk) {
  for (const Rc over : {NodeOnlyInitialized, NodeNotInitialized, NodeDisassociated}) {
    tree[top][0].attach = over;
    EXPECT_RC(apply(SNTR_ACTION_REFRESH, 0x8), Ok);
  }
  tree[top][0].attach = Ok;
  tree[a][0].attach = NodeAbandoned;  // ends a's walk, and only that
  EXPECT_RC(apply(SNTR_ACTION_DISASSOCIATE, 0x8), Ok);
  EXPECT_EQ(conditions(), "5335");
  tree[a] = {{b, Ok, false}};  // in another segment
  top->nodeCondition = 3;
  EXPECT_RC(apply(SNTR_ACTION_ABANDON, 0x1), Ok);
  EXPECT_EQ(conditions(), "4434");
  EXPECT_RC(applyBelow(&top, SNTR_ACTION_ACTIVATE, 0x41, 1), Ok);
  EXPECT_EQ(conditions(), "3434") << "the node alone";
  EXPECT_RC(applyBelow(&top, SNTR_ACTION_ACTIVATE, 0x41, 0), Ok);
  EXPECT_EQ(conditions(), "3333") << "not the node alone";
}

TEST_F(Status, FreedNodesLeaveTheirParents) {
  SNodeCB_t *only = b;
  above = newNode();
  EXPECT_RC(apply(SNTR_ACTION_DISCLAIM, 0x80), Ok);
  EXPECT_EQ(removed.size(), 0u) << "nothing was selected";
  tree[a] = {};
  EXPECT_RC(sntrSetNodeStatusRecursively(&only, nullptr, nullptr, 0, 6, 0x1, 1, 0), NullKey);
  EXPECT_RC(applyBelow(&only, SNTR_ACTION_DISCLAIM, 0x1), Ok);
  EXPECT_EQ(only, nullptr);
  a->nodeCondition = 2, waking = a;
  EXPECT_RC(apply(SNTR_ACTION_DISCLAIM, 0x88), Ok);
  const decltype(removed) expected{{top, 0}, {top, 2}, {above, 1}};
  EXPECT_EQ(removed, expected);
  EXPECT_EQ(blocks(), 1u);
}

// A tree that leads in a circle, and one whose way down cannot be remembered, end with a code and nothing attached.
TEST_F(Status, ACircleEnds) {
  ossFaultArm(OSSFaultMemoryAlloc, 3);
  EXPECT_RC(apply(SNTR_ACTION_ABANDON, 0x1), OssNoMemory);
  tree[b] = {{top}};
  const std::uint64_t levels = ossFaultCalls(OSSFaultMemoryAlloc);
  EXPECT_RC(apply(SNTR_ACTION_ABANDON, 0x1), LimitTooLarge);
  EXPECT_EQ(ossFaultCalls(OSSFaultMemoryAlloc) - levels, 0x8000u) << "levels walked";
  EXPECT_EQ(conditions(), "3333");
}

}  // namespace
