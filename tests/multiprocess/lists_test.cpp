// Processes that keep inserting and deleting list entries, refreshing and looking at one node, while some of them are
// killed between two calls: the lists stay sorted and whole, and not one block is lost.
#include <csignal>
#include <cstring>
#include <random>

#include "multiprocess/shared_segment.h"
#include "support/words.h"

namespace multiprocess_test {
namespace {

struct Worker {
  const ShmPoolHandle *pool;
  SNodeCB_t *node;
  std::minstd_rand random;
  SNodeObserver observer{};

  void step() {
    observer.livenessMode = SNTR_LIVENESS_COUNTER;
    AttachSegInfo segment{}, *segmentStored = nullptr;
    GCFModuleInfo module{}, *moduleStored = nullptr;
    segment.key = {random() % 4, static_cast<std::uint32_t>(random() % 4)};
    module.path[0] = static_cast<char>('a' + random() % 8);
    const auto is = [](std::uint32_t rc, Rc other) {
      EXPECT_TRUE(rc == 0 || rc == sntr::code(other)) << support::named(rc);
    };
    const auto action = random() % 6;
    if (action == 0) is(sntrInsertAttachSegInfoNodeIntoLList(pool, &segment, &segmentStored), Rc::EntryExists);
    if (action == 1) is(sntrDeleteAttachSegInfoNodeFromLList(pool, &segment.key), Rc::NoSuchEntry);
    if (action == 2) is(sntrInsertGCFNodeIntoLList(pool, &module, &moduleStored), Rc::EntryExists);
    if (action == 3) is(sntrDeleteGCFNodeFromLList(pool, module.path), Rc::NoSuchEntry);
    if (action == 4) is(sntrUpdateNodeStatus(node), Rc::Ok);
    if (action == 5) is(sntrIsStillBeingUpdated(node, &observer), Rc::NotUpdatedSinceLook);
  }
};

// Ends by SIGKILL, its own, after as many steps as its task says.
void workThenDie(const Task &task) {
  const Connection here(task);
  Worker worker{here.pool, here.node, std::minstd_rand(static_cast<unsigned>(task.index))};
  support::tellParent();
  for (std::uint64_t i = 0; i < task.amount && !testing::Test::HasFailure(); ++i) worker.step();
  if (!testing::Test::HasFailure()) raise(SIGKILL);
}
const PartName kDying("list worker", workThenDie);

// The number of entries that ascend by the bytes compared; the walk is by literal offsets.
std::uint64_t entriesOf(const char *base, std::uint64_t head, bool (*ascend)(const char *, const char *)) {
  std::uint64_t link = support::wordAt(base, head), count = 0;
  for (const char *before = nullptr; link != 0 && count < 100; ++count) {
    const char *const record = base + link + 8;
    EXPECT_TRUE(before == nullptr || ascend(before, record)) << "entry " << count;
    before = record;
    link = support::wordAt(base, link);
  }
  return count;
}

TEST_F(SharedSegment, ListsOutliveTheirUsers) {
  createDomain(0x80000);
  createPool(0x20000);
  createNode(SNTR_LAYOUT_ARRAY, 1);
  Worker worker{pool, node, std::minstd_rand(std::random_device{}())};
  const auto byKey = [](const char *a, const char *b) { return a[16] != b[16] ? a[16] < b[16] : a[24] < b[24]; };
  const auto byPath = [](const char *a, const char *b) { return std::strcmp(a, b) < 0; };
  for (std::uint64_t round = 0; round < (kSanitized ? 4 : 15) && !HasFailure(); ++round) {
    Actor one("list worker", task(round, 1000 + worker.random() % 20000));
    Actor two("list worker", task(round + 100, 1000 + worker.random() % 20000));
    ASSERT_TRUE(one.waits() && two.waits());
    for (int i = 0; i < 10000; ++i) worker.step();
    EXPECT_EQ(one.result(), -SIGKILL);
    EXPECT_EQ(two.result(), -SIGKILL);
    const std::uint64_t heads = 0x108 + sizeof(Places);
    const std::uint64_t entries = entriesOf(base(), heads, byKey) + entriesOf(base(), heads + 8, byPath);
    EXPECT_EQ(infoOf(pool).allocatedCount, entries + 1) << "entries and the node";
  }
  EXPECT_RC(sntrDeleteAttachSegInfoLList(pool), Rc::Ok);
  EXPECT_RC(sntrDeleteGCFLList(pool), Rc::Ok);
}

}  // namespace
}  // namespace multiprocess_test
