// Fault injection: which call fails, and what a failed call has done.
#include <oss/fault.h>

#include <iterator>

#include "process.h"

namespace oss_test {
namespace {

constexpr uint32_t kInjected = sntr::code(Rc::OssInjected);

// One of everything, for calls that succeed when nothing is injected.
class Faults : public testing::Test {
 protected:
  struct Row {
    OSSFaultKind kind;
    const char *name;
    uint32_t (*prepare)(Faults &);
    uint32_t (*call)(Faults &);
    OSSFaultHolding holding;
    int64_t taken;  // by a call that succeeds; one that fails takes nothing, but gives back all the same
  };
  static const Row kRows[];
  static uint32_t nothing(Faults &) { return 0; }

  Faults() {
    parameters_ = {OSS_IPC_VERSION, {0xfa017, static_cast<uint32_t>(getpid())}, 0, 4096, nullptr, 0600, 0};
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

  uint32_t allocate() { return (block_ = _ossMemAlloc(8, "test", 1)) == nullptr ? kInjected : 0; }

  uint32_t release() {
    void *block = block_;
    block_ = nullptr;
    return _ossMemFree(block, "test", 1);
  }

  uint32_t create() { return segment_.create(&parameters_); }

  // The segment that there is to attach.
  uint32_t createAnchor() { return anchor_.create(&parameters_); }

  uint32_t attach() { return segment_.attach(&parameters_.key, nullptr); }

  uint32_t getAddress() {
    void *address;
    return segment_.getAddress(&address);
  }

  uint32_t getInfo() {
    OSSIPCMemoryInfo info;
    return segment_.getInfo(&info);
  }

  uint32_t authorize() { return segment_.authorize(OSS_IPC_KEEP_ID, OSS_IPC_KEEP_ID, 0600); }

  ossVLatch latch_;
  OSSVAtomicSigned32 cell_;
  void *block_ = nullptr;
  OSSIPCMemoryCreateParam parameters_;
  OSSHIPCMemory segment_;
  OSSHIPCMemory anchor_;
};

const Faults::Row Faults::kRows[] = {
    {OSSFaultMemoryAlloc, "allocate", nothing, [](Faults &f) { return f.allocate(); }, OSSFaultHeldBlocks, 1},
    {OSSFaultMemoryFree, "free", [](Faults &f) { return f.allocate(); }, [](Faults &f) { return f.release(); },
     OSSFaultHeldBlocks, -1},
    {OSSFaultLatchInit, "latch init", nothing, [](Faults &f) { return ossVLatchInit(&f.latch_, 1); },
     OSSFaultHeldLatches, 0},
    {OSSFaultLatchGet, "latch get", nothing, [](Faults &f) { return ossVLatchGet(&f.latch_); }, OSSFaultHeldLatches, 1},
    {OSSFaultLatchRelease, "latch release", [](Faults &f) { return ossVLatchGet(&f.latch_); },
     [](Faults &f) { return ossVLatchRelease(&f.latch_); }, OSSFaultHeldLatches, -1},
    {OSSFaultAtomicInit, "atomic init", nothing, [](Faults &f) { return f.cell_.init(0, 1); }, OSSFaultHeldBlocks, 0},
    {OSSFaultAtomicIncrement, "increment", nothing, [](Faults &f) { return f.cell_.increment(nullptr); },
     OSSFaultHeldBlocks, 0},
    {OSSFaultAtomicAdd, "add", nothing, [](Faults &f) { return f.cell_.add(1, nullptr); }, OSSFaultHeldBlocks, 0},
    {OSSFaultAtomicSwap, "swap", nothing, [](Faults &f) { return f.cell_.swap(1, nullptr); }, OSSFaultHeldBlocks, 0},
    {OSSFaultSegmentCreate, "create", nothing, [](Faults &f) { return f.create(); }, OSSFaultHeldSegments, 1},
    {OSSFaultSegmentAttach, "attach", [](Faults &f) { return f.createAnchor(); }, [](Faults &f) { return f.attach(); },
     OSSFaultHeldSegments, 1},
    {OSSFaultSegmentGetAddress, "get address", [](Faults &f) { return f.create(); },
     [](Faults &f) { return f.getAddress(); }, OSSFaultHeldSegments, 0},
    {OSSFaultSegmentGetInfo, "get info", [](Faults &f) { return f.create(); }, [](Faults &f) { return f.getInfo(); },
     OSSFaultHeldSegments, 0},
    {OSSFaultSegmentAuthorize, "authorize", [](Faults &f) { return f.create(); },
     [](Faults &f) { return f.authorize(); }, OSSFaultHeldSegments, 0},
    {OSSFaultSegmentDetach, "detach", [](Faults &f) { return f.createAnchor() | f.attach(); },
     [](Faults &f) { return f.segment_.detach(); }, OSSFaultHeldSegments, -1},
    {OSSFaultSegmentDestroy, "destroy", [](Faults &f) { return f.create(); },
     [](Faults &f) { return f.segment_.destroy(); }, OSSFaultHeldSegments, -1},
};

TEST_F(Faults, FailedCallTakesNothingButGivesBack) {
  static_assert(std::size(kRows) == OSSFaultKindCount, "every kind has its row");
  for (const Row &row : kRows) {
    for (const bool failing : {false, true, false}) {
      SCOPED_TRACE(std::string(row.name) + (failing ? " made to fail" : " left alone"));
      cleanUp();
      ASSERT_TRUE(is(row.prepare(*this), Rc::Ok));
      const uint64_t calls = ossFaultCalls(row.kind);
      const uint64_t injected = ossFaultInjected();
      const int64_t held = ossFaultHeld(row.holding);
      if (failing) ossFaultArm(row.kind, 1);
      EXPECT_TRUE(is(row.call(*this), failing ? Rc::OssInjected : Rc::Ok));
      EXPECT_EQ(ossFaultHeld(row.holding) - held, failing && row.taken > 0 ? 0 : row.taken);
      EXPECT_EQ(ossFaultCalls(row.kind), calls + 1);
      EXPECT_EQ(ossFaultInjected(), injected + (failing ? 1 : 0));
    }
  }
}

TEST_F(Faults, CountsDownOverCallsOfItsKindAlone) {
  ossFaultArm(OSSFaultAtomicAdd, 3);
  for (int nth = 1; nth <= 4; ++nth) {
    EXPECT_TRUE(is(cell_.increment(nullptr), Rc::Ok)) << nth;
    EXPECT_TRUE(is(cell_.add(1, nullptr), nth == 3 ? Rc::OssInjected : Rc::Ok)) << nth;
  }
  int value = 0;
  cell_.add(0, &value);
  EXPECT_EQ(value, 4 + 3) << "the failed call has added nothing";
}

TEST_F(Faults, CountsDownOverAllCalls) {
  const uint64_t calls = ossFaultCallsOfAll();
  ossFaultArmAny(3);
  EXPECT_TRUE(is(cell_.increment(nullptr), Rc::Ok));
  EXPECT_TRUE(is(ossVLatchGet(&latch_), Rc::Ok));
  EXPECT_TRUE(is(ossVLatchRelease(&latch_), Rc::OssInjected));
  EXPECT_TRUE(is(ossVLatchGet(&latch_), Rc::Ok)) << "the failed release has released";
  EXPECT_EQ(ossFaultCallsOfAll(), calls + 4);
  ossFaultArmAny(1);
  ossFaultDisarm();
  EXPECT_TRUE(is(ossVLatchRelease(&latch_), Rc::Ok));
}

TEST_F(Faults, FailureOfTheCallItselfComesFirst) {
  ossFaultArm(OSSFaultLatchRelease, 1);
  EXPECT_TRUE(is(ossVLatchRelease(&latch_), Rc::OssLatchNotHeld));
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
