/* SPDX-License-Identifier: MIT */
/** @file
 * Counting properties, copying their keys out, walking over the records of an array, and storing the export list.
 *
 * What differs by kind:
 *
 * @verbatim
 * kind   NULL_RECORD                 NULL_USED                    NULL_CAPACITY                    BAD_COUNT
 * R      SNTR_RC_NULL_R_RECORD       SNTR_RC_NULL_R_USED_OUTPUT   SNTR_RC_NULL_R_CAPACITY_OUTPUT   SNTR_RC_BAD_R_COUNT
 * V      SNTR_RC_NULL_V_RECORD       SNTR_RC_NULL_V_USED_OUTPUT   SNTR_RC_NULL_V_CAPACITY_OUTPUT   SNTR_RC_BAD_V_COUNT
 * IR     SNTR_RC_NULL_IR_RECORD      SNTR_RC_NULL_IR_USED_OUTPUT  SNTR_RC_NULL_IR_CAPACITY_OUTPUT  SNTR_RC_BAD_IR_COUNT
 * IV     SNTR_RC_NULL_IV_RECORD      SNTR_RC_NULL_IV_USED_OUTPUT  SNTR_RC_NULL_IV_CAPACITY_OUTPUT  SNTR_RC_BAD_IV_COUNT
 * BaseR  SNTR_RC_NULL_BASE_R_RECORD  -                            -                                -
 * BaseV  SNTR_RC_NULL_BASE_V_RECORD  -                            -                                -
 *
 * kind   NOT_IN_TABLE             DAMAGED                 WALK_DAMAGED        OUTSIDE
 * R      SNTR_RC_R_NOT_IN_TABLE   SNTR_RC_R_DAMAGED       SNTR_RC_R_DAMAGED   -
 * V      SNTR_RC_V_NOT_IN_TABLE   SNTR_RC_V_DAMAGED       SNTR_RC_R_DAMAGED   SNTR_RC_V_VALUE_OUTSIDE_AREA
 * IR     SNTR_RC_IR_NOT_IN_TABLE  SNTR_RC_IR_DAMAGED      SNTR_RC_IR_DAMAGED  -
 * IV     SNTR_RC_IV_NOT_IN_TABLE  SNTR_RC_IV_DAMAGED      SNTR_RC_IV_DAMAGED  SNTR_RC_IV_VALUE_OUTSIDE_AREA
 * BaseR  -                        SNTR_RC_BASE_R_DAMAGED  -                   -
 * BaseV  -                        SNTR_RC_BASE_V_DAMAGED  -                   SNTR_RC_BASE_V_VALUE_OUTSIDE_AREA
 * @endverbatim
 *
 * A word in capitals without SNTR_RC_ is a column of this table: it stands for the code of the kind. WALK_DAMAGED of V
 * is the R kind's code.
 *
 * Thread safety: the rules on threads, sections and `latchHeld` are those of sntr/properties.h. Nothing here but
 * sntrExportListOfChangedProperties() changes the node.
 *
 * The AREA, LIST, KEY, SECTION and CONDITION codes are those of sntr/properties.h. Here the KEY codes are without those
 * of an identifier.
 *
 * Parameters of several operations:
 * - `node`: the node; if null, SNTR_RC_NULL_NODE
 * - `latchHeld`: 0, or not 0 if the caller holds the section
 */
#ifndef SNTR_ENUMERATION_H
#define SNTR_ENUMERATION_H

#include <sntr/export.h>
#include <sntr/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Returns what a node was created with. Takes no latch.
 * - `node`: the node
 * - `exports`: receives the option bits, SNTR_KIND_* and SNTR_OPTION_*
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SNTR_RC_NULL_OUTPUT: `exports` is null */
SNTR_API uint32_t sntrReturnExports(SNodeCB_t *node, uint64_t *exports);

