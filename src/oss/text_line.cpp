// SPDX-License-Identifier: MIT
// See text_line.h.
#include "text_line.h"

#include <chrono>

#include "layout/functions.h"
#include "layout/rc.h"

namespace oss {

TextLine &TextLine::time(std::uint64_t milliseconds) noexcept {
  // The language's calendar, because the C library's takes a lock.
  using std::chrono::days;
  const std::chrono::sys_time<std::chrono::milliseconds> moment(std::chrono::milliseconds{milliseconds});
  const auto day = std::chrono::floor<days>(moment);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(moment - day);
  const auto number = [this](auto count, int width, const char *end) {
    decimal(static_cast<std::uint64_t>(count), width).text(end);
  };
  number(static_cast<int>(date.year()), 4, "-");
  number(static_cast<unsigned>(date.month()), 2, "-");
  number(static_cast<unsigned>(date.day()), 2, "T");
  number(clock.hours().count(), 2, ":");
  number(clock.minutes().count(), 2, ":");
  number(clock.seconds().count(), 2, ".");
  number(clock.subseconds().count(), 3, "Z");
  return *this;
}

TextLine &TextLine::function(std::uint32_t function) noexcept {
  const char *name = sntr::findFunctionName(function);
  if (name != nullptr) {
    text(name);
  } else {
    text("function 0x").hexadecimal(function, 8);
  }
  return *this;
}

TextLine &TextLine::value(std::uint32_t value) noexcept {
  const sntr::RcRow *row = sntr::findResultCode(value);
  if (row != nullptr) text(row->name).text(" ");
  text("0x").hexadecimal(value, 8);
  return *this;
}

}  // namespace oss
