/* Counting properties, copying their keys out, walking over the records of an array, and storing the export list.
 *
 * The rules on threads, sections and `latchHeld`, and the groups of codes, are those of sntr/properties.h. Nothing here
 * but sntrExportListOfChangedProperties() changes the node.
 */
#ifndef SNTR_ENUMERATION_H
#define SNTR_ENUMERATION_H

#include <sntr/export.h>
#include <sntr/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Tells what a node was created with. Takes no latch.
 *   node     the node
 *   exports  receives the option bits, SNTR_KIND_* and SNTR_OPTION_*
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE    `node` is null
 *   SNTR_RC_NULL_OUTPUT  `exports` is null */
SNTR_API uint32_t sntrReturnExports(SNodeCB_t *node, uint64_t *exports);

/* Counts R properties.
 *   node   the node
 *   tag    0 counts all; another tag counts the properties with it
 *   count  receives the number
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE       `node` is null
 *   SNTR_RC_TAG_TOO_LARGE   `tag` is above SNTR_MAX_TAG
 *   SNTR_RC_NULL_OUTPUT     `count` is null
 *   SECTION, CONDITION, LIST codes
 *   SNTR_RC_R_NOT_IN_TABLE  `tag` is not 0 and no property has it; the count is 0
 *   SNTR_RC_R_DAMAGED       a link leads to no slot, or a chain does not end; the count is of those before it
 *   SNTR_RC_BAD_R_COUNT     more than SNTR_MAX_PROPERTIES; the count was stored */
SNTR_API uint32_t sntrReturnRPropertyCount(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld);

/* Counts all R properties by walking over them, whatever the node's condition. Takes no latch: its caller holds the
 * section.
 *   node   the node
 *   count  receives the number; empty records are not counted
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE    `node` is null
 *   SNTR_RC_NULL_OUTPUT  `count` is null
 *   LIST codes
 *   SNTR_RC_R_DAMAGED    a link leads to no slot, or a chain does not end; the count is of those before it */
SNTR_API uint32_t sntrGetNumberOfRProperties(SNodeCB_t *node, uint64_t *count);

/* Counts the R properties with a tag, whatever the node's condition.
 *   node   the node
 *   tag    0 to SNTR_MAX_TAG; 0 is a tag like any other in a table, and no property's in an array
 *   count  receives the number
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE           `node` is null
 *   SNTR_RC_TAG_TOO_LARGE       `tag` is above SNTR_MAX_TAG
 *   SNTR_RC_NULL_R_USED_OUTPUT  `count` is null
 *   LIST, SECTION codes
 *   SNTR_RC_R_NOT_IN_TABLE      no property has the tag; the count is 0
 *   SNTR_RC_R_DAMAGED           a link leads to no slot, or a chain does not end; the count is 0 */
SNTR_API uint32_t sntrGetRPropertiesNoForGivenTag(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld);

/* Copies the tags of R properties out: in the order of the records of an array; bucket by bucket, ascending in each,
 * from a table.
 *   node      the node
 *   tags      `capacity` entries; those behind the last tag are set to 0
 *   tag       0 copies all; another tag copies that of the properties with it
 *   capacity  1 to SNTR_MAX_PROPERTIES; when there are more properties, the first ones are copied
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE       `node` is null
 *   SNTR_RC_BAD_R_COUNT     `capacity` is out of range
 *   SNTR_RC_NULL_TAGS       `tags` is null
 *   AREA codes
 *   SNTR_RC_TAG_TOO_LARGE   `tag` is above SNTR_MAX_TAG; or a stored one is, and the tags before it were copied
 *   LIST, SECTION, CONDITION codes
 *   SNTR_RC_R_NOT_IN_TABLE  there is nothing to copy; all entries are 0
 *   SNTR_RC_R_DAMAGED       a link leads to no slot, or a chain does not end; the tags before it were copied */
SNTR_API uint32_t sntrReturnRProperties(SNodeCB_t *node, uint64_t *tags, uint64_t tag, uint64_t capacity,
                                        uint64_t latchHeld);

/* Begins a walk over the records of an R array. Takes no latch: its caller holds the section.
 *   node      the node; its list is an array
 *   location  receives the address of the first record, or of the end of an area that has room for none
 *   used      receives the number of records in use: they may have empty ones between them
 *   capacity  receives the number of records that the area has room for
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE               `node` is null
 *   SNTR_RC_NULL_R_USED_OUTPUT      `used` is null
 *   SNTR_RC_NULL_R_CAPACITY_OUTPUT  `capacity` is null
 *   SNTR_RC_NULL_R_RECORD           `location` is null
 *   AREA codes
 *   SNTR_RC_R_DAMAGED               the area ends before its header; the two numbers were stored as 0 */
