// SPDX-License-Identifier: MIT
// The formats of the property areas: headers, tail, slots and records of each kind, each beside its field table.
//
// An area may begin at any byte of a node, so these structs are never laid over memory. They define the tables and the
// offsets of fields; layout/words.h accesses the words.
// Invariant: this is shared memory, so no row may ever change.
#pragma once

#include <oss/atomic.h>

#include <cstdint>

#include "layout/field_table.h"
#include "sntr/types.h"

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

// One V or BaseV property, and one element of a V array; room for the value follows.
struct VRecord {
  std::uint64_t tag;
  std::uint64_t rc;
  std::uint64_t valueOffset;
  std::uint64_t valueSize;
  SNodeLatchBlock_t propertyLatches;
  std::uint32_t unused;
};

inline constexpr FieldRow kVRecordFields[] = {
    SNTR_FIELD(VRecord, 0x000, 8, tag, "the property's tag; 0 marks an empty record of an array"),
    SNTR_FIELD(VRecord, 0x008, 8, rc, "the result code that the callers keep with the value"),
    SNTR_FIELD(VRecord, 0x010, 8, valueOffset, "offset of the value's bytes: behind this record"),
    SNTR_FIELD(VRecord, 0x018, 8, valueSize, "bytes in the value"),
    SNTR_FIELD(VRecord, 0x020, 388, propertyLatches, "initialized with the record, entered by nothing"),
    SNTR_FIELD(VRecord, 0x1a4, 4, unused, "not written"),
};
static_assert(tiles(kVRecordFields, 0x1a8) && sizeof(VRecord) == 0x1a8);

// One IR property, and one element of an IR array; room for the identifier follows.
struct IRRecord {
  std::uint64_t tag;
  std::uint64_t rc;
  std::uint64_t idOffset;
  std::uint64_t idLength;
  OSSVAtomicSigned32 value;
  SNodeLatchBlock_t propertyLatches;
  std::uint32_t unused;
};

inline constexpr FieldRow kIRRecordFields[] = {
    SNTR_FIELD(IRRecord, 0x000, 8, tag, "the property's tag; 0 marks an empty record of an array"),
    SNTR_FIELD(IRRecord, 0x008, 8, rc, "the result code that the callers keep with the value"),
    SNTR_FIELD(IRRecord, 0x010, 8, idOffset, "offset of the identifier's bytes: behind this record"),
    SNTR_FIELD(IRRecord, 0x018, 8, idLength, "bytes in the identifier"),
    SNTR_FIELD(IRRecord, 0x020, 128, value, "the register"),
    SNTR_FIELD(IRRecord, 0x0a0, 388, propertyLatches, "initialized with the record, entered by nothing"),
    SNTR_FIELD(IRRecord, 0x224, 4, unused, "not written"),
};
static_assert(tiles(kIRRecordFields, 0x228) && sizeof(IRRecord) == 0x228);

// One IV property, and one element of an IV array; room for the identifier follows, then room for the value.
struct IVRecord {
  std::uint64_t tag;
  std::uint64_t rc;
  std::uint64_t idOffset;
  std::uint64_t idLength;
  std::uint64_t valueOffset;
  std::uint64_t valueSize;
  SNodeLatchBlock_t propertyLatches;
  std::uint32_t unused;
};

inline constexpr FieldRow kIVRecordFields[] = {
    SNTR_FIELD(IVRecord, 0x000, 8, tag, "the property's tag; 0 marks an empty record of an array"),
    SNTR_FIELD(IVRecord, 0x008, 8, rc, "the result code that the callers keep with the value"),
    SNTR_FIELD(IVRecord, 0x010, 8, idOffset, "offset of the identifier's bytes: behind this record"),
    SNTR_FIELD(IVRecord, 0x018, 8, idLength, "bytes in the identifier"),
    SNTR_FIELD(IVRecord, 0x020, 8, valueOffset, "offset of the value's bytes: behind the room for the identifier"),
    SNTR_FIELD(IVRecord, 0x028, 8, valueSize, "bytes in the value"),
    SNTR_FIELD(IVRecord, 0x030, 388, propertyLatches, "initialized with the record, entered by nothing"),
    SNTR_FIELD(IVRecord, 0x1b4, 4, unused, "not written"),
};
static_assert(tiles(kIVRecordFields, 0x1b8) && sizeof(IVRecord) == 0x1b8);

