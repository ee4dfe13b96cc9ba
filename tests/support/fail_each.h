// SPDX-License-Identifier: MIT
// Runs an operation once for each of its calls of the services layer, and makes that call fail (oss/fault.h).
// Thread safety: one thread; no other may use the services layer meanwhile.
#pragma once

#include <gtest/gtest.h>
#include <oss/fault.h>

#include <array>
#include <string>

#include "support/codes.h"

namespace support {

using sntr::Rc;

// Numbers of calls by their kind.
using Calls = std::array<std::uint64_t, OSSFaultKindCount>;

// Returns the library's code for a failed call of a kind, unless an operation has its own. A failed free is not
// reported, as the memory is gone all the same. Without a segment a domain has no handle, and that is no failure.
inline Rc usualCode(OSSFaultKind kind) {
  if (kind == OSSFaultMemoryAlloc) return Rc::DomainHandleAllocFailed;
  if (kind == OSSFaultMemoryFree || kind == OSSFaultSegmentCreate) return Rc::Ok;
  if (kind <= OSSFaultLatchRelease) return Rc::LatchFailed;
  if (kind <= OSSFaultAtomicSwap) return Rc::AtomicFailed;
  if (kind == OSSFaultSegmentAttach) return Rc::AttachFailed;
  if (kind <= OSSFaultSegmentGetInfo) return Rc::SegmentAddressFailed;
  return kind == OSSFaultSegmentDetach ? Rc::DetachFailed : Rc::DestroyFailed;
}

// For each call: prepares, runs the operation, `std::uint32_t run()`, and checks it, `check(kind, code)`; what is held
// after that is a leak. With `releaseToo` the next release of a latch fails as well. A run without a failing call ends
// each kind, and must succeed. Returns how many calls were made to fail.
template <class Prepare, class Run, class Check>
Calls failEach(const Prepare &prepare, const Run &run, const Check &check, bool releaseToo = false) {
  const auto held = [] {
    return std::array{ossFaultHeld(OSSFaultHeldBlocks), ossFaultHeld(OSSFaultHeldLatches),
                      ossFaultHeld(OSSFaultHeldSegments)};
  };
  Calls failed{};
  for (std::size_t i = 0; i < failed.size(); ++i) {
    const auto kind = static_cast<OSSFaultKind>(i);
    for (bool met = true; met && !testing::Test::HasFailure(); failed[i] += met) {
      SCOPED_TRACE("call " + std::to_string(failed[i] + 1) + " of kind " + std::to_string(i));
      prepare();
      const auto before = held();
      const std::uint64_t last = ossFaultCalls(kind) + failed[i];
      ossFaultArm(OSSFaultLatchRelease, releaseToo ? 1 : 0);
      ossFaultArm(kind, failed[i] + 1);
      const std::uint32_t code = run();
      ossFaultDisarm();
      EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), before[OSSFaultHeldLatches]) << "a latch is held";
      met = ossFaultCalls(kind) > last;
      if (met) check(kind, code);
      if (!met && !releaseToo) EXPECT_RC(code, Rc::Ok);
      EXPECT_EQ(held(), before) << "blocks, latches, segments";
    }
  }
  return failed;
}

}  // namespace support
