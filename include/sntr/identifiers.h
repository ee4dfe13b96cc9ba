/* Identifiers and tags, by which nodes are named.
 *
 * An identifier is a string of at most 0x1000 bytes, made of text parts; a node keeps one in its identifier area
 * (SNTR_OPTION_NODE_ID). A tag is a number; it need not be unique, and every node has room for one.
 *
 * The operations on identifiers work on memory of the caller's, take no latch and may be called from any thread. Those
 * on a node run in one section of it (sntr/latches.h), from any thread of any process. "The section's codes" are as in
 * sntr/nodes.h, and "the condition's codes" are those of sntrCheckNodeCondition(): the node is not active.
 */
#ifndef SNTR_IDENTIFIERS_H
#define SNTR_IDENTIFIERS_H

#include <sntr/export.h>
#include <sntr/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* What kind of name an identifier is; sntrCreateID() and sntrCompareID() take these. The operations do not interpret
 * it: it decides which codes tell that a part, or the capacity, is too large. */
#define SNTR_ID_OF_NODE UINT32_C(0x2)
#define SNTR_ID_OF_NODE_INFO UINT32_C(0x10) /* for comparing only */
#define SNTR_ID_OF_IR SNTR_KIND_IR
#define SNTR_ID_OF_IV SNTR_KIND_IV
#define SNTR_ID_OF_DEPENDENT UINT32_C(0x800)

/* Most bytes of an identifier, and most parts that one is made of. */
#define SNTR_MAX_ID_SIZE UINT64_C(0x1000)
#define SNTR_MAX_ID_PARTS UINT64_C(0x8000)

/* Makes an identifier of text parts: their bytes one behind the other, without terminators or separators.
 *   id        receives the address of the bytes; their number is the sum of the lengths
 *   lengths   receives the address of the parts' lengths in bytes, one for each part, in their order
 *   parts     the parts, each ending with a NUL, of which at most capacity + 1 bytes are read
 *   capacity  most bytes of one part (not of all together), at most SNTR_MAX_ID_SIZE; 0 lets only empty parts pass
 *   count     parts, 1 to SNTR_MAX_ID_PARTS
 *   kind      SNTR_ID_OF_*, but not SNTR_ID_OF_NODE_INFO
 *   version   leads to SNTR_VERSION
 * That all parts are empty is no error. Answers 0, and both blocks belong to the caller, who ends them with
 * sntrDeleteID(). Otherwise nothing is written:
 *   SNTR_RC_BAD_KIND               another kind
 *   SNTR_RC_BAD_PART_COUNT         `count` is out of range
 *   SNTR_RC_CAPACITY_TOO_LARGE     `capacity` is too large: kinds SNTR_ID_OF_NODE and SNTR_ID_OF_DEPENDENT
 *   SNTR_RC_MAX_ID_SIZE_TOO_LARGE  the same: the others
 *   SNTR_RC_NULL_ID_PART           `parts`, or one of them before any that is too long, is null
 *   SNTR_RC_DATA_TOO_LONG          a part is longer than the capacity: kinds SNTR_ID_OF_NODE and SNTR_ID_OF_DEPENDENT
 *   SNTR_RC_ID_TOO_LONG            the same: the others
 *   SNTR_RC_BAD_VERSION            `version` is null or leads to another word
 *   SNTR_RC_NULL_ID                `id` or `lengths` is null
 *   SNTR_RC_ID_ALLOCATION_FAILED   no private memory is left */
SNTR_API uint32_t sntrCreateID(char **id, uint64_t **lengths, const char *const *parts, uint64_t capacity,
                               uint64_t count, uint32_t kind, const uint32_t *version);

/* Frees an identifier, its lengths first.
 *   id, lengths  references to what sntrCreateID() gave; each is null once its block is freed. Null frees nothing
 *   version      leads to SNTR_VERSION
 * Answers 0, or:
 *   SNTR_RC_BAD_VERSION         `version` is null or leads to another word; nothing was freed
 *   a result of _ossMemFree()   what could not be freed is forgotten; the bytes stay if it was the lengths */
SNTR_API uint32_t sntrDeleteID(char **id, uint64_t **lengths, const uint32_t *version);

/* Compares two identifiers: a shorter one sorts first, whatever its bytes; of two that are equally long the bytes
 * decide, as unsigned numbers.
 *   a, aLength, b, bLength  bytes, and how many: at most SNTR_MAX_ID_SIZE
 *   kind                    SNTR_ID_OF_*
 *   order                   receives a number below 0, 0, or above 0: `a` sorts before `b`, is equal, sorts behind it
 * Answers 0. Otherwise nothing is written:
 *   SNTR_RC_BAD_KIND              another kind
 *   SNTR_RC_NULL_ID               `a` or `b` is null
 *   SNTR_RC_COMPARED_ID_TOO_LONG  a length is too large
 *   SNTR_RC_NULL_ORDER_OUTPUT     `order` is null */
