// The exported operations on property lists: creating one, and adding, deleting and locating a property.
#include "frame/trace.h"
#include "properties/kinds.h"
#include "properties/list_create.h"
#include "properties/property_changes.h"
#include "properties/values.h"
#include "sntr/properties.h"
#include "sntr/property_lists.h"

using namespace sntr;

uint32_t sntrCreateRPropertyList(SNodeCB_t *node, const uint64_t *tags, const int32_t *values, uint64_t count,
                                 uint64_t capacity, uint32_t layout, uint64_t latchHeld) {
  return traced(Fn::sntrCreateRPropertyList, [&](Trace &t) {
    return createList<RKind>(t, node, InitialRegisters{tags, values, count}, capacity, layout, latchHeld);
  });
}

uint32_t sntrAddRProperty(SNodeCB_t *node, uint64_t tag, int32_t value, uint64_t latchHeld) {
  return traced(Fn::sntrAddRProperty,
                [&](Trace &t) { return addProperty<RKind>(t, node, TagKey{tag}, value, latchHeld); });
}

uint32_t sntrDeleteRProperty(SNodeCB_t *node, uint64_t tag, uint64_t latchHeld) {
  return traced(Fn::sntrDeleteRProperty,
                [&](Trace &t) { return deleteProperty<RKind>(t, node, TagKey{tag}, latchHeld); });
}

uint32_t sntrGetAddressForRProperty(SNodeCB_t *node, uint64_t tag, SNodeProperty_t **record) {
  return traced(Fn::sntrGetAddressForRProperty,
                [&](Trace &t) { return addressOfRecord<RKind>(t, node, TagKey{tag}, record); });
}
