// SPDX-License-Identifier: MIT
// The exported operations that count properties, copy their keys, walk over their records, and store the export list.
// Thread safety: as sntr/properties.h says.
#include "frame/trace.h"
#include "properties/enumeration.h"
#include "properties/export_list.h"
#include "properties/kind_types.h"
#include "sntr/enumeration.h"

using namespace sntr;

uint32_t sntrReturnExports(SNodeCB_t *node, uint64_t *exports) {
  return traced(Fn::sntrReturnExports, [&](Trace &t) {
    if (node == nullptr) return t.fail(1, Rc::NullNode);
    if (exports == nullptr) return t.fail(2, Rc::NullOutput);
    *exports = loadField(node->nodeOptions);
    return Rc::Ok;
  });
}

uint32_t sntrReturnRPropertyCount(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld) {
  return traced(Fn::sntrReturnRPropertyCount,
                [&](Trace &t) { return returnPropertyCount<RKind>(t, node, TagKey{tag}, count, latchHeld); });
}

uint32_t sntrReturnVPropertyCount(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld) {
  return traced(Fn::sntrReturnVPropertyCount,
                [&](Trace &t) { return returnPropertyCount<VKind>(t, node, TagKey{tag}, count, latchHeld); });
}

uint32_t sntrReturnIRPropertyCount(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld) {
  return traced(Fn::sntrReturnIRPropertyCount,
                [&](Trace &t) { return returnPropertyCount<IRKind>(t, node, TagKey{tag}, count, latchHeld); });
}

uint32_t sntrReturnIVPropertyCount(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld) {
  return traced(Fn::sntrReturnIVPropertyCount,
                [&](Trace &t) { return returnPropertyCount<IVKind>(t, node, TagKey{tag}, count, latchHeld); });
}

uint32_t sntrGetNumberOfRProperties(SNodeCB_t *node, uint64_t *count) {
  return traced(Fn::sntrGetNumberOfRProperties, [&](Trace &t) { return numberOfProperties<RKind>(t, node, count); });
}

uint32_t sntrGetNumberOfVProperties(SNodeCB_t *node, uint64_t *count) {
  return traced(Fn::sntrGetNumberOfVProperties, [&](Trace &t) { return numberOfProperties<VKind>(t, node, count); });
}

uint32_t sntrGetNumberOfIRProperties(SNodeCB_t *node, uint64_t *count) {
  return traced(Fn::sntrGetNumberOfIRProperties, [&](Trace &t) { return numberOfProperties<IRKind>(t, node, count); });
}

uint32_t sntrGetNumberOfIVProperties(SNodeCB_t *node, uint64_t *count) {
  return traced(Fn::sntrGetNumberOfIVProperties, [&](Trace &t) { return numberOfProperties<IVKind>(t, node, count); });
}

uint32_t sntrGetRPropertiesNoForGivenTag(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld) {
  return traced(Fn::sntrGetRPropertiesNoForGivenTag,
                [&](Trace &t) { return numberForTag<RKind>(t, node, TagKey{tag}, count, latchHeld); });
}

uint32_t sntrGetVPropertiesNoForGivenTag(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld) {
  return traced(Fn::sntrGetVPropertiesNoForGivenTag,
                [&](Trace &t) { return numberForTag<VKind>(t, node, TagKey{tag}, count, latchHeld); });
}

uint32_t sntrGetIRPropertiesNoForGivenTag(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld) {
  return traced(Fn::sntrGetIRPropertiesNoForGivenTag,
                [&](Trace &t) { return numberForTag<IRKind>(t, node, TagKey{tag}, count, latchHeld); });
}

uint32_t sntrGetIVPropertiesNoForGivenTag(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld) {
  return traced(Fn::sntrGetIVPropertiesNoForGivenTag,
                [&](Trace &t) { return numberForTag<IVKind>(t, node, TagKey{tag}, count, latchHeld); });
}

uint32_t sntrReturnRProperties(SNodeCB_t *node, uint64_t *tags, uint64_t tag, uint64_t capacity, uint64_t latchHeld) {
  return traced(Fn::sntrReturnRProperties, [&](Trace &t) {
    const KeyArrays arrays{tags, nullptr, nullptr, nullptr, capacity, 0};
    return returnProperties<RKind>(t, node, arrays, TagKey{tag}, latchHeld);
  });
}

