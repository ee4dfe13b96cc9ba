// Lines that the services layer adds to the trace of its own accord. Any thread; nothing happens while the trace is
// off.
#pragma once

#include <cstdint>

namespace oss {

// Memory was asked for and not given; the caller's source file and line, of which the first may be null.
void traceRefusedMemory(std::uint64_t size, const char *sourceTag, std::uint32_t line) noexcept;

}  // namespace oss
