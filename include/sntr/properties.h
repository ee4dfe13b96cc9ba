/* Adding, deleting and locating single properties.
 *
 * A property has a tag from 0 to SNTR_MAX_TAG, a value, and a 64-bit result code of the callers'. What names it and what
 * its value is depend on its kind:
 *
 *   R      a tag                      a register, a 32-bit signed number
 *   V      a tag                      bytes, 1 to the list's maximum
 *   IR     a tag and an identifier    a register; the identifier is 0 to the list's maximum of bytes
 *   IV     a tag and an identifier    bytes
 *   BaseR  the node has one, a tag    a register
 *   BaseV  the node has one, a tag    bytes, 1 to the V list's maximum
 *
 * The node's list of the kind, or its base property, must have been created first (sntr/property_lists.h).
 *
 * Any thread of any process that maps the node may call. An operation whose last argument is `latchHeld` enters the
 * node's section and leaves it again; with a non-zero `latchHeld` the caller holds the node's section already, for
 * writing where the operation changes anything, and it is neither entered nor left. An operation without that argument
 * takes no latch: its caller holds the section.
 *
 * Getting a value or a result code (sntr/values.h) takes no latch. It waits while a writer is inside, and takes the
 * latch only if that writer has died, or if the node begins at no multiple of 8.
 *
 * After a failure nothing was changed and nothing is held, unless the code's line says otherwise.
 *
 * A node has no list of a kind that it was created without (sntrReturnExports() returns its kinds), nor room for one:
 *   - Looking for a property by its key returns the kind's not-found code: SNTR_RC_V_NOT_FOUND and its like for values,
 *     result codes, addresses and deletions, SNTR_RC_V_NOT_IN_TABLE and its like for tables, counts of a tag and keys.
 *   - The count of all is 0.
 *   - The maximum sizes are 0. They bound a value to be set, before it is looked for; slots for identifiers (IR, IV);
 *     and identifiers of IR, but not those of IV to be looked for, which may have up to 0x1000 bytes.
 *   - No address is that of a record.
 *   - Adding returns SNTR_RC_R_LIST_FULL, SNTR_RC_BAD_MAX_VALUE_SIZE (V, IV) or SNTR_RC_IR_LIST_FULL; with an
 *     identifier of more than 0 bytes SNTR_RC_ID_TOO_LONG (IR, IV).
 *
 * Nor has a node a base property that was never created, or was deleted, whatever the tag that is looked for. In a node
 * without the kind only its location and its tag are not returned: the area ends before the record does.
 *
 * Groups of codes that the property headers name instead of repeating them:
 *
 * AREA codes, about the node's area of the kind:
 *   SNTR_RC_AREA_NEVER_CREATED  the area has no place; damage, since creation gives every area one
 *   SNTR_RC_AREA_OVERUSED       more of the area is noted as used than it has
 *   SNTR_RC_AREA_OUTSIDE_NODE   the area's size or place, or the node's size, is not possible
 * LIST codes: the AREA codes, and
 *   SNTR_RC_BAD_BUCKET_COUNT    a stored number of buckets is 100004 or more, or the second or third of a table is 0,
 *                               or the table does not fit its area
 *   SNTR_RC_MAX_ID_SIZE_TOO_LARGE, SNTR_RC_BAD_MAX_VALUE_SIZE
 *                               (IR, IV; V, IV) a stored maximum is out of range: the list is damaged, or a V or IV list
 *                               was never laid out, though the node has the kind
 * KEY codes, about the arguments that name a property:
 *   SNTR_RC_NULL_NODE           `node` is null
 *   SNTR_RC_TAG_TOO_LARGE       `tag` is above SNTR_MAX_TAG
 *   SNTR_RC_ID_TOO_LONG         (IR, IV) `idLength` is above the list's maximum; looking for an IV property in a node
 *                               without the kind, above 0x1000
 *   SNTR_RC_NULL_ID             (IR, IV) `id` is null
 *   V, IR, IV: also the AREA codes and the codes of a stored maximum, for BaseV those of the V list
 * CONDITION codes, about a node that is not active:
 *   SNTR_RC_NODE_NOT_INITIALIZED, SNTR_RC_NODE_ONLY_INITIALIZED, SNTR_RC_NODE_ABANDONED, SNTR_RC_NODE_DISASSOCIATED;
 *   SNTR_RC_CONDITION_OUT_OF_RANGE  the stored condition is none of the five
 * SECTION codes, only when `latchHeld` is 0:
 *   SNTR_RC_VALUE_OUT_OF_RANGE  the node's concurrency model is above 5
 *   SNTR_RC_BAD_LATCH_VERSION   model 1, and the node's latches are not initialized
 *   SNTR_RC_LATCH_FAILED        the latch was not obtained, or a get met writers up to the wait limit; or it could
 *                               not be released, and then the work is done
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

/* Adds a V property. Tag 0 and the two layouts are as for sntrAddRProperty(); the result code begins as 0 and the
 * change counter goes up by one. An array that was never laid out has no maxima and takes nothing.
 *   node       the node
 *   tag        0 to SNTR_MAX_TAG
 *   valueSize  bytes of the value: 1, or 2 to the maximum of the V list
 *   value      the value
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_BAD_VALUE_SIZE          `valueSize` is neither 1 nor 2 to the maximum
 *   SNTR_RC_NULL_V_VALUE            `value` is null
 *   LIST, SECTION, CONDITION codes
 *   SNTR_RC_V_EXISTS                the list has a property with this tag
 *   SNTR_RC_V_LIST_FULL             array: no empty record is left; or an array whose records have no room, which
 *                                   holds nothing
 *   SNTR_RC_NO_ROOM_FOR_SLOT        table: the area is full, or the freed slot to reuse lies where none can be
 *   SNTR_RC_NEXT_FREE_OUTSIDE_AREA  table: the next fresh slot would not lie between the slots and the stack
 *   SNTR_RC_BAD_FREED_STACK         table: the stored stack of freed slots is larger than it can be
 *   SNTR_RC_V_DAMAGED               table: a link leads to no slot, or the chain does not end
 *   SNTR_RC_BAD_LATCH_VERSION       the node's latches, whose stamp the record's own ones get, are not initialized
 *   SNTR_RC_LATCH_FAILED            a latch of the record could not be initialized
 *   SNTR_RC_ATOMIC_FAILED           a register or counter of the record could not be initialized; or the change
 *                                   counter could not be raised, and then the property exists */
