/* The lists that remember attached segments and GCF modules, each in a shared and in a private form.
 *
 * A list of attached segments has one entry a segment, found by the segment's 12-byte key; a list of modules one entry
 * a module, found by the module's path. Both are singly linked and ascend by their key. The shared form (...LList) lies
 * in a domain: its head in the domain's header, its entries blocks of the pool that is given, its links offsets. The
 * private form (...PMLList) belongs to this process: its heads are sntrSegLLHeader and sntrGCFLLHeader (sntr/frame.h).
 *
 * An insertion copies the caller's record whole and tells where the copy stands. The addresses that insertions and
 * searches give lead to the stored record itself, so that it can be filled or read in place; they are good until the
 * entry is deleted, by whatever process. The key of a stored record is not changed.
 *
 * Shared form: any thread of any process, with a pool handle of its own. Each call holds the latch of the domain from
 * start to end, and takes the pool's inside it where it allocates or frees. A thread that holds the domain's latch gets
 * SNTR_RC_LATCH_FAILED; one that holds the latch of any pool of the domain must not call. All entries of a domain's
 * lists come from one pool: an entry cannot be freed through another.
 * Private form: takes no latch; the caller sees to it that one thread at a time uses a list.
 *
 * "The domain's codes" are, for the shared form only, with nothing changed and nothing held:
 *   SNTR_RC_NULL_POOL_HANDLE      `pool` is null
 *   SNTR_RC_NULL_BASE             the handle's base address is null
 *   SNTR_RC_DOMAIN_OFFSET_UNEVEN, SNTR_RC_POOL_OFFSET_UNEVEN, SNTR_RC_POOL_CHUNK_OFFSET_UNEVEN  an offset in the handle
 *                                 is not a multiple of 8
 *   SNTR_RC_NOT_A_DOMAIN, SNTR_RC_DOMAIN_OFFSET_MISMATCH  there is no domain, or none any more; or it states a size
 *                                 beyond what this process has mapped
 *   SNTR_RC_BAD_LATCH_VERSION     the domain's latch is not stamped
 *   SNTR_RC_LATCH_FAILED          the domain's latch could not be got; or it could not be given back, and then the work
 *                                 is done
 *   SNTR_RC_STORED_USER_AREA_TOO_LARGE  the domain's header is damaged
 *   SNTR_RC_CHUNK_OUTSIDE_HEAP    the domain's header is damaged; or a link of the list leads to where no entry can be,
 *                                 or to one whose key is not greater, as in a list that leads back into itself
 * "The comparison's code" is, for lists of segments only, with nothing changed:
 *   SNTR_RC_SEGMENT_COMPARE_FAILED  private form: two keys are to be compared, and the comparison mode in the list's
 *                                   head is not SNTR_VERSION, as before the first initialization of the library. An
 *                                   empty list compares nothing, so there is no such failure on it.
 */
#ifndef SNTR_SEGMENTS_H
#define SNTR_SEGMENTS_H

#include <sntr/export.h>
#include <sntr/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Bytes of a module's path that count: a path that fills them all has no terminator. */
#define SNTR_GCF_PATH_SIZE 0x400

/* What is remembered of an attached segment: 40 bytes. Shared, in a shared list. */
typedef struct AttachSegInfo {
  uint32_t version; /* SNTR_VERSION in records that the library makes itself */
  uint32_t reserved0;
  uint32_t latchVersion; /* likewise */
  uint32_t reserved1;
  OSSIPCResID key; /* of the segment: what the list is sorted by */
  uint32_t reserved2;
  uint64_t reserved3;
} AttachSegInfo;

/* What is remembered of a GCF module: 0x420 bytes. Shared, in a shared list. */
typedef struct GCFModuleInfo {
  char path[SNTR_GCF_PATH_SIZE]; /* ends with a NUL, unless it fills all bytes: what the list is sorted by */
  uint8_t data[0x20];            /* the caller's */
} GCFModuleInfo;

/* Compares two segment keys: the u64 first, then the u32, as unsigned numbers.
 *   mode   SNTR_VERSION
 *   a, b   12-byte keys, at any address
 *   order  receives -1, 0 or 1: `a` sorts before `b`, is equal, sorts behind it
 * Answers 0; SNTR_RC_SEGMENT_COMPARE_FAILED: another mode, or a null; nothing is written. */
SNTR_API uint32_t sntrCompareSegID(uint32_t mode, const void *a, const void *b, int64_t *order);

/* Find an entry.
 *   pool         the pool of the list's entries
 *   key, path    what to find: a 12-byte key; a path, of which at most SNTR_GCF_PATH_SIZE bytes count
 *   record       receives the address of the stored record, or null where the list has no such entry
 * Answers 0, found or not. Otherwise nothing is written:
 *   SNTR_RC_NULL_LIST_ENTRY  `key` or `path`, or `record`, is null
 *   the domain's codes, the comparison's code */
