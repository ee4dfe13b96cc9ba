/* SPDX-License-Identifier: MIT */
/** @file
 * Laying out property lists, and creating base properties.
 *
 * The list of a kind is laid out once, before the node can carry properties of that kind. It is a plain array of
 * records or a hash table, in the area that the node has for it. It is never resized, nor laid out a second time.
 *
 * Room that an area needs, in bytes; I and V are the maximum sizes of identifier and value:
 *
 * @verbatim
 * kind   array                           hash table, at least            slot
 * R      0x08 + count * 0x90             0x18 + buckets * (0x08 + slot)  0x98
 * V      0x10 + count * (0x1a8 + V)      0x20 + buckets * (0x08 + slot)  0x1b0 + V
 * IR     0x10 + count * (0x228 + I)      0x30 + buckets * (0x18 + slot)  0x250 + I
 * IV     0x18 + count * (0x1b8 + I + V)  0x38 + buckets * (0x18 + slot)  0x1e0 + I + V
 * BaseR  0x90
 * BaseV  0x1a8 + the V list's maximum, at least 0x1a9
 * @endverbatim
 *
 * There are as many buckets as the prime from the capacity up. A table may hold more properties than it has buckets; it
 * then needs a slot for each. It also needs 8 bytes for each property that may be deleted while all slots have been in
 * use once: a freed slot is remembered in 8 bytes that no slot may take.
 *
 * What else differs by kind:
 *
 * @verbatim
 * kind   NO_OPTION                 BAD_COUNT             AREA_TOO_SMALL                 TABLE_TOO_SMALL
 * R      SNTR_RC_NO_R_OPTION       SNTR_RC_BAD_R_COUNT   SNTR_RC_R_AREA_TOO_SMALL       SNTR_RC_R_TABLE_AREA_TOO_SMALL
 * V      SNTR_RC_NO_V_OPTION       SNTR_RC_BAD_V_COUNT   SNTR_RC_V_AREA_TOO_SMALL       SNTR_RC_V_TABLE_AREA_TOO_SMALL
 * IR     SNTR_RC_NO_IR_OPTION      SNTR_RC_BAD_IR_COUNT  SNTR_RC_IR_AREA_TOO_SMALL      SNTR_RC_IR_TABLE_AREA_TOO_SMALL
 * IV     SNTR_RC_NO_IV_OPTION      SNTR_RC_BAD_IV_COUNT  SNTR_RC_IV_AREA_TOO_SMALL      SNTR_RC_IV_TABLE_AREA_TOO_SMALL
 * BaseR  SNTR_RC_NO_BASE_R_OPTION  -                     SNTR_RC_BASE_R_AREA_TOO_SMALL  -
 * BaseV  SNTR_RC_NO_BASE_V_OPTION  -                     SNTR_RC_BASE_V_AREA_TOO_SMALL  -
 *
 * kind   NULL_VALUE                 EXISTS             DAMAGED
 * R      -                          SNTR_RC_R_EXISTS   SNTR_RC_R_DAMAGED
 * V      SNTR_RC_NULL_V_VALUE       SNTR_RC_V_EXISTS   SNTR_RC_V_DAMAGED
 * IR     -                          SNTR_RC_IR_EXISTS  SNTR_RC_IR_DAMAGED
 * IV     SNTR_RC_NULL_IV_VALUE      SNTR_RC_IV_EXISTS  SNTR_RC_IV_DAMAGED
 * BaseR  -                          -                  -
 * BaseV  SNTR_RC_NULL_BASE_V_VALUE  -                  -
 * @endverbatim
 *
 * A word in capitals without SNTR_RC_ is a column of this table: it stands for the code of the kind.
 *
 * Thread safety: as in sntr/properties.h, whose AREA, SECTION and CONDITION codes are used here.
 */
#ifndef SNTR_PROPERTY_LISTS_H
#define SNTR_PROPERTY_LISTS_H

