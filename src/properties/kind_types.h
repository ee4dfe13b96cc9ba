// SPDX-License-Identifier: MIT
// The kinds as types: each adds its key, its value, the value's position and the filling of a record to its row.
//
// The templates of this folder take these structs. A kind has no name for what it lacks, so that an operation without
// meaning for it does not compile.
// Thread safety: filling needs the node's write section; argument checks take no latch.
#pragma once

#include <oss/atomic.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "frame/section.h"
#include "layout/words.h"
#include "properties/id_keys.h"
#include "properties/input_check.h"
#include "properties/keys.h"
#include "properties/kinds.h"
#include "properties/property_list.h"

namespace sntr {

// The caller's value for a kind whose values are bytes.
struct Bytes {
  const void *data;
  std::uint64_t size;
};

// The second word of every record is its callers' result code.
constexpr std::uint64_t kRCAt = offsetof(RRecord, rc);
static_assert(offsetof(VRecord, rc) == kRCAt && offsetof(IRRecord, rc) == kRCAt && offsetof(IVRecord, rc) == kRCAt);

// Casts an address to a register. Its operations assume no alignment.
inline OSSVAtomicSigned32 *cellAt(std::byte *address) { return reinterpret_cast<OSSVAtomicSigned32 *>(address); }
inline const OSSVAtomicSigned32 *cellAt(const std::byte *address) {
  return reinterpret_cast<const OSSVAtomicSigned32 *>(address);
}

static_assert(alignof(OSSVAtomicSigned32) == 1, "records begin at any byte");

// Writes a register's first value. Returns Ok or AtomicFailed.
inline Rc fillRegister(std::byte *cell, std::int32_t value) {
  return cellAt(cell)->init(value, 1) == 0 ? Rc::Ok : Rc::AtomicFailed;
}

// Initializes the latches of a record, with the stamp of the node's own. Returns the codes of initializeLatches().
inline Rc fillLatches(SNodeCB_t *node, std::byte *latches) {
  const auto stamp = readWord<std::uint32_t>(&node->primaryLatch.latchVersion);
  return initializeLatches(node, reinterpret_cast<SNodeLatchBlock_t *>(latches), stamp);
}

static_assert(alignof(SNodeLatchBlock_t) == 1, "records begin at any byte");

// Stores the offset and the number of a value's bytes, and the bytes. The room is large enough. Source and room may
// overlap: a base property is created again over its old value.
inline void fillBytes(const PropertyList &list, std::byte *words, std::byte *room, const Bytes &value) {
  std::memmove(room, value.data, value.size);
  writeWord<std::uint64_t>(words, list.area.offsetOf(room));
  writeWord<std::uint64_t>(words + kWordSize, value.size);
}

static_assert(offsetof(VRecord, valueSize) == offsetof(VRecord, valueOffset) + kWordSize &&
                  offsetof(IVRecord, valueSize) == offsetof(IVRecord, valueOffset) + kWordSize &&
                  offsetof(IRRecord, idLength) == offsetof(IRRecord, idOffset) + kWordSize,
              "an offset and its number of bytes stand side by side");

// R: a tag names a register.
struct RKind {
  static constexpr const KindData &data = kRData;
  static constexpr std::uint64_t valueAt = offsetof(RRecord, value);
  static constexpr Rc nullValueOutput = Rc::NullRValueOutput;

  using Key = TagKey;
  using Value = std::int32_t;
};

// V: a tag names a value of bytes.
struct VKind {
  static constexpr const KindData &data = kVData;
  static constexpr std::uint64_t valueOffsetAt = offsetof(VRecord, valueOffset);
  static constexpr std::uint64_t latchesAt = offsetof(VRecord, propertyLatches);
  static constexpr Rc nullValue = Rc::NullVValue;
  static constexpr Rc valueOutside = Rc::VValueOutsideArea;
  static constexpr Rc beyondRoom = Rc::BadValueSize;

  using Key = TagKey;
  using Value = Bytes;

  static std::byte *room(const PropertyList & /*list*/, std::byte *record) { return record + data.recordSize; }
};

// IR: a tag and an identifier name a register.
struct IRKind {
  static constexpr const KindData &data = kIRData;
  static constexpr std::uint64_t idOffsetAt = offsetof(IRRecord, idOffset);
  static constexpr std::uint64_t valueAt = offsetof(IRRecord, value);
  static constexpr std::uint64_t latchesAt = offsetof(IRRecord, propertyLatches);
  static constexpr Rc nullValueOutput = Rc::NullIRValueOutput;

  using Key = TagIDKey;
  using Value = std::int32_t;
};

// IV: a tag and an identifier name a value of bytes.
struct IVKind {
  static constexpr const KindData &data = kIVData;
  static constexpr std::uint64_t idOffsetAt = offsetof(IVRecord, idOffset);
  static constexpr std::uint64_t valueOffsetAt = offsetof(IVRecord, valueOffset);
  static constexpr std::uint64_t latchesAt = offsetof(IVRecord, propertyLatches);
  static constexpr Rc nullValue = Rc::NullIVValue;
  static constexpr Rc valueOutside = Rc::IVValueOutsideArea;
  static constexpr Rc beyondRoom = Rc::BadValueSize;

  using Key = TagIDKey;
  using Value = Bytes;

  static std::byte *room(const PropertyList &list, std::byte *record) {
    return record + data.recordSize + list.limits.maxID;
  }
};

// BaseR: the one register of a node, in an R record.
struct BaseRKind {
  static constexpr const BaseData &data = kBaseRData;
  static constexpr std::uint64_t valueAt = RKind::valueAt;
  static constexpr Rc nullValueOutput = Rc::NullBaseRValueOutput;

