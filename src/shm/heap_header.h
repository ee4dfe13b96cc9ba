// SPDX-License-Identifier: MIT
// The header of a storage heap: the start of a domain (heap type 1) or of a pool (heap type 2).
//
// Shared memory: every process that maps the segment reads these bytes, so no row may ever change. The header is two
// records with the user application area between them, because that area's size is known at run time only:
//
//     HeapHeader (0xf8) | user application area (R bytes) | HeapTail (0xf0) | skip-list area | managed space
//
// R is the user area's size rounded up to 8. Offsets of the tail's fields are from the tail's start; add 0xf8 + R.
#pragma once

#include <cstdint>

#include "frame/exclusive_latch.h"
#include "layout/field_table.h"
#include "layout/list_nodes.h"
#include "layout/offset.h"
#include "layout/rc.h"

namespace sntr {

enum class HeapType : std::uint32_t { Domain = 1, Pool = 2 };

// Shared.
struct HeapHeader {
  std::uint64_t reservedSelector;
  std::uint64_t handleAllocSelector;
  std::uint64_t latchSelector;
  std::uint64_t eyecatcher;
  std::uint64_t domainFlags;
  std::uint64_t heapHeaderOffset;
  std::uint64_t connectCount;
  std::uint64_t totalSize;
  std::uint64_t heapStat1;
  std::uint64_t heapStat2;
  std::uint64_t slotCount;
  std::uint64_t granule;
  ExclusiveLatch heapLatch;
  std::uint64_t topNodeWord;
  std::uint64_t userAppAreaSize;
};

inline constexpr FieldRow kHeapHeaderFields[] = {
    SNTR_FIELD(HeapHeader, 0x00, 8, reservedSelector, "the version word"),
    SNTR_FIELD(HeapHeader, 0x08, 8, handleAllocSelector, "the version word"),
    SNTR_FIELD(HeapHeader, 0x10, 8, latchSelector, "the version word"),
    SNTR_FIELD(HeapHeader, 0x18, 8, eyecatcher, "identifies a domain or a pool; 0 for neither"),
    SNTR_FIELD(HeapHeader, 0x20, 8, domainFlags, "bit 0: marked for deletion"),
    SNTR_FIELD(HeapHeader, 0x28, 8, heapHeaderOffset, "of this header, from the mapped start"),
    SNTR_FIELD(HeapHeader, 0x30, 8, connectCount, "handles connected"),
    SNTR_FIELD(HeapHeader, 0x38, 8, totalSize, "bytes of the domain, or of the pool with its header"),
    SNTR_FIELD(HeapHeader, 0x40, 8, heapStat1, "free bytes"),
    SNTR_FIELD(HeapHeader, 0x48, 8, heapStat2, "bytes in allocated chunks"),
    SNTR_FIELD(HeapHeader, 0x50, 8, slotCount, "node slots planned for the skip-list area"),
    SNTR_FIELD(HeapHeader, 0x58, 8, granule, "allocation unit"),
    SNTR_FIELD(HeapHeader, 0x60, 0x88, heapLatch, "guards the lists, the counters and connectCount"),
    SNTR_FIELD(HeapHeader, 0xe8, 8, topNodeWord, "0 for a domain; a pool's domain header offset"),
    SNTR_FIELD(HeapHeader, 0xf0, 8, userAppAreaSize, "bytes of the user application area"),
};
static_assert(tiles(kHeapHeaderFields, 0xf8) && sizeof(HeapHeader) == 0xf8);

// Shared. The padding of chunks; read under the skip-list latch at every allocation.
struct DebugSettings {
  std::uint32_t debugMode;
  std::uint32_t padType;
  std::uint32_t debugUsed;
  std::uint32_t reserved[5];
  std::uint32_t frontPadWords;
  std::uint32_t backPadWords;
};

inline constexpr FieldRow kDebugSettingsFields[] = {
    SNTR_FIELD(DebugSettings, 0x00, 4, debugMode, "0xb at creation"),
    SNTR_FIELD(DebugSettings, 0x04, 4, padType, "pad scheme of chunks"),
    SNTR_FIELD(DebugSettings, 0x08, 4, debugUsed, "1 since the first allocation"),
    SNTR_FIELD(DebugSettings, 0x0c, 20, reserved, "0"),
    SNTR_FIELD(DebugSettings, 0x20, 4, frontPadWords, "8-byte words before the caller's bytes, 1 to 8"),
    SNTR_FIELD(DebugSettings, 0x24, 4, backPadWords, "8-byte words behind them, 1 to 8"),
};
static_assert(tiles(kDebugSettingsFields, 0x28) && sizeof(DebugSettings) == 0x28);

// Shared.
struct HeapTail {
  std::uint64_t topNode[2];
  SharedListHeads lists;
  std::uint64_t reserved[4];
  DebugSettings debug;
  ExclusiveLatch skipListLatch;
};

inline constexpr FieldRow kHeapTailFields[] = {
    SNTR_FIELD(HeapTail, 0x00, 16, topNode, "top-node information"),
    SNTR_FIELD(HeapTail, 0x10, 16, lists, "heads of the shared lists"),
    SNTR_FIELD(HeapTail, 0x20, 32, reserved, "not written"),
    SNTR_FIELD(HeapTail, 0x40, 0x28, debug, "pad scheme of allocations"),
    SNTR_FIELD(HeapTail, 0x68, 0x88, skipListLatch, "guards the debug settings"),
};
static_assert(tiles(kHeapTailFields, 0xf0) && sizeof(HeapTail) == 0xf0);

constexpr std::uint64_t kFlagMarkedForDeletion = 1;

constexpr std::uint64_t kDomainEyecatcher = 0xf4eef00d;
constexpr std::uint64_t kPoolEyecatcher = 0xf00df4ee;

constexpr std::uint64_t kMaxSkipLevels = 25;

// Returns the bytes of the header with both its records.
constexpr std::uint64_t heapHeaderSize(std::uint64_t userAreaSize) {
  return roundUp8(roundUp8(userAreaSize) + sizeof(HeapHeader) + sizeof(HeapTail));
}
static_assert(heapHeaderSize(0) == 0x1e8 && heapHeaderSize(1) == 0x1f0);

// Returns the bytes at the start of the skip-list area: its words, the head of the allocated list, and two sentinels.
constexpr std::uint64_t skipListHeaderSize(std::uint64_t maxLevel) { return 0x48 * maxLevel + 0xd8; }

// Returns the bytes of a skip-list area planned for a slot count.
constexpr std::uint64_t skipListAreaSize(std::uint64_t slotCount, std::uint64_t maxLevel) {
  return roundUp8(slotCount * 0xb7 + skipListHeaderSize(maxLevel));
}
static_assert(skipListAreaSize(25, 7) == roundUp8(25 * 183 + 720));

}  // namespace sntr
