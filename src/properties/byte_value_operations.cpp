// SPDX-License-Identifier: MIT
// The exported operations on values of bytes.
// Thread safety: as sntr/properties.h says.
#include "frame/trace.h"
#include "properties/byte_values.h"
#include "properties/fast_values.h"
#include "properties/kind_types.h"
#include "sntr/values.h"

using namespace sntr;

uint32_t sntrGetAddressForVPropertyValue(SNodeCB_t *node, uint64_t tag, void **value) {
  return traced(Fn::sntrGetAddressForVPropertyValue,
                [&](Trace &t) { return addressOfBytes<VKind>(t, node, TagKey{tag}, value); });
}

[[gnu::flatten]] uint32_t sntrGetValueForVProperty(SNodeCB_t *node, uint64_t tag, uint64_t *size, void **address,
                                                   void *buffer, uint64_t latchHeld) {
  return fast::run<fast::GetBytes, VKind, Fn::sntrGetValueForVProperty>(node, tag, size, address, buffer, latchHeld);
}

[[gnu::flatten]] uint32_t sntrSetValueForVProperty(SNodeCB_t *node, uint64_t tag, uint64_t valueSize, const void *value,
                                                   uint64_t latchHeld) {
  return fast::run<fast::SetBytes, VKind, Fn::sntrSetValueForVProperty>(node, tag, valueSize, value, latchHeld);
}

[[gnu::flatten]] uint32_t sntrGetValueAndRCForVProperty(SNodeCB_t *node, SNodeProperty_t *record, uint64_t *size,
                                                        void **address, void *buffer, uint64_t *rc,
                                                        uint64_t latchHeld) {
  return traced(Fn::sntrGetValueAndRCForVProperty, [&](Trace &t) {
    return getBytesAndRC<VKind>(t, node, record, {size, address, buffer}, rc, latchHeld);
  });
}

[[gnu::flatten]] uint32_t sntrSetValueAndRCForVProperty(SNodeCB_t *node, SNodeProperty_t *record, uint64_t valueSize,
                                                        const void *value, uint64_t rc, uint64_t latchHeld) {
  return traced(Fn::sntrSetValueAndRCForVProperty, [&](Trace &t) {
    return setBytesAndRC<VKind>(t, node, record, Bytes{value, valueSize}, rc, latchHeld);
  });
}

uint32_t sntrGetAddressForIVPropertyValue(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                          void **value) {
  return traced(Fn::sntrGetAddressForIVPropertyValue,
                [&](Trace &t) { return addressOfBytes<IVKind>(t, node, TagIDKey(tag, idLength, id), value); });
}

[[gnu::flatten]] uint32_t sntrGetValueForIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                                    uint64_t *size, void **address, void *buffer, uint64_t latchHeld) {
  return fast::run<fast::GetBytes, IVKind, Fn::sntrGetValueForIVProperty>(node, tag, idLength, id, size, address,
                                                                          buffer, latchHeld);
}

[[gnu::flatten]] uint32_t sntrSetValueForIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                                    uint64_t valueSize, const void *value, uint64_t latchHeld) {
  return fast::run<fast::SetBytes, IVKind, Fn::sntrSetValueForIVProperty>(node, tag, idLength, id, valueSize, value,
                                                                          latchHeld);
}

[[gnu::flatten]] uint32_t sntrGetValueAndRCForIVProperty(SNodeCB_t *node, SNodeProperty_t *record, uint64_t *size,
                                                         void **address, void *buffer, uint64_t *rc,
                                                         uint64_t latchHeld) {
  return traced(Fn::sntrGetValueAndRCForIVProperty, [&](Trace &t) {
    return getBytesAndRC<IVKind>(t, node, record, {size, address, buffer}, rc, latchHeld);
  });
}

[[gnu::flatten]] uint32_t sntrSetValueAndRCForIVProperty(SNodeCB_t *node, SNodeProperty_t *record, uint64_t valueSize,
                                                         const void *value, uint64_t rc, uint64_t latchHeld) {
  return traced(Fn::sntrSetValueAndRCForIVProperty, [&](Trace &t) {
    return setBytesAndRC<IVKind>(t, node, record, Bytes{value, valueSize}, rc, latchHeld);
  });
}

uint32_t sntrGetAddressForBaseVPropertyValue(SNodeCB_t *node, uint64_t tag, void **value) {
  return traced(Fn::sntrGetAddressForBaseVPropertyValue,
                [&](Trace &t) { return addressOfBytes<BaseVKind>(t, node, TagKey{tag}, value); });
}

[[gnu::flatten]] uint32_t sntrGetValueForBaseVProperty(SNodeCB_t *node, uint64_t tag, uint64_t *size, void **address,
                                                       void *buffer, uint64_t latchHeld) {
  return fast::run<fast::GetBytes, BaseVKind, Fn::sntrGetValueForBaseVProperty>(node, tag, size, address, buffer,
                                                                                latchHeld);
}

[[gnu::flatten]] uint32_t sntrSetValueForBaseVProperty(SNodeCB_t *node, uint64_t tag, uint64_t valueSize,
                                                       const void *value, uint64_t latchHeld) {
  return fast::run<fast::SetBytes, BaseVKind, Fn::sntrSetValueForBaseVProperty>(node, tag, valueSize, value, latchHeld);
}

[[gnu::flatten]] uint32_t sntrGetValueAndRCForBaseVProperty(SNodeCB_t *node, SNodeProperty_t *record, uint64_t *size,
                                                            void **address, void *buffer, uint64_t *rc,
                                                            uint64_t latchHeld) {
  return traced(Fn::sntrGetValueAndRCForBaseVProperty, [&](Trace &t) {
    return getBytesAndRC<BaseVKind>(t, node, record, {size, address, buffer}, rc, latchHeld);
  });
}

[[gnu::flatten]] uint32_t sntrSetValueAndRCForBaseVProperty(SNodeCB_t *node, SNodeProperty_t *record,
                                                            uint64_t valueSize, const void *value, uint64_t rc,
                                                            uint64_t latchHeld) {
  return traced(Fn::sntrSetValueAndRCForBaseVProperty, [&](Trace &t) {
    return setBytesAndRC<BaseVKind>(t, node, record, Bytes{value, valueSize}, rc, latchHeld);
  });
}
