// The dependents of a node and its parent, as the operations on whole trees see them: the one way from node to node.
//
// Any thread, outside the sections of all nodes. A dependent that was reached is attached, so that it stays where it
// is, until it is released; nothing else is held between two calls. Nodes are not null.
#pragma once

#include <cstdint>

#include "layout/rc.h"
#include "sntr/types.h"

namespace sntr {

// A dependent that was reached.
struct Dependent {
  SNodeCB_t *node;         // in this process; null for none
  std::uint64_t slot;      // where its entry stands in its parent
  bool inSameSegment;      // its parent's
  const void *attachment;  // what attaching it left to be given back
};

// Attaches the next dependent of a node from a slot on, empty slots passed over, and moves the slot behind it. Ok with
// a null node when there is none any more. NodeNotInitialized, NodeOnlyInitialized, NodeDisassociated, NodeAbandoned
// for a dependent in that condition, which is not attached; the slot is moved behind it then too. Other codes: the list
// is damaged or could not be read.
Rc nextDependent(SNodeCB_t *node, std::uint64_t &slot, Dependent &out);

// Gives back what attaching took. The dependent itself may have been freed since.
Rc releaseDependent(const Dependent &dependent);

// Frees an attached dependent and everything below it, and takes its entry out of the node. It is released whatever the
// answer.
Rc deleteDependentAndSubtree(SNodeCB_t *node, const ShmSegInfo_t *info, const Dependent &dependent);

// Takes the entry of a dependent that was freed out of the node. NoSuchDependent when there is no such entry any more.
Rc removeDependentEntry(SNodeCB_t *node, const Dependent &dependent);

// Finds a node's parent and the node's entry in it, by the node's information, tag and identifier. Ok with a null
// parent when there is none.
Rc findParent(SNodeCB_t *node, const ShmSegInfo_t *info, SNodeCB_t *&parent, Dependent &entry);

}  // namespace sntr
