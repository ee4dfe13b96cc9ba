/* SPDX-License-Identifier: MIT */
/** @file
 * Inside the hash tables: hashes, the order of keys, bucket counts, limits, slots, and the operations on one table.
 *
 * Most programs need none of this: the operations of sntr/properties.h choose by the layout of the list. Tools that
 * look into live memory, and tests, start here.
 *
 * What differs by kind:
 *
 * @verbatim
 * kind  NULL_RECORD             NOT_IN_TABLE             DAMAGED
 * R     SNTR_RC_NULL_R_RECORD   SNTR_RC_R_NOT_IN_TABLE   SNTR_RC_R_DAMAGED
 * V     SNTR_RC_NULL_V_RECORD   SNTR_RC_V_NOT_IN_TABLE   SNTR_RC_V_DAMAGED
 * IR    SNTR_RC_NULL_IR_RECORD  SNTR_RC_IR_NOT_IN_TABLE  SNTR_RC_IR_DAMAGED
 * IV    SNTR_RC_NULL_IV_RECORD  SNTR_RC_IV_NOT_IN_TABLE  SNTR_RC_IV_DAMAGED
 *
 * kind  key              NULL_MAX_ID                    NULL_MAX_VALUE
 * R     tag              -                              -
 * V     tag              -                              SNTR_RC_NULL_V_MAX_VALUE_OUTPUT
 * IR    tag, identifier  SNTR_RC_NULL_IR_MAX_ID_OUTPUT  -
 * IV    tag, identifier  SNTR_RC_NULL_IV_MAX_ID_OUTPUT  SNTR_RC_NULL_IV_MAX_VALUE_OUTPUT
 * @endverbatim
 *
 * A word in capitals without SNTR_RC_ is a column of this table: it stands for the code of the kind.
 *
 * Thread safety: the rules on threads, sections and `latchHeld` are those of sntr/properties.h.
 *
 * After a failure nothing was changed, no output was stored and nothing is held, unless the code's line says otherwise.
 *
 * The AREA, LIST, KEY, SECTION and CONDITION codes are those of sntr/properties.h. Further groups of codes here:
 *
 * TABLE codes, about the table of an operation on slots:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SNTR_RC_BAD_KIND: `kind` is none of the four
 * - LIST codes, among them those of a stored maximum size; SNTR_RC_BAD_BUCKET_COUNT also for an array
 * - SNTR_RC_BAD_FREED_STACK: the stored stack of freed slots is larger than it can be: its number is above 0x8000, or
 *   so many do not fit the area
 *
 * Parameters of several operations:
 * - `node`: the node; if null, SNTR_RC_NULL_NODE
 * - `kind`, of an operation on slots: SNTR_KIND_R, SNTR_KIND_V, SNTR_KIND_IR or SNTR_KIND_IV
 * - `tag`: 0 to SNTR_MAX_TAG
 * - `idLength`, `id` (IR, IV): the identifier, its length in bytes at most the list's maximum; `id` is not null even if
 *   the length is 0
 */
#ifndef SNTR_PROPERTY_TABLES_H
#define SNTR_PROPERTY_TABLES_H

#include <sntr/export.h>
#include <sntr/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Writes the decimal digits of a number as characters, the least significant first: 1234 gives "4321".
 * - `number`: any
 * - `key`: receives the digits, at most 20, without an end mark; null: nothing is done
 * - `keyLength`: receives their number; null: nothing is done */
SNTR_API void sntrConvertNumberToKey(uint64_t number, char *key, uint64_t *keyLength);

/** Computes the bucket of a tag. Not traced.
 * - `tag`: any
 * - `bucketCount`: number of buckets, not 0
 * - `index`: receives the bucket's index, from 0
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_OUTPUT: `index` is null
 * - SNTR_RC_BAD_BUCKET_COUNT: `bucketCount` is 0 */
SNTR_API uint32_t sntrGetHTIndexForTag(uint64_t tag, uint64_t bucketCount, uint64_t *index);

/** Computes the three buckets of a key with an identifier. Not traced.
 * - `tag`: any
 * - `id`, `idLength`: the identifier and its length in bytes
 * - `tagIDBucketCount`, `tagBucketCount`, `idBucketCount`: numbers of buckets, not 0
 * - `tagIDIndex`, `tagIndex`, `idIndex`: receive the indexes of the buckets of tag and identifier together, of the tag,
 *   of the identifier
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_ID: `id` is null
 * - SNTR_RC_NULL_OUTPUT: an output is null
 * - SNTR_RC_BAD_BUCKET_COUNT: a number of buckets is 0 */
SNTR_API uint32_t sntrGetHTIndex(uint64_t tag, const void *id, uint64_t idLength, uint64_t tagIDBucketCount,
                                 uint64_t tagBucketCount, uint64_t idBucketCount, uint64_t *tagIDIndex,
                                 uint64_t *tagIndex, uint64_t *idIndex);

