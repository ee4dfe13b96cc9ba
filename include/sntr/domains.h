/* SPDX-License-Identifier: MIT */
/** @file
 * Domains. A domain is one stretch of memory, most often a shared segment, that begins with a storage heap. Pools
 * (sntr/pools.h) are carved out of its free space.
 *
 * One process creates a domain and others connect to it; each gets a handle of its own. Every position inside a domain
 * is a byte offset from its start, because each process maps it at another address. A process ends its hold by
 * disconnecting; one of them frees the domain. A domain that is marked for deletion takes no new connections, and still
 * works for those that it has.
 *
 * Thread safety: any thread may call, and several may use one handle at once. One thread ends a handle (disconnects,
 * frees or destroys it) while no other uses it. The domain's latch lies in the domain and serializes all processes;
 * take it before the latch of any of its pools. Processes of different PID namespaces must not share a domain
 * (oss/latch.h).
 *
 * Groups of codes that the functions name instead of repeating them:
 *
 * HANDLE codes, with nothing changed and nothing held:
 * - SNTR_RC_NULL_DOMAIN_HANDLE: the handle, or the pointer to it, is null
 * - SNTR_RC_NULL_BASE: the handle's base address is null
 * - SNTR_RC_DOMAIN_OFFSET_UNEVEN: the handle's header offset is not a multiple of 8
 * - SNTR_RC_NOT_A_DOMAIN: the header would not lie in what is mapped
 *
 * HEADER codes, likewise:
 * - SNTR_RC_NOT_A_DOMAIN: the eyecatcher is another: no domain, or one that was freed; or the stored size is larger
 *   than what is mapped
 * - SNTR_RC_DOMAIN_OFFSET_MISMATCH: the stored header offset is not the handle's
 *
 * LATCH codes:
 * - SNTR_RC_LATCH_FAILED: the latch could not be taken, for example because this thread holds it already; nothing is
 *   changed. Or it could not be released: see each function
 * - SNTR_RC_BAD_LATCH_VERSION: the latch is not stamped; nothing is changed
 * - SNTR_RC_STORED_USER_AREA_TOO_LARGE, SNTR_RC_CHUNK_OUTSIDE_HEAP: the heap's header or bookkeeping is damaged;
 *   nothing is changed
 */
#ifndef SNTR_DOMAINS_H
#define SNTR_DOMAINS_H

#include <sntr/export.h>
#include <sntr/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Creates a domain, in a new shared segment or in memory of the caller's, and connects to it.
 * - `key`: kind SNTR_DOMAIN_CREATED: the new segment's key; else ignored
 * - `address`: kind SNTR_DOMAIN_MEMORY: the memory, 8-aligned and at least `size` bytes; else the place to map the
 *   segment if it is free, or null
 * - `size`: of the domain in bytes, header and bookkeeping included
 * - `params`: see ShmDomainParams; null takes every default. A user area is zeroed if `userAppData` is null
 * - `domain`: receives the handle
 *
 * The rules for the parameters hold for defaults too: a domain smaller than the default granule needs another granule.
 *
 * Returns 0 with a handle stored.
 *
 * Also returns 0, with `*domain` unchanged, if the services layer refused to create the segment for another reason
 * than that it exists: no permission, no space, a size or mode that no segment can have. Then ossGetLastSystemError()
 * and the trace have the reason. So set `*domain` to null before the call and test it afterwards.
 *
 * Otherwise `*domain` is unchanged and the segment is destroyed again. Memory of the caller's carries no eyecatcher if
 * building began in it. If nothing was written, an eyecatcher of an earlier domain stays:
 * - SNTR_RC_NULL_DOMAIN_HANDLE: `domain` is null
 * - SNTR_RC_PARAM_OFFSET_UNEVEN: `heapHeaderOffset` is not a multiple of 8
 * - SNTR_RC_BAD_USER_AREA_SIZE: `userAppAreaSize` is above `size`
 * - SNTR_RC_BAD_VERSION: `handleAllocSelector` is not SNTR_VERSION
 * - SNTR_RC_BAD_LATCH_VERSION: `latchSelector` is not SNTR_VERSION
 * - SNTR_RC_BAD_RESERVED_SELECTOR: `reservedSelector` is not SNTR_VERSION
 * - SNTR_RC_DOMAIN_GRANULE_BAD: `granule` is not 8, and below 9 or above `size`
 * - SNTR_RC_DOMAIN_GRANULE_UNEVEN: `granule` is not a multiple of 8
 * - SNTR_RC_BAD_DOMAIN_KIND: `domainKind` is neither SNTR_DOMAIN_CREATED nor SNTR_DOMAIN_MEMORY
 * - SNTR_RC_NULL_KEY: a segment is to be created and `key` is null
 * - SNTR_RC_NULL_BASE: memory of the caller's is to be used and `address` is null
 * - SNTR_RC_SEGMENT_EXISTS: a segment with this key exists
 * - SNTR_RC_SEGMENT_ADDRESS_FAILED: the address of the new segment could not be obtained
 * - SNTR_RC_DOMAIN_HEADER_MISFIT: header, bookkeeping and one least block do not fit `size`, or the memory would end
 *   beyond the address space; nothing was written
 * - SNTR_RC_LATCH_FAILED: a latch of the domain could not be initialized, taken or released
 * - SNTR_RC_DOMAIN_HANDLE_ALLOC_FAILED: no private memory is left for the handle, or this process has some thousands
 *   of domains and can remember no more */
