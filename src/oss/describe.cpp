// SPDX-License-Identifier: MIT
// Codes and function numbers as text; the contract is in oss/trace.h.
// Thread safety: any thread; the tables are constant.
#include <oss/trace.h>

#include <cstring>

#include "layout/functions.h"
#include "layout/rc.h"
#include "text_line.h"

namespace {

using sntr::Rc;

bool isUpper(char letter) { return letter >= 'A' && letter <= 'Z'; }
bool isLower(char letter) { return letter >= 'a' && letter <= 'z'; }

// Appends a code's name as in sntr/result_codes.h: IRListFull is SNTR_RC_IR_LIST_FULL. A word begins at a capital that
// follows a small letter or digit, or that precedes a small letter.
void addMacroName(oss::TextLine &line, const char *name) {
  line.text("SNTR_RC_");
  for (const char *at = name; *at != '\0'; ++at) {
    const bool begins = at != name && isUpper(at[0]) && (!isUpper(at[-1]) || isLower(at[1]));
    const char letter[] = {isLower(*at) ? static_cast<char>(*at - 'a' + 'A') : *at, '\0'};
    line.text(begins ? "_" : "").text(letter);
  }
}

// Copies as much as fits, with a NUL at the end.
Rc copyText(const oss::TextLine &line, char *buffer, uint64_t size) {
  const bool fits = line.length() < size;
  const std::size_t length = fits ? line.length() : size - 1;
  std::memcpy(buffer, line.get(), length);
  buffer[length] = '\0';
  return fits ? Rc::Ok : Rc::OssTruncated;
}

}  // namespace

const char *ecfGetFunctionName(uint32_t function) {
  const char *name = sntr::findFunctionName(function);
  return name != nullptr ? name : "unknown";
}

uint32_t ecfErrorGetDescription(uint32_t code, char *buffer, uint64_t size) {
  if (buffer == nullptr || size == 0) return sntr::code(Rc::OssBadArgument);
  oss::TextLine line;
  const sntr::RcRow *row = sntr::findResultCode(code);
  if (row != nullptr) {
    addMacroName(line, row->name);
    line.text(" (0x").hexadecimal(code, 8).text("): ").text(row->text);
    return sntr::code(copyText(line, buffer, size));
  }
  line.text("unknown result code 0x").hexadecimal(code, 8);
  static_cast<void>(copyText(line, buffer, size));  // an unknown code matters more than a truncated line
  return sntr::code(Rc::OssUnknownCode);
}
