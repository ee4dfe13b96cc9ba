// Reading a node's properties of the kinds beside R: whatever is there, by its keys. One thread.
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

// Names and texts come from the segment and go to a terminal, which obeys control characters.
inline std::string printable(std::string_view text) {
  std::string result(text);
  for (char &character : result) {
    if (character < ' ' || character > '~') character = '?';
  }
  return result;
}

// The properties of each kind, by tag and then identifier (the shorter first), in the order of machine::kKinds; none where the node has no such list.
struct Lists {
  std::optional<std::vector<Entry>> kinds[machine::kKindCount];
};

// Reads them all. The caller is in a section of the node, which lies wholly in what is mapped. Answers the library's
// code.
std::uint32_t readLists(SNodeCB_t *node, Lists &lists);
