// SPDX-License-Identifier: MIT
// Latches in shared memory. oss/latch.h states the contract, thread safety and the death of an owner.
//
// A latch is two words of 8 bytes at the first multiple of 8 in its 64 bytes: a validity word, and the owner word of
// latch_word.h. It is free, or held by the thread that the owner word names.
//
// Invariants:
// 1. Every change is one exchange of the owner word against exactly the value that was read. So no step is lost or done
//    twice, wherever a process dies.
// 2. A waiter sets the waiters bit and sleeps on the low half of the owner word, for at most 8 ms. A release that finds
//    the bit wakes one sleeper.
// 3. A woken thread sets the bit again as it takes the latch, since others may still sleep. A wake is lost if the woken
//    process is killed, or if the bit is lost; that costs other waiters 8 ms.
#include <linux/futex.h>
#include <oss/fast_paths.h>
#include <oss/latch.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>

#include "inject.h"
#include "latch_word.h"
#include "layout/pause.h"
#include "thread_identity.h"
#include "thread_stat.h"

namespace oss {

namespace {

// Values that random bytes do not have. A shared latch may have sleepers in other processes, a private one has none.
constexpr std::uint64_t kValidShared = OSS_LATCH_VALID_SHARED;
constexpr std::uint64_t kValidPrivate = OSS_LATCH_VALID_PRIVATE;

using LatchWords = OSSLatchWords;

constexpr std::size_t kAlignment = std::atomic_ref<std::uint64_t>::required_alignment;
static_assert(kAlignment == 8 && kAlignment - 1 + sizeof(LatchWords) <= sizeof(ossVLatch),
              "fits wherever the latch begins");
static_assert(std::atomic_ref<std::uint64_t>::is_always_lock_free, "a lock of one process would not stop another");

// About the length of another thread's section. Longer spinning would delay an owner that waits for this processor.
constexpr int kSpins = 100;

constexpr std::uint64_t kNanosecondsPerMillisecond = 1000000;
constexpr std::uint64_t kSlice = 8 * kNanosecondsPerMillisecond;

// In milliseconds. Relaxed at every use: it is one number and guards nothing.
constinit std::atomic<std::uint64_t> gWaitLimit{30000};

LatchWords &wordsOf(ossVLatch &latch) { return *ossLatchWordsOf(&latch); }

std::atomic_ref<std::uint64_t> owner(LatchWords &words) { return std::atomic_ref<std::uint64_t>(words.owner); }

// Acquire: pairs with the release in ossVLatchInit(), so that a valid latch is seen initialized.
std::uint64_t validity(LatchWords &words) {
  return std::atomic_ref<std::uint64_t>(words.validity).load(std::memory_order_acquire);
}

static_assert((kValidShared | 1) == kValidPrivate, "told from everything else by one comparison");

bool isLatch(std::uint64_t validity) { return (validity | 1) == kValidPrivate; }

// Sets the owner word to `becomes` if it still is `seen`; otherwise stores its value in `seen`. Acquire: pairs with the
// release in leave(), so that the new holder sees the last holder's writes.
bool take(LatchWords &words, std::uint64_t &seen, std::uint64_t becomes) {
  return owner(words).compare_exchange_strong(seen, becomes, std::memory_order_acquire, std::memory_order_relaxed);
}

// Frees the latch if the owner word still is `seen`. Release: pairs with the acquire in take().
bool leave(LatchWords &words, std::uint64_t &seen) {
  return owner(words).compare_exchange_strong(seen, kFree, std::memory_order_release, std::memory_order_relaxed);
}

// Returns the futex flag of a private latch, for which the kernel looks for sleepers in this process only.
int sleepersOf(LatchWords &words) { return validity(words) == kValidPrivate ? FUTEX_PRIVATE_FLAG : 0; }

std::uint64_t monotonicNow() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1000 * kNanosecondsPerMillisecond +
         static_cast<std::uint64_t>(now.tv_nsec);
}

// Returns the end of a wait that begins now. A limit beyond the range of the clock means no limit.
std::uint64_t deadline() {
  const std::uint64_t limit = gWaitLimit.load(std::memory_order_relaxed);
  const std::uint64_t now = monotonicNow();
  const bool endless = limit > (~std::uint64_t{0} - now) / kNanosecondsPerMillisecond;
  return endless ? ~std::uint64_t{0} : now + limit * kNanosecondsPerMillisecond;
}

// State and checks common to all waiters.
class Waiter {
 public:
  Waiter(LatchWords &words, std::uint64_t self) : words_(words), self_(self) {}

