// SPDX-License-Identifier: MIT
// Atomic cells, memory, time, and calls of these that fail on demand.
#include <gtest/gtest.h>
#include <oss/fault.h>
#include <oss/oss.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <thread>

#include "support/actor.h"
#include "support/codes.h"
#include "support/words.h"

namespace {

using Cell = OSSVAtomicSigned32;
using sntr::Rc;

// The sanitizers end the program on a size that no memory has, unless told to answer as the C library does.
constexpr char kSanitizerOptions[] = "allocator_may_return_null=1";

// Where calls on a cell are indivisible: oss/atomic.h.
#ifdef __x86_64__
constexpr size_t kIndivisible = 1;
#else
constexpr size_t kIndivisible = alignof(int);
#endif

struct alignas(64) Bytes {
  Cell &cellAt(size_t at) { return *reinterpret_cast<Cell *>(memory + at); }
  unsigned char memory[256];
};

int valueOf(const Cell &cell) { return support::wordAt<int>(&cell, 0); }

// The last place is across a cache line. It has few calls: a system that dislikes locks across a line can make each of
// them wait for ten milliseconds and more.
TEST(Atomic, GivesThePreviousValueAtAnyAddress) {
  const struct {
    const char *name;
    uint32_t (*run)(Cell &, int *);
    int before, after;
  } rows[] = {
      {"increment", [](Cell &c, int *p) { return c.increment(p); }, 41, 42},
      {"increment wraps", [](Cell &c, int *p) { return c.increment(p); }, INT_MAX, INT_MIN},
      {"add", [](Cell &c, int *p) { return c.add(-50, p); }, 41, -9},
      {"add 0 reads", [](Cell &c, int *p) { return c.add(0, p); }, -7, -7},
      {"add wraps", [](Cell &c, int *p) { return c.add(-2, p); }, INT_MIN, INT_MAX - 1},
      {"swap", [](Cell &c, int *p) { return c.swap(5, p); }, -3, 5},
  };
  for (const auto &row : rows) {
    for (const size_t at : {0U, 1U, 2U, 3U, 4U, 62U}) {
      SCOPED_TRACE(std::string(row.name) + " at " + std::to_string(at));
      Bytes bytes;
      std::memset(&bytes, 0xee, sizeof bytes);
      Cell &cell = bytes.cellAt(at);
      int previous = 0;
      EXPECT_RC(cell.init(row.before, 1), Rc::Ok);
      EXPECT_RC(row.run(cell, &previous), Rc::Ok);
      EXPECT_EQ(previous, row.before);
      EXPECT_EQ(valueOf(cell), row.after);
      EXPECT_RC(row.run(cell, nullptr), Rc::Ok);
      support::setWordAt(&cell, 0, 0xeeeeeeee);
      EXPECT_EQ(std::count(bytes.memory, std::end(bytes.memory), 0xee), 256) << "bytes around were changed";
    }
  }
}

TEST(Atomic, LosesNothingBetweenProcessesAndThreads) {
  constexpr int kEach = 30000;
  for (size_t at = 0; at < 5; at += kIndivisible) {
    support::Shared<Bytes> bytes;
    Cell &cell = bytes->cellAt(at);
    const auto work = [&] {
      for (int i = 0; i < kEach; ++i) cell.increment(nullptr), cell.add(2, nullptr);
      return 0;
    };
    support::Child other(work);
    std::thread thread(work);
    work();
    thread.join();
    EXPECT_EQ(other.result(), 0);
    EXPECT_EQ(valueOf(cell), 3 * 3 * kEach) << "at " << at;
  }
}

TEST(Memory, IsAlignedAndEvenThereForNoBytes) {
  void *const block = _ossMemAlloc(0, "test", 1);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 16, 0U);
  EXPECT_RC(_ossMemFree(block, "test", 2), Rc::Ok);
  EXPECT_RC(_ossMemFree(nullptr, nullptr, 0), Rc::Ok);
}

TEST(Time, IsMillisecondsOfTheSystemClockOrStandsStill) {
  ossFaultSetClock(0);
  EXPECT_EQ(ossTimeGetUTC(), 0U);
  ossFaultClearClock();
  using namespace std::chrono;
  const auto now = [] { return static_cast<uint64_t>(system_clock::now().time_since_epoch() / 1ms); };
  const uint64_t before = now(), told = ossTimeGetUTC();
  EXPECT_LE(before, told);
  EXPECT_LE(told, now());
}

// The other kinds are met by tests/faults.
TEST(Faults, FailTheirCallAndNoOther) {
  Cell cell;
  ossVLatch latch;
  int value = 0;
  cell.init(0, 1);
  ossVLatchInit(&latch, 1);
  const uint64_t calls = ossFaultCallsOfAll();
  ossFaultArm(OSSFaultAtomicAdd, 2);
  ossFaultArmAny(4);
  for (const Rc rc : {Rc::Ok, Rc::OssInjected, Rc::Ok}) EXPECT_RC(cell.add(1, nullptr), rc);
  EXPECT_RC(OSSHIPCMemory().authorize(0, 0, 0), Rc::OssInjected);
  EXPECT_RC(cell.add(0, &value), Rc::Ok);
  EXPECT_EQ(value, 2) << "a failed call has added something";
  EXPECT_EQ(ossFaultCallsOfAll(), calls + 5);
  ossFaultArm(OSSFaultLatchRelease, 1);
  EXPECT_RC(ossVLatchRelease(&latch), Rc::OssLatchNotHeld) << "the failure of the call itself comes first";
}

}  // namespace

extern "C" const char *__asan_default_options();
extern "C" const char *__asan_default_options() { return kSanitizerOptions; }
extern "C" const char *__tsan_default_options();
extern "C" const char *__tsan_default_options() { return kSanitizerOptions; }
