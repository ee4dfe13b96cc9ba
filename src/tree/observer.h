// SPDX-License-Identifier: MIT
// The observer's record: private to a process, but of a published layout.
#pragma once

#include <sntr/status.h>

#include "layout/field_table.h"

namespace sntr {

inline constexpr FieldRow kObserverFields[] = {
    SNTR_FIELD(SNodeObserver, 0, 8, reserved0, "not interpreted"),
    SNTR_FIELD(SNodeObserver, 8, 4, livenessMode, "1 by counter, 2 by time"),
    SNTR_FIELD(SNodeObserver, 12, 12, reserved1, "not interpreted"),
    SNTR_FIELD(SNodeObserver, 24, 8, lookTime, "milliseconds since 1970 of the last look that found the node live"),
    SNTR_FIELD(SNodeObserver, 32, 128, reserved2, "not interpreted"),
    SNTR_FIELD(SNodeObserver, 160, 128, lookCounter, "the node's updateCounter at the last such look"),
};
static_assert(tiles(kObserverFields, 288) && sizeof(SNodeObserver) == 288);

}  // namespace sntr
