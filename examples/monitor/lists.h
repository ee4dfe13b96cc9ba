/* SPDX-License-Identifier: MIT */
// Reads a node's properties of the kinds beside R, by their keys.
// Thread safety: one thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "../machine/measures.h"

// One property. Registers have a number, the others bytes.
struct Entry {
  std::uint64_t tag = 0;
  std::string id;  // IR and IV
  std::int32_t number = 0;
  std::string bytes;
  std::uint64_t rc = machine::kNotAvailable;
};

// Replaces control characters: names and texts come from the segment and go to a terminal, which obeys them.
inline std::string printable(std::string_view text) {
  std::string result(text);
  for (char &character : result) {
    if (character < ' ' || character > '~') character = '?';
  }
  return result;
}

// The properties of each kind in the order of machine::kKinds, by tag and identifier (the shorter first), if the list
// exists.
struct Lists {
  std::optional<std::vector<Entry>> kinds[machine::kKindCount];
};

// Reads them all. The caller is in a section of the node, which lies wholly in the mapping. Returns the library's code.
std::uint32_t readLists(SNodeCB_t *node, Lists &lists);
