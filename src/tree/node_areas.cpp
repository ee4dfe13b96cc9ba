// SPDX-License-Identifier: MIT
// The exported lookup. It returns the entry itself, as published; the library uses only the checked copy of
// node_areas.h.
// Thread safety: any thread.
#include "tree/node_areas.h"

#include <sntr/nodes.h>

#include "frame/trace.h"

using namespace sntr;

extern "C" {

std::uint32_t sntrGetPExportPointer(AreaEntry **entry, SNodeCB_t *node, std::uint32_t kind) {
  return traced(Fn::sntrGetPExportPointer, [&](const Trace &t) {
    if (node == nullptr) return t.fail(10, Rc::NullNode);
    if (entry == nullptr) return t.fail(20, Rc::NullOutput);
    Area area{};
    if (Rc rc = findArea(node, kind, area); failed(rc)) return t.fail(30, rc);
    *entry = &node->areaTable[area.index];
    return Rc::Ok;
  });
}

}  // extern "C"
