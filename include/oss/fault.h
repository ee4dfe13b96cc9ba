/* SPDX-License-Identifier: MIT */
/** @file
 * Fault injection: makes services fail on demand. Only the build of the services layer for tests has these calls.
 *
 * A call that takes something (init, get, allocate, create, attach, increment ...) and is made to fail does nothing. A
 * call that returns something (release, free, detach, destroy) and is made to fail does its work and reports failure.
 * So a caller that ignores the report leaks nothing, and one that repeats the call is found out. Either way the report
 * is SNTR_RC_OSS_INJECTED, or null from the allocator.
 *
 * Thread safety: any thread may call; which of two concurrent calls is the n-th is then open. Counts and settings
 * belong to the process; a forked child starts with a copy.
 */
#ifndef OSS_FAULT_H
#define OSS_FAULT_H

#include <oss/export.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** The calls that can be made to fail. */
typedef enum OSSFaultKind {
  OSSFaultMemoryAlloc = 0,
  OSSFaultMemoryFree,
  OSSFaultLatchInit,
  OSSFaultLatchGet,
  OSSFaultLatchRelease,
  OSSFaultAtomicInit,
  OSSFaultAtomicIncrement,
  OSSFaultAtomicAdd,
  OSSFaultAtomicSwap,
  OSSFaultSegmentCreate,
  OSSFaultSegmentAttach,
  OSSFaultSegmentGetAddress,
  OSSFaultSegmentGetInfo,
  OSSFaultSegmentAuthorize,
  OSSFaultSegmentDetach,
  OSSFaultSegmentDestroy, /**< destroy() and removeName() */
  OSSFaultKindCount       /**< the number of kinds; not a kind */
} OSSFaultKind;

/** What a process has taken and not yet returned. */
typedef enum OSSFaultHolding {
  OSSFaultHeldBlocks = 0, /**< pieces of memory from _ossMemAlloc() */
  OSSFaultHeldLatches,    /**< latches held, by all threads */
  OSSFaultHeldSegments,   /**< objects attached */
  OSSFaultHoldingCount    /**< the number of them; not one of them */
} OSSFaultHolding;

/** @{ */
/** Makes the nth call from now fail, once; 1 is the next. Replaces what was armed; 0 disarms it. ossFaultArm() counts
 * the calls of one kind, ossFaultArmAny() those of all kinds together. Both may be armed at once. */
OSS_API void ossFaultArm(OSSFaultKind kind, uint64_t nth);
OSS_API void ossFaultArmAny(uint64_t nth);
/** @} */

/** Disarms everything. */
OSS_API void ossFaultDisarm(void);

/** @{ */
/** Returns a number of calls that the process has made: of one kind, of all kinds, and those that were made to fail. */
OSS_API uint64_t ossFaultCalls(OSSFaultKind kind);
OSS_API uint64_t ossFaultCallsOfAll(void);
OSS_API uint64_t ossFaultInjected(void);
/** @} */

/** Returns how many the process holds now. */
OSS_API int64_t ossFaultHeld(OSSFaultHolding holding);

/** @{ */
/** Stops ossTimeGetUTC() at a time, in milliseconds since 1970 (set), or lets it run again (clear). */
OSS_API void ossFaultSetClock(uint64_t milliseconds);
OSS_API void ossFaultClearClock(void);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
