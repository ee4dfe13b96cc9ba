// SPDX-License-Identifier: MIT
// The publisher's whole path, and a reader's in the same process, with each call of the services layer made to fail
// once, in turn: the stated code, no latch held, nothing leaked, and all of it works when it is tried again.
#include <sntr/sntr.h>

#include <map>

#include "support/fail_each.h"
#include "support/heap_walk.h"
#include "support/nodes.h"
#include "support/storage.h"

namespace {

using sntr::Rc;

// What the steps make, and whatever a failure left of it.
struct Made {
  OSSIPCResID key = support::newKey();
  ShmDomainHandle *domain = nullptr, *readersDomain = nullptr;
  ShmPoolHandle *pool = nullptr, *readersPool = nullptr;
  SNodeCB_t *node = nullptr;
  std::uint32_t layout = SNTR_LAYOUT_ARRAY;
};

void expectSound(const ShmDomainHandle *domain, std::uint64_t header, bool isEmpty = false) {
  const sntr::test::HeapPicture heap = sntr::test::lookAtHeap(domain->baseAddress, header, header == 0);
  EXPECT_EQ(heap.problem, "") << "in the heap at " << header;
  if (isEmpty) EXPECT_EQ(heap.allocated.size(), 0u) << "left in the heap at " << header;
}

std::uint32_t createNode(Made &m) {
  support::Sizes sizes{};
  sizes[SNTR_AREA_R] = 0x2000;
  std::uint64_t offset = 0;
  return support::createNode(m.pool, SNTR_KIND_R, sizes, m.node, offset);
}

std::uint32_t createList(Made &m) {
  const std::uint64_t tags[] = {5, 6};
  const std::int32_t values[] = {50, 60};
  return sntrCreateRPropertyList(m.node, tags, values, 2, 11, m.layout, 0);
}

std::uint32_t getValue(Made &m) {
  std::int32_t value = 0;
  return sntrGetValueForRProperty(m.node, 6, &value, 0);
}

// Connections forbid these frees, and each heap must be empty: so whatever was counted or allocated in vain shows.
std::uint32_t freePool(Made &m) {
  if (m.pool == nullptr) return 0;
  expectSound(m.domain, m.pool->poolHeaderOffset, true);
  return support::freePool(&m.pool, SNTR_FREE_POOL_IF_UNUSED);
}

std::uint32_t freeDomain(Made &m) {
  if (m.domain == nullptr) return 0;
  expectSound(m.domain, 0, true);
  return sntrFreeShmDomain(&m.domain, SNTR_FREE_DOMAIN_IF_UNUSED);
}

// A step of the path, and its own codes.
struct Step {
  const char *name;
  std::uint32_t (*work)(Made &m);
  Rc alloc = support::usualCode(OSSFaultMemoryAlloc);
  Rc free = Rc::Ok;
  Rc inside = Rc::LatchFailed;  // or this, if a latch fails in what the step builds or takes
};

const Step kSteps[] = {
    {"initialize", [](Made &) { return SNTROneTimeOnlyInitialization(SNTR_VERSION, SNTR_VERSION); },
     Rc::AttachListAllocFailed},
    {"create domain", [](Made &m) { return sntrCreateShmDomain(&m.key, nullptr, 0x40000, nullptr, &m.domain); }},
    {"create pool", [](Made &m) { return support::createPool(&m.pool, m.domain, 0x8000); }, Rc::PoolHandleAllocFailed,
     Rc::Ok, Rc::PoolBuildFailed},
    {"create node", createNode, Rc::Ok, Rc::Ok, Rc::NodeAllocationFailed},
    {"initialize node",
     [](Made &m) { return sntrInitNode(&m.node, 0, 0, nullptr, nullptr, nullptr, 0, nullptr, nullptr, nullptr); }},
    {"activate", [](Made &m) { return sntrActivateNode(&m.node); }},
    {"create list", createList},
    {"add", [](Made &m) { return sntrAddRProperty(m.node, 7, 70, 0); }},
    {"connect domain", [](Made &m) { return sntrConnectToShmDomain(&m.key, nullptr, nullptr, &m.readersDomain); }},
    {"connect pool",
     [](Made &m) { return sntrConnectToShmPool(&m.readersPool, m.readersDomain, m.pool->poolHeaderOffset, &m); },
     Rc::PoolHandleAllocFailed},
    {"set", [](Made &m) { return sntrSetValueForRProperty(m.node, 6, 61, 0); }},
    {"get", getValue},
    {"delete", [](Made &m) { return sntrDeleteRProperty(m.node, 5, 0); }},
    {"disconnect pool",
     [](Made &m) { return m.readersPool != nullptr ? sntrDisconnectFromShmPool(&m.readersPool) : 0; }, Rc::Ok,
     Rc::PoolHandleFreeFailed},
    {"disconnect domain",
     [](Made &m) { return m.readersDomain != nullptr ? sntrDisconnectFromShmDomain(&m.readersDomain) : 0; }, Rc::Ok,
     Rc::DomainHandleFreeFailed},
    {"disclaim", [](Made &m) { return m.node != nullptr ? sntrDisclaimNode(&m.node, m.pool, SNTR_VERSION) : 0; }},
    {"free pool", freePool, Rc::Ok, Rc::PoolHandleFreeFailed},
    {"free domain", freeDomain, Rc::Ok, Rc::DomainHandleFreeFailed},
    {"clean up", [](Made &) { return sntrAPIInitRefCount != 0 ? SNTRCleanup(SNTR_CLEANUP_ONE_REFERENCE) : 0; }, Rc::Ok,
     Rc::OssInjected},
};

// From here on each step ends something, if it is there.
constexpr std::size_t kFirstEnding = std::size(kSteps) - 6;

class Publisher : public testing::Test {
 protected:
  ~Publisher() override { support::removeSegment(made_.key); }

