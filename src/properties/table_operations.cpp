// SPDX-License-Identifier: MIT
// The exported operations on hash tables: find, add and delete in a table alone, and the allocator of slots.
// Thread safety: as sntr/properties.h says. The slot operations take no latch; their callers hold the write section.
#include "frame/trace.h"
#include "properties/kind_types.h"
#include "properties/property_changes.h"
#include "properties/slot_stack.h"
#include "sntr/property_tables.h"

namespace sntr {

namespace {

// Opens a table of any keyed kind. Returns Ok, NullNode, the output's code, BadKind, a code of openList(), or
// BadBucketCount for an array.
Rc openTable(SNodeCB_t *node, std::uint32_t selector, Rc output, PropertyList &list) {
  if (node == nullptr) return Rc::NullNode;
  if (failed(output)) return output;
  const KindData *kind = findKind(selector);
  if (kind == nullptr) return Rc::BadKind;
  if (Rc rc = openList(node, *kind, list); failed(rc)) return rc;
  return list.isTable() ? Rc::Ok : Rc::BadBucketCount;
}

constexpr Rc checkOutput(const void *output, Rc rc) { return output == nullptr ? rc : Rc::Ok; }

// Reads one of the two numbers of the freed stack.
Rc readStackNumber(SNodeCB_t *node, std::uint32_t kind, std::uint64_t *out, std::uint64_t FreedStack::*number) {
  PropertyList list;
  if (Rc rc = openTable(node, kind, checkOutput(out, Rc::NullFreedCountOutput), list); failed(rc)) return rc;
  FreedStack stack{};
  if (Rc rc = readFreedStack(list, stack); failed(rc)) return rc;
  *out = stack.*number;
  return Rc::Ok;
}

Rc takeSlotOf(SNodeCB_t *node, std::uint32_t kind, std::uint64_t *offset) {
  PropertyList list;
  if (Rc rc = openTable(node, kind, checkOutput(offset, Rc::NullOutput), list); failed(rc)) return rc;
  SlotLease slot{};
  if (Rc rc = takeSlot(list, slot); failed(rc)) return rc;
  *offset = slot.offset;
  return Rc::Ok;
}

Rc freeSlotOf(SNodeCB_t *node, std::uint32_t kind, const std::uint64_t *link) {
  PropertyList list;
  if (Rc rc = openTable(node, kind, checkOutput(link, Rc::NullOutput), list); failed(rc)) return rc;
  return pushFreedSlot(list, readWord<std::uint64_t>(link));
}

// Reads the bucket counts alone; unlike an operation on the list, this one does not need the limits.
Rc openBuckets(SNodeCB_t *node, std::uint32_t selector, PropertyList &list) {
  if (Rc rc = list.area.open(node, selector); failed(rc)) return rc;
  return readBucketCounts(*findKind(selector), list);
}

}  // namespace

}  // namespace sntr

using namespace sntr;

uint32_t sntrFindRPropertyInHashTable(SNodeCB_t *node, uint64_t tag, SNodeProperty_t **record) {
  return traced(Fn::sntrFindRPropertyInHashTable,
                [&](Trace &t) { return findInTableOnly<RKind>(t, node, TagKey{tag}, record); });
}

uint32_t sntrFindVPropertyInHashTable(SNodeCB_t *node, uint64_t tag, SNodeProperty_t **record) {
  return traced(Fn::sntrFindVPropertyInHashTable,
                [&](Trace &t) { return findInTableOnly<VKind>(t, node, TagKey{tag}, record); });
}

uint32_t sntrFindIRPropertyInHashTable(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                       SNodeProperty_t **record) {
  return traced(Fn::sntrFindIRPropertyInHashTable,
                [&](Trace &t) { return findInTableOnly<IRKind>(t, node, TagIDKey(tag, idLength, id), record); });
}

uint32_t sntrFindIVPropertyInHashTable(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                       SNodeProperty_t **record) {
  return traced(Fn::sntrFindIVPropertyInHashTable,
                [&](Trace &t) { return findInTableOnly<IVKind>(t, node, TagIDKey(tag, idLength, id), record); });
}

uint32_t sntrAddRPropertyToHashTable(SNodeCB_t *node, uint64_t tag, int32_t value, uint64_t latchHeld) {
  return traced(Fn::sntrAddRPropertyToHashTable,
                [&](Trace &t) { return addProperty<RKind, Reach::TableOnly>(t, node, TagKey{tag}, value, latchHeld); });
}

uint32_t sntrAddVPropertyToHashTable(SNodeCB_t *node, uint64_t tag, uint64_t valueSize, const void *value,
                                     uint64_t latchHeld) {
  return traced(Fn::sntrAddVPropertyToHashTable, [&](Trace &t) {
    return addProperty<VKind, Reach::TableOnly>(t, node, TagKey{tag}, Bytes{value, valueSize}, latchHeld);
  });
}

uint32_t sntrAddIRPropertyToHashTable(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id, int32_t value,
                                      uint64_t latchHeld) {
  return traced(Fn::sntrAddIRPropertyToHashTable, [&](Trace &t) {
    return addProperty<IRKind, Reach::TableOnly>(t, node, TagIDKey(tag, idLength, id), value, latchHeld);
  });
}

