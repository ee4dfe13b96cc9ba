/* Values and result codes of properties.
 *
 * A property is named by its key, or by its record, whose address sntrGetAddressForRProperty() and its like gave.
 * Setting a value or a result code changes nothing else: no counter and no time.
 *
 * A get takes no latch and stores nothing into the node. What it returns is of one moment: a value of bytes is whole,
 * and a value and its result code belong together if they were set together.
 *
 * The rules on threads, sections and `latchHeld`, and the groups of codes, are those of sntr/properties.h. After a
 * failure nothing was changed, no output was stored and nothing is held, unless the code's line says otherwise. One
 * exception: a failing get leaves a buffer undefined if the value has more than 4096 bytes.
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
 *   SNTR_RC_R_DAMAGED            a link leads to no slot, or the chain does not end */
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
 *   SNTR_RC_R_DAMAGED            `record` is not the start of a record of this node's R list */
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

/* Gives the address of the bytes of a V property, as sntrGetAddressForRPropertyValue() does. The caller holds the
 * node's section and changes nothing there: the size stands elsewhere.
 *   node   the node
 *   tag    0 to SNTR_MAX_TAG
 *   value  receives the address
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_NULL_V_RECORD         `value` is null
 *   CONDITION, LIST codes
 *   SNTR_RC_V_NOT_FOUND           no V property has this tag
 *   SNTR_RC_V_DAMAGED             table: a link leads to no slot, or the chain does not end
 *   SNTR_RC_V_VALUE_OUTSIDE_AREA  the stored place of the value is not in its record: it is damaged */
SNTR_API uint32_t sntrGetAddressForVPropertyValue(SNodeCB_t *node, uint64_t tag, void **value);

/* Reads the value of a V property: as it was before or after a change, never between.
 *   node     the node
 *   tag      0 to SNTR_MAX_TAG
 *   size     receives the bytes of the value; may be null
 *   address  receives the address of the value, which stays the caller's to read only inside a section; may be null
 *   buffer   receives the value; it must hold as many bytes as the value may have, the maximum where the size is not
 *            known; may be null
 * Answers 0, or:
 *   KEY codes of the kind; SECTION, CONDITION, LIST codes
 *   SNTR_RC_V_NOT_FOUND           no V property has this tag
 *   SNTR_RC_V_DAMAGED             table: a link leads to no slot, or the chain does not end
 *   SNTR_RC_V_VALUE_OUTSIDE_AREA  the stored place of the value is not in its record: it is damaged
 *   SNTR_RC_BAD_VALUE_SIZE        the stored size is 0 or more than there is room for: it is damaged */
SNTR_API uint32_t sntrGetValueForVProperty(SNodeCB_t *node, uint64_t tag, uint64_t *size, void **address, void *buffer,
                                           uint64_t latchHeld);

/* Writes the value of a V property; its result code stays.
 *   node       the node
 *   tag        0 to SNTR_MAX_TAG
 *   valueSize  bytes of the value: 1, or 2 to the maximum of the V list
 *   value      the value
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_BAD_VALUE_SIZE        `valueSize` is neither 1 nor 2 to the maximum
 *   SNTR_RC_NULL_V_VALUE          `value` is null
 *   SECTION, CONDITION, LIST codes
 *   SNTR_RC_V_NOT_FOUND           no V property has this tag
 *   SNTR_RC_V_DAMAGED             table: a link leads to no slot, or the chain does not end
 *   SNTR_RC_V_VALUE_OUTSIDE_AREA  the stored place of the value is not in its record: it is damaged */
SNTR_API uint32_t sntrSetValueForVProperty(SNodeCB_t *node, uint64_t tag, uint64_t valueSize, const void *value,
                                           uint64_t latchHeld);

