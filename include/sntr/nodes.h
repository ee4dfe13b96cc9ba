/* SPDX-License-Identifier: MIT */
/** @file
 * Nodes: creation, initialization, options, and the steps of a node's life.
 *
 * A node is one block of memory, in a pool of a shared segment or in private memory: the control block, then up to 64
 * areas whose sizes its creator chooses. Its life:
 * 1. It is created (condition 1).
 * 2. sntrInitNode() initializes it (condition 2).
 * 3. sntrActivateNode() makes it active (condition 3): its content can be read and written.
 * 4. sntrAbandonNode() makes it abandoned (condition 4), or sntrDisassociateNode() disassociated (condition 5).
 * 5. sntrDisclaimNode() frees its block.
 *
 * Thread safety: the calls that change a node, other than creating and disclaiming, each run in one write section of it
 * (sntr/latches.h). So any thread of any process may make them.
 *
 * SECTION codes, with nothing changed and nothing held unless said otherwise:
 * - SNTR_RC_VALUE_OUT_OF_RANGE: the node's concurrency model is above 5
 * - SNTR_RC_BAD_LATCH_VERSION: model 1, and the node's latch block is not stamped
 * - SNTR_RC_LATCH_FAILED: the latch could not be taken; or it could not be released, and then the work is done
 * - SNTR_RC_ATOMIC_FAILED: writing only: the mark or count of writers could not be changed; on leaving, the work is
 *   done and the latch released
 *
 * The CONDITION codes are those of sntrCheckNodeCondition(): the node is not active. A reference that is null counts as
 * a reference to a null node.
 */
#ifndef SNTR_NODES_H
#define SNTR_NODES_H

#include <sntr/export.h>
#include <sntr/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Creates a node in the pool of a segment, in condition 1, under concurrency model 1, with all areas zeroed. No other
 * thread or process can use the node before the caller passes its offset on.
 * - `info`: the place: the version, the latch version and the pool are used
 * - `node`: receives the node's address in this process
 * - `options`: `SNTR_KIND_*` and `SNTR_OPTION_*` bits
 * - `areaSizes`: 64 sizes in bytes; the area of an option bit has the index of its bit number less one (`SNTR_AREA_*`)
 * - `nodeSize`: receives the size of the whole node, in bytes, as soon as the pool is found to have that much
 * - `offset`: receives the node's offset from the start of the domain: what another process needs to find it
 *
 * The test of the pool's room counts its free bytes and is advisory.
 *
 * Returns 0. Otherwise there is no node and, but for the size, nothing is written:
 * - SNTR_RC_NULL_SEGMENT_INFO: `info` is null
 * - SNTR_RC_NULL_AREA_SIZES: `areaSizes` is null
 * - SNTR_RC_NULL_SIZE_OUTPUT: `nodeSize` is null
 * - SNTR_RC_NULL_OFFSET_OUTPUT: `offset` is null
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SNTR_RC_AREA_TOO_LARGE: an area is larger than SNTR_MAX_AREA_SIZE
 * - SNTR_RC_BAD_NODE_SIZE: the node would be larger than SNTR_MAX_NODE_SIZE
 * - SNTR_RC_BAD_VERSION: `info->version` is not SNTR_VERSION
 * - SNTR_RC_NULL_POOL_HANDLE: `info->pool` is null
 * - any code of sntrLatchShmPool() and sntrUnlatchShmPool()
 * - SNTR_RC_POOL_INFO_FAILED: the pool's information could not be read
 * - SNTR_RC_POOL_TOO_SMALL_FOR_NODE: the pool has fewer free bytes than the node needs
 * - SNTR_RC_NODE_ALLOCATION_FAILED: the block could not be allocated; `nodeSize` is written
 * - SNTR_RC_BAD_LATCH_VERSION: `info->latchVersion` is not SNTR_VERSION; `nodeSize` is written
 * - SNTR_RC_LATCH_FAILED, SNTR_RC_ATOMIC_FAILED: the node's latches could not be initialized; `nodeSize` is written
 * - SNTR_RC_NODE_BELOW_BASE: the node lies below the domain: `info->pool` is damaged. The node exists and `node` is
 *   written, because the block is not freed */