uint32_t sntrAddIVPropertyToHashTable(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id,
                                      uint64_t valueSize, const void *value, uint64_t latchHeld) {
  return traced(Fn::sntrAddIVPropertyToHashTable, [&](Trace &t) {
    return addProperty<IVKind, Reach::TableOnly>(t, node, TagIDKey(tag, idLength, id), Bytes{value, valueSize},
                                                 latchHeld);
  });
}

uint32_t sntrDeleteRPropertyFromHashTable(SNodeCB_t *node, uint64_t tag) {
  return traced(Fn::sntrDeleteRPropertyFromHashTable,
                [&](Trace &t) { return deleteProperty<RKind, Reach::TableOnly>(t, node, TagKey{tag}, 0); });
}

uint32_t sntrDeleteVPropertyFromHashTable(SNodeCB_t *node, uint64_t tag) {
  return traced(Fn::sntrDeleteVPropertyFromHashTable,
                [&](Trace &t) { return deleteProperty<VKind, Reach::TableOnly>(t, node, TagKey{tag}, 0); });
}

uint32_t sntrDeleteIRPropertyFromHashTable(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id) {
  return traced(Fn::sntrDeleteIRPropertyFromHashTable, [&](Trace &t) {
    return deleteProperty<IRKind, Reach::TableOnly>(t, node, TagIDKey(tag, idLength, id), 0);
  });
}

uint32_t sntrDeleteIVPropertyFromHashTable(SNodeCB_t *node, uint64_t tag, uint64_t idLength, const void *id) {
  return traced(Fn::sntrDeleteIVPropertyFromHashTable, [&](Trace &t) {
    return deleteProperty<IVKind, Reach::TableOnly>(t, node, TagIDKey(tag, idLength, id), 0);
  });
}

uint32_t sntrGetFreeSpaceOffsetForProperty(SNodeCB_t *node, uint32_t kind, uint64_t *slotOffset) {
  return traced(Fn::sntrGetFreeSpaceOffsetForProperty,
                [&](Trace &t) { return t.fail(1, takeSlotOf(node, kind, slotOffset)); });
}

uint32_t sntrUpdateListOfFreedLLNodes(SNodeCB_t *node, uint32_t kind, const uint64_t *link) {
  return traced(Fn::sntrUpdateListOfFreedLLNodes, [&](Trace &t) { return t.fail(1, freeSlotOf(node, kind, link)); });
}

uint32_t sntrGetNumberOfFreedLListNodes(SNodeCB_t *node, uint32_t kind, uint64_t *freedCount) {
  return traced(Fn::sntrGetNumberOfFreedLListNodes,
                [&](Trace &t) { return t.fail(1, readStackNumber(node, kind, freedCount, &FreedStack::count)); });
}

uint32_t sntrGetMemoryStackSizeForHashTable(SNodeCB_t *node, uint32_t kind, uint64_t *stackSize) {
  return traced(Fn::sntrGetMemoryStackSizeForHashTable,
                [&](Trace &t) { return t.fail(1, readStackNumber(node, kind, stackSize, &FreedStack::bytes)); });
}

uint32_t sntrGetHashTableSizeForRVProperties(SNodeCB_t *node, uint32_t kind, uint64_t *bucketCount) {
  return traced(Fn::sntrGetHashTableSizeForRVProperties, [&](Trace &t) {
    if (node == nullptr) return t.fail(1, Rc::NullNode);
    if (bucketCount == nullptr) return t.fail(2, Rc::NullBucketCountOutput);
    if (kind != SNTR_KIND_R && kind != SNTR_KIND_V) return t.fail(3, Rc::BadKind);
    PropertyList list;
    if (Rc rc = openBuckets(node, kind, list); failed(rc)) return t.fail(4, rc);
    *bucketCount = list.bucketCounts[0];
    return Rc::Ok;
  });
}

uint32_t sntrGetHashTableSizeForIRVProperties(SNodeCB_t *node, uint32_t kind, uint64_t *tagIDBucketCount,
                                              uint64_t *tagBucketCount, uint64_t *idBucketCount) {
  return traced(Fn::sntrGetHashTableSizeForIRVProperties, [&](Trace &t) {
    if (node == nullptr) return t.fail(1, Rc::NullNode);
    if (tagIDBucketCount == nullptr || tagBucketCount == nullptr || idBucketCount == nullptr) {
      return t.fail(2, Rc::NullBucketCountsOutput);
    }
    if (kind != SNTR_KIND_IR && kind != SNTR_KIND_IV) return t.fail(3, Rc::BadKind);
    PropertyList list;
    if (Rc rc = openBuckets(node, kind, list); failed(rc)) return t.fail(4, rc);
    *tagIDBucketCount = list.bucketCounts[0];
    *tagBucketCount = list.bucketCounts[1];
    *idBucketCount = list.bucketCounts[2];
    return Rc::Ok;
  });
}
