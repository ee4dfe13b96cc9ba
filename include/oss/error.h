/* SPDX-License-Identifier: MIT */
/** @file
 * The system's reason for a refusal: what a result code leaves out.
 */
#ifndef OSS_ERROR_H
#define OSS_ERROR_H

#include <oss/export.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Returns the system's reason for the last failure of a services-layer call on the calling thread: a number of
 * `<errno.h>`, such as EACCES. Calls on segments and on the trace file, _ossMemAlloc() and ossLogSetSink() store it
 * when they fail, even inside a call of the library above. A call that succeeds leaves it. So does every call on a
 * latch or an atomic cell, since those need nothing that the system could refuse.
 *
 * If the system refuses the segment, sntrCreateShmDomain() returns 0 without a handle. Then the reason is here.
 * - `error`: receives the reason; 0: there was no failure yet, or the layer itself refused, for example a bad argument
 *
 * Returns 0, or SNTR_RC_OSS_BAD_ARGUMENT: `error` is null, and the stored reason stays. */
OSS_API uint32_t ossGetLastSystemError(int *error);

#ifdef __cplusplus
}
#endif

#endif
