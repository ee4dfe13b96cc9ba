// The exported operations on hash tables: find, add and delete in a table alone, and the allocator of slots.
//
// The slot operations serve the four keyed kinds and take no latch: their callers hold the node's write section.
#include "frame/trace.h"
#include "properties/kinds.h"
#include "properties/property_changes.h"
#include "properties/slot_stack.h"
#include "sntr/property_tables.h"

namespace sntr {

namespace {

// Opens a table of any keyed kind. NullNode, the output's code, BadKind, the codes of openList(), BadBucketCount for an
// array.
Rc openTable(SNodeCB_t *node, std::uint32_t selector, Rc output, PropertyList &list) {
  if (node == nullptr) return Rc::NullNode;
  if (failed(output)) return output;
  const KindData *kind = findKind(selector);
  if (kind == nullptr) return Rc::BadKind;
  if (Rc rc = openList(node, *kind, list); failed(rc)) return rc;
  return list.isTable() ? Rc::Ok : Rc::BadBucketCount;
}

constexpr Rc checkOutput(const void *output, Rc rc) { return output == nullptr ? rc : Rc::Ok; }

// Which of the two numbers of the freed stack is wanted.
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

// The bucket count alone: unlike an operation on the list, this one has no use for the limits.
Rc readBucketCount(SNodeCB_t *node, const KindData &kind, std::uint64_t &count) {
  PropertyList list;
  list.kind = &kind;
  if (Rc rc = list.area.open(node, kind.selector); failed(rc)) return rc;
  if (Rc rc = readBucketCounts(list); failed(rc)) return rc;
  count = list.bucketCounts[0];
  return Rc::Ok;
}

}  // namespace

}  // namespace sntr

using namespace sntr;

uint32_t sntrFindRPropertyInHashTable(SNodeCB_t *node, uint64_t tag, SNodeProperty_t **record) {
  return traced(Fn::sntrFindRPropertyInHashTable,
                [&](Trace &t) { return findInTableOnly<RKind>(t, node, TagKey{tag}, record); });
}

uint32_t sntrAddRPropertyToHashTable(SNodeCB_t *node, uint64_t tag, int32_t value, uint64_t latchHeld) {
  return traced(Fn::sntrAddRPropertyToHashTable,
                [&](Trace &t) { return addToTableOnly<RKind>(t, node, TagKey{tag}, value, latchHeld); });
}

uint32_t sntrDeleteRPropertyFromHashTable(SNodeCB_t *node, uint64_t tag) {
  return traced(Fn::sntrDeleteRPropertyFromHashTable,
                [&](Trace &t) { return deleteFromTableOnly<RKind>(t, node, TagKey{tag}); });
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
    return t.fail(4, readBucketCount(node, *findKind(kind), *bucketCount));
  });
}
