/* SPDX-License-Identifier: MIT */
/** @file
 * Adding, deleting and locating single properties.
 *
 * A property has a tag from 0 to SNTR_MAX_TAG, a value, and a 64-bit result code of the callers'. Its kind decides
 * what names it, what its value is, and some of the result codes:
 *
 * @verbatim
 * kind   key              value     EXISTS             LIST_FULL             DAMAGED
 * R      tag              register  SNTR_RC_R_EXISTS   SNTR_RC_R_LIST_FULL   SNTR_RC_R_DAMAGED
 * V      tag              bytes     SNTR_RC_V_EXISTS   SNTR_RC_V_LIST_FULL   SNTR_RC_V_DAMAGED
 * IR     tag, identifier  register  SNTR_RC_IR_EXISTS  SNTR_RC_IR_LIST_FULL  SNTR_RC_IR_DAMAGED
 * IV     tag, identifier  bytes     SNTR_RC_IV_EXISTS  SNTR_RC_IV_LIST_FULL  SNTR_RC_IV_DAMAGED
 * BaseR  tag              register  -                  -                     SNTR_RC_BASE_R_DAMAGED
 * BaseV  tag              bytes     -                  -                     SNTR_RC_BASE_V_DAMAGED
 *
 * kind   NULL_VALUE             NULL_RECORD                 NOT_FOUND                 NOT_IN_TABLE
 * R      -                      SNTR_RC_NULL_R_RECORD       SNTR_RC_R_NOT_FOUND       SNTR_RC_R_NOT_IN_TABLE
 * V      SNTR_RC_NULL_V_VALUE   SNTR_RC_NULL_V_RECORD       SNTR_RC_V_NOT_FOUND       SNTR_RC_V_NOT_IN_TABLE
 * IR     -                      SNTR_RC_NULL_IR_RECORD      SNTR_RC_IR_NOT_FOUND      SNTR_RC_IR_NOT_IN_TABLE
 * IV     SNTR_RC_NULL_IV_VALUE  SNTR_RC_NULL_IV_RECORD      SNTR_RC_IV_NOT_FOUND      SNTR_RC_IV_NOT_IN_TABLE
 * BaseR  -                      SNTR_RC_NULL_BASE_R_RECORD  SNTR_RC_BASE_R_NOT_FOUND  -
 * BaseV  -                      SNTR_RC_NULL_BASE_V_RECORD  SNTR_RC_BASE_V_NOT_FOUND  -
 * @endverbatim
 *
 * - A register is a 32-bit signed number.
 * - Bytes are 1 to the list's maximum; those of BaseV, 1 to the V list's maximum.
 * - An identifier is 0 to the list's maximum of bytes.
 * - BaseR and BaseV are base properties: a node has one of each. R, V, IR and IV properties are kept in lists.
 *
 * A word in capitals without SNTR_RC_ is a column of this table: it stands for the code of the kind.
 *
 * The node's list of the kind, or its base property, must have been created first (sntr/property_lists.h).
 *
 * Thread safety: any thread of any process that maps the node.
 * - An operation whose last argument is `latchHeld` enters the node's section and leaves it again.
 * - If `latchHeld` is not 0, the caller holds the node's section already, for writing if the operation changes
 *   anything. It is neither entered nor left.
 * - An operation without that argument takes no latch: its caller holds the section.
 * - Getting a value or a result code (sntr/values.h) takes no latch. It waits while a writer is inside. It takes the
 *   latch only if that writer has died, or if the node begins at no multiple of 8.
 *
 * After a failure nothing was changed and nothing is held, unless the code's line says otherwise.
 *
 * A node that was created without a kind has no list of it, nor room for one. sntrReturnExports() returns its kinds.
 * - No property is found by a key. Operations on values, result codes and addresses, and deletions, return NOT_FOUND.
 *   Operations on tables, counts of a tag, and copies of keys return NOT_IN_TABLE.
 * - The count of all is 0.
 * - The maximum sizes are 0. They bound a value to be set, before it is looked for; slots for identifiers (IR, IV);
 *   and identifiers of IR. They do not bound an IV identifier to be looked for, which may have up to 0x1000 bytes.
 * - No address is that of a record.
 * - Adding returns LIST_FULL (R, IR) or SNTR_RC_BAD_MAX_VALUE_SIZE (V, IV); with an identifier of more than 0 bytes,
 *   SNTR_RC_ID_TOO_LONG (IR, IV).
 *
 * A base property that was never created, or was deleted, is not found either, whatever the tag. In a node without the
 * kind only its location and its tag are not returned: the area ends before the record does.
 *
 * Parameters of several operations:
 * - `node`: the node; if null, SNTR_RC_NULL_NODE
 * - `tag`: 0 to SNTR_MAX_TAG
 * - `idLength`, `id` (IR, IV): the identifier, its length in bytes at most the list's maximum; `id` is not null even if
 *   the length is 0
 * - `latchHeld`: 0, or not 0 if the caller holds the section, as above
 *
 * Groups of codes that the property headers name instead of repeating them:
 *
 * AREA codes, about the node's area of the kind:
 * - SNTR_RC_AREA_NEVER_CREATED: the area has no place; damage, since creation gives every area one
 * - SNTR_RC_AREA_OVERUSED: more of the area is noted as used than it has
 * - SNTR_RC_AREA_OUTSIDE_NODE: the area's size or place, or the node's size, is not possible
 *
 * LIST codes, about a list: the AREA codes, and
 * - SNTR_RC_BAD_BUCKET_COUNT: a stored number of buckets is 100004 or more; or the second or third of a table is 0; or
 *   the table does not fit its area
 * - SNTR_RC_MAX_ID_SIZE_TOO_LARGE (IR, IV), SNTR_RC_BAD_MAX_VALUE_SIZE (V, IV): a stored maximum is out of range. The
 *   list is damaged, or a V or IV list was never laid out, though the node has the kind
 *
 * PLACE codes, about what keeps the property: R, V, IR, IV the LIST codes, BaseR and BaseV the AREA codes
 *
 * KEY codes, about the arguments that name a property:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SNTR_RC_TAG_TOO_LARGE: `tag` is above SNTR_MAX_TAG
 * - SNTR_RC_ID_TOO_LONG (IR, IV): `idLength` is above the list's maximum; looking for an IV property in a node without
 *   the kind, above 0x1000
 * - SNTR_RC_NULL_ID (IR, IV): `id` is null
 * - V, IR, IV: also the AREA codes and the codes of a stored maximum. BaseV: those of the V list
 *
 * FIND codes, about looking for a property:
 * - NOT_FOUND: array: no property has this key; BaseR, BaseV: there is no property, or it has another tag
 * - NOT_IN_TABLE: table: no property has this key
 * - DAMAGED: table: a link leads to no slot, or the chain does not end; BaseR, BaseV: the area ends before the record
 *   does
 * - SNTR_RC_BYTES_OUTSIDE_AREA (IR, IV): the identifier of a record on the way is not in that record
 *
 * CONDITION codes, about a node that is not active:
 * - SNTR_RC_NODE_NOT_INITIALIZED, SNTR_RC_NODE_ONLY_INITIALIZED, SNTR_RC_NODE_ABANDONED, SNTR_RC_NODE_DISASSOCIATED
 * - SNTR_RC_CONDITION_OUT_OF_RANGE: the stored condition is none of the five
 *
 * SECTION codes, only if `latchHeld` is 0:
 * - SNTR_RC_VALUE_OUT_OF_RANGE: the node's concurrency model is above 5
 * - SNTR_RC_BAD_LATCH_VERSION: model 1, and the node's latches are not initialized
 * - SNTR_RC_LATCH_FAILED: the latch was not obtained, or a get found writers inside up to the wait limit; or the latch
 *   could not be released, and then the work is done
 * - SNTR_RC_ATOMIC_FAILED (writing): a counter of the latch failed; on leaving, the work is done
 */