/* Reads value and result code of a V property in one section.
 *   node     the node
 *   record   the property's record
 *   size     receives the bytes of the value; may be null
 *   address  receives the address of the value, which stays the caller's to read only inside a section; may be null
 *   buffer   receives the value; it must hold as many bytes as the value may have, the maximum where the size is not
 *            known; may be null
 *   rc       receives the result code
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE             `node` is null
 *   SNTR_RC_NULL_V_RECORD         `record` is null
 *   SNTR_RC_NULL_RC_OUTPUT        `rc` is null
 *   SECTION, CONDITION, LIST codes
 *   SNTR_RC_V_DAMAGED             `record` is not the start of a record of the kind in this node
 *   SNTR_RC_V_VALUE_OUTSIDE_AREA  the stored place of the value is not in its record: it is damaged
 *   SNTR_RC_BAD_VALUE_SIZE        the stored size is 0 or more than there is room for: it is damaged */
SNTR_API uint32_t sntrGetValueAndRCForVProperty(SNodeCB_t *node, SNodeProperty_t *record, uint64_t *size,
                                                void **address, void *buffer, uint64_t *rc, uint64_t latchHeld);

/* Writes value and result code of a V property in one section.
 *   node       the node
 *   record     the property's record
 *   valueSize  bytes of the value: 1, or 2 to the maximum of the V list
 *   value      the value
 *   rc         the result code, stored as it is
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE             `node` is null
 *   SNTR_RC_NULL_V_RECORD         `record` is null
 *   the codes of the kind's reader of maximum sizes (sntr/property_tables.h)
 *   SNTR_RC_BAD_VALUE_SIZE        `valueSize` is neither 1 nor 2 to the maximum
 *   SNTR_RC_NULL_V_VALUE          `value` is null
 *   SECTION, CONDITION, LIST codes
 *   SNTR_RC_V_DAMAGED             `record` is not the start of a record of the kind in this node
 *   SNTR_RC_V_VALUE_OUTSIDE_AREA  the stored place of the value is not in its record: it is damaged */
SNTR_API uint32_t sntrSetValueAndRCForVProperty(SNodeCB_t *node, SNodeProperty_t *record, uint64_t valueSize,
                                                const void *value, uint64_t rc, uint64_t latchHeld);

/* Reads the result code of a V property.
 *   node  the node
 *   tag   0 to SNTR_MAX_TAG
 *   rc    receives the result code
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_NULL_RC_OUTPUT  `rc` is null
 *   SECTION, CONDITION, LIST codes
 *   SNTR_RC_V_NOT_FOUND     array: no property has this tag
 *   SNTR_RC_V_NOT_IN_TABLE  table: no property has this tag
 *   SNTR_RC_V_DAMAGED       table: a link leads to no slot, or the chain does not end */
SNTR_API uint32_t sntrGetRCForVProperty(SNodeCB_t *node, uint64_t tag, uint64_t *rc, uint64_t latchHeld);

/* Writes the result code of a V property; its value stays.
 *   node  the node
 *   tag   0 to SNTR_MAX_TAG
 *   rc    the result code, stored as it is
 * Answers 0, or:
 *   KEY codes of the kind; SECTION, CONDITION, LIST codes
 *   SNTR_RC_V_NOT_FOUND     array: no property has this tag
 *   SNTR_RC_V_NOT_IN_TABLE  table: no property has this tag
 *   SNTR_RC_V_DAMAGED       table: a link leads to no slot, or the chain does not end */
SNTR_API uint32_t sntrSetRCForVProperty(SNodeCB_t *node, uint64_t tag, uint64_t rc, uint64_t latchHeld);

/* Gives the address of the register of an IR property, as sntrGetAddressForRPropertyValue() does. The caller holds the
 * node's section.
 *   node      the node
 *   tag       0 to SNTR_MAX_TAG
 *   idLength  bytes of the identifier, at most the list's maximum
 *   id        the identifier; not null even when `idLength` is 0
 *   value     receives the address
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_NULL_IR_RECORD      `value` is null
 *   CONDITION, LIST codes
 *   SNTR_RC_IR_NOT_FOUND        no IR property has this tag and identifier
 *   SNTR_RC_IR_DAMAGED          table: a link leads to no slot, or the chain does not end
 *   SNTR_RC_BYTES_OUTSIDE_AREA  the identifier of a record on the way is not in that record */
