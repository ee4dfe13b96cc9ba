/* SPDX-License-Identifier: MIT */
/** @file
 * Storage heaps and their skip lists, on which domains and pools are built.
 *
 * Most programs need none of these: sntrCreateShmDomain(), _sntrCreateShmPool() and _sntrAllocateShmBlock() call what
 * lies beneath. They are for tools and for storage that is laid out by hand.
 *
 * All operations name the heap by three arguments:
 * - `base`: the address at which the domain begins in this process
 * - `heapType`: SNTR_HEAP_DOMAIN (1) or SNTR_HEAP_POOL (2)
 * - `headerOffset`: the offset in bytes of the heap's header from `base`
 *
 * Blocks, chunks and nodes are named by their offsets from `base`, the same in every process. Every operation returns
 * 0, or:
 * - SNTR_RC_NULL_BASE: `base` is null
 * - SNTR_RC_BAD_HEAP_TYPE: `heapType` is neither 1 nor 2
 * - SNTR_RC_DOMAIN_OFFSET_MISMATCH: heap type 1: the stored header offset differs, or `headerOffset` is uneven or
 *   reaches beyond the address space; checked before anything else of the heap
 * - SNTR_RC_POOL_OFFSET_MISMATCH: heap type 2: likewise
 * - SNTR_RC_NOT_A_DOMAIN: heap type 1: the heap reaches beyond the address space
 * - SNTR_RC_NOT_A_POOL: heap type 2: likewise
 * - SNTR_RC_STORED_USER_AREA_TOO_LARGE: the stored size of the user application area is above the heap's size
 * - SNTR_RC_CHUNK_OUTSIDE_HEAP: the skip lists are damaged
 * - SNTR_RC_NULL_STORAGE_OUTPUT: a required output is null
 *
 * and, if its block says "takes the latch":
 * - SNTR_RC_BAD_LATCH_VERSION: the latch is not initialized
 * - SNTR_RC_LATCH_FAILED: the latch could not be taken or released
 * - SNTR_RC_NOT_A_DOMAIN, SNTR_RC_NOT_A_POOL: there is no eyecatcher: not a heap, or one that was freed
 *
 * and the codes that its block lists. If a block has two codes together, the first is a domain's (type 1), the second a
 * pool's (type 2).
 *
 * Thread safety: an operation that does not take the latch needs the heap's latch held by the caller
 * (sntrLatchShmDomain(), sntrLatchShmPool()). An operation that fails has changed nothing and holds nothing, unless its
 * block says otherwise.
 */
#ifndef SNTR_HEAP_H
#define SNTR_HEAP_H

#include <sntr/export.h>
#include <sntr/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Builds a heap: header, latches, debug settings, skip-list area and the first free block. Writes the eyecatcher last.
 * - `base`, `heapType`: see above
 * - `totalSize`: bytes of the heap: of the whole domain (type 1), or of the pool from its header on (type 2)
 * - `headerOffset`: of the header from base; a multiple of 8
 * - `slotCount`: node slots planned for the skip-list area (stored)
 * - `maxLevel`: 1 to 25
 * - `headerSize`: bytes of the header: sntrGetHHeaderSize(userAreaSize)
 * - `slHeaderSize`: bytes at the start of the skip-list area: sntrGetSLHeaderSize(maxLevel)
 * - `slAreaSize`: bytes of the skip-list area, a multiple of 8; enlarged if it could not hold even the first node
 * - `granule`: allocation unit in bytes (stored)
 * - `userAreaSize`: bytes of the user application area
 * - `userData`: copied into the user application area; null: zeroes
 * - `latchSelector`, `reservedSelector`, `handleAllocSelector`: SNTR_VERSION
 * - `initialFlags`: stored as the domain flags
 * - `typeWord`: stored at 0xe8: 0 for a domain, the domain header's offset for a pool
 *
 * Returns 0. Otherwise there is no eyecatcher and no latch is held:
 * - SNTR_RC_NULL_BASE: `base` is null (also logged)
 * - SNTR_RC_BAD_HEAP_TYPE: `heapType` is neither 1 nor 2
 * - SNTR_RC_DOMAIN_HEADER_MISFIT / SNTR_RC_POOL_HEADER_MISFIT: header and skip-list area do not fit the total; a size
 *   is not the one that follows from the others; or the heap would reach beyond the address space; nothing is written
 * - SNTR_RC_SKIP_LIST_AREA_TOO_SMALL: `slAreaSize` is not above `slHeaderSize`
 * - SNTR_RC_BAD_LATCH_VERSION: `latchSelector` is not SNTR_VERSION
 * - SNTR_RC_LATCH_FAILED: a latch failed */