#ifndef SNTR_PROPERTIES_H
#define SNTR_PROPERTIES_H

#include <sntr/export.h>
#include <sntr/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** @name Adding a property */
/** @{ */
/** Adds a property to a list of either layout. Its result code begins as 0.
 *
 * An array stores it in the first empty record. Tag 0 there stores an empty record, which is not counted and cannot be
 * found. In a table tag 0 is a tag like any other. A V, IR or IV array that was never laid out has no maxima and takes
 * nothing.
 * - `node`, `tag`, `idLength`, `id`, `latchHeld`: as above
 * - `value`: R, IR: the first value of the register. V, IV: address of the value's bytes, not null
 * - `valueSize` (V, IV): bytes of the value: 1, or 2 to the list's maximum
 *
 * Returns 0: the property exists and the node's change counter went up by one. Otherwise:
 * - KEY codes
 * - SNTR_RC_BAD_VALUE_SIZE (V, IV): `valueSize` is neither 1 nor 2 to the maximum
 * - NULL_VALUE (V, IV): `value` is null
 * - LIST, SECTION, CONDITION codes
 * - EXISTS: the list has a property with this key
 * - LIST_FULL: array: no empty record is left; or (IR) its records have no room for an identifier, and it holds nothing
 * - SNTR_RC_NO_ROOM_FOR_SLOT: table: the area is full, or the freed slot to reuse lies where none can be
 * - SNTR_RC_NEXT_FREE_OUTSIDE_AREA: table: the next fresh slot would not lie between the slots and the stack
 * - SNTR_RC_BAD_FREED_STACK: table: the stored stack of freed slots is larger than it can be
 * - DAMAGED: table: a link leads to no slot, or the chain does not end
 * - SNTR_RC_BYTES_OUTSIDE_AREA (IR, IV): the identifier of a record on the way is not in that record
 * - SNTR_RC_BAD_LATCH_VERSION (V, IR, IV): the node's latches, whose stamp the record's own ones get, are not
 *   initialized
 * - SNTR_RC_LATCH_FAILED (V, IR, IV): a latch of the record could not be initialized
 * - SNTR_RC_ATOMIC_FAILED: a register or counter of the record could not be initialized; or the change counter could
 *   not be raised, and then the property exists, but (IR, IV) in no chain by tag or identifier */