#include <sntr/export.h>
#include <sntr/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** @name Creating a list */
/** @{ */
/** Lays out the node's list of a kind and stores its first properties. Their result codes begin as 0.
 * - `node`: the node, created with the kind's option (SNTR_KIND_*), active
 * - `tags`: `count` tags; in the array layout a tag of 0 stores an empty record
 * - `idLengths` (IR, IV): `count` lengths in bytes, at most `maxIDSize`
 * - `ids` (IR, IV): `count` addresses of identifiers, none of them null
 * - `values`: R, IR: `count` first values of the registers. V, IV: `count` addresses of values, none of them null
 * - `valueSizes` (V, IV): `count` sizes in bytes, 1 to `maxValueSize`
 * - `count`: number of first properties, 0 to SNTR_MAX_PROPERTIES. If 0, none of the arrays above is read; otherwise
 *   their i-th elements belong together
 * - `capacity`: number of properties expected, 0 to SNTR_MAX_PROPERTIES; not bounded if `count` is 0. An array gets
 *   empty records up to it (none if `count` is 0), a table chooses its buckets by it
 * - `maxIDSize` (IR, IV): room for the identifier in each record, 0 to 0x1000 bytes. IR: 0 only for a table, since an
 *   array of such records has room for none
 * - `maxValueSize` (V, IV): room for the value in each record, 8 to 0x3000000 bytes, a multiple of 8
 * - `layout`: SNTR_LAYOUT_ARRAY or SNTR_LAYOUT_HASH
 * - `latchHeld`: not 0 if the caller holds the node's write section
 *
 * Before the section is entered the node is untouched. A failure while properties are stored leaves those before it in
 * place.
 *
 * Returns 0: the change counter went up by one for each record stored or property added. Otherwise, with the node
 * untouched unless the line says more:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - NO_OPTION: the node was created without the kind
 * - BAD_COUNT: `count` is not 0 and it or `capacity` is above SNTR_MAX_PROPERTIES
 * - if `count` is not 0 and an array is null: SNTR_RC_NULL_TAGS; IR, IV: SNTR_RC_NULL_LENGTH, SNTR_RC_NULL_ID;
 *   V, IV: SNTR_RC_NULL_VALUE_SIZES, SNTR_RC_NULL_VALUES; R, IR: SNTR_RC_NULL_REGISTER_VALUES
 * - SNTR_RC_MAX_ID_SIZE_TOO_LARGE (IR, IV): `maxIDSize` is above 0x1000
 * - SNTR_RC_BAD_MAX_VALUE_SIZE (V, IV): `maxValueSize` is out of range or no multiple of 8
 * - SNTR_RC_ID_TOO_LONG (IR, IV): an identifier is longer than `maxIDSize`
 * - SNTR_RC_BAD_VALUE_SIZE (V, IV): a value size is neither 1 nor 2 to `maxValueSize`
 * - SNTR_RC_NULL_ID (IR, IV): also if one of the identifiers is null
 * - NULL_VALUE (V, IV): a value is null
 * - AREA codes
 * - SNTR_RC_BAD_LAYOUT: `layout` is neither of the two
 * - AREA_TOO_SMALL: array: the area has no room for the header and `count` records
 * - SNTR_RC_IR_LIST_FULL (IR): array: `maxIDSize` is 0 and `count` is not
 * - SNTR_RC_BAD_BUCKET_COUNT: table: `capacity` needs 100004 buckets or more
 * - SNTR_RC_FEWER_BUCKETS_THAN_PROPERTIES: table: the prime from `capacity` up is below `count`
 * - TABLE_TOO_SMALL: table: the area has no room for the buckets and a slot for each
 * - SECTION, CONDITION codes
 * - EXISTS: two equal keys. An array is untouched; a table was laid out and keeps what was added before
 * - SNTR_RC_TAG_TOO_LARGE: a tag above SNTR_MAX_TAG: as for two equal keys. In an array two equal keys anywhere come
 *   before it; in a table the first of either kind counts
 * - SNTR_RC_LIST_LAID_OUT: the list was laid out already, wholly or by an attempt that failed, or was added to: nothing
 *   was changed. In a table it comes before equal keys and tags that are too large
 * - DAMAGED: array: `capacity` is more than fits; the list was laid out, the first properties are stored, and as many
 *   empty records as fit
 * - SNTR_RC_NO_ROOM_FOR_SLOT: table: an initial property found no slot; those before it stay
 * - SNTR_RC_DOMAIN_HANDLE_ALLOC_FAILED: array: no private memory to look for equal keys
 * - SNTR_RC_BAD_LATCH_VERSION (V, IR, IV): the node's latches, whose stamp the records' own ones get, are not
 *   initialized; the list was laid out
 * - SNTR_RC_LATCH_FAILED (V, IR, IV): a latch of a record could not be initialized; the list was laid out, and what was
 *   stored before stays
 * - SNTR_RC_ATOMIC_FAILED: a register or counter of a record, or the change counter, failed; the list was laid out, and
 *   what was stored before stays */
