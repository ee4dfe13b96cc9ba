/* The log: failures that a person should hear of even when nobody traces. Any thread, any moment. */
#ifndef OSS_LOG_H
#define OSS_LOG_H

#include <oss/export.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Receives the log of the process in place of syslog: the arguments of ossLog(), and one readable line made of them,
 * without a line end, which is gone after the call. Runs on the logging thread, one call at a time; it may log itself
 * and may set another sink. */
typedef void (*OSSLogSink)(void *context, uint32_t function, uint32_t code, uint32_t probe, uint32_t severity,
                           const char *line);

/* Logs a failure.
 *   function  the number of the function that failed; 0: none
 *   code      the result code
 *   probe     the place in the function
 *   severity  syslog's scale, 0 (the system is unusable) to 7 (debugging), 3 being an error; above 7 counts as 7 */
OSS_API void ossLog(uint32_t function, uint32_t code, uint32_t probe, uint32_t severity);

/* Sends the log to a sink from now on; null sends it to syslog again, as at the start. When this returns, no other
 * thread runs the former sink any more, so its context may go. A forked child keeps the sink. */
OSS_API void ossLogSetSink(OSSLogSink sink, void *context);

/* Logs that an expression which must hold does not, with severity 2 and function 0, and returns: the caller goes on and
 * reports the failure as its own interface says. Null texts are shown as unknown. */
OSS_API void ossAssertFailed(const char *expression, const char *file, uint32_t line);

#ifdef __cplusplus
}
#endif

#endif
