/* SPDX-License-Identifier: MIT */
/** @file
 * The time, and the calling thread's number.
 *
 * Thread safety: any thread, any moment.
 */
#ifndef OSS_IDENTITY_H
#define OSS_IDENTITY_H

#include <oss/export.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Returns the time in milliseconds since 1970-01-01 00:00 UTC. It follows the system's clock and so may step back. */
OSS_API uint64_t ossTimeGetUTC(void);

/** Returns the system's number of the calling thread: 1 to 0x400000. No two living threads of a PID namespace share
 * one. A forked child has another than its parent. */
OSS_API uint32_t ossThreadID(void);

#ifdef __cplusplus
}
#endif

#endif