SNTR_API uint32_t sntrCreateNode(const ShmSegInfo_t *info, SNodeCB_t **node, uint64_t options,
                                 const uint64_t *areaSizes, uint64_t *nodeSize, uint64_t *offset);

/** Creates a node in private memory. _ossMemFree() frees it.
 * - `node`: receives the node's address
 * - `options`: `SNTR_KIND_*` and `SNTR_OPTION_*` bits
 * - `areaSizes`: 64 sizes in bytes, as for sntrCreateNode()
 * - `nodeSize`: receives the size of the whole node, in bytes, before the versions are tested
 * - `address`: receives the node's address too
 * - `version`: SNTR_VERSION
 * - `latchVersion`: SNTR_VERSION: stamped into the node's latch blocks
 *
 * Returns 0. Otherwise there is no node and, but for the size, nothing is written:
 * - SNTR_RC_NULL_AREA_SIZES: `areaSizes` is null
 * - SNTR_RC_NULL_SIZE_OUTPUT: `nodeSize` is null
 * - SNTR_RC_NULL_OFFSET_OUTPUT: `address` is null
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SNTR_RC_AREA_TOO_LARGE: an area is larger than SNTR_MAX_AREA_SIZE
 * - SNTR_RC_BAD_NODE_SIZE: the node would be larger than SNTR_MAX_NODE_SIZE
 * - SNTR_RC_BAD_VERSION: `version` is not SNTR_VERSION; `nodeSize` is written
 * - SNTR_RC_NODE_ALLOCATION_FAILED: no private memory is left; `nodeSize` is written
 * - SNTR_RC_BAD_LATCH_VERSION: `latchVersion` is not SNTR_VERSION; `nodeSize` is written
 * - SNTR_RC_LATCH_FAILED, SNTR_RC_ATOMIC_FAILED: the node's latches could not be initialized; `nodeSize` is written */
SNTR_API uint32_t sntrCreateNodeInPM(SNodeCB_t **node, uint64_t options, const uint64_t *areaSizes, uint64_t *nodeSize,
                                     SNodeCB_t **address, uint32_t version, uint32_t latchVersion);

/** Initializes a node: writes its parameters, sets its tag and counters to 0, and fills the areas of the options below.
 * The arguments of an option that the node was created without are ignored.
 * - `node`: reference to the node
 * - `base`: address, in this process, of the start of the memory that holds the node
 * - `idLength`: bytes of the identifier; 0 for an empty one
 * - `id`: the identifier (option SNTR_OPTION_NODE_ID)
 * - `info`: the status-node-information record (SNTR_OPTION_NODE_INFO). The node's copy gets base + area offset + 8 as
 *   its dataPosition; this one is left as it is
 * - `infoData`: info->dataSize bytes, which follow the record; may be null if that is 0
 * - `capacity`: bytes kept for the identifier and for the data, at most 0x1000; rounded up to a multiple of 8
 * - `record24`: 24 bytes (SNTR_OPTION_RECORD_24)
 * - `record1056`: 1056 bytes (SNTR_OPTION_RECORD_1056)
 * - `parameters`: the node's parameters; null for the defaults. The condition becomes 2 unless they have another. A
 *   concurrency model other than the node's takes effect when this call leaves its section
 *
 * Content of the areas afterwards:
 *
 * | Area | Content |
 * |---|---|
 * | identifier | u64 capacity, u64 length, bytes |
 * | information | u64 capacity, record, data |
 * | records | as passed |
 * | export list | the options as u64, then zeroes up to 240 bytes |
 *
 * Returns 0. Otherwise nothing was changed up to the first of the SECTION codes:
 * - SNTR_RC_NULL_NODE: the node is null
 * - SNTR_RC_CAPACITY_TOO_LARGE: `capacity` is above 0x1000
 * - SNTR_RC_NULL_ID: `id` is null, or `infoData` is and info->dataSize is not 0
 * - SNTR_RC_DATA_TOO_LONG: `idLength` or info->dataSize is above the rounded capacity
 * - SNTR_RC_NULL_NODE_INFO: `info` is null
 * - SNTR_RC_NULL_RECORD1056: `record1056` is null
 * - SNTR_RC_NULL_RECORD24: `record24` is null
 * - SNTR_RC_BAD_CONDITION: parameters->condition is not 0, 2, 4, 8, 16 or 32 (SNTR_CONDITION_ACTIVE is not set here:
 *   sntrActivateNode() does that)
 * - SNTR_RC_BAD_STATUS_MODE: parameters->statusMode is above 2
 * - SECTION codes
 * - SNTR_RC_ATOMIC_FAILED: a counter could not be set; parameters and areas are as they were
 * - SNTR_RC_AREA_NEVER_CREATED, SNTR_RC_AREA_OUTSIDE_NODE: the node's area table is damaged
 * - SNTR_RC_AREA_OVERUSED: an area is too small for its content, or its entry is damaged. With these three the areas
 *   before it are filled and the parameters are stored
 * - SNTR_RC_VALUE_OUT_OF_RANGE: all is done, and the stored concurrency model is above 5: the node cannot be entered
 *   any more until sntrSetConcurrencyModel() corrects it */
