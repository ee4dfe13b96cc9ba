// SPDX-License-Identifier: MIT
// The properties that a list is created with, as the caller's arrays give them.
// Thread safety: private memory of the caller, read before the section is entered, so that no thread waits for it.
#pragma once

#include <oss/memory.h>

#include <bit>
#include <cstdint>
#include <cstring>

#include "layout/rc.h"
#include "properties/kind_types.h"

namespace sntr {

// A set of indexes into an array of keys, in private memory: open addressing in a table at least twice as large. It
// makes the search for duplicates linear instead of quadratic.
class IndexSet {
 public:
  IndexSet() = default;
  IndexSet(const IndexSet &) = delete;
  IndexSet &operator=(const IndexSet &) = delete;

  // A caller could do nothing about a failure to free.
  ~IndexSet() { static_cast<void>(_ossMemFree(slots_, "sntr", __LINE__)); }

  // Makes room for `count` indexes. Returns Ok, or DomainHandleAllocFailed, the code for refused private memory.
  Rc reserve(std::uint64_t count) {
    mask_ = std::bit_ceil(2 * count) - 1;
    const std::uint64_t bytes = (mask_ + 1) * sizeof(*slots_);
    slots_ = static_cast<std::uint32_t *>(_ossMemAlloc(bytes, "sntr", __LINE__));
    if (slots_ == nullptr) return Rc::DomainHandleAllocFailed;
    std::memset(slots_, 0, bytes);
    return Rc::Ok;
  }

  // Adds an index, unless same(other) holds for one in the set: then returns false.
  template <class Same>
  bool add(std::uint32_t index, std::uint64_t hash, Same &&same) {
    for (std::uint64_t at = spread(hash);; at = (at + 1) & mask_) {
      if (slots_[at] == 0) {
        slots_[at] = index + 1;
        return true;
      }
      if (same(slots_[at] - 1)) return false;
    }
  }

 private:
  // Tags are often consecutive, or multiples of a power of two. The high bits of the product depend on all bits.
  std::uint64_t spread(std::uint64_t hash) const { return ((hash * 0x9e3779b97f4a7c15) >> 32) & mask_; }

  std::uint32_t *slots_ = nullptr;  // index + 1; 0 is free
  std::uint64_t mask_ = 0;
};

// The arrays of a creator of any kind, `count` elements each; those that the kind does not have stay null.
struct InitialArrays {
  const std::uint64_t *tags;
  const std::uint64_t *idLengths;
  const void *const *ids;
  const std::int32_t *registers;
  const std::uint64_t *valueSizes;
  const void *const *values;
  std::uint64_t count;
};

// The initial properties of a list of kind K, and the limits from its creator.
template <class K>
struct InitialProperties {
  InitialArrays arrays;
  Limits limits;

  std::uint64_t count() const { return arrays.count; }
  std::uint64_t tag(std::uint64_t i) const { return arrays.tags[i]; }

  // Returns Ok, or, in this order: NullTags, NullLength, NullID, NullValueSizes, NullValues, NullRegisterValues.
  Rc checkArrays() const {
    if (arrays.tags == nullptr) return Rc::NullTags;
    if constexpr (kHasID<K>) {
      if (arrays.idLengths == nullptr) return Rc::NullLength;
      if (arrays.ids == nullptr) return Rc::NullID;
    }
    if constexpr (kHasBytes<K>) {
      if (arrays.valueSizes == nullptr) return Rc::NullValueSizes;
      return arrays.values == nullptr ? Rc::NullValues : Rc::Ok;
    } else {
      return arrays.registers == nullptr ? Rc::NullRegisterValues : Rc::Ok;
    }
  }

  // Returns Ok, MaxIDSizeTooLarge, or BadMaxValueSize, also for a size that is not a multiple of 8.
  Rc checkLimits() const {
    if constexpr (kHasID<K>) {
      if (Rc rc = checkMaxIDSize(limits.maxID); failed(rc)) return rc;
    }
    if constexpr (kHasBytes<K>) {
      if (limits.maxValue % kWordSize != 0) return Rc::BadMaxValueSize;
      return checkMaxValueSize(limits.maxValue);
    }
    return Rc::Ok;
  }

  // Returns Ok, IDTooLong, BadValueSize, NullID, or the kind's null-value code. Tags and duplicates are not checked.
  Rc checkElement(std::uint64_t i) const {
    if constexpr (kHasID<K>) {
      if (arrays.idLengths[i] > limits.maxID) return Rc::IDTooLong;
    }
    if constexpr (kHasBytes<K>) {
      if (Rc rc = checkValueSize(arrays.valueSizes[i], limits.maxValue); failed(rc)) return rc;
    }
    if constexpr (kHasID<K>) {
      if (arrays.ids[i] == nullptr) return Rc::NullID;
    }
    if constexpr (kHasBytes<K>) {
      if (arrays.values[i] == nullptr) return K::nullValue;
    }
    return Rc::Ok;
  }

  typename K::Key key(std::uint64_t i) const {
    if constexpr (kHasID<K>) {
      return TagIDKey(arrays.tags[i], arrays.idLengths[i], arrays.ids[i]);
    } else {
      return TagKey{arrays.tags[i]};
    }
  }

  typename K::Value value(std::uint64_t i) const {
    if constexpr (kHasBytes<K>) {
      return Bytes{arrays.values[i], arrays.valueSizes[i]};
    } else {
      return arrays.registers[i];
    }
  }

  // Two empty records are not the same property.
  bool isEmpty(std::uint64_t i) const { return arrays.tags[i] == 0; }

  std::uint64_t hash(std::uint64_t i) const {
    typename K::Key hashed = key(i);
    hashed.takeHash();
    return hashed.hash;
  }

  bool same(std::uint64_t i, std::uint64_t j) const {
    if (arrays.tags[i] != arrays.tags[j]) return false;
    if constexpr (kHasID<K>) {
      return arrays.idLengths[i] == arrays.idLengths[j] &&
             std::memcmp(arrays.ids[i], arrays.ids[j], arrays.idLengths[i]) == 0;
    }
    return true;
  }
};

// Searches for equal keys. Returns Ok, `exists` if there are any, or DomainHandleAllocFailed.
template <class Initial>
Rc checkDistinct(const Initial &initial, Rc exists) {
  if (initial.count() < 2) return Rc::Ok;
  IndexSet seen;
  if (Rc rc = seen.reserve(initial.count()); failed(rc)) return rc;
  for (std::uint32_t i = 0; i < initial.count(); ++i) {
    if (initial.isEmpty(i)) continue;
    const auto same = [&](std::uint32_t other) { return initial.same(i, other); };
    if (!seen.add(i, initial.hash(i), same)) return exists;
  }
  return Rc::Ok;
}

// Checks an array before anything of it is stored: all duplicates first, then the range of each tag.
template <class Initial>
Rc checkInitialKeys(const Initial &initial, Rc exists) {
  if (Rc rc = checkDistinct(initial, exists); failed(rc)) return rc;
  for (std::uint64_t i = 0; i < initial.count(); ++i) {
    if (initial.tag(i) > SNTR_MAX_TAG) return Rc::TagTooLarge;
  }
  return Rc::Ok;
}

}  // namespace sntr
