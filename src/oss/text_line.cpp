// See text_line.h.
#include "text_line.h"

#include <chrono>
#include <cstdarg>
#include <cstdio>

#include "layout/functions.h"
#include "layout/rc.h"

namespace oss {

void TextLine::add(const char *format, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, format);
  const int wanted = std::vsnprintf(text_ + length_, kSize - length_, format, arguments);
  va_end(arguments);
  if (wanted < 0) return;
  const std::size_t room = kSize - 1 - length_;
  length_ += static_cast<std::size_t>(wanted) < room ? static_cast<std::size_t>(wanted) : room;
}

void TextLine::addTime(std::uint64_t milliseconds) noexcept {
  // The calendar of the language's library, because the C library's takes a lock that a forked child may find held.
  using std::chrono::days;
  const std::chrono::sys_time<std::chrono::milliseconds> time(std::chrono::milliseconds{milliseconds});
  const auto day = std::chrono::floor<days>(time);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(time - day);
  add("%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
      static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
      static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count()),
      static_cast<int>(clock.subseconds().count()));
}

void TextLine::addFunction(std::uint32_t function) noexcept {
  const char *name = sntr::findFunctionName(function);
  if (name != nullptr) {
    add("%s", name);
  } else {
    add("function 0x%08x", function);
  }
}

void TextLine::addValue(std::uint32_t value) noexcept {
  const sntr::RcRow *row = sntr::findResultCode(value);
  if (row != nullptr) {
    add("%s 0x%08x", row->name, value);
  } else {
    add("0x%08x", value);
  }
}

}  // namespace oss
