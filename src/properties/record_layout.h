// The formats of the R area: its header, its tail, its slots and its records, each beside its field table.
//
// Shared memory: no row may ever change. An area may begin at any byte of a node, so these structs are never laid over
// memory; they give the tables and the offsets of fields, and words are reached through layout/words.h.
#pragma once

#include <oss/atomic.h>

#include <cstdint>

#include "layout/field_table.h"

namespace sntr {

// One R or BaseR property, and one element of an R array.
struct RRecord {
  std::uint64_t tag;
  std::uint64_t rc;
  OSSVAtomicSigned32 value;
};

inline constexpr FieldRow kRRecordFields[] = {
    SNTR_FIELD(RRecord, 0x00, 8, tag, "the property's tag; 0 marks an empty record of an array"),
    SNTR_FIELD(RRecord, 0x08, 8, rc, "the result code that the callers keep with the value"),
    SNTR_FIELD(RRecord, 0x10, 128, value, "the register"),
};
static_assert(tiles(kRRecordFields, 0x90) && sizeof(RRecord) == 0x90);

// One slot of an R hash table.
struct RSlot {
  std::uint64_t nextInBucket;
  RRecord record;
};

inline constexpr FieldRow kRSlotFields[] = {
    SNTR_FIELD(RSlot, 0x00, 8, nextInBucket, "offset of the next slot of the bucket, tags ascending; 0 at the end"),
    SNTR_FIELD(RSlot, 0x08, 0x90, record, "the property"),
};
static_assert(tiles(kRSlotFields, 0x98) && sizeof(RSlot) == 0x98);

// The start of an R area; the buckets of a table, or the records of an array, follow.
struct RAreaHeader {
  std::uint64_t bucketCount;
};

inline constexpr FieldRow kRAreaHeaderFields[] = {
    SNTR_FIELD(RAreaHeader, 0, 8, bucketCount, "number of buckets; 0 for an array"),
};
static_assert(tiles(kRAreaHeaderFields, 8) && sizeof(RAreaHeader) == 8);

// The end of every area that holds a table. The stack of freed slots grows down from here.
struct TableTail {
  std::uint64_t nextFreeOffset;
  std::uint64_t freedCount;
};

inline constexpr FieldRow kTableTailFields[] = {
    SNTR_FIELD(TableTail, 0, 8, nextFreeOffset, "offset of the first slot that was never used"),
    SNTR_FIELD(TableTail, 8, 8, freedCount, "freed slots on the stack"),
};
static_assert(tiles(kTableTailFields, 16) && sizeof(TableTail) == 16);

}  // namespace sntr
