/* Values and result codes of properties.
 *
 * A property is named by its key, or by its record, whose address sntrGetAddressForRProperty() gave. Setting a value or
 * a result code changes nothing else: no counter and no time.
 *
 * The rules on threads, sections and `latchHeld`, and the groups of codes, are those of sntr/properties.h. After a
 * failure nothing was changed, no output was stored and nothing is held, unless the code's line says otherwise.
 */
#ifndef SNTR_VALUES_H
#define SNTR_VALUES_H

#include <sntr/export.h>
#include <sntr/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Gives the address of an R property's register. It may be any address, and is valid until the property is deleted; the
 * number there may be changed at any moment, so read and change it atomically. The caller holds the node's section.
 *   node   the node
 *   tag    0 to SNTR_MAX_TAG
 *   value  receives the address
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE      `node` is null
 *   SNTR_RC_TAG_TOO_LARGE  `tag` is above SNTR_MAX_TAG
 *   SNTR_RC_NULL_R_RECORD  `value` is null
 *   CONDITION, LIST codes
 *   SNTR_RC_R_NOT_FOUND    no R property has this tag
 *   SNTR_RC_R_DAMAGED      a link leads to no slot, or the chain does not end */
SNTR_API uint32_t sntrGetAddressForRPropertyValue(SNodeCB_t *node, uint64_t tag, int32_t **value);

/* Reads the value of an R property.
 *   node   the node
 *   tag    0 to SNTR_MAX_TAG
 *   value  receives the value
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE            `node` is null
 *   SNTR_RC_TAG_TOO_LARGE        `tag` is above SNTR_MAX_TAG
 *   SNTR_RC_NULL_R_VALUE_OUTPUT  `value` is null
 *   SECTION, CONDITION, LIST codes
 *   SNTR_RC_R_NOT_FOUND          no R property has this tag
 *   SNTR_RC_R_DAMAGED            a link leads to no slot, or the chain does not end
 *   SNTR_RC_ATOMIC_FAILED        the register could not be read */
SNTR_API uint32_t sntrGetValueForRProperty(SNodeCB_t *node, uint64_t tag, int32_t *value, uint64_t latchHeld);

/* Writes the value of an R property; its result code stays.
 *   node   the node
 *   tag    0 to SNTR_MAX_TAG
 *   value  the value
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE      `node` is null
 *   SNTR_RC_TAG_TOO_LARGE  `tag` is above SNTR_MAX_TAG
 *   SECTION, CONDITION, LIST codes
 *   SNTR_RC_R_NOT_FOUND    no R property has this tag
 *   SNTR_RC_R_DAMAGED      a link leads to no slot, or the chain does not end
 *   SNTR_RC_ATOMIC_FAILED  the register could not be written */
SNTR_API uint32_t sntrSetValueForRProperty(SNodeCB_t *node, uint64_t tag, int32_t value, uint64_t latchHeld);

/* Reads value and result code of an R property in one section.
 *   node    the node
 *   record  the property's record
 *   value   receives the value
 *   rc      receives the result code that callers keep with the value
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE            `node` is null
 *   SNTR_RC_NULL_R_RECORD        `record` is null
 *   SNTR_RC_NULL_R_VALUE_OUTPUT  `value` is null
 *   SNTR_RC_NULL_RC_OUTPUT       `rc` is null
 *   SECTION, CONDITION, LIST codes
 *   SNTR_RC_R_DAMAGED            `record` is not the start of a record of this node's R list
 *   SNTR_RC_ATOMIC_FAILED        the register could not be read */
SNTR_API uint32_t sntrGetValueAndRCForRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t *value, uint64_t *rc,
                                                uint64_t latchHeld);

/* Writes value and result code of an R property in one section.
 *   node    the node
 *   record  the property's record
 *   value   the value
 *   rc      the result code, stored as it is
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE      `node` is null
 *   SNTR_RC_NULL_R_RECORD  `record` is null
 *   SECTION, CONDITION, LIST codes
 *   SNTR_RC_R_DAMAGED      `record` is not the start of a record of this node's R list
 *   SNTR_RC_ATOMIC_FAILED  the register could not be written */
SNTR_API uint32_t sntrSetValueAndRCForRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t value, uint64_t rc,
                                                uint64_t latchHeld);

/* Reads the result code of an R property.
 *   node  the node
 *   tag   0 to SNTR_MAX_TAG
 *   rc    receives the result code
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE       `node` is null
 *   SNTR_RC_TAG_TOO_LARGE   `tag` is above SNTR_MAX_TAG
 *   SNTR_RC_NULL_RC_OUTPUT  `rc` is null
 *   SECTION, CONDITION, LIST codes
 *   SNTR_RC_R_NOT_FOUND     array: no property has this tag
 *   SNTR_RC_R_NOT_IN_TABLE  table: no property has this tag
 *   SNTR_RC_R_DAMAGED       table: a link leads to no slot, or the chain does not end */
SNTR_API uint32_t sntrGetRCForRProperty(SNodeCB_t *node, uint64_t tag, uint64_t *rc, uint64_t latchHeld);

/* Writes the result code of an R property; its value stays.
 *   node  the node
 *   tag   0 to SNTR_MAX_TAG
 *   rc    the result code, stored as it is
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE       `node` is null
 *   SNTR_RC_TAG_TOO_LARGE   `tag` is above SNTR_MAX_TAG
 *   SECTION, CONDITION, LIST codes
 *   SNTR_RC_R_NOT_FOUND     array: no property has this tag
 *   SNTR_RC_R_NOT_IN_TABLE  table: no property has this tag
 *   SNTR_RC_R_DAMAGED       table: a link leads to no slot, or the chain does not end */
SNTR_API uint32_t sntrSetRCForRProperty(SNodeCB_t *node, uint64_t tag, uint64_t rc, uint64_t latchHeld);

#ifdef __cplusplus
}
#endif

#endif
