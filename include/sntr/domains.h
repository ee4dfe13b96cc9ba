/* Domains: one stretch of memory, most often a shared segment, that begins with a storage heap. Pools (sntr/pools.h)
 * are carved out of its free space.
 *
 * One process creates a domain and others connect to it; each gets a handle of its own. Every position inside a domain
 * is a byte offset from its start, because each process maps it at another address. A process ends its hold by
 * disconnecting; one of them frees the domain. A domain that is marked for deletion takes no new connections and works
 * on for those who have one.
 *
 * Any thread may call, and several may use one handle at once; a handle is ended (disconnected, freed, destroyed) by
 * one thread when no other uses it. The domain's latch lies in the domain and serializes all processes; it is taken
 * before the latch of any of its pools. Processes of different PID namespaces must not share a domain (oss/latch.h).
 *
 * "The handle's codes" are, with nothing changed and nothing held:
 *   SNTR_RC_NULL_DOMAIN_HANDLE    the handle, or the pointer to it, is null
 *   SNTR_RC_NULL_BASE             the handle's base address is null
 *   SNTR_RC_DOMAIN_OFFSET_UNEVEN  the handle's header offset is not a multiple of 8
 *   SNTR_RC_NOT_A_DOMAIN          the header would not lie in what is mapped
 * "The header's codes" are, likewise:
 *   SNTR_RC_NOT_A_DOMAIN            the eyecatcher is another: no domain, or one that was freed; or the stored size is
 *                                   larger than what is mapped
 *   SNTR_RC_DOMAIN_OFFSET_MISMATCH  the stored header offset is not the handle's
 * "The latch's codes" are:
 *   SNTR_RC_LATCH_FAILED       the latch could not be got, for example because this thread holds it already; nothing is
 *                              changed. Or it could not be given back: see each call
 *   SNTR_RC_BAD_LATCH_VERSION  the latch is not stamped; nothing is changed
 *   SNTR_RC_STORED_USER_AREA_TOO_LARGE, SNTR_RC_CHUNK_OUTSIDE_HEAP
 *                              the heap's header or bookkeeping is damaged; nothing is changed
 */
#ifndef SNTR_DOMAINS_H
#define SNTR_DOMAINS_H

#include <sntr/export.h>
#include <sntr/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Creates a domain: a shared segment, or in memory of the caller's, and connects to it.
 *   key      kind SNTR_DOMAIN_CREATED: the new segment's key; else not looked at
 *   address  kind SNTR_DOMAIN_MEMORY: the memory, 8-aligned and at least `size` bytes; else where to map the segment if
 *            that place is free, or null
 *   size     of the domain in bytes, header and bookkeeping included
 *   params   see ShmDomainParams; null takes every default. `userAppData` null with a user area gives zeroes.
 *   domain   receives the handle
 * The rules for the parameters hold for defaults too: a domain smaller than the default granule must be given another.
 *
 * Answers 0 with a handle stored; or 0 with `*domain` left alone, when the services layer refused to create the segment
 * for another reason than that it exists (no permission, no space, a size or mode that no segment can have). Then
 * ossGetLastSystemError() and the trace tell the reason. So set `*domain` to null before the call and look at it
 * afterwards. Otherwise `*domain` is left alone and the segment is destroyed again. Memory of the caller's in which
 * building began carries no eyecatcher; if nothing was written, an eyecatcher of an earlier domain stays:
 *   SNTR_RC_NULL_DOMAIN_HANDLE          `domain` is null
 *   SNTR_RC_PARAM_OFFSET_UNEVEN         `heapHeaderOffset` is not a multiple of 8
 *   SNTR_RC_BAD_USER_AREA_SIZE          `userAppAreaSize` is above `size`
 *   SNTR_RC_BAD_VERSION                 `handleAllocSelector` is not SNTR_VERSION
 *   SNTR_RC_BAD_LATCH_VERSION           `latchSelector` is not SNTR_VERSION
 *   SNTR_RC_BAD_RESERVED_SELECTOR       `reservedSelector` is not SNTR_VERSION
 *   SNTR_RC_DOMAIN_GRANULE_BAD          `granule` is not 8, and below 9 or above `size`
 *   SNTR_RC_DOMAIN_GRANULE_UNEVEN       `granule` is not a multiple of 8
 *   SNTR_RC_BAD_DOMAIN_KIND             `domainKind` is neither SNTR_DOMAIN_CREATED nor SNTR_DOMAIN_MEMORY
 *   SNTR_RC_NULL_KEY                    a segment is to be created and `key` is null
 *   SNTR_RC_NULL_BASE                   memory of the caller's is to be used and `address` is null
 *   SNTR_RC_SEGMENT_EXISTS              a segment with this key exists
 *   SNTR_RC_SEGMENT_ADDRESS_FAILED      the address of the new segment could not be obtained
 *   SNTR_RC_DOMAIN_HEADER_MISFIT        header, bookkeeping and one least block do not fit `size`, or the memory would
 *                                       end beyond the address space; nothing was written
 *   SNTR_RC_LATCH_FAILED                a latch of the domain could not be initialized, got or given back
 *   SNTR_RC_DOMAIN_HANDLE_ALLOC_FAILED  no private memory is left for the handle, or this process has some thousands of
 *                                       domains and can remember no more */
