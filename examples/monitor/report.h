// What the monitor shows of two samples of each node: the values of the later one, and what counters grew by in between.
// Pure functions; any thread.
#pragma once

#include <string>
#include <vector>

#include "attachment.h"

struct Moment {
  std::vector<Liveness> states;  // likewise
  std::vector<Sample> samples;   // of the nodes, in their order
};

// A table for people.
std::string asTable(const Attachment &attachment, const Moment &before, const Moment &now);

// One JSON object, without an end of line: both processes and their base addresses, and every value of every node,
// with the node's identifier as its name, its tag, and "live", "late" or "gone" as its state.
// Values that are not available are null, and so is each kind of list ("v", "ir", "iv", "base_r", "base_v") that a node
// has not; "properties" are the R list's. Beside the properties as they are published, "rates" has what two samples
// tell together; it is null where they are the same sample.
std::string asJson(const Attachment &attachment, const Moment &before, const Moment &now);