SNTR_API uint32_t sntrGetAddressForIRPropertyValue(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                                   int32_t **value);

/* Reads the value of an IR property.
 *   node      the node
 *   tag       0 to SNTR_MAX_TAG
 *   idLength  bytes of the identifier, at most the list's maximum
 *   id        the identifier; not null even when `idLength` is 0
 *   value     receives the value
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_NULL_IR_VALUE_OUTPUT  `value` is null
 *   SECTION, CONDITION, LIST codes
 *   SNTR_RC_IR_NOT_FOUND          no IR property has this tag and identifier
 *   SNTR_RC_IR_DAMAGED            table: a link leads to no slot, or the chain does not end
 *   SNTR_RC_BYTES_OUTSIDE_AREA    the identifier of a record on the way is not in that record */
SNTR_API uint32_t sntrGetValueForIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                            int32_t *value, uint64_t latchHeld);

/* Writes the value of an IR property; its result code stays.
 *   node      the node
 *   tag       0 to SNTR_MAX_TAG
 *   idLength  bytes of the identifier, at most the list's maximum
 *   id        the identifier; not null even when `idLength` is 0
 *   value     the value
 * Answers 0, or:
 *   KEY codes of the kind; SECTION, CONDITION, LIST codes
 *   SNTR_RC_IR_NOT_FOUND        no IR property has this tag and identifier
 *   SNTR_RC_IR_DAMAGED          table: a link leads to no slot, or the chain does not end
 *   SNTR_RC_BYTES_OUTSIDE_AREA  the identifier of a record on the way is not in that record
 *   SNTR_RC_ATOMIC_FAILED       the register could not be written */
SNTR_API uint32_t sntrSetValueForIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                            int32_t value, uint64_t latchHeld);

/* Reads value and result code of an IR property in one section.
 *   node    the node
 *   record  the property's record
 *   value   receives the value
 *   rc      receives the result code
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE             `node` is null
 *   SNTR_RC_NULL_IR_RECORD        `record` is null
 *   SNTR_RC_NULL_IR_VALUE_OUTPUT  `value` is null
 *   SNTR_RC_NULL_RC_OUTPUT        `rc` is null
 *   SECTION, CONDITION, LIST codes
 *   SNTR_RC_IR_DAMAGED            `record` is not the start of a record of the kind in this node */
SNTR_API uint32_t sntrGetValueAndRCForIRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t *value, uint64_t *rc,
                                                 uint64_t latchHeld);

/* Writes value and result code of an IR property in one section.
 *   node    the node
 *   record  the property's record
 *   value   the value
 *   rc      the result code, stored as it is
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE       `node` is null
 *   SNTR_RC_NULL_IR_RECORD  `record` is null
 *   SECTION, CONDITION, LIST codes
 *   SNTR_RC_IR_DAMAGED      `record` is not the start of a record of the kind in this node
 *   SNTR_RC_ATOMIC_FAILED   the register could not be written */
SNTR_API uint32_t sntrSetValueAndRCForIRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t value, uint64_t rc,
                                                 uint64_t latchHeld);

/* Reads the result code of an IR property.
 *   node      the node
 *   tag       0 to SNTR_MAX_TAG
 *   idLength  bytes of the identifier, at most the list's maximum
 *   id        the identifier; not null even when `idLength` is 0
 *   rc        receives the result code
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_NULL_RC_OUTPUT      `rc` is null
 *   SECTION, CONDITION, LIST codes
 *   SNTR_RC_IR_NOT_FOUND        array: no property has this tag and identifier
 *   SNTR_RC_IR_NOT_IN_TABLE     table: no property has this tag and identifier
 *   SNTR_RC_IR_DAMAGED          table: a link leads to no slot, or the chain does not end
 *   SNTR_RC_BYTES_OUTSIDE_AREA  the identifier of a record on the way is not in that record */
SNTR_API uint32_t sntrGetRCForIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id, uint64_t *rc,
                                         uint64_t latchHeld);