// The links of an IR or IV slot; the record follows. The links of the tag and identifier chains lead from word to word,
// not from slot to slot.
struct KeyLinks {
  std::uint64_t nextInBucket;
  std::uint64_t tagNext;
  std::uint64_t tagPrev;
  std::uint64_t idNext;
  std::uint64_t idPrev;
};

inline constexpr FieldRow kKeyLinksFields[] = {
    SNTR_FIELD(KeyLinks, 0x00, 8, nextInBucket, "offset of the next slot of the full-key bucket, keys ascending; or 0"),
    SNTR_FIELD(KeyLinks, 0x08, 8, tagNext, "offset of the next slot's tagNext in the tag bucket, newest first; or 0"),
    SNTR_FIELD(KeyLinks, 0x10, 8, tagPrev, "offset of the word that leads here: the bucket, or a tagNext; 0: no chain"),
    SNTR_FIELD(KeyLinks, 0x18, 8, idNext, "offset of the next slot's idNext in the identifier bucket; or 0"),
    SNTR_FIELD(KeyLinks, 0x20, 8, idPrev, "offset of the word that leads here: the bucket, or an idNext; 0: no chain"),
};
static_assert(tiles(kKeyLinksFields, 0x28) && sizeof(KeyLinks) == 0x28);

// The headers of the other areas. An array's header ends behind its first bucket count, which is 0: its first record
// lies where a table has the further counts.
struct VAreaHeader {
  std::uint64_t maxValueSize;
  std::uint64_t bucketCount;
};

inline constexpr FieldRow kVAreaHeaderFields[] = {
    SNTR_FIELD(VAreaHeader, 0, 8, maxValueSize, "room for the value in each record"),
    SNTR_FIELD(VAreaHeader, 8, 8, bucketCount, "number of buckets; 0 for an array"),
};
static_assert(tiles(kVAreaHeaderFields, 16) && sizeof(VAreaHeader) == 16);

struct IRAreaHeader {
  std::uint64_t maxIDSize;
  std::uint64_t tagIDBucketCount;
  std::uint64_t tagBucketCount;
  std::uint64_t idBucketCount;
};

inline constexpr FieldRow kIRAreaHeaderFields[] = {
    SNTR_FIELD(IRAreaHeader, 0x00, 8, maxIDSize, "room for the identifier in each record"),
    SNTR_FIELD(IRAreaHeader, 0x08, 8, tagIDBucketCount, "buckets by tag and identifier; 0 for an array"),
    SNTR_FIELD(IRAreaHeader, 0x10, 8, tagBucketCount, "buckets by tag alone; only in a table"),
    SNTR_FIELD(IRAreaHeader, 0x18, 8, idBucketCount, "buckets by identifier alone; only in a table"),
};
static_assert(tiles(kIRAreaHeaderFields, 0x20) && sizeof(IRAreaHeader) == 0x20);

struct IVAreaHeader {
  std::uint64_t maxIDSize;
  std::uint64_t maxValueSize;
  std::uint64_t tagIDBucketCount;
  std::uint64_t tagBucketCount;
  std::uint64_t idBucketCount;
};

inline constexpr FieldRow kIVAreaHeaderFields[] = {
    SNTR_FIELD(IVAreaHeader, 0x00, 8, maxIDSize, "room for the identifier in each record"),
    SNTR_FIELD(IVAreaHeader, 0x08, 8, maxValueSize, "room for the value in each record"),
    SNTR_FIELD(IVAreaHeader, 0x10, 8, tagIDBucketCount, "buckets by tag and identifier; 0 for an array"),
    SNTR_FIELD(IVAreaHeader, 0x18, 8, tagBucketCount, "buckets by tag alone; only in a table"),
    SNTR_FIELD(IVAreaHeader, 0x20, 8, idBucketCount, "buckets by identifier alone; only in a table"),
};
static_assert(tiles(kIVAreaHeaderFields, 0x28) && sizeof(IVAreaHeader) == 0x28);

// The export list of a node: its callers' statements about its properties.
constexpr std::size_t kExportEntries = 58;

struct ExportListArea {
  std::uint64_t nodeOptions;
  std::uint32_t entries[kExportEntries];
};

inline constexpr FieldRow kExportListFields[] = {
    SNTR_FIELD(ExportListArea, 0, 8, nodeOptions, "the node's option bits, as of the last store"),
    SNTR_FIELD(ExportListArea, 8, 232, entries, "0 to 4: R, V, IR, IV, dependents, at most 0x8000 each; the rest free"),
};
static_assert(tiles(kExportListFields, 240) && sizeof(ExportListArea) == 240);

// The end of every area with a table. The stack of freed slots grows down from here.
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
