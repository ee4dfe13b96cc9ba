/* Inside the hash tables: hashes, the order of keys, bucket counts, limits, slots, and the operations on one table.
 *
 * Most programs need none of this: the operations of sntr/properties.h choose by the layout of the list. Tools that
 * look into live memory, and tests, start here.
 *
 * The rules on threads, sections and `latchHeld`, and the groups of codes, are those of sntr/properties.h. After a
 * failure nothing was changed, no output was stored and nothing is held, unless the code's line says otherwise.
 */
#ifndef SNTR_PROPERTY_TABLES_H
#define SNTR_PROPERTY_TABLES_H

#include <sntr/export.h>
#include <sntr/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Writes the decimal digits of a number as characters, the least significant first: 1234 gives "4321".
 *   number     any
 *   key        receives the digits, at most 20, without an end mark; null: nothing is done
 *   keyLength  receives their number; null: nothing is done */
SNTR_API void sntrConvertNumberToKey(uint64_t number, char *key, uint64_t *keyLength);

/* Gives the bucket of a tag. Not traced.
 *   tag          any
 *   bucketCount  number of buckets, not 0
 *   index        receives the bucket's index, from 0
 * Answers 0, or:
 *   SNTR_RC_NULL_OUTPUT       `index` is null
 *   SNTR_RC_BAD_BUCKET_COUNT  `bucketCount` is 0 */
SNTR_API uint32_t sntrGetHTIndexForTag(uint64_t tag, uint64_t bucketCount, uint64_t *index);

/* Gives the three buckets of a key with an identifier. Not traced.
 *   tag                any
 *   id, idLength       the identifier and its length in bytes
 *   tagIDBucketCount, tagBucketCount, idBucketCount
 *                      numbers of buckets, not 0
 *   tagIDIndex, tagIndex, idIndex
 *                      receive the indexes of the buckets of tag and identifier together, of the tag, of the identifier
 * Answers 0, or:
 *   SNTR_RC_NULL_ID           `id` is null
 *   SNTR_RC_NULL_OUTPUT       an output is null
 *   SNTR_RC_BAD_BUCKET_COUNT  a number of buckets is 0 */
SNTR_API uint32_t sntrGetHTIndex(uint64_t tag, const void *id, uint64_t idLength, uint64_t tagIDBucketCount,
                                 uint64_t tagBucketCount, uint64_t idBucketCount, uint64_t *tagIDIndex,
                                 uint64_t *tagIndex, uint64_t *idIndex);

/* Orders two keys: by tag, then the shorter identifier first, then byte by byte.
 *   tag1, id1, idLength1  the first key, its identifier's length in bytes
 *   tag2, id2, idLength2  the second
 *   kind                  SNTR_KIND_IR, SNTR_KIND_IV, SNTR_OPTION_NODE_ID or SNTR_OPTION_DEPENDENTS
 *   order                 receives a number below, equal to or above 0: the first key is less, equal, greater
 * Answers 0, or:
 *   SNTR_RC_BAD_KIND              `kind` is none of the four
 *   SNTR_RC_NULL_ID               an identifier is null
 *   SNTR_RC_NULL_ORDER_OUTPUT     `order` is null
 *   SNTR_RC_TAG_TOO_LARGE         a tag is above SNTR_MAX_TAG
 *   SNTR_RC_COMPARED_ID_TOO_LONG  an identifier is longer than 0x1000 bytes */
SNTR_API uint32_t sntrCompareTagID(uint64_t tag1, const void *id1, uint64_t idLength1, uint64_t tag2, const void *id2,
                                   uint64_t idLength2, uint32_t kind, int64_t *order);

/* Gives the number of buckets for a wanted one: the next prime, counting 1 as one. Takes time in proportion to the
 * square root of the number; the library asks for numbers up to 100004 only. Not traced.
 *   wanted  any
 *   prime   receives the prime; null: nothing is done */
SNTR_API void sntrGetPrimeNumber(uint64_t wanted, uint64_t *prime);

/* Reads the maximum size of the identifiers of the node's IR list.
 *   node       the node
 *   maxIDSize  receives the size in bytes, 0 to 0x1000; 0 for a node without SNTR_KIND_IR
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE              `node` is null
 *   SNTR_RC_NULL_IR_MAX_ID_OUTPUT  `maxIDSize` is null
 *   AREA codes
 *   SNTR_RC_MAX_ID_SIZE_TOO_LARGE  the stored size is above 0x1000 */
SNTR_API uint32_t sntrGetMaxIDSizeForIRProperties(SNodeCB_t *node, uint64_t *maxIDSize);