SNTR_API uint32_t sntrAddVProperty(SNodeCB_t *node, uint64_t tag, uint64_t valueSize, const void *value,
                                   uint64_t latchHeld);

/* Adds an IR property. Tag 0 and the two layouts are as for sntrAddRProperty(); the result code begins as 0 and the
 * change counter goes up by one. An array that was never laid out has no maxima and takes nothing.
 *   node      the node
 *   tag       0 to SNTR_MAX_TAG
 *   idLength  bytes of the identifier, at most the list's maximum
 *   id        the identifier; not null even when `idLength` is 0
 *   value     the value
 * Answers 0, or:
 *   KEY codes of the kind
 *   LIST, SECTION, CONDITION codes
 *   SNTR_RC_IR_EXISTS               the list has a property with this tag and identifier
 *   SNTR_RC_IR_LIST_FULL            array: no empty record is left; or an array whose records have no room, which
 *                                   holds nothing
 *   SNTR_RC_NO_ROOM_FOR_SLOT        table: the area is full, or the freed slot to reuse lies where none can be
 *   SNTR_RC_NEXT_FREE_OUTSIDE_AREA  table: the next fresh slot would not lie between the slots and the stack
 *   SNTR_RC_BAD_FREED_STACK         table: the stored stack of freed slots is larger than it can be
 *   SNTR_RC_IR_DAMAGED              table: a link leads to no slot, or the chain does not end
 *   SNTR_RC_BYTES_OUTSIDE_AREA      the identifier of a record on the way is not in that record
 *   SNTR_RC_BAD_LATCH_VERSION       the node's latches, whose stamp the record's own ones get, are not initialized
 *   SNTR_RC_LATCH_FAILED            a latch of the record could not be initialized
 *   SNTR_RC_ATOMIC_FAILED           a register or counter of the record could not be initialized; or the change
 *                                   counter could not be raised, and then the property exists, but in no chain by tag
 *                                   or identifier */