  using Key = TagKey;
  using Value = std::int32_t;
};

// BaseV: the one value of bytes of a node, in a V record. Its limit is the V list's maximum, but its room is in its own
// area: a value within the limit may still not fit.
struct BaseVKind {
  static constexpr const BaseData &data = kBaseVData;
  static constexpr std::uint64_t valueOffsetAt = VKind::valueOffsetAt;
  static constexpr std::uint64_t latchesAt = VKind::latchesAt;
  static constexpr Rc nullValue = Rc::NullBaseVValue;
  static constexpr Rc valueOutside = Rc::BaseVValueOutsideArea;
  static constexpr Rc beyondRoom = Rc::BaseVDamaged;

  using Key = TagKey;
  using Value = Bytes;

  static constexpr auto room = VKind::room;
};

template <class K>
constexpr bool kHasID = std::is_same_v<typename K::Key, TagIDKey>;

template <class K>
constexpr bool kHasBytes = std::is_same_v<typename K::Value, Bytes>;

template <class K>
constexpr bool kIsBase = std::is_same_v<decltype(K::data), const BaseData &>;

// Writes all of a record but its tag; nothing leads to the record yet. Key and value were checked against the limits of
// the opened list. Returns Ok, AtomicFailed, or for kinds with latches the codes of initializeLatches().
template <class K>
Rc fillRecord(SNodeCB_t *node, const PropertyList &list, std::byte *record, const typename K::Key &key,
              const typename K::Value &value) {
  writeWord<std::uint64_t>(record + kRCAt, 0);
  if constexpr (kHasID<K>) {
    fillBytes(list, record + K::idOffsetAt, record + K::data.recordSize, Bytes{key.id, key.idLength});
  }
  if constexpr (kHasBytes<K>) fillBytes(list, record + K::valueOffsetAt, K::room(list, record), value);
  if constexpr (requires { K::latchesAt; }) {
    if (Rc rc = fillLatches(node, record + K::latchesAt); failed(rc)) return rc;
  }
  if constexpr (!kHasBytes<K>) return fillRegister(record + K::valueAt, value);
  return Rc::Ok;
}

// Checks the arguments of an operation on one property. Returns the codes of checkNodeAndTag() for a register under a
// tag, and of checkInput() for the other kinds.
template <class K>
Rc checkInputFor(SNodeCB_t *node, const typename K::Key &key, std::uint64_t valueSize) {
  if constexpr (kHasID<K>) {
    return checkInputOf(node, {K::data.selector, key.tag, key.idLength, key.id, valueSize});
  } else if constexpr (kHasBytes<K>) {
    return checkInputOf(node, {K::data.selector, key.tag, 0, nullptr, valueSize});
  } else {
    return checkNodeAndTag(node, key.tag);
  }
}

// The use that an operation makes of the property that it names.
enum class Use : bool { Find, Add };

// Makes the kind's argument check. A node without the IV kind has no list that limits an identifier: one that is looked
// for there is not found, so only the largest maximum of any list bounds it.
template <class K, Use use>
Rc checkArguments(SNodeCB_t *node, const typename K::Key &key, std::uint64_t valueSize) {
  const Rc rc = checkInputFor<K>(node, key, valueSize);
  if constexpr (use == Use::Find && kHasID<K> && kHasBytes<K>) {
    const bool isAnyLists = key.idLength <= kMaxIDSize;
    if (rc == Rc::IDTooLong && isAnyLists && !hasKind(node, K::data.selector))
      return checkInputFor<K>(node, TagIDKey(key.tag, 0, key.id), valueSize);
  }
  return rc;
}

// Checks an operation's arguments and then hashes the key, before any wait for the latch. After a failure the key must
// not be used. Returns the codes of the kind's argument check.
template <class K, Use use = Use::Find>
Rc prepare(SNodeCB_t *node, typename K::Key &key, std::uint64_t valueSize = 1) {
  // The first two of the kind's own checks, repeated here so that a reader sees them.
  if (Rc rc = checkNodeAndTag(node, key.tag); failed(rc)) return rc;
  if (Rc rc = checkArguments<K, use>(node, key, valueSize); failed(rc)) return rc;
  if constexpr (!kIsBase<K>) key.takeHash();
  return Rc::Ok;
}

// Prepares a key with a value to be stored; the kind's null-value code comes last.
template <class K, Use use = Use::Find>
Rc prepareValue(SNodeCB_t *node, typename K::Key &key, const typename K::Value &value) {
  if constexpr (kHasBytes<K>) {
    const Rc rc = prepare<K, use>(node, key, value.size);
    return failed(rc) || value.data != nullptr ? rc : K::nullValue;
  } else {
    return prepare<K, use>(node, key);
  }
}

// Checks a key and a value against the list's present limits: it may have been laid out since the first check. Returns
// Ok, IDTooLong, or the kind's code for a value larger than its room.
template <class K>
Rc checkRoom(const PropertyList &list, const typename K::Key &key, const typename K::Value &value) {
  if constexpr (kHasID<K>) {
    if (key.idLength > list.limits.maxID) return Rc::IDTooLong;
  }
  if constexpr (kHasBytes<K>) {
    if (value.size > list.limits.maxValue) return K::beyondRoom;
  }
  return Rc::Ok;
}

}  // namespace sntr
