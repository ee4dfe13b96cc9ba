// SPDX-License-Identifier: MIT
// The property kinds as data: positions in the area of each, sizes, and result codes.
//
// Nothing here is computed from a kind's number: a row is complete, irregularities included. The templates of this
// folder take a kind struct (kind_types.h), which adds the types of key and value to its row.
// Thread safety: constants only.
#pragma once

#include <cstddef>
#include <cstdint>

#include "layout/rc.h"
#include "properties/record_layout.h"
#include "sntr/types.h"

namespace sntr {

// The position of a field that a kind does not have.
constexpr std::uint64_t kNoField = ~std::uint64_t{0};

// Bounds of the words of an area's header.
constexpr std::uint64_t kMaxIDSize = 0x1000;
constexpr std::uint64_t kMaxValueSize = 0x3000000;
constexpr std::uint64_t kBucketCountLimit = 0x186a4;

constexpr std::uint64_t kTailSize = sizeof(TableTail);

// A keyed kind. Positions and sizes in bytes; positions of the header fields from the start of the area. A slot is the
// links, the record, and room for identifier and value of the list's maximum sizes. A record of an array is a slot
// without its links. A table's header is longer than an array's if further bucket counts follow the first.
struct KindData {
  std::uint32_t selector;
  std::uint64_t arrayHeader;    // before the first record of an array
  std::uint64_t tableHeader;    // before the first bucket of a table
  std::uint64_t bucketCountAt;  // the first bucket count
  std::uint64_t bucketArrays;   // number of consecutive bucket counts, and of arrays of buckets
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
  Rc notFound;     // from the array walk, and from every get and set of a value
  Rc notInTable;   // from the hash table, and from counting and copying in both layouts
  Rc damaged;      // from a search
  Rc walkDamaged;  // from the record walkers
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
    .arrayHeader = sizeof(VAreaHeader),
    .tableHeader = sizeof(VAreaHeader),
    .bucketCountAt = offsetof(VAreaHeader, bucketCount),
    .bucketArrays = 1,
    .maxIDAt = kNoField,
    .maxValueAt = offsetof(VAreaHeader, maxValueSize),
    .chainSize = sizeof(std::uint64_t),
    .recordSize = sizeof(VRecord),
    .noOption = Rc::NoVOption,
    .badCount = Rc::BadVCount,
    .areaTooSmall = Rc::VAreaTooSmall,
    .tableAreaTooSmall = Rc::VTableAreaTooSmall,
    .exists = Rc::VExists,
    .listFull = Rc::VListFull,
    .notFound = Rc::VNotFound,
    .notInTable = Rc::VNotInTable,
    .damaged = Rc::VDamaged,
    .walkDamaged = Rc::RDamaged,  // the R kind's code, as published for the walkers of V
    .nullRecord = Rc::NullVRecord,
    .nullUsedOutput = Rc::NullVUsedOutput,
    .nullCapacityOutput = Rc::NullVCapacityOutput,
};

inline constexpr KindData kIRData = {
    .selector = SNTR_KIND_IR,
    .arrayHeader = offsetof(IRAreaHeader, tagBucketCount),
    .tableHeader = sizeof(IRAreaHeader),
    .bucketCountAt = offsetof(IRAreaHeader, tagIDBucketCount),
    .bucketArrays = 3,
    .maxIDAt = offsetof(IRAreaHeader, maxIDSize),
    .maxValueAt = kNoField,
    .chainSize = sizeof(KeyLinks),
    .recordSize = sizeof(IRRecord),
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
    .arrayHeader = offsetof(IVAreaHeader, tagBucketCount),
    .tableHeader = sizeof(IVAreaHeader),
    .bucketCountAt = offsetof(IVAreaHeader, tagIDBucketCount),
    .bucketArrays = 3,
    .maxIDAt = offsetof(IVAreaHeader, maxIDSize),
    .maxValueAt = offsetof(IVAreaHeader, maxValueSize),
    .chainSize = sizeof(KeyLinks),
    .recordSize = sizeof(IVRecord),
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

// Returns the row of a keyed kind, or null for any other number.
constexpr const KindData *findKind(std::uint32_t selector) {
  for (const KindData *row : {&kRData, &kVData, &kIRData, &kIVData}) {
    if (row->selector == selector) return row;
  }
  return nullptr;
}

// The single property of a base kind; its record lies at the start of its area.
struct BaseData {
  std::uint32_t selector;
  std::uint64_t recordSize;
  Rc noOption;
  Rc areaTooSmall;
  Rc notFound;
  Rc damaged;
  Rc nullRecord;
};

inline constexpr BaseData kBaseRData = {
    .selector = SNTR_KIND_BASE_R,
    .recordSize = sizeof(RRecord),
    .noOption = Rc::NoBaseROption,
    .areaTooSmall = Rc::BaseRAreaTooSmall,
    .notFound = Rc::BaseRNotFound,
    .damaged = Rc::BaseRDamaged,
    .nullRecord = Rc::NullBaseRRecord,
};

inline constexpr BaseData kBaseVData = {
    .selector = SNTR_KIND_BASE_V,
    .recordSize = sizeof(VRecord),
    .noOption = Rc::NoBaseVOption,
    .areaTooSmall = Rc::BaseVAreaTooSmall,
    .notFound = Rc::BaseVNotFound,
    .damaged = Rc::BaseVDamaged,
    .nullRecord = Rc::NullBaseVRecord,
};

}  // namespace sntr
