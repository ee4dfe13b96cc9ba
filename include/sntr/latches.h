/* Critical sections on nodes and the storage manager's exclusive latches.
 *
 * Most operations bracket their own work and need none of this. A caller enters a section itself to do several
 * operations as one, and then passes a non-zero `latchHeld` to each of them.
 *
 * Under concurrency model 1 a section, for reading as for writing, holds the latch of the block, which excludes every
 * other section on it in every thread and process. A single get of a value or a result code takes no latch: a section
 * for writing keeps it waiting, one for reading does not. Under models 0 and 2 to 5 nothing is locked and the caller
 * sees to exclusion. A thread must leave a section before it enters another on the same node: the second entry fails.
 *
 * Any thread may call. The thread that entered must be the one that leaves.
 */
#ifndef SNTR_LATCHES_H
#define SNTR_LATCHES_H

#include <sntr/export.h>
#include <sntr/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Makes a latch block usable. Nobody may be using it. Node creation has done so for both blocks of a node.
 *   node           the node to which the block belongs; its concurrency model decides
 *   block          the block, at any address
 *   latchVersion   SNTR_VERSION, the stamp that the block will carry
 * Under model 1 the latches and counters are initialized and the stamp is written last; under models 0 and 2 to 5
 * nothing is written, whatever the version, and the answer is 0.
 * Answers 0, or:
 *   SNTR_RC_NULL_LATCH_BLOCK    `block` is null
 *   SNTR_RC_NULL_NODE           `node` is null
 *   SNTR_RC_VALUE_OUT_OF_RANGE  the node's model is above 5
 *   SNTR_RC_BAD_LATCH_VERSION   model 1, and `latchVersion` is not SNTR_VERSION
 *   SNTR_RC_LATCH_FAILED        a latch could not be initialized; the block is not stamped
 *   SNTR_RC_ATOMIC_FAILED       a counter could not be initialized; the block is not stamped */
SNTR_API uint32_t sntrInitializeLatches(const SNodeCB_t *node, SNodeLatchBlock_t *block, uint32_t latchVersion);

/* Enters a read section. Under model 1 it waits until every other section on the block is left, or its owner died.
 *   node   the node to which the block belongs; its concurrency model decides
 *   block  the node's primaryLatch
 * Answers 0; under model 1 the latch is held until sntrExitCriticalSectionAfterRead(). Otherwise nothing is held:
 *   SNTR_RC_NULL_NODE           `node` is null
 *   SNTR_RC_NULL_LATCH_BLOCK    `block` is null
 *   SNTR_RC_VALUE_OUT_OF_RANGE  the node's model is above 5
 *   SNTR_RC_BAD_LATCH_VERSION   model 1, and the block is not stamped with SNTR_VERSION
 *   SNTR_RC_LATCH_FAILED        the latch could not be got: this thread holds it, it is damaged, or the wait was too
 *                               long */
SNTR_API uint32_t sntrEnterCriticalSectionBeforeRead(SNodeCB_t *node, SNodeLatchBlock_t *block);

/* Leaves a read section.
 *   node, block  as given on entry; the model must not have been changed in between by sntrSetConcurrencyModel()
 * Answers 0: the latch is given back. Otherwise:
 *   SNTR_RC_NULL_NODE           `node` is null; nothing was done
 *   SNTR_RC_NULL_LATCH_BLOCK    `block` is null; nothing was done
 *   SNTR_RC_VALUE_OUT_OF_RANGE  the node's model is above 5; nothing was done
 *   SNTR_RC_BAD_LATCH_VERSION   model 1, and the block is not stamped; the latch was not touched
 *   SNTR_RC_LATCH_FAILED        the latch could not be released: this thread does not hold it, or it is damaged */
SNTR_API uint32_t sntrExitCriticalSectionAfterRead(SNodeCB_t *node, SNodeLatchBlock_t *block);

/* Enters a write section: as for reading, and under model 1 marks the block as being written and counts the entry.
 *   node, block  as for reading
 * Answers 0; under model 1 the latch is held until sntrExitCriticalSectionAfterWrite(). Otherwise nothing is held or
 * marked: the codes of reading, and
 *   SNTR_RC_ATOMIC_FAILED  the mark or the count could not be changed */
SNTR_API uint32_t sntrEnterCriticalSectionBeforeWrite(SNodeCB_t *node, SNodeLatchBlock_t *block);

/* Leaves a write section: removes the mark, and gives the latch back even if that failed.
 *   node, block  as given on entry; the model must not have been changed in between by sntrSetConcurrencyModel()
 * Answers 0. Otherwise the codes of leaving a read section, and
 *   SNTR_RC_ATOMIC_FAILED  the mark could not be removed; the latch is given back */
SNTR_API uint32_t sntrExitCriticalSectionAfterWrite(SNodeCB_t *node, SNodeLatchBlock_t *block);

/* Stores a node's concurrency model. Takes no latch; call it while nobody is inside a section of the node, because who
 * entered by sntrEnterCriticalSection... leaves by the new model.
 *   node   the node
 *   model  0 to 5; SNTR_MODEL_LATCHED needs blocks that were initialized under it
 * Answers 0. Otherwise the old model stays:
 *   SNTR_RC_NULL_NODE           `node` is null
 *   SNTR_RC_VALUE_OUT_OF_RANGE  `model` is above 5 */
SNTR_API uint32_t sntrSetConcurrencyModel(SNodeCB_t *node, uint32_t model);

/* Tells a node's concurrency model. Takes no latch.
 *   node   the node
 *   model  receives the stored model, also when it is out of range
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE           `node` is null; nothing is written
 *   SNTR_RC_NULL_MODEL_OUTPUT   `model` is null
 *   SNTR_RC_VALUE_OUT_OF_RANGE  the stored model is above 5; it is written all the same */
SNTR_API uint32_t sntrReturnConcurrencyModel(const SNodeCB_t *node, uint32_t *model);

/* Makes an exclusive latch of 0x88 bytes of shared memory: a u32 selector, then 0x84 bytes for the latch itself. Nobody
 * may be using them.
 *   address        the bytes, at a multiple of 4
 *   latchSelector  SNTR_VERSION; stored last
 * Answers 0, or:
 *   SNTR_RC_NULL_EXCLUSIVE_LATCH  `address` is null
 *   SNTR_RC_BAD_LATCH_VERSION     `latchSelector` is not SNTR_VERSION; nothing was written
 *   SNTR_RC_LATCH_FAILED          the latch could not be initialized; the selector was not written */
SNTR_API uint32_t sntrInitializeExsLatch(void *address, uint64_t latchSelector);

/* Gets an exclusive latch, waiting while another living thread holds it.
 *   address  as it was initialized
 * Answers 0: this thread holds it. Otherwise nothing is held:
 *   SNTR_RC_NULL_EXCLUSIVE_LATCH  `address` is null
 *   SNTR_RC_BAD_LATCH_VERSION     the selector is not SNTR_VERSION
 *   SNTR_RC_LATCH_FAILED          this thread holds it, it is damaged, or the wait was too long */
SNTR_API uint32_t sntrEnterELCriticalSection(void *address);

/* Gives an exclusive latch back.
 *   address  as it was entered
 * Answers 0. Otherwise nothing was changed:
 *   SNTR_RC_NULL_EXCLUSIVE_LATCH  `address` is null
 *   SNTR_RC_BAD_LATCH_VERSION     the selector is not SNTR_VERSION
 *   SNTR_RC_LATCH_FAILED          this thread does not hold it, or it is damaged */
SNTR_API uint32_t sntrExitELCriticalSection(void *address);

#ifdef __cplusplus
}
#endif

#endif