SNTR_API uint32_t sntrGetFirstRPropertyLocation(SNodeCB_t *node, SNodeProperty_t **location, uint64_t *used,
                                                uint64_t *capacity);

/* Goes on to the next record. The end of the area passes: count records, and read none there.
 *   node      the node
 *   area      the entry of the R area in the node's area table, from sntrGetPExportPointer()
 *   location  the address of a record; receives that of the next one
 * Answers 0, or, the location being what it was:
 *   SNTR_RC_NULL_NODE      `node` is null
 *   SNTR_RC_NULL_OUTPUT    `area` is null
 *   SNTR_RC_NULL_R_RECORD  `location` or the address in it is null
 *   SNTR_RC_R_DAMAGED      the next record would begin outside the area */
SNTR_API uint32_t sntrGetNextRPropertyLocation(SNodeCB_t *node, const AreaEntry *area, SNodeProperty_t **location);

/* Counts V properties.
 *   node   the node
 *   tag    0 counts all; another tag counts the properties with it
 *   count  receives the number
 * Answers 0, or:
 *   KEY codes of the kind, but for those of an identifier
 *   SNTR_RC_NULL_OUTPUT     `count` is null
 *   SECTION, CONDITION, LIST codes
 *   SNTR_RC_V_NOT_IN_TABLE  `tag` is not 0 and no property has it; the count is 0
 *   SNTR_RC_V_DAMAGED       a link leads to no slot, or a chain does not end; of all, the count is of those before it
 *   SNTR_RC_BAD_V_COUNT     more than SNTR_MAX_PROPERTIES; the count was stored */
SNTR_API uint32_t sntrReturnVPropertyCount(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld);

/* Counts all V properties by walking over them, whatever the node's condition. Takes no latch: its caller holds the
 * section.
 *   node   the node
 *   count  receives the number; empty records are not counted
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE    `node` is null
 *   SNTR_RC_NULL_OUTPUT  `count` is null
 *   LIST codes
 *   SNTR_RC_V_DAMAGED    a link leads to no slot, or a chain does not end; the count is of those before it */
SNTR_API uint32_t sntrGetNumberOfVProperties(SNodeCB_t *node, uint64_t *count);

/* Counts the V properties with a tag, whatever the node's condition. Tag 0 is a tag like any other in a table, and no
 * property's in an array.
 *   node   the node
 *   tag    0 to SNTR_MAX_TAG
 *   count  receives the number
 * Answers 0, or:
 *   KEY codes of the kind, but for those of an identifier
 *   SNTR_RC_NULL_V_USED_OUTPUT  `count` is null
 *   LIST, SECTION codes
 *   SNTR_RC_V_NOT_IN_TABLE      no property has the tag; the count is 0
 *   SNTR_RC_V_DAMAGED           a link leads to no slot, or a chain does not end; the count is 0 */
SNTR_API uint32_t sntrGetVPropertiesNoForGivenTag(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld);

/* Copies the keys of V properties out: in the order of the records of an array; bucket by bucket, ascending in each,
 * from a table. All that stands behind the last key is set to 0, and a failure leaves the keys before it copied.
 *   node        the node
 *   tags        `capacity` entries
 *   valueSizes  `capacity` entries: the bytes of each value
 *   tag         0 copies all; another tag copies the keys of the properties with it
 *   capacity    1 to SNTR_MAX_PROPERTIES; when there are more properties, the first ones are copied
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE             `node` is null
 *   SNTR_RC_BAD_V_COUNT           `capacity` is out of range
 *   SNTR_RC_NULL_TAGS             `tags` is null
 *   SNTR_RC_NULL_VALUE_SIZES      `valueSizes` is null
 *   AREA codes
 *   SNTR_RC_TAG_TOO_LARGE         `tag` is above SNTR_MAX_TAG; or a stored one is
 *   LIST, SECTION, CONDITION codes
 *   SNTR_RC_V_NOT_IN_TABLE        there is nothing to copy; all entries are 0
 *   SNTR_RC_V_DAMAGED             a link leads to no slot, or a chain does not end
 *   SNTR_RC_V_VALUE_OUTSIDE_AREA  a stored value lies outside the area
 *   SNTR_RC_BAD_VALUE_SIZE        a stored size is neither 1 nor 2 to the maximum */
