// The exported operations that count properties, copy their keys out and walk over their records.
#include "frame/trace.h"
#include "properties/enumeration.h"
#include "properties/kinds.h"
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

uint32_t sntrGetNumberOfRProperties(SNodeCB_t *node, uint64_t *count) {
  return traced(Fn::sntrGetNumberOfRProperties, [&](Trace &t) { return numberOfProperties<RKind>(t, node, count); });
}

uint32_t sntrGetRPropertiesNoForGivenTag(SNodeCB_t *node, uint64_t tag, uint64_t *count, uint64_t latchHeld) {
  return traced(Fn::sntrGetRPropertiesNoForGivenTag,
                [&](Trace &t) { return numberForTag<RKind>(t, node, TagKey{tag}, count, latchHeld); });
}

uint32_t sntrReturnRProperties(SNodeCB_t *node, uint64_t *tags, uint64_t tag, uint64_t capacity, uint64_t latchHeld) {
  return traced(Fn::sntrReturnRProperties,
                [&](Trace &t) { return returnTags<RKind>(t, node, tags, TagKey{tag}, capacity, latchHeld); });
}

uint32_t sntrGetFirstRPropertyLocation(SNodeCB_t *node, SNodeProperty_t **location, uint64_t *used,
                                       uint64_t *capacity) {
  return traced(Fn::sntrGetFirstRPropertyLocation,
                [&](Trace &t) { return firstLocation<RKind>(t, node, location, used, capacity); });
}

uint32_t sntrGetNextRPropertyLocation(SNodeCB_t *node, const AreaEntry *area, SNodeProperty_t **location) {
  return traced(Fn::sntrGetNextRPropertyLocation,
                [&](Trace &t) { return nextLocation<RKind>(t, node, area, location); });
}
