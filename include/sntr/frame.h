/* SPDX-License-Identifier: MIT */
/** @file
 * Start and end of the library in a process, the globals that go with them, and three small utilities.
 *
 * A process calls SNTROneTimeOnlyInitialization() before anything else of the segment operations. It calls
 * SNTRCleanup() once for each initialization that succeeded. Node, property and storage operations work without either.
 */
#ifndef SNTR_FRAME_H
#define SNTR_FRAME_H

#include <sntr/export.h>
#include <sntr/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** @{ */
/** Values of sntrAPIIsInitialized. Any other value means that the library was never initialized. */
#define SNTR_INITIALIZED UINT32_C(0xf4eebee4)
#define SNTR_CLEANED_UP UINT32_C(0xbee4f4ee)
/** @} */

/** @{ */
/** Values of the state word of sntrGASegInfo. */
#define SNTR_SEGMENT_INFO_EMPTY UINT32_C(0xbeeff4ee)
#define SNTR_SEGMENT_INFO_FILLED UINT32_C(0xf4eebeef)
/** @} */

/** @{ */
/** Modes of SNTRCleanup(). */
#define SNTR_CLEANUP_ONE_REFERENCE UINT32_C(1)
#define SNTR_CLEANUP_ALL UINT32_C(2)
/** @} */

/** Private. Head of the per-process list of attached segments. */
typedef struct SegAttachHead {
  SegAttachCell *first; /**< null: no segment is attached */
  uint64_t reserved[2]; /**< not used */
} SegAttachHead;

/** Private. The process-wide segment information: 80 bytes. Its `info` owns what its `domain` and `pool` point to.
 * Its key holds a latch until the segment operations fill the record: the identity word 0xa050004, and a state word
 * of 0. */
typedef struct SegmentInfoGlobal {
  uint32_t state;    /**< `SNTR_SEGMENT_INFO_*` */
  uint32_t reserved; /**< not used */
  ShmSegInfo_t info; /**< its recordVersion is SNTR_VERSION once it owns anything */
} SegmentInfoGlobal;

/** Private. Head of the process-local list of segments: 48 bytes. */
typedef struct SegmentListHead {
  void *first;            /**< null: empty */
  uint32_t firstVersion;  /**< first argument of the initialization; also the comparison mode of the list */
  uint32_t reserved0;     /**< not used */
  uint32_t secondVersion; /**< second argument of the initialization */
  uint32_t reserved1;     /**< not used */
  uint64_t latchIdentity; /**< 0xa050004 from load on */
  uint32_t latchState;    /**< 0 from load on */
  uint32_t reserved2;     /**< not used */
  uint64_t reserved3;     /**< not used */
} SegmentListHead;

/** Private. Head of the process-local list of modules: 1064 bytes. */
typedef struct ModuleListHead {
  void *first;            /**< null: empty */
  uint64_t reserved[132]; /**< not used */
} ModuleListHead;

/** @name The process's own state
 * Programs may read these, not write them. The two latches are one byte each, 0 free and 1 held. sntrAPIInitLatch is
 * always taken before sntrSegAttachLatch. */
/** @{ */
extern SNTR_API uint32_t sntrAPIIsInitialized;   /**< SNTR_INITIALIZED, SNTR_CLEANED_UP, or neither */
extern SNTR_API uint32_t sntrAPIInitRefCount;    /**< initializations not yet cleaned up */
extern SNTR_API uint8_t sntrAPIInitLatch;        /**< guards the counts and the initialization word */
extern SNTR_API uint8_t sntrSegAttachLatch;      /**< guards the lists and the segment information */
extern SNTR_API uint32_t sntrGARefCount;         /**< the segment operations' own count */
extern SNTR_API SegmentInfoGlobal sntrGASegInfo; /**< the segment information */
extern SNTR_API SegmentListHead sntrSegLLHeader; /**< the process-local list of segments */
extern SNTR_API ModuleListHead sntrGCFLLHeader;  /**< the process-local list of modules */
extern SNTR_API SegAttachHead *pSegAttachList;   /**< the attached segments; null while not initialized */
/** @} */

/** Initializes the library, or counts one more use of it. Any thread.
 * - `firstVersion`: SNTR_VERSION; only the first initialization looks at it
 * - `secondVersion`: SNTR_VERSION; likewise
 *
 * Returns 0: the use is counted, and the caller owes one SNTRCleanup(). Otherwise the count is what it was and the
 * call can be repeated:
 * - SNTR_RC_BAD_LATCH_VERSION: first initialization, and `secondVersion` is not SNTR_VERSION (tested first)
 * - SNTR_RC_BAD_VERSION: first initialization, and `firstVersion` is not SNTR_VERSION
 * - SNTR_RC_ATTACH_LIST_ALLOC_FAILED: no private memory is left for the head of the attach list
 * - SNTR_RC_NOT_INITIALIZED: uses are counted, yet the initialization word is not SNTR_INITIALIZED: it was
 *   overwritten */
SNTR_API uint32_t SNTROneTimeOnlyInitialization(uint32_t firstVersion, uint32_t secondVersion);

/** Ends one use of the library, or all of them. The last one frees the process's segment information, its list of
 * attached segments and the head of that list. It detaches no segments, and leaves the two process-local lists as they
 * are. A record of the attach list that does not begin with SNTR_VERSION is not trusted: it stays allocated, with its
 * cell. Any thread; no other thread may be using segment operations then.
 * - `mode`: SNTR_CLEANUP_ONE_REFERENCE or SNTR_CLEANUP_ALL
 *
 * Returns 0, or:
 * - SNTR_RC_NOT_INITIALIZED: the library is not initialized, or was cleaned up; nothing was done
 * - SNTR_RC_BAD_CLEANUP_MODE: another mode; nothing was done
 * - a result of _ossMemFree(): something could not be freed, and nothing further was. The uses stay counted, and the
 *   call can be repeated. Entries of the attach list that had not been reached stay allocated */
SNTR_API uint32_t SNTRCleanup(uint32_t mode);

/** Writes the macro, the number and the meaning of a result code, such as "SNTR_RC_NULL_NODE (0x...): the node is
 * null". Not traced. Any thread.
 * - `rc`: the result code, 0 included
 * - `buffer`: receives the text; always ends with a NUL
 * - `size`: of the buffer, in bytes
 *
 * Returns 0, or:
 * - SNTR_RC_OSS_BAD_ARGUMENT: `buffer` is null or `size` is 0; nothing is written
 * - SNTR_RC_OSS_UNKNOWN_CODE: the code has no name; the buffer receives its value
 * - SNTR_RC_OSS_TRUNCATED: the buffer holds the beginning of the text only */
SNTR_API uint32_t sntrPrintrc(uint32_t rc, char *buffer, uint64_t size);

/** Reverses bytes in place: turns a value from one byte order into the other.
 * - `bytes`: the bytes; null only with a length of 0
 * - `length`: how many; 0 and 1 change nothing */
SNTR_API void sntrReverseByteSequence(uint8_t *bytes, uint64_t length);

/** Returns the calling thread's number, as ossThreadID() does. */
SNTR_API uint32_t ossThreadIDAsInt(void);

#ifdef __cplusplus
}
#endif

#endif
