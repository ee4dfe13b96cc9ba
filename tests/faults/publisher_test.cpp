// The publisher's whole path, and a reader's in the same process, with each call of the services layer made to fail
// once, in turn: the stated code, no latch held, nothing leaked, and all of it works when it is tried again.
#include <oss/fault.h>
#include <sntr/sntr.h>

#include <array>
#include <string>

#include "support/heap_walk.h"
#include "support/nodes.h"
#include "support/segments.h"

namespace faults_test {
namespace {

using sntr::Rc;

constexpr std::uint64_t kSize = 0x40000;

// What the steps make, and whatever a failure left of it.
struct Made {
  OSSIPCResID key = support::newKey();
  ShmDomainHandle *domain = nullptr;
  ShmPoolHandle *pool = nullptr;
  SNodeCB_t *node = nullptr;
  ShmDomainHandle *readersDomain = nullptr;
  ShmPoolHandle *readersPool = nullptr;
  std::uint32_t layout = SNTR_LAYOUT_ARRAY;
};

std::uint32_t createNode(Made &m) {
  support::Sizes sizes{};
  sizes[SNTR_AREA_R] = 0x2000;
  std::uint64_t offset = 0;
  return support::createNode(m.pool, SNTR_KIND_R, sizes, m.node, offset);
}

std::uint32_t getValue(Made &m) {
  std::int32_t value = 0;
  return sntrGetValueForRProperty(m.node, 6, &value, 0);
}

std::uint32_t createList(Made &m) {
  const std::uint64_t tags[] = {5, 6};
  const std::int32_t values[] = {50, 60};
  return sntrCreateRPropertyList(m.node, tags, values, 2, 11, m.layout, 0);
}

// A step of the path, and the codes that its description names for what differs from step to step.
struct Step {
  const char *name;
  std::uint32_t (*work)(Made &m);
  Rc alloc = Rc::Ok;   // no memory. Ok: none is asked for
  Rc free = Rc::Ok;    // a failing free. Ok: none is made, or it is of no consequence: the memory is gone all the same
  Rc inside = Rc::Ok;  // a latch fails in what the step builds or takes. Ok: the code is that of every latch
};

const Step kSteps[] = {
    {"initialize", [](Made &) { return SNTROneTimeOnlyInitialization(SNTR_VERSION, SNTR_VERSION); },
     Rc::AttachListAllocFailed},
    {"create domain", [](Made &m) { return sntrCreateShmDomain(&m.key, nullptr, kSize, nullptr, &m.domain); },
     Rc::DomainHandleAllocFailed},
    {"create pool", [](Made &m) { return _sntrCreateShmPool(&m.pool, m.domain, 0x8000, nullptr, 0, "test", 0); },
     Rc::PoolHandleAllocFailed, Rc::Ok, Rc::PoolBuildFailed},
    {"create node", createNode, Rc::Ok, Rc::Ok, Rc::NodeAllocationFailed},
    {"initialize node",
     [](Made &m) { return sntrInitNode(&m.node, 0, 0, nullptr, nullptr, nullptr, 0, nullptr, nullptr, nullptr); }},
    {"activate", [](Made &m) { return sntrActivateNode(&m.node); }},
    {"create list", createList, Rc::DomainHandleAllocFailed},
    {"add", [](Made &m) { return sntrAddRProperty(m.node, 7, 70, 0); }},
    {"connect domain", [](Made &m) { return sntrConnectToShmDomain(&m.key, nullptr, nullptr, &m.readersDomain); },
     Rc::DomainHandleAllocFailed},
    {"connect pool",
     [](Made &m) { return sntrConnectToShmPool(&m.readersPool, m.readersDomain, m.pool->poolHeaderOffset, &m); },
     Rc::PoolHandleAllocFailed},
    {"set", [](Made &m) { return sntrSetValueForRProperty(m.node, 6, 61, 0); }},
    {"get", getValue},
    {"delete", [](Made &m) { return sntrDeleteRProperty(m.node, 5, 0); }},
    {"disconnect pool", [](Made &m) { return sntrDisconnectFromShmPool(&m.readersPool); }, Rc::Ok,
     Rc::PoolHandleFreeFailed},
    {"disconnect domain", [](Made &m) { return sntrDisconnectFromShmDomain(&m.readersDomain); }, Rc::Ok,
     Rc::DomainHandleFreeFailed},
    {"disclaim", [](Made &m) { return sntrDisclaimNode(&m.node, m.pool, SNTR_VERSION); }},
    {"free pool", [](Made &m) { return _sntrFreeShmPool(&m.pool, SNTR_FREE_POOL_IF_UNUSED, 0, "test", 0); }, Rc::Ok,
     Rc::PoolHandleFreeFailed},
    {"free domain", [](Made &m) { return sntrFreeShmDomain(&m.domain, SNTR_FREE_DOMAIN_IF_UNUSED); }, Rc::Ok,
     Rc::DomainHandleFreeFailed},
    {"clean up", [](Made &) { return SNTRCleanup(SNTR_CLEANUP_ONE_REFERENCE); }, Rc::Ok, Rc::OssInjected},
};

// Whether the step may answer a code when a call of the kind has failed in it.
bool allows(const Step &step, OSSFaultKind kind, Rc rc) {
  if (kind == OSSFaultMemoryAlloc) return rc == step.alloc && rc != Rc::Ok;
  if (kind == OSSFaultMemoryFree) return rc == step.free;
  if (kind <= OSSFaultLatchRelease) return rc == Rc::LatchFailed || (rc == step.inside && rc != Rc::Ok);
  if (kind <= OSSFaultAtomicSwap) return rc == Rc::AtomicFailed;
  if (kind == OSSFaultSegmentCreate) return rc == Rc::Ok;  // and no handle
  if (kind == OSSFaultSegmentAttach) return rc == Rc::AttachFailed;
  if (kind <= OSSFaultSegmentGetInfo) return rc == Rc::SegmentAddressFailed;
  return rc == (kind == OSSFaultSegmentDetach ? Rc::DetachFailed : Rc::DestroyFailed);
}

class Publisher : public testing::TestWithParam<std::uint32_t> {
 protected:
  void SetUp() override { made_.layout = GetParam(); }
  void TearDown() override {
    ossFaultDisarm();
    support::removeSegment(made_.key);
  }