/** Orders two keys: by tag, then the shorter identifier first, then byte by byte.
 * - `tag1`, `id1`, `idLength1`: the first key, its identifier's length in bytes
 * - `tag2`, `id2`, `idLength2`: the second
 * - `kind`: SNTR_KIND_IR, SNTR_KIND_IV, SNTR_OPTION_NODE_ID or SNTR_OPTION_DEPENDENTS
 * - `order`: receives a number below, equal to or above 0: the first key is less, equal, greater
 *
 * Returns 0, or:
 * - SNTR_RC_BAD_KIND: `kind` is none of the four
 * - SNTR_RC_NULL_ID: an identifier is null
 * - SNTR_RC_NULL_ORDER_OUTPUT: `order` is null
 * - SNTR_RC_TAG_TOO_LARGE: a tag is above SNTR_MAX_TAG
 * - SNTR_RC_COMPARED_ID_TOO_LONG: an identifier is longer than 0x1000 bytes */
SNTR_API uint32_t sntrCompareTagID(uint64_t tag1, const void *id1, uint64_t idLength1, uint64_t tag2, const void *id2,
                                   uint64_t idLength2, uint32_t kind, int64_t *order);

/** Computes the number of buckets for a wanted one: the next prime, counting 1 as one. Takes time in proportion to the
 * square root of the number; the library uses it for numbers up to 100004 only. Not traced.
 * - `wanted`: any
 * - `prime`: receives the prime; null: nothing is done */
SNTR_API void sntrGetPrimeNumber(uint64_t wanted, uint64_t *prime);

/** @name Maximum sizes */
/** @{ */
/** Reads the maximum sizes of the identifiers and of the values of the node's list. Takes no latch.
 * - `node`: the node
 * - `maxIDSize` (IR, IV): receives the size in bytes, 0 to 0x1000; 0 for a node without the kind
 * - `maxValueSize` (V, IV): receives the size in bytes, 1 to 0x3000000; 0 for a node without the kind
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - NULL_MAX_ID (IR, IV): `maxIDSize` is null
 * - NULL_MAX_VALUE (V, IV): `maxValueSize` is null
 * - AREA codes
 * - SNTR_RC_MAX_ID_SIZE_TOO_LARGE (IR, IV): the stored identifier size is above 0x1000
 * - SNTR_RC_BAD_MAX_VALUE_SIZE (V, IV): the stored value size is out of range: the list was never laid out, or is
 *   damaged */
SNTR_API uint32_t sntrGetMaxIDSizeForIRProperties(SNodeCB_t *node, uint64_t *maxIDSize);
SNTR_API uint32_t sntrGetMaxVSizeForVProperties(SNodeCB_t *node, uint64_t *maxValueSize);
SNTR_API uint32_t sntrGetMaxIDVSizeForIVProperties(SNodeCB_t *node, uint64_t *maxIDSize, uint64_t *maxValueSize);
/** @} */

/** @name Numbers of buckets */
/** @{ */
/** Reads the numbers of buckets of a list: one of R and V, three of IR and IV. All are 0 for an array.
 * - `node`: the node
 * - `kind`: SNTR_KIND_R or SNTR_KIND_V; SNTR_KIND_IR or SNTR_KIND_IV
 * - `bucketCount` (R, V): receives the number by tag
 * - `tagIDBucketCount`, `tagBucketCount`, `idBucketCount` (IR, IV): receive the numbers by tag and identifier, by tag,
 *   by identifier
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SNTR_RC_NULL_BUCKET_COUNT_OUTPUT (R, V): `bucketCount` is null
 * - SNTR_RC_NULL_BUCKET_COUNTS_OUTPUT (IR, IV): an output is null
 * - SNTR_RC_BAD_KIND: `kind` is neither of the two
 * - AREA codes
 * - SNTR_RC_BAD_BUCKET_COUNT: as among the LIST codes */
SNTR_API uint32_t sntrGetHashTableSizeForRVProperties(SNodeCB_t *node, uint32_t kind, uint64_t *bucketCount);
SNTR_API uint32_t sntrGetHashTableSizeForIRVProperties(SNodeCB_t *node, uint32_t kind, uint64_t *tagIDBucketCount,
                                                       uint64_t *tagBucketCount, uint64_t *idBucketCount);
/** @} */

/** @name Searching a table */
/** @{ */
/** Searches the node's table. The caller holds the node's section; the node's condition is not checked.
 * - `node`, `tag`, `idLength`, `id`: as above
 * - `record`: receives the record with the key. If there is none, it receives the record at which the search stopped;
 *   if the bucket is empty, it keeps what it holds
 *
 * Returns 0, or:
 * - KEY codes
 * - NULL_RECORD: `record` is null
 * - LIST codes
 * - NOT_IN_TABLE: no property has this key, or the list is an array
 * - DAMAGED: a link leads to no slot, or the chain does not end
 * - SNTR_RC_BYTES_OUTSIDE_AREA (IR, IV): the identifier of a record on the way is not in that record */
