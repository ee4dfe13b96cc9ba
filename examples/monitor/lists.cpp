// SPDX-License-Identifier: MIT
// See lists.h. The library checks each position and size against the area before use, and counts against a list's
// limits: nothing here trusts the memory.
#include "lists.h"

#include <algorithm>
#include <tuple>

namespace {

using std::uint32_t;
using std::uint64_t;
using Entries = std::vector<Entry>;

std::string copyOf(const void *address, uint64_t size) {
  return {static_cast<const char *>(address), static_cast<std::size_t>(size)};
}

// The copied keys of a list.
struct Keys {
  std::vector<uint64_t> tags;
  std::vector<uint64_t> idLengths;
  std::vector<uint64_t> sizes;
  std::string ids;
  uint64_t idWidth = 0;

  Keys(uint64_t count, uint64_t width)
      : tags(count), idLengths(count), sizes(count), ids(count * width + 1, '\0'), idWidth(width) {}

  const char *id(std::size_t index) const { return ids.data() + index * idWidth; }
};

uint32_t readV(SNodeCB_t *node, Entries &entries) {
  uint64_t count = 0;
  uint32_t rc = sntrReturnVPropertyCount(node, 0, &count, 1);
  if (rc != 0 || count == 0) return rc;
  Keys keys(count, 0);
  rc = sntrReturnVProperties(node, keys.tags.data(), keys.sizes.data(), 0, count, 1);
  for (std::size_t i = 0; i < count && rc == 0; ++i) {
    Entry entry{keys.tags[i], {}, 0, {}, 0};
    SNodeProperty_t *record = nullptr;
    uint64_t size = 0;
    void *value = nullptr;
    rc = sntrGetAddressForVProperty(node, entry.tag, &record);
    if (rc == 0) rc = sntrGetValueAndRCForVProperty(node, record, &size, &value, nullptr, &entry.rc, 1);
    if (rc == 0) entry.bytes = copyOf(value, size);
    entries.push_back(std::move(entry));
  }
  return rc;
}

uint32_t readIR(SNodeCB_t *node, Entries &entries) {
  uint64_t count = 0;
  uint64_t idWidth = 0;
  uint32_t rc = sntrGetMaxIDSizeForIRProperties(node, &idWidth);
  if (rc == 0) rc = sntrReturnIRPropertyCount(node, 0, &count, 1);
  if (rc != 0 || count == 0) return rc;
  Keys keys(count, idWidth);
  rc = sntrReturnIRProperties(node, keys.tags.data(), keys.idLengths.data(), keys.ids.data(), 0, count, idWidth, 1);
  for (std::size_t i = 0; i < count && rc == 0; ++i) {
    Entry entry{keys.tags[i], copyOf(keys.id(i), keys.idLengths[i]), 0, {}, 0};
    SNodeProperty_t *record = nullptr;
    rc = sntrGetAddressForIRProperty(node, entry.tag, entry.id.size(), entry.id.data(), &record);
    if (rc == 0) rc = sntrGetValueAndRCForIRProperty(node, record, &entry.number, &entry.rc, 1);
    entries.push_back(std::move(entry));
  }
  return rc;
}

uint32_t readIV(SNodeCB_t *node, Entries &entries) {
  uint64_t count = 0;
  uint64_t idWidth = 0;
  uint64_t most = 0;
  uint32_t rc = sntrGetMaxIDVSizeForIVProperties(node, &idWidth, &most);
  if (rc == 0) rc = sntrReturnIVPropertyCount(node, 0, &count, 1);
  if (rc != 0 || count == 0) return rc;
  Keys keys(count, idWidth);
  rc = sntrReturnIVProperties(node, keys.tags.data(), keys.idLengths.data(), keys.ids.data(), keys.sizes.data(), 0,
                              count, idWidth, 1);
  for (std::size_t i = 0; i < count && rc == 0; ++i) {
    Entry entry{keys.tags[i], copyOf(keys.id(i), keys.idLengths[i]), 0, {}, 0};
    SNodeProperty_t *record = nullptr;
    uint64_t size = 0;
    void *value = nullptr;
    rc = sntrGetAddressForIVProperty(node, entry.tag, entry.id.size(), entry.id.data(), &record);
    if (rc == 0) rc = sntrGetValueAndRCForIVProperty(node, record, &size, &value, nullptr, &entry.rc, 1);
    if (rc == 0) entry.bytes = copyOf(value, size);
    entries.push_back(std::move(entry));
  }
  return rc;
}

uint32_t readBaseR(SNodeCB_t *node, Entries &entries) {
  Entry entry;
  SNodeProperty_t *record = nullptr;
  uint32_t rc = sntrReturnBaseRProperty(node, &entry.tag, 1);
  if (rc == 0) rc = sntrGetBaseRPropertyLocation(node, &record);
  if (rc == 0) rc = sntrGetValueAndRCForBaseRProperty(node, record, &entry.number, &entry.rc, 1);
  entries.push_back(std::move(entry));
  return rc;
}

uint32_t readBaseV(SNodeCB_t *node, Entries &entries) {
  Entry entry;
  SNodeProperty_t *record = nullptr;
  uint64_t size = 0;
  void *value = nullptr;
  uint32_t rc = sntrReturnBaseVProperty(node, &entry.tag, &size, 1);
  if (rc == 0) rc = sntrGetBaseVPropertyLocation(node, &record);
  if (rc == 0) rc = sntrGetValueAndRCForBaseVProperty(node, record, &size, &value, nullptr, &entry.rc, 1);
  if (rc == 0) entry.bytes = copyOf(value, size);
  entries.push_back(std::move(entry));
  return rc;
}

bool isBefore(const Entry &a, const Entry &b) {
  return std::forward_as_tuple(a.tag, a.id.size(), a.id) < std::forward_as_tuple(b.tag, b.id.size(), b.id);
}

// In the order of machine::kKinds.
constexpr uint32_t (*kReaders[])(SNodeCB_t *, Entries &) = {readV, readIR, readIV, readBaseR, readBaseV};
static_assert(std::size(kReaders) == machine::kKindCount);

}  // namespace

uint32_t readLists(SNodeCB_t *node, Lists &lists) {
  uint64_t options = 0;
  uint32_t rc = sntrReturnExports(node, &options);
  for (std::size_t kind = 0; kind < machine::kKindCount && rc == 0; ++kind) {
    lists.kinds[kind].reset();
    if ((options & machine::kKinds[kind].bit) == 0) continue;
    Entries &entries = lists.kinds[kind].emplace();
    rc = kReaders[kind](node, entries);
    std::sort(entries.begin(), entries.end(), isBefore);  // a table returns them in the order of its buckets
  }
  return rc;
}
