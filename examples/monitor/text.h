/* SPDX-License-Identifier: MIT */
// Appends formatted pieces and JSON to a text.
// Thread safety: any thread, on a text of its own.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <optional>
#include <string>

// Appends formatted text. Longer pieces than any used here would be cut, never overrun.
[[gnu::format(printf, 2, 3)]] inline void put(std::string &text, const char *format, ...) {
  char piece[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(piece, sizeof piece, format, arguments);
  va_end(arguments);
  text += piece;
}

// The members of a JSON object, with commas between them.
class JsonMembers {
 public:
  explicit JsonMembers(std::string &text) : text_(text) { text_ += '{'; }
  void end() { text_ += '}'; }

  void add(const std::string &name, const std::optional<double> &number) {
    addName(name);
    if (number) {
      put(text_, "%.10g", *number);  // all digits of a register
    } else {
      text_ += "null";
    }
  }

  void addName(const std::string &name) {
    if (text_.back() != '{') text_ += ',';
    addString(text_, name);
    text_ += ':';
  }

  // Escapes these two only: names and texts are already printable ASCII.
  static void addString(std::string &text, const std::string &string) {
    text += '"';
    for (const char character : string) {
      if (character == '"' || character == '\\') text += '\\';
      text += character;
    }
    text += '"';
  }

 private:
  std::string &text_;
};
