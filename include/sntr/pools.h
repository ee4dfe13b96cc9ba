/* SPDX-License-Identifier: MIT */
/** @file
 * Pools and blocks. A pool is a heap of its own inside a domain (sntr/domains.h); blocks come from pools only.
 *
 * One process creates a pool and passes the offset of its header (`poolHeaderOffset` of the handle) to others, which
 * connect to it. Processes pass a block's position as an offset from the start of the domain, never as an address.
 *
 * A pool handle holds nothing of the domain. It is usable as long as this process has the domain that it was made with:
 * until the domain handle is disconnected or freed. The mapped size of the domain bounds every operation, whatever the
 * headers say.
 *
 * Thread safety: any thread may call, and several may use one handle at once. One thread ends a handle (disconnects,
 * frees or destroys it) while no other uses it. Each pool has a latch of its own, in the pool, that serializes all
 * processes. If both are needed, the domain's latch is taken before the pool's: a thread that holds a pool's latch
 * calls nothing of the domain and creates, frees and connects to no pool.
 *
 * `traceId`, `sourceFile` and `line` name the caller that allocates or frees, for the allocation debugging; any value
 * will do.
 *
 * Groups of codes that the functions name instead of repeating them:
 *
 * HANDLE codes, with nothing changed and nothing held:
 * - SNTR_RC_NULL_POOL_HANDLE: the handle, or the pointer to it, is null
 * - SNTR_RC_NULL_BASE: the handle's base address is null
 * - SNTR_RC_DOMAIN_OFFSET_UNEVEN, SNTR_RC_POOL_OFFSET_UNEVEN, SNTR_RC_POOL_CHUNK_OFFSET_UNEVEN: the handle's offset of
 *   the domain's header, the pool's header or the pool's chunk is not a multiple of 8
 * - SNTR_RC_NOT_A_DOMAIN: this process has no domain at the base address: every handle of it was disconnected or freed
 * - SNTR_RC_CHUNK_OUTSIDE_HEAP: the pool's header does not lie in what is mapped of the domain
 *
 * HEADER codes, likewise:
 * - SNTR_RC_NOT_A_POOL: the eyecatcher is another: no pool, or one that was freed; or it reaches beyond what is mapped
 *   of its domain
 * - SNTR_RC_POOL_OFFSET_MISMATCH: the stored header offset is not the handle's
 *
 * LATCH codes:
 * - SNTR_RC_LATCH_FAILED: the latch could not be taken, for example because this thread holds it already; nothing is
 *   changed. Or it could not be released: see each function
 * - SNTR_RC_BAD_LATCH_VERSION: the latch is not stamped; nothing is changed
 * - SNTR_RC_STORED_USER_AREA_TOO_LARGE, SNTR_RC_CHUNK_OUTSIDE_HEAP: the heap's header or bookkeeping is damaged;
 *   nothing is changed
 *
 * DOMAIN HEADER codes are the HEADER codes of sntr/domains.h: SNTR_RC_NOT_A_DOMAIN, SNTR_RC_DOMAIN_OFFSET_MISMATCH.
 */
#ifndef SNTR_POOLS_H
#define SNTR_POOLS_H

