// SPDX-License-Identifier: MIT
// A node's identifier and tag. The order of the checks differs between the four operations; it is published.
// Thread safety: any thread; each enters the node's section, unless the caller holds it.
#include <sntr/identifiers.h>

#include <cstring>

#include "frame/section.h"
#include "tree/conditions.h"
#include "tree/node_areas.h"

namespace sntr {

namespace {

// The mask for reading an identifier; like the others it lets only active nodes pass.
constexpr std::uint32_t kMaskGetID = 0x38;

// The identifier area: u64 capacity, u64 length, then the bytes. It may begin at any address.
constexpr std::uint64_t kIDLengthAt = kWordSize;
constexpr std::uint64_t kIDBytesAt = 2 * kWordSize;

bool hasID(const SNodeCB_t *node) { return (loadField(node->nodeOptions) & SNTR_OPTION_NODE_ID) != 0; }

struct NewID {
  const void *bytes;
  std::uint64_t length;
  std::uint64_t capacity;
};

// The bytes go first, because they may be a part of the area's content.
void writeID(SNodeCB_t *node, Area &area, const NewID &id) {
  std::memmove(area.start + kIDBytesAt, id.bytes, id.length);
  writeWord<std::uint64_t>(area.start, id.capacity);
  writeWord<std::uint64_t>(area.start + kIDLengthAt, id.length);
  setAreaUsed(node, area, kIDBytesAt + id.length);
}

// The caller is in the write section. The capacity is only stored. The area's size is the limit, because bytes beyond
// it are the next area's.
Rc setID(const Trace &t, SNodeCB_t *node, NewID id) {
  if (!hasID(node)) return t.fail(30, Rc::NoIDToSet);
  if (id.capacity > SNTR_MAX_ID_SIZE) return t.fail(40, Rc::NodeIDCapacityTooLarge);
  id.capacity = roundUp8(id.capacity);
  if (id.length > id.capacity) return t.fail(50, Rc::NodeIDTooLong);
  Area area{};
  if (Rc rc = findArea(node, SNTR_OPTION_NODE_ID, area); failed(rc)) return t.fail(60, rc);
  if (kIDBytesAt + id.length > area.size) return t.fail(70, Rc::AreaOverused);
  if (Rc rc = checkCondition(node, kMaskActive); failed(rc)) return t.fail(80, rc);
  writeID(node, area, id);
  return Rc::Ok;
}

// An area too small for its own header holds no identifier: it reads as an empty one.
Rc readID(const Area &area, const void *&bytes, std::uint64_t &length) {
  const bool hasHeader = area.size >= kIDBytesAt;
  const std::uint64_t stored = hasHeader ? readWord<std::uint64_t>(area.start + kIDLengthAt) : 0;
  if (stored > SNTR_MAX_ID_SIZE || (hasHeader && stored > area.size - kIDBytesAt)) return Rc::NodeIDTooLong;
  bytes = area.start + (hasHeader ? kIDBytesAt : 0);
  length = stored;
  return Rc::Ok;
}

Rc getID(const Trace &t, SNodeCB_t *node, const void *&bytes, std::uint64_t &length) {
  if (!hasID(node)) return t.fail(40, Rc::NoIDToGet);
  Area area{};
  if (Rc rc = findArea(node, SNTR_OPTION_NODE_ID, area); failed(rc)) return t.fail(50, rc);
  if (Rc rc = checkCondition(node, kMaskGetID); failed(rc)) return t.fail(60, rc);
  return t.fail(70, readID(area, bytes, length));
}

constexpr Rc checkTag(std::uint64_t tag) { return tag <= SNTR_MAX_TAG ? Rc::Ok : Rc::TagTooLarge; }

Rc setTag(const Trace &t, SNodeCB_t *node, std::uint64_t tag) {
  if (Rc rc = checkCondition(node, kMaskActive); failed(rc)) return t.fail(20, rc);
  if (Rc rc = checkTag(tag); failed(rc)) return t.fail(30, rc);
  storeField(node->nodeTag, tag);
  return Rc::Ok;
}

// Stores the tag even if no node can have it.
Rc getTag(const Trace &t, const SNodeCB_t *node, std::uint64_t &tag) {
  if (Rc rc = checkCondition(node, kMaskActive); failed(rc)) return t.fail(30, rc);
  tag = loadField(node->nodeTag);
  return t.fail(40, checkTag(tag));
}

}  // namespace

}  // namespace sntr

using namespace sntr;

extern "C" {

std::uint32_t sntrSetNodeID(SNodeCB_t *node, const void *id, std::uint64_t length, std::uint64_t capacity,
                            std::uint32_t latchHeld) {
  return traced(Fn::sntrSetNodeID, [&](const Trace &t) {
    if (node == nullptr) return t.fail(10, Rc::NullNode);
    if (id == nullptr) return t.fail(20, Rc::NullID);
    return writeSection(t, node, heldIf(latchHeld), [&] { return setID(t, node, NewID{id, length, capacity}); });
  });
}

std::uint32_t sntrGetNodeID(SNodeCB_t *node, const void **id, std::uint64_t *length, std::uint32_t latchHeld) {
  return traced(Fn::sntrGetNodeID, [&](const Trace &t) {
    if (node == nullptr) return t.fail(10, Rc::NullNode);
    if (length == nullptr) return t.fail(20, Rc::NullLength);
    if (id == nullptr) return t.fail(30, Rc::NullID);
    return readSection(t, node, heldIf(latchHeld), [&] { return getID(t, node, *id, *length); });
  });
}

std::uint32_t sntrSetNodeTag(SNodeCB_t *node, std::uint64_t tag, std::uint32_t latchHeld) {
  return traced(Fn::sntrSetNodeTag, [&](const Trace &t) {
    if (node == nullptr) return t.fail(10, Rc::NullNode);
    return writeSection(t, node, heldIf(latchHeld), [&] { return setTag(t, node, tag); });
  });
}

std::uint32_t sntrGetNodeTag(SNodeCB_t *node, std::uint64_t *tag, std::uint32_t latchHeld) {
  return traced(Fn::sntrGetNodeTag, [&](const Trace &t) {
    if (node == nullptr) return t.fail(10, Rc::NullNode);
    if (tag == nullptr) return t.fail(20, Rc::NullTagOutput);
    return readSection(t, node, heldIf(latchHeld), [&] { return getTag(t, node, *tag); });
  });
}

}  // extern "C"
