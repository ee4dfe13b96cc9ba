/* SPDX-License-Identifier: MIT */
/** @file
 * The trace: every call of the library as lines of a file, while it is switched on. Also renders codes and function
 * numbers as readable text.
 *
 * A line is the time (UTC, milliseconds), the process and thread, the function's name, and what happened:
 *
 *     2031-07-04T16:20:11.042Z 4711/4712 sntrCreateNode entry 0 1000000
 *     2031-07-04T16:20:11.042Z 4711/4712 sntrCreateNode error at probe 20: NullAreaSizes 0x...
 *     2031-07-04T16:20:11.042Z 4711/4712 sntrCreateNode exit NullAreaSizes 0x...
 *
 * The library does not trace the arguments of a call: the two numbers of an entry are the same in every line.
 *
 * A segment that cannot be created or attached, and memory that is refused, have lines of their own. They come before
 * the failure of the call that needed them, and say what the call's result code leaves out:
 *
 *     2031-07-04T16:20:11.042Z 4711/4712 segment: attach /dev/shm/qx7osse...: OssNotFound 0x..., no segment has ...
 *
 * There, a missing segment is OssNotFound and ENOENT, a lacking permission OssNoPermission and EACCES. An empty file,
 * as a segment is while it is being created, is OssNotASegment and "too short: empty".
 *
 * Each line is one write() to the end of the file, so that several processes may trace to the same one. No lock is held
 * meanwhile. A thread that traces may hold latches that others wait for; a line that the file cannot take at once is
 * lost rather than waited for.
 *
 * Thread safety: any thread, any moment, a signal handler and a forked child included.
 */
#ifndef OSS_TRACE_H
#define OSS_TRACE_H

#include <oss/export.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Private. Published so that a caller can test, without a call, whether it need trace at all. */
typedef struct OSSTraceControlBlock {
  uint32_t reserved[3]; /**< not used */
  uint32_t enabled;     /**< non-zero while the trace is on; changed by other threads, see ossTraceIsOn() */
} OSSTraceControlBlock;

/** The control block of the process. Never changes; a caller tests it for null all the same. */
OSS_API extern OSSTraceControlBlock *g_pGTCB;

/** Returns whether the trace is on: the test to make before a trace call. A thread may see a switch late; a trace call
 * made while the trace is off does nothing. */
static inline int ossTraceIsOn(void) {
  /* Relaxed: pairs with the stores of ossTraceOn() and ossTraceOff(), of which nothing but this word is read here. */
  return g_pGTCB != 0 && __atomic_load_n(&g_pGTCB->enabled, __ATOMIC_RELAXED) != 0;
}

/** Traces the entry into a function. `first` and `second` are the caller's; they are shown as they are. */
OSS_API void _gtraceEntry(uint32_t thread, uint32_t function, uint64_t first, uint64_t second);

/** Traces a failure in a function. `probe` is the place, `value` the code or another value, shown by name if it has
 * one. */
OSS_API void _gtraceErrorVar(uint32_t thread, uint32_t function, uint32_t probe, uint32_t value);

/** Traces the exit from a function. `result` points to its result code; null: it has none. `last` is shown unless it is
 * 0. */
OSS_API void _gtraceExit(uint32_t thread, uint32_t function, const uint32_t *result, uint64_t last);

/** Switches the trace on, to the end of a file, which is created (mode 0644, less the umask) if there is none. If it is
 * on already the file is changed, and each line of another thread goes whole to the one file or the other. A forked
 * child goes on tracing to the same file; a program started with exec() does not.
 *
 * The first call takes a descriptor for as long as the process lives. A program that closes all its descriptors, as a
 * daemon does, switches the trace on after that. Threads that switch at the same moment do no harm, but which of them
 * prevails is open; the trace can then be on while its file is closed, until it is switched again.
 * - `path`: a regular file or a character device (a terminal, /dev/null). Pipes and sockets are refused: their
 *   reader's end would end the program
 *
 * Returns 0. Otherwise the trace is as it was before:
 * - SNTR_RC_OSS_BAD_ARGUMENT: `path` is null, empty, or leads to something else than the above
 * - SNTR_RC_OSS_NO_PERMISSION: the file may not be written or created
 * - SNTR_RC_OSS_SYSTEM: it could not be opened for another reason */
OSS_API uint32_t ossTraceOn(const char *path);

/** Switches the trace off and closes the file. A line that another thread is writing meanwhile is written whole, maybe
 * after this has returned, or not at all. Returns 0, also if the trace was off. */
OSS_API uint32_t ossTraceOff(void);

/** Returns the name of the function with this number. Never null: an unknown number yields "unknown". The text is
 * constant. */
OSS_API const char *ecfGetFunctionName(uint32_t function);

/** Writes the macro, the number and the meaning of a result code, 0 included, such as "SNTR_RC_OSS_EXISTS (0x...): a
 * segment with this key exists".
 * - `code`: the result code
 * - `buffer`: receives the text; always ends with a NUL
 * - `size`: of the buffer, in bytes
 *
 * Returns 0, or:
 * - SNTR_RC_OSS_BAD_ARGUMENT: `buffer` is null or `size` is 0; nothing is written
 * - SNTR_RC_OSS_UNKNOWN_CODE: the code has no name; the buffer receives its value, as far as it fits
 * - SNTR_RC_OSS_TRUNCATED: the buffer holds the beginning of the text only */
OSS_API uint32_t ecfErrorGetDescription(uint32_t code, char *buffer, uint64_t size);

#ifdef __cplusplus
}
#endif

#endif
