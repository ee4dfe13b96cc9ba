// Liveness of a node, and status actions over a made-up tree: this file stands in for the dependents of nodes.
#include <oss/trace.h>
#include <sntr/latches.h>
#include <sntr/status.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <set>

#include "support/memory_pool.h"
#include "tree/dependents.h"

namespace {

using support::Rc;

struct Entry {
  SNodeCB_t *node;  // null: an empty slot
  Rc attach = Rc::Ok;
  bool near = true;  // in the same segment
};
std::map<SNodeCB_t *, std::vector<Entry>> tree;
std::vector<std::pair<SNodeCB_t *, std::uint64_t>> taken;  // entries removed, by parent and slot
int attached = 0;

}  // namespace

namespace sntr {

Rc nextDependent(SNodeCB_t *node, std::uint64_t &slot, Dependent &out) {
  for (const auto &slots = tree[node]; slot < slots.size();) {
    const Entry &entry = slots[slot++];
    if (failed(entry.attach)) return entry.attach;
    if (entry.node == nullptr) continue;
    ++attached;
    out = Dependent{entry.node, slot - 1, entry.near, nullptr};
    return Rc::Ok;
  }
  return Rc::Ok;
}
Rc releaseDependent(const Dependent &) {
  --attached;
  return Rc::Ok;
}
Rc removeDependentEntry(SNodeCB_t *node, const Dependent &dependent) {
  taken.emplace_back(node, dependent.slot);
  return Rc::NoSuchDependent;
}
Rc deleteDependentAndSubtree(SNodeCB_t *node, const ShmSegInfo_t *info, const Dependent &dependent) {
  --attached;
  taken.emplace_back(node, dependent.slot);
  SNodeCB_t *freed = dependent.node;
  return Rc{sntrDisclaimNode(&freed, info->pool, info->version)};
}
Rc findParent(SNodeCB_t *node, const ShmSegInfo_t *, SNodeCB_t *&parent, Dependent &entry) {
  parent = nullptr;
  for (auto &[candidate, slots] : tree) {
    for (std::uint64_t i = 0; i < slots.size(); ++i) {
      if (slots[i].node == node) parent = candidate, entry = Dependent{node, i, true, nullptr}, ++attached;
    }
  }
  return Rc::Ok;
}

}  // namespace sntr

