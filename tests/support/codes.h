// SPDX-License-Identifier: MIT
// Result codes as texts, so that a failing comparison prints the names of both.
#pragma once

#include <cstdio>
#include <string>

#include "layout/rc.h"

#define EXPECT_RC(got, want) EXPECT_EQ(support::named(got), support::named(want))
#define ASSERT_RC(got, want) ASSERT_EQ(support::named(got), support::named(want))

namespace support {

inline std::string named(std::uint32_t value) {
  char digits[16];
  std::snprintf(digits, sizeof(digits), "0x%08x", static_cast<unsigned>(value));
  const sntr::RcRow *row = sntr::findResultCode(value);
  return std::string(row != nullptr ? row->name : "?") + " " + digits;
}

inline std::string named(sntr::Rc rc) { return named(sntr::code(rc)); }

}  // namespace support
