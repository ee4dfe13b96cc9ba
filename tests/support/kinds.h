// SPDX-License-Identifier: MIT
// The operations of the six kinds of properties under one name each, for tests over all kinds; and the positions of a
// kind's words in its area. A call omits arguments that its kind lacks: identifier, register or bytes.
#pragma once

#include <sntr/sntr.h>

#include <compare>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "layout/rc.h"

namespace support {

using sntr::Rc;

struct Key {
  std::uint64_t tag = 0;
  std::string id = {};
  auto operator<=>(const Key &) const = default;
};

struct Value {
  std::int32_t number = 0;
  std::string bytes = {};
  bool operator==(const Value &) const = default;
};

// The kinds with bytes have odd areas. Positions count from the start of the area, or of the record. A table has
// `arrays` arrays of buckets; a slot is a record behind its chain. A list's bucket counts follow its limits.
struct Places {
  const char *name;
  std::uint64_t area, limits, arrayHeader, tableHeader, arrays, chain, record;
};
struct Codes {
  Rc exists, notFound, notInTable, full, damaged, outside;
};
struct Kind : Places, Codes {
  std::uint32_t selector() const { return 1u << (area + 1); }
  bool isBase() const { return area < SNTR_AREA_R; }
  bool hasID() const { return area == SNTR_AREA_IR || area == SNTR_AREA_IV; }
  bool hasBytes() const { return area % 2 != 0; }
  std::uint64_t entry() const { return 0x560 + 24 * area; }  // size, used, offset; from the start of the node
  std::uint64_t stride(std::uint64_t maxID, std::uint64_t maxValue) const {
    return record + (hasID() ? maxID : 0) + (hasBytes() ? maxValue : 0);
  }
};

inline constexpr Kind kR{{"R", 6, 0x00, 0x08, 0x08, 1, 0x08, 0x90},
                         {Rc::RExists, Rc::RNotFound, Rc::RNotInTable, Rc::RListFull, Rc::RDamaged, Rc::RDamaged}};
inline constexpr Kind kV{
    {"V", 7, 0x08, 0x10, 0x10, 1, 0x08, 0x1a8},
    {Rc::VExists, Rc::VNotFound, Rc::VNotInTable, Rc::VListFull, Rc::VDamaged, Rc::VValueOutsideArea}};
inline constexpr Kind kIR{
    {"IR", 8, 0x08, 0x10, 0x20, 3, 0x28, 0x228},
    {Rc::IRExists, Rc::IRNotFound, Rc::IRNotInTable, Rc::IRListFull, Rc::IRDamaged, Rc::IRDamaged}};
inline constexpr Kind kIV{
    {"IV", 9, 0x10, 0x18, 0x28, 3, 0x28, 0x1b8},
    {Rc::IVExists, Rc::IVNotFound, Rc::IVNotInTable, Rc::IVListFull, Rc::IVDamaged, Rc::IVValueOutsideArea}};
// Each base kind has one property, at the start of its area, with the V list's limit.
inline constexpr Kind kBaseR{
    {"BaseR", 4, 0, 0, 0, 0, 0, 0x90},
    {Rc::Ok, Rc::BaseRNotFound, Rc::BaseRNotFound, Rc::Ok, Rc::BaseRDamaged, Rc::BaseRDamaged}};
inline constexpr Kind kBaseV{
    {"BaseV", 5, 0, 0, 0, 0, 0, 0x1a8},
    {Rc::Ok, Rc::BaseVNotFound, Rc::BaseVNotFound, Rc::Ok, Rc::BaseVDamaged, Rc::BaseVValueOutsideArea}};
inline constexpr const Kind *kLists[] = {&kR, &kV, &kIR, &kIV};
inline constexpr const Kind *kAllKinds[] = {&kR, &kV, &kIR, &kIV, &kBaseR, &kBaseV};

// Arguments that are null in a call.
enum Null : unsigned { kNoTags = 1, kNoLengths = 2, kNoIDs = 4, kNoID = 8, kNoSizes = 16, kNoValue = 32, kNoRC = 64 };

// The properties of one kind in one node.
struct Properties {
  SNodeCB_t *n;
  const Kind &kind;
  std::uint64_t held = 0;  // the caller holds the node's section
  unsigned nulls = 0;