namespace {

class Status : public support::MemoryPool {
 protected:
  void TearDown() override {
    EXPECT_EQ(attached, 0) << "dependents stay attached";
    tree.clear();
    taken.clear();
    MemoryPool::TearDown();
  }
  SNodeCB_t *newBranch() { return newNode(SNTR_OPTION_DEPENDENTS | SNTR_OPTION_NODE_INFO, {0, 0, 0, 64}); }
  // top -> (a -> (b), empty, c)
  void grow() {
    for (SNodeCB_t **node : {&top, &a, &b, &c}) *node = newBranch();
    tree[top] = {{a}, {nullptr}, {c}};
    tree[a] = {{b}};
  }
  std::string conditions() const {
    std::string text;
    for (const SNodeCB_t *node : {top, a, b, c}) text += std::to_string(node->nodeCondition);
    return text;
  }
  std::uint32_t apply(std::uint32_t action, std::uint32_t mask, std::uint64_t limit = 0) {
    return sntrSetStatusForEachNodeInATree(top, &info, limit, action, mask);
  }
  SNodeCB_t *top = nullptr, *a = nullptr, *b = nullptr, *c = nullptr;
};

TEST_F(Status, ARefreshIsSeenOnceByCounterAndForTwoIntervalsByTime) {
  SNodeCB_t *node = newNode();
  SNodeObserver observer{};
  observer.livenessMode = SNTR_LIVENESS_COUNTER;
  EXPECT_RC(sntrIsStillBeingUpdated(node, &observer), Rc::NotUpdatedSinceLook);
  EXPECT_RC(sntrUpdateNodeStatus(node), Rc::Ok);
  ASSERT_RC(sntrEnterCriticalSectionBeforeWrite(node, &node->primaryLatch), Rc::Ok);
  EXPECT_RC(sntrIsStillBeingUpdated(node, &observer), Rc::Ok) << "a look takes no section";
  ASSERT_RC(sntrExitCriticalSectionAfterWrite(node, &node->primaryLatch), Rc::Ok);
  EXPECT_RC(sntrIsStillBeingUpdated(node, &observer), Rc::NotUpdatedSinceLook);
  observer.livenessMode = node->statusMode = SNTR_LIVENESS_TIME;
  const std::uint64_t refreshed = 1000000;
  ossFaultSetClock(refreshed);
  EXPECT_RC(sntrUpdateNodeStatus(node), Rc::Ok);
  const std::tuple<std::uint64_t, std::uint32_t, Rc> rows[] = {{refreshed + 400, 200, Rc::Ok},
                                                               {refreshed + 401, 200, Rc::OwnerLate},
                                                               {refreshed - 5000, 200, Rc::Ok},
                                                               {refreshed + 0x1fffffffe, ~0u, Rc::Ok},
                                                               {refreshed + 0x1ffffffff, ~0u, Rc::OwnerLate}};
  for (const auto &[now, interval, expected] : rows) {
    observer.lookTime = 7;
    node->updateInterval = interval;
    ossFaultSetClock(now);
    EXPECT_RC(sntrIsStillBeingUpdated(node, &observer), expected) << now;
    EXPECT_EQ(observer.lookTime, expected == Rc::Ok ? now : 7);
  }
}

TEST_F(Status, OnlyActiveNodesAreLive) {
  SNodeCB_t *node = newNode();
  SNodeObserver observer{};
  node->statusMode = 3;
  const std::pair<std::uint32_t, Rc> rows[] = {{0, Rc::ConditionOutOfRange}, {1, Rc::UpdateOfCreated},
                                               {2, Rc::UpdateOfInitialized}, {3, Rc::BadLivenessMode},
                                               {4, Rc::UpdateOfAbandoned},   {5, Rc::UpdateOfDisassociated},
                                               {8, Rc::ConditionOutOfRange}};
  for (const auto &[condition, expected] : rows) {
    node->nodeCondition = condition;
    EXPECT_RC(sntrUpdateNodeStatus(node), expected);
    EXPECT_RC(sntrIsStillBeingUpdated(node, &observer), expected);
  }
  EXPECT_RC(sntrIsStillBeingUpdated(node, nullptr), Rc::NullObserver);
}

TEST_F(Status, AFailingAtomicIsToldAndTheCounterIsSigned) {
  SNodeCB_t *node = newNode();
  SNodeObserver observer{};
  observer.livenessMode = SNTR_LIVENESS_COUNTER;
  EXPECT_RC(sntrUpdateNodeStatus(node), Rc::Ok);
  ossFaultArm(OSSFaultAtomicIncrement, 2);  // behind the section's own
  EXPECT_RC(sntrUpdateNodeStatus(node), Rc::AtomicFailed);
  ossFaultArm(OSSFaultAtomicSwap, 1);
  EXPECT_RC(sntrIsStillBeingUpdated(node, &observer), Rc::AtomicFailed);
  EXPECT_RC(sntrIsStillBeingUpdated(node, &observer), Rc::Ok) << "a failed look was remembered";
  std::int64_t counter = 0;
  node->reconfigCounter.swap(-2, nullptr);
  EXPECT_RC(sntrGetNodeReconfigCounter(node, &counter), Rc::Ok);
  EXPECT_EQ(counter, -2);
}

TEST_F(Status, AnActionReachesWhatTheMaskAndTheLimitLet) {
  using Text = const char *;
  const std::tuple<Text, Text, std::uint32_t, std::uint32_t, std::uint64_t, Rc, Text> rows[] = {
      {"every node", "3123", 4, 0x1, 0, Rc::Ok, "4444"},
      {"active ones", "3123", 4, 0x8, 0, Rc::Ok, "4124"},
      {"one level", "3333", 5, 0x8, 1, Rc::Ok, "5333"},
      {"two levels", "3333", 5, 0x8, 2, Rc::Ok, "5535"},
      {"activate what is initialized", "3232", 3, 0x4, 0, Rc::Ok, "3333"},
      {"the first failure stops: b, before a, c and top", "3313", 3, 0x1, 0, Rc::NodeOnlyCreated, "3313"},
      {"a refresh selects by bit 3 too", "3343", 7, 0x8, 0, Rc::UpdateOfAbandoned, "3343"},
      {"an unknown action, nobody selected", "3333", 9, 0x11, 0, Rc::Ok, "3333"},
      {"an unknown action", "1333", 9, 0x2, 0, Rc::BadStatusAction, "1333"},
      {"a condition out of range", "3383", 4, 0x1, 0, Rc::ConditionOutOfRange, "3383"},
      {"the top's condition", "4333", 4, 0x1, 0x8001, Rc::NodeAbandoned, "4333"},
      {"the limit", "3333", 4, 0x1, 0x8001, Rc::LimitTooLarge, "3333"},
  };
  grow();
  for (const auto &[name, before, action, mask, limit, expected, after] : rows) {
    SNodeCB_t *const nodes[] = {top, a, b, c};
    for (int i = 0; i < 4; ++i) nodes[i]->nodeCondition = static_cast<std::uint32_t>(before[i] - '0');
    EXPECT_RC(apply(action, mask, limit), expected) << name;
    EXPECT_EQ(conditions(), after) << name;
    EXPECT_EQ(attached, 0) << name;
  }
  EXPECT_RC(sntrSetStatusForEachNodeInATree(top, nullptr, 0, 4, 1), Rc::NullKey);
}

// A created, an abandoned, an impossible node; no pool; another version.
TEST_F(Status, EachFailureHasAProbeOfItsOwn) {
  const std::string path = testing::TempDir() + "probes-" + std::to_string(getpid());
  SNodeCB_t *node = newNode();
  ShmSegInfo_t none = info, other = info;
  none.pool = nullptr, other.version = 0;
  const std::tuple<std::uint32_t, std::uint32_t, const ShmSegInfo_t *> rows[] = {
      {1, 3, &info}, {4, 7, &info}, {8, 7, &info}, {3, 6, &none}, {3, 6, &other}};
  ASSERT_RC(ossTraceOn(path.c_str()), Rc::Ok);
  for (const auto &[condition, action, where] : rows) {
    node->nodeCondition = condition;
    EXPECT_NE(sntrSetNodeStatusRecursively(&node, where, nullptr, 0, action, 0x9, 1, 0), 0u);
  }
  ASSERT_RC(ossTraceOff(), Rc::Ok);
  std::set<std::string> probes;
  std::ifstream trace(path);
  for (std::string line; std::getline(trace, line);) {
    if (const auto at = line.find(" at probe "); at != std::string::npos)
      probes.insert(line.substr(at, line.find(':', at) - at));
  }
  EXPECT_EQ(probes.size(), std::size(rows));
  std::remove(path.c_str());
}

TEST_F(Status, SomeCodesDoNotStopTheWalk) {
  grow();
  for (const Rc over : {Rc::NodeOnlyInitialized, Rc::NodeNotInitialized, Rc::NodeDisassociated}) {
    tree[top][0].attach = over;
    EXPECT_RC(apply(SNTR_ACTION_REFRESH, 0x8), Rc::Ok);
  }
  tree[top][0].attach = Rc::Ok;
  tree[a][0].attach = Rc::NodeAbandoned;  // ends a's walk, and only that
  EXPECT_RC(apply(SNTR_ACTION_DISASSOCIATE, 0x8), Rc::Ok);
  EXPECT_EQ(conditions(), "5335");
  tree[a] = {{b, Rc::Ok, false}};  // in another segment
  top->nodeCondition = 3;
  EXPECT_RC(apply(SNTR_ACTION_ABANDON, 0x1), Rc::Ok);
  EXPECT_EQ(conditions(), "4434");
  EXPECT_RC(sntrSetNodeStatusRecursively(&top, nullptr, nullptr, 1, 3, 0x41, 1, 0), Rc::Ok);
  EXPECT_EQ(conditions(), "3434") << "the node alone";
}

TEST_F(Status, FreedNodesLeaveTheirParents) {
  grow();
  SNodeCB_t *only = b;
  tree[a] = {};
  EXPECT_RC(sntrSetNodeStatusRecursively(&only, nullptr, nullptr, 0, 6, 0x1, 1, 0), Rc::NullKey);
  EXPECT_RC(sntrSetNodeStatusRecursively(&only, &info, nullptr, 0, 6, 0x1, 1, 0), Rc::Ok);
  EXPECT_EQ(only, nullptr);
  SNodeCB_t *const above = newBranch();
  tree[above] = {{nullptr}, {top}};
  EXPECT_RC(apply(SNTR_ACTION_DISCLAIM, 0x81), Rc::Ok);
  const decltype(taken) expected{{top, 0}, {top, 2}, {above, 1}};
  EXPECT_EQ(taken, expected);
  EXPECT_EQ(blocks(), 1u);
}

// A tree that leads in a circle, and one whose way down cannot be remembered, end with a code and nothing attached.
TEST_F(Status, ACircleEnds) {
  grow();
  ossFaultArm(OSSFaultMemoryAlloc, 3);
  EXPECT_RC(apply(SNTR_ACTION_ABANDON, 0x1), Rc::OssNoMemory);
  tree[b] = {{top}};
  const std::uint64_t levels = ossFaultCalls(OSSFaultMemoryAlloc);
  EXPECT_RC(apply(SNTR_ACTION_ABANDON, 0x1), Rc::LimitTooLarge);
  EXPECT_EQ(ossFaultCalls(OSSFaultMemoryAlloc) - levels, 0x8000u) << "levels walked";
  EXPECT_EQ(conditions(), "3333");
}

}  // namespace
