/* SPDX-License-Identifier: MIT */
/** @file
 * Critical sections on nodes, and the storage manager's exclusive latches.
 *
 * Most operations enter and leave their section themselves and need none of this. A caller enters a section itself to
 * do several operations as one, and then passes a non-zero `latchHeld` to each of them.
 *
 * Under concurrency model 1 a section, for reading or for writing, holds the latch of the block. That excludes every
 * other section on the block in every thread and process. A single get of a value or a result code takes no latch: a
 * section for writing keeps it waiting, one for reading does not. Under models 0 and 2 to 5 nothing is locked, and the
 * caller ensures exclusion. A thread must leave a section before it enters another on the same node: the second entry
 * fails.
 *
 * Thread safety: any thread may call. The thread that entered must be the one that leaves.
 */
#ifndef SNTR_LATCHES_H
#define SNTR_LATCHES_H

#include <sntr/export.h>
#include <sntr/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Initializes a latch block, which nobody may be using. Node creation does so for both blocks of a node. Under model 1
 * it initializes the latches and counters, and writes the stamp last. Under models 0 and 2 to 5 it writes nothing,
 * whatever the version, and returns 0.
 * - `node`: the node to which the block belongs; its concurrency model decides
 * - `block`: the block, at any address
 * - `latchVersion`: SNTR_VERSION, the stamp that the block will carry
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_LATCH_BLOCK: `block` is null
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SNTR_RC_VALUE_OUT_OF_RANGE: the node's model is above 5
 * - SNTR_RC_BAD_LATCH_VERSION: model 1, and `latchVersion` is not SNTR_VERSION
 * - SNTR_RC_LATCH_FAILED: a latch could not be initialized; the block is not stamped
 * - SNTR_RC_ATOMIC_FAILED: a counter could not be initialized; the block is not stamped */
SNTR_API uint32_t sntrInitializeLatches(const SNodeCB_t *node, SNodeLatchBlock_t *block, uint32_t latchVersion);

/** @{ */
/** Enters a section. Under model 1 it waits until every other section on the block is left, or its owner has died.
 *
 * | Section | Under model 1 it also | Held until |
 * |---|---|---|
 * | read | - | sntrExitCriticalSectionAfterRead() |
 * | write | marks the block as being written, counts the entry | sntrExitCriticalSectionAfterWrite() |
 *
 * - `node`: the node to which the block belongs; its concurrency model decides
 * - `block`: the node's primaryLatch
 *
 * Returns 0; under model 1 the latch is held. Otherwise nothing is held or marked:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SNTR_RC_NULL_LATCH_BLOCK: `block` is null
 * - SNTR_RC_VALUE_OUT_OF_RANGE: the node's model is above 5
 * - SNTR_RC_BAD_LATCH_VERSION: model 1, and the block is not stamped with SNTR_VERSION
 * - SNTR_RC_LATCH_FAILED: the latch could not be taken: this thread holds it, it is damaged, or the wait was too long
 * - SNTR_RC_ATOMIC_FAILED: write section: the mark or the count could not be changed */
SNTR_API uint32_t sntrEnterCriticalSectionBeforeRead(SNodeCB_t *node, SNodeLatchBlock_t *block);
SNTR_API uint32_t sntrEnterCriticalSectionBeforeWrite(SNodeCB_t *node, SNodeLatchBlock_t *block);
/** @} */

/** @{ */
/** Leaves a section. In a write section it removes the mark, and releases the latch even if that failed.
 * - `node`, `block`: as on entry; sntrSetConcurrencyModel() must not have changed the model in between
 *
 * Returns 0: the latch is released. Otherwise:
 * - SNTR_RC_NULL_NODE: `node` is null; nothing was done
 * - SNTR_RC_NULL_LATCH_BLOCK: `block` is null; nothing was done
 * - SNTR_RC_VALUE_OUT_OF_RANGE: the node's model is above 5; nothing was done
 * - SNTR_RC_BAD_LATCH_VERSION: model 1, and the block is not stamped; the latch was not touched
 * - SNTR_RC_LATCH_FAILED: the latch could not be released: this thread does not hold it, or it is damaged
 * - SNTR_RC_ATOMIC_FAILED: write section: the mark could not be removed; the latch is released */
SNTR_API uint32_t sntrExitCriticalSectionAfterRead(SNodeCB_t *node, SNodeLatchBlock_t *block);
SNTR_API uint32_t sntrExitCriticalSectionAfterWrite(SNodeCB_t *node, SNodeLatchBlock_t *block);
/** @} */

/** Stores a node's concurrency model. Takes no latch. Call it while nobody is inside a section of the node: a thread
 * that entered by `sntrEnterCriticalSection...` leaves by the new model.
 * - `node`: the node
 * - `model`: 0 to 5; SNTR_MODEL_LATCHED needs blocks that were initialized under it
 *
 * Returns 0. Otherwise the old model stays:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SNTR_RC_VALUE_OUT_OF_RANGE: `model` is above 5 */
SNTR_API uint32_t sntrSetConcurrencyModel(SNodeCB_t *node, uint32_t model);

/** Returns a node's concurrency model. Takes no latch.
 * - `node`: the node
 * - `model`: receives the stored model, even if it is out of range
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_NODE: `node` is null; nothing is written
 * - SNTR_RC_NULL_MODEL_OUTPUT: `model` is null
 * - SNTR_RC_VALUE_OUT_OF_RANGE: the stored model is above 5; it is written all the same */
SNTR_API uint32_t sntrReturnConcurrencyModel(const SNodeCB_t *node, uint32_t *model);

/** Initializes an exclusive latch of 0x88 bytes of shared memory: a u32 selector, then 0x84 bytes for the latch itself.
 * Nobody may be using them.
 * - `address`: the bytes, at a multiple of 4
 * - `latchSelector`: SNTR_VERSION; stored last
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_EXCLUSIVE_LATCH: `address` is null
 * - SNTR_RC_BAD_LATCH_VERSION: `latchSelector` is not SNTR_VERSION; nothing was written
 * - SNTR_RC_LATCH_FAILED: the latch could not be initialized; the selector was not written */
SNTR_API uint32_t sntrInitializeExsLatch(void *address, uint64_t latchSelector);

/** Takes an exclusive latch, waiting while another living thread holds it.
 * - `address`: as it was initialized
 *
 * Returns 0: this thread holds it. Otherwise nothing is held:
 * - SNTR_RC_NULL_EXCLUSIVE_LATCH: `address` is null
 * - SNTR_RC_BAD_LATCH_VERSION: the selector is not SNTR_VERSION
 * - SNTR_RC_LATCH_FAILED: this thread holds it, it is damaged, or the wait was too long */
SNTR_API uint32_t sntrEnterELCriticalSection(void *address);

/** Releases an exclusive latch.
 * - `address`: as it was entered
 *
 * Returns 0. Otherwise nothing was changed:
 * - SNTR_RC_NULL_EXCLUSIVE_LATCH: `address` is null
 * - SNTR_RC_BAD_LATCH_VERSION: the selector is not SNTR_VERSION
 * - SNTR_RC_LATCH_FAILED: this thread does not hold it, or it is damaged */
SNTR_API uint32_t sntrExitELCriticalSection(void *address);

#ifdef __cplusplus
}
#endif

#endif
