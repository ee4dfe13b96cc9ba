// The exported operations on the values and result codes of properties.
#include "frame/trace.h"
#include "properties/kinds.h"
#include "properties/values.h"
#include "sntr/values.h"

using namespace sntr;

uint32_t sntrGetAddressForRPropertyValue(SNodeCB_t *node, uint64_t tag, int32_t **value) {
  return traced(Fn::sntrGetAddressForRPropertyValue,
                [&](Trace &t) { return addressOfRegister<RKind>(t, node, TagKey{tag}, value); });
}

uint32_t sntrGetValueForRProperty(SNodeCB_t *node, uint64_t tag, int32_t *value, uint64_t latchHeld) {
  return traced(Fn::sntrGetValueForRProperty,
                [&](Trace &t) { return getRegister<RKind>(t, node, TagKey{tag}, value, latchHeld); });
}

uint32_t sntrSetValueForRProperty(SNodeCB_t *node, uint64_t tag, int32_t value, uint64_t latchHeld) {
  return traced(Fn::sntrSetValueForRProperty,
                [&](Trace &t) { return setRegister<RKind>(t, node, TagKey{tag}, value, latchHeld); });
}

uint32_t sntrGetValueAndRCForRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t *value, uint64_t *rc,
                                       uint64_t latchHeld) {
  return traced(Fn::sntrGetValueAndRCForRProperty,
                [&](Trace &t) { return getRegisterAndRC<RKind>(t, node, record, value, rc, latchHeld); });
}

uint32_t sntrSetValueAndRCForRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t value, uint64_t rc,
                                       uint64_t latchHeld) {
  return traced(Fn::sntrSetValueAndRCForRProperty,
                [&](Trace &t) { return setRegisterAndRC<RKind>(t, node, record, value, rc, latchHeld); });
}

uint32_t sntrGetRCForRProperty(SNodeCB_t *node, uint64_t tag, uint64_t *rc, uint64_t latchHeld) {
  return traced(Fn::sntrGetRCForRProperty, [&](Trace &t) { return getRC<RKind>(t, node, TagKey{tag}, rc, latchHeld); });
}

uint32_t sntrSetRCForRProperty(SNodeCB_t *node, uint64_t tag, uint64_t rc, uint64_t latchHeld) {
  return traced(Fn::sntrSetRCForRProperty, [&](Trace &t) { return setRC<RKind>(t, node, TagKey{tag}, rc, latchHeld); });
}
