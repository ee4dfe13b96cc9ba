/* SPDX-License-Identifier: MIT */
/** @file
 * The log: failures that a person should see even if nobody traces.
 *
 * Thread safety: any thread, any moment, a signal handler and a forked child included, but for ossLogSetSink().
 */
#ifndef OSS_LOG_H
#define OSS_LOG_H

#include <oss/export.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Receives the log of the process in place of the system's log: the arguments of ossLog(), and one readable line made
 * of them, without a line end, which is gone after the call. Runs on the logging thread, and on several threads at
 * once if several log. It may log itself and may set another sink.
 *
 * A sink is its program's own risk: it runs inside the call that logs. If it blocks, takes a lock or is a cancellation
 * point, so does that call, and latches of the caller may be held. If it does what a signal handler must not do, no
 * handler may call anything that logs. */
typedef void (*OSSLogSink)(void *context, uint32_t function, uint32_t code, uint32_t probe, uint32_t severity,
                           const char *line);

/** Logs a failure: to the sink, or as one datagram to the socket /dev/log, where the system's log listens. The datagram
 * is `<PRI>program[process]: line` with the facility "user". A line is lost if nobody listens, or if the receiver does
 * not take it at once. It is also lost if the process has no descriptor left for a socket. Never waits, and holds no
 * lock meanwhile.
 * - `function`: the number of the function that failed; 0: none
 * - `code`: the result code
 * - `probe`: the place in the function
 * - `severity`: syslog's scale, 0 (the system is unusable) to 7 (debugging), 3 being an error; above 7 counts as 7 */
OSS_API void ossLog(uint32_t function, uint32_t code, uint32_t probe, uint32_t severity);

/** Sends the log to a sink from now on; null sends it to the system's log again, as at the start. The function and the
 * context of a sink are always used together. A forked child keeps the sink.
 *
 * The former sink may still run on another thread when this returns, and may even be about to begin there: nothing is
 * locked, so there is nobody to wait for. Its code and its context must stay valid as long as any thread of the
 * process may log. The library keeps some bytes of private memory for each different pair of sink and context that was
 * set.
 *
 * Allocates private memory, so not for a signal handler.
 *
 * Returns 0, or SNTR_RC_OSS_NO_MEMORY: there is none left, and the log goes where it went before. */
OSS_API uint32_t ossLogSetSink(OSSLogSink sink, void *context);

/** Logs that an expression which must hold does not, with severity 2 and function 0, and returns: the caller goes on
 * and reports the failure as its own interface says. Null texts are shown as unknown. */
OSS_API void ossAssertFailed(const char *expression, const char *file, uint32_t line);

#ifdef __cplusplus
}
#endif

#endif
