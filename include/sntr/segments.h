/* SPDX-License-Identifier: MIT */
/** @file
 * The lists of attached segments and of GCF modules, each in a shared and in a private form.
 *
 * | Name has | Record | Key |
 * |---|---|---|
 * | `AttachSegInfo` | AttachSegInfo, one a segment | the segment's 12-byte key |
 * | `GCF` | GCFModuleInfo, one a module | the module's path |
 *
 * | Name ends with | Form | Place |
 * |---|---|---|
 * | `LList` | shared | a domain: the head in its header, the entries blocks of the pool passed, the links offsets |
 * | `PMLList` | private | this process: the heads are sntrSegLLHeader and sntrGCFLLHeader (sntr/frame.h) |
 *
 * All are singly linked and ascend by their key. An insertion copies the caller's record whole and returns the copy's
 * address. Addresses that insertions and searches return lead to the stored record itself, which can be filled or read
 * in place. They are valid until the entry is deleted, by any process. The key of a stored record must not be changed.
 *
 * Thread safety, shared form: any thread of any process, with a pool handle of its own. Each call holds the latch of
 * the domain from start to end, and takes the pool's inside it if it allocates or frees. A thread that holds the
 * domain's latch gets SNTR_RC_LATCH_FAILED; one that holds the latch of any pool of the domain must not call. All
 * entries of a domain's lists come from one pool: an entry cannot be freed through another.
 *
 * Thread safety, private form: takes no latch; the caller ensures that one thread at a time uses a list.
 *
 * DOMAIN codes, for the shared form only, with nothing changed and nothing held:
 * - SNTR_RC_NULL_POOL_HANDLE: `pool` is null
 * - SNTR_RC_NULL_BASE: the handle's base address is null
 * - SNTR_RC_DOMAIN_OFFSET_UNEVEN, SNTR_RC_POOL_OFFSET_UNEVEN, SNTR_RC_POOL_CHUNK_OFFSET_UNEVEN: an offset in the handle
 *   is not a multiple of 8
 * - SNTR_RC_NOT_A_DOMAIN, SNTR_RC_DOMAIN_OFFSET_MISMATCH: there is no domain, or none any more; or it states a size
 *   beyond what this process has mapped
 * - SNTR_RC_BAD_LATCH_VERSION: the domain's latch is not stamped
 * - SNTR_RC_LATCH_FAILED: the domain's latch could not be taken; or it could not be released, and then the work is done
 * - SNTR_RC_STORED_USER_AREA_TOO_LARGE: the domain's header is damaged
 * - SNTR_RC_CHUNK_OUTSIDE_HEAP: the domain's header is damaged; or a link of the list leads to an offset that no entry
 *   can have; or it leads to an entry whose key is not greater, as in a list that leads back into itself
 *
 * COMPARISON code, for lists of segments only, with nothing changed:
 * - SNTR_RC_SEGMENT_COMPARE_FAILED: private form: two keys are to be compared, and the comparison mode in the list's
 *   head is not SNTR_VERSION. That is so before the first initialization of the library. An empty list compares
 *   nothing, so it has no such failure
 */
#ifndef SNTR_SEGMENTS_H
#define SNTR_SEGMENTS_H

#include <sntr/export.h>
#include <sntr/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Bytes of a module's path that count: a path that fills them all has no terminator. */
#define SNTR_GCF_PATH_SIZE 0x400

/** The record of an attached segment: 40 bytes. Shared, in a shared list. */
typedef struct AttachSegInfo {
  uint32_t version;      /**< SNTR_VERSION in records that the library makes itself */
  uint32_t reserved0;    /**< not used */
  uint32_t latchVersion; /**< likewise */
  uint32_t reserved1;    /**< not used */
  OSSIPCResID key;       /**< of the segment: what the list is sorted by */
  uint32_t reserved2;    /**< not used */
  uint64_t reserved3;    /**< not used */
} AttachSegInfo;

/** The record of a GCF module: 0x420 bytes. Shared, in a shared list. */
typedef struct GCFModuleInfo {
  char path[SNTR_GCF_PATH_SIZE]; /**< ends with a NUL, unless it fills all bytes: what the list is sorted by */
  uint8_t data[0x20];            /**< the caller's */
} GCFModuleInfo;

/** Compares two segment keys: the u64 first, then the u32, as unsigned numbers.
 * - `mode`: SNTR_VERSION
 * - `a`, `b`: 12-byte keys, at any address
 * - `order`: receives -1, 0 or 1: `a` sorts before `b`, is equal, sorts after it
 *
 * Returns 0, or SNTR_RC_SEGMENT_COMPARE_FAILED: another mode, or a null; nothing is written. */
SNTR_API uint32_t sntrCompareSegID(uint32_t mode, const void *a, const void *b, int64_t *order);

