// Field tables: for each record in shared memory the offset, width, name and meaning of every field.
//
// A table is checked when it is compiled: a row that disagrees with the record fails on its own line, and a table that
// leaves a gap, overlaps, or does not end where the record ends fails as a whole. The same tables print live memory.
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

// Never defined: a constant expression that would call one of these stops the compilation at the row that is wrong.
void theFieldStandsAtAnotherOffset();
void theFieldHasAnotherWidth();

consteval FieldRow checkedRow(std::uint32_t offset, std::uint32_t width, std::size_t actualOffset,
                              std::size_t actualWidth, const char *field, const char *meaning) {
  if (offset != actualOffset) theFieldStandsAtAnotherOffset();
  if (width != actualWidth) theFieldHasAnotherWidth();
  return FieldRow{offset, width, field, meaning};
}

// True when the rows follow one another without gap or overlap from 0 to the size.
consteval bool tiles(std::span<const FieldRow> rows, std::size_t size) {
  std::size_t end = 0;
  for (const FieldRow &row : rows) {
    if (row.offset != end) return false;
    end += row.width;
  }
  return end == size;
}

}  // namespace sntr

// One row: stated offset and width, the member, what it means. A macro because a member's name cannot be an argument.
#define SNTR_FIELD(Record, offset, width, member, meaning) \
  ::sntr::checkedRow(offset, width, offsetof(Record, member), sizeof(Record::member), #member, meaning)
