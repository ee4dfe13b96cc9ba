// SPDX-License-Identifier: MIT
// One line of text for a trace, a log or a user: bounded text with times, functions and codes.
#pragma once

#include <cstdint>

#include "bounded_text.h"

namespace oss {

class TextLine : public BoundedText<512> {
 public:
  // Appends a time in milliseconds since 1970, as 2031-07-04T16:20:11.042Z.
  TextLine &time(std::uint64_t milliseconds) noexcept;

  // Appends the name of a function, or its number if it has no name.
  TextLine &function(std::uint32_t function) noexcept;

  // Appends a result code as name and number; a value without a name as number alone.
  TextLine &value(std::uint32_t value) noexcept;
};

}  // namespace oss
