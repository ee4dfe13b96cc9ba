/* SPDX-License-Identifier: MIT */
/** @file
 * Identifiers and tags, which name nodes.
 *
 * An identifier is a string of at most 0x1000 bytes, made of text parts. A node keeps one in its identifier area
 * (SNTR_OPTION_NODE_ID). A tag is a number; it need not be unique, and every node has room for one.
 *
 * Thread safety: the operations on identifiers work on memory of the caller's and take no latch; any thread may call.
 * Those on a node run in one section of it (sntr/latches.h); any thread of any process may call.
 *
 * The SECTION codes are those of sntr/nodes.h. The CONDITION codes are those of sntrCheckNodeCondition(): the node is
 * not active.
 */
#ifndef SNTR_IDENTIFIERS_H
#define SNTR_IDENTIFIERS_H

#include <sntr/export.h>
#include <sntr/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** @name Kinds of identifiers
 * Arguments of sntrCreateID() and sntrCompareID(). The operations do not interpret the kind: it only decides which
 * codes report that a part, or the capacity, is too large. */
/** @{ */
#define SNTR_ID_OF_NODE UINT32_C(0x2)        /**< of a node */
#define SNTR_ID_OF_NODE_INFO UINT32_C(0x10)  /**< for comparing only */
#define SNTR_ID_OF_IR SNTR_KIND_IR           /**< of an IR property */
#define SNTR_ID_OF_IV SNTR_KIND_IV           /**< of an IV property */
#define SNTR_ID_OF_DEPENDENT UINT32_C(0x800) /**< of a dependent */
/** @} */

/** @{ */
/** Most bytes of an identifier, and most parts of one. */
#define SNTR_MAX_ID_SIZE UINT64_C(0x1000)
#define SNTR_MAX_ID_PARTS UINT64_C(0x8000)
/** @} */

/** Creates an identifier of text parts: their bytes one after the other, without terminators or separators. It is no
 * error if all parts are empty.
 * - `id`: receives the address of the bytes; their number is the sum of the lengths
 * - `lengths`: receives the address of the parts' lengths in bytes, one for each part, in their order
 * - `parts`: the parts, each ending with a NUL; at most capacity + 1 bytes of each are read
 * - `capacity`: most bytes of one part (not of all together), at most SNTR_MAX_ID_SIZE; 0 allows only empty parts
 * - `count`: parts, 1 to SNTR_MAX_ID_PARTS
 * - `kind`: `SNTR_ID_OF_*`, but not SNTR_ID_OF_NODE_INFO
 * - `version`: points to SNTR_VERSION
 *
 * Returns 0: both blocks belong to the caller; sntrDeleteID() frees them. Otherwise nothing is written:
 * - SNTR_RC_BAD_KIND: another kind
 * - SNTR_RC_BAD_PART_COUNT: `count` is out of range
 * - SNTR_RC_CAPACITY_TOO_LARGE: `capacity` is too large: kinds SNTR_ID_OF_NODE and SNTR_ID_OF_DEPENDENT
 * - SNTR_RC_MAX_ID_SIZE_TOO_LARGE: the same: the others
 * - SNTR_RC_NULL_ID_PART: `parts`, or one of them before any that is too long, is null
 * - SNTR_RC_DATA_TOO_LONG: a part is longer than the capacity: kinds SNTR_ID_OF_NODE and SNTR_ID_OF_DEPENDENT
 * - SNTR_RC_ID_TOO_LONG: the same: the others
 * - SNTR_RC_BAD_VERSION: `version` is null or points to another word
 * - SNTR_RC_NULL_ID: `id` or `lengths` is null
 * - SNTR_RC_ID_ALLOCATION_FAILED: no private memory is left */
SNTR_API uint32_t sntrCreateID(char **id, uint64_t **lengths, const char *const *parts, uint64_t capacity,
                               uint64_t count, uint32_t kind, const uint32_t *version);

/** Frees an identifier, its lengths first.
 * - `id`, `lengths`: references to the blocks of sntrCreateID(); each is null once its block is freed. Null frees
 *   nothing
 * - `version`: points to SNTR_VERSION
 *
 * Returns 0, or:
 * - SNTR_RC_BAD_VERSION: `version` is null or points to another word; nothing was freed
 * - a result of _ossMemFree(): the reference to what could not be freed is null; if that was the lengths, the bytes
 *   stay */
SNTR_API uint32_t sntrDeleteID(char **id, uint64_t **lengths, const uint32_t *version);

/** Compares two identifiers. A shorter one sorts first, whatever its bytes. If both have the same length the bytes
 * decide, as unsigned numbers.
 * - `a`, `aLength`, `b`, `bLength`: bytes, and how many: at most SNTR_MAX_ID_SIZE
 * - `kind`: `SNTR_ID_OF_*`
 * - `order`: receives a number below 0, 0, or above 0: `a` sorts before `b`, is equal, sorts after it
 *
 * Returns 0. Otherwise nothing is written:
 * - SNTR_RC_BAD_KIND: another kind
 * - SNTR_RC_NULL_ID: `a` or `b` is null
 * - SNTR_RC_COMPARED_ID_TOO_LONG: a length is too large
 * - SNTR_RC_NULL_ORDER_OUTPUT: `order` is null */
