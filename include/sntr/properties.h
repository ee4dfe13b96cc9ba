/* Adding, deleting and locating single properties.
 *
 * A property of kind R is a register, a 32-bit signed number, under a tag from 0 to SNTR_MAX_TAG, with a 64-bit result
 * code of the callers' beside it. The node's R list must have been laid out first (sntr/property_lists.h).
 *
 * Any thread of any process that maps the node may call. An operation whose last argument is `latchHeld` enters the
 * node's section and leaves it again; with a non-zero `latchHeld` the caller holds the node's section already, for
 * writing where the operation changes anything, and it is neither entered nor left. An operation without that argument
 * takes no latch: its caller holds the section.
 *
 * After a failure nothing was changed and nothing is held, unless the code's line says otherwise.
 *
 * Groups of codes that the property headers name instead of repeating them:
 *
 * AREA codes, about the node's area of the kind:
 *   SNTR_RC_AREA_NEVER_CREATED  the node has no such area
 *   SNTR_RC_AREA_OVERUSED       more of the area is noted as used than it has
 *   SNTR_RC_AREA_OUTSIDE_NODE   the area's size or place, or the node's size, is not possible
 * LIST codes: the AREA codes, and
 *   SNTR_RC_BAD_BUCKET_COUNT    the stored number of buckets is 100004 or more, or the table does not fit its area
 * CONDITION codes, about a node that is not active:
 *   SNTR_RC_NODE_NOT_INITIALIZED, SNTR_RC_NODE_ONLY_INITIALIZED, SNTR_RC_NODE_ABANDONED, SNTR_RC_NODE_DISASSOCIATED;
 *   SNTR_RC_CONDITION_OUT_OF_RANGE  the stored condition is none of the five
 * SECTION codes, only when `latchHeld` is 0:
 *   SNTR_RC_VALUE_OUT_OF_RANGE  the node's concurrency model is above 5
 *   SNTR_RC_BAD_LATCH_VERSION   model 1, and the node's latches are not initialized
 *   SNTR_RC_LATCH_FAILED        the latch was not obtained; or it could not be released, and then the work is done
 *   SNTR_RC_ATOMIC_FAILED       (writing) a counter of the latch failed; on leaving, the work is done
 */
#ifndef SNTR_PROPERTIES_H
#define SNTR_PROPERTIES_H

#include <sntr/export.h>
#include <sntr/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Adds an R property. In the array layout it takes the first empty record; tag 0 there stores an empty record, which is
 * not counted and cannot be found. In the hash layout tag 0 is a tag like any other.
 *   node   the node
 *   tag    0 to SNTR_MAX_TAG
 *   value  the first value of the register; the result code begins as 0
 * Answers 0: the property exists and the node's change counter went up by one. Otherwise:
 *   SNTR_RC_NULL_NODE               `node` is null
 *   SNTR_RC_TAG_TOO_LARGE           `tag` is above SNTR_MAX_TAG
 *   LIST, SECTION, CONDITION codes
 *   SNTR_RC_R_EXISTS                the list has a property with this tag
 *   SNTR_RC_R_LIST_FULL             array: no empty record is left
 *   SNTR_RC_NO_ROOM_FOR_SLOT        table: the area is full, or the freed slot to reuse lies where none can be
 *   SNTR_RC_NEXT_FREE_OUTSIDE_AREA  table: the next fresh slot would not lie between the slots and the stack
 *   SNTR_RC_BAD_FREED_STACK         table: the stored stack of freed slots is larger than it can be
 *   SNTR_RC_R_DAMAGED               table: a link leads to no slot, or the chain does not end
 *   SNTR_RC_ATOMIC_FAILED           the register could not be initialized; or the change counter could not be raised,
 *                                   and then the property exists */
SNTR_API uint32_t sntrAddRProperty(SNodeCB_t *node, uint64_t tag, int32_t value, uint64_t latchHeld);

/* Deletes an R property. Its record may be reused by the next add: addresses of it that were kept are void.
 *   node, tag  as for adding
 * Answers 0: the property is gone and the node's change counter went up by one. Otherwise:
 *   SNTR_RC_NULL_NODE               `node` is null
 *   SNTR_RC_TAG_TOO_LARGE           `tag` is above SNTR_MAX_TAG
 *   SECTION, CONDITION, LIST codes
 *   SNTR_RC_R_NOT_FOUND             array: no property has this tag
 *   SNTR_RC_R_NOT_IN_TABLE          table: no property has this tag
 *   SNTR_RC_NO_ROOM_FOR_FREED_SLOT  table: no 8 bytes are left between slots and stack to remember the freed slot, or
 *                                   0x8000 slots are on the stack already
 *   SNTR_RC_BAD_FREED_STACK         table: the stored stack of freed slots is larger than it can be
 *   SNTR_RC_R_DAMAGED               table: a link leads to no slot, the chain does not end, or less is noted as used
 *                                   than the property takes
 *   SNTR_RC_ATOMIC_FAILED           the change counter could not be raised; the property is gone */
SNTR_API uint32_t sntrDeleteRProperty(SNodeCB_t *node, uint64_t tag, uint64_t latchHeld);

/* Gives the address of an R property's record, for the operations that take a record (sntr/values.h). The caller holds
 * the node's section. The address may be any, and is valid until the property is deleted.
 *   node, tag  as for adding
 *   record     receives the address
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE       `node` is null
 *   SNTR_RC_TAG_TOO_LARGE   `tag` is above SNTR_MAX_TAG
 *   SNTR_RC_NULL_R_RECORD   `record` is null
 *   CONDITION, LIST codes
 *   SNTR_RC_R_NOT_FOUND     array: no property has this tag
 *   SNTR_RC_R_NOT_IN_TABLE  table: no property has this tag
 *   SNTR_RC_R_DAMAGED       table: a link leads to no slot, or the chain does not end */
SNTR_API uint32_t sntrGetAddressForRProperty(SNodeCB_t *node, uint64_t tag, SNodeProperty_t **record);

/* Makes the check of arguments that every property operation makes, for each of the six kinds.
 *   kind          SNTR_KIND_*
 *   node          the node
 *   tag           0 to SNTR_MAX_TAG
 *   idLength      bytes of the identifier (IR, IV)
 *   id            the identifier (IR, IV); not null even when `idLength` is 0
 *   valueSize     bytes of the value (V, IV, BaseV): 1, or 2 to the list's maximum; pass 1 when there is no value
 *   maxIDSize     receives the list's maximum identifier size (IR, IV)
 *   maxValueSize  receives the list's maximum value size (V, IV; for BaseV that of the V list)
 * Answers 0, or, in this order:
 *   SNTR_RC_NULL_NODE          `node` is null
 *   SNTR_RC_TAG_TOO_LARGE      `tag` is above SNTR_MAX_TAG
 *   SNTR_RC_BAD_KIND           `kind` is none of the six
 *   the codes of the kind's reader of maximum sizes (sntr/property_tables.h), among them those of a null output
 *   SNTR_RC_ID_TOO_LONG        IR, IV: `idLength` is above the maximum, which was stored
 *   SNTR_RC_BAD_VALUE_SIZE     V, IV, BaseV: `valueSize` is neither 1 nor 2 to the maximum, which was stored
 *   SNTR_RC_NULL_ID            IR, IV: `id` is null; the maxima were stored */
SNTR_API uint32_t sntrCheckInputParameters(uint32_t kind, SNodeCB_t *node, uint64_t tag, uint64_t idLength,
                                           const void *id, uint64_t valueSize, uint64_t *maxIDSize,
                                           uint64_t *maxValueSize);

#ifdef __cplusplus
}
#endif

#endif
