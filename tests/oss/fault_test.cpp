// Fault injection: which call fails, and what a failed call has done.
#include <oss/fault.h>

#include <iterator>
#include <utility>

#include "process.h"

namespace oss_test {
namespace {

class Faults : public testing::Test {
 protected:
  Faults() {
    ossVLatchInit(&latch_, 1);
    cell_.init(0, 1);
  }
  ~Faults() override {
    ossFaultDisarm();
    cleanUp();
  }

  // Back to a free latch, no block, no segment.
  void cleanUp() {
    _ossMemFree(block_, "test", 1);
    block_ = nullptr;
    ossVLatchRelease(&latch_);
    segment_.destroy();
    anchor_.destroy();
  }

  ossVLatch latch_;
  OSSVAtomicSigned32 cell_;
  void *block_ = nullptr;
  OSSHIPCMemory segment_;
  OSSHIPCMemory anchor_;  // the segment that there is to attach
};

// A call, what it needs, and what a success takes; one that fails takes nothing, but gives back all the same.
struct Row {
  OSSFaultKind kind;
  const char *name;
  std::function<uint32_t()> prepare, call;
  OSSFaultHolding holding;
  int64_t taken;
};

TEST_F(Faults, FailedCallTakesNothingButGivesBack) {
  const OSSIPCMemoryCreateParam made{
      OSS_IPC_VERSION, {0xfa017, static_cast<uint32_t>(getpid())}, 0, 4096, nullptr, 0600, 0};
  void *address = nullptr;
  OSSIPCMemoryInfo info;
  const auto nothing = [] { return 0U; };
  const auto allocate = [&] {
    return (block_ = _ossMemAlloc(8, "test", 1)) == nullptr ? sntr::code(Rc::OssInjected) : 0;
  };
  const auto free = [&] { return _ossMemFree(std::exchange(block_, nullptr), "test", 1); };
  const auto get = [&] { return ossVLatchGet(&latch_); };
  const auto create = [&] { return segment_.create(&made); };
  const auto anchor = [&] { return anchor_.create(&made); };
  const auto attach = [&] { return segment_.attach(&made.key, nullptr); };
  const Row rows[] = {
      {OSSFaultMemoryAlloc, "allocate", nothing, allocate, OSSFaultHeldBlocks, 1},
      {OSSFaultMemoryFree, "free", allocate, free, OSSFaultHeldBlocks, -1},
      {OSSFaultLatchInit, "init", nothing, [&] { return ossVLatchInit(&latch_, 1); }, OSSFaultHeldLatches, 0},
      {OSSFaultLatchGet, "get", nothing, get, OSSFaultHeldLatches, 1},
      {OSSFaultLatchRelease, "release", get, [&] { return ossVLatchRelease(&latch_); }, OSSFaultHeldLatches, -1},
      {OSSFaultAtomicInit, "cell", nothing, [&] { return cell_.init(0, 1); }, OSSFaultHeldBlocks, 0},
      {OSSFaultAtomicIncrement, "count", nothing, [&] { return cell_.increment(nullptr); }, OSSFaultHeldBlocks, 0},
      {OSSFaultAtomicAdd, "add", nothing, [&] { return cell_.add(1, nullptr); }, OSSFaultHeldBlocks, 0},
      {OSSFaultAtomicSwap, "swap", nothing, [&] { return cell_.swap(1, nullptr); }, OSSFaultHeldBlocks, 0},
      {OSSFaultSegmentCreate, "create", nothing, create, OSSFaultHeldSegments, 1},
      {OSSFaultSegmentAttach, "attach", anchor, attach, OSSFaultHeldSegments, 1},
      {OSSFaultSegmentGetAddress, "where", create, [&] { return segment_.getAddress(&address); }, OSSFaultHeldSegments,
       0},
      {OSSFaultSegmentGetInfo, "info", create, [&] { return segment_.getInfo(&info); }, OSSFaultHeldSegments, 0},
      {OSSFaultSegmentAuthorize, "authorize", create,
       [&] { return segment_.authorize(OSS_IPC_KEEP_ID, OSS_IPC_KEEP_ID, 0600); }, OSSFaultHeldSegments, 0},
      {OSSFaultSegmentDetach, "detach", [&] { return anchor() | attach(); }, [&] { return segment_.detach(); },
       OSSFaultHeldSegments, -1},
      {OSSFaultSegmentDestroy, "destroy", create, [&] { return segment_.destroy(); }, OSSFaultHeldSegments, -1},
  };
  static_assert(std::size(rows) == OSSFaultKindCount, "every kind has its row");
  for (const Row &row : rows) {
    for (const bool failing : {false, true, false}) {
      SCOPED_TRACE(std::string(row.name) + (failing ? " made to fail" : " left alone"));
      cleanUp();
      ASSERT_RC(row.prepare(), Rc::Ok);
      const uint64_t calls = ossFaultCalls(row.kind), injected = ossFaultInjected();
      const int64_t held = ossFaultHeld(row.holding);
      if (failing) ossFaultArm(row.kind, 1);
      EXPECT_RC(row.call(), failing ? Rc::OssInjected : Rc::Ok);
      EXPECT_EQ(ossFaultHeld(row.holding) - held, failing && row.taken > 0 ? 0 : row.taken);
      EXPECT_EQ(ossFaultCalls(row.kind), calls + 1);
      EXPECT_EQ(ossFaultInjected(), injected + (failing ? 1 : 0));
    }
  }
}

TEST_F(Faults, CountsDownOverCallsOfItsKindAlone) {
  ossFaultArm(OSSFaultAtomicAdd, 3);
  for (int nth = 1; nth <= 4; ++nth) {
    EXPECT_RC(cell_.increment(nullptr), Rc::Ok) << nth;
    EXPECT_RC(cell_.add(1, nullptr), nth == 3 ? Rc::OssInjected : Rc::Ok) << nth;
  }
  int value = 0;
  cell_.add(0, &value);
  EXPECT_EQ(value, 4 + 3) << "the failed call has added nothing";
}

TEST_F(Faults, CountsDownOverAllCalls) {
  const uint64_t calls = ossFaultCallsOfAll();
  ossFaultArmAny(3);
  EXPECT_RC(cell_.increment(nullptr), Rc::Ok);
  EXPECT_RC(ossVLatchGet(&latch_), Rc::Ok);
  EXPECT_RC(ossVLatchRelease(&latch_), Rc::OssInjected);
  EXPECT_RC(ossVLatchGet(&latch_), Rc::Ok) << "the failed release has released";
  EXPECT_EQ(ossFaultCallsOfAll(), calls + 4);
  ossFaultArmAny(1);
  ossFaultDisarm();
  EXPECT_RC(ossVLatchRelease(&latch_), Rc::Ok);
}

TEST_F(Faults, FailureOfTheCallItselfComesFirst) {
  ossFaultArm(OSSFaultLatchRelease, 1);
  EXPECT_RC(ossVLatchRelease(&latch_), Rc::OssLatchNotHeld);
}

TEST_F(Faults, ClockStandsStill) {
  ossFaultSetClock(0);
  EXPECT_EQ(ossTimeGetUTC(), 0U);
  ossFaultSetClock(123456);
  EXPECT_EQ(ossTimeGetUTC(), 123456U);
  ossFaultClearClock();
  EXPECT_GT(ossTimeGetUTC(), 1000000000000U);
}

}  // namespace
}  // namespace oss_test