SNTR_API uint32_t sntrCompareID(const void *a, uint64_t aLength, const void *b, uint64_t bLength, uint32_t kind,
                                int64_t *order);

/** Writes an identifier to standard output, without a newline: bytes from 0x20 to 0x7e as they are, others as ".".
 * - `id`, `length`: the bytes, and how many: at most SNTR_MAX_ID_SIZE
 *
 * Returns 0. Otherwise nothing is written:
 * - SNTR_RC_NULL_ID: `id` is null
 * - SNTR_RC_ID_TOO_LONG: `length` is too large */
SNTR_API uint32_t sntrPrintID(const void *id, uint64_t length);

/** Sets another identifier of an active node.
 * - `node`: the node
 * - `id`: `length` bytes
 * - `length`: at most the rounded capacity; 0 for an empty identifier
 * - `capacity`: bytes kept for the identifier, at most SNTR_MAX_ID_SIZE; rounded up to a multiple of 8. It is stored,
 *   but not compared with the area, which has 16 bytes more than it was created for
 * - `latchHeld`: non-zero: the caller is in a write section of the node
 *
 * Returns 0. Otherwise nothing is changed, the SECTION codes aside:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SNTR_RC_NULL_ID: `id` is null
 * - SECTION codes
 * - SNTR_RC_NO_ID_TO_SET: the node was created without SNTR_OPTION_NODE_ID
 * - SNTR_RC_NODE_ID_CAPACITY_TOO_LARGE: `capacity` is too large
 * - SNTR_RC_NODE_ID_TOO_LONG: `length` is above the capacity
 * - SNTR_RC_AREA_NEVER_CREATED, SNTR_RC_AREA_OUTSIDE_NODE: the node's area table is damaged
 * - SNTR_RC_AREA_OVERUSED: the area is too small for the identifier, or its entry is damaged
 * - CONDITION codes */
SNTR_API uint32_t sntrSetNodeID(SNodeCB_t *node, const void *id, uint64_t length, uint64_t capacity,
                                uint32_t latchHeld);

/** Returns the address of an active node's identifier. Makes no copy: the bytes are those of the node. They are valid
 * as long as it stays mapped and nobody sets another identifier; nobody can while the caller is in a section of the
 * node.
 * - `node`: the node
 * - `id`: receives the address of the bytes
 * - `length`: receives their number, at most SNTR_MAX_ID_SIZE
 * - `latchHeld`: non-zero: the caller is in a section of the node
 *
 * Returns 0. Otherwise nothing is written:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SNTR_RC_NULL_LENGTH: `length` is null
 * - SNTR_RC_NULL_ID: `id` is null
 * - SECTION codes; if the latch could not be released, both outputs are written
 * - SNTR_RC_NO_ID_TO_GET: the node was created without SNTR_OPTION_NODE_ID
 * - SNTR_RC_AREA_NEVER_CREATED, SNTR_RC_AREA_OVERUSED, SNTR_RC_AREA_OUTSIDE_NODE: the node's area table is damaged
 * - CONDITION codes
 * - SNTR_RC_NODE_ID_TOO_LONG: the stored length is beyond the area or too large: it is damaged */
SNTR_API uint32_t sntrGetNodeID(SNodeCB_t *node, const void **id, uint64_t *length, uint32_t latchHeld);

/** Sets an active node's tag.
 * - `node`: the node
 * - `tag`: at most SNTR_MAX_TAG; 0 removes the tag
 * - `latchHeld`: non-zero: the caller is in a write section of the node
 *
 * Returns 0. Otherwise the tag is as it was, the SECTION codes aside:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SECTION, CONDITION codes
 * - SNTR_RC_TAG_TOO_LARGE: `tag` is too large */
SNTR_API uint32_t sntrSetNodeTag(SNodeCB_t *node, uint64_t tag, uint32_t latchHeld);

/** Returns an active node's tag.
 * - `node`: the node
 * - `tag`: receives the tag, or 0 if the node has none
 * - `latchHeld`: non-zero: the caller is in a section of the node
 *
 * Returns 0. Otherwise nothing is written, unless said otherwise:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SNTR_RC_NULL_TAG_OUTPUT: `tag` is null
 * - SECTION codes; if the latch could not be released, the tag is written
 * - CONDITION codes
 * - SNTR_RC_TAG_TOO_LARGE: the stored tag is too large; it is written all the same */
SNTR_API uint32_t sntrGetNodeTag(SNodeCB_t *node, uint64_t *tag, uint32_t latchHeld);

#ifdef __cplusplus
}
#endif

#endif