/* Writes the result code of an IR property; its value stays.
 *   node      the node
 *   tag       0 to SNTR_MAX_TAG
 *   idLength  bytes of the identifier, at most the list's maximum
 *   id        the identifier; not null even when `idLength` is 0
 *   rc        the result code, stored as it is
 * Answers 0, or:
 *   KEY codes of the kind; SECTION, CONDITION, LIST codes
 *   SNTR_RC_IR_NOT_FOUND        array: no property has this tag and identifier
 *   SNTR_RC_IR_NOT_IN_TABLE     table: no property has this tag and identifier
 *   SNTR_RC_IR_DAMAGED          table: a link leads to no slot, or the chain does not end
 *   SNTR_RC_BYTES_OUTSIDE_AREA  the identifier of a record on the way is not in that record */
SNTR_API uint32_t sntrSetRCForIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id, uint64_t rc,
                                         uint64_t latchHeld);

/* Gives the address of the bytes of an IV property, as sntrGetAddressForRPropertyValue() does. The caller holds the
 * node's section and changes nothing there: the size stands elsewhere.
 *   node      the node
 *   tag       0 to SNTR_MAX_TAG
 *   idLength  bytes of the identifier, at most the list's maximum
 *   id        the identifier; not null even when `idLength` is 0
 *   value     receives the address
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_NULL_IV_RECORD         `value` is null
 *   CONDITION, LIST codes
 *   SNTR_RC_IV_NOT_FOUND           no IV property has this tag and identifier
 *   SNTR_RC_IV_DAMAGED             table: a link leads to no slot, or the chain does not end
 *   SNTR_RC_BYTES_OUTSIDE_AREA     the identifier of a record on the way is not in that record
 *   SNTR_RC_IV_VALUE_OUTSIDE_AREA  the stored place of the value is not in its record: it is damaged */
SNTR_API uint32_t sntrGetAddressForIVPropertyValue(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                                   void **value);

/* Reads the value of an IV property: as it was before or after a change, never between.
 *   node      the node
 *   tag       0 to SNTR_MAX_TAG
 *   idLength  bytes of the identifier, at most the list's maximum
 *   id        the identifier; not null even when `idLength` is 0
 *   size      receives the bytes of the value; may be null
 *   address   receives the address of the value, which stays the caller's to read only inside a section; may be null
 *   buffer    receives the value; it must hold as many bytes as the value may have, the maximum where the size is not
 *             known; may be null
 * Answers 0, or:
 *   KEY codes of the kind; SECTION, CONDITION, LIST codes
 *   SNTR_RC_IV_NOT_FOUND           no IV property has this tag and identifier
 *   SNTR_RC_IV_DAMAGED             table: a link leads to no slot, or the chain does not end
 *   SNTR_RC_BYTES_OUTSIDE_AREA     the identifier of a record on the way is not in that record
 *   SNTR_RC_IV_VALUE_OUTSIDE_AREA  the stored place of the value is not in its record: it is damaged
 *   SNTR_RC_BAD_VALUE_SIZE         the stored size is 0 or more than there is room for: it is damaged */
SNTR_API uint32_t sntrGetValueForIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                            uint64_t *size, void **address, void *buffer, uint64_t latchHeld);

/* Writes the value of an IV property; its result code stays.
 *   node       the node
 *   tag        0 to SNTR_MAX_TAG
 *   idLength   bytes of the identifier, at most the list's maximum
 *   id         the identifier; not null even when `idLength` is 0
 *   valueSize  bytes of the value: 1, or 2 to the maximum of the IV list
 *   value      the value
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_BAD_VALUE_SIZE         `valueSize` is neither 1 nor 2 to the maximum
 *   SNTR_RC_NULL_IV_VALUE          `value` is null
 *   SECTION, CONDITION, LIST codes
 *   SNTR_RC_IV_NOT_FOUND           no IV property has this tag and identifier
 *   SNTR_RC_IV_DAMAGED             table: a link leads to no slot, or the chain does not end
 *   SNTR_RC_BYTES_OUTSIDE_AREA     the identifier of a record on the way is not in that record
 *   SNTR_RC_IV_VALUE_OUTSIDE_AREA  the stored place of the value is not in its record: it is damaged */
