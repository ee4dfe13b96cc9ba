// SPDX-License-Identifier: MIT
// Creates nodes in private memory. Separate from node_create.cpp, so that it links without the storage manager.
// Thread safety: any thread.
#include <oss/memory.h>
#include <sntr/nodes.h>

#include "frame/trace.h"
#include "layout/version.h"
#include "tree/node_build.h"

namespace sntr {

namespace {

constexpr char kSourceTag[] = "sntr";

// Creates a node in memory of its own; frees the memory if the node cannot be built.
Rc createPrivate(const Trace &t, const NodePlan &plan, std::uint32_t latchVersion, SNodeCB_t *&node) {
  void *const memory = _ossMemAlloc(plan.total, kSourceTag, __LINE__);
  if (memory == nullptr) return t.fail(70, Rc::NodeAllocationFailed);
  node = static_cast<SNodeCB_t *>(memory);
  const Rc built = t.fail(80, buildNode(node, plan, latchVersion));
  if (failed(built)) t.note(85, static_cast<Rc>(_ossMemFree(memory, kSourceTag, __LINE__)));
  return built;
}

}  // namespace

}  // namespace sntr

using namespace sntr;

extern "C" {

std::uint32_t sntrCreateNodeInPM(SNodeCB_t **node, std::uint64_t options, const std::uint64_t *areaSizes,
                                 std::uint64_t *nodeSize, SNodeCB_t **address, std::uint32_t version,
                                 std::uint32_t latchVersion) {
  return traced(Fn::sntrCreateNodeInPM, [&](const Trace &t) {
    if (areaSizes == nullptr) return t.fail(10, Rc::NullAreaSizes);
    if (nodeSize == nullptr) return t.fail(20, Rc::NullSizeOutput);
    if (address == nullptr) return t.fail(30, Rc::NullOffsetOutput);
    if (node == nullptr) return t.fail(40, Rc::NullNode);
    NodePlan plan;
    if (Rc rc = planNode(options, areaSizes, plan); failed(rc)) return t.fail(50, rc);
    *nodeSize = plan.total;
    if (version != kVersionWord) return t.fail(60, Rc::BadVersion);
    SNodeCB_t *created = nullptr;
    if (Rc rc = createPrivate(t, plan, latchVersion, created); failed(rc)) return rc;
    *node = created;
    *address = created;
    return Rc::Ok;
  });
}

}  // extern "C"
