// SPDX-License-Identifier: MIT
// The version word: required in every version argument, and at the start of every stamped record. A mismatch is always
// a failure, never a fallback.
#pragma once

#include <cstdint>

namespace sntr {

constexpr std::uint32_t kVersionWord = 0x1317d17;

}  // namespace sntr
