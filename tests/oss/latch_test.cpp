// SPDX-License-Identifier: MIT
// Latches: the rules of oss/latch.h, with real processes that die at bad moments.
#include <gtest/gtest.h>
#include <oss/oss.h>
#include <sched.h>
#include <sys/syscall.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <deque>
#include <fstream>
#include <thread>

#include "support/actor.h"
#include "support/codes.h"
#include "support/words.h"

namespace {

using namespace std::chrono_literals;
using sntr::Rc;
using support::becomes, support::Child, support::Clock;

constexpr uint64_t kWaitersBit = 1ULL << 31;

struct Scene {
  alignas(64) ossVLatch latch;
  std::atomic<int> step, done;
  std::atomic<pid_t> inside;
  uint64_t counter;
};

// Whether a process runs, a zombie not being one that does.
bool isRunning(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
  std::string number, name, state;
  return file >> number >> name >> state && state != "Z" && state != "X";
}

class Latch : public testing::Test {
 protected:
  Latch() {
    ossVLatchInit(&latch, 1);
    ossVLatchSetWaitLimit(20000);
  }
  ~Latch() override { ossVLatchSetWaitLimit(30000); }

  // What another process or thread does that gets the latch and says so; and stays.
  void hold() { scene_->step = ossVLatchGet(&latch) == 0 ? 1 : 0; }
  int holdForEver() {
    hold();
    return pause();
  }

  // Waits for the latch with a limit of its own, and changes nothing.
  uint32_t await() {
    uint64_t deadline = 0;
    return ossVLatchAwait(&latch, &deadline);
  }

  // Gets the latch, stays for a while and releases it. False: it failed, or met another who was inside and alive.
  bool visit(useconds_t stay) {
    if (ossVLatchGet(&latch) != 0) return false;
    const pid_t before = scene_->inside.exchange(getpid());
    const bool alone = before == 0 || !isRunning(before);
    ++scene_->counter;
    if (stay != 0) usleep(stay);
    const bool stayedAlone = scene_->inside.exchange(0) == getpid();
    return ossVLatchRelease(&latch) == 0 && alone && stayedAlone;
  }

