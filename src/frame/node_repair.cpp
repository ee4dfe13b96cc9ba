// A source of its own, so that a test can put its own repair in this place and see when it is reached.
#include "frame/node_repair.h"

namespace sntr {

void repairNode(SNodeCB_t * /*node*/) {}

}  // namespace sntr
