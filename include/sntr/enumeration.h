/* Counting properties, copying their keys out, and walking over the records of an array.
 *
 * The rules on threads, sections and `latchHeld`, and the groups of codes, are those of sntr/properties.h. Nothing here
 * changes the node.
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

#ifdef __cplusplus
}
#endif

#endif
