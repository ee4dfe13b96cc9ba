// SPDX-License-Identifier: MIT
// The system's reason for a failure, kept for ossGetLastSystemError(): one number per thread.
//
// A call that may fail does its work inside keepingSystemError() and stores errno next to the failed system call. A
// signal handler in between that calls the layer may leave its own number.
#pragma once

#include <cstdint>

#include "layout/rc.h"

namespace oss {

[[gnu::visibility("hidden"), gnu::tls_model("initial-exec")]] extern __thread int tSystemError;

// Stores the reason of the failure about to be reported; returns its code.
inline sntr::Rc systemFailure(sntr::Rc rc, int error) noexcept {
  tSystemError = error;
  return rc;
}

// Runs the work of a call, `Rc work()`. A failure leaves its reason, or 0; success leaves the former reason.
template <class Work>
sntr::Rc keepingSystemError(Work &&work) noexcept {
  const int former = tSystemError;
  tSystemError = 0;
  const sntr::Rc rc = work();
  if (!sntr::failed(rc)) tSystemError = former;
  return rc;
}

}  // namespace oss
