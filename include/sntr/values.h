/* SPDX-License-Identifier: MIT */
/** @file
 * Values and result codes of properties.
 *
 * A property is named by its key, or by its record: the address that sntrGetAddressForRProperty() and its like return.
 * Setting a value or a result code changes nothing else: no counter and no time.
 *
 * What differs by kind; NULL_VALUE is about the output of a register, and about the argument that gives bytes:
 *
 * @verbatim
 * kind   key              value     NULL_VALUE                        OUTSIDE
 * R      tag              register  SNTR_RC_NULL_R_VALUE_OUTPUT       -
 * V      tag              bytes     SNTR_RC_NULL_V_VALUE              SNTR_RC_V_VALUE_OUTSIDE_AREA
 * IR     tag, identifier  register  SNTR_RC_NULL_IR_VALUE_OUTPUT      -
 * IV     tag, identifier  bytes     SNTR_RC_NULL_IV_VALUE             SNTR_RC_IV_VALUE_OUTSIDE_AREA
 * BaseR  tag              register  SNTR_RC_NULL_BASE_R_VALUE_OUTPUT  -
 * BaseV  tag              bytes     SNTR_RC_NULL_BASE_V_VALUE         SNTR_RC_BASE_V_VALUE_OUTSIDE_AREA
 *
 * kind   NULL_RECORD                 NOT_FOUND                 NOT_IN_TABLE             DAMAGED
 * R      SNTR_RC_NULL_R_RECORD       SNTR_RC_R_NOT_FOUND       SNTR_RC_R_NOT_IN_TABLE   SNTR_RC_R_DAMAGED
 * V      SNTR_RC_NULL_V_RECORD       SNTR_RC_V_NOT_FOUND       SNTR_RC_V_NOT_IN_TABLE   SNTR_RC_V_DAMAGED
 * IR     SNTR_RC_NULL_IR_RECORD      SNTR_RC_IR_NOT_FOUND      SNTR_RC_IR_NOT_IN_TABLE  SNTR_RC_IR_DAMAGED
 * IV     SNTR_RC_NULL_IV_RECORD      SNTR_RC_IV_NOT_FOUND      SNTR_RC_IV_NOT_IN_TABLE  SNTR_RC_IV_DAMAGED
 * BaseR  SNTR_RC_NULL_BASE_R_RECORD  SNTR_RC_BASE_R_NOT_FOUND  -                        SNTR_RC_BASE_R_DAMAGED
 * BaseV  SNTR_RC_NULL_BASE_V_RECORD  SNTR_RC_BASE_V_NOT_FOUND  -                        SNTR_RC_BASE_V_DAMAGED
 * @endverbatim
 *
 * A word in capitals without SNTR_RC_ is a column of this table: it stands for the code of the kind. "Registers" are
 * the kinds R, IR, BaseR; "bytes" are V, IV, BaseV.
 *
 * Thread safety: the rules on threads, sections and `latchHeld` are those of sntr/properties.h. A get takes no latch
 * and stores nothing into the node. What it returns is of one moment: a value of bytes is whole, and a value and its
 * result code belong together if they were set together.
 *
 * After a failure nothing was changed, no output was stored and nothing is held, unless the code's line says otherwise.
 * One exception: a failing get leaves a buffer undefined if the value has more than 4096 bytes.
 *
 * Parameters of several operations:
 * - `node`: the node; if null, SNTR_RC_NULL_NODE
 * - `tag`: 0 to SNTR_MAX_TAG
 * - `idLength`, `id` (IR, IV): the identifier, its length in bytes at most the list's maximum; `id` is not null even if
 *   the length is 0
 * - `record`: the property's record; not null
 * - `rc`: the result code that callers keep with the value: received by a get, stored as it is by a set
 * - `latchHeld`: 0, or not 0 if the caller holds the section; for a set, the write section
 *
 * The KEY, SECTION, CONDITION, PLACE and FIND codes are those of sntr/properties.h. Further groups of codes here:
 *
 * VALUE codes, about looking for a value: the FIND codes, with NOT_FOUND for both layouts, and
 * - OUTSIDE (bytes): the stored place of the value is not in its record: it is damaged
 *
 * RECORD codes, about `record`:
 * - NOT_FOUND (BaseR, BaseV): there is no property
 * - DAMAGED: `record` is not the start of a record of the kind in this node; BaseR, BaseV: also as among the FIND codes
 * - OUTSIDE (bytes): as among the VALUE codes
 */
