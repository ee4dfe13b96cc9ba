/* SPDX-License-Identifier: MIT */
/** @file
 * The records that cross the library's interface, and the numbers that callers pass in them.
 *
 * All are plain records of fixed-width integers. Those marked "Shared" lie in shared memory, and every process that
 * maps it reads them; their layout never changes. Those marked "Private" belong to one process. Every position inside
 * shared memory is a byte offset, never a pointer, because each process maps the memory at its own address.
 */
#ifndef SNTR_TYPES_H
#define SNTR_TYPES_H

#include <oss/atomic.h>
#include <oss/latch.h>
#include <oss/segment.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** The version word: the one value that every version argument, selector and stamped record holds. */
#define SNTR_VERSION UINT32_C(0x1317d17)

/** @{ */
/** Property kinds, equal to the node option bits that give a node an area for them. */
#define SNTR_KIND_BASE_R UINT32_C(0x20)
#define SNTR_KIND_BASE_V UINT32_C(0x40)
#define SNTR_KIND_R UINT32_C(0x80)
#define SNTR_KIND_V UINT32_C(0x100)
#define SNTR_KIND_IR UINT32_C(0x200)
#define SNTR_KIND_IV UINT32_C(0x400)
/** @} */

/** @name Further node options
 * Each gives the node an area for what it names. */
/** @{ */
#define SNTR_OPTION_NODE_ID UINT32_C(0x2)        /**< identifier: u64 capacity, u64 length, bytes */
#define SNTR_OPTION_RECORD_24 UINT32_C(0x4)      /**< a 24-byte record of the caller's */
#define SNTR_OPTION_RECORD_1056 UINT32_C(0x8)    /**< a 1056-byte record of the caller's */
#define SNTR_OPTION_NODE_INFO UINT32_C(0x10)     /**< status-node-information record and its data */
#define SNTR_OPTION_DEPENDENTS UINT32_C(0x800)   /**< dependent nodes */
#define SNTR_OPTION_EXPORT_LIST UINT32_C(0x1000) /**< export list: 240 bytes */
/** @} */

/** The number of areas of a node. */
#define SNTR_AREA_COUNT 64

/** @{ */
/** The entry of the area table that an option bit selects: its bit number less one. The sizes passed at creation have
 * the same index. */
#define SNTR_AREA_NODE_ID 0
#define SNTR_AREA_RECORD_24 1
#define SNTR_AREA_RECORD_1056 2
#define SNTR_AREA_NODE_INFO 3
#define SNTR_AREA_BASE_R 4
#define SNTR_AREA_BASE_V 5
#define SNTR_AREA_R 6
#define SNTR_AREA_V 7
#define SNTR_AREA_IR 8
#define SNTR_AREA_IV 9
#define SNTR_AREA_DEPENDENTS 10
#define SNTR_AREA_EXPORT_LIST 11
/** @} */

/** @{ */
/** Layouts of a property list. */
#define SNTR_LAYOUT_ARRAY UINT32_C(0)
#define SNTR_LAYOUT_HASH UINT32_C(1)
/** @} */

/** @{ */
/** Node conditions. */
#define SNTR_CONDITION_CREATED UINT32_C(1)
#define SNTR_CONDITION_INITIALIZED UINT32_C(2)
#define SNTR_CONDITION_ACTIVE UINT32_C(3)
#define SNTR_CONDITION_ABANDONED UINT32_C(4)
#define SNTR_CONDITION_DISASSOCIATED UINT32_C(5)
/** @} */

/** Concurrency model under which every critical section holds the node's latch. Under 0 and 2 to 5 nothing is locked.
 */
#define SNTR_MODEL_LATCHED UINT32_C(1)

/** @{ */
/** Largest tag, number of properties of a list, and size in bytes of a node and of one of its areas. */
#define SNTR_MAX_TAG UINT64_C(0x100000)
#define SNTR_MAX_PROPERTIES UINT64_C(0x8000)
#define SNTR_MAX_NODE_SIZE UINT64_C(0x8000000)
#define SNTR_MAX_AREA_SIZE UINT64_C(0x4000000)
/** @} */

/** @name Domain kinds */
/** @{ */
#define SNTR_DOMAIN_CREATED INT32_C(1)  /**< a segment that this call creates */
#define SNTR_DOMAIN_ATTACHED INT32_C(2) /**< a segment that exists */
#define SNTR_DOMAIN_MEMORY INT32_C(3)   /**< memory of the caller's */
/** @} */

/** @{ */
/** Modes of freeing. */
#define SNTR_FREE_DOMAIN_IF_UNUSED UINT32_C(1)
#define SNTR_FREE_DOMAIN_ALWAYS UINT32_C(2)
#define SNTR_FREE_POOL_IF_UNUSED UINT32_C(3)
#define SNTR_FREE_POOL_ALWAYS UINT32_C(4)
/** @} */

/** @{ */
/** Heap types. */
#define SNTR_HEAP_DOMAIN UINT32_C(1)
#define SNTR_HEAP_POOL UINT32_C(2)
/** @} */

/** One property record, reached by address only. */
typedef struct SNodeProperty SNodeProperty_t;