  support::Shared<Scene> scene_;
  ossVLatch &latch = scene_->latch;
  // The owner word of a latch at an 8-aligned address stands in its bytes 8 to 15.
  std::atomic_ref<uint64_t> owner{*reinterpret_cast<uint64_t *>(latch.storage + 8)};
};

TEST_F(Latch, StandsAtAnyByteAndKeepsToItsOwn) {
  for (size_t at = 0; at < 9; ++at) {
    SCOPED_TRACE(at);
    alignas(64) unsigned char memory[80];
    std::memset(memory, 0xee, sizeof memory);
    auto *odd = reinterpret_cast<ossVLatch *>(memory + at);
    EXPECT_RC(ossVLatchInit(odd, 1), Rc::Ok);
    EXPECT_RC(ossVLatchGet(odd), Rc::Ok);
    EXPECT_RC(ossVLatchGet(odd), Rc::OssLatchHeld);
    EXPECT_RC(ossVLatchRelease(odd), Rc::Ok);
    EXPECT_RC(ossVLatchRelease(odd), Rc::OssLatchNotHeld);
    std::memset(odd, 0xee, sizeof *odd);
    EXPECT_EQ(std::count(memory, std::end(memory), 0xee), 80) << "bytes around were changed";
  }
}

TEST_F(Latch, RefusesBadArguments) {
  uint64_t deadline = 0;
  EXPECT_RC(ossVLatchInit(nullptr, 1), Rc::OssBadArgument);
  EXPECT_RC(ossVLatchGet(nullptr), Rc::OssBadArgument);
  EXPECT_RC(ossVLatchRelease(nullptr), Rc::OssBadArgument);
  EXPECT_RC(ossVLatchTestHeld(nullptr), Rc::OssBadArgument);
  EXPECT_RC(ossVLatchAwait(nullptr, &deadline), Rc::OssBadArgument);
  EXPECT_RC(ossVLatchAwait(&latch, nullptr), Rc::OssBadArgument);
  EXPECT_RC(ossVLatchSetWaitLimit(0), Rc::OssBadArgument);
  EXPECT_RC(ossLockGetConflict(nullptr), Rc::OssBadArgument);
}

TEST_F(Latch, ReportsDamageAndLeavesItAlone) {
  const struct {
    const char *name;
    uint64_t validity, owner;  // bits that are changed
  } rows[] = {{"first validity byte", 0x40, 0},         {"last validity byte", 1ULL << 62, 0},
              {"reserved bit 23", 0, 1 | 1ULL << 23},   {"reserved bit 30", 0, 1 | 1ULL << 30},
              {"waiters without owner", 0, 1ULL << 31}, {"stamp without owner", 0, 1ULL << 32},
              {"thread above the largest", 0, 0x400001}};
  for (const auto &row : rows) {
    ossVLatchInit(&latch, 1);
    support::setWordAt(&latch, 0, support::wordAt(&latch, 0) ^ row.validity);
    owner = row.owner;
    EXPECT_RC(ossVLatchGet(&latch), Rc::OssLatchDamaged) << row.name;
    EXPECT_RC(ossVLatchRelease(&latch), Rc::OssLatchDamaged) << row.name;
    EXPECT_RC(await(), Rc::OssLatchDamaged) << row.name;
    EXPECT_EQ(owner, row.owner) << row.name;
  }
}

// A release wakes one sleeper on the word. An onlooker that slept there could be stopped, and the wake be lost.
TEST_F(Latch, BelongsToTheThreadThatGotIt) {
  EXPECT_RC(ossVLatchTestHeld(&latch), Rc::OssLatchNotHeld);
  ossVLatchSetWaitLimit(~uint64_t{0});
  EXPECT_RC(await(), Rc::Ok) << "with the longest limit";
  ASSERT_RC(ossVLatchGet(&latch), Rc::Ok);
  EXPECT_RC(await(), Rc::OssLatchHeld);
  ossVLatchSetWaitLimit(60);
  std::thread([&] {
    EXPECT_RC(ossVLatchTestHeld(&latch), Rc::OssLatchNotHeld);
    EXPECT_RC(ossVLatchRelease(&latch), Rc::OssLatchNotHeld);
    const uint64_t held = owner;
    EXPECT_RC(await(), Rc::OssLatchTimeout);
    EXPECT_EQ(owner, held) << "an onlooker has stored something";
    uint64_t past = 1;
    EXPECT_RC(ossVLatchAwait(&latch, &past), Rc::OssLatchTimeout);
    EXPECT_EQ(past, 1U) << "the deadline of an earlier call";
    const auto start = Clock::now();
    EXPECT_RC(ossVLatchGet(&latch), Rc::OssLatchTimeout);
    EXPECT_GE(Clock::now() - start, 60ms);
  }).join();
  EXPECT_RC(ossVLatchTestHeld(&latch), Rc::Ok) << "others wait";
  EXPECT_RC(ossVLatchRelease(&latch), Rc::Ok);
  EXPECT_RC(ossVLatchGet(&latch), Rc::Ok);
}

TEST_F(Latch, ChildOfForkIsNotItsParent) {
  const auto forkOfKernel = [] { return static_cast<pid_t>(syscall(SYS_clone, SIGCHLD, 0, 0, 0, 0)); };
  pid_t (*const forks[])() = {fork, forkOfKernel};
  const auto isThisThread = [] { return ossThreadID() == static_cast<uint32_t>(gettid()); };
  const auto work = [&] {
    std::thread([&] { scene_->step = isThisThread(); }).join();  // asks before the one that was forked
    if (scene_->step == 0 || !isThisThread()) return 1;
    if (ossVLatchRelease(&latch) != sntr::code(Rc::OssLatchNotHeld)) return 2;
    ossVLatchSetWaitLimit(30);
    if (ossVLatchGet(&latch) != sntr::code(Rc::OssLatchTimeout)) return 3;
    return Child([&] { return isThisThread() ? 0 : 4; }).result();
  };
  for (const auto make : forks) {
    ASSERT_RC(ossVLatchGet(&latch), Rc::Ok);
    EXPECT_EQ(Child(work, make).result(), 0) << (make == fork ? "fork() of the C library" : "fork of the kernel");
    EXPECT_RC(ossVLatchRelease(&latch), Rc::Ok);
  }
}

TEST_F(Latch, PassesOnFromADeadOwnerAndNoOther) {
  for (const std::string name :
       {"living process", "living but stopped", "living thread", "zombie", "reaped process", "ended thread",
        "thread that called exec()", "ended first thread", "earlier owner of the number"}) {
    SCOPED_TRACE(name);
    const bool isDead = name.find("living") == name.npos;
    scene_->step = 0;
    ossVLatchInit(&latch, 1);
    Child child([&] {
      prctl(PR_SET_NAME, "a) Z (b");  // which stands before the state in /proc
      if (name == "living thread") std::thread([&] { holdForEver(); }).join();
      if (name == "ended thread") std::thread([&] { hold(); }).join();
      if (name == "thread that called exec()")
        std::thread([&] { hold(), execl("/bin/sleep", "sleep", "60", nullptr); }).join();
      if (name == "ended first thread") {
        std::thread([] { pause(); }).detach();
        hold();
        syscall(SYS_exit, 0);  // this thread alone, without a word to the C++ library
      }
      return name == "ended thread" ? pause() : holdForEver();
    });
    ASSERT_TRUE(becomes([&] { return scene_->step == 1; }));
    if (name == "living but stopped") child.signal(SIGSTOP);
    if (name == "zombie") child.signal(SIGKILL);
    if (name == "reaped process") child.kill();
    if (name == "earlier owner of the number") owner ^= 1ULL << 40;  // started at another time
    ossVLatchSetWaitLimit(isDead ? 20000 : 80);
    EXPECT_RC(await(), isDead ? Rc::OssLatchOwnerDead : Rc::OssLatchTimeout);
    EXPECT_RC(ossVLatchGet(&latch), isDead ? Rc::Ok : Rc::OssLatchTimeout);
  }
}

// The slice of a waiter that has just gone to sleep would take 8 ms; a wake does not wait for it. And the woken thread
// cannot know whether it slept alone, so it holds the latch with the waiters bit.
TEST_F(Latch, ReleaseWakesTheSleeper) {
  Clock::duration fastest = 1h;
  for (uint32_t round = 0; round < 20; ++round) {
    ossVLatchInit(&latch, round % 2);
    ASSERT_RC(ossVLatchGet(&latch), Rc::Ok);
    Clock::time_point woken;
    std::thread waiter([&] {
      EXPECT_RC(ossVLatchGet(&latch), Rc::Ok);
      woken = Clock::now();
      EXPECT_NE(owner & kWaitersBit, 0U) << "round " << round;
      EXPECT_RC(ossVLatchRelease(&latch), Rc::Ok);
    });
    ASSERT_TRUE(becomes([&] { return (owner & kWaitersBit) != 0; }));
    const auto start = Clock::now();
    ASSERT_RC(ossVLatchRelease(&latch), Rc::Ok);
    waiter.join();
    fastest = std::min(fastest, woken - start);
  }
  EXPECT_LT(fastest, 5ms);
}

// Waiters whose slices end at the same moment find the same dead owner; one of them may take over.
TEST_F(Latch, PassesFromTheDeadToOneWaiterOnly) {
  constexpr int kWaiters = 3, kRounds = 60;
  ASSERT_EQ(Child([&] { return static_cast<int>(ossVLatchGet(&latch)); }).result(), 0);
  const uint64_t deadOwner = owner;
  const auto work = [&] {
    for (int round = 1; round <= kRounds; ++round) {
      while (scene_->step < round) sched_yield();
      if (!visit(200)) return 1;
      ++scene_->done;
    }
    return 0;
  };
  std::deque<Child> children;
  for (int i = 0; i < kWaiters; ++i) children.emplace_back(work);
  for (int round = 1; round <= kRounds; ++round) {
    owner = deadOwner;
    scene_->step = round;
    ASSERT_TRUE(becomes([&] { return scene_->done >= round * kWaiters; })) << "round " << round;
  }
  for (Child &child : children) EXPECT_EQ(child.result(), 0);
}

TEST_F(Latch, KilledWaiterStrandsNobody) {
  ASSERT_RC(ossVLatchGet(&latch), Rc::Ok);
  const auto wait = [&] {
    ++scene_->step;
    return visit(0) ? 0 : 1;
  };
  Child first(wait), second(wait);
  ASSERT_TRUE(becomes([&] { return scene_->step == 2 && (owner & kWaitersBit) != 0; }));
  first.kill();
  ASSERT_RC(ossVLatchRelease(&latch), Rc::Ok);
  EXPECT_EQ(second.result(), 0);
}

// Processes that are killed wherever they are.
TEST_F(Latch, NeverHasTwoLivingHolders) {
  const auto work = [&] {
    while (visit(0)) continue;
    return 1;
  };
  std::deque<Child> children;
  for (int i = 0; i < 3; ++i) children.emplace_back(work);
  for (int round = 0; round < 150; ++round) {
    usleep(4000);
    children.front().signal(SIGKILL);
    ASSERT_EQ(children.front().result(), -SIGKILL) << "round " << round << ": it had ended by itself";
    children.pop_front();
    children.emplace_back(work);
  }
  children.clear();
  EXPECT_RC(ossVLatchGet(&latch), Rc::Ok);
  EXPECT_GT(scene_->counter, 1000U);
}

TEST_F(Latch, CountsExactlyBetweenThreadsAsAByteDoes) {
  constexpr int kEach = 20000;
  uint8_t byte = 0;
  ossVLatchInit(&latch, 0);
  for (const bool isByte : {false, true}) {
    int counter = 0;
    const auto work = [&] {
      for (int i = 0; i < kEach; ++i) {
        EXPECT_RC(isByte ? ossLockGetConflict(&byte) : ossVLatchGet(&latch), Rc::Ok);
        const int before = counter;
        if (i % 8 == 0) sched_yield();  // the others meet a latch that is held
        counter = before + 1;
        isByte ? __atomic_store_n(&byte, 0, __ATOMIC_RELEASE) : static_cast<void>(ossVLatchRelease(&latch));
      }
    };
    std::thread threads[] = {std::thread(work), std::thread(work), std::thread(work)};
    work();
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(counter, 4 * kEach) << (isByte ? "byte" : "latch");
  }
}

}  // namespace