SNTR_API uint32_t sntrAddRProperty(SNodeCB_t *node, uint64_t tag, int32_t value, uint64_t latchHeld);
SNTR_API uint32_t sntrAddVProperty(SNodeCB_t *node, uint64_t tag, uint64_t valueSize, const void *value,
                                   uint64_t latchHeld);
SNTR_API uint32_t sntrAddIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id, int32_t value,
                                    uint64_t latchHeld);
SNTR_API uint32_t sntrAddIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                    uint64_t valueSize, const void *value, uint64_t latchHeld);
/** @} */

/** @name Deleting a property */
/** @{ */
/** Deletes a property.
 *
 * R, V, IR, IV: the next add may reuse its record, so addresses of it that were kept are void. BaseR, BaseV: the tag
 * becomes 0 and the area is noted as unused; deleting tag 0 if there is no property returns 0 and changes nothing.
 * - `node`, `tag`, `idLength`, `id`, `latchHeld`: as above
 *
 * Returns 0: the property is gone and the node's change counter went up by one. Otherwise:
 * - KEY, SECTION, CONDITION, PLACE, FIND codes
 * - SNTR_RC_NO_ROOM_FOR_FREED_SLOT: table: no 8 bytes are left between slots and stack to remember the freed slot, or
 *   0x8000 slots are on the stack already
 * - SNTR_RC_BAD_FREED_STACK: table: the stored stack of freed slots is larger than it can be
 * - DAMAGED: table: also if less is noted as used than the property takes; or (IR, IV) if a neighbour in a chain by tag
 *   or identifier does not lead back
 * - SNTR_RC_ATOMIC_FAILED: the change counter could not be raised; the property is gone */
