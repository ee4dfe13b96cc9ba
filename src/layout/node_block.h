// SPDX-License-Identifier: MIT
// The node control block, its latch block and its area table: the field tables, and the limits of every node.
//
// Shared memory: each process that maps a node reads these bytes, so no row may ever change. Ground floor: depends on
// public records only.
#pragma once

#include "layout/field_table.h"
#include "sntr/types.h"

namespace sntr {

constexpr std::uint64_t kNodeEyecatcher = 0xcafec0ffee15bad8;
constexpr std::uint64_t kControlBlockSize = 0xb60;

inline constexpr FieldRow kLatchBlockFields[] = {
    SNTR_FIELD(SNodeLatchBlock_t, 0, 4, latchVersion, "the version word once the latches are initialized"),
    SNTR_FIELD(SNodeLatchBlock_t, 4, 64, latch, "held during every critical section of model 1"),
    SNTR_FIELD(SNodeLatchBlock_t, 68, 64, spareLatch, "initialized with the first, entered by nothing"),
    SNTR_FIELD(SNodeLatchBlock_t, 132, 128, writeCount, "write sections entered"),
    SNTR_FIELD(SNodeLatchBlock_t, 260, 128, writeInProgress, "1 while a writer is inside"),
};
static_assert(tiles(kLatchBlockFields, 388) && sizeof(SNodeLatchBlock_t) == 388);

inline constexpr FieldRow kAreaEntryFields[] = {
    SNTR_FIELD(AreaEntry, 0, 8, areaSize, "bytes, as given at creation"),
    SNTR_FIELD(AreaEntry, 8, 8, areaUsed, "bytes in use"),
    SNTR_FIELD(AreaEntry, 16, 8, areaOffset, "of the first byte, from the start of the node"),
};
static_assert(tiles(kAreaEntryFields, 24) && sizeof(AreaEntry) == 24);

inline constexpr FieldRow kNodeBlockFields[] = {
    SNTR_FIELD(SNodeCB_t, 0x000, 4, nodeParam0, "first word of the node parameters"),
    SNTR_FIELD(SNodeCB_t, 0x004, 4, nodeParam1, "second word of the node parameters"),
    SNTR_FIELD(SNodeCB_t, 0x008, 8, nodeParam2, "third word of the node parameters, widened"),
    SNTR_FIELD(SNodeCB_t, 0x010, 8, nodeTag, "the node's tag, 0 for none"),
    SNTR_FIELD(SNodeCB_t, 0x018, 8, nodeBase, "base address in the process that initialized the node"),
    SNTR_FIELD(SNodeCB_t, 0x020, 8, nodeSize, "bytes of the control block and all areas"),
    SNTR_FIELD(SNodeCB_t, 0x028, 8, nodeOptions, "option bits given at creation"),
    SNTR_FIELD(SNodeCB_t, 0x030, 8, nodeEyecatcher, "0xcafec0ffee15bad8 once initialized"),
    SNTR_FIELD(SNodeCB_t, 0x038, 4, statusMode, "liveness by 1 counter, 2 time"),
    SNTR_FIELD(SNodeCB_t, 0x03c, 4, nodeCondition, "1 created, 2 initialized, 3 active, 4 abandoned, 5 disassociated"),
    SNTR_FIELD(SNodeCB_t, 0x040, 4, nodeParam5, "sixth word of the node parameters"),
    SNTR_FIELD(SNodeCB_t, 0x044, 4, updateInterval, "milliseconds between two refreshes by the owner"),
    SNTR_FIELD(SNodeCB_t, 0x048, 8, nodeTime, "milliseconds since 1970 of the last refresh"),
    SNTR_FIELD(SNodeCB_t, 0x050, 128, reconfigCounter, "structural changes"),
    SNTR_FIELD(SNodeCB_t, 0x0d0, 128, updateCounter, "refreshes under status mode 1"),
    SNTR_FIELD(SNodeCB_t, 0x150, 128, auxCounter1, "set to 0 at initialization"),
    SNTR_FIELD(SNodeCB_t, 0x1d0, 128, auxCounter2, "set to 0 at initialization"),
    SNTR_FIELD(SNodeCB_t, 0x250, 388, primaryLatch, "latch block of every critical section"),
    SNTR_FIELD(SNodeCB_t, 0x3d4, 388, secondaryLatch, "initialized like the first, not entered"),
    SNTR_FIELD(SNodeCB_t, 0x558, 4, concurrencyModel, "1 latched; 0 and 2 to 5 unprotected"),
    SNTR_FIELD(SNodeCB_t, 0x55c, 4, reserved, "not written"),
    SNTR_FIELD(SNodeCB_t, 0x560, 1536, areaTable, "64 entries of size, use and offset"),
};
static_assert(tiles(kNodeBlockFields, kControlBlockSize) && sizeof(SNodeCB_t) == kControlBlockSize);

}  // namespace sntr