SNTR_API uint32_t sntrFindRPropertyInHashTable(SNodeCB_t *node, uint64_t tag, SNodeProperty_t **record);
SNTR_API uint32_t sntrFindVPropertyInHashTable(SNodeCB_t *node, uint64_t tag, SNodeProperty_t **record);
SNTR_API uint32_t sntrFindIRPropertyInHashTable(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                                SNodeProperty_t **record);
SNTR_API uint32_t sntrFindIVPropertyInHashTable(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                                SNodeProperty_t **record);
/** @} */

/** @name Adding to a table */
/** @{ */
/** Adds a property to the node's table, whatever the node's condition.
 * - all parameters: as for sntrAddRProperty() and its like
 *
 * Returns what the kind's add returns for a table, without the CONDITION codes, and:
 * - SNTR_RC_BAD_BUCKET_COUNT: the list is an array */
SNTR_API uint32_t sntrAddRPropertyToHashTable(SNodeCB_t *node, uint64_t tag, int32_t value, uint64_t latchHeld);
SNTR_API uint32_t sntrAddVPropertyToHashTable(SNodeCB_t *node, uint64_t tag, uint64_t valueSize, const void *value,
                                              uint64_t latchHeld);
SNTR_API uint32_t sntrAddIRPropertyToHashTable(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                               int32_t value, uint64_t latchHeld);
SNTR_API uint32_t sntrAddIVPropertyToHashTable(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                               uint64_t valueSize, const void *value, uint64_t latchHeld);
/** @} */

/** @name Deleting from a table */
/** @{ */
/** Deletes a property from the node's table, whatever the node's condition, and always in a write section of its own.
 * A caller that holds the node's section gets SNTR_RC_LATCH_FAILED.
 * - all parameters: as for sntrDeleteRProperty() and its like
 *
 * Returns what the kind's delete returns for a table, without the CONDITION codes, and:
 * - NOT_IN_TABLE: also if the list is an array */
SNTR_API uint32_t sntrDeleteRPropertyFromHashTable(SNodeCB_t *node, uint64_t tag);
SNTR_API uint32_t sntrDeleteVPropertyFromHashTable(SNodeCB_t *node, uint64_t tag);
SNTR_API uint32_t sntrDeleteIRPropertyFromHashTable(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id);
SNTR_API uint32_t sntrDeleteIVPropertyFromHashTable(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id);
/** @} */

/** Takes a slot of a table: the one freed last, or else a fresh one. The caller holds the node's write section. The
 * slot belongs to nothing until it is linked into a chain; the area's used bytes are not raised for it.
 * - `node`, `kind`: as above
 * - `slotOffset`: receives the slot's offset in bytes from the node
 *
 * Returns 0, or:
 * - TABLE codes
 * - SNTR_RC_NULL_OUTPUT: `slotOffset` is null
 * - SNTR_RC_FREED_COUNT_ZERO: the stack was emptied while it was read
 * - SNTR_RC_NO_ROOM_FOR_SLOT: the area is full, or the freed slot to reuse lies where none can be
 * - SNTR_RC_NEXT_FREE_OUTSIDE_AREA: the next fresh slot would not lie between the slots and the stack */
SNTR_API uint32_t sntrGetFreeSpaceOffsetForProperty(SNodeCB_t *node, uint32_t kind, uint64_t *slotOffset);

/** Remembers a slot as freed. Nothing may lead to it afterwards. The caller holds the node's write section.
 * - `node`, `kind`: as above
 * - `link`: a word, at any address, that holds the slot's offset in bytes from the node
 *
 * Returns 0, or:
 * - TABLE codes
 * - SNTR_RC_NULL_OUTPUT: `link` is null
 * - SNTR_RC_NO_ROOM_FOR_FREED_SLOT: no 8 bytes are left between slots and stack, or 0x8000 slots are on the stack
 * - DAMAGED: the offset is that of no slot that was ever taken */
SNTR_API uint32_t sntrUpdateListOfFreedLLNodes(SNodeCB_t *node, uint32_t kind, const uint64_t *link);

/** @name Freed slots of a table */
/** @{ */
/** Returns how many freed slots a table remembers, or how large their stack is: 8 bytes for each and 0x10 for the tail
 * of the area. The caller holds the node's section.
 * - `node`, `kind`: as above
 * - `freedCount`: receives the number
 * - `stackSize`: receives the number of bytes
 *
 * Returns 0, or:
 * - TABLE codes
 * - SNTR_RC_NULL_FREED_COUNT_OUTPUT: `freedCount` or `stackSize` is null */
SNTR_API uint32_t sntrGetNumberOfFreedLListNodes(SNodeCB_t *node, uint32_t kind, uint64_t *freedCount);
SNTR_API uint32_t sntrGetMemoryStackSizeForHashTable(SNodeCB_t *node, uint32_t kind, uint64_t *stackSize);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
