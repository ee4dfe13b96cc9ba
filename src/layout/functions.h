// SPDX-License-Identifier: MIT
// The numbers of the traced functions by name, and the table that maps a number to its name.
//
// Ground floor: may be included from anywhere, by both libraries. Nothing here changes at run time.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sntr {

enum class Fn : std::uint32_t {
#define SNTR_FN(name, number) name = number,
#include "layout/function_numbers.def"
#undef SNTR_FN
};

constexpr std::uint32_t number(Fn fn) { return static_cast<std::uint32_t>(fn); }

struct FnRow {
  Fn number;
  const char *name;
};

inline constexpr FnRow kFunctions[] = {
#define SNTR_FN(name, number) {Fn::name, #name},
#include "layout/function_numbers.def"
#undef SNTR_FN
};

// Returns the name of a function, or null for an unknown number. Called only to render a trace line.
constexpr const char *findFunctionName(std::uint32_t wanted) {
  for (const FnRow &row : kFunctions) {
    if (number(row.number) == wanted) return row.name;
  }
  return nullptr;
}

namespace detail {

constexpr bool functionNumbersAscend() {
  for (std::size_t i = 1; i < sizeof(kFunctions) / sizeof(kFunctions[0]); ++i) {
    if (number(kFunctions[i - 1].number) >= number(kFunctions[i].number)) return false;
  }
  return true;
}

}  // namespace detail

static_assert(detail::functionNumbersAscend(), "a number stands for one function");

}  // namespace sntr
