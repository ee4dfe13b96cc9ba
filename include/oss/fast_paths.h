/* The short halves of the calls that a library makes on its hottest paths, to be compiled into that library.
 *
 * Each does the whole work of one call of the layer when nothing is in the way: the latch is free, the cell is aligned.
 * Otherwise it does nothing and says so, and the caller makes the call, which knows every case. A layer built to fail on
 * demand never lets them do anything, so that there each call is made and can be made to fail.
 *
 *   if (!ossAtomicTryRead(cell, &value)) rc = cell->add(0, &value);
 *
 * Any thread of any process. What a latch and a cell are is in oss/latch.h and oss/atomic.h. C++ only.
 */
#ifndef OSS_FAST_PATHS_H
#define OSS_FAST_PATHS_H

#include <oss/atomic.h>
#include <oss/export.h>
#include <oss/latch.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {

/* Private. What a latch consists of: two words, at the first multiple of 8 in its bytes. */
#define OSS_LATCH_VALID_SHARED UINT64_C(0x6c7a4e19d35b8f02)
#define OSS_LATCH_VALID_PRIVATE UINT64_C(0x6c7a4e19d35b8f03)

struct OSSLatchWords {
  uint64_t validity;
  uint64_t owner;
};

/* Private. Who the calling thread is to a latch: `word`, good only while `epoch` is the process's. A forked child has
 * another epoch than its parent. */
struct OSSThreadIdentity {
  uint64_t epoch;
  uint64_t word;
  const uint64_t *epochOfProcess;
};

/* Private. Initial-exec, so that reaching it takes no call. */
OSS_API extern __thread OSSThreadIdentity ossIdentity __attribute__((tls_model("initial-exec")));

/* Private. Whether the functions below may touch cells at all. Never changes. */
OSS_API extern const uint32_t ossCellsAreOpen;

static inline OSSLatchWords *ossLatchWordsOf(ossVLatch *latch) {
  return reinterpret_cast<OSSLatchWords *>((reinterpret_cast<uintptr_t>(latch->storage) + 7) & ~uintptr_t{7});
}

/* Gets a latch that is shared and free. Answers true, and in `self` the owner word with which it is held now; or false:
 * the latch was not changed. Whoever gets one has met a layer whose cells are open, too. */
static inline bool ossLatchTryTake(OSSLatchWords *words, uint64_t *self) {
  /* Acquire: pairs with the release in ossVLatchInit(). */
  const uint64_t validity = __atomic_load_n(&words->validity, __ATOMIC_ACQUIRE);
  uint64_t free = 0;
  if (validity != OSS_LATCH_VALID_SHARED) return false;
  *self = ossIdentity.word;
  /* Relaxed: this thread, or the one that forked, has itself met the epoch that it kept. */
  if (__atomic_load_n(ossIdentity.epochOfProcess, __ATOMIC_RELAXED) != ossIdentity.epoch) return false;
  /* Acquire: pairs with the release by which the last holder gave the latch back. */
  return __atomic_compare_exchange_n(&words->owner, &free, *self, 0, __ATOMIC_ACQUIRE, __ATOMIC_RELAXED);
}

/* Gives back a latch that is held with this owner word and that nobody waits for. Answers true, or false: nothing was
 * changed. */
static inline bool ossLatchTryLeave(OSSLatchWords *words, uint64_t self) {
  /* Release: pairs with the acquire by which the next holder gets it. */
  return __atomic_compare_exchange_n(&words->owner, &self, UINT64_C(0), 0, __ATOMIC_RELEASE, __ATOMIC_RELAXED);
}

/* The same two on the latch itself. The first answers the owner word, or 0, with which the second does nothing. */
static inline uint64_t ossVLatchTryGet(ossVLatch *latch) {
  uint64_t self = 0;
  return ossLatchTryTake(ossLatchWordsOf(latch), &self) ? self : 0;
}

static inline bool ossVLatchTryRelease(ossVLatch *latch, uint64_t self) {
  return self != 0 && ossLatchTryLeave(ossLatchWordsOf(latch), self);
}

/* The number of a cell as an aligned word, or null. */
typedef int32_t __attribute__((may_alias)) OSSOpenCell;

static inline OSSOpenCell *ossOpen(OSSVAtomicSigned32 *cell) {
  if (ossCellsAreOpen == 0) return nullptr;
  unsigned char *bytes = cell->storage;
  return reinterpret_cast<uintptr_t>(bytes) % sizeof(int32_t) == 0 ? reinterpret_cast<OSSOpenCell *>(bytes) : nullptr;
}

/* The same where both are known: that cells are open, and that this one is aligned. */
static inline OSSOpenCell *ossOpenAligned(OSSVAtomicSigned32 *cell) {
  return reinterpret_cast<OSSOpenCell *>(cell->storage);
}

/* As add() of 0, which reads. Acquire: who reads a number sees what was written before it was stored. Answers true, or
 * false: nothing was read. */
static inline bool ossAtomicTryRead(OSSVAtomicSigned32 *cell, int32_t *value) {
  const OSSOpenCell *word = ossOpen(cell);
  if (word == nullptr) return false;
  *value = __atomic_load_n(word, __ATOMIC_ACQUIRE);
  return true;
}

/* As swap() where nobody wants the number before. Release: pairs with the acquire of whoever reads the number. Other
 * than swap() it does not keep what the caller reads next behind the store. Answers true, or false: nothing was stored. */
static inline bool ossAtomicTryWrite(OSSVAtomicSigned32 *cell, int32_t value) {
  OSSOpenCell *word = ossOpen(cell);
  if (word == nullptr) return false;
  __atomic_store_n(word, value, __ATOMIC_RELEASE);
  return true;
}

/* As increment(), in a cell that only the holder of a latch changes, by the holder. Others may read it meanwhile; they
 * see the number before or after. Answers true, or false: nothing was counted. */
static inline bool ossAtomicTryCount(OSSVAtomicSigned32 *cell) {
  OSSOpenCell *word = ossOpen(cell);
  if (word == nullptr) return false;
  /* Relaxed: the last holder's store came before the latch. Unsigned, because the count wraps. */
  const uint32_t count = static_cast<uint32_t>(__atomic_load_n(word, __ATOMIC_RELAXED));
  __atomic_store_n(word, static_cast<int32_t>(count + 1), __ATOMIC_RELEASE);
  return true;
}

} /* extern "C" */
#endif

#endif