SNTR_API uint32_t sntrCreateInitStorageHeap(void *base, uint32_t heapType, uint64_t totalSize, uint64_t headerOffset,
                                            uint64_t slotCount, uint64_t maxLevel, uint64_t headerSize,
                                            uint64_t slHeaderSize, uint64_t slAreaSize, uint64_t granule,
                                            uint64_t userAreaSize, const void *userData, uint64_t latchSelector,
                                            uint64_t reservedSelector, uint64_t handleAllocSelector,
                                            uint64_t initialFlags, uint64_t typeWord);

/** Raises the number of connected handles by one. Takes the latch. Further codes:
 * - SNTR_RC_DOMAIN_MARKED_FOR_DELETION / SNTR_RC_POOL_MARKED_FOR_DELETION: the heap is marked for deletion */
SNTR_API uint32_t sntrConnectToStorageHeap(void *base, uint32_t heapType, uint64_t headerOffset);

/** Lowers the number of connected handles by one, never below 0. Takes the latch. */
SNTR_API uint32_t sntrDisconnectFromStorageHeap(void *base, uint32_t heapType, uint64_t headerOffset);

/** Allocates a chunk of `size` bytes, rounded up to 8, plus pads. Takes the latch (and before it, alone, the one of the
 * debug settings).
 * - `base`, `heapType`, `headerOffset`: the heap
 * - `size`: in bytes
 * - `traceId`, `sourceFile`, `line`: name the caller; `sourceFile` may be null
 * - `chunkOffset`: receives the offset of the chunk with its overhead
 * - `userOffset`: receives the offset of the caller's bytes, a multiple of 8
 *
 * Further codes:
 * - SNTR_RC_UNKNOWN_PAD_TYPE: unknown pad type in the heap's settings
 * - SNTR_RC_BAD_FRONT_PAD_COUNT: the number of front pads there is not 1 to 8
 * - SNTR_RC_BAD_BACK_PAD_COUNT: the number of back pads there is not 1 to 8
 * - SNTR_RC_DOMAIN_FULL / SNTR_RC_POOL_FULL: fewer free bytes in all than requested
 * - SNTR_RC_DOMAIN_NO_BLOCK_LARGE_ENOUGH / SNTR_RC_POOL_NO_BLOCK_LARGE_ENOUGH: no free block is large enough for the
 *   request and the bookkeeping that it needs */
SNTR_API uint32_t sntrGetMemChunkFromShmHeap(void *base, uint32_t heapType, uint64_t headerOffset, uint64_t size,
                                             uint32_t traceId, const char *sourceFile, uint32_t line,
                                             uint64_t *chunkOffset, uint64_t *userOffset);

/** Releases a chunk and merges free neighbours with it. Takes the latch. Never fails for lack of space. Further codes:
 * - SNTR_RC_DOMAIN_BLOCK_NOT_FOUND / SNTR_RC_POOL_BLOCK_NOT_FOUND: no allocated chunk begins at `chunkOffset`, as
 *   after a first release */
SNTR_API uint32_t sntrReturnMemChunkToShmHeap(void *base, uint32_t heapType, uint64_t headerOffset,
                                              uint64_t chunkOffset, uint32_t traceId, const char *sourceFile,
                                              uint32_t line);

/** Takes `size` bytes from the high end of the smallest free block that is large enough, the one inserted last among
 * equals. `chunkOffset` receives their offset. No chunk is recorded. Further codes:
 * - SNTR_RC_CHUNK_OUTSIDE_HEAP: `size` is 0 or not a multiple of 8
 * - SNTR_RC_DOMAIN_NO_BLOCK_LARGE_ENOUGH / SNTR_RC_POOL_NO_BLOCK_LARGE_ENOUGH: no such block */
SNTR_API uint32_t sntrGetFreeBlockFromSList(void *base, uint32_t heapType, uint64_t headerOffset, uint64_t size,
                                            uint64_t *chunkOffset);

/** Finds the free block that begins at `offset`: `node` receives its node, `size` its size in bytes. Further codes:
 * - SNTR_RC_DOMAIN_BLOCK_NOT_FOUND / SNTR_RC_POOL_BLOCK_NOT_FOUND: none does */
SNTR_API uint32_t sntrFindFreeBlockInSList(void *base, uint32_t heapType, uint64_t headerOffset, uint64_t offset,
                                           uint64_t *node, uint64_t *size);

