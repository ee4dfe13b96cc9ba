/* SPDX-License-Identifier: MIT */
/** @file
 * Includes the whole interface of the operating-system services layer.
 *
 * Every call returns 0 or a result code (sntr/result_codes.h names them, ecfErrorGetDescription() renders them), unless
 * its header says otherwise. Fault injection (oss/fault.h) is left out: only the build for tests has it.
 *
 * Signals: a signal handler may use these, whatever it has interrupted: trace and log (a sink aside), the clock, the
 * thread's number, latches and cells. Segments, private memory and ossLogSetSink() may not.
 *
 * Cancellation: no call of this layer, and no call of the library above, is a cancellation point. A thread with a
 * pending pthread_cancel() ends in a call of its own, never inside one of these. Sinks that the program sets may be
 * cancellation points, which is then its own risk.
 *
 * A thread that is cancelled asynchronously inside a call is like a thread that has died there. The latches that it
 * held pass to the next thread that wants them, and what they guard may be half changed. What it was about to return,
 * such as memory, a mapping or a descriptor, stays taken. Two things have no owner and stay locked for ever: the bytes
 * of SNTROneTimeOnlyInitialization() and SNTRCleanup(), and the C library's own locks, as in malloc(). So a thread that
 * starts or ends the library, or that makes or ends handles, must not allow asynchronous cancellation.
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
