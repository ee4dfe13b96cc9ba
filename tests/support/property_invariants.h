// What holds for an R list at rest, checked on the literal bytes of its node. Shares no code with the library: its
// hash, its offsets and its walk are written down again.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace support {

struct RListState {
  std::string faults;                            // empty when the list is sound, else one line a fault
  std::map<std::uint64_t, std::int32_t> values;  // live properties
  std::uint64_t handedOut = 0;                   // slots that were ever in use; 0 for an array
  std::uint64_t freed = 0;                       // slots on the stack
};

// The node's section is held, or nobody else uses the node.
RListState checkInvariants(const void *node);

}  // namespace support