#include <sntr/export.h>
#include <sntr/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Creates a pool in a domain, and connects to it.
 * - `pool`: receives the handle
 * - `domain`: the domain
 * - `size`: what the pool is to hold, in bytes, 1 and up. Its header and bookkeeping are added, and the sum is rounded
 *   up to the granule. A block takes 0x20 bytes more than requested
 * - `params`: see ShmPoolParams; null takes every default. A user area is zeroed if `userAppData` is null
 * - `traceId`, `sourceFile`, `line`: see above
 *
 * Returns 0. Otherwise `*pool` is unchanged and the domain is as it was:
 * - SNTR_RC_NULL_POOL_HANDLE: `pool` is null
 * - SNTR_RC_NULL_DOMAIN_HANDLE: `domain` is null
 * - SNTR_RC_NULL_BASE: the domain handle's base address is null
 * - SNTR_RC_DOMAIN_OFFSET_UNEVEN: the domain handle's header offset is not a multiple of 8
 * - DOMAIN HEADER codes
 * - SNTR_RC_BAD_USER_AREA_SIZE: `userAppAreaSize` is above `size`
 * - SNTR_RC_BAD_VERSION: `handleAllocSelector` is not SNTR_VERSION
 * - SNTR_RC_BAD_LATCH_VERSION: `latchSelector` is not SNTR_VERSION; or the domain's latch is not stamped
 * - SNTR_RC_BAD_RESERVED_SELECTOR: `reservedSelector` is not SNTR_VERSION
 * - SNTR_RC_POOL_GRANULE_BAD: `size` is 0; or `granule` is not 8, and below 9 or above `size`
 * - SNTR_RC_POOL_GRANULE_UNEVEN: `granule` is not a multiple of 8
 * - SNTR_RC_POOL_HEADER_MISFIT: the size of the header would be 2^64 or more
 * - SNTR_RC_DOMAIN_FULL: the domain does not have as many free bytes
 * - SNTR_RC_DOMAIN_NO_BLOCK_LARGE_ENOUGH: no free block of the domain is large enough
 * - SNTR_RC_UNKNOWN_PAD_TYPE, SNTR_RC_BAD_FRONT_PAD_COUNT, SNTR_RC_BAD_BACK_PAD_COUNT: the domain's debug settings are
 *   damaged
 * - SNTR_RC_LATCH_FAILED: a latch of the domain could not be taken or released
 * - SNTR_RC_STORED_USER_AREA_TOO_LARGE, SNTR_RC_CHUNK_OUTSIDE_HEAP: the domain's header or bookkeeping is damaged
 * - SNTR_RC_POOL_BUILD_FAILED: the pool's own heap could not be built; the trace has the reason
 * - SNTR_RC_POOL_HANDLE_ALLOC_FAILED: no private memory is left for the handle */
SNTR_API uint32_t _sntrCreateShmPool(ShmPoolHandle **pool, ShmDomainHandle *domain, uint64_t size,
                                     const ShmPoolParams *params, uint32_t traceId, const char *sourceFile,
                                     uint32_t line);

/** Connects to a pool that exists, and counts one more connection. Takes the pool's latch, not the domain's.
 * - `pool`: receives the handle
 * - `domain`: the domain that holds it
 * - `poolHeaderOffset`: of the pool's header, as in its creator's handle
 * - `further`: anything but null; ignored
 *
 * Returns 0. Otherwise `*pool` is unchanged and no connection is counted:
 * - SNTR_RC_NULL_POOL_HANDLE: `pool` is null
 * - SNTR_RC_NULL_DOMAIN_HANDLE: `domain` is null
 * - SNTR_RC_NULL_BASE: the domain handle's base address is null
 * - SNTR_RC_DOMAIN_OFFSET_UNEVEN: the domain handle's header offset is not a multiple of 8
 * - SNTR_RC_NULL_STORAGE_OUTPUT: `further` is null
 * - DOMAIN HEADER codes
 * - SNTR_RC_POOL_OFFSET_UNEVEN: `poolHeaderOffset` is not a multiple of 8
 * - SNTR_RC_CHUNK_OUTSIDE_HEAP: no header at `poolHeaderOffset` would lie in the domain; nothing was read there
 * - HEADER codes
 * - SNTR_RC_UNKNOWN_PAD_TYPE, SNTR_RC_BAD_FRONT_PAD_COUNT, SNTR_RC_CHUNK_BELOW_DOMAIN, SNTR_RC_CHUNK_UNEVEN: the bytes
 *   before the header are not the start of a chunk of the domain
 * - LATCH codes
 * - SNTR_RC_POOL_MARKED_FOR_DELETION: no new connections are taken
 * - SNTR_RC_POOL_HANDLE_ALLOC_FAILED: no private memory is left for the handle */
SNTR_API uint32_t sntrConnectToShmPool(ShmPoolHandle **pool, ShmDomainHandle *domain, uint64_t poolHeaderOffset,
                                       const void *further);

/** Ends this process's hold on a pool: counts one connection less (never below 0) and frees the handle. Its blocks
 * stay.
 * - `pool`: the handle; null afterwards
 *
 * Returns 0. Otherwise, with nothing changed and the handle valid:
 * - HANDLE, HEADER codes
 * - LATCH codes; if the latch could not be released, the connection stays counted too
 *
 * Or, with everything done and the pointer null:
 * - SNTR_RC_POOL_HANDLE_FREE_FAILED: the services layer reports a failure to free the handle */