SNTR_API uint32_t sntrInitNode(SNodeCB_t **node, uint64_t base, uint64_t idLength, const void *id,
                               const SNodeInfo *info, const void *infoData, uint64_t capacity, const void *record24,
                               const void *record1056, const SNodeParams *parameters);

/** Stores a node's parameters anew; areas, tag and counters stay.
 * - `node`: the node
 * - `parameters`: as for sntrInitNode(), except that the condition becomes 3 unless they have another
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SNTR_RC_BAD_CONDITION, SNTR_RC_BAD_STATUS_MODE: as for sntrInitNode(); nothing was changed
 * - SECTION codes
 * - SNTR_RC_VALUE_OUT_OF_RANGE: all is done, and the stored concurrency model is above 5 */
SNTR_API uint32_t sntrSetNodeOptions(SNodeCB_t *node, const SNodeParams *parameters);

/** Returns the size of an active node.
 * - `node`: the node
 * - `nodeSize`: receives the bytes of control block and areas
 * - `latchHeld`: non-zero: the caller is in a section of the node
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SNTR_RC_NULL_SIZE_OUTPUT: `nodeSize` is null
 * - SECTION codes
 * - CONDITION codes; nothing is written
 * - SNTR_RC_BAD_NODE_SIZE: the stored size is 0 or above SNTR_MAX_NODE_SIZE; it is written all the same */
SNTR_API uint32_t sntrGetNodeSize(SNodeCB_t *node, uint64_t *nodeSize, uint32_t latchHeld);

/** Returns the width of a register value of an active node.
 * - `node`: the node
 * - `size`: receives 4, in bytes
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SNTR_RC_NULL_REGISTER_SIZE_OUTPUT: `size` is null
 * - SECTION codes
 * - CONDITION codes; nothing is written */
SNTR_API uint32_t sntrReturnRegisterSize(SNodeCB_t *node, uint64_t *size);

/** @{ */
/** Changes a node's condition, whatever it is.
 *
 * | Function | The node becomes | Meaning |
 * |---|---|---|
 * | sntrActivateNode() | active, unless it was only created | its content can be read and written |
 * | sntrAbandonNode() | abandoned | its owner no longer cares for it |
 * | sntrDisassociateNode() | disassociated | it no longer belongs to a tree |
 *
 * - `node`: reference to the node
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_NODE: the node is null
 * - SECTION codes
 * - SNTR_RC_NODE_ONLY_CREATED: sntrActivateNode(): the node was not initialized, and stays so */
