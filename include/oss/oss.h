/* The whole interface of the operating-system services layer.
 *
 * Every call answers 0 or a result code (sntr/result_codes.h names them, ecfErrorGetDescription() renders them), unless
 * its header says otherwise. Fault injection (oss/fault.h) is left out: only the build for tests has it.
 *
 * Signals
 *   Trace and log (a sink aside), the clock, the thread's number, latches and cells may be used in a signal handler,
 *   whatever it has interrupted. Segments, private memory and ossLogSetSink() may not.
 *
 * Cancellation
 *   No call of this layer, and no call of the library above, is a cancellation point: a thread with a pending
 *   pthread_cancel() ends in a call of its own, never inside one of ours. Sinks that the program sets may be
 *   cancellation points, which is then its own risk.
 *
 *   A thread that is cancelled asynchronously inside a call is like a thread that has died there. The latches that it
 *   held pass to the next thread that wants them, and what they guard may be half changed. What it was about to give
 *   back, such as memory, a mapping or a descriptor, stays taken. Two things have no owner and stay locked for ever:
 *   the bytes of SNTROneTimeOnlyInitialization() and SNTRCleanup(), and the C library's own locks, as in malloc(). So a
 *   thread that starts or ends the library, or that makes or ends handles, must not allow asynchronous cancellation.
 */
#ifndef OSS_OSS_H
#define OSS_OSS_H

#include <oss/atomic.h>
#include <oss/error.h>
#include <oss/identity.h>
#include <oss/latch.h>
#include <oss/log.h>
#include <oss/memory.h>
#include <oss/segment.h>
#include <oss/trace.h>

#endif