SNTR_API uint32_t sntrReturnVProperties(SNodeCB_t *node, uint64_t *tags, uint64_t *valueSizes, uint64_t tag,
                                        uint64_t capacity, uint64_t latchHeld);

/* Begins a walk over the records of a V array, as sntrGetFirstRPropertyLocation() does.
 *   node      the node; its list is an array
 *   location  receives the address of the first record
 *   used      receives the number of records in use
 *   capacity  receives the number of records that the area has room for
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE               `node` is null
 *   SNTR_RC_NULL_V_USED_OUTPUT      `used` is null
 *   SNTR_RC_NULL_V_CAPACITY_OUTPUT  `capacity` is null
 *   SNTR_RC_NULL_V_RECORD           `location` is null
 *   AREA codes; the codes of a stored maximum
 *   SNTR_RC_R_DAMAGED               the area ends before its header; the two numbers were stored as 0. It is the R
 *                                   kind's code */
SNTR_API uint32_t sntrGetFirstVPropertyLocation(SNodeCB_t *node, SNodeProperty_t **location, uint64_t *used,
                                                uint64_t *capacity);

/* Goes on to the next record, as sntrGetNextRPropertyLocation() does.
 *   node      the node
 *   area      the entry of the V area in the node's area table, from sntrGetPExportPointer()
 *   location  the address of a record; receives that of the next one
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE      `node` is null
 *   SNTR_RC_NULL_OUTPUT    `area` is null
 *   SNTR_RC_NULL_V_RECORD  `location` or the address in it is null
 *   AREA codes; the codes of a stored maximum
 *   SNTR_RC_R_DAMAGED      the next record would begin outside the area; the location is what it was. It is the R
 *                          kind's code */
SNTR_API uint32_t sntrGetNextVPropertyLocation(SNodeCB_t *node, const AreaEntry *area, SNodeProperty_t **location);

/* Counts IR properties.
 *   node   the node
 *   tag    0 counts all; another tag counts the properties with it
 *   count  receives the number
 * Answers 0, or:
 *   KEY codes of the kind, but for those of an identifier
 *   SNTR_RC_NULL_OUTPUT      `count` is null
 *   SECTION, CONDITION, LIST codes
 *   SNTR_RC_IR_NOT_IN_TABLE  `tag` is not 0 and no property has it; the count is 0
 *   SNTR_RC_IR_DAMAGED       a link leads to no slot, or a chain does not end; of all, the count is of those before it
 *   SNTR_RC_BAD_IR_COUNT     more than SNTR_MAX_PROPERTIES; the count was stored */
SNTR_API uint32_t sntrReturnIRPropertyCount(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld);

/* Counts all IR properties by walking over them, whatever the node's condition. Takes no latch: its caller holds the
 * section.
 *   node   the node
 *   count  receives the number; empty records are not counted
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE    `node` is null
 *   SNTR_RC_NULL_OUTPUT  `count` is null
 *   LIST codes
 *   SNTR_RC_IR_DAMAGED   a link leads to no slot, or a chain does not end; the count is of those before it */
SNTR_API uint32_t sntrGetNumberOfIRProperties(SNodeCB_t *node, uint64_t *count);

/* Counts the IR properties with a tag, whatever the node's condition. Tag 0 is a tag like any other in a table, and no
 * property's in an array.
 *   node   the node
 *   tag    0 to SNTR_MAX_TAG
 *   count  receives the number
 * Answers 0, or:
 *   KEY codes of the kind, but for those of an identifier
 *   SNTR_RC_NULL_IR_USED_OUTPUT  `count` is null
 *   LIST, SECTION codes
 *   SNTR_RC_IR_NOT_IN_TABLE      no property has the tag; the count is 0
 *   SNTR_RC_IR_DAMAGED           a link leads to no slot, or a chain does not end; the count is 0 */
SNTR_API uint32_t sntrGetIRPropertiesNoForGivenTag(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld);