/** Shared. The latches of a node or of a record: 388 bytes. Packed, because a record may begin at any byte. */
typedef struct __attribute__((packed)) SNodeLatchBlock {
  uint32_t latchVersion;              /**< SNTR_VERSION once the latches are initialized */
  ossVLatch latch;                    /**< held during every critical section of model 1 */
  ossVLatch spareLatch;               /**< initialized with the first; never entered */
  OSSVAtomicSigned32 writeCount;      /**< write sections entered */
  OSSVAtomicSigned32 writeInProgress; /**< 1 while a writer is inside */
} SNodeLatchBlock_t;

/** Shared. One entry of a node's area table: 24 bytes. */
typedef struct AreaEntry {
  uint64_t areaSize;   /**< bytes, as given at creation */
  uint64_t areaUsed;   /**< bytes in use */
  uint64_t areaOffset; /**< of the first byte, from the start of the node */
} AreaEntry;

/** Shared. The node control block: 0xb60 bytes, followed by the areas. Read its fields through the operations. The
 * block is public so that a caller can name its primaryLatch and tools can print it. */
typedef struct SNodeCB {
  uint32_t nodeParam0;     /**< first word of the node parameters */
  uint32_t nodeParam1;     /**< second word of the node parameters */
  uint64_t nodeParam2;     /**< third word of the node parameters */
  uint64_t nodeTag;        /**< 0, or at most SNTR_MAX_TAG */
  uint64_t nodeBase;       /**< start of the memory that holds the node, in the process that initialized it */
  uint64_t nodeSize;       /**< bytes, control block and areas */
  uint64_t nodeOptions;    /**< `SNTR_KIND_*` and `SNTR_OPTION_*` bits */
  uint64_t nodeEyecatcher; /**< 0xcafec0ffee15bad8 once initialized */
  uint32_t statusMode;     /**< liveness by 1 counter, 2 time */
  uint32_t nodeCondition;  /**< `SNTR_CONDITION_*` */
  uint32_t nodeParam5;     /**< sixth word of the node parameters */
  uint32_t updateInterval; /**< milliseconds between two refreshes by the owner */
  uint64_t nodeTime;       /**< milliseconds since 1970 UTC, of the last refresh */
  OSSVAtomicSigned32 reconfigCounter;   /**< structural changes */
  OSSVAtomicSigned32 updateCounter;     /**< refreshes under status mode 1 */
  OSSVAtomicSigned32 auxCounter1;       /**< 0 from initialization on */
  OSSVAtomicSigned32 auxCounter2;       /**< 0 from initialization on */
  SNodeLatchBlock_t primaryLatch;       /**< every critical section on the node uses it */
  SNodeLatchBlock_t secondaryLatch;     /**< initialized with the first; never entered */
  uint32_t concurrencyModel;            /**< 0 to 5 */
  uint32_t reserved;                    /**< not used */
  AreaEntry areaTable[SNTR_AREA_COUNT]; /**< by `SNTR_AREA_*` */
} SNodeCB_t;

/** Private. A process's hold on a domain; the library makes and frees it. */
typedef struct ShmDomainHandle {
  void *baseAddress;         /**< start of the domain in this process */
  int32_t domainKind;        /**< `SNTR_DOMAIN_*` */
  uint64_t heapHeaderOffset; /**< of the domain header, from baseAddress; a multiple of 8 */
  void *memObject;           /**< the services layer's memory object; null for SNTR_DOMAIN_MEMORY */
  uint64_t mappedSize;       /**< bytes at baseAddress that this process may touch */
  uint8_t reserved[16];      /**< not used */
} ShmDomainHandle;

/** Private. A process's hold on a pool; the library makes and frees it. */
typedef struct ShmPoolHandle {
  void *baseAddress;           /**< the domain's, in this process */
  uint64_t domainHeaderOffset; /**< of the domain header */
  uint64_t poolHeaderOffset;   /**< of the pool's header: what another process connects to */
  uint64_t poolChunkOffset;    /**< of the pool's chunk in the domain */
} ShmPoolHandle;

/** Private. Domain parameters; a zero field takes its default, a null record takes all defaults. */
typedef struct ShmDomainParams {
  uint64_t reservedSelector;    /**< default SNTR_VERSION */
  uint64_t handleAllocSelector; /**< default SNTR_VERSION */
  uint64_t latchSelector;       /**< default SNTR_VERSION */
  uint64_t initialFlags;        /**< bit 0: marked for deletion; others are the caller's */
  uint64_t heapHeaderOffset;    /**< a multiple of 8; default 0 */
  uint64_t slotCount;           /**< at most 10000; default from the size */
  uint64_t maxLevel;            /**< at most 25; default 7 */
  uint64_t granule;             /**< 8, or a multiple of 8 up to the domain's size; default 0x1000 */
  uint64_t userAppAreaSize;     /**< bytes; default 0 */
  uint64_t domainKind;          /**< default SNTR_DOMAIN_CREATED to create, SNTR_DOMAIN_ATTACHED to connect */
  uint64_t accessMode;          /**< permission bits of a created segment; default 660 (octal) */
  const void *userAppData;      /**< userAppAreaSize bytes copied into the user application area, or null */
} ShmDomainParams;

