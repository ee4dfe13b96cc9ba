/* Laying out property lists, and creating base properties.
 *
 * Before a node can carry properties of a kind, the list of that kind is laid out once, in the area that the node has
 * for it: as a plain array of records, or as a hash table. It is never resized, nor laid out a second time.
 *
 * Room that an area needs, in bytes; I and V are the maximum sizes of identifier and value:
 *           array                   hash table, at least                    slot
 *   R       0x08 + count * 0x90             0x18 + buckets * (0x08 + slot)  0x98
 *   V       0x10 + count * (0x1a8 + V)      0x20 + buckets * (0x08 + slot)  0x1b0 + V
 *   IR      0x10 + count * (0x228 + I)      0x30 + buckets * (0x18 + slot)  0x250 + I
 *   IV      0x18 + count * (0x1b8 + I + V)  0x38 + buckets * (0x18 + slot)  0x1e0 + I + V
 *   BaseR   0x90
 *   BaseV   0x1a8 + the V list's maximum, at least 0x1a9
 * There are as many buckets as the prime from the capacity up. A table that is to hold more properties than it has
 * buckets needs a slot for each, and 8 for each property that may be deleted while all slots have been in use once: a
 * freed slot is remembered in 8 bytes that no slot may take.
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
 *   SNTR_RC_LIST_LAID_OUT                  the list was laid out already, wholly or by an attempt that failed, or was
 *                                          added to: nothing was changed. In a table it comes before equal tags and
 *                                          tags that are too large
 *   SNTR_RC_R_DAMAGED                      array: `capacity` is more than fits; the list was laid out, the first
 *                                          properties are stored, and as many empty records as fit
 *   SNTR_RC_NO_ROOM_FOR_SLOT               table: an initial property found no slot; those before it stay
 *   SNTR_RC_DOMAIN_HANDLE_ALLOC_FAILED     array: no private memory to look for equal tags
 *   SNTR_RC_ATOMIC_FAILED                  a register or the change counter failed; the list was laid out, and what was
 *                                          stored before stays */
SNTR_API uint32_t sntrCreateRPropertyList(SNodeCB_t *node, const uint64_t *tags, const int32_t *values, uint64_t count,
                                          uint64_t capacity, uint32_t layout, uint64_t latchHeld);

/* Lays out the node's V list and stores its first properties. Before the section is entered the node is untouched; a
 * failure while properties are stored leaves those before it in place. The change counter goes up by one for each
 * record stored or property added.
 *   node                                the node, created with SNTR_KIND_V, active
 *   tags                                as for sntrCreateRPropertyList()
 *   valueSizes                          `count` sizes in bytes, 1 to `maxValueSize`
 *   values                              `count` addresses of values, none of them null
 *   count, capacity, layout, latchHeld  as for sntrCreateRPropertyList()
 *   maxValueSize                        room for the value in each record, 8 to 0x3000000 bytes, a multiple of 8
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE                      `node` is null
 *   SNTR_RC_NO_V_OPTION                    the node was created without SNTR_KIND_V
 *   SNTR_RC_BAD_V_COUNT                    `count` is not 0 and it or `capacity` is above SNTR_MAX_PROPERTIES
 *   SNTR_RC_NULL_TAGS                      `count` is not 0 and `tags` is null
 *   SNTR_RC_NULL_VALUE_SIZES               `count` is not 0 and `valueSizes` is null
 *   SNTR_RC_NULL_VALUES                    `count` is not 0 and `values` is null
 *   SNTR_RC_BAD_MAX_VALUE_SIZE             `maxValueSize` is out of range or no multiple of 8
 *   SNTR_RC_BAD_VALUE_SIZE                 a value size is neither 1 nor 2 to `maxValueSize`
 *   SNTR_RC_NULL_V_VALUE                   a value is null
 *   AREA codes
 *   SNTR_RC_BAD_LAYOUT                     `layout` is neither of the two
 *   SNTR_RC_V_AREA_TOO_SMALL               array: the area has no room for the header and `count` records
 *   SNTR_RC_BAD_BUCKET_COUNT               table: `capacity` asks for 100004 buckets or more
 *   SNTR_RC_FEWER_BUCKETS_THAN_PROPERTIES  table: the prime from `capacity` up is below `count`
 *   SNTR_RC_V_TABLE_AREA_TOO_SMALL         table: the area has no room for the buckets and a slot for each
 *   SECTION, CONDITION codes
 *   SNTR_RC_V_EXISTS                       two equal keys: as for sntrCreateRPropertyList()
 *   SNTR_RC_TAG_TOO_LARGE                  a tag above SNTR_MAX_TAG: as there
 *   SNTR_RC_LIST_LAID_OUT                  the list was laid out already: as there
 *   SNTR_RC_V_DAMAGED                      array: `capacity` is more than fits; what fits is stored
 *   SNTR_RC_NO_ROOM_FOR_SLOT               table: an initial property found no slot; those before it stay
 *   SNTR_RC_DOMAIN_HANDLE_ALLOC_FAILED     array: no private memory to look for equal keys
 *   SNTR_RC_BAD_LATCH_VERSION              the node's latches, whose stamp the records' own ones get, are not
 *                                          initialized; the list was laid out
 *   SNTR_RC_LATCH_FAILED                   a latch of a record could not be initialized; the list was laid out, and
 *                                          what was stored before stays
 *   SNTR_RC_ATOMIC_FAILED                  a register or counter failed: as for a latch */