SNTR_API uint32_t sntrCreateRPropertyList(SNodeCB_t *node, const uint64_t *tags, const int32_t *values, uint64_t count,
                                          uint64_t capacity, uint32_t layout, uint64_t latchHeld);
SNTR_API uint32_t sntrCreateVPropertyList(SNodeCB_t *node, const uint64_t *tags, const uint64_t *valueSizes,
                                          const void *const *values, uint64_t count, uint64_t capacity,
                                          uint64_t maxValueSize, uint32_t layout, uint64_t latchHeld);
SNTR_API uint32_t sntrCreateIRPropertyList(SNodeCB_t *node, const uint64_t *tags, const uint64_t *idLengths,
                                           const void *const *ids, const int32_t *values, uint64_t count,
                                           uint64_t capacity, uint64_t maxIDSize, uint32_t layout, uint64_t latchHeld);
SNTR_API uint32_t sntrCreateIVPropertyList(SNodeCB_t *node, const uint64_t *tags, const uint64_t *idLengths,
                                           const void *const *ids, const uint64_t *valueSizes,
                                           const void *const *values, uint64_t count, uint64_t capacity,
                                           uint64_t maxIDSize, uint64_t maxValueSize, uint32_t layout,
                                           uint64_t latchHeld);
/** @} */

/** @name Creating a base property */
/** @{ */
/** Creates the node's base property, or overwrites it. Its result code begins as 0.
 *
 * Values of BaseV are limited by the maximum of the V list, so lay that list out first. In a node without SNTR_KIND_V
 * only values of one byte pass.
 * - `node`: the node, created with SNTR_KIND_BASE_R or SNTR_KIND_BASE_V, active
 * - `tag`: 0 to SNTR_MAX_TAG
 * - `value`: BaseR: the value of the register. BaseV: address of the value's bytes, not null
 * - `valueSize` (BaseV): bytes of the value: 1, or 2 to the maximum of the V list
 * - `latchHeld`: not 0 if the caller holds the node's write section
 *
 * Returns 0: the change counter went up by one. Otherwise:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - NO_OPTION: the node was created without the kind
 * - BaseV: AREA codes of the V list, and SNTR_RC_BAD_MAX_VALUE_SIZE: the node has SNTR_KIND_V and its list was never
 *   laid out
 * - SNTR_RC_BAD_VALUE_SIZE (BaseV): `valueSize` is neither 1 nor 2 to the V list's maximum
 * - NULL_VALUE (BaseV): `value` is null
 * - AREA codes
 * - AREA_TOO_SMALL: BaseR: the area has less than 0x90 bytes. BaseV: it has less than 0x1a8 bytes and the larger of the
 *   V list's maximum and 1
 * - SNTR_RC_TAG_TOO_LARGE: `tag` is above SNTR_MAX_TAG
 * - SECTION, CONDITION codes
 * - SNTR_RC_BAD_LATCH_VERSION (BaseV): the node's latches, whose stamp the record's own ones get, are not initialized
 * - SNTR_RC_LATCH_FAILED (BaseV): a latch of the record could not be initialized
 * - SNTR_RC_ATOMIC_FAILED: a register or counter could not be initialized; or the change counter could not be raised,
 *   and then the property exists */
SNTR_API uint32_t sntrCreateBaseRProperty(SNodeCB_t *node, uint64_t tag, int32_t value, uint64_t latchHeld);
SNTR_API uint32_t sntrCreateBaseVProperty(SNodeCB_t *node, uint64_t tag, uint64_t valueSize, const void *value,
                                          uint64_t latchHeld);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
