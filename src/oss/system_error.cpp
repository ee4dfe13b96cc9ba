// SPDX-License-Identifier: MIT
// See system_error.h; the contract is in oss/error.h.
#include "system_error.h"

#include <oss/error.h>

namespace oss {

__thread int tSystemError = 0;

}  // namespace oss

uint32_t ossGetLastSystemError(int *error) {
  if (error == nullptr) return sntr::code(sntr::Rc::OssBadArgument);
  *error = oss::tSystemError;
  return sntr::code(sntr::Rc::Ok);
}