SNTR_API uint32_t sntrCreateVPropertyList(SNodeCB_t *node, const uint64_t *tags, const uint64_t *valueSizes,
                                          const void *const *values, uint64_t count, uint64_t capacity,
                                          uint64_t maxValueSize, uint32_t layout, uint64_t latchHeld);

/* Lays out the node's IR list and stores its first properties. Before the section is entered the node is untouched; a
 * failure while properties are stored leaves those before it in place. The change counter goes up by one for each
 * record stored or property added.
 *   node                                the node, created with SNTR_KIND_IR, active
 *   tags                                as for sntrCreateRPropertyList()
 *   idLengths                           `count` lengths in bytes, at most `maxIDSize`
 *   ids                                 `count` addresses of identifiers, none of them null
 *   values                              `count` first values
 *   count, capacity, layout, latchHeld  as for sntrCreateRPropertyList()
 *   maxIDSize                           room for the identifier in each record, 0 to 0x1000 bytes; 0 only for a table:
 *                                       an array of such records has room for none
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE                      `node` is null
 *   SNTR_RC_NO_IR_OPTION                   the node was created without SNTR_KIND_IR
 *   SNTR_RC_BAD_IR_COUNT                   `count` is not 0 and it or `capacity` is above SNTR_MAX_PROPERTIES
 *   SNTR_RC_NULL_TAGS                      `count` is not 0 and `tags` is null
 *   SNTR_RC_NULL_LENGTH                    `count` is not 0 and `idLengths` is null
 *   SNTR_RC_NULL_ID                        `count` is not 0 and `ids` is null; or one of them is
 *   SNTR_RC_NULL_REGISTER_VALUES           `count` is not 0 and `values` is null
 *   SNTR_RC_MAX_ID_SIZE_TOO_LARGE          `maxIDSize` is above 0x1000
 *   SNTR_RC_ID_TOO_LONG                    an identifier is longer than `maxIDSize`
 *   AREA codes
 *   SNTR_RC_BAD_LAYOUT                     `layout` is neither of the two
 *   SNTR_RC_IR_AREA_TOO_SMALL              array: the area has no room for the header and `count` records
 *   SNTR_RC_IR_LIST_FULL                   array: `maxIDSize` is 0 and `count` is not
 *   SNTR_RC_BAD_BUCKET_COUNT               table: `capacity` asks for 100004 buckets or more
 *   SNTR_RC_FEWER_BUCKETS_THAN_PROPERTIES  table: the prime from `capacity` up is below `count`
 *   SNTR_RC_IR_TABLE_AREA_TOO_SMALL        table: the area has no room for the buckets and a slot for each
 *   SECTION, CONDITION codes
 *   SNTR_RC_IR_EXISTS                      two equal keys: as for sntrCreateRPropertyList()
 *   SNTR_RC_TAG_TOO_LARGE                  a tag above SNTR_MAX_TAG: as there
 *   SNTR_RC_LIST_LAID_OUT                  the list was laid out already: as there
 *   SNTR_RC_IR_DAMAGED                     array: `capacity` is more than fits; what fits is stored
 *   SNTR_RC_NO_ROOM_FOR_SLOT               table: an initial property found no slot; those before it stay
 *   SNTR_RC_DOMAIN_HANDLE_ALLOC_FAILED     array: no private memory to look for equal keys
 *   SNTR_RC_BAD_LATCH_VERSION              the node's latches, whose stamp the records' own ones get, are not
 *                                          initialized; the list was laid out
 *   SNTR_RC_LATCH_FAILED                   a latch of a record could not be initialized; the list was laid out, and
 *                                          what was stored before stays
 *   SNTR_RC_ATOMIC_FAILED                  a register or counter failed: as for a latch */