SNTR_API uint32_t sntrDisconnectFromShmPool(ShmPoolHandle **pool);

/** Frees a pool with all its blocks. Unlinks the entries of the domain's shared lists (sntr/segments.h) that it holds.
 * Marks it, removes its eyecatcher, returns its chunk to the domain, and frees this handle. A shared list that is
 * damaged in this pool ends before the damage. Nobody may use a block of it afterwards. Takes the domain's latch and
 * inside it the pool's.
 * - `pool`: the handle; null afterwards
 * - `mode`: SNTR_FREE_POOL_IF_UNUSED: only if no other handle is connected; SNTR_FREE_POOL_ALWAYS
 * - `traceId`, `sourceFile`, `line`: see above
 *
 * Returns 0. Otherwise, with nothing changed and the handle valid:
 * - HANDLE, DOMAIN HEADER, HEADER codes
 * - SNTR_RC_BAD_RESERVED_SELECTOR, SNTR_RC_BAD_VERSION, SNTR_RC_BAD_LATCH_VERSION: a selector stored in the domain's
 *   or the pool's header is not SNTR_VERSION
 * - SNTR_RC_BAD_POOL_FREE_MODE: another mode
 * - LATCH codes, for either latch
 * - SNTR_RC_DOMAIN_BLOCK_NOT_FOUND: the domain has no chunk at the offset that the handle has for the pool's
 * - SNTR_RC_CHUNK_OUTSIDE_HEAP: the pool does not lie in that chunk
 * - SNTR_RC_POOL_IN_USE: SNTR_FREE_POOL_IF_UNUSED, and others are connected
 *
 * Or, with the pool gone and the pointer null:
 * - SNTR_RC_LATCH_FAILED: a latch could not be released
 * - SNTR_RC_CHUNK_OUTSIDE_HEAP: the domain's bookkeeping is damaged, and the chunk could not be returned
 * - SNTR_RC_POOL_HANDLE_FREE_FAILED: the services layer reports a failure to free the handle */
SNTR_API uint32_t _sntrFreeShmPool(ShmPoolHandle **pool, uint32_t mode, uint32_t traceId, const char *sourceFile,
                                   uint32_t line);

/** Frees a handle and nothing else: the connection stays counted. The pool's memory is not touched.
 * - `pool`: the handle; null afterwards
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_POOL_HANDLE: there is none
 * - SNTR_RC_POOL_HANDLE_FREE_FAILED: the services layer reports a failure to free it, and the pointer is null */
SNTR_API uint32_t sntrDestroyShmPoolHandle(ShmPoolHandle **pool);

/** Allocates a block of unspecified content, aligned to 8 bytes. Takes the pool's latch.
 * - `block`: receives its address in this process
 * - `pool`: the pool
 * - `size`: in bytes, rounded up to the pool's granule; 0 yields a block of no bytes, to be freed like any other
 * - `traceId`, `sourceFile`, `line`: see above
 *
 * Returns 0. Otherwise nothing is allocated and `*block` is unchanged:
 * - HANDLE codes
 * - SNTR_RC_NULL_STORAGE_OUTPUT: `block` is null
 * - HEADER codes
 * - SNTR_RC_POOL_GRANULE_UNEVEN, SNTR_RC_POOL_GRANULE_BAD: the stored granule is damaged
 * - SNTR_RC_POOL_FULL: the pool does not have as many free bytes
 * - SNTR_RC_POOL_NO_BLOCK_LARGE_ENOUGH: no free block of the pool is large enough
 * - SNTR_RC_UNKNOWN_PAD_TYPE, SNTR_RC_BAD_FRONT_PAD_COUNT, SNTR_RC_BAD_BACK_PAD_COUNT: the pool's debug settings are
 *   damaged
 * - SNTR_RC_CHUNK_OUTSIDE_HEAP: the pool's bookkeeping is damaged
 * - LATCH codes; SNTR_RC_LATCH_FAILED also if the caller holds the pool's latch */
SNTR_API uint32_t _sntrAllocateShmBlock(void **block, const ShmPoolHandle *pool, uint64_t size, uint32_t traceId,
                                        const char *sourceFile, uint32_t line);

