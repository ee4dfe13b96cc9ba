// SPDX-License-Identifier: MIT
// Entry, failure and exit traces of the exported functions, from one scope.
//
// An exported function passes its work to traced(); the work reports each failure once by t.fail(probe, rc). Probe
// numbers are small literals, distinct within a function. Only exported functions open a scope: functions below them
// return a result code, or take the caller's Trace.
//
// With tracing off the cost is one test at entry; the code that traces is out of line.
//
// Thread safety: any thread; a Trace stays on its own.
#pragma once

#include <oss/trace.h>

#include <cstdint>
#include <utility>

#include "layout/functions.h"
#include "layout/rc.h"

namespace sntr {

class Trace {
 public:
  explicit Trace(Fn fn) noexcept : fn_(fn), on_(facilityIsOn()) {
    if (on_) [[unlikely]]
      entry(fn);
  }
  Trace(const Trace &) = delete;
  Trace &operator=(const Trace &) = delete;

  // Traces a failure and returns it; passes success through untraced, for `return t.fail(3, step())`.
  Rc fail(std::uint32_t probe, Rc rc) const noexcept {
    if (on_ && failed(rc)) [[unlikely]]
      error(fn_, probe, rc);
    return rc;
  }

  // Traces a failure that does not end the call.
  void note(std::uint32_t probe, Rc rc) const noexcept { static_cast<void>(fail(probe, rc)); }

  // Traces a failure and writes it to the services layer's log too. For argument failures of the storage manager.
  Rc failLogged(std::uint32_t probe, Rc rc) const noexcept {
    if (failed(rc)) [[unlikely]]
      log(fn_, probe, rc);
    return fail(probe, rc);
  }

  // Ends the scope: traces the exit and returns the number that crosses the interface.
  std::uint32_t result(Rc rc) const noexcept {
    if (on_) [[unlikely]]
      exit(fn_, rc);
    return code(rc);
  }

  Fn function() const noexcept { return fn_; }

 private:
  static bool facilityIsOn() noexcept { return ossTraceIsOn() != 0; }

  // Arguments by value, so that a scope can live in registers.
  [[gnu::cold]] static void entry(Fn fn) noexcept;
  [[gnu::cold]] static void error(Fn fn, std::uint32_t probe, Rc rc) noexcept;
  [[gnu::cold]] static void exit(Fn fn, Rc rc) noexcept;
  [[gnu::cold]] static void log(Fn fn, std::uint32_t probe, Rc rc) noexcept;

  Fn fn_;
  bool on_;
};

// Runs the work of an exported function, `Rc work(Trace &)`, between its entry and exit traces.
template <class Work>
inline std::uint32_t traced(Fn fn, Work &&work) noexcept {
  Trace t(fn);
  return t.result(std::forward<Work>(work)(t));
}

}  // namespace sntr
