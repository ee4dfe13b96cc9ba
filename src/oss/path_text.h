// Paths with numbers in them, put together by hand: the C library's formatting takes longer, in a process that has not
// formatted anything yet, than opening the file does, and a program may want nothing but one value of us.
//
// Any thread; safe in a signal handler. The longest path of the layer fits; what is too long would be cut off.
#pragma once

#include <cstddef>
#include <cstdint>

namespace oss {

class PathText {
 public:
  static constexpr std::size_t kSize = 64;  // with the NUL behind

  PathText &text(const char *part) noexcept {
    while (*part != '\0') put(*part++);
    return *this;
  }
  PathText &decimal(std::uint32_t number) noexcept { return digits<10>(number, 1); }
  // With leading zeros up to a width.
  PathText &hexadecimal(std::uint64_t number, int width) noexcept { return digits<16>(number, width); }

  const char *get() const noexcept { return text_; }

 private:
  template <unsigned base>
  PathText &digits(std::uint64_t number, int width) noexcept {
    char reversed[20];  // the longest number has twenty decimal digits
    int count = 0;
    do {
      reversed[count++] = "0123456789abcdef"[number % base];
      number /= base;
    } while (number != 0 || count < width);
    while (count > 0) put(reversed[--count]);
    return *this;
  }
  void put(char character) noexcept {
    if (length_ < sizeof text_ - 1) text_[length_++] = character;
  }

  char text_[kSize] = {};
  std::size_t length_ = 0;
};

}  // namespace oss
