/* SPDX-License-Identifier: MIT */
/** @file
 * Private memory.
 *
 * Thread safety: any thread may call at any moment, and one thread may free what another has allocated.
 */
#ifndef OSS_MEMORY_H
#define OSS_MEMORY_H

#include <oss/export.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Allocates memory of unspecified content, aligned to 16 bytes.
 * - `size`: in bytes; 0 yields an address of its own too, which must be freed like any other
 * - `sourceTag`: the caller's source file, for the trace; may be null
 * - `line`: the caller's line
 *
 * Returns the address, or null: the system has no such amount of memory left. */
OSS_API void *_ossMemAlloc(uint64_t size, const char *sourceTag, uint32_t line);

/** Frees memory from _ossMemAlloc() that has not been freed since; null is none and succeeds. The tag and the line are
 * those of the caller. Returns 0. */
OSS_API uint32_t _ossMemFree(void *memory, const char *sourceTag, uint32_t line);

#ifdef __cplusplus
}
#endif

#endif