/* Copies the keys of IR properties out: in the order of the records of an array; bucket by bucket, ascending in each,
 * from a table. All that stands behind the last key is set to 0, and a failure leaves the keys before it copied.
 *   node         the node
 *   tags         `capacity` entries
 *   idLengths    `capacity` entries: the bytes of each identifier
 *   ids          `capacity` slots of `idSlotWidth` bytes: the identifiers; the rest of a slot stays as it was
 *   tag          0 copies all; another tag copies the keys of the properties with it, from a table newest first
 *   capacity     1 to SNTR_MAX_PROPERTIES; when there are more properties, the first ones are copied
 *   idSlotWidth  bytes of a slot, at most the list's maximum identifier size
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE           `node` is null
 *   SNTR_RC_BAD_IR_COUNT        `capacity` is out of range
 *   SNTR_RC_NULL_TAGS           `tags` is null
 *   SNTR_RC_NULL_LENGTH         `idLengths` is null
 *   SNTR_RC_NULL_ID             `ids` is null
 *   AREA codes
 *   SNTR_RC_TAG_TOO_LARGE       `tag` is above SNTR_MAX_TAG; or a stored one is
 *   SNTR_RC_ID_SLOT_TOO_WIDE    `idSlotWidth` is above the maximum
 *   LIST, SECTION, CONDITION codes
 *   SNTR_RC_IR_NOT_IN_TABLE     there is nothing to copy; all entries are 0
 *   SNTR_RC_IR_DAMAGED          a link leads to no slot, or a chain does not end
 *   SNTR_RC_ID_TOO_LONG         a stored identifier is longer than a slot or the list's maximum
 *   SNTR_RC_BYTES_OUTSIDE_AREA  a stored identifier is not in its record */
SNTR_API uint32_t sntrReturnIRProperties(SNodeCB_t *node, uint64_t *tags, uint64_t *idLengths, void *ids, uint64_t tag,
                                         uint64_t capacity, uint64_t idSlotWidth, uint64_t latchHeld);

/* Begins a walk over the records of an IR array, as sntrGetFirstRPropertyLocation() does. Both numbers are 0 for an
 * array whose records have no room.
 *   node      the node; its list is an array
 *   location  receives the address of the first record
 *   used      receives the number of records in use
 *   capacity  receives the number of records that the area has room for
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE                `node` is null
 *   SNTR_RC_NULL_IR_USED_OUTPUT      `used` is null
 *   SNTR_RC_NULL_IR_CAPACITY_OUTPUT  `capacity` is null
 *   SNTR_RC_NULL_IR_RECORD           `location` is null
 *   AREA codes; the codes of a stored maximum
 *   SNTR_RC_IR_DAMAGED               the area ends before its header; the two numbers were stored as 0 */
SNTR_API uint32_t sntrGetFirstIRPropertyLocation(SNodeCB_t *node, SNodeProperty_t **location, uint64_t *used,
                                                 uint64_t *capacity);

/* Goes on to the next record, as sntrGetNextRPropertyLocation() does.
 *   node      the node
 *   area      the entry of the IR area in the node's area table, from sntrGetPExportPointer()
 *   location  the address of a record; receives that of the next one
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE       `node` is null
 *   SNTR_RC_NULL_OUTPUT     `area` is null
 *   SNTR_RC_NULL_IR_RECORD  `location` or the address in it is null
 *   AREA codes; the codes of a stored maximum
 *   SNTR_RC_IR_DAMAGED      the next record would begin outside the area; the location is what it was */
SNTR_API uint32_t sntrGetNextIRPropertyLocation(SNodeCB_t *node, const AreaEntry *area, SNodeProperty_t **location);

/* Counts IV properties.
 *   node   the node
 *   tag    0 counts all; another tag counts the properties with it
 *   count  receives the number
 * Answers 0, or:
 *   KEY codes of the kind, but for those of an identifier
 *   SNTR_RC_NULL_OUTPUT      `count` is null
 *   SECTION, CONDITION, LIST codes
 *   SNTR_RC_IV_NOT_IN_TABLE  `tag` is not 0 and no property has it; the count is 0
 *   SNTR_RC_IV_DAMAGED       a link leads to no slot, or a chain does not end; of all, the count is of those before it
 *   SNTR_RC_BAD_IV_COUNT     more than SNTR_MAX_PROPERTIES; the count was stored */
SNTR_API uint32_t sntrReturnIVPropertyCount(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld);

/* Counts all IV properties by walking over them, whatever the node's condition. Takes no latch: its caller holds the
 * section.
 *   node   the node
 *   count  receives the number; empty records are not counted
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE    `node` is null
 *   SNTR_RC_NULL_OUTPUT  `count` is null
 *   LIST codes
 *   SNTR_RC_IV_DAMAGED   a link leads to no slot, or a chain does not end; the count is of those before it */