/** Private. Pool parameters; a zero field takes its default, a null record takes all defaults. */
typedef struct ShmPoolParams {
  uint64_t reservedSelector;    /**< default SNTR_VERSION */
  uint64_t handleAllocSelector; /**< default SNTR_VERSION */
  uint64_t latchSelector;       /**< default SNTR_VERSION */
  uint64_t initialFlags;        /**< bit 0: marked for deletion; others are the caller's */
  uint64_t slotCount;           /**< at most 250000; default from the size */
  uint64_t maxLevel;            /**< at most 25; default 10 */
  uint64_t granule;             /**< 8, or a multiple of 8 up to the pool's size; default 8 */
  uint64_t userAppAreaSize;     /**< bytes; default 0 */
  const void *userAppData;      /**< userAppAreaSize bytes copied into the user application area, or null */
} ShmPoolParams;

/** Private. The state of a heap. Sizes in bytes. */
typedef struct ShmHeapInfo {
  uint64_t reservedSelector;    /**< SNTR_VERSION */
  uint64_t handleAllocSelector; /**< SNTR_VERSION */
  uint64_t latchSelector;       /**< SNTR_VERSION */
  uint64_t flags;               /**< bit 0: marked for deletion */
  uint64_t heapHeaderOffset;    /**< of the header, from the base address */
  uint64_t connectCount;        /**< handles connected, of all processes */
  uint64_t totalSize;           /**< of the heap */
  uint64_t freeBytes;           /**< in free blocks */
  uint64_t allocatedBytes;      /**< in chunks, their overhead included */
  uint64_t slotCount;           /**< node slots planned for the skip-list area */
  uint64_t granule;             /**< allocation unit */
  uint64_t userAppAreaSize;     /**< of the user application area */
  uint64_t maxLevel;            /**< levels of the skip lists */
  uint64_t skipListAreaSize;    /**< of the skip-list area */
  uint64_t skipListBytesUsed;   /**< by its header and by live nodes */
  uint64_t allocatedCount;      /**< chunks */
  uint64_t skipListNodeCount;   /**< live nodes */
  uint64_t allocatedLevel;      /**< highest level in use of the record of allocated chunks */
  uint64_t intentWord;          /**< 0 while no change is under way */
  uint64_t freeLevel;           /**< highest level in use of the free list */
  uint64_t topNodeWord0;        /**< of the top-node information */
  uint64_t topNodeWord2;        /**< of the top-node information */
} ShmHeapInfo;

/** Private. The place to create a node in, made by the caller or by the segment operations. 72 bytes. */
typedef struct ShmSegInfo {
  uint32_t recordVersion;  /**< SNTR_VERSION in a record of the attach list */
  uint32_t version;        /**< SNTR_VERSION */
  uint32_t latchVersion;   /**< SNTR_VERSION: stamped into the latches of the nodes created here */
  uint32_t reserved0;      /**< not used */
  OSSIPCResID key;         /**< 12 bytes */
  uint32_t reserved1;      /**< not used */
  uint64_t reserved2;      /**< not used */
  ShmDomainHandle *domain; /**< of the segment, in this process */
  ShmPoolHandle *pool;     /**< in the domain */
  uint64_t reserved3;      /**< not used */
  uint64_t reserved4;      /**< not used */
} ShmSegInfo_t;

/** Private. One cell of the per-process list of attached segments. */
typedef struct SegAttachCell {
  struct SegAttachCell *next; /**< null: the last */
  ShmSegInfo_t *info;         /**< of the segment */
} SegAttachCell;

/** Private. Node parameters; a zero field takes its default, a null record takes all defaults. */
typedef struct SNodeParams {
  uint32_t param0;           /**< stored as nodeParam0 */
  uint32_t param1;           /**< stored as nodeParam1 */
  uint32_t param2;           /**< stored as nodeParam2 */
  uint32_t condition;        /**< 2, 4, 8, 16 or 32; default 2 (initialize) or 3 (set options) */
  uint32_t statusMode;       /**< 1 counter (default), 2 time */
  uint32_t param5;           /**< default 200 */
  uint32_t updateInterval;   /**< milliseconds; default 200 */
  uint32_t concurrencyModel; /**< default 1; stored without a range check */
  uint64_t time;             /**< milliseconds since 1970 UTC; default now */
} SNodeParams;

/** The status-node-information record: 56 bytes. */
typedef struct SNodeInfo {
  uint64_t value;        /**< the caller's */
  uint64_t firstSize;    /**< at most SNTR_MAX_TAG */
  uint64_t dataSize;     /**< bytes of the data that follow the record in the node */
  uint64_t dataPosition; /**< written by sntrInitNode() into the node's copy */
  uint64_t segmentEntry; /**< offset of the entry in the shared list of segments */
  uint64_t moduleEntry;  /**< offset of the entry in the shared list of modules */
  uint64_t base;         /**< base address of the pool's domain, in the process that made the record */
} SNodeInfo;

#ifdef __cplusplus
}
#endif

#endif
