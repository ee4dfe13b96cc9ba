// SPDX-License-Identifier: MIT
// See lists.h.
#include "lists.h"

#include "../machine/process.h"

namespace {

using std::uint64_t;

// The sizes of headers, slots and records: see sntr/property_lists.h.
struct ListSizes {
  uint64_t header;
  uint64_t perBucket;  // a bucket's words and one slot
};
constexpr ListSizes kTableR = {0x18, 0x08 + 0x98};
constexpr ListSizes kTableIR = {0x30, 0x18 + 0x250 + machine::kInstanceNameSize};
constexpr ListSizes kTableIV = {0x38, 0x18 + 0x1e0 + machine::kPlaceSize + machine::kNamedValueSize};
constexpr uint64_t kArrayV = 0x10 + std::size(machine::kTextNames) * (0x1a8 + machine::kTextSize);
constexpr uint64_t kRecordBaseR = 0x90;
constexpr uint64_t kRecordBaseV = 0x1a8 + machine::kTextSize;
constexpr uint64_t kFreedSlot = 8;  // the word that records one

// The tags of each node, beside the fields of its instances.
constexpr uint64_t kNodeTags[] = {machine::kSampleTimeTag, machine::kSampleCountTag, machine::kOmittedTag};

bool complain(const char *what, std::uint32_t rc) { return rc == 0 || machine::complain("publisher", what, rc); }

uint64_t propertyCount(const PublishedNode &node) {
  return node.instances.size() * machine::kGroups[node.group].fields.size() + std::size(kNodeTags);
}

// Returns the size of a table for `capacity` properties, each of which may be deleted.
uint64_t tableSize(const ListSizes &list, uint64_t capacity) {
  uint64_t buckets = 0;
  sntrGetPrimeNumber(capacity, &buckets);
  return list.header + list.perBucket * buckets + kFreedSlot * capacity;
}

bool has(const PublishedNode &node, std::uint32_t kind) { return (node.kinds & kind) != 0; }

// Creates all R properties, and finds their records in the same order.
bool layOutRegisters(PublishedNode &node) {
  std::vector<uint64_t> tags;
  for (std::size_t i = 0; i < node.instances.size(); ++i) {
    for (std::size_t f = 0; f < machine::kGroups[node.group].fields.size(); ++f) tags.push_back(machine::tagOf(i, f));
  }
  tags.insert(tags.end(), std::begin(kNodeTags), std::end(kNodeTags));
  const std::vector<std::int32_t> zeroes(tags.size(), 0);
  std::uint32_t rc =
      sntrCreateRPropertyList(node.node, tags.data(), zeroes.data(), tags.size(), tags.size(), SNTR_LAYOUT_HASH, 0);
  const auto find = [&](uint64_t tag) {
    SNodeProperty_t *record = nullptr;
    if (rc == 0) rc = sntrGetAddressForRProperty(node.node, tag, &record);
    return record;
  };
  for (std::size_t i = 0; i < tags.size() - std::size(kNodeTags); ++i) node.records.push_back(find(tags[i]));
  node.sampleTime = find(machine::kSampleTimeTag);
  node.sampleCount = find(machine::kSampleCountTag);
  node.omittedCount = find(machine::kOmittedTag);
  return complain("laying out the R list", rc);
}

bool layOutNamedRegisters(PublishedNode &node) {
  const uint64_t tag = machine::kGroups[node.group].namedTag;
  const std::size_t count = node.instances.size();
  const std::vector<uint64_t> tags(count, tag);
  const std::vector<std::int32_t> zeroes(count, 0);
  std::vector<uint64_t> lengths;
  std::vector<const void *> ids;
  for (const std::string &name : node.instances) {
    lengths.push_back(name.size());
    ids.push_back(name.data());
  }
  std::uint32_t rc = sntrCreateIRPropertyList(node.node, tags.data(), lengths.data(), ids.data(), zeroes.data(), count,
                                              count, machine::kInstanceNameSize, SNTR_LAYOUT_HASH, 0);
  for (std::size_t i = 0; i < count && rc == 0; ++i) {
    node.named.push_back(nullptr);
    rc = sntrGetAddressForIRProperty(node.node, tag, lengths[i], ids[i], &node.named.back());
  }
  return complain("laying out the IR list", rc);
}

// A value has at least one byte, even before its first contents.
bool layOutTexts(PublishedNode &node) {
  constexpr uint64_t kCount = std::size(machine::kTextNames);
  uint64_t tags[kCount];
  uint64_t sizes[kCount];
  const void *values[kCount];
  for (uint64_t i = 0; i < kCount; ++i) {
    tags[i] = i + 1;
    sizes[i] = 1;
    values[i] = "";
  }
  std::uint32_t rc =
      sntrCreateVPropertyList(node.node, tags, sizes, values, kCount, kCount, machine::kTextSize, SNTR_LAYOUT_ARRAY, 0);
  for (uint64_t i = 0; i < kCount && rc == 0; ++i) {
    rc = sntrGetAddressForVProperty(node.node, tags[i], &node.texts[i]);
  }
  return complain("laying out the V list", rc);
}

bool layOutNamedValues(PublishedNode &node, const std::vector<NamedValue> &cpu, std::size_t mounts) {
  std::uint32_t rc =
      sntrCreateIVPropertyList(node.node, nullptr, nullptr, nullptr, nullptr, nullptr, 0, cpu.size() + mounts,
                               machine::kPlaceSize, machine::kNamedValueSize, SNTR_LAYOUT_HASH, 0);
  for (std::size_t i = 0; i < cpu.size() && rc == 0; ++i) {
    const NamedValue &value = cpu[i];
    rc = sntrAddIVProperty(node.node, machine::kCpuInfo, value.id.size(), value.id.data(), value.bytes.size(),
                           value.bytes.data(), 0);
    if (rc == 0) {
      rc = sntrSetRCForIVProperty(node.node, machine::kCpuInfo, value.id.size(), value.id.data(), value.rc, 0);
    }
  }
  return complain("laying out the IV list", rc);
}

bool createBaseRegister(PublishedNode &node) {
  std::uint32_t rc = sntrCreateBaseRProperty(node.node, machine::kUptime, 0, 0);
  if (rc == 0) rc = sntrGetAddressForBaseRProperty(node.node, machine::kUptime, &node.uptime);
  return complain("creating the BaseR property", rc);
}

// Comes after the V list, whose maximum limits this value.
bool createBaseText(PublishedNode &node) {
  std::uint32_t rc = sntrCreateBaseVProperty(node.node, machine::kSummary, 1, "", 0);
  if (rc == 0) rc = sntrGetAddressForBaseVProperty(node.node, machine::kSummary, &node.summary);
  return complain("creating the BaseV property", rc);
}

Reading sumOf(const Reading &a, const Reading &b) {
  const std::uint32_t sum = static_cast<std::uint32_t>(a.value) + static_cast<std::uint32_t>(b.value);
  return {static_cast<std::int32_t>(sum), a.rc != machine::kAvailable ? a.rc : b.rc};
}

}  // namespace

