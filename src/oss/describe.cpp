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
  std::memcpy(buffer, line.text(), length);
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
    line.add("%s: %s", row->name, row->text);
    return sntr::code(copyText(line, buffer, size));
  }
  line.add("unknown result code 0x%08x", code);
  static_cast<void>(copyText(line, buffer, size));  // that the code is unknown says more than that the line was cut
  return sntr::code(Rc::OssUnknownCode);
}