 protected:
  // Reads the latch once into seen_. Returns OssLatchDamaged or OssLatchHeld if waiting makes no sense.
  Rc look() {
    seen_ = owner(words_).load(std::memory_order_relaxed);  // take() orders what follows a success
    if (!isLatch(validity(words_)) || !isPlausible(seen_)) return Rc::OssLatchDamaged;
    return ownerOf(seen_) == self_ ? Rc::OssLatchHeld : Rc::Ok;
  }

  // Tests the owner only if the word is unchanged since before the sleep: a word that changes has a living owner.
  bool ownerHasDied() {
    if (owner(words_).load(std::memory_order_relaxed) != seen_) return false;
    return threadIsDead(threadOf(seen_), stampOf(seen_), stampOf(self_) != kNoStamp);
  }

  LatchWords &words_;
  const std::uint64_t self_;
  std::uint64_t seen_ = kFree;
};

// Returns a time below one second.
timespec shortTime(std::uint64_t nanoseconds) { return {0, static_cast<long>(nanoseconds)}; }
static_assert(kSlice < 1000 * kNanosecondsPerMillisecond);

// A thread's attempt to get the latch.
class Contender : Waiter {
 public:
  using Waiter::Waiter;

  Rc run() {
    for (int i = 0; i < kSpins; ++i) {
      if (Rc rc = look(); failed(rc)) return rc;
      if (seen_ == kFree && take(words_, seen_, self_)) return Rc::Ok;
      sntr::pauseBriefly();
    }
    return sleepUntilTaken(deadline());
  }

 private:
  // Sets the waiters bit, so that the owner's release wakes this thread. Returns false if the word has changed.
  // Relaxed: the bit carries nothing else, and the kernel compares the word again before the sleep.
  bool announce() {
    if ((seen_ & kWaiters) != 0) return true;
    const std::uint64_t announced = seen_ | kWaiters;
    if (!owner(words_).compare_exchange_strong(seen_, announced, std::memory_order_relaxed)) return false;
    seen_ = announced;
    return true;
  }

  // Sleeps until `end`, but for at most a slice. The reason for waking does not matter (woken, out of time,
  // interrupted, changed word): the caller reads the latch again.
  void sleep(std::uint64_t now, std::uint64_t end) {
    const timespec slice = shortTime(std::min(end - now, kSlice));
    const auto low = static_cast<std::uint32_t>(seen_);
    syscall(SYS_futex, &words_.owner, FUTEX_WAIT | sleepersOf(words_), low, &slice, nullptr, 0);
  }

  // Tests the owner after every slice and before the time, so that even the shortest limit detects a dead owner.
  Rc sleepUntilTaken(std::uint64_t end) {
    std::uint64_t waitersBit = 0;  // set after a sleep: others may be sleeping too
    for (std::uint64_t now = monotonicNow(); now < end; now = monotonicNow()) {
      if (Rc rc = look(); failed(rc)) return rc;
      if (seen_ == kFree) {
        if (take(words_, seen_, self_ | waitersBit)) return Rc::Ok;
      } else if (announce()) {
        sleep(now, end);
        waitersBit = kWaiters;
        if (ownerHasDied() && take(words_, seen_, self_ | kWaiters)) return Rc::Ok;
      }
    }
    return Rc::OssLatchTimeout;
  }
};

// A thread's wait until the latch is free. It sleeps by the clock, not on the owner word. A release wakes one sleeper,
// and a stopped onlooker would use up the wake of a thread that wants the latch.
class Onlooker : Waiter {
 public:
  using Waiter::Waiter;

  // Each sleep is twice as long as the one before, up to a slice: a wait takes at most about twice the necessary time.
  // It reads the latch many times before each sleep, because a writer may leave and return all the time. It makes the
  // system call itself: the C library's function is a cancellation point.
  Rc run(std::uint64_t end) {
    std::uint64_t longest = kFirstSleep;
    for (std::uint64_t now = monotonicNow(); now < end; now = monotonicNow()) {
      for (int i = 0; i < kSpins; ++i, sntr::pauseBriefly()) {
        if (Rc rc = look(); failed(rc)) return rc;
        if (seen_ == kFree) return Rc::Ok;
      }
      const timespec time = shortTime(std::min(end - now, longest));
      syscall(SYS_nanosleep, &time, nullptr);
      if (ownerHasDied()) return Rc::OssLatchOwnerDead;
      longest = std::min(2 * longest, kSlice);
    }
    return Rc::OssLatchTimeout;
  }