SNTR_API uint32_t sntrDeleteRProperty(SNodeCB_t *node, uint64_t tag, uint64_t latchHeld);
SNTR_API uint32_t sntrDeleteVProperty(SNodeCB_t *node, uint64_t tag, uint64_t latchHeld);
SNTR_API uint32_t sntrDeleteIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                       uint64_t latchHeld);
SNTR_API uint32_t sntrDeleteIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                       uint64_t latchHeld);
SNTR_API uint32_t sntrDeleteBaseRProperty(SNodeCB_t *node, uint64_t tag, uint64_t latchHeld);
SNTR_API uint32_t sntrDeleteBaseVProperty(SNodeCB_t *node, uint64_t tag, uint64_t latchHeld);
/** @} */

/** @name Address of a record */
/** @{ */
/** Returns the address of a property's record, for the operations that take a record (sntr/values.h). The caller holds
 * the node's section. The address may be any, and is valid until the property is deleted.
 * - `node`, `tag`, `idLength`, `id`: as above
 * - `record`: receives the address
 *
 * Returns 0, or:
 * - KEY codes
 * - NULL_RECORD: `record` is null
 * - CONDITION, PLACE, FIND codes */
SNTR_API uint32_t sntrGetAddressForRProperty(SNodeCB_t *node, uint64_t tag, SNodeProperty_t **record);
SNTR_API uint32_t sntrGetAddressForVProperty(SNodeCB_t *node, uint64_t tag, SNodeProperty_t **record);
SNTR_API uint32_t sntrGetAddressForIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                              SNodeProperty_t **record);
SNTR_API uint32_t sntrGetAddressForIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                              SNodeProperty_t **record);
SNTR_API uint32_t sntrGetAddressForBaseRProperty(SNodeCB_t *node, uint64_t tag, SNodeProperty_t **record);
SNTR_API uint32_t sntrGetAddressForBaseVProperty(SNodeCB_t *node, uint64_t tag, SNodeProperty_t **record);
/** @} */

/** Makes the check of arguments that every property operation makes, for each of the six kinds.
 * - `kind`: SNTR_KIND_*
 * - `node`: the node
 * - `tag`: 0 to SNTR_MAX_TAG
 * - `idLength`: bytes of the identifier (IR, IV)
 * - `id`: the identifier (IR, IV); not null even if `idLength` is 0
 * - `valueSize`: bytes of the value (V, IV, BaseV): 1, or 2 to the list's maximum; pass 1 if there is no value
 * - `maxIDSize`: receives the list's maximum identifier size (IR, IV)
 * - `maxValueSize`: receives the list's maximum value size (V, IV; for BaseV that of the V list)
 *
 * Returns 0, or, in this order:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SNTR_RC_TAG_TOO_LARGE: `tag` is above SNTR_MAX_TAG
 * - SNTR_RC_BAD_KIND: `kind` is none of the six
 * - the codes of the kind's reader of maximum sizes (sntr/property_tables.h), among them those of a null output
 * - SNTR_RC_ID_TOO_LONG: IR, IV: `idLength` is above the maximum, which was stored
 * - SNTR_RC_BAD_VALUE_SIZE: V, IV, BaseV: `valueSize` is neither 1 nor 2 to the maximum, which was stored
 * - SNTR_RC_NULL_ID: IR, IV: `id` is null; the maxima were stored */
SNTR_API uint32_t sntrCheckInputParameters(uint32_t kind, SNodeCB_t *node, uint64_t tag, uint64_t idLength,
                                           const void *id, uint64_t valueSize, uint64_t *maxIDSize,
                                           uint64_t *maxValueSize);

#ifdef __cplusplus
}
#endif

#endif