SNTR_API uint32_t sntrGetNumberOfIVProperties(SNodeCB_t *node, uint64_t *count);

/* Counts the IV properties with a tag, whatever the node's condition. Tag 0 is a tag like any other in a table, and no
 * property's in an array.
 *   node   the node
 *   tag    0 to SNTR_MAX_TAG
 *   count  receives the number
 * Answers 0, or:
 *   KEY codes of the kind, but for those of an identifier
 *   SNTR_RC_NULL_IV_USED_OUTPUT  `count` is null
 *   LIST, SECTION codes
 *   SNTR_RC_IV_NOT_IN_TABLE      no property has the tag; the count is 0
 *   SNTR_RC_IV_DAMAGED           a link leads to no slot, or a chain does not end; the count is 0 */
SNTR_API uint32_t sntrGetIVPropertiesNoForGivenTag(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld);

/* Copies the keys of IV properties out: in the order of the records of an array; bucket by bucket, ascending in each,
 * from a table. All that stands behind the last key is set to 0, and a failure leaves the keys before it copied.
 *   node         the node
 *   tags         `capacity` entries
 *   idLengths    `capacity` entries: the bytes of each identifier
 *   ids          `capacity` slots of `idSlotWidth` bytes: the identifiers; the rest of a slot stays as it was
 *   valueSizes   `capacity` entries: the bytes of each value
 *   tag          0 copies all; another tag copies the keys of the properties with it, from a table newest first
 *   capacity     1 to SNTR_MAX_PROPERTIES; when there are more properties, the first ones are copied
 *   idSlotWidth  bytes of a slot, at most the list's maximum identifier size
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE              `node` is null
 *   SNTR_RC_BAD_IV_COUNT           `capacity` is out of range
 *   SNTR_RC_NULL_TAGS              `tags` is null
 *   SNTR_RC_NULL_LENGTH            `idLengths` is null
 *   SNTR_RC_NULL_ID                `ids` is null
 *   SNTR_RC_NULL_VALUE_SIZES       `valueSizes` is null
 *   AREA codes
 *   SNTR_RC_TAG_TOO_LARGE          `tag` is above SNTR_MAX_TAG; or a stored one is
 *   SNTR_RC_ID_SLOT_TOO_WIDE       `idSlotWidth` is above the maximum
 *   LIST, SECTION, CONDITION codes
 *   SNTR_RC_IV_NOT_IN_TABLE        there is nothing to copy; all entries are 0
 *   SNTR_RC_IV_DAMAGED             a link leads to no slot, or a chain does not end
 *   SNTR_RC_ID_TOO_LONG            a stored identifier is longer than a slot or the list's maximum
 *   SNTR_RC_BYTES_OUTSIDE_AREA     a stored identifier is not in its record
 *   SNTR_RC_IV_VALUE_OUTSIDE_AREA  a stored value lies outside the area
 *   SNTR_RC_BAD_VALUE_SIZE         a stored size is neither 1 nor 2 to the maximum */
SNTR_API uint32_t sntrReturnIVProperties(SNodeCB_t *node, uint64_t *tags, uint64_t *idLengths, void *ids,
                                         uint64_t *valueSizes, uint64_t tag, uint64_t capacity, uint64_t idSlotWidth,
                                         uint64_t latchHeld);

/* Begins a walk over the records of an IV array, as sntrGetFirstRPropertyLocation() does. Both numbers are 0 for an
 * array whose records have no room.
 *   node      the node; its list is an array
 *   location  receives the address of the first record
 *   used      receives the number of records in use
 *   capacity  receives the number of records that the area has room for
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE                `node` is null
 *   SNTR_RC_NULL_IV_USED_OUTPUT      `used` is null
 *   SNTR_RC_NULL_IV_CAPACITY_OUTPUT  `capacity` is null
 *   SNTR_RC_NULL_IV_RECORD           `location` is null
 *   AREA codes; the codes of a stored maximum
 *   SNTR_RC_IV_DAMAGED               the area ends before its header; the two numbers were stored as 0 */
SNTR_API uint32_t sntrGetFirstIVPropertyLocation(SNodeCB_t *node, SNodeProperty_t **location, uint64_t *used,
                                                 uint64_t *capacity);