SNTR_API uint32_t sntrSetValueForIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                            uint64_t valueSize, const void *value, uint64_t latchHeld);

/* Reads value and result code of an IV property in one section.
 *   node     the node
 *   record   the property's record
 *   size     receives the bytes of the value; may be null
 *   address  receives the address of the value, which stays the caller's to read only inside a section; may be null
 *   buffer   receives the value; it must hold as many bytes as the value may have, the maximum where the size is not
 *            known; may be null
 *   rc       receives the result code
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE              `node` is null
 *   SNTR_RC_NULL_IV_RECORD         `record` is null
 *   SNTR_RC_NULL_RC_OUTPUT         `rc` is null
 *   SECTION, CONDITION, LIST codes
 *   SNTR_RC_IV_DAMAGED             `record` is not the start of a record of the kind in this node
 *   SNTR_RC_IV_VALUE_OUTSIDE_AREA  the stored place of the value is not in its record: it is damaged
 *   SNTR_RC_BAD_VALUE_SIZE         the stored size is 0 or more than there is room for: it is damaged */
SNTR_API uint32_t sntrGetValueAndRCForIVProperty(SNodeCB_t *node, SNodeProperty_t *record, uint64_t *size,
                                                 void **address, void *buffer, uint64_t *rc, uint64_t latchHeld);

/* Writes value and result code of an IV property in one section.
 *   node       the node
 *   record     the property's record
 *   valueSize  bytes of the value: 1, or 2 to the maximum of the IV list
 *   value      the value
 *   rc         the result code, stored as it is
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE              `node` is null
 *   SNTR_RC_NULL_IV_RECORD         `record` is null
 *   the codes of the kind's reader of maximum sizes (sntr/property_tables.h)
 *   SNTR_RC_BAD_VALUE_SIZE         `valueSize` is neither 1 nor 2 to the maximum
 *   SNTR_RC_NULL_IV_VALUE          `value` is null
 *   SECTION, CONDITION, LIST codes
 *   SNTR_RC_IV_DAMAGED             `record` is not the start of a record of the kind in this node
 *   SNTR_RC_IV_VALUE_OUTSIDE_AREA  the stored place of the value is not in its record: it is damaged */
SNTR_API uint32_t sntrSetValueAndRCForIVProperty(SNodeCB_t *node, SNodeProperty_t *record, uint64_t valueSize,
                                                 const void *value, uint64_t rc, uint64_t latchHeld);

/* Reads the result code of an IV property.
 *   node      the node
 *   tag       0 to SNTR_MAX_TAG
 *   idLength  bytes of the identifier, at most the list's maximum
 *   id        the identifier; not null even when `idLength` is 0
 *   rc        receives the result code
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_NULL_RC_OUTPUT      `rc` is null
 *   SECTION, CONDITION, LIST codes
 *   SNTR_RC_IV_NOT_FOUND        array: no property has this tag and identifier
 *   SNTR_RC_IV_NOT_IN_TABLE     table: no property has this tag and identifier
 *   SNTR_RC_IV_DAMAGED          table: a link leads to no slot, or the chain does not end
 *   SNTR_RC_BYTES_OUTSIDE_AREA  the identifier of a record on the way is not in that record */
SNTR_API uint32_t sntrGetRCForIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id, uint64_t *rc,
                                         uint64_t latchHeld);

/* Writes the result code of an IV property; its value stays.
 *   node      the node
 *   tag       0 to SNTR_MAX_TAG
 *   idLength  bytes of the identifier, at most the list's maximum
 *   id        the identifier; not null even when `idLength` is 0
 *   rc        the result code, stored as it is
 * Answers 0, or:
 *   KEY codes of the kind; SECTION, CONDITION, LIST codes
 *   SNTR_RC_IV_NOT_FOUND        array: no property has this tag and identifier
 *   SNTR_RC_IV_NOT_IN_TABLE     table: no property has this tag and identifier
 *   SNTR_RC_IV_DAMAGED          table: a link leads to no slot, or the chain does not end
 *   SNTR_RC_BYTES_OUTSIDE_AREA  the identifier of a record on the way is not in that record */
