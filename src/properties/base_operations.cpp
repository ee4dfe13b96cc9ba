// SPDX-License-Identifier: MIT
// The exported operations on base properties, except their values.
// Thread safety: as sntr/properties.h says.
#include "frame/trace.h"
#include "properties/base_create.h"
#include "properties/kind_types.h"
#include "properties/values.h"
#include "sntr/enumeration.h"
#include "sntr/properties.h"
#include "sntr/property_lists.h"

using namespace sntr;

uint32_t sntrCreateBaseRProperty(SNodeCB_t *node, uint64_t tag, int32_t value, uint64_t latchHeld) {
  return traced(Fn::sntrCreateBaseRProperty,
                [&](Trace &t) { return createBase<BaseRKind>(t, node, TagKey{tag}, value, latchHeld); });
}

uint32_t sntrCreateBaseVProperty(SNodeCB_t *node, uint64_t tag, uint64_t valueSize, const void *value,
                                 uint64_t latchHeld) {
  return traced(Fn::sntrCreateBaseVProperty, [&](Trace &t) {
    return createBase<BaseVKind>(t, node, TagKey{tag}, Bytes{value, valueSize}, latchHeld);
  });
}

uint32_t sntrDeleteBaseRProperty(SNodeCB_t *node, uint64_t tag, uint64_t latchHeld) {
  return traced(Fn::sntrDeleteBaseRProperty,
                [&](Trace &t) { return deleteBase<BaseRKind>(t, node, TagKey{tag}, latchHeld); });
}

uint32_t sntrDeleteBaseVProperty(SNodeCB_t *node, uint64_t tag, uint64_t latchHeld) {
  return traced(Fn::sntrDeleteBaseVProperty,
                [&](Trace &t) { return deleteBase<BaseVKind>(t, node, TagKey{tag}, latchHeld); });
}

uint32_t sntrGetAddressForBaseRProperty(SNodeCB_t *node, uint64_t tag, SNodeProperty_t **record) {
  return traced(Fn::sntrGetAddressForBaseRProperty,
                [&](Trace &t) { return addressOfRecord<BaseRKind>(t, node, TagKey{tag}, record); });
}

uint32_t sntrGetAddressForBaseVProperty(SNodeCB_t *node, uint64_t tag, SNodeProperty_t **record) {
  return traced(Fn::sntrGetAddressForBaseVProperty,
                [&](Trace &t) { return addressOfRecord<BaseVKind>(t, node, TagKey{tag}, record); });
}

uint32_t sntrGetBaseRPropertyLocation(SNodeCB_t *node, SNodeProperty_t **record) {
  return traced(Fn::sntrGetBaseRPropertyLocation, [&](Trace &t) { return baseLocation<BaseRKind>(t, node, record); });
}

uint32_t sntrGetBaseVPropertyLocation(SNodeCB_t *node, SNodeProperty_t **record) {
  return traced(Fn::sntrGetBaseVPropertyLocation, [&](Trace &t) { return baseLocation<BaseVKind>(t, node, record); });
}

uint32_t sntrReturnBaseRProperty(SNodeCB_t *node, uint64_t *tag, uint64_t latchHeld) {
  return traced(Fn::sntrReturnBaseRProperty,
                [&](Trace &t) { return returnBase<BaseRKind>(t, node, tag, nullptr, latchHeld); });
}

uint32_t sntrReturnBaseVProperty(SNodeCB_t *node, uint64_t *tag, uint64_t *valueSize, uint64_t latchHeld) {
  return traced(Fn::sntrReturnBaseVProperty,
                [&](Trace &t) { return returnBase<BaseVKind>(t, node, tag, valueSize, latchHeld); });
}
