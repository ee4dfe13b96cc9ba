// Latches: the rules of oss/latch.h, with real processes that die at bad moments.
#include <sched.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <fstream>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "process.h"
#include "support/words.h"

namespace oss_test {
namespace {

// The owner word of a latch at an 8-aligned address stands in its bytes 8 to 15.
uint64_t ownerWord(const ossVLatch &latch) { return support::wordAt(latch.storage, 8); }
void setOwnerWord(ossVLatch &latch, uint64_t word) { support::setWordAt(latch.storage, 8, word); }

struct alignas(64) Scene {
  ossVLatch latch;
  std::atomic<int> step;
  std::atomic<int> done;
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
    ossVLatchInit(latch(), 1);
    ossVLatchSetWaitLimit(20000);
  }
  ~Latch() override { ossVLatchSetWaitLimit(30000); }

  ossVLatch *latch() { return &scene_->latch; }

  // What a child does that gets the latch, says so and stays.
  int holdForEver() {
    if (ossVLatchGet(latch()) != 0) return 1;
    scene_->step = 1;
    for (;;) pause();
  }

  // Waits for the latch with a limit of its own, and changes nothing.
  uint32_t await() {
    uint64_t deadline = 0;
    return ossVLatchAwait(latch(), &deadline);
  }

  uint64_t word() { return __atomic_load_n(reinterpret_cast<uint64_t *>(latch()->storage + 8), __ATOMIC_RELAXED); }
  bool somebodyWaits() {
    return becomes([&] { return (word() & kWaitersBit) != 0; });
  }

  bool waitForStep(int step) {
    return becomes([&] { return scene_->step >= step; });
  }

  // Gets and releases the latch; the time it took is far below the wait limit.
  void expectPassesSoon() {
    const auto start = Clock::now();
    EXPECT_RC(ossVLatchGet(latch()), Rc::Ok);
    EXPECT_LT(Clock::now() - start, 5s);
    EXPECT_RC(ossVLatchRelease(latch()), Rc::Ok);
  }

  static constexpr uint64_t kWaitersBit = 1ULL << 31;
  Shared<Scene> scene_;
};

TEST_F(Latch, StandsAtAnyByteAndKeepsToItsOwn) {
  for (size_t at = 0; at < 9; ++at) {
    alignas(64) unsigned char memory[80];
    std::memset(memory, 0xee, sizeof memory);
    auto *odd = reinterpret_cast<ossVLatch *>(memory + at);
    EXPECT_RC(ossVLatchInit(odd, 1), Rc::Ok) << "at " << at;
    EXPECT_RC(ossVLatchGet(odd), Rc::Ok) << "at " << at;
    EXPECT_RC(ossVLatchGet(odd), Rc::OssLatchHeld) << "at " << at;
    EXPECT_RC(ossVLatchRelease(odd), Rc::Ok) << "at " << at;
    EXPECT_RC(ossVLatchRelease(odd), Rc::OssLatchNotHeld) << "at " << at;
    for (size_t i = 0; i < sizeof memory; ++i) {
      if (i >= at && i < at + 64) continue;
      EXPECT_EQ(memory[i], 0xee) << "byte " << i << " of a latch at " << at;
    }
  }
}

TEST_F(Latch, RefusesBadArguments) {
  EXPECT_RC(ossVLatchInit(nullptr, 1), Rc::OssBadArgument);
  EXPECT_RC(ossVLatchGet(nullptr), Rc::OssBadArgument);
  EXPECT_RC(ossVLatchRelease(nullptr), Rc::OssBadArgument);
  EXPECT_RC(ossVLatchTestHeld(nullptr), Rc::OssBadArgument);
  uint64_t deadline = 0;
  EXPECT_RC(ossVLatchAwait(nullptr, &deadline), Rc::OssBadArgument);
  EXPECT_RC(ossVLatchAwait(latch(), nullptr), Rc::OssBadArgument);
  EXPECT_RC(ossVLatchSetWaitLimit(0), Rc::OssBadArgument);
  EXPECT_RC(ossLockGetConflict(nullptr), Rc::OssBadArgument);
}

TEST_F(Latch, ReportsDamageAndLeavesItAlone) {
  const struct {
    const char *name;
    uint64_t owner;
  } rows[] = {
      {"reserved bit 23", 1 | 1ULL << 23},    {"reserved bit 30", 1 | 1ULL << 30},
      {"waiters without owner", 1ULL << 31},  {"stamp without owner", 1ULL << 32},
      {"thread above the largest", 0x400001}, {"all bits", ~0ULL},
  };
  for (const auto &row : rows) {
    setOwnerWord(*latch(), row.owner);
    EXPECT_RC(ossVLatchGet(latch()), Rc::OssLatchDamaged) << row.name;
    EXPECT_RC(ossVLatchRelease(latch()), Rc::OssLatchDamaged) << row.name;
    EXPECT_RC(await(), Rc::OssLatchDamaged) << row.name;
    EXPECT_EQ(ownerWord(*latch()), row.owner) << row.name;
  }
  for (int byte = 0; byte < 8; ++byte) {
    ossVLatchInit(latch(), 1);
    latch()->storage[byte] ^= 0x40;
    EXPECT_RC(ossVLatchGet(latch()), Rc::OssLatchDamaged) << "validity byte " << byte;
    EXPECT_RC(ossVLatchRelease(latch()), Rc::OssLatchDamaged) << "validity byte " << byte;
  }
}

TEST_F(Latch, NeverHangsOnRandomBytes) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937_64 random(seed);
  ossVLatchSetWaitLimit(1);
  ossVLatch good;
  for (int i = 0; i < 5000; ++i) {
    ossVLatchInit(latch(), 1);
    good = *latch();
    for (size_t at = 0; at < sizeof good; at += 8) {
      const uint64_t word = random() >> random() % 64;
      std::memcpy(latch()->storage + at, &word, sizeof word);
    }
    // Mostly with the validity word left whole, as the rest would not be looked at otherwise.
    if (random() % 8 != 0) std::memcpy(latch()->storage, good.storage, 8);
    if (ossVLatchGet(latch()) != 0) continue;
    EXPECT_RC(ossVLatchRelease(latch()), Rc::Ok) << "round " << i;
  }
}

