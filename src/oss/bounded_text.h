// SPDX-License-Identifier: MIT
// Text built in place, for paths and for lines of the trace and the log. It allocates nothing and truncates. The C
// library's formatting is not safe in a signal handler, and its first use takes longer than opening a file.
// Thread safety: any thread, also in a signal handler; a text belongs to the thread that builds it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace oss {

template <std::size_t size>
class BoundedText {
 public:
  static constexpr std::size_t kSize = size;  // including the NUL

  BoundedText &text(const char *part) noexcept {
    while (*part != '\0') put(*part++);
    return *this;
  }
  // Append a number, with leading zeros up to `width`, which is at most 20.
  BoundedText &decimal(std::uint64_t number, int width = 1) noexcept { return digits<10>(number, width); }
  BoundedText &hexadecimal(std::uint64_t number, int width = 1) noexcept { return digits<16>(number, width); }

  const char *get() const noexcept { return text_; }
  std::size_t length() const noexcept { return length_; }

 private:
  template <unsigned base>
  BoundedText &digits(std::uint64_t number, int width) noexcept {
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
    if (length_ < size - 1) text_[length_++] = character;
  }

  char text_[size] = {};
  std::size_t length_ = 0;  // below the size: a NUL follows
};

// Holds the longest path of the layer.
using PathText = BoundedText<64>;

}  // namespace oss
