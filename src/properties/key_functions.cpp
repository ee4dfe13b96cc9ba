// SPDX-License-Identifier: MIT
// The exported functions on keys alone: digits, hashes, bucket counts, order.
// Thread safety: any thread; none reads a node.
// Invariant: a bucket count of 0, which marks an array, never reaches a division.
#include <cstring>

#include "frame/trace.h"
#include "layout/rc.h"
#include "properties/kinds.h"
#include "properties/prime.h"
#include "properties/tag_hash.h"
#include "sntr/property_tables.h"

namespace sntr {

namespace {

// Returns true for the two kinds with identifiers, and for two options that also use this order.
constexpr bool hasKeyOrder(std::uint32_t kind) {
  return kind == SNTR_KIND_IR || kind == SNTR_KIND_IV || kind == SNTR_OPTION_NODE_ID || kind == SNTR_OPTION_DEPENDENTS;
}

struct TagAndID {
  std::uint64_t tag;
  const void *id;
  std::uint64_t idLength;
};

constexpr std::int64_t orderOf(std::uint64_t first, std::uint64_t second) {
  return first < second ? -1 : static_cast<std::int64_t>(first > second);
}

Rc checkComparison(const TagAndID &first, const TagAndID &second, std::uint32_t kind, const std::int64_t *order) {
  if (!hasKeyOrder(kind)) return Rc::BadKind;
  if (first.id == nullptr || second.id == nullptr) return Rc::NullID;
  if (order == nullptr) return Rc::NullOrderOutput;
  if (first.tag > SNTR_MAX_TAG || second.tag > SNTR_MAX_TAG) return Rc::TagTooLarge;
  const bool tooLong = first.idLength > kMaxIDSize || second.idLength > kMaxIDSize;
  return tooLong ? Rc::ComparedIDTooLong : Rc::Ok;
}

// Compares by tag, then by length, then byte by byte.
std::int64_t compareKeys(const TagAndID &first, const TagAndID &second) {
  if (first.tag != second.tag) return orderOf(first.tag, second.tag);
  if (first.idLength != second.idLength) return orderOf(first.idLength, second.idLength);
  return std::memcmp(first.id, second.id, first.idLength);
}

}  // namespace

}  // namespace sntr

using namespace sntr;

void sntrConvertNumberToKey(uint64_t number, char *key, uint64_t *keyLength) {
  if (key == nullptr || keyLength == nullptr) return;
  std::uint64_t length = 0;
  forEachDigit(number, [&](std::uint8_t digit) { key[length++] = static_cast<char>(digit); });
  *keyLength = length;
}

uint32_t sntrGetHTIndexForTag(uint64_t tag, uint64_t bucketCount, uint64_t *index) {
  if (index == nullptr) return code(Rc::NullOutput);
  if (bucketCount == 0) return code(Rc::BadBucketCount);
  *index = hashTag(tag) % bucketCount;
  return code(Rc::Ok);
}

uint32_t sntrGetHTIndex(uint64_t tag, const void *id, uint64_t idLength, uint64_t tagIDBucketCount,
                        uint64_t tagBucketCount, uint64_t idBucketCount, uint64_t *tagIDIndex, uint64_t *tagIndex,
                        uint64_t *idIndex) {
  if (id == nullptr) return code(Rc::NullID);
  if (tagIDIndex == nullptr || tagIndex == nullptr || idIndex == nullptr) return code(Rc::NullOutput);
  if (tagIDBucketCount == 0 || tagBucketCount == 0 || idBucketCount == 0) return code(Rc::BadBucketCount);
  const auto *bytes = static_cast<const std::uint8_t *>(id);
  *tagIDIndex = hashBytes(tag, bytes, idLength) % tagIDBucketCount;
  *tagIndex = hashTag(tag) % tagBucketCount;
  *idIndex = hashBytes(0, bytes, idLength) % idBucketCount;
  return code(Rc::Ok);
}

uint32_t sntrCompareTagID(uint64_t tag1, const void *id1, uint64_t idLength1, uint64_t tag2, const void *id2,
                          uint64_t idLength2, uint32_t kind, int64_t *order) {
  return traced(Fn::sntrCompareTagID, [&](Trace &t) {
    const TagAndID first{tag1, id1, idLength1};
    const TagAndID second{tag2, id2, idLength2};
    if (Rc rc = checkComparison(first, second, kind, order); failed(rc)) return t.fail(1, rc);
    *order = compareKeys(first, second);
    return Rc::Ok;
  });
}

void sntrGetPrimeNumber(uint64_t wanted, uint64_t *prime) {
  if (prime != nullptr) *prime = primeFrom(wanted);
}
