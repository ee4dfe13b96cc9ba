// SPDX-License-Identifier: MIT
// Result codes by name, and the table of their texts.
//
// Ground floor: may be included from anywhere, by both libraries.
//
// Thread safety: any thread; nothing here changes at run time.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sntr {

// The result of every function; nodiscard, so that no failure is ignored by accident.
enum class [[nodiscard]] Rc : std::uint32_t{
#define SNTR_RC(name, value, text) name = value,
#include "layout/result_codes.def"
#undef SNTR_RC
};

constexpr bool failed(Rc rc) { return rc != Rc::Ok; }

// Returns the number that crosses the C interface.
constexpr std::uint32_t code(Rc rc) { return static_cast<std::uint32_t>(rc); }

// Returns the first of two results that is a failure.
constexpr Rc firstFailure(Rc first, Rc second) { return failed(first) ? first : second; }

struct RcRow {
  Rc code;
  const char *name;
  const char *text;
};

inline constexpr RcRow kResultCodes[] = {
#define SNTR_RC(name, value, text) {Rc::name, #name, text},
#include "layout/result_codes.def"
#undef SNTR_RC
};

// Returns the row of a code, or null for an unknown value.
constexpr const RcRow *findResultCode(std::uint32_t value) {
  std::size_t low = 0;
  std::size_t high = sizeof(kResultCodes) / sizeof(kResultCodes[0]);
  while (low < high) {
    const std::size_t middle = low + (high - low) / 2;
    if (code(kResultCodes[middle].code) < value) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  const bool found = low < sizeof(kResultCodes) / sizeof(kResultCodes[0]) && code(kResultCodes[low].code) == value;
  return found ? &kResultCodes[low] : nullptr;
}

namespace detail {

constexpr bool resultCodesAscend() {
  for (std::size_t i = 1; i < sizeof(kResultCodes) / sizeof(kResultCodes[0]); ++i) {
    if (code(kResultCodes[i - 1].code) >= code(kResultCodes[i].code)) return false;
  }
  return true;
}

}  // namespace detail

static_assert(detail::resultCodesAscend(), "the search by halving needs ascending, distinct values");

}  // namespace sntr