TEST_F(Latch, BelongsToTheThreadThatGotIt) {
  EXPECT_RC(ossVLatchTestHeld(latch()), Rc::OssLatchNotHeld);
  EXPECT_RC(await(), Rc::Ok);
  ASSERT_RC(ossVLatchGet(latch()), Rc::Ok);
  EXPECT_RC(ossVLatchTestHeld(latch()), Rc::Ok);
  EXPECT_RC(await(), Rc::OssLatchHeld);
  std::thread([&] {
    EXPECT_RC(ossVLatchTestHeld(latch()), Rc::OssLatchNotHeld);
    EXPECT_RC(ossVLatchRelease(latch()), Rc::OssLatchNotHeld);
    ossVLatchSetWaitLimit(60);
    EXPECT_RC(await(), Rc::OssLatchTimeout);
    const auto start = Clock::now();
    EXPECT_RC(ossVLatchGet(latch()), Rc::OssLatchTimeout);
    EXPECT_GE(Clock::now() - start, 60ms);
    EXPECT_LT(Clock::now() - start, 10s);
  }).join();
  EXPECT_RC(ossVLatchTestHeld(latch()), Rc::Ok) << "others wait";
  EXPECT_RC(ossVLatchRelease(latch()), Rc::Ok);
  expectPassesSoon();
}

TEST_F(Latch, WaitsOnUntilTheDeadlineOfAnEarlierCall) {
  uint64_t deadline = 0;
  ossVLatchSetWaitLimit(60);
  EXPECT_RC(ossVLatchAwait(latch(), &deadline), Rc::Ok);
  const uint64_t first = deadline;
  EXPECT_NE(first, 0U);
  ossVLatchSetWaitLimit(20000);
  Child owner([&] {
    if (ossVLatchGet(latch()) != 0) return 1;
    scene_->step = 1;
    sleep(2);  // within the new limit, and beyond the old one
    return static_cast<int>(ossVLatchRelease(latch()));
  });
  ASSERT_TRUE(waitForStep(1));
  EXPECT_RC(ossVLatchAwait(latch(), &deadline), Rc::OssLatchTimeout);
  EXPECT_EQ(deadline, first);
}

TEST_F(Latch, ChildOfForkIsNotItsParent) {
  const struct {
    const char *name;
    pid_t (*make)();
  } rows[] = {{"fork() of the C library", Child::viaLibrary}, {"fork of the kernel", Child::viaKernel}};
  for (const auto &row : rows) {
    ASSERT_RC(ossVLatchGet(latch()), Rc::Ok) << row.name;
    const auto work = [&] {
      std::thread([] { ossThreadID(); }).join();  // a new thread asks before the one that was forked
      if (ossThreadID() != static_cast<uint32_t>(gettid())) return 1;
      if (ossVLatchRelease(latch()) != sntr::code(Rc::OssLatchNotHeld)) return 2;
      ossVLatchSetWaitLimit(30);
      if (ossVLatchGet(latch()) != sntr::code(Rc::OssLatchTimeout)) return 3;
      return Child([&] { return ossThreadID() == static_cast<uint32_t>(gettid()) ? 0 : 4; }).result();
    };
    EXPECT_EQ(Child(work, row.make).result(), 0) << row.name;
    EXPECT_RC(ossVLatchRelease(latch()), Rc::Ok) << row.name;
  }
}

