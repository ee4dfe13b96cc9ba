/* Making services fail on demand. Only the build of the services layer for tests has these calls.
 *
 * A call that takes something (init, get, allocate, create, attach, increment ...) and is made to fail does nothing. A
 * call that gives something back (release, free, detach, destroy) and is made to fail does its work and reports
 * failure: so a caller that ignores the report leaks nothing, and one that repeats the call is found out. Either way
 * the report is SNTR_RC_OSS_INJECTED, or null from the allocator.
 *
 * Counts and settings belong to the process; a forked child starts with a copy. Any thread may call, and which of two
 * concurrent calls is the n-th is then open.
 */
#ifndef OSS_FAULT_H
#define OSS_FAULT_H

#include <oss/export.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The calls that can be made to fail. */
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
  OSSFaultSegmentDestroy, /* destroy() and removeName() */
  OSSFaultKindCount       /* how many kinds there are; not a kind */
} OSSFaultKind;

/* What a process has taken and not yet given back. */
typedef enum OSSFaultHolding {
  OSSFaultHeldBlocks = 0, /* pieces of memory from _ossMemAlloc() */
  OSSFaultHeldLatches,    /* latches got, by all threads */
  OSSFaultHeldSegments,   /* objects attached */
  OSSFaultHoldingCount    /* how many there are; not one of them */
} OSSFaultHolding;

/* Makes the nth call of a kind from now fail, once; 1 is the next. Replaces what was armed for the kind; 0 disarms it.
 */
OSS_API void ossFaultArm(OSSFaultKind kind, uint64_t nth);

/* The same over the calls of all kinds together. Both may be armed at once. */
OSS_API void ossFaultArmAny(uint64_t nth);

/* Disarms everything. */
OSS_API void ossFaultDisarm(void);

/* How many calls of a kind, and of all kinds, the process has made; how many of them were made to fail. */
OSS_API uint64_t ossFaultCalls(OSSFaultKind kind);
OSS_API uint64_t ossFaultCallsOfAll(void);
OSS_API uint64_t ossFaultInjected(void);

/* How many the process holds now. */
OSS_API int64_t ossFaultHeld(OSSFaultHolding holding);

/* Stops ossTimeGetUTC() at a time, in milliseconds since 1970; and lets it run again. */
OSS_API void ossFaultSetClock(uint64_t milliseconds);
OSS_API void ossFaultClearClock(void);

#ifdef __cplusplus
}
#endif

#endif