  // Runs the path, or the rest of it, until a call has failed.
  std::uint32_t run(std::size_t first = 0) {
    const std::uint64_t failures = ossFaultInjected();
    std::uint32_t rc = 0;
    for (std::size_t i = first; i < std::size(kSteps) && rc == 0 && ossFaultInjected() == failures; ++i) {
      reached_ = &kSteps[i];
      rc = reached_->work(made_);
    }
    return rc;
  }

  void checkAndEnd(OSSFaultKind kind, std::uint32_t rc) {
    SCOPED_TRACE(reached_->name);
    Rc expected = support::usualCode(kind);
    if (kind == OSSFaultMemoryAlloc) expected = reached_->alloc;
    if (kind == OSSFaultMemoryFree) expected = reached_->free;
    if (expected == Rc::LatchFailed && rc != sntr::code(expected)) expected = reached_->inside;
    EXPECT_RC(rc, expected);
    if (kind == OSSFaultSegmentCreate) EXPECT_EQ(made_.domain, nullptr);
    if (made_.domain != nullptr) expectSound(made_.domain, 0);
    if (made_.pool != nullptr) expectSound(made_.domain, made_.pool->poolHeaderOffset);
    EXPECT_RC(run(kFirstEnding), Rc::Ok) << reached_->name;
    EXPECT_EQ(sntrAPIInitRefCount, 0u);
    EXPECT_FALSE(support::segmentIsLeft(made_.key)) << "a segment is left";
  }

  Made made_;
  const Step *reached_ = nullptr;
};

TEST_F(Publisher, TellsEachFailureAndLeavesNothing) {
  for (const std::uint32_t layout : {SNTR_LAYOUT_ARRAY, SNTR_LAYOUT_HASH}) {
    SCOPED_TRACE("layout " + std::to_string(layout));
    made_.layout = layout;
    const support::Calls failed = support::failEach(
        [] {}, [&] { return run(); }, [&](OSSFaultKind kind, std::uint32_t rc) { checkAndEnd(kind, rc); });
    for (std::size_t i = 0; i < failed.size(); ++i) {
      // Reading an atomic is a load, and no call.
      const bool isUnused = i == OSSFaultSegmentAuthorize || i == OSSFaultAtomicAdd;
      EXPECT_EQ(failed[i] == 0, isUnused) << failed[i] << " calls of kind " << i;
    }
  }
}

}  // namespace
