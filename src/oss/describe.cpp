// Codes and function numbers as text; the contract is in oss/trace.h. Any thread: the tables are constant.
#include <oss/trace.h>

#include <cstring>

#include "layout/functions.h"
#include "layout/rc.h"
#include "text_line.h"

namespace {

using sntr::Rc;

// Copies as much as fits and ends it with a NUL.
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
    line.text(row->name).text(": ").text(row->text);
    return sntr::code(copyText(line, buffer, size));
  }
  line.text("unknown result code 0x").hexadecimal(code, 8);
  static_cast<void>(copyText(line, buffer, size));  // that the code is unknown says more than that the line was cut
  return sntr::code(Rc::OssUnknownCode);
}