#ifndef SNTR_VALUES_H
#define SNTR_VALUES_H

#include <sntr/export.h>
#include <sntr/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** @name Address of a value */
/** @{ */
/** Returns the address of a property's register or bytes. The caller holds the node's section.
 *
 * It may be any address, and is valid until the property is deleted. The number of a register may be changed at any
 * moment, so read and change it atomically. Change no bytes there: their size is stored elsewhere.
 * - `node`, `tag`, `idLength`, `id`: as above
 * - `value`: receives the address
 *
 * Returns 0, or:
 * - KEY codes
 * - NULL_RECORD: `value` is null
 * - CONDITION, PLACE, VALUE codes */
SNTR_API uint32_t sntrGetAddressForRPropertyValue(SNodeCB_t *node, uint64_t tag, int32_t **value);
SNTR_API uint32_t sntrGetAddressForVPropertyValue(SNodeCB_t *node, uint64_t tag, void **value);
SNTR_API uint32_t sntrGetAddressForIRPropertyValue(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                                   int32_t **value);
SNTR_API uint32_t sntrGetAddressForIVPropertyValue(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                                   void **value);
SNTR_API uint32_t sntrGetAddressForBaseRPropertyValue(SNodeCB_t *node, uint64_t tag, int32_t **value);
SNTR_API uint32_t sntrGetAddressForBaseVPropertyValue(SNodeCB_t *node, uint64_t tag, void **value);
/** @} */

/** @name Getting a value */
/** @{ */
/** Reads the value of a property. Bytes are as they were before or after a change, never between.
 * - `node`, `tag`, `idLength`, `id`, `latchHeld`: as above
 * - `value` (registers): receives the value; not null
 * - `size` (bytes): receives the number of bytes of the value; may be null
 * - `address` (bytes): receives the address of the value; may be null. The caller may read there only inside a section
 * - `buffer` (bytes): receives the value; may be null. It must hold as many bytes as the value may have: the maximum if
 *   the size is not known
 *
 * Returns 0, or:
 * - KEY codes
 * - NULL_VALUE (registers): `value` is null
 * - SECTION, CONDITION, PLACE, VALUE codes
 * - SNTR_RC_BAD_VALUE_SIZE (bytes): the stored size is 0 or more than there is room for: it is damaged */
SNTR_API uint32_t sntrGetValueForRProperty(SNodeCB_t *node, uint64_t tag, int32_t *value, uint64_t latchHeld);
SNTR_API uint32_t sntrGetValueForVProperty(SNodeCB_t *node, uint64_t tag, uint64_t *size, void **address, void *buffer,
                                           uint64_t latchHeld);
SNTR_API uint32_t sntrGetValueForIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                            int32_t *value, uint64_t latchHeld);
SNTR_API uint32_t sntrGetValueForIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                            uint64_t *size, void **address, void *buffer, uint64_t latchHeld);
SNTR_API uint32_t sntrGetValueForBaseRProperty(SNodeCB_t *node, uint64_t tag, int32_t *value, uint64_t latchHeld);
SNTR_API uint32_t sntrGetValueForBaseVProperty(SNodeCB_t *node, uint64_t tag, uint64_t *size, void **address,
                                               void *buffer, uint64_t latchHeld);
/** @} */