/** @name Counting all properties, or those with a tag */
/** @{ */
/** Counts properties in a section.
 * - `node`, `latchHeld`: as above
 * - `tag`: 0 counts all; another tag, up to SNTR_MAX_TAG, counts the properties with it
 * - `count`: receives the number; not null
 *
 * Returns 0, or:
 * - KEY codes
 * - SNTR_RC_NULL_OUTPUT: `count` is null
 * - SECTION, CONDITION, LIST codes
 * - NOT_IN_TABLE: `tag` is not 0 and no property has it; the count is 0
 * - DAMAGED: a link leads to no slot, or a chain does not end. Of all, the count is of those before it; of a tag, 0
 * - BAD_COUNT: more than SNTR_MAX_PROPERTIES; the count was stored */
SNTR_API uint32_t sntrReturnRPropertyCount(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld);
SNTR_API uint32_t sntrReturnVPropertyCount(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld);
SNTR_API uint32_t sntrReturnIRPropertyCount(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld);
SNTR_API uint32_t sntrReturnIVPropertyCount(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld);
/** @} */

/** @name Counting all properties */
/** @{ */
/** Counts all properties by walking over them, whatever the node's condition. Takes no latch: its caller holds the
 * section.
 * - `node`: the node
 * - `count`: receives the number; empty records are not counted
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SNTR_RC_NULL_OUTPUT: `count` is null
 * - LIST codes
 * - DAMAGED: a link leads to no slot, or a chain does not end; the count is of those before it */
SNTR_API uint32_t sntrGetNumberOfRProperties(SNodeCB_t *node, uint64_t *count);
SNTR_API uint32_t sntrGetNumberOfVProperties(SNodeCB_t *node, uint64_t *count);
SNTR_API uint32_t sntrGetNumberOfIRProperties(SNodeCB_t *node, uint64_t *count);
SNTR_API uint32_t sntrGetNumberOfIVProperties(SNodeCB_t *node, uint64_t *count);
/** @} */

/** @name Counting the properties with a tag */
/** @{ */
/** Counts the properties with a tag, whatever the node's condition.
 * - `node`, `latchHeld`: as above
 * - `tag`: 0 to SNTR_MAX_TAG. In a table 0 is a tag like any other; in an array no property has it
 * - `count`: receives the number; not null
 *
 * Returns 0, or:
 * - KEY codes
 * - NULL_USED: `count` is null
 * - LIST, SECTION codes
 * - NOT_IN_TABLE: no property has the tag; the count is 0
 * - DAMAGED: a link leads to no slot, or a chain does not end; the count is 0 */
SNTR_API uint32_t sntrGetRPropertiesNoForGivenTag(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld);
SNTR_API uint32_t sntrGetVPropertiesNoForGivenTag(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld);
SNTR_API uint32_t sntrGetIRPropertiesNoForGivenTag(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld);
SNTR_API uint32_t sntrGetIVPropertiesNoForGivenTag(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld);
/** @} */

/** @name Copying keys */
/** @{ */
/** Copies the keys of properties out. From an array they come in the order of the records; from a table, bucket by
 * bucket and ascending in each.
 *
 * All entries after the last key are set to 0. A failure during the copy leaves the keys before it copied.
 * - `node`, `latchHeld`: as above
 * - `tags`: `capacity` entries
 * - `idLengths` (IR, IV): `capacity` entries: the bytes of each identifier
 * - `ids` (IR, IV): `capacity` slots of `idSlotWidth` bytes: the identifiers. The rest of a used slot stays as it was
 * - `valueSizes` (V, IV): `capacity` entries: the bytes of each value
 * - `tag`: 0 copies all; another tag copies the keys of the properties with it, from an IR or IV table newest first
 * - `capacity`: 1 to SNTR_MAX_PROPERTIES; if there are more properties, the first ones are copied
 * - `idSlotWidth` (IR, IV): bytes of a slot, at most the list's maximum identifier size
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - BAD_COUNT: `capacity` is out of range
 * - SNTR_RC_NULL_TAGS: `tags` is null
 * - SNTR_RC_NULL_LENGTH (IR, IV): `idLengths` is null
 * - SNTR_RC_NULL_ID (IR, IV): `ids` is null
 * - SNTR_RC_NULL_VALUE_SIZES (V, IV): `valueSizes` is null
 * - AREA codes
 * - SNTR_RC_TAG_TOO_LARGE: `tag` is above SNTR_MAX_TAG; or a stored one is, and the keys before it were copied
 * - LIST codes
 * - SNTR_RC_ID_SLOT_TOO_WIDE (IR, IV): `idSlotWidth` is above the maximum
 * - SECTION, CONDITION codes
 * - NOT_IN_TABLE: there is nothing to copy; all entries are 0
 * - DAMAGED: a link leads to no slot, or a chain does not end
 * - SNTR_RC_ID_TOO_LONG (IR, IV): a stored identifier is longer than a slot or the list's maximum
 * - SNTR_RC_BYTES_OUTSIDE_AREA (IR, IV): a stored identifier is not in its record
 * - OUTSIDE (V, IV): a stored value lies outside the area
 * - SNTR_RC_BAD_VALUE_SIZE (V, IV): a stored size is neither 1 nor 2 to the maximum */