/* Reads the maximum size of the values of the node's V list.
 *   node          the node
 *   maxValueSize  receives the size in bytes, 1 to 0x3000000; 0 for a node without SNTR_KIND_V
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE                `node` is null
 *   SNTR_RC_NULL_V_MAX_VALUE_OUTPUT  `maxValueSize` is null
 *   AREA codes
 *   SNTR_RC_BAD_MAX_VALUE_SIZE       the stored size is out of range: the list was never laid out, or is damaged */
SNTR_API uint32_t sntrGetMaxVSizeForVProperties(SNodeCB_t *node, uint64_t *maxValueSize);

/* Reads the maximum sizes of the identifiers and of the values of the node's IV list.
 *   node          the node
 *   maxIDSize     receives the size in bytes, 0 to 0x1000; 0 for a node without SNTR_KIND_IV
 *   maxValueSize  receives the size in bytes, 1 to 0x3000000; 0 for a node without SNTR_KIND_IV
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE                 `node` is null
 *   SNTR_RC_NULL_IV_MAX_ID_OUTPUT     `maxIDSize` is null
 *   SNTR_RC_NULL_IV_MAX_VALUE_OUTPUT  `maxValueSize` is null
 *   AREA codes
 *   SNTR_RC_MAX_ID_SIZE_TOO_LARGE     the stored identifier size is above 0x1000
 *   SNTR_RC_BAD_MAX_VALUE_SIZE        the stored value size is out of range: the list was never laid out, or is
 *                                     damaged */
SNTR_API uint32_t sntrGetMaxIDVSizeForIVProperties(SNodeCB_t *node, uint64_t *maxIDSize, uint64_t *maxValueSize);

/* Reads the number of buckets of a list that has one number of them.
 *   node         the node
 *   kind         SNTR_KIND_R or SNTR_KIND_V
 *   bucketCount  receives the number; 0 for an array
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE                 `node` is null
 *   SNTR_RC_NULL_BUCKET_COUNT_OUTPUT  `bucketCount` is null
 *   SNTR_RC_BAD_KIND                  `kind` is neither of the two
 *   LIST codes */
SNTR_API uint32_t sntrGetHashTableSizeForRVProperties(SNodeCB_t *node, uint32_t kind, uint64_t *bucketCount);

/* Searches the node's R table. The caller holds the node's section; its condition is not looked at.
 *   node    the node
 *   tag     0 to SNTR_MAX_TAG
 *   record  receives the record with the tag. When there is none, it receives the record at which the search stopped,
 *           or keeps what it holds when the bucket is empty
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE       `node` is null
 *   SNTR_RC_TAG_TOO_LARGE   `tag` is above SNTR_MAX_TAG
 *   SNTR_RC_NULL_R_RECORD   `record` is null
 *   LIST codes
 *   SNTR_RC_R_NOT_IN_TABLE  no property has this tag, or the list is an array
 *   SNTR_RC_R_DAMAGED       a link leads to no slot, or the chain does not end */
SNTR_API uint32_t sntrFindRPropertyInHashTable(SNodeCB_t *node, uint64_t tag, SNodeProperty_t **record);

/* Adds a property to the node's R table, whatever the node's condition.
 *   node, tag, value, latchHeld  as for sntrAddRProperty()
 * Answers as sntrAddRProperty() does for a table, without the CONDITION codes, and:
 *   SNTR_RC_BAD_BUCKET_COUNT  the list is an array */
SNTR_API uint32_t sntrAddRPropertyToHashTable(SNodeCB_t *node, uint64_t tag, int32_t value, uint64_t latchHeld);

/* Deletes a property from the node's R table, whatever the node's condition, and always in a write section of its own:
 * a caller that holds the node's section gets SNTR_RC_LATCH_FAILED.
 *   node, tag  as for sntrDeleteRProperty()
 * Answers as sntrDeleteRProperty() does for a table, without the CONDITION codes; an array gives
 * SNTR_RC_R_NOT_IN_TABLE. */
SNTR_API uint32_t sntrDeleteRPropertyFromHashTable(SNodeCB_t *node, uint64_t tag);