SNTR_API uint32_t sntrCreateIRPropertyList(SNodeCB_t *node, const uint64_t *tags, const uint64_t *idLengths,
                                           const void *const *ids, const int32_t *values, uint64_t count,
                                           uint64_t capacity, uint64_t maxIDSize, uint32_t layout, uint64_t latchHeld);

/* Lays out the node's IV list and stores its first properties. Before the section is entered the node is untouched; a
 * failure while properties are stored leaves those before it in place. The change counter goes up by one for each
 * record stored or property added.
 *   node                                the node, created with SNTR_KIND_IV, active
 *   tags                                as for sntrCreateRPropertyList()
 *   idLengths                           `count` lengths in bytes, at most `maxIDSize`
 *   ids                                 `count` addresses of identifiers, none of them null
 *   valueSizes                          `count` sizes in bytes, 1 to `maxValueSize`
 *   values                              `count` addresses of values, none of them null
 *   count, capacity, layout, latchHeld  as for sntrCreateRPropertyList()
 *   maxIDSize                           room for the identifier in each record, 0 to 0x1000 bytes
 *   maxValueSize                        room for the value in each record, 8 to 0x3000000 bytes, a multiple of 8
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE                      `node` is null
 *   SNTR_RC_NO_IV_OPTION                   the node was created without SNTR_KIND_IV
 *   SNTR_RC_BAD_IV_COUNT                   `count` is not 0 and it or `capacity` is above SNTR_MAX_PROPERTIES
 *   SNTR_RC_NULL_TAGS                      `count` is not 0 and `tags` is null
 *   SNTR_RC_NULL_LENGTH                    `count` is not 0 and `idLengths` is null
 *   SNTR_RC_NULL_ID                        `count` is not 0 and `ids` is null; or one of them is
 *   SNTR_RC_NULL_VALUE_SIZES               `count` is not 0 and `valueSizes` is null
 *   SNTR_RC_NULL_VALUES                    `count` is not 0 and `values` is null
 *   SNTR_RC_MAX_ID_SIZE_TOO_LARGE          `maxIDSize` is above 0x1000
 *   SNTR_RC_BAD_MAX_VALUE_SIZE             `maxValueSize` is out of range or no multiple of 8
 *   SNTR_RC_ID_TOO_LONG                    an identifier is longer than `maxIDSize`
 *   SNTR_RC_BAD_VALUE_SIZE                 a value size is neither 1 nor 2 to `maxValueSize`
 *   SNTR_RC_NULL_IV_VALUE                  a value is null
 *   AREA codes
 *   SNTR_RC_BAD_LAYOUT                     `layout` is neither of the two
 *   SNTR_RC_IV_AREA_TOO_SMALL              array: the area has no room for the header and `count` records
 *   SNTR_RC_BAD_BUCKET_COUNT               table: `capacity` asks for 100004 buckets or more
 *   SNTR_RC_FEWER_BUCKETS_THAN_PROPERTIES  table: the prime from `capacity` up is below `count`
 *   SNTR_RC_IV_TABLE_AREA_TOO_SMALL        table: the area has no room for the buckets and a slot for each
 *   SECTION, CONDITION codes
 *   SNTR_RC_IV_EXISTS                      two equal keys: as for sntrCreateRPropertyList()
 *   SNTR_RC_TAG_TOO_LARGE                  a tag above SNTR_MAX_TAG: as there
 *   SNTR_RC_LIST_LAID_OUT                  the list was laid out already: as there
 *   SNTR_RC_IV_DAMAGED                     array: `capacity` is more than fits; what fits is stored
 *   SNTR_RC_NO_ROOM_FOR_SLOT               table: an initial property found no slot; those before it stay
 *   SNTR_RC_DOMAIN_HANDLE_ALLOC_FAILED     array: no private memory to look for equal keys
 *   SNTR_RC_BAD_LATCH_VERSION              the node's latches, whose stamp the records' own ones get, are not
 *                                          initialized; the list was laid out
 *   SNTR_RC_LATCH_FAILED                   a latch of a record could not be initialized; the list was laid out, and
 *                                          what was stored before stays
 *   SNTR_RC_ATOMIC_FAILED                  a register or counter failed: as for a latch */