/* Goes on to the next record, as sntrGetNextRPropertyLocation() does.
 *   node      the node
 *   area      the entry of the IV area in the node's area table, from sntrGetPExportPointer()
 *   location  the address of a record; receives that of the next one
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE       `node` is null
 *   SNTR_RC_NULL_OUTPUT     `area` is null
 *   SNTR_RC_NULL_IV_RECORD  `location` or the address in it is null
 *   AREA codes; the codes of a stored maximum
 *   SNTR_RC_IV_DAMAGED      the next record would begin outside the area; the location is what it was */
SNTR_API uint32_t sntrGetNextIVPropertyLocation(SNodeCB_t *node, const AreaEntry *area, SNodeProperty_t **location);

/* Gives the address of the node's BaseR record, whatever its tag and the node's condition. The caller holds the
 * section.
 *   node    the node
 *   record  receives the address
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE           `node` is null
 *   SNTR_RC_NULL_BASE_R_RECORD  `record` is null
 *   AREA codes
 *   SNTR_RC_BASE_R_DAMAGED      the area ends before the record does */
SNTR_API uint32_t sntrGetBaseRPropertyLocation(SNodeCB_t *node, SNodeProperty_t **record);

/* Tells the tag of the node's BaseR property.
 *   node  the node
 *   tag   receives the tag; 0 also for a property that was deleted or never created
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE             `node` is null
 *   SNTR_RC_NULL_BASE_TAG_OUTPUT  `tag` is null
 *   AREA, SECTION, CONDITION codes
 *   SNTR_RC_BASE_R_DAMAGED        the area ends before the record does
 *   SNTR_RC_TAG_TOO_LARGE         the stored tag is above SNTR_MAX_TAG */
SNTR_API uint32_t sntrReturnBaseRProperty(SNodeCB_t *node, uint64_t *tag, uint64_t latchHeld);

/* Gives the address of the node's BaseV record, whatever its tag and the node's condition. The caller holds the
 * section.
 *   node    the node
 *   record  receives the address
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE           `node` is null
 *   SNTR_RC_NULL_BASE_V_RECORD  `record` is null
 *   AREA codes
 *   SNTR_RC_BASE_V_DAMAGED      the area ends before the record does */
SNTR_API uint32_t sntrGetBaseVPropertyLocation(SNodeCB_t *node, SNodeProperty_t **record);

/* Tells the tag and the value's size of the node's BaseV property.
 *   node       the node
 *   tag        receives the tag; 0 also for a property that was deleted or never created
 *   valueSize  receives the bytes of the value
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE                  `node` is null
 *   SNTR_RC_NULL_BASE_TAG_OUTPUT       `tag` is null
 *   SNTR_RC_NULL_VALUE_SIZES           `valueSize` is null
 *   AREA, SECTION, CONDITION codes
 *   SNTR_RC_BASE_V_DAMAGED             the area ends before the record does
 *   SNTR_RC_TAG_TOO_LARGE              the stored tag is above SNTR_MAX_TAG
 *   SNTR_RC_BASE_V_VALUE_OUTSIDE_AREA  the stored place of the value lies outside the area: damaged, or never created;
 *                                      the tag was stored
 *   SNTR_RC_BAD_VALUE_SIZE             the stored size is 0 or more than the area has room for; the tag was stored */
SNTR_API uint32_t sntrReturnBaseVProperty(SNodeCB_t *node, uint64_t *tag, uint64_t *valueSize, uint64_t latchHeld);

/* Stores an export list in the node, in a write section of its own: the node's option bits, and each entry that is not
 * 0. What the numbers stand for is the callers' matter.
 *   node     the node, created with SNTR_OPTION_EXPORT_LIST and an area of at least 240 bytes
 *   ignored  anything
 *   entries  58 numbers; the first five, of R, V, IR and IV properties and dependents, at most 0x8000. 0 leaves the
 *            stored one as it was
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE         `node` is null
 *   SNTR_RC_NULL_EXPORT_LIST  `entries` is null
 *   SNTR_RC_NO_EXPORT_LIST    the node was created without an export list
 *   SNTR_RC_BAD_R_COUNT, SNTR_RC_BAD_V_COUNT, SNTR_RC_BAD_IR_COUNT, SNTR_RC_BAD_IV_COUNT, SNTR_RC_BAD_DEPENDENT_COUNT: the first to fifth entry
 *   AREA, SECTION, CONDITION codes
 *   SNTR_RC_AREA_OVERUSED     also for an area of less than 240 bytes */
SNTR_API uint32_t sntrExportListOfChangedProperties(SNodeCB_t *node, uint64_t ignored, const uint32_t *entries);

#ifdef __cplusplus
}
#endif

#endif
