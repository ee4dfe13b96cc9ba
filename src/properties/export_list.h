// SPDX-License-Identifier: MIT
// Stores a caller's export list in a node.
// Thread safety: any thread; storeExportList() enters the node's write section.
#pragma once

#include <cstdint>
#include <cstring>

#include "frame/section.h"
#include "layout/words.h"
#include "properties/lookup.h"
#include "properties/property_area.h"

namespace sntr {

// Checks the first entries, for R, V, IR and IV properties and dependents. They have the bounds of the counts of these.
inline Rc checkExportEntries(const std::uint32_t *entries) {
  constexpr Rc kCodes[] = {Rc::BadRCount, Rc::BadVCount, Rc::BadIRCount, Rc::BadIVCount, Rc::BadDependentCount};
  for (std::size_t i = 0; i < std::size(kCodes); ++i) {
    if (entries[i] > SNTR_MAX_PROPERTIES) return kCodes[i];
  }
  return Rc::Ok;
}

// Stores the entries that are not 0; a caller changes only the entries that it names.
inline void writeExportEntries(const SNodeCB_t *node, const PropertyArea &area, const std::uint32_t *entries) {
  writeWord<std::uint64_t>(area.at(area.begin(), kWordSize), loadField(node->nodeOptions));
  std::byte *stored = area.at(area.begin() + offsetof(ExportListArea, entries), sizeof(ExportListArea::entries));
  for (std::size_t i = 0; i < kExportEntries; ++i) {
    if (entries[i] != 0) writeWord<std::uint32_t>(stored + i * sizeof(*entries), entries[i]);
  }
}

// Copies the entries before the checks: the caller may give a part of the stored list.
inline Rc storeExportList(const Trace &t, SNodeCB_t *node, const std::uint32_t *given) {
  if (node == nullptr) return t.fail(1, Rc::NullNode);
  if (given == nullptr) return t.fail(2, Rc::NullExportList);
  if ((loadField(node->nodeOptions) & SNTR_OPTION_EXPORT_LIST) == 0) return t.fail(3, Rc::NoExportList);
  std::uint32_t entries[kExportEntries];
  std::memcpy(entries, given, sizeof(entries));
  if (Rc rc = checkExportEntries(entries); failed(rc)) return t.fail(4, rc);
  PropertyArea area;
  if (Rc rc = area.open(node, SNTR_OPTION_EXPORT_LIST); failed(rc)) return t.fail(5, rc);
  if (area.size() < sizeof(ExportListArea)) return t.fail(6, Rc::AreaOverused);
  return writeSection(t, node, Held::No, [&]() -> Rc {
    if (Rc rc = checkCondition(node, kMaskCreateList); failed(rc)) return t.fail(7, rc);
    writeExportEntries(node, area, entries);
    return Rc::Ok;
  });
}

}  // namespace sntr