SNTR_API uint32_t sntrCreateShmDomain(const OSSIPCResID *key, void *address, uint64_t size,
                                      const ShmDomainParams *params, ShmDomainHandle **domain);

/* Connects to a domain that exists, which counts one more connection.
 *   key      kind SNTR_DOMAIN_ATTACHED (and SNTR_DOMAIN_CREATED, which counts as it): the segment's key
 *   address  kind SNTR_DOMAIN_MEMORY: where the domain begins in this process, 8-aligned; else where to map the segment
 *            if that place is free, or null
 *   params   `reservedSelector`, `handleAllocSelector`, `heapHeaderOffset` and `domainKind` count; null takes their
 *            defaults, the kind SNTR_DOMAIN_ATTACHED
 *   domain   receives the handle
 *
 * A segment's real size is learnt, and its header held against it. The caller's own memory has the size with which this
 * process created a domain there, or has connected to one. If it did neither, the size is what the header says at the
 * time of this call: there is nothing else to hold it against, so here the header must be trusted.
 *
 * Answers 0. Otherwise `*domain` is left alone, nothing stays attached and no connection is counted:
 *   SNTR_RC_NULL_DOMAIN_HANDLE          `domain` is null
 *   SNTR_RC_PARAM_OFFSET_UNEVEN         `heapHeaderOffset` is not a multiple of 8
 *   SNTR_RC_BAD_VERSION                 `handleAllocSelector` is not SNTR_VERSION
 *   SNTR_RC_BAD_RESERVED_SELECTOR       `reservedSelector` is not SNTR_VERSION
 *   SNTR_RC_BAD_DOMAIN_KIND             `domainKind` is not one of the three
 *   SNTR_RC_NULL_KEY                    a segment is to be attached and `key` is null
 *   SNTR_RC_NULL_BASE                   memory of the caller's is to be used and `address` is null
 *   SNTR_RC_ATTACH_FAILED               the segment could not be attached: there is none, or this user may not
 *   SNTR_RC_SEGMENT_ADDRESS_FAILED      the address or size of the segment could not be obtained
 *   SNTR_RC_NOT_A_DOMAIN                the segment is smaller than a header; or as the header's codes say
 *   the header's codes, the latch's codes
 *   SNTR_RC_DOMAIN_MARKED_FOR_DELETION  no new connections are taken
 *   SNTR_RC_DOMAIN_HANDLE_ALLOC_FAILED  as for creating */
SNTR_API uint32_t sntrConnectToShmDomain(const OSSIPCResID *key, void *address, const ShmDomainParams *params,
                                         ShmDomainHandle **domain);

/* Ends this process's hold on a domain: counts one connection less (never below 0), detaches the segment, frees the
 * handle. Nothing of the domain may be used through it afterwards, pool handles included.
 *   domain  the handle; null afterwards
 * Answers 0. Otherwise, with nothing changed and the handle good:
 *   the handle's codes
 *   SNTR_RC_BAD_RESERVED_SELECTOR, SNTR_RC_BAD_VERSION  a stored selector is not SNTR_VERSION
 *   the header's codes. Of a domain that another process has freed, end the handle by sntrDestroyShmDomainHandle().
 *   the latch's codes; where the latch could not be given back, the connection stays counted too
 * Or, with everything done and the pointer null:
 *   SNTR_RC_DETACH_FAILED              the services layer reports a failure to detach
 *   SNTR_RC_DOMAIN_HANDLE_FREE_FAILED  the services layer reports a failure to free the handle */