  // Runs the path until a call has failed, and gives the step in which it did; null: the path is through.
  const Step *run(std::uint32_t &rc) {
    const std::uint64_t failures = ossFaultInjected();
    for (const Step &step : kSteps) {
      rc = step.work(made_);
      if (ossFaultInjected() != failures) return &step;
      EXPECT_RC(rc, Rc::Ok) << step.name;
      if (rc != 0) return &step;
    }
    return nullptr;
  }

  // No latch is held, by the services layer's own count, and both heaps are whole.
  void expectFreeLatches() {
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0);
    if (made_.pool == nullptr) return;
    EXPECT_EQ(sntr::test::lookAtHeap(made_.domain->baseAddress, 0, true).problem, "");
    EXPECT_EQ(sntr::test::lookAtHeap(made_.domain->baseAddress, made_.pool->poolHeaderOffset, false).problem, "");
  }

  // Ends whatever a path that was cut short has left, by ordinary calls. The frees are those that other connections
  // forbid, and a heap must be empty before it goes: so what was counted or allocated for nobody shows.
  void endRest() {
    Made &m = made_;
    if (m.readersPool != nullptr) EXPECT_RC(sntrDisconnectFromShmPool(&m.readersPool), Rc::Ok);
    if (m.readersDomain != nullptr) EXPECT_RC(sntrDisconnectFromShmDomain(&m.readersDomain), Rc::Ok);
    if (m.node != nullptr) EXPECT_RC(sntrDisclaimNode(&m.node, m.pool, SNTR_VERSION), Rc::Ok);
    ShmHeapInfo info{};
    if (m.pool != nullptr) {
      EXPECT_RC(sntrGetShmPoolInfo(m.pool, &info), Rc::Ok);
      EXPECT_EQ(info.allocatedCount, 0u) << "a block is left in the pool";
      EXPECT_RC(_sntrFreeShmPool(&m.pool, SNTR_FREE_POOL_IF_UNUSED, 0, "test", 0), Rc::Ok);
    }
    if (m.domain != nullptr) {
      EXPECT_RC(sntrGetShmDomainInfo(m.domain, &info), Rc::Ok);
      EXPECT_EQ(info.allocatedCount, 0u) << "a chunk is left in the domain";
      EXPECT_RC(sntrFreeShmDomain(&m.domain, SNTR_FREE_DOMAIN_IF_UNUSED), Rc::Ok);
    }
    if (sntrAPIInitRefCount != 0) EXPECT_RC(SNTRCleanup(SNTR_CLEANUP_ONE_REFERENCE), Rc::Ok);
  }

  void expectNothingLeft() {
    for (int holding = 0; holding < OSSFaultHoldingCount; ++holding) {
      EXPECT_EQ(ossFaultHeld(static_cast<OSSFaultHolding>(holding)), 0) << "of holding " << holding;
    }
    EXPECT_EQ(sntrAPIInitRefCount, 0u);
    EXPECT_FALSE(support::segmentIsLeft(made_.key)) << "a segment is left";
  }

  void runClean() {
    std::uint32_t rc = 0;
    EXPECT_EQ(run(rc), nullptr);
    expectNothingLeft();
  }

  void failOnce(OSSFaultKind kind, std::uint64_t nth) {
    std::uint32_t rc = 0;
    ossFaultArm(kind, nth);
    const Step *const step = run(rc);
    ossFaultDisarm();
    ASSERT_NE(step, nullptr) << "nothing failed";
    EXPECT_TRUE(allows(*step, kind, static_cast<Rc>(rc))) << step->name << " answered " << support::named(rc);
    if (kind == OSSFaultSegmentCreate) EXPECT_EQ(made_.domain, nullptr);
    expectFreeLatches();
    endRest();
    expectNothingLeft();
  }

  Made made_;
};

TEST_P(Publisher, TellsEachFailureAndLeavesNothing) {
  using Counts = std::array<std::uint64_t, OSSFaultKindCount>;
  const auto counts = [] {
    Counts made{};
    for (std::size_t kind = 0; kind < made.size(); ++kind) made[kind] = ossFaultCalls(static_cast<OSSFaultKind>(kind));
    return made;
  };
  const Counts before = counts();
  runClean();
  const Counts after = counts();
  for (std::size_t i = 0; i < after.size(); ++i) {
    const auto kind = static_cast<OSSFaultKind>(i);
    const std::uint64_t calls = after[i] - before[i];
    // Reading an atomic is a load, and no call.
    EXPECT_EQ(calls == 0, kind == OSSFaultSegmentAuthorize || kind == OSSFaultAtomicAdd)
        << calls << " calls of kind " << i;
    for (std::uint64_t nth = 1; nth <= calls && !HasFailure(); ++nth) {
      SCOPED_TRACE("call " + std::to_string(nth) + " of kind " + std::to_string(i));
      failOnce(kind, nth);
      runClean();
    }
  }
}

INSTANTIATE_TEST_SUITE_P(, Publisher, testing::Values(SNTR_LAYOUT_ARRAY, SNTR_LAYOUT_HASH),
                         [](const auto &row) { return row.param == SNTR_LAYOUT_HASH ? "Hash" : "Array"; });

}  // namespace
}  // namespace faults_test