SNTR_API uint32_t sntrCreateShmDomain(const OSSIPCResID *key, void *address, uint64_t size,
                                      const ShmDomainParams *params, ShmDomainHandle **domain);

/** Connects to a domain that exists, and counts one more connection.
 * - `key`: kind SNTR_DOMAIN_ATTACHED (and SNTR_DOMAIN_CREATED, which counts as it): the segment's key
 * - `address`: kind SNTR_DOMAIN_MEMORY: start of the domain in this process, 8-aligned; else the place to map the
 *   segment if it is free, or null
 * - `params`: `reservedSelector`, `handleAllocSelector`, `heapHeaderOffset` and `domainKind` count; null takes their
 *   defaults, with the kind SNTR_DOMAIN_ATTACHED
 * - `domain`: receives the handle
 *
 * The call reads a segment's real size and checks its header against it. Memory of the caller's has the size with
 * which this process created a domain there, or has connected to one. If it did neither, the size is what the header
 * says at the time of this call. There is nothing else to check it against, so here the header must be trusted.
 *
 * Returns 0. Otherwise `*domain` is unchanged, nothing stays attached and no connection is counted:
 * - SNTR_RC_NULL_DOMAIN_HANDLE: `domain` is null
 * - SNTR_RC_PARAM_OFFSET_UNEVEN: `heapHeaderOffset` is not a multiple of 8
 * - SNTR_RC_BAD_VERSION: `handleAllocSelector` is not SNTR_VERSION
 * - SNTR_RC_BAD_RESERVED_SELECTOR: `reservedSelector` is not SNTR_VERSION
 * - SNTR_RC_BAD_DOMAIN_KIND: `domainKind` is not one of the three
 * - SNTR_RC_NULL_KEY: a segment is to be attached and `key` is null
 * - SNTR_RC_NULL_BASE: memory of the caller's is to be used and `address` is null
 * - SNTR_RC_ATTACH_FAILED: the segment could not be attached: there is none, or this user may not
 * - SNTR_RC_SEGMENT_ADDRESS_FAILED: the address or size of the segment could not be obtained
 * - SNTR_RC_NOT_A_DOMAIN: the segment is smaller than a header; or as the HEADER codes say
 * - HEADER, LATCH codes
 * - SNTR_RC_DOMAIN_MARKED_FOR_DELETION: no new connections are taken
 * - SNTR_RC_DOMAIN_HANDLE_ALLOC_FAILED: as for creating */
SNTR_API uint32_t sntrConnectToShmDomain(const OSSIPCResID *key, void *address, const ShmDomainParams *params,
                                         ShmDomainHandle **domain);

/** Ends this process's hold on a domain: counts one connection less (never below 0), detaches the segment, frees the
 * handle. Nothing of the domain may be used through it afterwards, pool handles included.
 * - `domain`: the handle; null afterwards
 *
 * Returns 0. Otherwise, with nothing changed and the handle valid:
 * - HANDLE codes
 * - SNTR_RC_BAD_RESERVED_SELECTOR, SNTR_RC_BAD_VERSION: a stored selector is not SNTR_VERSION
 * - HEADER codes. If another process has freed the domain, end the handle by sntrDestroyShmDomainHandle()
 * - LATCH codes; if the latch could not be released, the connection stays counted too
 *
 * Or, with everything done and the pointer null:
 * - SNTR_RC_DETACH_FAILED: the services layer reports a failure to detach
 * - SNTR_RC_DOMAIN_HANDLE_FREE_FAILED: the services layer reports a failure to free the handle */