  std::uint32_t create(std::uint32_t layout, std::uint64_t capacity, std::uint64_t maxID, std::uint64_t maxValue,
                       const std::vector<std::pair<Key, Value>> &initial = {}) const {
    std::vector<std::uint64_t> tags, lengths, sizes;
    std::vector<std::int32_t> numbers;
    std::vector<const void *> ids, values;
    for (const auto &[key, value] : initial) {
      tags.push_back(key.tag), lengths.push_back(key.id.size()), ids.push_back(unless(kNoID, key.id.data()));
      numbers.push_back(value.number), sizes.push_back(value.bytes.size()), values.push_back(value.bytes.data());
    }
    const std::uint64_t count = initial.size(), *const t = unless(kNoTags, tags.data());
    const std::uint64_t *const l = unless(kNoLengths, lengths.data()), *const s = unless(kNoSizes, sizes.data());
    const auto i = unless(kNoIDs, ids.data()), v = unless(kNoValue, values.data());
    const std::int32_t *const r = unless(kNoValue, numbers.data());
    if (&kind == &kR) return sntrCreateRPropertyList(n, t, r, count, capacity, layout, held);
    if (&kind == &kV) return sntrCreateVPropertyList(n, t, s, v, count, capacity, maxValue, layout, held);
    if (&kind == &kIR) return sntrCreateIRPropertyList(n, t, l, i, r, count, capacity, maxID, layout, held);
    return sntrCreateIVPropertyList(n, t, l, i, s, v, count, capacity, maxID, maxValue, layout, held);
  }
  std::uint32_t add(const Key &k, const Value &v) const {
    if (!kind.hasBytes()) return call<sntrAddRProperty, sntrAddIRProperty, sntrCreateBaseRProperty>(k, v.number, held);
    return call<sntrAddVProperty, sntrAddIVProperty, sntrCreateBaseVProperty>(k, v.bytes.size(), bytesOf(v), held);
  }
  std::uint32_t erase(const Key &k) const {
    return callAny<sntrDeleteRProperty, sntrDeleteIRProperty, sntrDeleteBaseRProperty, sntrDeleteVProperty,
                   sntrDeleteIVProperty, sntrDeleteBaseVProperty>(k, held);
  }
  std::uint32_t set(const Key &k, const Value &v) const {
    if (!kind.hasBytes())
      return call<sntrSetValueForRProperty, sntrSetValueForIRProperty, sntrSetValueForBaseRProperty>(k, v.number, held);
    return call<sntrSetValueForVProperty, sntrSetValueForIVProperty, sntrSetValueForBaseVProperty>(k, v.bytes.size(),
                                                                                                   bytesOf(v), held);
  }
  // Allocates no memory. The buffer, too, must be large enough for whatever the area may hold.
  std::uint32_t getInto(const Key &k, std::int32_t &number, std::uint64_t &size, void *buffer) const {
    if (!kind.hasBytes())
      return call<sntrGetValueForRProperty, sntrGetValueForIRProperty, sntrGetValueForBaseRProperty>(
          k, unless(kNoValue, &number), held);
    return call<sntrGetValueForVProperty, sntrGetValueForIVProperty, sntrGetValueForBaseVProperty>(
        k, &size, static_cast<void **>(nullptr), buffer, held);
  }
  // The room for bytes must be large enough for whatever the area may hold; a failure leaves the value as it was.
  std::uint32_t get(const Key &k, Value &v, std::size_t room) const {
    std::string bytes(kind.hasBytes() ? room : 0, '\0');
    std::uint64_t size = 0;
    const std::uint32_t rc = getInto(k, v.number, size, bytes.data());
    if (rc == 0 && kind.hasBytes()) v.bytes = bytes.substr(0, size);
    return rc;
  }
  std::uint32_t record(const Key &k, SNodeProperty_t *&out) const {
    return callAny<sntrGetAddressForRProperty, sntrGetAddressForIRProperty, sntrGetAddressForBaseRProperty,
                   sntrGetAddressForVProperty, sntrGetAddressForIVProperty, sntrGetAddressForBaseVProperty>(
        k, unless(kNoValue, &out));
  }
  // Value and result code together, by the record.
  std::uint32_t getBoth(SNodeProperty_t *r, std::int32_t &number, std::uint64_t &size, void *buffer,
                        std::uint64_t &rc) const {
    if (!kind.hasBytes())
      return choose<sntrGetValueAndRCForRProperty, sntrGetValueAndRCForIRProperty, sntrGetValueAndRCForBaseRProperty>(
          r, unless(kNoValue, &number), unless(kNoRC, &rc), held);
    return choose<sntrGetValueAndRCForVProperty, sntrGetValueAndRCForIVProperty, sntrGetValueAndRCForBaseVProperty>(
        r, &size, nullptr, buffer, unless(kNoRC, &rc), held);
  }
  std::uint32_t setBoth(SNodeProperty_t *r, const Value &v, std::uint64_t rc) const {
    if (!kind.hasBytes())
      return choose<sntrSetValueAndRCForRProperty, sntrSetValueAndRCForIRProperty, sntrSetValueAndRCForBaseRProperty>(
          r, v.number, rc, held);
    return choose<sntrSetValueAndRCForVProperty, sntrSetValueAndRCForIVProperty, sntrSetValueAndRCForBaseVProperty>(
        r, v.bytes.size(), bytesOf(v), rc, held);
  }
  std::uint32_t setRC(const Key &k, std::uint64_t rc) const {
    return callAny<sntrSetRCForRProperty, sntrSetRCForIRProperty, sntrSetRCForBaseRProperty, sntrSetRCForVProperty,
                   sntrSetRCForIVProperty, sntrSetRCForBaseVProperty>(k, rc, held);
  }
  std::uint32_t getRC(const Key &k, std::uint64_t &rc) const {
    return callAny<sntrGetRCForRProperty, sntrGetRCForIRProperty, sntrGetRCForBaseRProperty, sntrGetRCForVProperty,
                   sntrGetRCForIVProperty, sntrGetRCForBaseVProperty>(k, unless(kNoRC, &rc), held);
  }
  // Of a list: of the properties with a tag, or for tag 0 of all.
  std::uint32_t count(std::uint64_t tag, std::uint64_t &out) const {
    const auto f = &kind == &kR    ? sntrReturnRPropertyCount
                   : &kind == &kV  ? sntrReturnVPropertyCount
                   : &kind == &kIR ? sntrReturnIRPropertyCount
                                   : sntrReturnIVPropertyCount;
    return f(n, tag, unless(kNoValue, &out), held);
  }
  // Copies keys and sizes of values out, and gives the first `count`, which must be at most the capacity. Entries
  // behind them that were not cleared, and one behind the last, are given too.
  std::uint32_t keys(std::map<Key, std::uint64_t> &out, std::uint64_t count, std::uint64_t capacity,
                     std::uint64_t width, std::uint64_t filter = 0) const {
    constexpr std::uint64_t kJunk = 0x77;
    std::vector<std::uint64_t> tags(capacity + 1, kJunk), lengths(capacity + 1, kind.hasID() ? kJunk : 0);
    std::vector<std::uint64_t> sizes(capacity + 1, kind.hasBytes() ? kJunk : 0);
    std::string ids(capacity * width, '\0');
    const auto t = unless(kNoTags, tags.data()), l = unless(kNoLengths, lengths.data());
    const auto i = unless(kNoIDs, ids.data());
    const auto s = unless(kNoSizes, sizes.data());
    const std::uint32_t rc = &kind == &kR       ? sntrReturnRProperties(n, t, filter, capacity, held)
                             : &kind == &kV     ? sntrReturnVProperties(n, t, s, filter, capacity, held)
                             : &kind == &kIR    ? sntrReturnIRProperties(n, t, l, i, filter, capacity, width, held)
                             : &kind == &kIV    ? sntrReturnIVProperties(n, t, l, i, s, filter, capacity, width, held)
                             : &kind == &kBaseR ? sntrReturnBaseRProperty(n, t, held)
                                                : sntrReturnBaseVProperty(n, t, s, held);
    for (std::uint64_t k = 0; k < count; ++k) out[{tags[k], ids.substr(width * k, lengths[k])}] = sizes[k];
    for (std::uint64_t k = count; k < capacity && rc == 0; ++k) {
      if ((tags[k] | lengths[k] | sizes[k]) != 0) out[{tags[k], "not cleared"}] = k;
    }
    if (tags[capacity] != kJunk) out[{tags[capacity], "behind the last"}] = capacity;
    return rc;
  }

  // Calls the kind's function, of those for a tag, for a tag and an identifier, and for a base kind.
  template <auto byTag, auto byID, auto base, class... Rest>
  std::uint32_t call(const Key &k, Rest... rest) const {
    if (kind.hasID()) return byID(n, k.tag, k.id.size(), unless(kNoID, k.id.data()), rest...);
    return (kind.isBase() ? base : byTag)(n, k.tag, rest...);
  }
  template <auto r, auto ir, auto baseR, auto v, auto iv, auto baseV, class... Rest>
  std::uint32_t callAny(const Key &k, Rest... rest) const {
    return kind.hasBytes() ? call<v, iv, baseV>(k, rest...) : call<r, ir, baseR>(k, rest...);
  }
  template <auto byTag, auto byID, auto base, class... Arguments>
  std::uint32_t choose(Arguments... arguments) const {
    return (kind.isBase() ? base : kind.hasID() ? byID : byTag)(n, arguments...);
  }
  template <class T>
  T *unless(Null null, T *address) const {
    return (nulls & null) != 0 ? nullptr : address;
  }
  const char *bytesOf(const Value &v) const { return unless(kNoValue, v.bytes.data()); }
};

}  // namespace support