uint32_t sntrReturnVProperties(SNodeCB_t *node, uint64_t *tags, uint64_t *valueSizes, uint64_t tag, uint64_t capacity,
                               uint64_t latchHeld) {
  return traced(Fn::sntrReturnVProperties, [&](Trace &t) {
    const KeyArrays arrays{tags, nullptr, nullptr, valueSizes, capacity, 0};
    return returnProperties<VKind>(t, node, arrays, TagKey{tag}, latchHeld);
  });
}

uint32_t sntrReturnIRProperties(SNodeCB_t *node, uint64_t *tags, uint64_t *idLengths, void *ids, uint64_t tag,
                                uint64_t capacity, uint64_t idSlotWidth, uint64_t latchHeld) {
  return traced(Fn::sntrReturnIRProperties, [&](Trace &t) {
    const KeyArrays arrays{tags, idLengths, ids, nullptr, capacity, idSlotWidth};
    return returnProperties<IRKind>(t, node, arrays, TagKey{tag}, latchHeld);
  });
}

uint32_t sntrReturnIVProperties(SNodeCB_t *node, uint64_t *tags, uint64_t *idLengths, void *ids, uint64_t *valueSizes,
                                uint64_t tag, uint64_t capacity, uint64_t idSlotWidth, uint64_t latchHeld) {
  return traced(Fn::sntrReturnIVProperties, [&](Trace &t) {
    const KeyArrays arrays{tags, idLengths, ids, valueSizes, capacity, idSlotWidth};
    return returnProperties<IVKind>(t, node, arrays, TagKey{tag}, latchHeld);
  });
}

uint32_t sntrGetFirstRPropertyLocation(SNodeCB_t *node, SNodeProperty_t **location, uint64_t *used,
                                       uint64_t *capacity) {
  return traced(Fn::sntrGetFirstRPropertyLocation,
                [&](Trace &t) { return firstLocation<RKind>(t, node, location, used, capacity); });
}

uint32_t sntrGetFirstVPropertyLocation(SNodeCB_t *node, SNodeProperty_t **location, uint64_t *used,
                                       uint64_t *capacity) {
  return traced(Fn::sntrGetFirstVPropertyLocation,
                [&](Trace &t) { return firstLocation<VKind>(t, node, location, used, capacity); });
}

uint32_t sntrGetFirstIRPropertyLocation(SNodeCB_t *node, SNodeProperty_t **location, uint64_t *used,
                                        uint64_t *capacity) {
  return traced(Fn::sntrGetFirstIRPropertyLocation,
                [&](Trace &t) { return firstLocation<IRKind>(t, node, location, used, capacity); });
}

uint32_t sntrGetFirstIVPropertyLocation(SNodeCB_t *node, SNodeProperty_t **location, uint64_t *used,
                                        uint64_t *capacity) {
  return traced(Fn::sntrGetFirstIVPropertyLocation,
                [&](Trace &t) { return firstLocation<IVKind>(t, node, location, used, capacity); });
}

uint32_t sntrGetNextRPropertyLocation(SNodeCB_t *node, const AreaEntry *area, SNodeProperty_t **location) {
  return traced(Fn::sntrGetNextRPropertyLocation,
                [&](Trace &t) { return nextLocation<RKind>(t, node, area, location); });
}

uint32_t sntrGetNextVPropertyLocation(SNodeCB_t *node, const AreaEntry *area, SNodeProperty_t **location) {
  return traced(Fn::sntrGetNextVPropertyLocation,
                [&](Trace &t) { return nextLocation<VKind>(t, node, area, location); });
}

uint32_t sntrGetNextIRPropertyLocation(SNodeCB_t *node, const AreaEntry *area, SNodeProperty_t **location) {
  return traced(Fn::sntrGetNextIRPropertyLocation,
                [&](Trace &t) { return nextLocation<IRKind>(t, node, area, location); });
}

uint32_t sntrGetNextIVPropertyLocation(SNodeCB_t *node, const AreaEntry *area, SNodeProperty_t **location) {
  return traced(Fn::sntrGetNextIVPropertyLocation,
                [&](Trace &t) { return nextLocation<IVKind>(t, node, area, location); });
}

uint32_t sntrExportListOfChangedProperties(SNodeCB_t *node, uint64_t ignored, const uint32_t *entries) {
  static_cast<void>(ignored);
  return traced(Fn::sntrExportListOfChangedProperties, [&](Trace &t) { return storeExportList(t, node, entries); });
}