SNTR_API uint32_t sntrDisconnectFromShmDomain(ShmDomainHandle **domain);

/** Frees a domain: removes the segment's name, marks the domain and removes its eyecatcher, detaches the segment and
 * frees this handle. A name that leads to another segment by now is left alone. Processes that are still connected
 * keep the memory but can no longer use the domain as one. Memory of the caller's stays the caller's.
 * - `domain`: the handle; null afterwards
 * - `mode`: SNTR_FREE_DOMAIN_IF_UNUSED: only if no other handle is connected; SNTR_FREE_DOMAIN_ALWAYS
 *
 * Returns 0. Otherwise, with nothing changed and the handle valid:
 * - HANDLE codes
 * - SNTR_RC_BAD_RESERVED_SELECTOR, SNTR_RC_BAD_VERSION, SNTR_RC_BAD_LATCH_VERSION: a stored selector is not
 *   SNTR_VERSION
 * - HEADER, LATCH codes
 * - SNTR_RC_BAD_DOMAIN_FREE_MODE: another mode
 * - SNTR_RC_DOMAIN_IN_USE: SNTR_FREE_DOMAIN_IF_UNUSED, and others are connected
 * - SNTR_RC_DESTROY_FAILED: the segment's name could not be removed, as by a user without the permission
 *
 * Or, with everything done and the pointer null:
 * - SNTR_RC_LATCH_FAILED: the latch could not be released
 * - SNTR_RC_DETACH_FAILED: the services layer reports a failure to detach
 * - SNTR_RC_DOMAIN_HANDLE_FREE_FAILED: the services layer reports a failure to free the handle */
SNTR_API uint32_t sntrFreeShmDomain(ShmDomainHandle **domain, uint32_t mode);

/** Marks a domain for deletion: it takes no new connections from now on. Takes no latch.
 *
 * Returns 0, or HANDLE, HEADER codes. */
SNTR_API uint32_t sntrMarkShmDomainForDeletion(const ShmDomainHandle *domain);

/** Frees a handle and nothing else: the segment stays attached until the process ends, and the connection stays
 * counted. Pool handles that were made with it remain usable; in memory of the caller's, until the caller reclaims it.
 * The domain's memory must still be mapped; it is read, not written.
 * - `domain`: the handle; null afterwards
 *
 * Returns 0. Otherwise, with nothing changed:
 * - HANDLE codes
 * - SNTR_RC_BAD_VERSION: the stored handle-allocation selector is not SNTR_VERSION
 *
 * Or, with the pointer null:
 * - SNTR_RC_DOMAIN_HANDLE_FREE_FAILED: the services layer reports a failure to free the handle */
SNTR_API uint32_t sntrDestroyShmDomainHandle(ShmDomainHandle **domain);

/** Reads the state of a domain. Takes no latch: words that change together may come from different moments, unless the
 * caller holds the domain's latch.
 * - `domain`: the handle
 * - `info`: receives the record
 *
 * Returns 0. Otherwise nothing is written:
 * - HANDLE codes
 * - SNTR_RC_NULL_INFO_RECORD: `info` is null
 * - HEADER codes
 * - SNTR_RC_STORED_USER_AREA_TOO_LARGE, SNTR_RC_CHUNK_OUTSIDE_HEAP: the header or bookkeeping is damaged */
SNTR_API uint32_t sntrGetShmDomainInfo(const ShmDomainHandle *domain, ShmHeapInfo *info);

/** @{ */
/** Writes (set) or reads (get) the user application area, whole. Takes no latch: the callers agree among themselves on
 * the moments of writing.
 *
 * | Argument | Set | Get |
 * |---|---|---|
 * | `size` | in bytes, exactly the area's | receives the area's size in bytes |
 * | `source`, `destination` | as many bytes | receives the bytes |
 *
 * The destination must have room for the area, whose size sntrGetShmDomainInfo() returns.
 *
 * Returns 0. Otherwise nothing is written:
 * - HANDLE codes
 * - SNTR_RC_NULL_STORAGE_OUTPUT: get: `size` is null
 * - SNTR_RC_NULL_USER_DATA: `source` or `destination` is null
 * - HEADER codes
 * - SNTR_RC_STORED_USER_AREA_TOO_LARGE: the stored size of the area does not fit the domain: it is damaged
 * - SNTR_RC_BAD_USER_AREA_SIZE: set: `size` is not the area's size */