SNTR_API uint32_t sntrSetRCForIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id, uint64_t rc,
                                         uint64_t latchHeld);

/* Gives the address of the register of the node's BaseR property, as sntrGetAddressForRPropertyValue() does. The
 * caller holds the node's section.
 *   node   the node
 *   tag    0 to SNTR_MAX_TAG
 *   value  receives the address
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_NULL_BASE_R_RECORD  `value` is null
 *   CONDITION, AREA codes
 *   SNTR_RC_BASE_R_NOT_FOUND    there is no property, or it has another tag
 *   SNTR_RC_BASE_R_DAMAGED      the area ends before the record does */
SNTR_API uint32_t sntrGetAddressForBaseRPropertyValue(SNodeCB_t *node, uint64_t tag, int32_t **value);

/* Reads the value of the node's BaseR property.
 *   node   the node
 *   tag    0 to SNTR_MAX_TAG
 *   value  receives the value
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_NULL_BASE_R_VALUE_OUTPUT  `value` is null
 *   SECTION, CONDITION, AREA codes
 *   SNTR_RC_BASE_R_NOT_FOUND          there is no property, or it has another tag
 *   SNTR_RC_BASE_R_DAMAGED            the area ends before the record does */
SNTR_API uint32_t sntrGetValueForBaseRProperty(SNodeCB_t *node, uint64_t tag, int32_t *value, uint64_t latchHeld);

/* Writes the value of the node's BaseR property; its result code stays.
 *   node   the node
 *   tag    0 to SNTR_MAX_TAG
 *   value  the value
 * Answers 0, or:
 *   KEY codes of the kind; SECTION, CONDITION, AREA codes
 *   SNTR_RC_BASE_R_NOT_FOUND  there is no property, or it has another tag
 *   SNTR_RC_BASE_R_DAMAGED    the area ends before the record does
 *   SNTR_RC_ATOMIC_FAILED     the register could not be written */
SNTR_API uint32_t sntrSetValueForBaseRProperty(SNodeCB_t *node, uint64_t tag, int32_t value, uint64_t latchHeld);

/* Reads value and result code of the node's BaseR property in one section.
 *   node    the node
 *   record  the property's record
 *   value   receives the value
 *   rc      receives the result code
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE                 `node` is null
 *   SNTR_RC_NULL_BASE_R_RECORD        `record` is null
 *   SNTR_RC_NULL_BASE_R_VALUE_OUTPUT  `value` is null
 *   SNTR_RC_NULL_RC_OUTPUT            `rc` is null
 *   SECTION, CONDITION, AREA codes
 *   SNTR_RC_BASE_R_NOT_FOUND          there is no property
 *   SNTR_RC_BASE_R_DAMAGED            `record` is not the start of a record of the kind in this node */
SNTR_API uint32_t sntrGetValueAndRCForBaseRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t *value,
                                                    uint64_t *rc, uint64_t latchHeld);

/* Writes value and result code of the node's BaseR property in one section.
 *   node    the node
 *   record  the property's record
 *   value   the value
 *   rc      the result code, stored as it is
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE           `node` is null
 *   SNTR_RC_NULL_BASE_R_RECORD  `record` is null
 *   SECTION, CONDITION, AREA codes
 *   SNTR_RC_BASE_R_NOT_FOUND    there is no property
 *   SNTR_RC_BASE_R_DAMAGED      `record` is not the start of a record of the kind in this node
 *   SNTR_RC_ATOMIC_FAILED       the register could not be written */
SNTR_API uint32_t sntrSetValueAndRCForBaseRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t value,
                                                    uint64_t rc, uint64_t latchHeld);