/** @{ */
/** Finds an entry.
 * - `pool`: the pool of the list's entries
 * - `key`, `path`: what to find: a 12-byte key; a path, of which at most SNTR_GCF_PATH_SIZE bytes count
 * - `record`: receives the address of the stored record, or null if the list has no such entry
 *
 * Returns 0, found or not. Otherwise nothing is written:
 * - SNTR_RC_NULL_LIST_ENTRY: `key` or `path`, or `record`, is null
 * - DOMAIN, COMPARISON codes */
SNTR_API uint32_t sntrFindAttachSegInfoNodeInLList(const ShmPoolHandle *pool, const OSSIPCResID *key,
                                                   AttachSegInfo **record);
SNTR_API uint32_t sntrFindAttachSegInfoNodeInPMLList(const OSSIPCResID *key, AttachSegInfo **record);
SNTR_API uint32_t sntrFindGCFNodeInLList(const ShmPoolHandle *pool, const char *path, GCFModuleInfo **record);
SNTR_API uint32_t sntrFindGCFNodeInPMLList(const char *path, GCFModuleInfo **record);
/** @} */

/** @{ */
/** Inserts an entry at its place.
 * - `pool`: the pool to take its block from
 * - `record`: copied whole; of a module's record all 0x420 bytes are read
 * - `stored`: receives the address of the stored record
 *
 * Returns 0. Otherwise the list is as it was and nothing is written:
 * - SNTR_RC_NULL_LIST_ENTRY: `record` or `stored` is null
 * - SNTR_RC_ENTRY_EXISTS: the list has an entry with this key
 * - DOMAIN, COMPARISON codes
 * - shared form: any code of _sntrAllocateShmBlock()
 * - SNTR_RC_OSS_NO_MEMORY: private form: no private memory is left */
SNTR_API uint32_t sntrInsertAttachSegInfoNodeIntoLList(const ShmPoolHandle *pool, const AttachSegInfo *record,
                                                       AttachSegInfo **stored);
SNTR_API uint32_t sntrInsertAttachSegInfoNodeIntoPMLList(const AttachSegInfo *record, AttachSegInfo **stored);
SNTR_API uint32_t sntrInsertGCFNodeIntoLList(const ShmPoolHandle *pool, const GCFModuleInfo *record,
                                             GCFModuleInfo **stored);
SNTR_API uint32_t sntrInsertGCFNodeIntoPMLList(const GCFModuleInfo *record, GCFModuleInfo **stored);
/** @} */

/** @{ */
/** Unlinks one entry and frees it.
 * - `pool`: the pool that its block was taken from
 * - `key`, `path`: as for finding
 *
 * Returns 0. Otherwise the list is as it was, unless said otherwise:
 * - SNTR_RC_NULL_LIST_ENTRY: `key` or `path` is null
 * - SNTR_RC_NO_SUCH_ENTRY: the list has no such entry
 * - DOMAIN, COMPARISON codes
 * - shared form: any code of _sntrFreeShmBlock(): the entry is in the list as before; but if only the pool's latch
 *   could not be released, it is gone
 * - private form: a result of _ossMemFree(): the entry is gone all the same */
SNTR_API uint32_t sntrDeleteAttachSegInfoNodeFromLList(const ShmPoolHandle *pool, const OSSIPCResID *key);
SNTR_API uint32_t sntrDeleteAttachSegInfoNodeFromPMLList(const OSSIPCResID *key);
SNTR_API uint32_t sntrDeleteGCFNodeFromLList(const ShmPoolHandle *pool, const char *path);
SNTR_API uint32_t sntrDeleteGCFNodeFromPMLList(const char *path);
/** @} */

/** @{ */
/** Frees all entries, from the first on. `pool` is the pool that their blocks were taken from.
 *
 * Returns 0, and the list is empty. Otherwise the entries before the one that could not be freed are gone. The list
 * begins with that one, or after it, as described for deleting one:
 * - DOMAIN codes
 * - shared form: any code of _sntrFreeShmBlock()
 * - private form: a result of _ossMemFree() */
SNTR_API uint32_t sntrDeleteAttachSegInfoLList(const ShmPoolHandle *pool);
SNTR_API uint32_t sntrDeleteAttachSegInfoPMLList(void);
SNTR_API uint32_t sntrDeleteGCFLList(const ShmPoolHandle *pool);
SNTR_API uint32_t sntrDeleteGCFPMLList(void);
/** @} */

/** @{ */
/** Writes the keys of all entries to standard output, a line an entry, numbered from 1; or one line that says that the
 * list is empty. Of a segment's key it writes the u32, as a signed number. `pool` is any pool of the domain. The
 * shared form holds the domain's latch while it writes: an output that nobody reads would keep other processes
 * waiting.
 *
 * Returns 0. Otherwise the entries before the damage have been written:
 * - DOMAIN codes */
SNTR_API uint32_t sntrPrintAttachSegInfoNodeLList(const ShmPoolHandle *pool);
SNTR_API uint32_t sntrPrintAttachSegInfoNodePMLList(void);
SNTR_API uint32_t sntrPrintGCFNodeLList(const ShmPoolHandle *pool);
SNTR_API uint32_t sntrPrintGCFNodePMLList(void);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