SNTR_API uint32_t sntrReturnRProperties(SNodeCB_t *node, uint64_t *tags, uint64_t tag, uint64_t capacity,
                                        uint64_t latchHeld);
SNTR_API uint32_t sntrReturnVProperties(SNodeCB_t *node, uint64_t *tags, uint64_t *valueSizes, uint64_t tag,
                                        uint64_t capacity, uint64_t latchHeld);
SNTR_API uint32_t sntrReturnIRProperties(SNodeCB_t *node, uint64_t *tags, uint64_t *idLengths, void *ids, uint64_t tag,
                                         uint64_t capacity, uint64_t idSlotWidth, uint64_t latchHeld);
SNTR_API uint32_t sntrReturnIVProperties(SNodeCB_t *node, uint64_t *tags, uint64_t *idLengths, void *ids,
                                         uint64_t *valueSizes, uint64_t tag, uint64_t capacity, uint64_t idSlotWidth,
                                         uint64_t latchHeld);
/** @} */

/** @name First record of an array */
/** @{ */
/** Begins a walk over the records of an array. Takes no latch: its caller holds the section.
 * - `node`: the node; its list is an array
 * - `location`: receives the address of the first record, or of the end of an area that has room for none
 * - `used`: receives the number of records in use: there may be empty ones between them
 * - `capacity`: receives the number of records that the area has room for
 *
 * Both numbers are 0 for an IR array whose records have no room.
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - NULL_USED: `used` is null
 * - NULL_CAPACITY: `capacity` is null
 * - NULL_RECORD: `location` is null
 * - AREA codes; V, IR, IV: the codes of a stored maximum
 * - WALK_DAMAGED: the area ends before its header; the two numbers were stored as 0 */
SNTR_API uint32_t sntrGetFirstRPropertyLocation(SNodeCB_t *node, SNodeProperty_t **location, uint64_t *used,
                                                uint64_t *capacity);
SNTR_API uint32_t sntrGetFirstVPropertyLocation(SNodeCB_t *node, SNodeProperty_t **location, uint64_t *used,
                                                uint64_t *capacity);
SNTR_API uint32_t sntrGetFirstIRPropertyLocation(SNodeCB_t *node, SNodeProperty_t **location, uint64_t *used,
                                                 uint64_t *capacity);
SNTR_API uint32_t sntrGetFirstIVPropertyLocation(SNodeCB_t *node, SNodeProperty_t **location, uint64_t *used,
                                                 uint64_t *capacity);
/** @} */

/** @name Next record of an array */
/** @{ */
/** Goes on to the next record. The end of the area is accepted: count records, and read none there. Takes no latch: its
 * caller holds the section.
 * - `node`: the node
 * - `area`: the entry of the kind's area in the node's area table, from sntrGetPExportPointer()
 * - `location`: the address of a record; receives that of the next one
 *
 * Returns 0, or, with the location as it was:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SNTR_RC_NULL_OUTPUT: `area` is null
 * - NULL_RECORD: `location` or the address in it is null
 * - V, IR, IV: AREA codes and the codes of a stored maximum
 * - WALK_DAMAGED: the next record would begin outside the area */