SNTR_API uint32_t sntrAddIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id, int32_t value,
                                    uint64_t latchHeld);

/* Adds an IV property. Tag 0 and the two layouts are as for sntrAddRProperty(); the result code begins as 0 and the
 * change counter goes up by one. An array that was never laid out has no maxima and takes nothing.
 *   node       the node
 *   tag        0 to SNTR_MAX_TAG
 *   idLength   bytes of the identifier, at most the list's maximum
 *   id         the identifier; not null even when `idLength` is 0
 *   valueSize  bytes of the value: 1, or 2 to the maximum of the IV list
 *   value      the value
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_BAD_VALUE_SIZE          `valueSize` is neither 1 nor 2 to the maximum
 *   SNTR_RC_NULL_IV_VALUE           `value` is null
 *   LIST, SECTION, CONDITION codes
 *   SNTR_RC_IV_EXISTS               the list has a property with this tag and identifier
 *   SNTR_RC_IV_LIST_FULL            array: no empty record is left; or an array whose records have no room, which
 *                                   holds nothing
 *   SNTR_RC_NO_ROOM_FOR_SLOT        table: the area is full, or the freed slot to reuse lies where none can be
 *   SNTR_RC_NEXT_FREE_OUTSIDE_AREA  table: the next fresh slot would not lie between the slots and the stack
 *   SNTR_RC_BAD_FREED_STACK         table: the stored stack of freed slots is larger than it can be
 *   SNTR_RC_IV_DAMAGED              table: a link leads to no slot, or the chain does not end
 *   SNTR_RC_BYTES_OUTSIDE_AREA      the identifier of a record on the way is not in that record
 *   SNTR_RC_BAD_LATCH_VERSION       the node's latches, whose stamp the record's own ones get, are not initialized
 *   SNTR_RC_LATCH_FAILED            a latch of the record could not be initialized
 *   SNTR_RC_ATOMIC_FAILED           a register or counter of the record could not be initialized; or the change
 *                                   counter could not be raised, and then the property exists, but in no chain by tag
 *                                   or identifier */
SNTR_API uint32_t sntrAddIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                    uint64_t valueSize, const void *value, uint64_t latchHeld);

/* Deletes a V property. Its record may be reused by the next add: addresses of it that were kept are void. The change
 * counter goes up by one.
 *   node  the node
 *   tag   0 to SNTR_MAX_TAG
 * Answers 0, or:
 *   KEY codes of the kind; SECTION, CONDITION, LIST codes
 *   SNTR_RC_V_NOT_FOUND             array: no property has this tag
 *   SNTR_RC_V_NOT_IN_TABLE          table: no property has this tag
 *   SNTR_RC_NO_ROOM_FOR_FREED_SLOT  table: no 8 bytes are left between slots and stack to remember the freed slot, or
 *                                   0x8000 slots are on the stack already
 *   SNTR_RC_BAD_FREED_STACK         table: the stored stack of freed slots is larger than it can be
 *   SNTR_RC_V_DAMAGED               table: a link leads to no slot, the chain does not end, or less is noted as used
 *                                   than the property takes
 *   SNTR_RC_ATOMIC_FAILED           the change counter could not be raised; the property is gone */
SNTR_API uint32_t sntrDeleteVProperty(SNodeCB_t *node, uint64_t tag, uint64_t latchHeld);