/** @name Setting a value */
/** @{ */
/** Writes the value of a property; its result code stays.
 * - `node`, `tag`, `idLength`, `id`, `latchHeld`: as above
 * - `value`: the value of a register; or the address of the bytes, not null
 * - `valueSize` (bytes): bytes of the value: 1, or 2 to the maximum of the list, for BaseV of the V list
 *
 * Returns 0, or:
 * - KEY codes
 * - SNTR_RC_BAD_VALUE_SIZE (bytes): `valueSize` is neither 1 nor 2 to the maximum
 * - NULL_VALUE (bytes): `value` is null
 * - SECTION, CONDITION, PLACE, VALUE codes
 * - DAMAGED (BaseV): also if the area ends before a value of this size would
 * - SNTR_RC_ATOMIC_FAILED (registers): the register could not be written */
SNTR_API uint32_t sntrSetValueForRProperty(SNodeCB_t *node, uint64_t tag, int32_t value, uint64_t latchHeld);
SNTR_API uint32_t sntrSetValueForVProperty(SNodeCB_t *node, uint64_t tag, uint64_t valueSize, const void *value,
                                           uint64_t latchHeld);
SNTR_API uint32_t sntrSetValueForIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                            int32_t value, uint64_t latchHeld);
SNTR_API uint32_t sntrSetValueForIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                            uint64_t valueSize, const void *value, uint64_t latchHeld);
SNTR_API uint32_t sntrSetValueForBaseRProperty(SNodeCB_t *node, uint64_t tag, int32_t value, uint64_t latchHeld);
SNTR_API uint32_t sntrSetValueForBaseVProperty(SNodeCB_t *node, uint64_t tag, uint64_t valueSize, const void *value,
                                               uint64_t latchHeld);
/** @} */

/** @name Getting value and result code */
/** @{ */
/** Reads the value and the result code of a property in one section.
 * - `node`, `record`, `rc`, `latchHeld`: as above; `rc` is not null
 * - `value`, `size`, `address`, `buffer`: as for getting a value
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - NULL_RECORD: `record` is null
 * - NULL_VALUE (registers): `value` is null
 * - SNTR_RC_NULL_RC_OUTPUT: `rc` is null
 * - SECTION, CONDITION, PLACE, RECORD codes
 * - SNTR_RC_BAD_VALUE_SIZE (bytes): the stored size is 0 or more than there is room for: it is damaged */
SNTR_API uint32_t sntrGetValueAndRCForRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t *value, uint64_t *rc,
                                                uint64_t latchHeld);
SNTR_API uint32_t sntrGetValueAndRCForVProperty(SNodeCB_t *node, SNodeProperty_t *record, uint64_t *size,
                                                void **address, void *buffer, uint64_t *rc, uint64_t latchHeld);
SNTR_API uint32_t sntrGetValueAndRCForIRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t *value, uint64_t *rc,
                                                 uint64_t latchHeld);
SNTR_API uint32_t sntrGetValueAndRCForIVProperty(SNodeCB_t *node, SNodeProperty_t *record, uint64_t *size,
                                                 void **address, void *buffer, uint64_t *rc, uint64_t latchHeld);
SNTR_API uint32_t sntrGetValueAndRCForBaseRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t *value,
                                                    uint64_t *rc, uint64_t latchHeld);
SNTR_API uint32_t sntrGetValueAndRCForBaseVProperty(SNodeCB_t *node, SNodeProperty_t *record, uint64_t *size,
                                                    void **address, void *buffer, uint64_t *rc, uint64_t latchHeld);
/** @} */

/** @name Setting value and result code */
/** @{ */
/** Writes the value and the result code of a property in one section.
 * - `node`, `record`, `rc`, `latchHeld`: as above
 * - `value`, `valueSize`: as for setting a value
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - NULL_RECORD: `record` is null
 * - bytes: the codes of the kind's reader of maximum sizes (sntr/property_tables.h), for BaseV of V's reader
 * - SNTR_RC_BAD_VALUE_SIZE (bytes): `valueSize` is neither 1 nor 2 to the maximum
 * - NULL_VALUE (bytes): `value` is null
 * - SECTION, CONDITION, PLACE, RECORD codes
 * - DAMAGED (BaseV): also if the value does not fit its area
 * - SNTR_RC_ATOMIC_FAILED (registers): the register could not be written */
