// SPDX-License-Identifier: MIT
// The exported operations on registers, and on result codes of all kinds.
// Thread safety: as sntr/properties.h says.
#include "frame/trace.h"
#include "properties/fast_values.h"
#include "properties/kind_types.h"
#include "properties/values.h"
#include "sntr/values.h"

using namespace sntr;

uint32_t sntrGetAddressForRPropertyValue(SNodeCB_t *node, uint64_t tag, int32_t **value) {
  return traced(Fn::sntrGetAddressForRPropertyValue,
                [&](Trace &t) { return addressOfRegister<RKind>(t, node, TagKey{tag}, value); });
}

[[gnu::flatten]] uint32_t sntrGetValueForRProperty(SNodeCB_t *node, uint64_t tag, int32_t *value, uint64_t latchHeld) {
  return fast::run<fast::GetRegister, RKind, Fn::sntrGetValueForRProperty>(node, tag, value, latchHeld);
}

[[gnu::flatten]] uint32_t sntrSetValueForRProperty(SNodeCB_t *node, uint64_t tag, int32_t value, uint64_t latchHeld) {
  return fast::run<fast::SetRegister, RKind, Fn::sntrSetValueForRProperty>(node, tag, value, latchHeld);
}

[[gnu::flatten]] uint32_t sntrGetValueAndRCForRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t *value,
                                                        uint64_t *rc, uint64_t latchHeld) {
  return traced(Fn::sntrGetValueAndRCForRProperty,
                [&](Trace &t) { return getRegisterAndRC<RKind>(t, node, record, value, rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrSetValueAndRCForRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t value,
                                                        uint64_t rc, uint64_t latchHeld) {
  return traced(Fn::sntrSetValueAndRCForRProperty,
                [&](Trace &t) { return setRegisterAndRC<RKind>(t, node, record, value, rc, latchHeld); });
}

uint32_t sntrGetAddressForIRPropertyValue(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                          int32_t **value) {
  return traced(Fn::sntrGetAddressForIRPropertyValue,
                [&](Trace &t) { return addressOfRegister<IRKind>(t, node, TagIDKey(tag, idLength, id), value); });
}

[[gnu::flatten]] uint32_t sntrGetValueForIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                                    int32_t *value, uint64_t latchHeld) {
  return fast::run<fast::GetRegister, IRKind, Fn::sntrGetValueForIRProperty>(node, tag, idLength, id, value, latchHeld);
}

[[gnu::flatten]] uint32_t sntrSetValueForIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                                    int32_t value, uint64_t latchHeld) {
  return fast::run<fast::SetRegister, IRKind, Fn::sntrSetValueForIRProperty>(node, tag, idLength, id, value, latchHeld);
}

[[gnu::flatten]] uint32_t sntrGetValueAndRCForIRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t *value,
                                                         uint64_t *rc, uint64_t latchHeld) {
  return traced(Fn::sntrGetValueAndRCForIRProperty,
                [&](Trace &t) { return getRegisterAndRC<IRKind>(t, node, record, value, rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrSetValueAndRCForIRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t value,
                                                         uint64_t rc, uint64_t latchHeld) {
  return traced(Fn::sntrSetValueAndRCForIRProperty,
                [&](Trace &t) { return setRegisterAndRC<IRKind>(t, node, record, value, rc, latchHeld); });
}

uint32_t sntrGetAddressForBaseRPropertyValue(SNodeCB_t *node, uint64_t tag, int32_t **value) {
  return traced(Fn::sntrGetAddressForBaseRPropertyValue,
                [&](Trace &t) { return addressOfRegister<BaseRKind>(t, node, TagKey{tag}, value); });
}

[[gnu::flatten]] uint32_t sntrGetValueForBaseRProperty(SNodeCB_t *node, uint64_t tag, int32_t *value,
                                                       uint64_t latchHeld) {
  return fast::run<fast::GetRegister, BaseRKind, Fn::sntrGetValueForBaseRProperty>(node, tag, value, latchHeld);
}

[[gnu::flatten]] uint32_t sntrSetValueForBaseRProperty(SNodeCB_t *node, uint64_t tag, int32_t value,
                                                       uint64_t latchHeld) {
  return fast::run<fast::SetRegister, BaseRKind, Fn::sntrSetValueForBaseRProperty>(node, tag, value, latchHeld);
}

[[gnu::flatten]] uint32_t sntrGetValueAndRCForBaseRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t *value,
                                                            uint64_t *rc, uint64_t latchHeld) {
  return traced(Fn::sntrGetValueAndRCForBaseRProperty,
                [&](Trace &t) { return getRegisterAndRC<BaseRKind>(t, node, record, value, rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrSetValueAndRCForBaseRProperty(SNodeCB_t *node, SNodeProperty_t *record, int32_t value,
                                                            uint64_t rc, uint64_t latchHeld) {
  return traced(Fn::sntrSetValueAndRCForBaseRProperty,
                [&](Trace &t) { return setRegisterAndRC<BaseRKind>(t, node, record, value, rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrGetRCForRProperty(SNodeCB_t *node, uint64_t tag, uint64_t *rc, uint64_t latchHeld) {
  return traced(Fn::sntrGetRCForRProperty, [&](Trace &t) { return getRC<RKind>(t, node, TagKey{tag}, rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrGetRCForVProperty(SNodeCB_t *node, uint64_t tag, uint64_t *rc, uint64_t latchHeld) {
  return traced(Fn::sntrGetRCForVProperty, [&](Trace &t) { return getRC<VKind>(t, node, TagKey{tag}, rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrGetRCForIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                                 uint64_t *rc, uint64_t latchHeld) {
  return traced(Fn::sntrGetRCForIRProperty,
                [&](Trace &t) { return getRC<IRKind>(t, node, TagIDKey(tag, idLength, id), rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrGetRCForIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                                 uint64_t *rc, uint64_t latchHeld) {
  return traced(Fn::sntrGetRCForIVProperty,
                [&](Trace &t) { return getRC<IVKind>(t, node, TagIDKey(tag, idLength, id), rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrGetRCForBaseRProperty(SNodeCB_t *node, uint64_t tag, uint64_t *rc, uint64_t latchHeld) {
  return traced(Fn::sntrGetRCForBaseRProperty,
                [&](Trace &t) { return getRC<BaseRKind>(t, node, TagKey{tag}, rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrGetRCForBaseVProperty(SNodeCB_t *node, uint64_t tag, uint64_t *rc, uint64_t latchHeld) {
  return traced(Fn::sntrGetRCForBaseVProperty,
                [&](Trace &t) { return getRC<BaseVKind>(t, node, TagKey{tag}, rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrSetRCForRProperty(SNodeCB_t *node, uint64_t tag, uint64_t rc, uint64_t latchHeld) {
  return traced(Fn::sntrSetRCForRProperty, [&](Trace &t) { return setRC<RKind>(t, node, TagKey{tag}, rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrSetRCForVProperty(SNodeCB_t *node, uint64_t tag, uint64_t rc, uint64_t latchHeld) {
  return traced(Fn::sntrSetRCForVProperty, [&](Trace &t) { return setRC<VKind>(t, node, TagKey{tag}, rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrSetRCForIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                                 uint64_t rc, uint64_t latchHeld) {
  return traced(Fn::sntrSetRCForIRProperty,
                [&](Trace &t) { return setRC<IRKind>(t, node, TagIDKey(tag, idLength, id), rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrSetRCForIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                                 uint64_t rc, uint64_t latchHeld) {
  return traced(Fn::sntrSetRCForIVProperty,
                [&](Trace &t) { return setRC<IVKind>(t, node, TagIDKey(tag, idLength, id), rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrSetRCForBaseRProperty(SNodeCB_t *node, uint64_t tag, uint64_t rc, uint64_t latchHeld) {
  return traced(Fn::sntrSetRCForBaseRProperty,
                [&](Trace &t) { return setRC<BaseRKind>(t, node, TagKey{tag}, rc, latchHeld); });
}

[[gnu::flatten]] uint32_t sntrSetRCForBaseVProperty(SNodeCB_t *node, uint64_t tag, uint64_t rc, uint64_t latchHeld) {
  return traced(Fn::sntrSetRCForBaseVProperty,
                [&](Trace &t) { return setRC<BaseVKind>(t, node, TagKey{tag}, rc, latchHeld); });
}
