// One line of text for a trace, a log or a person, built piece by piece in place: nothing is allocated, and what does
// not fit is cut off. A line belongs to the thread that builds it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace oss {

class TextLine {
 public:
  // Appends as printf would.
  [[gnu::format(printf, 2, 3)]] void add(const char *format, ...) noexcept;

  // Appends a time in milliseconds since 1970, as 2031-07-04T16:20:11.042Z.
  void addTime(std::uint64_t milliseconds) noexcept;

  // Appends the name of a function, or its number where it has no name.
  void addFunction(std::uint32_t function) noexcept;

  // Appends a result code as name and number; a value without a name as number alone.
  void addValue(std::uint32_t value) noexcept;

  const char *text() const noexcept { return text_; }
  std::size_t length() const noexcept { return length_; }

 private:
  static constexpr std::size_t kSize = 512;

  char text_[kSize] = {};
  std::size_t length_ = 0;  // always below kSize: there is a NUL behind
};

}  // namespace oss
