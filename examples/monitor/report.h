/* SPDX-License-Identifier: MIT */
// The monitor's output for two samples of each node: the values of the later one, and the growth of counters in
// between.
// Thread safety: pure functions; any thread.
#pragma once

#include <string>
#include <vector>

#include "attachment.h"

struct Moment {
  std::vector<Liveness> states;  // of the nodes, in their order
  std::vector<Sample> samples;   // likewise
};

// Returns a table for people.
std::string asTable(const Attachment &attachment, const Moment &before, const Moment &now);

// Returns one JSON object, without an end of line: both processes and their base addresses, and every value of every
// node. A node has its identifier as its name, its tag, and "live", "late" or "gone" as its state. Unavailable values
// are null, and so is each kind of list ("v", "ir", "iv", "base_r", "base_v") that a node lacks; "properties" are the R
// list's. "rates" compares two samples; it is null if they are the same sample.
std::string asJson(const Attachment &attachment, const Moment &before, const Moment &now);
