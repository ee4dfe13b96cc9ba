// The switch between the product and the build for tests: asked once by every call that a test can make to fail.
//
// In the product each of these is a constant, so the compiler removes the question and nothing of it is left. In the
// build for tests (OSS_FAULT_INJECTION) they are answered in fault.cpp. Any thread, any moment.
#pragma once

#include <oss/fault.h>

#include <cstdint>

#include "layout/rc.h"

namespace oss {

using sntr::code;
using sntr::failed;
using sntr::Rc;

#ifdef OSS_FAULT_INJECTION

// Counts a call and tells whether this is the one to fail. To be asked exactly once a call, before anything else.
bool injected(OSSFaultKind kind) noexcept;

// Counts what was taken (1) or given back (-1).
void countHeld(OSSFaultHolding holding, int change) noexcept;

// The time at which a test has stopped the clock, or `running`.
std::uint64_t stoppedClockOr(std::uint64_t running) noexcept;

#else

constexpr bool injected(OSSFaultKind) noexcept { return false; }
constexpr void countHeld(OSSFaultHolding, int) noexcept {}
constexpr std::uint64_t stoppedClockOr(std::uint64_t running) noexcept { return running; }

#endif

// What a call that gives something back reports after its work is done: a real failure before a made one.
constexpr Rc reported(Rc done, bool madeToFail) noexcept {
  return madeToFail && !failed(done) ? Rc::OssInjected : done;
}

}  // namespace oss