SNTR_API uint32_t sntrDisconnectFromShmDomain(ShmDomainHandle **domain);

/* Frees a domain: removes the segment's name, marks the domain and takes its eyecatcher away, detaches the segment and
 * frees this handle. A name that leads to another segment by now is left alone. Processes that are still connected
 * keep the memory but can no longer use the domain as one. Memory of the caller's stays the caller's.
 *   domain  the handle; null afterwards
 *   mode    SNTR_FREE_DOMAIN_IF_UNUSED: only when no other handle is connected; SNTR_FREE_DOMAIN_ALWAYS
 * Answers 0. Otherwise, with nothing changed and the handle good:
 *   the handle's codes
 *   SNTR_RC_BAD_RESERVED_SELECTOR, SNTR_RC_BAD_VERSION, SNTR_RC_BAD_LATCH_VERSION
 *                                 a stored selector is not SNTR_VERSION
 *   the header's codes, the latch's codes
 *   SNTR_RC_BAD_DOMAIN_FREE_MODE  another mode
 *   SNTR_RC_DOMAIN_IN_USE         SNTR_FREE_DOMAIN_IF_UNUSED, and others are connected
 *   SNTR_RC_DESTROY_FAILED        the segment's name could not be removed, as by a user who may not
 * Or, with everything done and the pointer null:
 *   SNTR_RC_LATCH_FAILED               the latch could not be given back
 *   SNTR_RC_DETACH_FAILED              the services layer reports a failure to detach
 *   SNTR_RC_DOMAIN_HANDLE_FREE_FAILED  the services layer reports a failure to free the handle */
SNTR_API uint32_t sntrFreeShmDomain(ShmDomainHandle **domain, uint32_t mode);

/* Marks a domain for deletion: it takes no new connections from now on. Takes no latch.
 * Answers 0, or the handle's codes or the header's codes. */
SNTR_API uint32_t sntrMarkShmDomainForDeletion(const ShmDomainHandle *domain);

/* Frees a handle and nothing else: the segment stays attached until the process ends, and the connection stays
 * counted. Pool handles that were made with it can be used on; of memory of the caller's, until the caller gives it
 * up. The domain's memory must still be mapped; it is read, not written.
 *   domain  the handle; null afterwards
 * Answers 0. Otherwise, with nothing changed:
 *   the handle's codes
 *   SNTR_RC_BAD_VERSION  the stored handle-allocation selector is not SNTR_VERSION
 * Or, with the pointer null:
 *   SNTR_RC_DOMAIN_HANDLE_FREE_FAILED  the services layer reports a failure to free the handle */
SNTR_API uint32_t sntrDestroyShmDomainHandle(ShmDomainHandle **domain);

/* Reads what a domain tells of itself. Takes no latch: words that change together may come from different moments,
 * unless the caller holds the domain's latch.
 *   info  receives the record
 * Answers 0. Otherwise nothing is written:
 *   the handle's codes
 *   SNTR_RC_NULL_INFO_RECORD  `info` is null
 *   the header's codes
 *   SNTR_RC_STORED_USER_AREA_TOO_LARGE, SNTR_RC_CHUNK_OUTSIDE_HEAP  the header or bookkeeping is damaged */
SNTR_API uint32_t sntrGetShmDomainInfo(const ShmDomainHandle *domain, ShmHeapInfo *info);

/* Writes the user application area, whole. Takes no latch: the callers agree among themselves who writes when.
 *   size    in bytes, exactly the area's
 *   source  as many bytes
 * Answers 0. Otherwise nothing is written:
 *   the handle's codes
 *   SNTR_RC_NULL_USER_DATA              `source` is null
 *   the header's codes
 *   SNTR_RC_STORED_USER_AREA_TOO_LARGE  the stored size of the area does not fit the domain: it is damaged
 *   SNTR_RC_BAD_USER_AREA_SIZE          `size` is not the area's size */
SNTR_API uint32_t sntrSetDomainUserAppData(const ShmDomainHandle *domain, uint64_t size, const void *source);

