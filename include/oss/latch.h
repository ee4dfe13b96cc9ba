/* SPDX-License-Identifier: MIT */
/** @file
 * Latches: exclusive locks that live in shared memory and outlive their holders.
 *
 * An ossVLatch is 64 bytes without a pointer in them, so it works at any address, and in each process at another one.
 * It may begin at any byte; the latch aligns itself to 8 inside its 64 bytes. There is one condition: processes that
 * share a latch must map its memory at addresses that are equal modulo 8, as any two mappings of pages are.
 *
 * Invariants:
 * 1. One thread holds a latch at a time, and the latch records which. Taking a latch that the calling thread holds
 *    already, and releasing one that it does not hold, fail and change nothing.
 * 2. A forked child is not its parent: it holds none of the parent's latches. A program that replaces itself with
 *    exec() goes on as the process's first thread, whichever thread called it. It keeps what that one held, although it
 *    no longer has a record of it. What any other thread held, the caller of exec() included, passes on as from a dead
 *    owner.
 * 3. A latch whose owner has died passes to the next thread that wants it, as success. That thread must find what the
 *    dead owner left half done, in the structure that the latch guards. The owner is dead if there is no such thread
 *    any more, or if it is a zombie. It is also dead if its number belongs to a thread that started at another time.
 *    Waiters look at least every 8 ms. While the system hides the owner (no /proc, another user's hidden processes) it
 *    counts as alive as long as its number is in use.
 * 4. Every wait ends: with SNTR_RC_OSS_LATCH_TIMEOUT after 30 s, or after the limit that the process has set. A stopped
 *    owner is alive.
 * 5. Damage is a result code: words that no latch can hold make every call fail. Words that happen to name a thread
 *    count as held by it: the wait for a dead one is short, for a living one it ends at the limit.
 *
 * There is no order of arrival: a thread that comes as the latch is released may take it before one that sleeps.
 *
 * Processes of different PID namespaces, or time namespaces, must not share a latch. Numbers and start times do not
 * carry from one to the other, and a living owner would look dead.
 *
 * Thread safety: calls may be made from any thread, from a forked child of a process with several threads, and from a
 * signal handler. A handler that interrupts the holder gets SNTR_RC_OSS_LATCH_HELD. Taking a latch acquires, and
 * releasing it releases, what it guards: the next holder sees everything that the last one wrote.
 */
#ifndef OSS_LATCH_H
#define OSS_LATCH_H

#include <oss/export.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Shared. To be touched by the calls below alone. */
typedef struct ossVLatch {
  unsigned char storage[64]; /**< see OSSLatchWords */
} ossVLatch;

/** Makes a free latch of 64 bytes, whatever they held: nobody may be using them.
 * - `latch`: the bytes
 * - `processShared`: 0: only threads of this process will use it; anything else: several processes will
 *
 * Returns 0, or SNTR_RC_OSS_BAD_ARGUMENT: `latch` is null. */
OSS_API uint32_t ossVLatchInit(ossVLatch *latch, uint32_t processShared);

/** Takes a latch, waiting for it if another living thread holds it.
 *
 * Returns 0: the calling thread holds it now. Otherwise nothing is held that was not held before:
 * - SNTR_RC_OSS_BAD_ARGUMENT: `latch` is null
 * - SNTR_RC_OSS_LATCH_DAMAGED: the bytes were never initialized, or hold what no latch can hold
 * - SNTR_RC_OSS_LATCH_HELD: the calling thread holds it already
 * - SNTR_RC_OSS_LATCH_TIMEOUT: living threads kept it for longer than the wait limit */
OSS_API uint32_t ossVLatchGet(ossVLatch *latch);

/** Releases a latch and wakes one waiter, if any.
 *
 * Returns 0: the calling thread no longer holds it. Otherwise nothing was changed:
 * - SNTR_RC_OSS_BAD_ARGUMENT: `latch` is null
 * - SNTR_RC_OSS_LATCH_DAMAGED: the bytes hold what no latch can hold
 * - SNTR_RC_OSS_LATCH_NOT_HELD: the calling thread does not hold it */
OSS_API uint32_t ossVLatchRelease(ossVLatch *latch);

/** Waits, asleep, until a latch is free, without taking it: for a reader that needs no latch but has to wait until a
 * writer is done. It stores nothing, and no release wakes it: it looks after 50 microseconds, and then at intervals
 * that double, up to 8 milliseconds. So a thread that is stopped here keeps nobody from the latch.
 * - `latch`: the latch
 * - `deadline`: in and out: 0 begins a wait with the process's limit; the value that it leaves continues that wait, so
 *   that several calls share one limit
 *
 * Returns 0: the latch was free at some moment of the call. Otherwise:
 * - SNTR_RC_OSS_BAD_ARGUMENT: `latch` or `deadline` is null
 * - SNTR_RC_OSS_LATCH_DAMAGED: the bytes were never initialized, or hold what no latch can hold
 * - SNTR_RC_OSS_LATCH_HELD: the calling thread holds it
 * - SNTR_RC_OSS_LATCH_OWNER_DEAD: its owner has died; ossVLatchGet() takes it over
 * - SNTR_RC_OSS_LATCH_TIMEOUT: living threads kept it for longer than the limit */
OSS_API uint32_t ossVLatchAwait(ossVLatch *latch, uint64_t *deadline);

/** Checks whether the calling thread holds a latch. Changes nothing.
 *
 * Returns 0: it does. Otherwise:
 * - SNTR_RC_OSS_BAD_ARGUMENT: `latch` is null
 * - SNTR_RC_OSS_LATCH_NOT_HELD: it does not */
OSS_API uint32_t ossVLatchTestHeld(ossVLatch *latch);

/** Sets how long this process waits for a latch before it gives up. Waits that have begun keep their limit. A forked
 * child inherits the limit.
 * - `milliseconds`: 1 and up; 30000 until the first call
 *
 * Returns 0, or SNTR_RC_OSS_BAD_ARGUMENT: 0 milliseconds, and the limit stays as it was. */
OSS_API uint32_t ossVLatchSetWaitLimit(uint64_t milliseconds);

/** Waits for a one-byte latch of this process: 0 is free, 1 is held. For a caller whose own atomic exchange of the byte
 * with 1 returned non-zero. It returns when its own exchange returned 0, so the caller holds the byte. Store 0 to
 * release it.
 *
 * Such a byte has no owner: there is no limit, and a second get by the holder waits for ever. A process that forks
 * while another thread holds it leaves it held in the child. It is for the few instructions of a start or an end.
 * - `latch`: the byte, at any address in this process's private memory
 *
 * Returns 0, or SNTR_RC_OSS_BAD_ARGUMENT: `latch` is null. */
OSS_API uint32_t ossLockGetConflict(volatile uint8_t *latch);

#ifdef __cplusplus
}
#endif

#endif