SNTR_API uint32_t sntrSetDomainUserAppData(const ShmDomainHandle *domain, uint64_t size, const void *source);
SNTR_API uint32_t sntrGetDomainUserAppData(const ShmDomainHandle *domain, uint64_t *size, void *destination);
/** @} */

/** Takes the domain's latch, so that nothing is allocated, released, connected or disconnected until this thread
 * releases it. Meanwhile creating or freeing a pool by the same thread returns SNTR_RC_LATCH_FAILED; blocks of a pool
 * can be allocated and freed. A thread that holds the latch of a pool must not call this: the domain's comes first.
 *
 * Returns 0 with the latch held. Otherwise nothing is changed, and any holder keeps it:
 * - HANDLE, HEADER, LATCH codes */
SNTR_API uint32_t sntrLatchShmDomain(const ShmDomainHandle *domain);

/** Releases the domain's latch.
 *
 * Returns 0, or:
 * - HANDLE codes
 * - HEADER codes, and the latch is released all the same if this thread holds it
 * - SNTR_RC_LATCH_FAILED: this thread does not hold it, or the latch is damaged
 * - SNTR_RC_BAD_LATCH_VERSION: the latch is not stamped any more */
SNTR_API uint32_t sntrUnlatchShmDomain(const ShmDomainHandle *domain);

/** Computes the sizes of the header and the bookkeeping of a heap.
 * - `size`: of the domain, or what a pool is to hold, in bytes
 * - `heapType`: SNTR_HEAP_DOMAIN or SNTR_HEAP_POOL
 * - `slotCount`: in: slots planned, 0 to have them estimated from the size; out: at most 10000 for a domain, 250000
 *   for a pool
 * - `maxLevel`: in: levels of the skip lists; out: at most 25
 * - `userAreaSize`: of the user application area, in bytes
 * - `headerSize`: receives the header's size in bytes
 * - `slHeaderSize`: receives the size of the start of the skip-list area, in bytes
 * - `slAreaSize`: receives the size of the whole skip-list area, in bytes. A heap gets a larger one if this would not
 *   hold even its first node (1 to 3 slots)
 *
 * Returns 0. Otherwise nothing is written:
 * - SNTR_RC_NULL_STORAGE_OUTPUT: an output is null
 * - SNTR_RC_BAD_HEAP_TYPE: another type
 * - SNTR_RC_DOMAIN_HEADER_MISFIT, SNTR_RC_POOL_HEADER_MISFIT: the header's size would be 2^64 or more */
SNTR_API uint32_t sntrGetHHeaderInfo(uint64_t size, uint32_t heapType, uint64_t *slotCount, uint64_t *maxLevel,
                                     uint64_t userAreaSize, uint64_t *headerSize, uint64_t *slHeaderSize,
                                     uint64_t *slAreaSize);

/** @{ */
/** Computes one size, in bytes. Not traced.
 *
 * | Function | Size |
 * |---|---|
 * | sntrGetHHeaderSize() | of a heap header with a user application area of `userAreaSize` bytes |
 * | sntrGetSLHeaderSize() | of the start of a skip-list area of `maxLevel` levels |
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_STORAGE_OUTPUT: `size` is null
 * - SNTR_RC_BAD_USER_AREA_SIZE: sntrGetHHeaderSize(): the size would be 2^64 or more */
SNTR_API uint32_t sntrGetHHeaderSize(uint64_t userAreaSize, uint64_t *size);
SNTR_API uint32_t sntrGetSLHeaderSize(uint64_t maxLevel, uint64_t *size);
/** @} */

/** Reads the stored size of a heap's user application area as it is: nothing is checked. Not traced.
 * - `base`: start of the mapped memory; null yields a size of 0
 * - `headerOffset`: of the heap's header, from `base`
 * - `size`: receives the size in bytes
 *
 * Returns 0, or SNTR_RC_NULL_STORAGE_OUTPUT: `size` is null. */
SNTR_API uint32_t sntrGetUserAppAreaSize(const void *base, uint64_t headerOffset, uint64_t *size);

#ifdef __cplusplus
}
#endif

#endif