SNTR_API uint32_t sntrActivateNode(SNodeCB_t **node);
SNTR_API uint32_t sntrAbandonNode(SNodeCB_t **node);
SNTR_API uint32_t sntrDisassociateNode(SNodeCB_t **node);
/** @} */

/** Returns the block of a node to its pool. Takes no latch of the node: the caller ensures that no thread of any
 * process uses the node any more.
 * - `node`: reference to the node; null once the block is freed
 * - `pool`: the pool in which it was created
 * - `version`: SNTR_VERSION
 *
 * Returns 0. Otherwise the node is as it was, unless the reference is null now:
 * - SNTR_RC_NULL_NODE: the node is null
 * - SNTR_RC_NULL_POOL_HANDLE: `pool` is null
 * - SNTR_RC_BAD_VERSION: `version` is not SNTR_VERSION
 * - any code of _sntrFreeShmBlock() */
SNTR_API uint32_t sntrDisclaimNode(SNodeCB_t **node, const ShmPoolHandle *pool, uint32_t version);

/** Fills a status-node-information record, the `info` of sntrInitNode(). Ensures that the shared lists
 * (sntr/segments.h) have an entry for the segment and one for the module that the node refers to. Existing entries are
 * used as they are. Takes the domain's latch and in it the pool's: a thread that holds one of them must not call.
 * - `record`: receives `value`, both sizes, the offsets of the two entries' records from the start of the domain, and
 *   the domain's address in this process. `dataPosition` is 0
 * - `info`: the segment whose lists hold the entries: its pool is used
 * - `key`: 12-byte key of the segment to enter
 * - `value`: stored as it is
 * - `firstSize`: at most SNTR_MAX_TAG
 * - `dataSize`: bytes of the data that will accompany the record, at most 0x1000
 * - `record1056`: record of the module (GCFModuleInfo), which begins with its path; null counts as all zeroes
 *
 * Returns 0. Otherwise the record is as it was; an entry that was added for the segment stays if the one for the
 * module could not be:
 * - SNTR_RC_NULL_KEY: `info` or `key` is null
 * - SNTR_RC_NULL_NODE_INFO: `record` is null
 * - SNTR_RC_TAG_TOO_LARGE: `firstSize` is too large
 * - SNTR_RC_DATA_TOO_LONG: `dataSize` is too large
 * - SNTR_RC_NULL_POOL_HANDLE: the pool of `info` is null
 * - any code of sntrInsertAttachSegInfoNodeIntoLList() and sntrInsertGCFNodeIntoLList() but SNTR_RC_ENTRY_EXISTS */
SNTR_API uint32_t sntrAddStatusNodeInfo(SNodeInfo *record, const ShmSegInfo_t *info, const OSSIPCResID *key,
                                        uint64_t value, uint64_t firstSize, uint64_t dataSize, const void *record1056);

/** Finds the area of a kind in a node's area table. Takes no latch.
 * - `entry`: receives the address of the entry inside the node. A later read of it reads memory that other processes
 *   may have changed
 * - `node`: the node
 * - `kind`: a `SNTR_KIND_*` or `SNTR_OPTION_*` bit; if several are set the lowest counts, bit 0 aside
 *
 * Returns 0. Otherwise nothing is written:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SNTR_RC_NULL_OUTPUT: `entry` is null
 * - SNTR_RC_BAD_KIND: no bit from 1 to 12 is the lowest
 * - SNTR_RC_AREA_NEVER_CREATED: the entry has no offset
 * - SNTR_RC_AREA_OVERUSED: more of the area is in use than it has
 * - SNTR_RC_AREA_OUTSIDE_NODE: it is larger than SNTR_MAX_AREA_SIZE, or not wholly after the control block and inside
 *   the node, or the size of the node is impossible */
SNTR_API uint32_t sntrGetPExportPointer(AreaEntry **entry, SNodeCB_t *node, uint32_t kind);

#ifdef __cplusplus
}
#endif

#endif
