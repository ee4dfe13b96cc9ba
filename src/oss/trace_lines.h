// SPDX-License-Identifier: MIT
// Lines that the services layer itself adds to the trace, by any thread; they do nothing while the trace is off.
#pragma once

#include <cstdint>

#include "layout/rc.h"

namespace oss {

// Traces a refused allocation: its size, and the caller's source tag, which may be null, and line.
void traceRefusedMemory(std::uint64_t size, const char *sourceTag, std::uint32_t line) noexcept;

// Traces a segment that could not be created or attached (`attempt`): its path, result code, system's reason, and a
// further detail, which may be null.
void traceRefusedSegment(const char *attempt, const char *path, sntr::Rc rc, int error, const char *detail) noexcept;

}  // namespace oss
