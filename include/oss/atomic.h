/* SPDX-License-Identifier: MIT */
/** @file
 * A signed 32-bit integer in shared memory, changed by one indivisible instruction.
 *
 * The cell has 128 bytes. The number is in the first four, little-endian; the calls leave the other bytes alone. A cell
 * may begin at any byte, but keep it 4-aligned wherever a format leaves the choice:
 * - If the four bytes cross a line of the processor's cache, increment(), add() and swap() are split locks. One takes a
 *   hundred times as long as another call, and about 10 ms on recent kernels, which slow such programs down
 *   (split_lock_detect). A kernel can be set to end them.
 * - The status-node library stores a register that crosses a line plainly, under its node's latch. A program that keeps
 *   such a register's address and reads it without the latch may see it torn: half of it old, half new.
 * - On a processor other than x86-64 a call on a cell that is not 4-aligned is not indivisible. There only the holder
 *   of a latch may make one, and a reader without the latch may see the number torn.
 *
 * Thread safety: any thread of any process may call at any moment, that last case aside. Each call but init() both
 * acquires and releases. What a thread wrote before its call is visible to a thread whose later call sees the result.
 *
 * The members are C++ only; a C program sees the bytes.
 */
#ifndef OSS_ATOMIC_H
#define OSS_ATOMIC_H

#include <oss/export.h>
#include <stdint.h>

/** Shared. The cell. Every member returns 0; `previous`, which may be null, receives the value before the call. */
typedef struct OSSVAtomicSigned32 {
  unsigned char storage[128]; /**< the number in the first four bytes */

#ifdef __cplusplus
  /** Stores a first value; nobody may be using the cell. `shared` non-zero: several processes will use it; the cell is
   * the same either way. Returns 0. */
  OSS_API uint32_t init(int value, int shared) noexcept;

  /** Adds 1, wrapping from the largest value to the smallest. Returns 0. */
  OSS_API uint32_t increment(int *previous) noexcept;

  /** Adds `amount`, wrapping like increment(); 0 reads. Returns 0. */
  OSS_API uint32_t add(int amount, int *previous) noexcept;

  /** Stores `value`. Returns 0. */
  OSS_API uint32_t swap(int value, int *previous) noexcept;
#endif
} OSSVAtomicSigned32;

#endif
