/* A signed 32-bit integer in shared memory, changed by one indivisible instruction.
 *
 * 128 bytes are kept for it and the number stands in the first four, little-endian; the calls leave the other bytes
 * alone. It may stand at any byte, but keep it 4-aligned wherever a format leaves the choice:
 *   - If the four bytes cross a line of the processor's cache, increment(), add() and swap() are split locks. One takes
 *     a hundred times as long as another call, and about 10 ms on recent kernels, which slow such programs down
 *     (split_lock_detect). A kernel can be set to end them.
 *   - The status-node library stores a register that crosses a line plainly, under its node's latch. A program that
 *     keeps such a register's address and reads it without the latch may see it torn, half of it old and half new.
 *   - On a processor other than x86-64 a call on a cell that is not 4-aligned is not indivisible. There only the holder
 *     of a latch may make one, and a reader without the latch may see the number torn.
 *
 * Any thread of any process may call at any moment, that last case aside. Each call but init() both acquires and
 * releases: what a thread wrote before its call is seen by a thread whose later call meets the result. The members are
 * C++ only; a C program sees the bytes.
 */
#ifndef OSS_ATOMIC_H
#define OSS_ATOMIC_H

#include <oss/export.h>
#include <stdint.h>

/* Shared. */
typedef struct OSSVAtomicSigned32 {
  unsigned char storage[128];

#ifdef __cplusplus
  /* Stores a first value; nobody may be using the cell. `shared` non-zero tells that several processes will use it; the
   * cell is the same either way. Answers 0. */
  OSS_API uint32_t init(int value, int shared) noexcept;

  /* Adds 1. Beyond the largest value it goes on with the smallest. `previous`, which may be null, receives the value
   * before. Answers 0. */
  OSS_API uint32_t increment(int *previous) noexcept;

  /* Adds `amount`, wrapping like increment(); 0 reads. `previous`, which may be null, receives the value before.
   * Answers 0. */
  OSS_API uint32_t add(int amount, int *previous) noexcept;

  /* Stores `value`. `previous`, which may be null, receives the value before. Answers 0. */
  OSS_API uint32_t swap(int value, int *previous) noexcept;
#endif
} OSSVAtomicSigned32;

#endif
