// SPDX-License-Identifier: MIT
// The exported operations that create property lists, and add, delete and find properties.
// Thread safety: as sntr/properties.h says.
#include "frame/trace.h"
#include "properties/kind_types.h"
#include "properties/list_create.h"
#include "properties/property_changes.h"
#include "properties/values.h"
#include "sntr/properties.h"
#include "sntr/property_lists.h"

using namespace sntr;

uint32_t sntrCreateRPropertyList(SNodeCB_t *node, const uint64_t *tags, const int32_t *values, uint64_t count,
                                 uint64_t capacity, uint32_t layout, uint64_t latchHeld) {
  return traced(Fn::sntrCreateRPropertyList, [&](Trace &t) {
    const InitialArrays arrays{tags, nullptr, nullptr, values, nullptr, nullptr, count};
    return createList<RKind>(t, node, InitialProperties<RKind>{arrays, {}}, capacity, layout, latchHeld);
  });
}

uint32_t sntrCreateVPropertyList(SNodeCB_t *node, const uint64_t *tags, const uint64_t *valueSizes,
                                 const void *const *values, uint64_t count, uint64_t capacity, uint64_t maxValueSize,
                                 uint32_t layout, uint64_t latchHeld) {
  return traced(Fn::sntrCreateVPropertyList, [&](Trace &t) {
    const InitialArrays arrays{tags, nullptr, nullptr, nullptr, valueSizes, values, count};
    const InitialProperties<VKind> initial{arrays, {0, maxValueSize}};
    return createList<VKind>(t, node, initial, capacity, layout, latchHeld);
  });
}

uint32_t sntrCreateIRPropertyList(SNodeCB_t *node, const uint64_t *tags, const uint64_t *idLengths,
                                  const void *const *ids, const int32_t *values, uint64_t count, uint64_t capacity,
                                  uint64_t maxIDSize, uint32_t layout, uint64_t latchHeld) {
  return traced(Fn::sntrCreateIRPropertyList, [&](Trace &t) {
    const InitialArrays arrays{tags, idLengths, ids, values, nullptr, nullptr, count};
    const InitialProperties<IRKind> initial{arrays, {maxIDSize, 0}};
    return createList<IRKind>(t, node, initial, capacity, layout, latchHeld);
  });
}

uint32_t sntrCreateIVPropertyList(SNodeCB_t *node, const uint64_t *tags, const uint64_t *idLengths,
                                  const void *const *ids, const uint64_t *valueSizes, const void *const *values,
                                  uint64_t count, uint64_t capacity, uint64_t maxIDSize, uint64_t maxValueSize,
                                  uint32_t layout, uint64_t latchHeld) {
  return traced(Fn::sntrCreateIVPropertyList, [&](Trace &t) {
    const InitialArrays arrays{tags, idLengths, ids, nullptr, valueSizes, values, count};
    const InitialProperties<IVKind> initial{arrays, {maxIDSize, maxValueSize}};
    return createList<IVKind>(t, node, initial, capacity, layout, latchHeld);
  });
}

uint32_t sntrAddRProperty(SNodeCB_t *node, uint64_t tag, int32_t value, uint64_t latchHeld) {
  return traced(Fn::sntrAddRProperty,
                [&](Trace &t) { return addProperty<RKind>(t, node, TagKey{tag}, value, latchHeld); });
}

uint32_t sntrAddVProperty(SNodeCB_t *node, uint64_t tag, uint64_t valueSize, const void *value, uint64_t latchHeld) {
  return traced(Fn::sntrAddVProperty, [&](Trace &t) {
    return addProperty<VKind>(t, node, TagKey{tag}, Bytes{value, valueSize}, latchHeld);
  });
}

uint32_t sntrAddIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id, int32_t value,
                           uint64_t latchHeld) {
  return traced(Fn::sntrAddIRProperty,
                [&](Trace &t) { return addProperty<IRKind>(t, node, TagIDKey(tag, idLength, id), value, latchHeld); });
}

uint32_t sntrAddIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id, uint64_t valueSize,
                           const void *value, uint64_t latchHeld) {
  return traced(Fn::sntrAddIVProperty, [&](Trace &t) {
    return addProperty<IVKind>(t, node, TagIDKey(tag, idLength, id), Bytes{value, valueSize}, latchHeld);
  });
}

uint32_t sntrDeleteRProperty(SNodeCB_t *node, uint64_t tag, uint64_t latchHeld) {
  return traced(Fn::sntrDeleteRProperty,
                [&](Trace &t) { return deleteProperty<RKind>(t, node, TagKey{tag}, latchHeld); });
}

uint32_t sntrDeleteVProperty(SNodeCB_t *node, uint64_t tag, uint64_t latchHeld) {
  return traced(Fn::sntrDeleteVProperty,
                [&](Trace &t) { return deleteProperty<VKind>(t, node, TagKey{tag}, latchHeld); });
}

uint32_t sntrDeleteIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id, uint64_t latchHeld) {
  return traced(Fn::sntrDeleteIRProperty,
                [&](Trace &t) { return deleteProperty<IRKind>(t, node, TagIDKey(tag, idLength, id), latchHeld); });
}

uint32_t sntrDeleteIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id, uint64_t latchHeld) {
  return traced(Fn::sntrDeleteIVProperty,
                [&](Trace &t) { return deleteProperty<IVKind>(t, node, TagIDKey(tag, idLength, id), latchHeld); });
}

uint32_t sntrGetAddressForRProperty(SNodeCB_t *node, uint64_t tag, SNodeProperty_t **record) {
  return traced(Fn::sntrGetAddressForRProperty,
                [&](Trace &t) { return addressOfRecord<RKind>(t, node, TagKey{tag}, record); });
}

uint32_t sntrGetAddressForVProperty(SNodeCB_t *node, uint64_t tag, SNodeProperty_t **record) {
  return traced(Fn::sntrGetAddressForVProperty,
                [&](Trace &t) { return addressOfRecord<VKind>(t, node, TagKey{tag}, record); });
}

uint32_t sntrGetAddressForIRProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                     SNodeProperty_t **record) {
  return traced(Fn::sntrGetAddressForIRProperty,
                [&](Trace &t) { return addressOfRecord<IRKind>(t, node, TagIDKey(tag, idLength, id), record); });
}

uint32_t sntrGetAddressForIVProperty(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                     SNodeProperty_t **record) {
  return traced(Fn::sntrGetAddressForIVProperty,
                [&](Trace &t) { return addressOfRecord<IVKind>(t, node, TagIDKey(tag, idLength, id), record); });
}
