/* SPDX-License-Identifier: MIT */
// A file of /proc that is kept open, and the pieces of a line.
// Thread safety: one thread.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <string_view>
#include <vector>

class ProcFile {
 public:
  explicit ProcFile(const char *path) : descriptor_(open(path, O_RDONLY | O_CLOEXEC)), buffer_(8192) {}
  ~ProcFile() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  ProcFile(const ProcFile &) = delete;
  ProcFile &operator=(const ProcFile &) = delete;

  // Returns the file's contents; empty if unreadable. Valid until the next call. Allocates only for more bytes than
  // ever before.
  std::string_view read() {
    std::size_t length = 0;
    while (descriptor_ >= 0) {
      if (length == buffer_.size()) buffer_.resize(2 * length);
      const ssize_t got =
          pread(descriptor_, buffer_.data() + length, buffer_.size() - length, static_cast<off_t>(length));
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) return {};
      if (got == 0) break;
      length += static_cast<std::size_t>(got);
    }
    return {buffer_.data(), length};
  }

  int descriptor() const { return descriptor_; }

 private:
  int descriptor_;
  std::vector<char> buffer_;
};

namespace text {

// Takes the text up to the separator, or all of it, and removes the separator.
inline std::string_view take(std::string_view &text, char separator) {
  const std::size_t end = text.find(separator);
  const std::string_view taken = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return taken;
}

inline void skipBlanks(std::string_view &text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
}

inline std::string_view takeWord(std::string_view &text) {
  skipBlanks(text);
  return take(text, ' ');
}

inline bool takeNumber(std::string_view &text, std::uint64_t &number) {
  skipBlanks(text);
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return false;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return true;
}

// Reads "12.34" as 1234; there are always two digits behind the point.
inline bool takeHundredths(std::string_view &text, std::uint64_t &number) {
  std::uint64_t fraction = 0;
  if (!takeNumber(text, number) || !text.starts_with('.')) return false;
  text.remove_prefix(1);
  if (!takeNumber(text, fraction)) return false;
  number = number * 100 + fraction;
  return true;
}

}  // namespace text
