// SPDX-License-Identifier: MIT
// See dependents.h. This version of the library gives nodes no dependents, so a node is a tree of its own.
//
// A source of its own, so that a test can replace it with its own tree.
#include "tree/dependents.h"

namespace sntr {

Rc nextDependent(SNodeCB_t * /*node*/, std::uint64_t & /*slot*/, Dependent &out) {
  out = Dependent{};
  return Rc::Ok;
}

Rc releaseDependent(const Dependent & /*dependent*/) { return Rc::Ok; }

Rc deleteDependentAndSubtree(SNodeCB_t * /*node*/, const ShmSegInfo_t * /*info*/, const Dependent & /*dependent*/) {
  return Rc::NoSuchDependent;
}

Rc removeDependentEntry(SNodeCB_t * /*node*/, const Dependent & /*dependent*/) { return Rc::NoSuchDependent; }

Rc findParent(SNodeCB_t * /*node*/, const ShmSegInfo_t * /*info*/, SNodeCB_t *&parent, Dependent & /*entry*/) {
  parent = nullptr;
  return Rc::Ok;
}

}  // namespace sntr