/* Deletes an IR property. Its record may be reused by the next add: addresses of it that were kept are void. The
 * change counter goes up by one.
 *   node      the node
 *   tag       0 to SNTR_MAX_TAG
 *   idLength  bytes of the identifier, at most the list's maximum
 *   id        the identifier; not null even when `idLength` is 0
 * Answers 0, or:
 *   KEY codes of the kind; SECTION, CONDITION, LIST codes
 *   SNTR_RC_IR_NOT_FOUND            array: no property has this tag and identifier
 *   SNTR_RC_IR_NOT_IN_TABLE         table: no property has this tag and identifier
 *   SNTR_RC_NO_ROOM_FOR_FREED_SLOT  table: no 8 bytes are left between slots and stack to remember the freed slot, or
 *                                   0x8000 slots are on the stack already
 *   SNTR_RC_BAD_FREED_STACK         table: the stored stack of freed slots is larger than it can be
 *   SNTR_RC_IR_DAMAGED              table: a link leads to no slot, a neighbour in a chain by tag or identifier does
 *                                   not lead back, the chain does not end, or less is noted as used than the property
 *                                   takes
 *   SNTR_RC_BYTES_OUTSIDE_AREA      the identifier of a record on the way is not in that record
 *   SNTR_RC_ATOMIC_FAILED           the change counter could not be raised; the property is gone */
SNTR_API uint32_t sntrDeleteIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                       uint64_t latchHeld);

/* Deletes an IV property. Its record may be reused by the next add: addresses of it that were kept are void. The
 * change counter goes up by one.
 *   node      the node
 *   tag       0 to SNTR_MAX_TAG
 *   idLength  bytes of the identifier, at most the list's maximum
 *   id        the identifier; not null even when `idLength` is 0
 * Answers 0, or:
 *   KEY codes of the kind; SECTION, CONDITION, LIST codes
 *   SNTR_RC_IV_NOT_FOUND            array: no property has this tag and identifier
 *   SNTR_RC_IV_NOT_IN_TABLE         table: no property has this tag and identifier
 *   SNTR_RC_NO_ROOM_FOR_FREED_SLOT  table: no 8 bytes are left between slots and stack to remember the freed slot, or
 *                                   0x8000 slots are on the stack already
 *   SNTR_RC_BAD_FREED_STACK         table: the stored stack of freed slots is larger than it can be
 *   SNTR_RC_IV_DAMAGED              table: a link leads to no slot, a neighbour in a chain by tag or identifier does
 *                                   not lead back, the chain does not end, or less is noted as used than the property
 *                                   takes
 *   SNTR_RC_BYTES_OUTSIDE_AREA      the identifier of a record on the way is not in that record
 *   SNTR_RC_ATOMIC_FAILED           the change counter could not be raised; the property is gone */
SNTR_API uint32_t sntrDeleteIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                       uint64_t latchHeld);

/* Gives the address of a V property's record, for the operations that take a record (sntr/values.h). The caller holds
 * the node's section. The address may be any, and is valid until the property is deleted.
 *   node    the node
 *   tag     0 to SNTR_MAX_TAG
 *   record  receives the address
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_NULL_V_RECORD   `record` is null
 *   CONDITION, LIST codes
 *   SNTR_RC_V_NOT_FOUND     array: no property has this tag
 *   SNTR_RC_V_NOT_IN_TABLE  table: no property has this tag
 *   SNTR_RC_V_DAMAGED       table: a link leads to no slot, or the chain does not end */
SNTR_API uint32_t sntrGetAddressForVProperty(SNodeCB_t *node, uint64_t tag, SNodeProperty_t **record);

/* Gives the address of an IR property's record, for the operations that take a record (sntr/values.h). The caller
 * holds the node's section. The address may be any, and is valid until the property is deleted.
 *   node      the node
 *   tag       0 to SNTR_MAX_TAG
 *   idLength  bytes of the identifier, at most the list's maximum
 *   id        the identifier; not null even when `idLength` is 0
 *   record    receives the address
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_NULL_IR_RECORD      `record` is null
 *   CONDITION, LIST codes
 *   SNTR_RC_IR_NOT_FOUND        array: no property has this tag and identifier
 *   SNTR_RC_IR_NOT_IN_TABLE     table: no property has this tag and identifier
 *   SNTR_RC_IR_DAMAGED          table: a link leads to no slot, or the chain does not end
 *   SNTR_RC_BYTES_OUTSIDE_AREA  the identifier of a record on the way is not in that record */