/** @{ */
/** Makes `size` bytes at `offset` free.
 *
 * | Function | The bytes are |
 * |---|---|
 * | sntrReturnFreeBlockToSList() | merged with the free blocks that touch them |
 * | sntrInsertFreeMemChunk() | not merged: a new node describes the block and is linked in both orders |
 *
 * Further codes:
 * - SNTR_RC_CHUNK_OUTSIDE_HEAP: the bytes do not lie in managed space or are not multiples of 8
 * - SNTR_RC_DOMAIN_BLOCK_NOT_FOUND / SNTR_RC_POOL_BLOCK_NOT_FOUND: part of them is free or allocated
 * - SNTR_RC_DOMAIN_NO_BLOCK_LARGE_ENOUGH / SNTR_RC_POOL_NO_BLOCK_LARGE_ENOUGH: no room for a node */
SNTR_API uint32_t sntrReturnFreeBlockToSList(void *base, uint32_t heapType, uint64_t headerOffset, uint64_t offset,
                                             uint64_t size);
SNTR_API uint32_t sntrInsertFreeMemChunk(void *base, uint32_t heapType, uint64_t headerOffset, uint64_t offset,
                                         uint64_t size);
/** @} */

/** Links a node that sntrDeleteFreeMemBlock() unlinked, and that nothing reused since, in both orders again, as the
 * free block that it described. Further codes:
 * - SNTR_RC_CHUNK_OUTSIDE_HEAP: the node is not such a one
 * - SNTR_RC_DOMAIN_BLOCK_NOT_FOUND / SNTR_RC_POOL_BLOCK_NOT_FOUND: part of its block is free or allocated */
SNTR_API uint32_t sntrInsertFreeMemBlock(void *base, uint32_t heapType, uint64_t headerOffset, uint64_t node);

/** Unlinks the node of a free block from both orders. The node keeps its fields until its space is reused. Further
 * codes:
 * - SNTR_RC_CHUNK_OUTSIDE_HEAP: the node is not that of a free block */
SNTR_API uint32_t sntrDeleteFreeMemBlock(void *base, uint32_t heapType, uint64_t headerOffset, uint64_t node);

/** Records `size` bytes at `offset` as an allocated chunk, with a new node. The caller ensures that the bytes are free:
 * take them with sntrGetFreeBlockFromSList() first. Further codes:
 * - SNTR_RC_CHUNK_OUTSIDE_HEAP: the bytes do not lie in managed space or are not multiples of 8
 * - SNTR_RC_DOMAIN_BLOCK_NOT_FOUND / SNTR_RC_POOL_BLOCK_NOT_FOUND: part of them is recorded already
 * - SNTR_RC_DOMAIN_NO_BLOCK_LARGE_ENOUGH / SNTR_RC_POOL_NO_BLOCK_LARGE_ENOUGH: no room for a node */
SNTR_API uint32_t sntrInsertAllocMemChunk(void *base, uint32_t heapType, uint64_t headerOffset, uint64_t offset,
                                          uint64_t size);

/** Records the chunk that an unlinked node describes, as sntrInsertFreeMemBlock() does for a free block, with the same
 * codes. */
SNTR_API uint32_t sntrInsertAllocMemBlock(void *base, uint32_t heapType, uint64_t headerOffset, uint64_t node);

/** Removes the record of the chunk at `offset`; `size` receives its size in bytes. The bytes do not become free: see
 * sntrReturnFreeBlockToSList(). Further codes:
 * - SNTR_RC_DOMAIN_BLOCK_NOT_FOUND / SNTR_RC_POOL_BLOCK_NOT_FOUND: no allocated chunk begins there */
SNTR_API uint32_t sntrDeleteAllocMemBlock(void *base, uint32_t heapType, uint64_t headerOffset, uint64_t offset,
                                          uint64_t *size);

/** Reorganizes the bookkeeping: empties the chunks that hold nodes as far as dead nodes elsewhere allow, frees them,
 * and then compacts the skip-list area. */
SNTR_API uint32_t sntrDefragmentSList(void *base, uint32_t heapType, uint64_t headerOffset);

/** Compacts the skip-list area alone: live nodes move to its start. */
SNTR_API uint32_t sntrDefragmentSLInPlace(void *base, uint32_t heapType, uint64_t headerOffset);

/** Grows the bookkeeping by room for at least `leastGrowth` bytes of nodes, taken from the heap's free memory. The room
 * becomes free again by itself when the heap can do without it. Further codes:
 * - SNTR_RC_DOMAIN_FULL / SNTR_RC_POOL_FULL: more than the heap has
 * - SNTR_RC_DOMAIN_NO_BLOCK_LARGE_ENOUGH / SNTR_RC_POOL_NO_BLOCK_LARGE_ENOUGH: no free block is large enough */
SNTR_API uint32_t sntrChangeSlistSpace(void *base, uint32_t heapType, uint64_t headerOffset, uint64_t leastGrowth);

#ifdef __cplusplus
}
#endif

#endif