SNTR_API uint32_t sntrCreateIVPropertyList(SNodeCB_t *node, const uint64_t *tags, const uint64_t *idLengths,
                                           const void *const *ids, const uint64_t *valueSizes,
                                           const void *const *values, uint64_t count, uint64_t capacity,
                                           uint64_t maxIDSize, uint64_t maxValueSize, uint32_t layout,
                                           uint64_t latchHeld);

/* Creates the node's BaseR property, or overwrites it. The result code begins as 0; the change counter goes up by one.
 *   node   the node, created with SNTR_KIND_BASE_R, active
 *   tag    0 to SNTR_MAX_TAG
 *   value  the value
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE              `node` is null
 *   SNTR_RC_NO_BASE_R_OPTION       the node was created without SNTR_KIND_BASE_R
 *   AREA codes
 *   SNTR_RC_BASE_R_AREA_TOO_SMALL  the area has less than 0x90 bytes
 *   SNTR_RC_TAG_TOO_LARGE          `tag` is above SNTR_MAX_TAG
 *   SECTION, CONDITION codes
 *   SNTR_RC_ATOMIC_FAILED          a register or counter could not be initialized; or the change counter could not be
 *                                  raised, and then the property exists */
SNTR_API uint32_t sntrCreateBaseRProperty(SNodeCB_t *node, uint64_t tag, int32_t value, uint64_t latchHeld);

/* Creates the node's BaseV property, or overwrites it. The result code begins as 0; the change counter goes up by one.
 * Its values are limited by the maximum of the V list, so lay that list out first; in a node without SNTR_KIND_V only
 * values of one byte pass.
 *   node       the node, created with SNTR_KIND_BASE_V, active
 *   tag        0 to SNTR_MAX_TAG
 *   valueSize  bytes of the value: 1, or 2 to the maximum of the V list
 *   value      the value
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE              `node` is null
 *   SNTR_RC_NO_BASE_V_OPTION       the node was created without SNTR_KIND_BASE_V
 *   AREA codes of the V list, and SNTR_RC_BAD_MAX_VALUE_SIZE: the node has SNTR_KIND_V and its list was never laid out
 *   SNTR_RC_BAD_VALUE_SIZE         `valueSize` is neither 1 nor 2 to the V list's maximum
 *   SNTR_RC_NULL_BASE_V_VALUE      `value` is null
 *   AREA codes
 *   SNTR_RC_BASE_V_AREA_TOO_SMALL  the area has less than 0x1a8 bytes and the larger of the V list's maximum and 1
 *   SNTR_RC_TAG_TOO_LARGE          `tag` is above SNTR_MAX_TAG
 *   SECTION, CONDITION codes
 *   SNTR_RC_BAD_LATCH_VERSION      the node's latches, whose stamp the record's own ones get, are not initialized
 *   SNTR_RC_LATCH_FAILED           a latch of the record could not be initialized
 *   SNTR_RC_ATOMIC_FAILED          a register or counter could not be initialized; or the change counter could not be
 *                                  raised, and then the property exists */
SNTR_API uint32_t sntrCreateBaseVProperty(SNodeCB_t *node, uint64_t tag, uint64_t valueSize, const void *value,
                                          uint64_t latchHeld);

#ifdef __cplusplus
}
#endif

#endif