/* Takes a slot of a table: the one freed last, else a fresh one. It belongs to nothing until it is linked into a chain;
 * the area's used bytes are not raised for it. The caller holds the node's write section.
 *   node        the node
 *   kind        SNTR_KIND_R, SNTR_KIND_V, SNTR_KIND_IR or SNTR_KIND_IV
 *   slotOffset  receives the slot's offset in bytes from the node
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE               `node` is null
 *   SNTR_RC_NULL_OUTPUT             `slotOffset` is null
 *   SNTR_RC_BAD_KIND                `kind` is none of the four
 *   LIST codes; SNTR_RC_BAD_BUCKET_COUNT also for an array
 *   SNTR_RC_MAX_ID_SIZE_TOO_LARGE, SNTR_RC_BAD_MAX_VALUE_SIZE
 *                                   a stored maximum size is out of range
 *   SNTR_RC_BAD_FREED_STACK         the stored stack of freed slots is larger than it can be
 *   SNTR_RC_FREED_COUNT_ZERO        the stack was emptied while it was read
 *   SNTR_RC_NO_ROOM_FOR_SLOT        the area is full, or the freed slot to reuse lies where none can be
 *   SNTR_RC_NEXT_FREE_OUTSIDE_AREA  the next fresh slot would not lie between the slots and the stack */
SNTR_API uint32_t sntrGetFreeSpaceOffsetForProperty(SNodeCB_t *node, uint32_t kind, uint64_t *slotOffset);

/* Remembers a slot as freed. Nothing may lead to it afterwards. The caller holds the node's write section.
 *   node  the node
 *   kind  as for taking a slot
 *   link  a word, at any address, that holds the slot's offset in bytes from the node
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE               `node` is null
 *   SNTR_RC_NULL_OUTPUT             `link` is null
 *   SNTR_RC_BAD_KIND                `kind` is none of the four
 *   LIST codes; SNTR_RC_BAD_BUCKET_COUNT also for an array
 *   SNTR_RC_MAX_ID_SIZE_TOO_LARGE, SNTR_RC_BAD_MAX_VALUE_SIZE
 *                                   a stored maximum size is out of range
 *   SNTR_RC_NO_ROOM_FOR_FREED_SLOT  no 8 bytes are left between slots and stack, or 0x8000 slots are on the stack
 *   SNTR_RC_BAD_FREED_STACK         the stored stack of freed slots is larger than it can be
 *   SNTR_RC_R_DAMAGED, SNTR_RC_V_DAMAGED, SNTR_RC_IR_DAMAGED, SNTR_RC_IV_DAMAGED
 *                                   the offset is that of no slot that was ever taken */
SNTR_API uint32_t sntrUpdateListOfFreedLLNodes(SNodeCB_t *node, uint32_t kind, const uint64_t *link);

/* Tells how many freed slots a table remembers. The caller holds the node's section.
 *   node        the node
 *   kind        as for taking a slot
 *   freedCount  receives the number
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE                `node` is null
 *   SNTR_RC_NULL_FREED_COUNT_OUTPUT  `freedCount` is null
 *   SNTR_RC_BAD_KIND                 `kind` is none of the four
 *   LIST codes; SNTR_RC_BAD_BUCKET_COUNT also for an array
 *   SNTR_RC_MAX_ID_SIZE_TOO_LARGE, SNTR_RC_BAD_MAX_VALUE_SIZE
 *                                    a stored maximum size is out of range
 *   SNTR_RC_BAD_FREED_STACK          the stored number is above 0x8000, or so many do not fit the area */
SNTR_API uint32_t sntrGetNumberOfFreedLListNodes(SNodeCB_t *node, uint32_t kind, uint64_t *freedCount);

/* Tells how large the stack of freed slots is: 8 bytes for each and 0x10 for the tail of the area. The caller holds the
 * node's section.
 *   stackSize  receives the number of bytes
 * Arguments and codes otherwise as for sntrGetNumberOfFreedLListNodes(). */
SNTR_API uint32_t sntrGetMemoryStackSizeForHashTable(SNodeCB_t *node, uint32_t kind, uint64_t *stackSize);

/* Reads the numbers of buckets of a list that has three of them.
 *   node                                             the node
 *   kind                                             SNTR_KIND_IR or SNTR_KIND_IV
 *   tagIDBucketCount, tagBucketCount, idBucketCount  receive the numbers by tag and identifier, by tag, by identifier;
 *                                                    0 for an array
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE                  `node` is null
 *   SNTR_RC_NULL_BUCKET_COUNTS_OUTPUT  an output is null
 *   SNTR_RC_BAD_KIND                   `kind` is neither of the two
 *   AREA codes
 *   SNTR_RC_BAD_BUCKET_COUNT           as among the LIST codes */
SNTR_API uint32_t sntrGetHashTableSizeForIRVProperties(SNodeCB_t *node, uint32_t kind, uint64_t *tagIDBucketCount,
                                                       uint64_t *tagBucketCount, uint64_t *idBucketCount);