/** Frees a block. Takes the pool's latch.
 * - `block`: its address in this process, exactly as it was allocated; null afterwards
 * - `pool`: the pool that it is from
 * - `traceId`, `sourceFile`, `line`: see above
 *
 * Returns 0. Otherwise nothing is freed and `*block` is unchanged:
 * - HANDLE codes
 * - SNTR_RC_NULL_STORAGE_OUTPUT: `block` is null
 * - SNTR_RC_NULL_BLOCK: `*block` is null
 * - HEADER codes
 * - SNTR_RC_BLOCK_BELOW_DOMAIN: the address lies below the domain
 * - SNTR_RC_CHUNK_OUTSIDE_HEAP: the address lies beyond the domain, or its chunk outside the pool; or the pool's
 *   bookkeeping is damaged
 * - SNTR_RC_UNKNOWN_PAD_TYPE: the bytes before the block are not what an allocation leaves there
 * - SNTR_RC_BAD_FRONT_PAD_COUNT: the stored number of front pads is not 1 to 8
 * - SNTR_RC_CHUNK_BELOW_DOMAIN, SNTR_RC_CHUNK_UNEVEN: its chunk would begin below the domain, or not at a multiple of
 *   8
 * - SNTR_RC_POOL_BLOCK_NOT_FOUND: the pool has no such block: freed already, or never allocated
 * - LATCH codes
 *
 * Or, with the block freed and `*block` null:
 * - SNTR_RC_LATCH_FAILED: the latch could not be released */
SNTR_API uint32_t _sntrFreeShmBlock(void **block, const ShmPoolHandle *pool, uint32_t traceId, const char *sourceFile,
                                    uint32_t line);

/** Reads the state of a pool. Takes no latch: words that change together may come from different moments, unless the
 * caller holds the pool's latch.
 * - `pool`: the handle
 * - `info`: receives the record
 *
 * Returns 0. Otherwise nothing is written:
 * - HANDLE codes
 * - SNTR_RC_NULL_INFO_RECORD: `info` is null
 * - HEADER codes
 * - SNTR_RC_STORED_USER_AREA_TOO_LARGE, SNTR_RC_CHUNK_OUTSIDE_HEAP: the header or bookkeeping is damaged */
SNTR_API uint32_t sntrGetShmPoolInfo(const ShmPoolHandle *pool, ShmHeapInfo *info);

/** @{ */
/** Writes (set) or reads (get) the pool's user application area, whole. Arguments and conditions are those of
 * sntrSetDomainUserAppData() and sntrGetDomainUserAppData().
 *
 * Returns 0. Otherwise nothing is written:
 * - HANDLE codes
 * - SNTR_RC_NULL_STORAGE_OUTPUT (get), SNTR_RC_NULL_USER_DATA
 * - HEADER codes
 * - SNTR_RC_STORED_USER_AREA_TOO_LARGE, SNTR_RC_BAD_USER_AREA_SIZE (set) */
SNTR_API uint32_t sntrSetPoolUserAppData(const ShmPoolHandle *pool, uint64_t size, const void *source);
SNTR_API uint32_t sntrGetPoolUserAppData(const ShmPoolHandle *pool, uint64_t *size, void *destination);
/** @} */

/** Takes the pool's latch, so that nothing is allocated, released, connected or disconnected until this thread releases
 * it. While it holds the latch, the thread calls nothing else of this pool that takes it (SNTR_RC_LATCH_FAILED), and
 * no operation of the domain: the domain's latch comes first.
 *
 * Returns 0 with the latch held. Otherwise nothing is changed, and any holder keeps it:
 * - HANDLE, HEADER, LATCH codes */
SNTR_API uint32_t sntrLatchShmPool(const ShmPoolHandle *pool);

/** Releases the pool's latch.
 *
 * Returns 0, or:
 * - HANDLE codes
 * - HEADER codes, and the latch is released all the same if this thread holds it
 * - SNTR_RC_LATCH_FAILED: this thread does not hold it, or the latch is damaged
 * - SNTR_RC_BAD_LATCH_VERSION: the latch is not stamped any more */
SNTR_API uint32_t sntrUnlatchShmPool(const ShmPoolHandle *pool);

#ifdef __cplusplus
}
#endif

#endif
