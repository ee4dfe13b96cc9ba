// SPDX-License-Identifier: MIT
// Records that locate a segment, its domain and its pool. They are private to a process, but stamped and of fixed
// layout: cleanup walks and frees records that other rooms, or the program, filled.
#pragma once

#include "layout/field_table.h"
#include "sntr/types.h"

namespace sntr {

inline constexpr FieldRow kSegmentInfoFields[] = {
    SNTR_FIELD(ShmSegInfo_t, 0, 4, recordVersion, "the version word in a record of the attach list"),
    SNTR_FIELD(ShmSegInfo_t, 4, 4, version, "the version word"),
    SNTR_FIELD(ShmSegInfo_t, 8, 4, latchVersion, "stamped into the latches of nodes created here"),
    SNTR_FIELD(ShmSegInfo_t, 12, 4, reserved0, "not interpreted"),
    SNTR_FIELD(ShmSegInfo_t, 16, 12, key, "the segment's key"),
    SNTR_FIELD(ShmSegInfo_t, 28, 4, reserved1, "not interpreted"),
    SNTR_FIELD(ShmSegInfo_t, 32, 8, reserved2, "not interpreted"),
    SNTR_FIELD(ShmSegInfo_t, 40, 8, domain, "the domain handle"),
    SNTR_FIELD(ShmSegInfo_t, 48, 8, pool, "the pool handle"),
    SNTR_FIELD(ShmSegInfo_t, 56, 8, reserved3, "not interpreted"),
    SNTR_FIELD(ShmSegInfo_t, 64, 8, reserved4, "not interpreted"),
};
static_assert(tiles(kSegmentInfoFields, 72) && sizeof(ShmSegInfo_t) == 72);

static_assert(sizeof(ShmDomainHandle) == 56 && sizeof(ShmPoolHandle) == 32, "sizes of the handles are published");
static_assert(sizeof(ShmHeapInfo) == 22 * 8, "the information record is 22 words");
static_assert(sizeof(SNodeInfo) == 56 && sizeof(SNodeParams) == 40, "sizes of the callers' records are published");

}  // namespace sntr
