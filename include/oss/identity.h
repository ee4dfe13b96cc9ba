/* What time it is, and who is calling. Any thread, any moment. */
#ifndef OSS_IDENTITY_H
#define OSS_IDENTITY_H

#include <oss/export.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The time in milliseconds since 1970-01-01 00:00 UTC. It follows the system's clock and so may step back. */
OSS_API uint64_t ossTimeGetUTC(void);

/* The system's number of the calling thread: 1 to 0x400000, no two living threads of a PID namespace share one. A
 * forked child has another than its parent. */
OSS_API uint32_t ossThreadID(void);

#ifdef __cplusplus
}
#endif

#endif
