/* Laying out property lists.
 *
 * Before a node can carry properties of a kind, the list of that kind is laid out once, in the area that the node has
 * for it: as a plain array of records, or as a hash table. It is never resized.
 *
 * Room that the R area needs, in bytes:
 *   array                8 + 0x90 for each property
 *   hash table, least    0x18 + 0xa0 for each bucket; there are as many buckets as the prime from the capacity up
 *   hash table, beyond   0x98 for each property more than buckets, and 8 for each property that may be deleted while
 *                        all slots have been in use once: a freed slot is remembered in 8 bytes that no slot may take
 *
 * The groups of codes are those of sntr/properties.h.
 */
#ifndef SNTR_PROPERTY_LISTS_H
#define SNTR_PROPERTY_LISTS_H

#include <sntr/export.h>
#include <sntr/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Lays out the node's R list and stores its first properties.
 *   node       the node, created with SNTR_KIND_R, active
 *   tags       `count` tags; in the array layout a tag of 0 stores an empty record. Not looked at when `count` is 0
 *   values     `count` first values, the i-th for the i-th tag. Not looked at when `count` is 0
 *   count      number of first properties, 0 to SNTR_MAX_PROPERTIES
 *   capacity   number of properties expected, 0 to SNTR_MAX_PROPERTIES; not bounded when `count` is 0. An array gets
 *              empty records up to it (none when `count` is 0), a table chooses its buckets by it
 *   layout     SNTR_LAYOUT_ARRAY or SNTR_LAYOUT_HASH
 *   latchHeld  non-zero: the caller holds the node's write section
 * Answers 0: the change counter went up by one for each record stored or property added. Otherwise, the node untouched
 * where the line does not say more:
 *   SNTR_RC_NULL_NODE                      `node` is null
 *   SNTR_RC_NO_R_OPTION                    the node was created without SNTR_KIND_R
 *   SNTR_RC_BAD_R_COUNT                    `count` is not 0 and it or `capacity` is above SNTR_MAX_PROPERTIES
 *   SNTR_RC_NULL_TAGS                      `count` is not 0 and `tags` is null
 *   SNTR_RC_NULL_REGISTER_VALUES           `count` is not 0 and `values` is null
 *   AREA codes
 *   SNTR_RC_BAD_LAYOUT                     `layout` is neither of the two
 *   SNTR_RC_R_AREA_TOO_SMALL               array: the area has no room for the header and `count` records
 *   SNTR_RC_BAD_BUCKET_COUNT               table: `capacity` asks for 100004 buckets or more
 *   SNTR_RC_FEWER_BUCKETS_THAN_PROPERTIES  table: the prime from `capacity` up is below `count`
 *   SNTR_RC_R_TABLE_AREA_TOO_SMALL         table: the area has no room for the buckets and a slot for each
 *   SECTION, CONDITION codes
 *   SNTR_RC_R_EXISTS                       two equal tags. An array is untouched; a table was laid out and keeps what
 *                                          was added before
 *   SNTR_RC_TAG_TOO_LARGE                  a tag above SNTR_MAX_TAG: as for two equal tags. In an array two equal tags
 *                                          anywhere come before it; in a table the first of either kind counts
 *   SNTR_RC_R_DAMAGED                      array: `capacity` is more than fits; the list was laid out, the first
 *                                          properties are stored, and as many empty records as fit
 *   SNTR_RC_NO_ROOM_FOR_SLOT               table: an initial property found no slot; those before it stay
 *   SNTR_RC_DOMAIN_HANDLE_ALLOC_FAILED     array: no private memory to look for equal tags
 *   SNTR_RC_ATOMIC_FAILED                  a register or the change counter failed; the list was laid out, and what was
 *                                          stored before stays */
SNTR_API uint32_t sntrCreateRPropertyList(SNodeCB_t *node, const uint64_t *tags, const int32_t *values, uint64_t count,
                                          uint64_t capacity, uint32_t layout, uint64_t latchHeld);

#ifdef __cplusplus
}
#endif

#endif
