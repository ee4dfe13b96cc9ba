// SPDX-License-Identifier: MIT
// The process-wide state: field tables of the globals of sntr/frame.h, and the guard of their spin latches.
// Latch order: sntrAPIInitLatch, then sntrSegAttachLatch; released in reverse. Segment operations take only the second.
//
// Both latches are private bytes of the process and record no owner. So code that holds one is short, takes neither
// again, and does not end the thread.
#pragma once

#include <sntr/frame.h>

#include <cstddef>

#include "layout/field_table.h"

namespace sntr {

inline constexpr FieldRow kSegmentInfoGlobalFields[] = {
    SNTR_FIELD(SegmentInfoGlobal, 0, 4, state, "filled or empty"),
    SNTR_FIELD(SegmentInfoGlobal, 4, 4, reserved, "not interpreted"),
    SNTR_FIELD(SegmentInfoGlobal, 8, 72, info, "the segment information; owns its handles"),
};
static_assert(tiles(kSegmentInfoGlobalFields, 80) && sizeof(SegmentInfoGlobal) == 80);

inline constexpr FieldRow kSegmentListHeadFields[] = {
    SNTR_FIELD(SegmentListHead, 0, 8, first, "first entry"),
    SNTR_FIELD(SegmentListHead, 8, 4, firstVersion, "first argument of the initialization"),
    SNTR_FIELD(SegmentListHead, 12, 4, reserved0, "not interpreted"),
    SNTR_FIELD(SegmentListHead, 16, 4, secondVersion, "second argument of the initialization"),
    SNTR_FIELD(SegmentListHead, 20, 4, reserved1, "not interpreted"),
    SNTR_FIELD(SegmentListHead, 24, 8, latchIdentity, "identity word of the latch"),
    SNTR_FIELD(SegmentListHead, 32, 4, latchState, "state of the latch"),
    SNTR_FIELD(SegmentListHead, 36, 4, reserved2, "not interpreted"),
    SNTR_FIELD(SegmentListHead, 40, 8, reserved3, "not interpreted"),
};
static_assert(tiles(kSegmentListHeadFields, 48) && sizeof(SegmentListHead) == 48);

// The latch of the segment information occupies the bytes of a later key, so it cannot be a member.
static_assert(offsetof(SegmentInfoGlobal, info.key) == 24 && offsetof(SegmentInfoGlobal, info.key.low) == 32);
static_assert(offsetof(SegmentInfoGlobal, info.domain) == 48 && offsetof(SegmentInfoGlobal, info.pool) == 56);

static_assert(sizeof(ModuleListHead) == 1064 && sizeof(SegAttachHead) == 24, "sizes of the list heads are published");

// Holds a spin latch for its lifetime. The release is one store and cannot fail.
class SpinGuard {
 public:
  explicit SpinGuard(std::uint8_t &latch) noexcept;
  ~SpinGuard();
  SpinGuard(const SpinGuard &) = delete;
  SpinGuard &operator=(const SpinGuard &) = delete;

 private:
  std::uint8_t &latch_;
};

}  // namespace sntr
