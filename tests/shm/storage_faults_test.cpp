// Every call of the services layer that a domain's and a pool's life makes, made to fail once, in turn: the step
// answers the stated code, no latch stays held, and nothing leaks, neither private memory nor a byte of shared memory.
#include <string>

#include "domain_fixture.h"

namespace shm_test {
namespace {

struct Failure {
  std::string step;
  std::uint32_t rc = 0;
};

// A life with every operation that calls the services layer; it stops at the first step that fails.
class Life {
 public:
  explicit Life(const OSSIPCResID &key) : key_(key) {}

  Failure run() {
    Failure f;
    domains(f) && pools(f) && blocks(f) && latches(f) && connections(f) && frees(f);
    return f;
  }

  // Ends whatever the life left, as a caller who was told of the failure would.
  void cleanUp() {
    if (block != nullptr) EXPECT_RC(release(&block, pool), Rc::Ok);
    if (otherPool != nullptr) EXPECT_RC(sntrDisconnectFromShmPool(&otherPool), Rc::Ok);
    if (other != nullptr) EXPECT_RC(sntrDisconnectFromShmDomain(&other), Rc::Ok);
    if (pool != nullptr) EXPECT_RC(freePool(&pool, SNTR_FREE_POOL_IF_UNUSED), Rc::Ok);
    if (domain == nullptr) return;
    ShmHeapInfo info{};
    EXPECT_RC(sntrGetShmDomainInfo(domain, &info), Rc::Ok);
    EXPECT_EQ(info.allocatedBytes, 0u) << "shared memory leaked";
    EXPECT_EQ(info.connectCount, 1u);
    EXPECT_RC(sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_IF_UNUSED), Rc::Ok);
  }

  ShmDomainHandle *domain = nullptr, *other = nullptr;
  ShmPoolHandle *pool = nullptr, *otherPool = nullptr;
  void *block = nullptr;

 private:
  static bool step(Failure &f, const char *name, std::uint32_t rc) {
    if (rc != 0) f = Failure{name, rc};
    return rc == 0;
  }
  // A segment that is refused gives no handle and no failure; here it ends the life.
  bool domains(Failure &f) {
    return step(f, "create domain", sntrCreateShmDomain(&key_, nullptr, kSize, nullptr, &domain)) &&
           domain != nullptr && step(f, "connect domain", sntrConnectToShmDomain(&key_, nullptr, nullptr, &other));
  }
  bool pools(Failure &f) {
    return step(f, "create pool", createPool(&pool, domain, 0x1000)) &&
           step(f, "connect pool", sntrConnectToShmPool(&otherPool, other, pool->poolHeaderOffset, this));
  }
  bool blocks(Failure &f) {
    return step(f, "allocate", allocate(&block, pool, 100)) && step(f, "release", release(&block, pool));
  }
  bool latches(Failure &f) {
    return step(f, "latch", sntrLatchShmDomain(domain)) && step(f, "unlatch", sntrUnlatchShmDomain(domain)) &&
           step(f, "latch pool", sntrLatchShmPool(pool)) && step(f, "unlatch pool", sntrUnlatchShmPool(pool));
  }
  bool connections(Failure &f) {
    return step(f, "disconnect pool", sntrDisconnectFromShmPool(&otherPool)) &&
           step(f, "disconnect domain", sntrDisconnectFromShmDomain(&other));
  }
  bool frees(Failure &f) {
    return step(f, "free pool", freePool(&pool, SNTR_FREE_POOL_IF_UNUSED)) &&
           step(f, "free domain", sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_IF_UNUSED));
  }

  const OSSIPCResID key_;
};

// What a failing call of a kind makes a step answer: the code of the first steps that match, one for each.
struct KindRow {
  const char *name;
  OSSFaultKind kind;
  std::uint64_t calls;  // of the kind that the life makes at least
  Rc ofDomain;          // where the step is about a domain
  Rc ofPool;            // where it is about a pool or a block
};

