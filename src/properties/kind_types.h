// The kinds as types: what each adds to its row - its key, its value, where the value stands, and how a record is
// filled.
//
// The templates of this room are written over these structs. What a kind does not have it does not name, so that an
// operation that makes no sense for it does not compile.
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

// The value of a kind whose values are bytes, as the caller gives it.
struct Bytes {
  const void *data;
  std::uint64_t size;
};

// Every record keeps its callers' result code in its second word.
constexpr std::uint64_t kRCAt = offsetof(RRecord, rc);
static_assert(offsetof(VRecord, rc) == kRCAt && offsetof(IRRecord, rc) == kRCAt && offsetof(IVRecord, rc) == kRCAt);

// A register at any address. Its operations assume no alignment.
inline OSSVAtomicSigned32 *cellAt(std::byte *address) { return reinterpret_cast<OSSVAtomicSigned32 *>(address); }
inline const OSSVAtomicSigned32 *cellAt(const std::byte *address) {
  return reinterpret_cast<const OSSVAtomicSigned32 *>(address);
}

static_assert(alignof(OSSVAtomicSigned32) == 1, "records begin at any byte");

// Writes a register's first value. AtomicFailed.
inline Rc fillRegister(std::byte *cell, std::int32_t value) {
  return cellAt(cell)->init(value, 1) == 0 ? Rc::Ok : Rc::AtomicFailed;
}

// Initializes the latches of a record, with the stamp of the node's own. The codes of initializeLatches().
inline Rc fillLatches(SNodeCB_t *node, std::byte *latches) {
  const auto stamp = readWord<std::uint32_t>(&node->primaryLatch.latchVersion);
  return initializeLatches(node, reinterpret_cast<SNodeLatchBlock_t *>(latches), stamp);
}

static_assert(alignof(SNodeLatchBlock_t) == 1, "records begin at any byte");

// Stores where the bytes of a value stand, how many they are, and the bytes. The room holds them. They may overlap: a
// base property is created anew over its old value.
inline void fillBytes(const PropertyList &list, std::byte *words, std::byte *room, const Bytes &value) {
  std::memmove(room, value.data, value.size);
  writeWord<std::uint64_t>(words, list.area.offsetOf(room));
  writeWord<std::uint64_t>(words + kWordSize, value.size);
}

static_assert(offsetof(VRecord, valueSize) == offsetof(VRecord, valueOffset) + kWordSize &&
                  offsetof(IVRecord, valueSize) == offsetof(IVRecord, valueOffset) + kWordSize &&
                  offsetof(IRRecord, idLength) == offsetof(IRRecord, idOffset) + kWordSize,
              "an offset and its number of bytes stand side by side");

// What fill() writes, in each kind, is all of a record but its tag; nothing leads to the record yet. AtomicFailed, and
// for kinds with latches their codes. Key and value were held against the limits of the opened list.

// R: a tag names a register.
struct RKind {
  static constexpr const KindData &data = kRData;
  static constexpr std::uint64_t valueAt = offsetof(RRecord, value);
  static constexpr Rc nullValueOutput = Rc::NullRValueOutput;

  using Key = TagKey;
  using Value = std::int32_t;

  static constexpr Rc checkInput(const SNodeCB_t *node, const Key &key, std::uint64_t /*valueSize*/) {
    return checkNodeAndTag(node, key.tag);
  }
  static Rc fill(SNodeCB_t * /*node*/, const PropertyList & /*list*/, std::byte *record, const Key & /*key*/,
                 Value value) {
    writeWord<std::uint64_t>(record + kRCAt, 0);
    return fillRegister(record + valueAt, value);
  }
};

// V: a tag names a value of bytes.
struct VKind {
  static constexpr const KindData &data = kVData;
  static constexpr std::uint64_t valueOffsetAt = offsetof(VRecord, valueOffset);
  static constexpr Rc nullValue = Rc::NullVValue;
  static constexpr Rc valueOutside = Rc::VValueOutsideArea;
  static constexpr Rc beyondRoom = Rc::BadValueSize;

  using Key = TagKey;
  using Value = Bytes;

  static Rc checkInput(SNodeCB_t *node, const Key &key, std::uint64_t valueSize) {
    return checkInputOf(node, {data.selector, key.tag, 0, nullptr, valueSize});
  }
  static std::byte *room(const PropertyList & /*list*/, std::byte *record) { return record + data.recordSize; }
  static Rc fill(SNodeCB_t *node, const PropertyList &list, std::byte *record, const Key & /*key*/,
                 const Value &value) {
    writeWord<std::uint64_t>(record + kRCAt, 0);
    fillBytes(list, record + valueOffsetAt, room(list, record), value);
    return fillLatches(node, record + offsetof(VRecord, propertyLatches));
  }
};

// IR: a tag and an identifier name a register.
struct IRKind {
  static constexpr const KindData &data = kIRData;
  static constexpr std::uint64_t valueAt = offsetof(IRRecord, value);
  static constexpr Rc nullValueOutput = Rc::NullIRValueOutput;

  using Key = TagIDKey;
  using Value = std::int32_t;

  static Rc checkInput(SNodeCB_t *node, const Key &key, std::uint64_t valueSize) {
    return checkInputOf(node, {data.selector, key.tag, key.idLength, key.id, valueSize});
  }
  static Rc fill(SNodeCB_t *node, const PropertyList &list, std::byte *record, const Key &key, Value value) {
    writeWord<std::uint64_t>(record + kRCAt, 0);
    fillBytes(list, record + offsetof(IRRecord, idOffset), record + data.recordSize, Bytes{key.id, key.idLength});
    if (Rc rc = fillLatches(node, record + offsetof(IRRecord, propertyLatches)); failed(rc)) return rc;
    return fillRegister(record + valueAt, value);
  }
};

