/* SPDX-License-Identifier: MIT */
/** @file
 * The inlined fast ways of the calls that a library makes on its hottest paths.
 *
 * Each does the whole work of one call of the layer if nothing is in the way: the latch is free. Otherwise it does
 * nothing and returns that, and the caller makes the call, the full way, which handles every case. In a layer built to
 * fail on demand they never change anything. So each call is made there and can be made to fail.
 *
 * Thread safety: any thread of any process. Latches and cells are described in oss/latch.h and oss/atomic.h. C++ only.
 */
#ifndef OSS_FAST_PATHS_H
#define OSS_FAST_PATHS_H

#include <oss/atomic.h>
#include <oss/export.h>
#include <oss/latch.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {

/** @{ */
/** Private. Words of a latch: the two values of a valid latch's `validity`, and the bit of `owner` for threads that
 * wait. */
#define OSS_LATCH_VALID_SHARED UINT64_C(0x6c7a4e19d35b8f02)
#define OSS_LATCH_VALID_PRIVATE UINT64_C(0x6c7a4e19d35b8f03)
#define OSS_LATCH_WAITERS (UINT64_C(1) << 31)
/** @} */

/** Private. The content of a latch: two words, at the first multiple of 8 in its bytes. */
struct OSSLatchWords {
  uint64_t validity; /**< `OSS_LATCH_VALID_*` once initialized */
  uint64_t owner;    /**< 0, or the word of the thread that holds the latch, with OSS_LATCH_WAITERS */
};

/** Private. The calling thread's identity in a latch: `word`, valid only while `epoch` is the process's. A forked child
 * has another epoch than its parent. */
struct OSSThreadIdentity {
  uint64_t epoch;                 /**< of the process that made the word */
  uint64_t word;                  /**< what the thread stores in a latch that it holds */
  const uint64_t *epochOfProcess; /**< the process's own */
};

/** Private. The calling thread's own. Initial-exec, so that reaching it takes no call. */
OSS_API extern __thread OSSThreadIdentity ossIdentity __attribute__((tls_model("initial-exec")));

/** Private. Non-zero if a library may change cells in line; 0 in a layer built to fail on demand. Never changes. */
OSS_API extern const uint32_t ossCellsAreOpen;

/** Returns the words of a latch. */
static inline OSSLatchWords *ossLatchWordsOf(ossVLatch *latch) {
  return reinterpret_cast<OSSLatchWords *>((reinterpret_cast<uintptr_t>(latch->storage) + 7) & ~uintptr_t{7});
}

/** Takes a latch that is shared and free. Returns true, and in `self` the owner word with which it is held now; or
 * false: the latch was not changed. Success also means that the layer's cells are open. */
static inline bool ossLatchTryTake(OSSLatchWords *words, uint64_t *self) {
  /* Acquire: pairs with the release in ossVLatchInit(). */
  const uint64_t validity = __atomic_load_n(&words->validity, __ATOMIC_ACQUIRE);
  uint64_t free = 0;
  if (validity != OSS_LATCH_VALID_SHARED) return false;
  *self = ossIdentity.word;
  /* Relaxed: this thread, or the one that forked, has itself seen the epoch that it kept. */
  if (__atomic_load_n(ossIdentity.epochOfProcess, __ATOMIC_RELAXED) != ossIdentity.epoch) return false;
  /* Acquire: pairs with the release by which the last holder released the latch. */
  return __atomic_compare_exchange_n(&words->owner, &free, *self, 0, __ATOMIC_ACQUIRE, __ATOMIC_RELAXED);
}

/** Releases a latch that is held with this owner word and that nobody waits for. Returns true, or false: nothing was
 * changed. */
static inline bool ossLatchTryLeave(OSSLatchWords *words, uint64_t self) {
  /* Release: pairs with the acquire by which the next holder takes it. */
  return __atomic_compare_exchange_n(&words->owner, &self, UINT64_C(0), 0, __ATOMIC_RELEASE, __ATOMIC_RELAXED);
}

/** @{ */
/** The same two on the latch itself. The first returns the owner word, or 0, with which the second does nothing. */
static inline uint64_t ossVLatchTryGet(ossVLatch *latch) {
  uint64_t self = 0;
  return ossLatchTryTake(ossLatchWordsOf(latch), &self) ? self : 0;
}

static inline bool ossVLatchTryRelease(ossVLatch *latch, uint64_t self) {
  return self != 0 && ossLatchTryLeave(ossLatchWordsOf(latch), self);
}
/** @} */

/** Returns whether nobody holds a latch. Acquire: as for the next holder. */
static inline bool ossLatchIsFree(const OSSLatchWords *words) {
  return __atomic_load_n(&words->owner, __ATOMIC_ACQUIRE) == 0;
}

/** Returns false if the calling thread does not hold a latch; true if it does or may: ossVLatchTestHeld() decides. */
static inline bool ossLatchMayBeOwn(const OSSLatchWords *words) {
  /* Relaxed: what this thread stored itself it reads in order. */
  const uint64_t owner = __atomic_load_n(&words->owner, __ATOMIC_RELAXED);
  const uint64_t self = ossIdentity.word;
  return owner != 0 && (self == 0 || (owner & ~OSS_LATCH_WAITERS) == self);
}

} /* extern "C" */
#endif

#endif