const KindRow kKinds[] = {
    {"allocate memory", OSSFaultMemoryAlloc, 4, Rc::DomainHandleAllocFailed, Rc::PoolHandleAllocFailed},
    {"free memory", OSSFaultMemoryFree, 4, Rc::DomainHandleFreeFailed, Rc::PoolHandleFreeFailed},
    {"initialize latch", OSSFaultLatchInit, 4, Rc::LatchFailed, Rc::PoolBuildFailed},
    {"get latch", OSSFaultLatchGet, 18, Rc::LatchFailed, Rc::LatchFailed},
    {"release latch", OSSFaultLatchRelease, 18, Rc::LatchFailed, Rc::LatchFailed},
    {"create segment", OSSFaultSegmentCreate, 1, Rc::Ok, Rc::Ok},
    {"attach segment", OSSFaultSegmentAttach, 1, Rc::AttachFailed, Rc::Ok},
    {"get address", OSSFaultSegmentGetAddress, 2, Rc::SegmentAddressFailed, Rc::Ok},
    {"get information", OSSFaultSegmentGetInfo, 1, Rc::SegmentAddressFailed, Rc::Ok},
    {"detach segment", OSSFaultSegmentDetach, 1, Rc::DetachFailed, Rc::Ok},
    {"destroy segment", OSSFaultSegmentDestroy, 1, Rc::DestroyFailed, Rc::Ok},
};

using StorageFaults = DomainTest;

bool isStated(const KindRow &row, const Failure &f) {
  const bool aboutDomain = f.step.find("domain") != std::string::npos || f.step == "latch" || f.step == "unlatch";
  const bool building = f.step == "create pool" && f.rc == code(Rc::PoolBuildFailed);
  return f.rc == code(aboutDomain ? row.ofDomain : row.ofPool) || (row.ofPool == Rc::LatchFailed && building);
}

TEST_F(StorageFaults, EachCallFailingOnceIsToldAndLeavesNothing) {
  for (const KindRow &row : kKinds) {
    std::uint64_t nth = 1;
    for (;; ++nth) {
      SCOPED_TRACE(testing::Message() << row.name << " number " << nth);
      const std::uint64_t injected = ossFaultInjected();
      Life life(key_);
      ossFaultArm(row.kind, nth);
      const Failure f = life.run();
      ossFaultDisarm();
      if (ossFaultInjected() == injected) {
        EXPECT_RC(f.rc, Rc::Ok) << f.step;
        break;
      }
      EXPECT_TRUE(isStated(row, f)) << "step \"" << f.step << "\" answered " << named(f.rc);
      EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), before_.latches) << "after " << f.step;
      life.cleanUp();
      EXPECT_FALSE(segmentExists(key_)) << "after " << f.step;
      EXPECT_EQ(ossFaultHeld(OSSFaultHeldBlocks), before_.blocks) << "after " << f.step;
      EXPECT_EQ(ossFaultHeld(OSSFaultHeldSegments), before_.segments) << "after " << f.step;
      if (HasFailure()) return;
    }
    EXPECT_GE(nth - 1, row.calls) << row.name << ": the life makes fewer such calls than it should";
  }
}

// Memory of the caller's must not look like a domain when its creation failed late.
TEST_F(StorageFaults, AFailedCreationInTheCallersMemoryLeavesNoEyecatcher) {
  for (const OSSFaultKind kind : {OSSFaultMemoryAlloc, OSSFaultLatchInit, OSSFaultLatchGet, OSSFaultLatchRelease}) {
    memory_.assign(kSize / 8, 0);
    ShmDomainParams params{};
    params.domainKind = SNTR_DOMAIN_MEMORY;
    ShmDomainHandle *domain = nullptr;
    ossFaultArm(kind, 1);
    EXPECT_NE(sntrCreateShmDomain(nullptr, memory_.data(), kSize, &params, &domain), 0u) << kind;
    EXPECT_EQ(domain, nullptr);
    EXPECT_EQ(wordAt<std::uint64_t>(memory_.data(), 0x18), 0u) << kind;
  }
}

}  // namespace
}  // namespace shm_test
