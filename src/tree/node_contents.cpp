// SPDX-License-Identifier: MIT
// See node_contents.h. Areas may begin at any byte, so contents are only copied into them.
#include "tree/node_contents.h"

#include <cstring>

#include "tree/node_areas.h"

namespace sntr {

namespace {

constexpr std::uint64_t kHighestCapacity = 0x1000;
constexpr std::uint64_t kRecord24Size = 24;
constexpr std::uint64_t kRecord1056Size = 1056;
constexpr std::uint64_t kExportListSize = kWordSize + std::uint64_t{58} * 4;
static_assert(kExportListSize == 240);

Rc checkCapacity(NodeContents &contents) {
  if (contents.capacity > kHighestCapacity) return Rc::CapacityTooLarge;
  contents.capacity = roundUp8(contents.capacity);
  return Rc::Ok;
}

Rc checkID(const NodeContents &contents) {
  if (contents.id == nullptr) return Rc::NullID;
  return contents.idLength > contents.capacity ? Rc::DataTooLong : Rc::Ok;
}

Rc checkInfo(NodeContents &contents) {
  if (contents.info == nullptr) return Rc::NullNodeInfo;
  contents.infoDataSize = contents.info->dataSize;
  if (contents.infoDataSize == 0) return Rc::Ok;
  if (contents.infoDataSize > contents.capacity) return Rc::DataTooLong;
  return contents.infoData == nullptr ? Rc::NullID : Rc::Ok;
}

// Writes one piece behind the other into an area that is large enough.
class AreaWriter {
 public:
  explicit AreaWriter(std::byte *start) : next_(start) {}

  void word(std::uint64_t value) { bytes(&value, sizeof(value)); }

  // A null source is allowed if nothing is copied. The source may overlap: a node may be initialized from itself.
  void bytes(const void *source, std::uint64_t size) {
    if (size == 0) return;
    std::memmove(next_, source, size);
    next_ += size;
  }

  void zeroes(std::uint64_t size) {
    std::memset(next_, 0, size);
    next_ += size;
  }

 private:
  std::byte *next_;
};

std::uint64_t idSize(const NodeContents &contents) { return 2 * kWordSize + contents.idLength; }

void writeID(AreaWriter &out, const Area & /*area*/, const NodeContents &contents) {
  out.word(contents.capacity);
  out.word(contents.idLength);
  out.bytes(contents.id, contents.idLength);
}

std::uint64_t infoSize(const NodeContents &contents) { return kWordSize + sizeof(SNodeInfo) + contents.infoDataSize; }

// The node's copy contains its own position: just behind the capacity, in the initializing process's addresses.
void writeInfo(AreaWriter &out, const Area &area, const NodeContents &contents) {
  SNodeInfo record = *contents.info;
  record.dataSize = contents.infoDataSize;
  record.dataPosition = contents.base + area.offset + kWordSize;
  out.word(contents.capacity);
  out.bytes(&record, sizeof(record));
  out.bytes(contents.infoData, contents.infoDataSize);
}

std::uint64_t record1056Size(const NodeContents & /*contents*/) { return kRecord1056Size; }

void writeRecord1056(AreaWriter &out, const Area & /*area*/, const NodeContents &contents) {
  out.bytes(contents.record1056, kRecord1056Size);
}

std::uint64_t record24Size(const NodeContents & /*contents*/) { return kRecord24Size; }

void writeRecord24(AreaWriter &out, const Area & /*area*/, const NodeContents &contents) {
  out.bytes(contents.record24, kRecord24Size);
}

std::uint64_t exportListSize(const NodeContents & /*contents*/) { return kExportListSize; }

void writeExportList(AreaWriter &out, const Area & /*area*/, const NodeContents &contents) {
  out.word(contents.options);
  out.zeroes(kExportListSize - kWordSize);
}

// An option, the used bytes of its area, and the function that writes them.
struct ContentRow {
  std::uint32_t option;
  std::uint64_t (*size)(const NodeContents &);
  void (*write)(AreaWriter &, const Area &, const NodeContents &);
};

// In the order in which areas are filled.
constexpr ContentRow kContents[] = {
    {SNTR_OPTION_NODE_ID, idSize, writeID},
    {SNTR_OPTION_NODE_INFO, infoSize, writeInfo},
    {SNTR_OPTION_RECORD_1056, record1056Size, writeRecord1056},
    {SNTR_OPTION_RECORD_24, record24Size, writeRecord24},
    {SNTR_OPTION_EXPORT_LIST, exportListSize, writeExportList},
};

Rc fillArea(SNodeCB_t *node, const ContentRow &row, const NodeContents &contents) {
  Area area{};
  if (Rc rc = findArea(node, row.option, area); failed(rc)) return rc;
  const std::uint64_t size = row.size(contents);
  if (size > area.size) return Rc::AreaOverused;
  AreaWriter out(area.start);
  row.write(out, area, contents);
  setAreaUsed(node, area, size);
  return Rc::Ok;
}

}  // namespace

Rc checkContents(NodeContents &contents) {
  const bool hasID = contents.has(SNTR_OPTION_NODE_ID);
  const bool hasInfo = contents.has(SNTR_OPTION_NODE_INFO);
  Rc rc = hasID || hasInfo ? checkCapacity(contents) : Rc::Ok;
  if (!failed(rc) && hasID) rc = checkID(contents);
  if (!failed(rc) && hasInfo) rc = checkInfo(contents);
  if (failed(rc)) return rc;
  if (contents.has(SNTR_OPTION_RECORD_1056) && contents.record1056 == nullptr) return Rc::NullRecord1056;
  if (contents.has(SNTR_OPTION_RECORD_24) && contents.record24 == nullptr) return Rc::NullRecord24;
  return Rc::Ok;
}

Rc fillAreas(SNodeCB_t *node, const NodeContents &contents) {
  for (const ContentRow &row : kContents) {
    if (!contents.has(row.option)) continue;
    if (Rc rc = fillArea(node, row, contents); failed(rc)) return rc;
  }
  return Rc::Ok;
}

}  // namespace sntr
