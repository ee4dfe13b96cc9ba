// SPDX-License-Identifier: MIT
// See exclusive_latch.h. The selector is written after the latch: a process that sees it may use the latch.
#include "frame/exclusive_latch.h"

#include <sntr/latches.h>

#include "frame/trace.h"
#include "layout/version.h"
#include "layout/words.h"

namespace sntr {

namespace {

Rc check(const ExclusiveLatch *latch) {
  if (latch == nullptr) return Rc::NullExclusiveLatch;
  return readWord<std::uint32_t>(&latch->latchSelector) == kVersionWord ? Rc::Ok : Rc::BadLatchVersion;
}

// Traces a failure. The latches belong to the storage manager, which logs bad arguments; LatchFailed is not one.
Rc report(const Trace &t, Rc rc) { return rc == Rc::LatchFailed ? t.fail(20, rc) : t.failLogged(10, rc); }

}  // namespace

Rc initializeExclusiveLatch(ExclusiveLatch *latch, std::uint64_t selector) {
  if (latch == nullptr) return Rc::NullExclusiveLatch;
  if (selector != kVersionWord) return Rc::BadLatchVersion;
  if (ossVLatchInit(&latch->latch, 1) != 0) return Rc::LatchFailed;
  publishWord<std::uint32_t>(&latch->latchSelector, kVersionWord);
  return Rc::Ok;
}

Rc enterExclusive(ExclusiveLatch *latch) {
  if (Rc rc = check(latch); failed(rc)) return rc;
  return ossVLatchGet(&latch->latch) == 0 ? Rc::Ok : Rc::LatchFailed;
}

Rc exitExclusive(ExclusiveLatch *latch) {
  if (Rc rc = check(latch); failed(rc)) return rc;
  return ossVLatchRelease(&latch->latch) == 0 ? Rc::Ok : Rc::LatchFailed;
}

}  // namespace sntr

using namespace sntr;

extern "C" {

std::uint32_t sntrInitializeExsLatch(void *address, std::uint64_t latchSelector) {
  return traced(Fn::sntrInitializeExsLatch, [&](const Trace &t) {
    return report(t, initializeExclusiveLatch(static_cast<ExclusiveLatch *>(address), latchSelector));
  });
}

std::uint32_t sntrEnterELCriticalSection(void *address) {
  return traced(Fn::sntrEnterELCriticalSection,
                [&](const Trace &t) { return report(t, enterExclusive(static_cast<ExclusiveLatch *>(address))); });
}

std::uint32_t sntrExitELCriticalSection(void *address) {
  return traced(Fn::sntrExitELCriticalSection,
                [&](const Trace &t) { return report(t, exitExclusive(static_cast<ExclusiveLatch *>(address))); });
}

}  // extern "C"
