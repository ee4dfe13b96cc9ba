// SPDX-License-Identifier: MIT
// Initializes a node: checks outside the section, and one write section for all stores.
// Thread safety: any thread, outside the node's section.
#include <sntr/nodes.h>

#include "frame/section.h"
#include "layout/words.h"
#include "tree/node_contents.h"
#include "tree/node_params.h"

namespace sntr {

namespace {

Rc resetCounters(SNodeCB_t *node) {
  for (OSSVAtomicSigned32 *counter :
       {&node->reconfigCounter, &node->updateCounter, &node->auxCounter1, &node->auxCounter2}) {
    if (counter->init(0, 1) != 0) return Rc::AtomicFailed;
  }
  return Rc::Ok;
}

// Stores the parameters last, because they change the node's condition; they are stored even if an area could not be
// filled. If both fail, returns the area's code.
Rc initialize(const Trace &t, SNodeCB_t *node, const NodeContents &contents, const SNodeParams &params) {
  if (Rc rc = resetCounters(node); failed(rc)) return t.fail(40, rc);
  node->nodeTag = 0;
  node->nodeBase = contents.base;
  node->nodeEyecatcher = kNodeEyecatcher;
  const Rc filled = t.fail(50, fillAreas(node, contents));
  return firstFailure(filled, t.fail(60, storeParams(node, params)));
}

}  // namespace

}  // namespace sntr

using namespace sntr;

extern "C" {

std::uint32_t sntrInitNode(SNodeCB_t **node, std::uint64_t base, std::uint64_t idLength, const void *id,
                           const SNodeInfo *info, const void *infoData, std::uint64_t capacity, const void *record24,
                           const void *record1056, const SNodeParams *parameters) {
  return traced(Fn::sntrInitNode, [&](const Trace &t) {
    if (node == nullptr || *node == nullptr) return t.fail(10, Rc::NullNode);
    SNodeCB_t *const target = *node;
    NodeContents contents{.options = loadField(target->nodeOptions),
                          .base = base,
                          .idLength = idLength,
                          .id = id,
                          .info = info,
                          .infoData = infoData,
                          .infoDataSize = 0,
                          .capacity = capacity,
                          .record24 = record24,
                          .record1056 = record1056};
    if (Rc rc = checkContents(contents); failed(rc)) return t.fail(20, rc);
    SNodeParams resolved;
    if (Rc rc = resolveParams(parameters, SNTR_CONDITION_INITIALIZED, resolved); failed(rc)) return t.fail(30, rc);
    return writeSection(t, target, Held::No, [&] { return initialize(t, target, contents, resolved); });
  });
}

}  // extern "C"