SNTR_API uint32_t sntrGetNextRPropertyLocation(SNodeCB_t *node, const AreaEntry *area, SNodeProperty_t **location);
SNTR_API uint32_t sntrGetNextVPropertyLocation(SNodeCB_t *node, const AreaEntry *area, SNodeProperty_t **location);
SNTR_API uint32_t sntrGetNextIRPropertyLocation(SNodeCB_t *node, const AreaEntry *area, SNodeProperty_t **location);
SNTR_API uint32_t sntrGetNextIVPropertyLocation(SNodeCB_t *node, const AreaEntry *area, SNodeProperty_t **location);
/** @} */

/** @name Record of a base property */
/** @{ */
/** Returns the address of the node's base record, whatever its tag and the node's condition. The caller holds the
 * section.
 * - `node`: the node
 * - `record`: receives the address
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - NULL_RECORD: `record` is null
 * - AREA codes
 * - DAMAGED: the area ends before the record does */
SNTR_API uint32_t sntrGetBaseRPropertyLocation(SNodeCB_t *node, SNodeProperty_t **record);
SNTR_API uint32_t sntrGetBaseVPropertyLocation(SNodeCB_t *node, SNodeProperty_t **record);
/** @} */

/** @name Key of a base property */
/** @{ */
/** Returns the tag of the node's base property, and of BaseV the value's size.
 * - `node`, `latchHeld`: as above
 * - `tag`: receives the tag; 0 also for a property that was deleted or never created
 * - `valueSize` (BaseV): receives the bytes of the value
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SNTR_RC_NULL_BASE_TAG_OUTPUT: `tag` is null
 * - SNTR_RC_NULL_VALUE_SIZES (BaseV): `valueSize` is null
 * - AREA, SECTION, CONDITION codes
 * - DAMAGED: the area ends before the record does
 * - SNTR_RC_TAG_TOO_LARGE: the stored tag is above SNTR_MAX_TAG
 * - OUTSIDE (BaseV): the stored place of the value lies outside the area: damaged, or never created; the tag was stored
 * - SNTR_RC_BAD_VALUE_SIZE (BaseV): the stored size is 0 or more than the area has room for; the tag was stored */
SNTR_API uint32_t sntrReturnBaseRProperty(SNodeCB_t *node, uint64_t *tag, uint64_t latchHeld);
SNTR_API uint32_t sntrReturnBaseVProperty(SNodeCB_t *node, uint64_t *tag, uint64_t *valueSize, uint64_t latchHeld);
/** @} */

/** Stores an export list in the node, in a write section of its own: the node's option bits, and each entry that is not
 * 0. What the numbers stand for is up to the callers.
 * - `node`: the node, created with SNTR_OPTION_EXPORT_LIST and an area of at least 240 bytes
 * - `ignored`: anything
 * - `entries`: 58 numbers, of which 0 leaves the stored one as it was. The first five are at most 0x8000: of R, V, IR
 *   and IV properties and dependents
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SNTR_RC_NULL_EXPORT_LIST: `entries` is null
 * - SNTR_RC_NO_EXPORT_LIST: the node was created without an export list
 * - SNTR_RC_BAD_R_COUNT, SNTR_RC_BAD_V_COUNT, SNTR_RC_BAD_IR_COUNT, SNTR_RC_BAD_IV_COUNT, SNTR_RC_BAD_DEPENDENT_COUNT:
 *   the first to fifth entry is too large
 * - AREA, SECTION, CONDITION codes
 * - SNTR_RC_AREA_OVERUSED: also for an area of less than 240 bytes */
SNTR_API uint32_t sntrExportListOfChangedProperties(SNodeCB_t *node, uint64_t ignored, const uint32_t *entries);

#ifdef __cplusplus
}
#endif

#endif
