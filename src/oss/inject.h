// SPDX-License-Identifier: MIT
// The switch between the product and the build for tests, used once by every call that a test can make fail.
//
// In the product each function is a constant, and the compiler removes it. The build for tests (OSS_FAULT_INJECTION)
// implements them in fault.cpp.
//
// Thread safety: any thread, at any moment.
#pragma once

#include <oss/fault.h>

#include <cstdint>

#include "layout/rc.h"

namespace oss {

using sntr::code;
using sntr::failed;
using sntr::Rc;

#ifdef OSS_FAULT_INJECTION

// Counts a call; returns true if it is the one to fail. Each call does this exactly once, before anything else.
bool injected(OSSFaultKind kind) noexcept;

// Counts an acquisition (1) or a release (-1).
void countHeld(OSSFaultHolding holding, int change) noexcept;

// Returns the time at which a test stopped the clock, or `running`.
std::uint64_t stoppedClockOr(std::uint64_t running) noexcept;

#else

constexpr bool injected(OSSFaultKind) noexcept { return false; }
constexpr void countHeld(OSSFaultHolding, int) noexcept {}
constexpr std::uint64_t stoppedClockOr(std::uint64_t running) noexcept { return running; }

#endif

// Returns the result of a release after its work is done: a real failure takes precedence over an injected one.
constexpr Rc reported(Rc done, bool madeToFail) noexcept {
  return madeToFail && !failed(done) ? Rc::OssInjected : done;
}

}  // namespace oss