SNTR_API uint32_t sntrSetValueAndRCForRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t value, uint64_t rc,
                                                uint64_t latchHeld);
SNTR_API uint32_t sntrSetValueAndRCForVProperty(SNodeCB_t *node, SNodeProperty_t *record, uint64_t valueSize,
                                                const void *value, uint64_t rc, uint64_t latchHeld);
SNTR_API uint32_t sntrSetValueAndRCForIRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t value, uint64_t rc,
                                                 uint64_t latchHeld);
SNTR_API uint32_t sntrSetValueAndRCForIVProperty(SNodeCB_t *node, SNodeProperty_t *record, uint64_t valueSize,
                                                 const void *value, uint64_t rc, uint64_t latchHeld);
SNTR_API uint32_t sntrSetValueAndRCForBaseRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t value,
                                                    uint64_t rc, uint64_t latchHeld);
SNTR_API uint32_t sntrSetValueAndRCForBaseVProperty(SNodeCB_t *node, SNodeProperty_t *record, uint64_t valueSize,
                                                    const void *value, uint64_t rc, uint64_t latchHeld);
/** @} */

/** @name Getting a result code */
/** @{ */
/** Reads the result code of a property.
 * - `node`, `tag`, `idLength`, `id`, `rc`, `latchHeld`: as above; `rc` is not null
 *
 * Returns 0, or:
 * - KEY codes
 * - SNTR_RC_NULL_RC_OUTPUT: `rc` is null
 * - SECTION, CONDITION, PLACE, FIND codes: NOT_FOUND from an array, NOT_IN_TABLE from a table */
SNTR_API uint32_t sntrGetRCForRProperty(SNodeCB_t *node, uint64_t tag, uint64_t *rc, uint64_t latchHeld);
SNTR_API uint32_t sntrGetRCForVProperty(SNodeCB_t *node, uint64_t tag, uint64_t *rc, uint64_t latchHeld);
SNTR_API uint32_t sntrGetRCForIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id, uint64_t *rc,
                                         uint64_t latchHeld);
SNTR_API uint32_t sntrGetRCForIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id, uint64_t *rc,
                                         uint64_t latchHeld);
SNTR_API uint32_t sntrGetRCForBaseRProperty(SNodeCB_t *node, uint64_t tag, uint64_t *rc, uint64_t latchHeld);
SNTR_API uint32_t sntrGetRCForBaseVProperty(SNodeCB_t *node, uint64_t tag, uint64_t *rc, uint64_t latchHeld);
/** @} */

/** @name Setting a result code */
/** @{ */
/** Writes the result code of a property; its value stays.
 * - `node`, `tag`, `idLength`, `id`, `rc`, `latchHeld`: as above
 *
 * Returns 0, or:
 * - KEY, SECTION, CONDITION, PLACE codes
 * - FIND codes: NOT_FOUND from an array, NOT_IN_TABLE from a table */
SNTR_API uint32_t sntrSetRCForRProperty(SNodeCB_t *node, uint64_t tag, uint64_t rc, uint64_t latchHeld);
SNTR_API uint32_t sntrSetRCForVProperty(SNodeCB_t *node, uint64_t tag, uint64_t rc, uint64_t latchHeld);
SNTR_API uint32_t sntrSetRCForIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id, uint64_t rc,
                                         uint64_t latchHeld);
SNTR_API uint32_t sntrSetRCForIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id, uint64_t rc,
                                         uint64_t latchHeld);
SNTR_API uint32_t sntrSetRCForBaseRProperty(SNodeCB_t *node, uint64_t tag, uint64_t rc, uint64_t latchHeld);
SNTR_API uint32_t sntrSetRCForBaseVProperty(SNodeCB_t *node, uint64_t tag, uint64_t rc, uint64_t latchHeld);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
