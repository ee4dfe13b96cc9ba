// SPDX-License-Identifier: MIT
// Field tables: for each record in shared memory the offset, width, name and meaning of every field.
//
// Tables are checked at compile time: a row that disagrees with the record fails on its own line. A table with a gap,
// an overlap or a wrong end fails as a whole. Tools print live memory from the same tables.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace sntr {

struct FieldRow {
  std::uint32_t offset;
  std::uint32_t width;
  const char *field;
  const char *meaning;
};

// Never defined: a call in a constant expression stops the compilation at the wrong row.
void theFieldStandsAtAnotherOffset();
void theFieldHasAnotherWidth();

consteval FieldRow checkedRow(std::uint32_t offset, std::uint32_t width, std::size_t actualOffset,
                              std::size_t actualWidth, const char *field, const char *meaning) {
  if (offset != actualOffset) theFieldStandsAtAnotherOffset();
  if (width != actualWidth) theFieldHasAnotherWidth();
  return FieldRow{offset, width, field, meaning};
}

// Returns true if the rows follow one another from 0 to the size without gap or overlap.
consteval bool tiles(std::span<const FieldRow> rows, std::size_t size) {
  std::size_t end = 0;
  for (const FieldRow &row : rows) {
    if (row.offset != end) return false;
    end += row.width;
  }
  return end == size;
}

}  // namespace sntr

// One row: stated offset and width, the member, its meaning. A macro, because a member's name cannot be an argument.
#define SNTR_FIELD(Record, offset, width, member, meaning) \
  ::sntr::checkedRow(offset, width, offsetof(Record, member), sizeof(Record::member), #member, meaning)
