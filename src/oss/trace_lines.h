// Lines that the services layer adds to the trace of its own accord. Any thread; nothing happens while the trace is
// off.
#pragma once

#include <cstdint>

#include "layout/rc.h"

namespace oss {

// Memory was asked for and not given; the caller's source file and line, of which the first may be null.
void traceRefusedMemory(std::uint64_t size, const char *sourceTag, std::uint32_t line) noexcept;

// A segment could not be created or attached (`attempt`): its path, the result code, the system's reason, and a detail
// that neither tells, which may be null.
void traceRefusedSegment(const char *attempt, const char *path, sntr::Rc rc, int error, const char *detail) noexcept;

}  // namespace oss