TEST_F(Latch, PassesOnFromADeadOwner) {
  const auto hold = [&] { scene_->step = ossVLatchGet(latch()) == 0 ? 1 : 0; };
  const struct {
    const char *name;
    Child::Work work;
    void (*end)(Child &);  // null: the owner ends by itself
  } rows[] = {
      {"reaped process", [&] { return holdForEver(); }, [](Child &owner) { owner.kill(); }},
      {"zombie", [&] { return holdForEver(); }, [](Child &owner) { owner.killOnly(); }},
      {"thread of a living process",
       [&] {
         std::thread(hold).join();
         return static_cast<int>(sleep(60));
       },
       nullptr},
      {"thread that called exec()",
       [&] {
         std::thread([&] {
           hold();
           execl("/bin/sleep", "sleep", "60", nullptr);
         }).join();
         return 1;
       },
       nullptr},
      {"first thread of a living process",
       [&] {
         std::thread other([] { sleep(60); });
         hold();
         return static_cast<int>(syscall(SYS_exit, 0));  // this thread alone, without a word to the C++ library
       },
       nullptr},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.name);
    scene_->step = 0;
    Child owner(row.work);
    ASSERT_TRUE(waitForStep(1));
    if (row.end != nullptr) row.end(owner);
    EXPECT_RC(await(), Rc::OssLatchOwnerDead);
    expectPassesSoon();
  }
}

TEST_F(Latch, PassesOnWhenTheOwnersNumberBelongsToAnother) {
  ASSERT_RC(ossVLatchGet(latch()), Rc::Ok);
  const uint64_t mine = ownerWord(*latch());
  ASSERT_EQ(static_cast<uint32_t>(mine), static_cast<uint32_t>(gettid()));
  setOwnerWord(*latch(), mine ^ (1ULL << 40));  // my number, but started at another time
  expectPassesSoon();
}

TEST_F(Latch, StaysWithALivingOwner) {
  for (const char *kind : {"process", "thread", "stopped"}) {
    scene_->step = 0;
    ossVLatchInit(latch(), 1);
    const bool thread = kind == std::string("thread");
    Child owner([&] {
      if (thread) std::thread([&] { holdForEver(); }).join();
      return holdForEver();
    });
    ASSERT_TRUE(waitForStep(1)) << kind;
    if (kind == std::string("stopped")) owner.signal(SIGSTOP);
    ossVLatchSetWaitLimit(80);
    EXPECT_RC(ossVLatchGet(latch()), Rc::OssLatchTimeout) << kind;
  }
}

// The slice of a waiter that has just gone to sleep would take 8 ms; a wake does not wait for it. And the woken thread
// cannot know whether it slept alone, so it holds the latch with the waiters bit.
TEST_F(Latch, ReleaseWakesTheSleeper) {
  Clock::duration fastest = 1h;
  for (int round = 0; round < 20; ++round) {
    ASSERT_RC(ossVLatchGet(latch()), Rc::Ok);
    std::atomic<Clock::rep> woken{0};
    uint64_t held = 0;
    std::thread waiter([&] {
      EXPECT_RC(ossVLatchGet(latch()), Rc::Ok);
      woken = Clock::now().time_since_epoch().count();
      held = word();
      EXPECT_RC(ossVLatchRelease(latch()), Rc::Ok);
    });
    ASSERT_TRUE(somebodyWaits());
    const auto start = Clock::now();
    ASSERT_RC(ossVLatchRelease(latch()), Rc::Ok);
    waiter.join();
    EXPECT_NE(held & kWaitersBit, 0U) << "round " << round;
    fastest = std::min(fastest, Clock::duration(woken) - start.time_since_epoch());
  }
  EXPECT_LT(fastest, 5ms);
}

// A release wakes one sleeper on the word. An onlooker that slept there could be stopped, and the wake be lost.
TEST_F(Latch, OnlookerStoresNothing) {
  ASSERT_RC(ossVLatchGet(latch()), Rc::Ok);
  const uint64_t held = word();
  std::thread([&] {
    ossVLatchSetWaitLimit(60);
    EXPECT_RC(await(), Rc::OssLatchTimeout);
  }).join();
  EXPECT_EQ(word(), held);
  EXPECT_RC(ossVLatchRelease(latch()), Rc::Ok);
}