SNTR_API uint32_t sntrFindAttachSegInfoNodeInLList(const ShmPoolHandle *pool, const OSSIPCResID *key,
                                                   AttachSegInfo **record);
SNTR_API uint32_t sntrFindAttachSegInfoNodeInPMLList(const OSSIPCResID *key, AttachSegInfo **record);
SNTR_API uint32_t sntrFindGCFNodeInLList(const ShmPoolHandle *pool, const char *path, GCFModuleInfo **record);
SNTR_API uint32_t sntrFindGCFNodeInPMLList(const char *path, GCFModuleInfo **record);

/* Insert an entry at its place.
 *   pool    where to take its block from
 *   record  copied whole; of a module's record all 0x420 bytes are read
 *   stored  receives the address of the stored record
 * Answers 0. Otherwise the list is as it was and nothing is written:
 *   SNTR_RC_NULL_LIST_ENTRY  `record` or `stored` is null
 *   SNTR_RC_ENTRY_EXISTS     the list has an entry with this key
 *   the domain's codes, the comparison's code
 *   any code of _sntrAllocateShmBlock(), in the shared form
 *   SNTR_RC_OSS_NO_MEMORY    private form: no private memory is left */
SNTR_API uint32_t sntrInsertAttachSegInfoNodeIntoLList(const ShmPoolHandle *pool, const AttachSegInfo *record,
                                                       AttachSegInfo **stored);
SNTR_API uint32_t sntrInsertAttachSegInfoNodeIntoPMLList(const AttachSegInfo *record, AttachSegInfo **stored);
SNTR_API uint32_t sntrInsertGCFNodeIntoLList(const ShmPoolHandle *pool, const GCFModuleInfo *record,
                                             GCFModuleInfo **stored);
SNTR_API uint32_t sntrInsertGCFNodeIntoPMLList(const GCFModuleInfo *record, GCFModuleInfo **stored);

/* Unlink one entry and free it.
 *   pool       the pool that its block was taken from
 *   key, path  as for finding
 * Answers 0. Otherwise the list is as it was, unless said otherwise:
 *   SNTR_RC_NULL_LIST_ENTRY  `key` or `path` is null
 *   SNTR_RC_NO_SUCH_ENTRY    the list has no such entry
 *   the domain's codes, the comparison's code
 *   any code of _sntrFreeShmBlock(), in the shared form: the entry is in the list as before; but where only the pool's
 *                            latch could not be given back, it is gone
 *   a result of _ossMemFree(), in the private form: the entry is gone all the same */
SNTR_API uint32_t sntrDeleteAttachSegInfoNodeFromLList(const ShmPoolHandle *pool, const OSSIPCResID *key);
SNTR_API uint32_t sntrDeleteAttachSegInfoNodeFromPMLList(const OSSIPCResID *key);
SNTR_API uint32_t sntrDeleteGCFNodeFromLList(const ShmPoolHandle *pool, const char *path);
SNTR_API uint32_t sntrDeleteGCFNodeFromPMLList(const char *path);

/* Free all entries, from the first on.
 *   pool  the pool that their blocks were taken from
 * Answers 0, and the list is empty. Otherwise the entries before the one that could not be freed are gone, and the list
 * begins with it (or behind it, as said for deleting one):
 *   the domain's codes
 *   any code of _sntrFreeShmBlock(), in the shared form; a result of _ossMemFree(), in the private form */
SNTR_API uint32_t sntrDeleteAttachSegInfoLList(const ShmPoolHandle *pool);
SNTR_API uint32_t sntrDeleteAttachSegInfoPMLList(void);
SNTR_API uint32_t sntrDeleteGCFLList(const ShmPoolHandle *pool);
SNTR_API uint32_t sntrDeleteGCFPMLList(void);

/* Write the keys of all entries to standard output, a line an entry, numbered from 1; or one line that tells that the
 * list is empty. Of a segment's key its u32 is shown, as a signed number. The shared form holds the domain's latch
 * while it writes: an output that nobody reads would keep other processes waiting.
 *   pool  any pool of the domain
 * Answers 0. Otherwise the entries before the damage have been written:
 *   the domain's codes */
SNTR_API uint32_t sntrPrintAttachSegInfoNodeLList(const ShmPoolHandle *pool);
SNTR_API uint32_t sntrPrintAttachSegInfoNodePMLList(void);
SNTR_API uint32_t sntrPrintGCFNodeLList(const ShmPoolHandle *pool);
SNTR_API uint32_t sntrPrintGCFNodePMLList(void);

#ifdef __cplusplus
}
#endif

#endif