// IV: a tag and an identifier name a value of bytes.
struct IVKind {
  static constexpr const KindData &data = kIVData;
  static constexpr std::uint64_t valueOffsetAt = offsetof(IVRecord, valueOffset);
  static constexpr Rc nullValue = Rc::NullIVValue;
  static constexpr Rc valueOutside = Rc::IVValueOutsideArea;
  static constexpr Rc beyondRoom = Rc::BadValueSize;

  using Key = TagIDKey;
  using Value = Bytes;

  static Rc checkInput(SNodeCB_t *node, const Key &key, std::uint64_t valueSize) {
    return checkInputOf(node, {data.selector, key.tag, key.idLength, key.id, valueSize});
  }
  static std::byte *room(const PropertyList &list, std::byte *record) {
    return record + data.recordSize + list.limits.maxID;
  }
  static Rc fill(SNodeCB_t *node, const PropertyList &list, std::byte *record, const Key &key, const Value &value) {
    writeWord<std::uint64_t>(record + kRCAt, 0);
    fillBytes(list, record + offsetof(IVRecord, idOffset), record + data.recordSize, Bytes{key.id, key.idLength});
    fillBytes(list, record + valueOffsetAt, room(list, record), value);
    return fillLatches(node, record + offsetof(IVRecord, propertyLatches));
  }
};

// BaseR: the one register of a node. Its record is R's.
struct BaseRKind {
  static constexpr const BaseData &data = kBaseRData;
  static constexpr std::uint64_t valueAt = RKind::valueAt;
  static constexpr Rc nullValueOutput = Rc::NullBaseRValueOutput;

  using Key = TagKey;
  using Value = std::int32_t;

  static constexpr auto checkInput = RKind::checkInput;
  static constexpr auto fill = RKind::fill;
};

// BaseV: the one value of bytes of a node. Its record is V's, and the V list's maximum is its limit; but the room for
// its bytes is what its own area has, which is why a value that passes the limit may still not fit.
struct BaseVKind {
  static constexpr const BaseData &data = kBaseVData;
  static constexpr std::uint64_t valueOffsetAt = VKind::valueOffsetAt;
  static constexpr Rc nullValue = Rc::NullBaseVValue;
  static constexpr Rc valueOutside = Rc::BaseVValueOutsideArea;
  static constexpr Rc beyondRoom = Rc::BaseVDamaged;

  using Key = TagKey;
  using Value = Bytes;

  static Rc checkInput(SNodeCB_t *node, const Key &key, std::uint64_t valueSize) {
    return checkInputOf(node, {data.selector, key.tag, 0, nullptr, valueSize});
  }
  static constexpr auto room = VKind::room;
  static constexpr auto fill = VKind::fill;
};

template <class K>
constexpr bool kHasID = std::is_same_v<typename K::Key, TagIDKey>;

template <class K>
constexpr bool kHasBytes = std::is_same_v<typename K::Value, Bytes>;

template <class K>
constexpr bool kIsBase = std::is_same_v<decltype(K::data), const BaseData &>;

// What an operation does with the property that it names.
enum class Use : bool { Find, Add };

// The kind's argument check. A node without the IV kind has no list whose maximum an identifier could exceed: one that
// is looked for there is not found, so only the largest maximum of any list bounds it.
template <class K, Use use>
Rc checkArguments(SNodeCB_t *node, const typename K::Key &key, std::uint64_t valueSize) {
  const Rc rc = K::checkInput(node, key, valueSize);
  if constexpr (use == Use::Find && kHasID<K> && kHasBytes<K>) {
    const bool isAnyLists = key.idLength <= kMaxIDSize;
    if (rc == Rc::IDTooLong && isAnyLists && !hasKind(node, K::data.selector))
      return K::checkInput(node, TagIDKey(key.tag, 0, key.id), valueSize);
  }
  return rc;
}

// Makes the checks of an operation's arguments and, before anyone waits for the latch, the key's hash. After a failure
// the key is not to be used. The codes of the kind's argument check.
template <class K, Use use = Use::Find>
Rc prepare(SNodeCB_t *node, typename K::Key &key, std::uint64_t valueSize = 1) {
  // The first two of the kind's own checks, here where whoever reads on can see them.
  if (Rc rc = checkNodeAndTag(node, key.tag); failed(rc)) return rc;
  if (Rc rc = checkArguments<K, use>(node, key, valueSize); failed(rc)) return rc;
  if constexpr (!kIsBase<K>) key.takeHash();
  return Rc::Ok;
}

// The same with a value to be stored; the kind's null-value code comes last.
template <class K, Use use = Use::Find>
Rc prepareValue(SNodeCB_t *node, typename K::Key &key, const typename K::Value &value) {
  if constexpr (kHasBytes<K>) {
    const Rc rc = prepare<K, use>(node, key, value.size);
    return failed(rc) || value.data != nullptr ? rc : K::nullValue;
  } else {
    return prepare<K, use>(node, key);
  }
}

// Holds a key and a value against the limits of the list as it is now: it may have been laid out since the
// arguments were checked. IDTooLong, the kind's code for a value that its room does not hold.
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