/* Reads the result code of the node's BaseR property.
 *   node  the node
 *   tag   0 to SNTR_MAX_TAG
 *   rc    receives the result code
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_NULL_RC_OUTPUT    `rc` is null
 *   SECTION, CONDITION, AREA codes
 *   SNTR_RC_BASE_R_NOT_FOUND  there is no property, or it has another tag
 *   SNTR_RC_BASE_R_DAMAGED    the area ends before the record does */
SNTR_API uint32_t sntrGetRCForBaseRProperty(SNodeCB_t *node, uint64_t tag, uint64_t *rc, uint64_t latchHeld);

/* Writes the result code of the node's BaseR property; its value stays.
 *   node  the node
 *   tag   0 to SNTR_MAX_TAG
 *   rc    the result code, stored as it is
 * Answers 0, or:
 *   KEY codes of the kind; SECTION, CONDITION, AREA codes
 *   SNTR_RC_BASE_R_NOT_FOUND  there is no property, or it has another tag
 *   SNTR_RC_BASE_R_DAMAGED    the area ends before the record does */
SNTR_API uint32_t sntrSetRCForBaseRProperty(SNodeCB_t *node, uint64_t tag, uint64_t rc, uint64_t latchHeld);

/* Gives the address of the bytes of the node's BaseV property, as sntrGetAddressForRPropertyValue() does. The caller
 * holds the node's section and changes nothing there: the size stands elsewhere.
 *   node   the node
 *   tag    0 to SNTR_MAX_TAG
 *   value  receives the address
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_NULL_BASE_V_RECORD         `value` is null
 *   CONDITION, AREA codes
 *   SNTR_RC_BASE_V_NOT_FOUND           there is no property, or it has another tag
 *   SNTR_RC_BASE_V_DAMAGED             the area ends before the record does
 *   SNTR_RC_BASE_V_VALUE_OUTSIDE_AREA  the stored place of the value is not in its record: it is damaged */
SNTR_API uint32_t sntrGetAddressForBaseVPropertyValue(SNodeCB_t *node, uint64_t tag, void **value);

/* Reads the value of the node's BaseV property: as it was before or after a change, never between.
 *   node     the node
 *   tag      0 to SNTR_MAX_TAG
 *   size     receives the bytes of the value; may be null
 *   address  receives the address of the value, which stays the caller's to read only inside a section; may be null
 *   buffer   receives the value; it must hold as many bytes as the value may have, the maximum where the size is not
 *            known; may be null
 * Answers 0, or:
 *   KEY codes of the kind; SECTION, CONDITION, AREA codes
 *   SNTR_RC_BASE_V_NOT_FOUND           there is no property, or it has another tag
 *   SNTR_RC_BASE_V_DAMAGED             the area ends before the record does
 *   SNTR_RC_BASE_V_VALUE_OUTSIDE_AREA  the stored place of the value is not in its record: it is damaged
 *   SNTR_RC_BAD_VALUE_SIZE             the stored size is 0 or more than there is room for: it is damaged */
SNTR_API uint32_t sntrGetValueForBaseVProperty(SNodeCB_t *node, uint64_t tag, uint64_t *size, void **address,
                                               void *buffer, uint64_t latchHeld);

/* Writes the value of the node's BaseV property; its result code stays.
 *   node       the node
 *   tag        0 to SNTR_MAX_TAG
 *   valueSize  bytes of the value: 1, or 2 to the maximum of the V list
 *   value      the value
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_BAD_VALUE_SIZE             `valueSize` is neither 1 nor 2 to the maximum
 *   SNTR_RC_NULL_BASE_V_VALUE          `value` is null
 *   SECTION, CONDITION, AREA codes
 *   SNTR_RC_BASE_V_NOT_FOUND           there is no property, or it has another tag
 *   SNTR_RC_BASE_V_DAMAGED             the area ends before the record, or before a value of this size would
 *   SNTR_RC_BASE_V_VALUE_OUTSIDE_AREA  the stored place of the value is not in its record: it is damaged */
SNTR_API uint32_t sntrSetValueForBaseVProperty(SNodeCB_t *node, uint64_t tag, uint64_t valueSize, const void *value,
                                               uint64_t latchHeld);