void planLists(PublishedNode &node, std::uint64_t allowed, std::size_t cpu, std::size_t mounts) {
  node.kinds = machine::kGroups[node.group].kinds & (allowed | SNTR_KIND_R);
  // The V list limits a BaseV value; without one there would be room for a single byte.
  if (!has(node, SNTR_KIND_V)) node.kinds &= ~uint64_t{SNTR_KIND_BASE_V};
  node.sizes[SNTR_AREA_R] = tableSize(kTableR, propertyCount(node));
  if (has(node, SNTR_KIND_V)) node.sizes[SNTR_AREA_V] = kArrayV;
  if (has(node, SNTR_KIND_IR)) node.sizes[SNTR_AREA_IR] = tableSize(kTableIR, node.instances.size());
  if (has(node, SNTR_KIND_IV)) node.sizes[SNTR_AREA_IV] = tableSize(kTableIV, cpu + mounts);
  if (has(node, SNTR_KIND_BASE_R)) node.sizes[SNTR_AREA_BASE_R] = kRecordBaseR;
  if (has(node, SNTR_KIND_BASE_V)) node.sizes[SNTR_AREA_BASE_V] = kRecordBaseV;
}

bool layOutLists(PublishedNode &node, const std::vector<NamedValue> &cpu, std::size_t mounts) {
  return layOutRegisters(node) && (!has(node, SNTR_KIND_V) || layOutTexts(node)) &&
         (!has(node, SNTR_KIND_IR) || layOutNamedRegisters(node)) &&
         (!has(node, SNTR_KIND_IV) || layOutNamedValues(node, cpu, mounts)) &&
         (!has(node, SNTR_KIND_BASE_R) || createBaseRegister(node)) &&
         (!has(node, SNTR_KIND_BASE_V) || createBaseText(node));
}

std::uint32_t writeSample(PublishedNode &node, const Readings &readings, const SystemTexts &texts,
                          std::uint32_t milliseconds, std::uint32_t count) {
  const machine::Group &group = machine::kGroups[node.group];
  std::uint32_t rc = 0;
  const auto write = [&](SNodeProperty_t *record, const Reading &reading) {
    if (rc == 0) rc = sntrSetValueAndRCForRProperty(node.node, record, reading.value, reading.rc, 1);
  };
  for (std::size_t i = 0; i < readings.values.size() && i < node.records.size(); ++i) {
    write(node.records[i], readings.values[i]);
  }
  write(node.sampleTime, {static_cast<std::int32_t>(milliseconds), machine::kAvailable});
  write(node.sampleCount, {static_cast<std::int32_t>(count), machine::kAvailable});
  write(node.omittedCount, {static_cast<std::int32_t>(readings.omitted + node.omitted), machine::kAvailable});

  for (std::size_t i = 0; i < node.named.size() && rc == 0; ++i) {
    const Reading *first = &readings.values[i * group.fields.size()];
    const Reading sum = sumOf(first[group.namedSum[0]], first[group.namedSum[1]]);
    rc = sntrSetValueAndRCForIRProperty(node.node, node.named[i], sum.value, sum.rc, 1);
  }
  for (std::size_t i = 0; i < std::size(node.texts) && has(node, SNTR_KIND_V) && rc == 0; ++i) {
    const Text &text = texts.names[i];
    rc =
        sntrSetValueAndRCForVProperty(node.node, node.texts[i], text.size == 0 ? 1 : text.size, text.bytes, text.rc, 1);
  }
  if (has(node, SNTR_KIND_BASE_R) && rc == 0) {
    rc = sntrSetValueAndRCForBaseRProperty(node.node, node.uptime, texts.uptime.value, texts.uptime.rc, 1);
  }
  if (has(node, SNTR_KIND_BASE_V) && rc == 0) {
    const Text &text = texts.summary;
    rc = sntrSetValueAndRCForBaseVProperty(node.node, node.summary, text.size == 0 ? 1 : text.size, text.bytes, text.rc,
                                           1);
  }
  return rc;
}