SNTR_API uint32_t sntrGetAddressForIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                              SNodeProperty_t **record);

/* Gives the address of an IV property's record, for the operations that take a record (sntr/values.h). The caller
 * holds the node's section. The address may be any, and is valid until the property is deleted.
 *   node      the node
 *   tag       0 to SNTR_MAX_TAG
 *   idLength  bytes of the identifier, at most the list's maximum
 *   id        the identifier; not null even when `idLength` is 0
 *   record    receives the address
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_NULL_IV_RECORD      `record` is null
 *   CONDITION, LIST codes
 *   SNTR_RC_IV_NOT_FOUND        array: no property has this tag and identifier
 *   SNTR_RC_IV_NOT_IN_TABLE     table: no property has this tag and identifier
 *   SNTR_RC_IV_DAMAGED          table: a link leads to no slot, or the chain does not end
 *   SNTR_RC_BYTES_OUTSIDE_AREA  the identifier of a record on the way is not in that record */
SNTR_API uint32_t sntrGetAddressForIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                              SNodeProperty_t **record);

/* Gives the address of the node's BaseR property's record, for the operations that take a record (sntr/values.h). The
 * caller holds the node's section. The address may be any, and is valid until the property is deleted.
 *   node    the node
 *   tag     0 to SNTR_MAX_TAG
 *   record  receives the address
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_NULL_BASE_R_RECORD  `record` is null
 *   CONDITION, AREA codes
 *   SNTR_RC_BASE_R_NOT_FOUND    there is no property, or it has another tag
 *   SNTR_RC_BASE_R_DAMAGED      the area ends before the record does */
SNTR_API uint32_t sntrGetAddressForBaseRProperty(SNodeCB_t *node, uint64_t tag, SNodeProperty_t **record);

/* Gives the address of the node's BaseV property's record, for the operations that take a record (sntr/values.h). The
 * caller holds the node's section. The address may be any, and is valid until the property is deleted.
 *   node    the node
 *   tag     0 to SNTR_MAX_TAG
 *   record  receives the address
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_NULL_BASE_V_RECORD  `record` is null
 *   CONDITION, AREA codes
 *   SNTR_RC_BASE_V_NOT_FOUND    there is no property, or it has another tag
 *   SNTR_RC_BASE_V_DAMAGED      the area ends before the record does */
SNTR_API uint32_t sntrGetAddressForBaseVProperty(SNodeCB_t *node, uint64_t tag, SNodeProperty_t **record);

/* Deletes the node's BaseR property: its tag becomes 0 and its area is noted as unused. The change counter goes up by
 * one. Deleting tag 0 where there is no property changes nothing.
 *   node  the node
 *   tag   0 to SNTR_MAX_TAG
 * Answers 0, or:
 *   KEY codes of the kind; SECTION, CONDITION, AREA codes
 *   SNTR_RC_BASE_R_NOT_FOUND  there is no property, or it has another tag
 *   SNTR_RC_BASE_R_DAMAGED    the area ends before the record does
 *   SNTR_RC_ATOMIC_FAILED     the change counter could not be raised; the property is gone */
SNTR_API uint32_t sntrDeleteBaseRProperty(SNodeCB_t *node, uint64_t tag, uint64_t latchHeld);

/* Deletes the node's BaseV property: its tag becomes 0 and its area is noted as unused. The change counter goes up by
 * one. Deleting tag 0 where there is no property changes nothing.
 *   node  the node
 *   tag   0 to SNTR_MAX_TAG
 * Answers 0, or:
 *   KEY codes of the kind; SECTION, CONDITION, AREA codes
 *   SNTR_RC_BASE_V_NOT_FOUND  there is no property, or it has another tag
 *   SNTR_RC_BASE_V_DAMAGED    the area ends before the record does
 *   SNTR_RC_ATOMIC_FAILED     the change counter could not be raised; the property is gone */
SNTR_API uint32_t sntrDeleteBaseVProperty(SNodeCB_t *node, uint64_t tag, uint64_t latchHeld);

#ifdef __cplusplus
}
#endif

#endif