/* Reads value and result code of the node's BaseV property in one section.
 *   node     the node
 *   record   the property's record
 *   size     receives the bytes of the value; may be null
 *   address  receives the address of the value, which stays the caller's to read only inside a section; may be null
 *   buffer   receives the value; it must hold as many bytes as the value may have, the maximum where the size is not
 *            known; may be null
 *   rc       receives the result code
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE                  `node` is null
 *   SNTR_RC_NULL_BASE_V_RECORD         `record` is null
 *   SNTR_RC_NULL_RC_OUTPUT             `rc` is null
 *   SECTION, CONDITION, AREA codes
 *   SNTR_RC_BASE_V_NOT_FOUND           there is no property
 *   SNTR_RC_BASE_V_DAMAGED             `record` is not the start of a record of the kind in this node
 *   SNTR_RC_BASE_V_VALUE_OUTSIDE_AREA  the stored place of the value is not in its record: it is damaged
 *   SNTR_RC_BAD_VALUE_SIZE             the stored size is 0 or more than there is room for: it is damaged */
SNTR_API uint32_t sntrGetValueAndRCForBaseVProperty(SNodeCB_t *node, SNodeProperty_t *record, uint64_t *size,
                                                    void **address, void *buffer, uint64_t *rc, uint64_t latchHeld);

/* Writes value and result code of the node's BaseV property in one section.
 *   node       the node
 *   record     the property's record
 *   valueSize  bytes of the value: 1, or 2 to the maximum of the V list
 *   value      the value
 *   rc         the result code, stored as it is
 * Answers 0, or:
 *   SNTR_RC_NULL_NODE                  `node` is null
 *   SNTR_RC_NULL_BASE_V_RECORD         `record` is null
 *   the codes of the kind's reader of maximum sizes (sntr/property_tables.h)
 *   SNTR_RC_BAD_VALUE_SIZE             `valueSize` is neither 1 nor 2 to the maximum
 *   SNTR_RC_NULL_BASE_V_VALUE          `value` is null
 *   SECTION, CONDITION, AREA codes
 *   SNTR_RC_BASE_V_NOT_FOUND           there is no property
 *   SNTR_RC_BASE_V_DAMAGED             `record` is not the start of a record of the kind in this node; or the value
 *                                      does not fit its area
 *   SNTR_RC_BASE_V_VALUE_OUTSIDE_AREA  the stored place of the value is not in its record: it is damaged */
SNTR_API uint32_t sntrSetValueAndRCForBaseVProperty(SNodeCB_t *node, SNodeProperty_t *record, uint64_t valueSize,
                                                    const void *value, uint64_t rc, uint64_t latchHeld);

/* Reads the result code of the node's BaseV property.
 *   node  the node
 *   tag   0 to SNTR_MAX_TAG
 *   rc    receives the result code
 * Answers 0, or:
 *   KEY codes of the kind
 *   SNTR_RC_NULL_RC_OUTPUT    `rc` is null
 *   SECTION, CONDITION, AREA codes
 *   SNTR_RC_BASE_V_NOT_FOUND  there is no property, or it has another tag
 *   SNTR_RC_BASE_V_DAMAGED    the area ends before the record does */
SNTR_API uint32_t sntrGetRCForBaseVProperty(SNodeCB_t *node, uint64_t tag, uint64_t *rc, uint64_t latchHeld);

/* Writes the result code of the node's BaseV property; its value stays.
 *   node  the node
 *   tag   0 to SNTR_MAX_TAG
 *   rc    the result code, stored as it is
 * Answers 0, or:
 *   KEY codes of the kind; SECTION, CONDITION, AREA codes
 *   SNTR_RC_BASE_V_NOT_FOUND  there is no property, or it has another tag
 *   SNTR_RC_BASE_V_DAMAGED    the area ends before the record does */
SNTR_API uint32_t sntrSetRCForBaseVProperty(SNodeCB_t *node, uint64_t tag, uint64_t rc, uint64_t latchHeld);

#ifdef __cplusplus
}
#endif

#endif
