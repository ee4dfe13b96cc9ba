// The property kinds as data: where things stand in the area of each, how large they are, and its result codes.
//
// Nothing here is computed from a kind's number: a row is the whole truth about a kind, irregularities included. The
// templates of this room take a kind struct (RKind), which adds the types of its key and value to its row.
#pragma once

#include <oss/atomic.h>

#include <cstddef>
#include <cstdint>

#include "layout/rc.h"
#include "layout/words.h"
#include "properties/keys.h"
#include "properties/record_layout.h"
#include "sntr/types.h"

namespace sntr {

// Stands in a row for a field that the kind does not have.
constexpr std::uint64_t kNoField = ~std::uint64_t{0};

// Bounds of what an area's header may say.
constexpr std::uint64_t kMaxIDSize = 0x1000;
constexpr std::uint64_t kMaxValueSize = 0x3000000;
constexpr std::uint64_t kBucketCountLimit = 0x186a4;

constexpr std::uint64_t kTailSize = sizeof(TableTail);

// A keyed kind. Positions and sizes in bytes; positions of the header fields from the start of the area. A slot is the
// links, the record, and room for identifier and value of the list's maximum sizes; a record of an array is a slot
// without its links. A table's header is longer than an array's where further bucket counts follow the first.
struct KindData {
  std::uint32_t selector;
  std::uint64_t arrayHeader;    // before the first record of an array
  std::uint64_t tableHeader;    // before the first bucket of a table
  std::uint64_t bucketCountAt;  // the first bucket count
  std::uint64_t bucketArrays;   // how many bucket counts follow one another, and arrays of buckets
  std::uint64_t maxIDAt;
  std::uint64_t maxValueAt;
  std::uint64_t chainSize;   // links of a slot, before its record
  std::uint64_t recordSize;  // without identifier and value bytes
  Rc noOption;
  Rc badCount;
  Rc areaTooSmall;
  Rc tableAreaTooSmall;
  Rc exists;
  Rc listFull;
  Rc notFound;     // by the array walk, and by every get and set of a value
  Rc notInTable;   // by the hash table, and by counting and copying in both layouts
  Rc damaged;      // what a search finds
  Rc walkDamaged;  // what the record walkers find
  Rc nullRecord;
  Rc nullUsedOutput;
  Rc nullCapacityOutput;
};

inline constexpr KindData kRData = {
    .selector = SNTR_KIND_R,
    .arrayHeader = sizeof(RAreaHeader),
    .tableHeader = sizeof(RAreaHeader),
    .bucketCountAt = offsetof(RAreaHeader, bucketCount),
    .bucketArrays = 1,
    .maxIDAt = kNoField,
    .maxValueAt = kNoField,
    .chainSize = offsetof(RSlot, record),
    .recordSize = sizeof(RRecord),
    .noOption = Rc::NoROption,
    .badCount = Rc::BadRCount,
    .areaTooSmall = Rc::RAreaTooSmall,
    .tableAreaTooSmall = Rc::RTableAreaTooSmall,
    .exists = Rc::RExists,
    .listFull = Rc::RListFull,
    .notFound = Rc::RNotFound,
    .notInTable = Rc::RNotInTable,
    .damaged = Rc::RDamaged,
    .walkDamaged = Rc::RDamaged,
    .nullRecord = Rc::NullRRecord,
    .nullUsedOutput = Rc::NullRUsedOutput,
    .nullCapacityOutput = Rc::NullRCapacityOutput,
};

inline constexpr KindData kVData = {
    .selector = SNTR_KIND_V,
    .arrayHeader = 0x10,
    .tableHeader = 0x10,
    .bucketCountAt = 0x08,
    .bucketArrays = 1,
    .maxIDAt = kNoField,
    .maxValueAt = 0x00,
    .chainSize = 0x08,
    .recordSize = 0x1a8,
    .noOption = Rc::NoVOption,
    .badCount = Rc::BadVCount,
    .areaTooSmall = Rc::VAreaTooSmall,
    .tableAreaTooSmall = Rc::VTableAreaTooSmall,
    .exists = Rc::VExists,
    .listFull = Rc::VListFull,
    .notFound = Rc::VNotFound,
    .notInTable = Rc::VNotInTable,
    .damaged = Rc::VDamaged,
    .walkDamaged = Rc::RDamaged,  // the R kind's code: callers have always seen it from the walkers of V
    .nullRecord = Rc::NullVRecord,
    .nullUsedOutput = Rc::NullVUsedOutput,
    .nullCapacityOutput = Rc::NullVCapacityOutput,
};

inline constexpr KindData kIRData = {
    .selector = SNTR_KIND_IR,
    .arrayHeader = 0x10,
    .tableHeader = 0x20,
    .bucketCountAt = 0x08,
    .bucketArrays = 3,
    .maxIDAt = 0x00,
    .maxValueAt = kNoField,
    .chainSize = 0x28,
    .recordSize = 0x228,
    .noOption = Rc::NoIROption,
    .badCount = Rc::BadIRCount,
    .areaTooSmall = Rc::IRAreaTooSmall,
    .tableAreaTooSmall = Rc::IRTableAreaTooSmall,
    .exists = Rc::IRExists,
    .listFull = Rc::IRListFull,
    .notFound = Rc::IRNotFound,
    .notInTable = Rc::IRNotInTable,
    .damaged = Rc::IRDamaged,
    .walkDamaged = Rc::IRDamaged,
    .nullRecord = Rc::NullIRRecord,
    .nullUsedOutput = Rc::NullIRUsedOutput,
    .nullCapacityOutput = Rc::NullIRCapacityOutput,
};

inline constexpr KindData kIVData = {
    .selector = SNTR_KIND_IV,
    .arrayHeader = 0x18,
    .tableHeader = 0x28,
    .bucketCountAt = 0x10,
    .bucketArrays = 3,
    .maxIDAt = 0x00,
    .maxValueAt = 0x08,
    .chainSize = 0x28,
    .recordSize = 0x1b8,
    .noOption = Rc::NoIVOption,
    .badCount = Rc::BadIVCount,
    .areaTooSmall = Rc::IVAreaTooSmall,
    .tableAreaTooSmall = Rc::IVTableAreaTooSmall,
    .exists = Rc::IVExists,
    .listFull = Rc::IVListFull,
    .notFound = Rc::IVNotFound,
    .notInTable = Rc::IVNotInTable,
    .damaged = Rc::IVDamaged,
    .walkDamaged = Rc::IVDamaged,
    .nullRecord = Rc::NullIVRecord,
    .nullUsedOutput = Rc::NullIVUsedOutput,
    .nullCapacityOutput = Rc::NullIVCapacityOutput,
};

// The row of a keyed kind, or null for any other number.
constexpr const KindData *findKind(std::uint32_t selector) {
  for (const KindData *row : {&kRData, &kVData, &kIRData, &kIVData}) {
    if (row->selector == selector) return row;
  }
  return nullptr;
}

// A register at any address. Its operations assume no alignment.
inline OSSVAtomicSigned32 *cellAt(std::byte *address) { return reinterpret_cast<OSSVAtomicSigned32 *>(address); }

static_assert(alignof(OSSVAtomicSigned32) == 1, "records begin at any byte");

// R: a tag names a register.
struct RKind {
  static constexpr const KindData &data = kRData;
  static constexpr std::uint64_t rcAt = offsetof(RRecord, rc);
  static constexpr std::uint64_t valueAt = offsetof(RRecord, value);
  static constexpr Rc nullValueOutput = Rc::NullRValueOutput;

  using Key = TagKey;
  using Value = std::int32_t;

  // Fills a record that nothing leads to yet, all but its tag. AtomicFailed.
  static Rc fill(std::byte *record, const Key & /*key*/, Value value) {
    writeWord<std::uint64_t>(record + rcAt, 0);
    return cellAt(record + valueAt)->init(value, 1) == 0 ? Rc::Ok : Rc::AtomicFailed;
  }
};

}  // namespace sntr