/* Searches the node's V table, as sntrFindRPropertyInHashTable() does.
 *   node    the node
 *   tag     0 to SNTR_MAX_TAG
 *   record  receives the record found, or that at which the search stopped; keeps what it holds when the bucket is
 *           empty
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_NULL_V_RECORD   `record` is null
 *   LIST codes
 *   SNTR_RC_V_NOT_IN_TABLE  no property has this key, or the list is an array
 *   SNTR_RC_V_DAMAGED       a link leads to no slot, or a chain does not end */
SNTR_API uint32_t sntrFindVPropertyInHashTable(SNodeCB_t *node, uint64_t tag, SNodeProperty_t **record);

/* Adds a property to the node's V table, whatever the node's condition. Arguments and answers are those of
 * sntrAddVProperty() for a table, without the CONDITION codes; SNTR_RC_BAD_BUCKET_COUNT also for an array. */
SNTR_API uint32_t sntrAddVPropertyToHashTable(SNodeCB_t *node, uint64_t tag, uint64_t valueSize, const void *value,
                                              uint64_t latchHeld);

/* Deletes a property from the node's V table, whatever the node's condition, and always in a write section of its own.
 * Arguments and answers are those of sntrDeleteVProperty() for a table, without the CONDITION codes; an array gives
 * SNTR_RC_V_NOT_IN_TABLE. */
SNTR_API uint32_t sntrDeleteVPropertyFromHashTable(SNodeCB_t *node, uint64_t tag);

/* Searches the node's IR table, as sntrFindRPropertyInHashTable() does.
 *   node      the node
 *   tag       0 to SNTR_MAX_TAG
 *   idLength  bytes of the identifier, at most the list's maximum
 *   id        the identifier; not null even when `idLength` is 0
 *   record    receives the record found, or that at which the search stopped; keeps what it holds when the bucket is
 *             empty
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_NULL_IR_RECORD      `record` is null
 *   LIST codes
 *   SNTR_RC_IR_NOT_IN_TABLE     no property has this key, or the list is an array
 *   SNTR_RC_IR_DAMAGED          a link leads to no slot, or a chain does not end
 *   SNTR_RC_BYTES_OUTSIDE_AREA  the identifier of a record on the way is not in that record */
SNTR_API uint32_t sntrFindIRPropertyInHashTable(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                                SNodeProperty_t **record);

/* Adds a property to the node's IR table, whatever the node's condition. Arguments and answers are those of
 * sntrAddIRProperty() for a table, without the CONDITION codes; SNTR_RC_BAD_BUCKET_COUNT also for an array. */
SNTR_API uint32_t sntrAddIRPropertyToHashTable(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                               int32_t value, uint64_t latchHeld);

/* Deletes a property from the node's IR table, whatever the node's condition, and always in a write section of its own.
 * Arguments and answers are those of sntrDeleteIRProperty() for a table, without the CONDITION codes; an array gives
 * SNTR_RC_IR_NOT_IN_TABLE. */
SNTR_API uint32_t sntrDeleteIRPropertyFromHashTable(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id);

/* Searches the node's IV table, as sntrFindRPropertyInHashTable() does.
 *   node      the node
 *   tag       0 to SNTR_MAX_TAG
 *   idLength  bytes of the identifier, at most the list's maximum
 *   id        the identifier; not null even when `idLength` is 0
 *   record    receives the record found, or that at which the search stopped; keeps what it holds when the bucket is
 *             empty
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_NULL_IV_RECORD      `record` is null
 *   LIST codes
 *   SNTR_RC_IV_NOT_IN_TABLE     no property has this key, or the list is an array
 *   SNTR_RC_IV_DAMAGED          a link leads to no slot, or a chain does not end
 *   SNTR_RC_BYTES_OUTSIDE_AREA  the identifier of a record on the way is not in that record */
SNTR_API uint32_t sntrFindIVPropertyInHashTable(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                                SNodeProperty_t **record);

/* Adds a property to the node's IV table, whatever the node's condition. Arguments and answers are those of
 * sntrAddIVProperty() for a table, without the CONDITION codes; SNTR_RC_BAD_BUCKET_COUNT also for an array. */
SNTR_API uint32_t sntrAddIVPropertyToHashTable(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                               uint64_t valueSize, const void *value, uint64_t latchHeld);

/* Deletes a property from the node's IV table, whatever the node's condition, and always in a write section of its own.
 * Arguments and answers are those of sntrDeleteIVProperty() for a table, without the CONDITION codes; an array gives
 * SNTR_RC_IV_NOT_IN_TABLE. */
SNTR_API uint32_t sntrDeleteIVPropertyFromHashTable(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id);

#ifdef __cplusplus
}
#endif

#endif