// Waiters whose slices end at the same moment find the same dead owner; one of them may take over.
TEST_F(Latch, PassesFromTheDeadToOneWaiterOnly) {
  constexpr int kWaiters = 3;
  constexpr int kRounds = 60;
  {
    Child dead([&] { return static_cast<int>(ossVLatchGet(latch())); });
    ASSERT_EQ(dead.result(), 0);
  }
  const uint64_t deadOwner = ownerWord(*latch());
  const auto work = [&] {
    for (int round = 1; round <= kRounds; ++round) {
      while (scene_->step < round) sched_yield();
      if (ossVLatchGet(latch()) != 0) return 1;
      const pid_t before = scene_->inside.exchange(getpid());
      usleep(200);
      const bool alone = before == 0 && scene_->inside.exchange(0) == getpid();
      if (ossVLatchRelease(latch()) != 0 || !alone) return 2;
      ++scene_->done;
    }
    return 0;
  };
  std::vector<std::unique_ptr<Child>> children;
  for (int i = 0; i < kWaiters; ++i) children.push_back(std::make_unique<Child>(work));
  for (int round = 1; round <= kRounds; ++round) {
    setOwnerWord(*latch(), deadOwner);
    scene_->step = round;
    if (!becomes([&] { return scene_->done >= round * kWaiters; })) break;
  }
  scene_->step = kRounds;  // lets everybody end, also when one has ended early
  for (auto &child : children) EXPECT_EQ(child->result(), 0);
}

TEST_F(Latch, KilledWaiterStrandsNobody) {
  ASSERT_RC(ossVLatchGet(latch()), Rc::Ok);
  const auto wait = [&] {
    ++scene_->step;
    const bool got = ossVLatchGet(latch()) == 0;
    return got && ossVLatchRelease(latch()) == 0 ? 0 : 1;
  };
  Child first(wait);
  Child second(wait);
  ASSERT_TRUE(waitForStep(2));
  usleep(30000);
  first.kill();
  ASSERT_RC(ossVLatchRelease(latch()), Rc::Ok);
  EXPECT_EQ(second.result(), 0);
}

TEST_F(Latch, CountsExactly) {
  constexpr int kEach = 20000;
  for (const uint32_t shared : {0U, 1U}) {
    ossVLatchInit(latch(), shared);
    scene_->counter = 0;
    const auto work = [&] {
      for (int i = 0; i < kEach; ++i) {
        if (ossVLatchGet(latch()) != 0) return 1;
        ++scene_->counter;
        if (ossVLatchRelease(latch()) != 0) return 2;
      }
      return 0;
    };
    if (shared != 0) {
      Child children[] = {Child(work), Child(work), Child(work), Child(work)};
      for (Child &child : children) EXPECT_EQ(child.result(), 0);
    } else {
      std::vector<std::thread> threads;
      for (int i = 0; i < 4; ++i) threads.emplace_back([&] { EXPECT_EQ(work(), 0); });
      for (std::thread &thread : threads) thread.join();
    }
    EXPECT_EQ(scene_->counter, 4U * kEach) << (shared != 0 ? "processes" : "threads");
  }
}

// Processes that are killed wherever they are. Whoever gets the latch may find the mark of another inside, but then of
// a dead one.
TEST_F(Latch, NeverHasTwoLivingHolders) {
  const auto work = [&] {
    for (;;) {
      if (ossVLatchGet(latch()) != 0) return 1;
      const pid_t before = scene_->inside.exchange(getpid());
      if (before != 0 && isRunning(before)) return 2;
      ++scene_->counter;
      scene_->inside = 0;
      if (ossVLatchRelease(latch()) != 0) return 3;
    }
  };
  std::vector<std::unique_ptr<Child>> children(3);
  for (auto &child : children) child = std::make_unique<Child>(work);
  for (size_t i = 0; i < 150; ++i) {
    usleep(4000);
    Child &victim = *children[i % children.size()];
    victim.signal(SIGKILL);
    ASSERT_EQ(victim.result(), -SIGKILL) << "round " << i << ": it had ended by itself";
    children[i % children.size()] = std::make_unique<Child>(work);
  }
  children.clear();
  expectPassesSoon();
  EXPECT_GT(scene_->counter, 1000U);
}

TEST(ByteLatch, LetsOneThreadInAtATime) {
  constexpr int kEach = 20000;
  uint8_t latch = 1;  // until all have come
  int counter = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < kEach; ++round) {
        const bool free = __atomic_exchange_n(&latch, 1, __ATOMIC_ACQUIRE) == 0;
        if (!free) EXPECT_RC(ossLockGetConflict(&latch), Rc::Ok);
        const int before = counter;
        sched_yield();  // the others meet a latch that is held
        counter = before + 1;
        __atomic_store_n(&latch, 0, __ATOMIC_RELEASE);
      }
    });
  }
  usleep(10000);
  __atomic_store_n(&latch, 0, __ATOMIC_RELEASE);
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(counter, 4 * kEach);
}

}  // namespace
}  // namespace oss_test