 private:
  static constexpr std::uint64_t kFirstSleep = kNanosecondsPerMillisecond / 20;
};

// Out of line, so that calls without contention stay short.
[[gnu::noinline]] Rc contend(LatchWords &words, std::uint64_t self) { return Contender(words, self).run(); }

Rc get(LatchWords &words, std::uint64_t self) {
  std::uint64_t seen = kFree;
  if (isLatch(validity(words)) && take(words, seen, self)) [[likely]]
    return Rc::Ok;
  return contend(words, self);
}

// Releases a latch whose owner word is not exactly the caller's.
[[gnu::noinline]] Rc releaseSeen(LatchWords &words, std::uint64_t self, std::uint64_t seen) {
  if (!isPlausible(seen)) return Rc::OssLatchDamaged;
  if (seen != (self | kWaiters)) return Rc::OssLatchNotHeld;
  const int operation = FUTEX_WAKE | sleepersOf(words);
  // With the bit set, only the holder has a reason to change the word.
  if (!leave(words, seen)) return Rc::OssLatchDamaged;
  // Read nothing after the release: the next holder may have freed the memory. The wake uses only the address; it is
  // harmless if that is unmapped or reused.
  syscall(SYS_futex, &words.owner, operation, 1, nullptr, nullptr, 0);
  return Rc::Ok;
}

Rc release(LatchWords &words, std::uint64_t self) {
  if (!isLatch(validity(words))) [[unlikely]]
    return Rc::OssLatchDamaged;
  std::uint64_t seen = self;
  if (leave(words, seen)) [[likely]]
    return Rc::Ok;
  return releaseSeen(words, self, seen);
}

}  // namespace

}  // namespace oss

using oss::code;
using oss::countHeld;
using oss::Rc;

uint32_t ossVLatchInit(ossVLatch *latch, uint32_t processShared) {
  if (oss::injected(OSSFaultLatchInit)) [[unlikely]]
    return code(Rc::OssInjected);
  if (latch == nullptr) return code(Rc::OssBadArgument);
  std::memset(latch->storage, 0, sizeof latch->storage);
  // Release: pairs with the acquire in validity(). The word turns the zeroes after it into a latch.
  std::atomic_ref<std::uint64_t>(oss::wordsOf(*latch).validity)
      .store(processShared != 0 ? oss::kValidShared : oss::kValidPrivate, std::memory_order_release);
  return code(Rc::Ok);
}

uint32_t ossVLatchGet(ossVLatch *latch) {
  if (oss::injected(OSSFaultLatchGet)) [[unlikely]]
    return code(Rc::OssInjected);
  if (latch == nullptr) [[unlikely]]
    return code(Rc::OssBadArgument);
  const Rc rc = oss::get(oss::wordsOf(*latch), oss::ownWord());
  if (!oss::failed(rc)) [[likely]]
    countHeld(OSSFaultHeldLatches, 1);
  return code(rc);
}

uint32_t ossVLatchRelease(ossVLatch *latch) {
  const bool madeToFail = oss::injected(OSSFaultLatchRelease);
  if (latch == nullptr) [[unlikely]]
    return code(Rc::OssBadArgument);
  const Rc rc = oss::release(oss::wordsOf(*latch), oss::ownWord());
  if (!oss::failed(rc)) [[likely]]
    countHeld(OSSFaultHeldLatches, -1);
  return code(oss::reported(rc, madeToFail));
}

uint32_t ossVLatchAwait(ossVLatch *latch, uint64_t *deadline) {
  if (oss::injected(OSSFaultLatchGet)) [[unlikely]]
    return code(Rc::OssInjected);
  if (latch == nullptr || deadline == nullptr) return code(Rc::OssBadArgument);
  if (*deadline == 0) *deadline = oss::deadline();
  return code(oss::Onlooker(oss::wordsOf(*latch), oss::ownWord()).run(*deadline));
}

uint32_t ossVLatchTestHeld(ossVLatch *latch) {
  if (latch == nullptr) return code(Rc::OssBadArgument);
  oss::LatchWords &words = oss::wordsOf(*latch);
  // Relaxed: only this thread's own stores can make the word its own.
  const std::uint64_t seen = oss::owner(words).load(std::memory_order_relaxed);
  return code(oss::ownerOf(seen) == oss::ownWord() ? Rc::Ok : Rc::OssLatchNotHeld);
}

uint32_t ossVLatchSetWaitLimit(uint64_t milliseconds) {
  if (milliseconds == 0) return code(Rc::OssBadArgument);
  oss::gWaitLimit.store(milliseconds, std::memory_order_relaxed);
  return code(Rc::Ok);
}