/* Reads the user application area, whole. Takes no latch.
 *   size         receives the area's size in bytes
 *   destination  receives the bytes; must have room for the area, whose size sntrGetShmDomainInfo() tells
 * Answers 0. Otherwise nothing is written:
 *   the handle's codes
 *   SNTR_RC_NULL_STORAGE_OUTPUT         `size` is null
 *   SNTR_RC_NULL_USER_DATA              `destination` is null
 *   the header's codes
 *   SNTR_RC_STORED_USER_AREA_TOO_LARGE  the stored size of the area does not fit the domain: it is damaged */
SNTR_API uint32_t sntrGetDomainUserAppData(const ShmDomainHandle *domain, uint64_t *size, void *destination);

/* Takes the domain's latch, so that nothing is allocated, released, connected or disconnected until this thread gives
 * it back. Creating or freeing a pool by the same thread meanwhile gives SNTR_RC_LATCH_FAILED; blocks of a pool can be
 * allocated and freed. A thread that holds the latch of a pool must not call this: the domain's comes first.
 * Answers 0 with the latch held. Otherwise it is not held, or still held by whoever has it:
 *   the handle's codes, the header's codes, the latch's codes */
SNTR_API uint32_t sntrLatchShmDomain(const ShmDomainHandle *domain);

/* Gives the domain's latch back.
 * Answers 0; otherwise:
 *   the handle's codes
 *   the header's codes, and the latch is given back all the same if this thread holds it
 *   SNTR_RC_LATCH_FAILED       this thread does not hold it, or the latch is damaged
 *   SNTR_RC_BAD_LATCH_VERSION  the latch is not stamped any more */
SNTR_API uint32_t sntrUnlatchShmDomain(const ShmDomainHandle *domain);

/* Tells how large the header and the bookkeeping of a heap of a size are made.
 *   size          of the domain, or what a pool is asked to hold, in bytes
 *   heapType      SNTR_HEAP_DOMAIN or SNTR_HEAP_POOL
 *   slotCount     in: slots planned, 0 to have them estimated from the size; out: at most 10000 for a domain, 250000
 *                 for a pool
 *   maxLevel      in: levels of the skip lists; out: at most 25
 *   userAreaSize  of the user application area, in bytes
 *   headerSize    receives the header's size in bytes
 *   slHeaderSize  receives the size of the start of the skip-list area, in bytes
 *   slAreaSize    receives the size of the whole skip-list area, in bytes. A heap gets a larger one where this
 *                 would not hold even its first node (1 to 3 slots).
 * Answers 0. Otherwise nothing is written:
 *   SNTR_RC_NULL_STORAGE_OUTPUT  an output is null
 *   SNTR_RC_BAD_HEAP_TYPE        another type
 *   SNTR_RC_DOMAIN_HEADER_MISFIT, SNTR_RC_POOL_HEADER_MISFIT  the header's size would be 2^64 or more */
SNTR_API uint32_t sntrGetHHeaderInfo(uint64_t size, uint32_t heapType, uint64_t *slotCount, uint64_t *maxLevel,
                                     uint64_t userAreaSize, uint64_t *headerSize, uint64_t *slHeaderSize,
                                     uint64_t *slAreaSize);

/* Tells the size of a heap header with a user application area of `userAreaSize` bytes. Not traced.
 * Answers 0; SNTR_RC_NULL_STORAGE_OUTPUT: `size` is null; SNTR_RC_BAD_USER_AREA_SIZE: it would be 2^64 or more. */
SNTR_API uint32_t sntrGetHHeaderSize(uint64_t userAreaSize, uint64_t *size);

/* Tells the size of the start of a skip-list area of `maxLevel` levels, in bytes. Not traced.
 * Answers 0; SNTR_RC_NULL_STORAGE_OUTPUT: `size` is null. */
SNTR_API uint32_t sntrGetSLHeaderSize(uint64_t maxLevel, uint64_t *size);

/* Reads the stored size of a heap's user application area, as it stands there: nothing is checked. Not traced.
 *   base          where the mapped memory begins; null gives a size of 0
 *   headerOffset  of the heap's header, from `base`
 *   size          receives the size in bytes
 * Answers 0; SNTR_RC_NULL_STORAGE_OUTPUT: `size` is null. */
SNTR_API uint32_t sntrGetUserAppAreaSize(const void *base, uint64_t headerOffset, uint64_t *size);

#ifdef __cplusplus
}
#endif

#endif