SNTR_API uint32_t sntrCompareID(const void *a, uint64_t aLength, const void *b, uint64_t bLength, uint32_t kind,
                                int64_t *order);

/* Writes an identifier to standard output, without a newline: bytes from 0x20 to 0x7e as they are, others as ".".
 *   id, length  the bytes, and how many: at most SNTR_MAX_ID_SIZE
 * Answers 0. Otherwise nothing is written:
 *   SNTR_RC_NULL_ID      `id` is null
 *   SNTR_RC_ID_TOO_LONG  `length` is too large */
SNTR_API uint32_t sntrPrintID(const void *id, uint64_t length);

/* Gives an active node another identifier.
 *   node       the node
 *   id         `length` bytes
 *   length     at most the rounded capacity; 0 for an empty identifier
 *   capacity   bytes kept for the identifier, at most SNTR_MAX_ID_SIZE; rounded up to a multiple of 8. It is stored,
 *              and not held against the area, which has 16 bytes more than it was created for
 *   latchHeld  non-zero: the caller is in a write section of the node
 * Answers 0. Otherwise, the section's codes aside, nothing is changed:
 *   SNTR_RC_NULL_NODE                  `node` is null
 *   SNTR_RC_NULL_ID                    `id` is null
 *   the section's codes
 *   SNTR_RC_NO_ID_TO_SET               the node was created without SNTR_OPTION_NODE_ID
 *   SNTR_RC_NODE_ID_CAPACITY_TOO_LARGE `capacity` is too large
 *   SNTR_RC_NODE_ID_TOO_LONG           `length` is above the capacity
 *   SNTR_RC_AREA_NEVER_CREATED, SNTR_RC_AREA_OUTSIDE_NODE  the node's area table is damaged
 *   SNTR_RC_AREA_OVERUSED              the area is too small for the identifier, or its entry is damaged
 *   the condition's codes */
SNTR_API uint32_t sntrSetNodeID(SNodeCB_t *node, const void *id, uint64_t length, uint64_t capacity,
                                uint32_t latchHeld);

/* Tells where an active node's identifier stands. No copy is made: the bytes are those of the node, and good as long as
 * it stays mapped and nobody sets another identifier. A caller that is in a section of the node knows that nobody does.
 *   node       the node
 *   id         receives the address of the bytes
 *   length     receives their number, at most SNTR_MAX_ID_SIZE
 *   latchHeld  non-zero: the caller is in a section of the node
 * Answers 0. Otherwise nothing is written:
 *   SNTR_RC_NULL_NODE         `node` is null
 *   SNTR_RC_NULL_LENGTH       `length` is null
 *   SNTR_RC_NULL_ID           `id` is null
 *   the section's codes; where the latch could not be given back, both outputs are written
 *   SNTR_RC_NO_ID_TO_GET      the node was created without SNTR_OPTION_NODE_ID
 *   SNTR_RC_AREA_NEVER_CREATED, SNTR_RC_AREA_OVERUSED, SNTR_RC_AREA_OUTSIDE_NODE  the node's area table is damaged
 *   the condition's codes
 *   SNTR_RC_NODE_ID_TOO_LONG  the stored length is beyond the area or too large: it is damaged */
SNTR_API uint32_t sntrGetNodeID(SNodeCB_t *node, const void **id, uint64_t *length, uint32_t latchHeld);

/* Gives an active node a tag.
 *   node       the node
 *   tag        at most SNTR_MAX_TAG; 0 takes the tag away
 *   latchHeld  non-zero: the caller is in a write section of the node
 * Answers 0. Otherwise, the section's codes aside, the tag is as it was:
 *   SNTR_RC_NULL_NODE      `node` is null
 *   the section's codes, the condition's codes
 *   SNTR_RC_TAG_TOO_LARGE  `tag` is too large */
SNTR_API uint32_t sntrSetNodeTag(SNodeCB_t *node, uint64_t tag, uint32_t latchHeld);

/* Tells an active node's tag.
 *   node       the node
 *   tag        receives the tag, or 0 where the node has none
 *   latchHeld  non-zero: the caller is in a section of the node
 * Answers 0. Otherwise nothing is written, unless said otherwise:
 *   SNTR_RC_NULL_NODE        `node` is null
 *   SNTR_RC_NULL_TAG_OUTPUT  `tag` is null
 *   the section's codes; where the latch could not be given back, the tag is written
 *   the condition's codes
 *   SNTR_RC_TAG_TOO_LARGE    the stored tag is too large; it is written all the same */
SNTR_API uint32_t sntrGetNodeTag(SNodeCB_t *node, uint64_t *tag, uint32_t latchHeld);

#ifdef __cplusplus
}
#endif

#endif
