// SPDX-License-Identifier: MIT
// The out-of-line half of the trace scope: reached only if tracing is on, or if a failure is logged.
#include "frame/trace.h"

#include <oss/identity.h>
#include <oss/log.h>

namespace sntr {

namespace {

// Marks that the services layer's interface requires and gives no further meaning.
constexpr std::uint64_t kEntryFirst = 0;
constexpr std::uint64_t kEntrySecond = 1000000;
constexpr std::uint64_t kExitLast = 0;

// Severity of a failure that the caller can correct.
constexpr std::uint32_t kArgumentSeverity = 3;

}  // namespace

void Trace::entry(Fn fn) noexcept { _gtraceEntry(ossThreadID(), number(fn), kEntryFirst, kEntrySecond); }

void Trace::error(Fn fn, std::uint32_t probe, Rc rc) noexcept {
  _gtraceErrorVar(ossThreadID(), number(fn), probe, code(rc));
}

void Trace::exit(Fn fn, Rc rc) noexcept {
  const std::uint32_t value = code(rc);
  _gtraceExit(ossThreadID(), number(fn), &value, kExitLast);
}

void Trace::log(Fn fn, std::uint32_t probe, Rc rc) noexcept { ossLog(number(fn), code(rc), probe, kArgumentSeverity); }

}  // namespace sntr
