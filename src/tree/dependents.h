// SPDX-License-Identifier: MIT
// The dependents of a node and its parent, for the operations on whole trees: the one way from node to node.
// Thread safety: any thread, outside the sections of all nodes. Nodes are not null.
// Invariant: a dependent that was reached stays attached, and so in place, until it is released. Nothing else is held
// between two calls.
#pragma once

#include <cstdint>

#include "layout/rc.h"
#include "sntr/types.h"

namespace sntr {

// A dependent that was reached.
struct Dependent {
  SNodeCB_t *node;         // in this process; null for none
  std::uint64_t slot;      // position of its entry in its parent
  bool inSameSegment;      // true if it is in its parent's segment
  const void *attachment;  // the attachment to release
};

// Attaches the next dependent of a node from a slot on, past empty slots, and moves the slot behind it. Returns Ok,
// with a null node if there are no more. Returns NodeNotInitialized, NodeOnlyInitialized, NodeDisassociated or
// NodeAbandoned for a dependent in that condition, which is not attached; the slot moves behind it all the same. Other
// codes: the list is damaged or unreadable.
Rc nextDependent(SNodeCB_t *node, std::uint64_t &slot, Dependent &out);

// Releases an attachment. The dependent itself may have been freed since.
Rc releaseDependent(const Dependent &dependent);

// Frees an attached dependent and everything below it, and removes its entry from the node. Always releases it.
Rc deleteDependentAndSubtree(SNodeCB_t *node, const ShmSegInfo_t *info, const Dependent &dependent);

// Removes the entry of a freed dependent from the node. Returns NoSuchDependent if the entry no longer exists.
Rc removeDependentEntry(SNodeCB_t *node, const Dependent &dependent);

// Finds a node's parent and its entry there, by the node's information, tag and identifier. Returns Ok, with a null
// parent if there is none.
Rc findParent(SNodeCB_t *node, const ShmSegInfo_t *info, SNodeCB_t *&parent, Dependent &entry);

}  // namespace sntr
