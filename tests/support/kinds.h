// The operations of the six kinds of properties under one name each, and where a kind's words stand in its area, for
// tests that do the same with every kind. A call leaves out what its kind has not: identifier, register or bytes.
#pragma once

#include <sntr/sntr.h>

#include <compare>
#include <map>
#include <string>
#include <tuple>
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

// Where things stand, from the start of the area, or of the record. A table has `arrays` arrays of buckets; a slot is a
// record behind its chain. A list's bucket counts stand behind its limits.
struct Places {
  std::uint64_t area, limits, arrayHeader, tableHeader, arrays, chain, record;
};
struct Codes {
  Rc exists, notFound, notInTable, full, damaged, outside;
};
struct Label {
  const char *name;
  std::uint32_t selector;
};
struct Kind : Label, Places, Codes {
  bool isBase() const { return (selector & (SNTR_KIND_BASE_R | SNTR_KIND_BASE_V)) != 0; }
  bool hasID() const { return (selector & (SNTR_KIND_IR | SNTR_KIND_IV)) != 0; }
  bool hasBytes() const { return (selector & (SNTR_KIND_V | SNTR_KIND_IV | SNTR_KIND_BASE_V)) != 0; }
  std::uint64_t entry() const { return 0x560 + 24 * area; }  // size, used, offset; from the start of the node
  std::uint64_t stride(std::uint64_t maxID, std::uint64_t maxValue) const {
    return record + (hasID() ? maxID : 0) + (hasBytes() ? maxValue : 0);
  }
};

inline constexpr Kind kR{{"R", SNTR_KIND_R},
                         {6, 0x00, 0x08, 0x08, 1, 0x08, 0x90},
                         {Rc::RExists, Rc::RNotFound, Rc::RNotInTable, Rc::RListFull, Rc::RDamaged, Rc::RDamaged}};
inline constexpr Kind kV{
    {"V", SNTR_KIND_V},
    {7, 0x08, 0x10, 0x10, 1, 0x08, 0x1a8},
    {Rc::VExists, Rc::VNotFound, Rc::VNotInTable, Rc::VListFull, Rc::VDamaged, Rc::VValueOutsideArea}};
inline constexpr Kind kIR{
    {"IR", SNTR_KIND_IR},
    {8, 0x08, 0x10, 0x20, 3, 0x28, 0x228},
    {Rc::IRExists, Rc::IRNotFound, Rc::IRNotInTable, Rc::IRListFull, Rc::IRDamaged, Rc::IRDamaged}};
inline constexpr Kind kIV{
    {"IV", SNTR_KIND_IV},
    {9, 0x10, 0x18, 0x28, 3, 0x28, 0x1b8},
    {Rc::IVExists, Rc::IVNotFound, Rc::IVNotInTable, Rc::IVListFull, Rc::IVDamaged, Rc::IVValueOutsideArea}};
// There is one property of each base kind, which stands at the start of its area and has the V list's limit.
inline constexpr Kind kBaseR{
    {"BaseR", SNTR_KIND_BASE_R},
    {4, 0, 0, 0, 0, 0, 0x90},
    {Rc::Ok, Rc::BaseRNotFound, Rc::BaseRNotFound, Rc::Ok, Rc::BaseRDamaged, Rc::BaseRDamaged}};
inline constexpr Kind kBaseV{
    {"BaseV", SNTR_KIND_BASE_V},
    {5, 0, 0, 0, 0, 0, 0x1a8},
    {Rc::Ok, Rc::BaseVNotFound, Rc::BaseVNotFound, Rc::Ok, Rc::BaseVDamaged, Rc::BaseVValueOutsideArea}};
inline constexpr const Kind *kLists[] = {&kR, &kV, &kIR, &kIV};
inline constexpr const Kind *kAllKinds[] = {&kR, &kV, &kIR, &kIV, &kBaseR, &kBaseV};

// The properties of one kind in one node.
struct Properties {
  SNodeCB_t *n;
  const Kind &kind;
  std::uint64_t held = 0;  // the caller has the node's section

  std::uint32_t create(std::uint32_t layout, std::uint64_t capacity, std::uint64_t maxID, std::uint64_t maxValue,
                       const std::vector<std::pair<Key, Value>> &initial = {}) const {
    std::vector<std::uint64_t> tags, lengths, sizes;
    std::vector<std::int32_t> numbers;
    std::vector<const void *> ids, values;
    for (const auto &[key, value] : initial) {
      tags.push_back(key.tag), lengths.push_back(key.id.size()), ids.push_back(key.id.data());
      numbers.push_back(value.number), sizes.push_back(value.bytes.size()), values.push_back(value.bytes.data());
    }
    const std::uint64_t count = initial.size(), *const t = tags.data(), *const l = lengths.data();
    if (&kind == &kR) return sntrCreateRPropertyList(n, t, numbers.data(), count, capacity, layout, held);
    if (&kind == &kV)
      return sntrCreateVPropertyList(n, t, sizes.data(), values.data(), count, capacity, maxValue, layout, held);
    if (&kind == &kIR)
      return sntrCreateIRPropertyList(n, t, l, ids.data(), numbers.data(), count, capacity, maxID, layout, held);
    return sntrCreateIVPropertyList(n, t, l, ids.data(), sizes.data(), values.data(), count, capacity, maxID, maxValue,
                                    layout, held);
  }
  std::uint32_t add(const Key &k, const Value &v) const {
    const auto [id, length, bytes, size] = std::tuple(k.id.data(), k.id.size(), v.bytes.data(), v.bytes.size());
    if (&kind == &kR) return sntrAddRProperty(n, k.tag, v.number, held);
    if (&kind == &kV) return sntrAddVProperty(n, k.tag, size, bytes, held);
    if (&kind == &kIR) return sntrAddIRProperty(n, k.tag, length, id, v.number, held);
    if (&kind == &kIV) return sntrAddIVProperty(n, k.tag, length, id, size, bytes, held);
    if (&kind == &kBaseR) return sntrCreateBaseRProperty(n, k.tag, v.number, held);
    return sntrCreateBaseVProperty(n, k.tag, size, bytes, held);
  }
  std::uint32_t erase(const Key &k) const {
    if (&kind == &kR) return sntrDeleteRProperty(n, k.tag, held);
    if (&kind == &kV) return sntrDeleteVProperty(n, k.tag, held);
    if (&kind == &kIR) return sntrDeleteIRProperty(n, k.tag, k.id.size(), k.id.data(), held);
    if (&kind == &kIV) return sntrDeleteIVProperty(n, k.tag, k.id.size(), k.id.data(), held);
    return &kind == &kBaseR ? sntrDeleteBaseRProperty(n, k.tag, held) : sntrDeleteBaseVProperty(n, k.tag, held);
  }
  std::uint32_t set(const Key &k, const Value &v) const {
    const auto [id, length, bytes, size] = std::tuple(k.id.data(), k.id.size(), v.bytes.data(), v.bytes.size());
    if (&kind == &kR) return sntrSetValueForRProperty(n, k.tag, v.number, held);
    if (&kind == &kV) return sntrSetValueForVProperty(n, k.tag, size, bytes, held);
    if (&kind == &kIR) return sntrSetValueForIRProperty(n, k.tag, length, id, v.number, held);
    if (&kind == &kIV) return sntrSetValueForIVProperty(n, k.tag, length, id, size, bytes, held);
    if (&kind == &kBaseR) return sntrSetValueForBaseRProperty(n, k.tag, v.number, held);
    return sntrSetValueForBaseVProperty(n, k.tag, size, bytes, held);
  }
  // Allocates no memory. The buffer, too, must be large enough for whatever the area may hold.
  std::uint32_t getInto(const Key &k, std::int32_t &number, std::uint64_t &size, void *buffer) const {
    const auto [id, length] = std::pair(k.id.data(), k.id.size());
    if (&kind == &kR) return sntrGetValueForRProperty(n, k.tag, &number, held);
    if (&kind == &kIR) return sntrGetValueForIRProperty(n, k.tag, length, id, &number, held);
    if (&kind == &kBaseR) return sntrGetValueForBaseRProperty(n, k.tag, &number, held);
    if (&kind == &kV) return sntrGetValueForVProperty(n, k.tag, &size, nullptr, buffer, held);
    if (&kind == &kIV) return sntrGetValueForIVProperty(n, k.tag, length, id, &size, nullptr, buffer, held);
    return sntrGetValueForBaseVProperty(n, k.tag, &size, nullptr, buffer, held);
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
    const auto [id, length] = std::pair(k.id.data(), k.id.size());
    if (&kind == &kR) return sntrGetAddressForRProperty(n, k.tag, &out);
    if (&kind == &kV) return sntrGetAddressForVProperty(n, k.tag, &out);
    if (&kind == &kIR) return sntrGetAddressForIRProperty(n, k.tag, length, id, &out);
    if (&kind == &kIV) return sntrGetAddressForIVProperty(n, k.tag, length, id, &out);
    return &kind == &kBaseR ? sntrGetAddressForBaseRProperty(n, k.tag, &out)
                            : sntrGetAddressForBaseVProperty(n, k.tag, &out);
  }
  // Value and result code together, by the record.
  std::uint32_t getBoth(SNodeProperty_t *r, std::int32_t &number, std::uint64_t &size, void *buffer,
                        std::uint64_t &rc) const {
    if (&kind == &kR) return sntrGetValueAndRCForRProperty(n, r, &number, &rc, held);
    if (&kind == &kIR) return sntrGetValueAndRCForIRProperty(n, r, &number, &rc, held);
    if (&kind == &kBaseR) return sntrGetValueAndRCForBaseRProperty(n, r, &number, &rc, held);
    if (&kind == &kV) return sntrGetValueAndRCForVProperty(n, r, &size, nullptr, buffer, &rc, held);
    if (&kind == &kIV) return sntrGetValueAndRCForIVProperty(n, r, &size, nullptr, buffer, &rc, held);
    return sntrGetValueAndRCForBaseVProperty(n, r, &size, nullptr, buffer, &rc, held);
  }
  std::uint32_t setBoth(SNodeProperty_t *r, const Value &v, std::uint64_t rc) const {
    const auto [bytes, size] = std::pair(v.bytes.data(), v.bytes.size());
    if (&kind == &kR) return sntrSetValueAndRCForRProperty(n, r, v.number, rc, held);
    if (&kind == &kIR) return sntrSetValueAndRCForIRProperty(n, r, v.number, rc, held);
    if (&kind == &kBaseR) return sntrSetValueAndRCForBaseRProperty(n, r, v.number, rc, held);
    if (&kind == &kV) return sntrSetValueAndRCForVProperty(n, r, size, bytes, rc, held);
    if (&kind == &kIV) return sntrSetValueAndRCForIVProperty(n, r, size, bytes, rc, held);
    return sntrSetValueAndRCForBaseVProperty(n, r, size, bytes, rc, held);
  }
  std::uint32_t setRC(const Key &k, std::uint64_t rc) const {
    if (&kind == &kR) return sntrSetRCForRProperty(n, k.tag, rc, held);
    if (&kind == &kV) return sntrSetRCForVProperty(n, k.tag, rc, held);
    if (&kind == &kIR) return sntrSetRCForIRProperty(n, k.tag, k.id.size(), k.id.data(), rc, held);
    if (&kind == &kIV) return sntrSetRCForIVProperty(n, k.tag, k.id.size(), k.id.data(), rc, held);
    return &kind == &kBaseR ? sntrSetRCForBaseRProperty(n, k.tag, rc, held)
                            : sntrSetRCForBaseVProperty(n, k.tag, rc, held);
  }
  std::uint32_t getRC(const Key &k, std::uint64_t &rc) const {
    if (&kind == &kR) return sntrGetRCForRProperty(n, k.tag, &rc, held);
    if (&kind == &kV) return sntrGetRCForVProperty(n, k.tag, &rc, held);
    if (&kind == &kIR) return sntrGetRCForIRProperty(n, k.tag, k.id.size(), k.id.data(), &rc, held);
    if (&kind == &kIV) return sntrGetRCForIVProperty(n, k.tag, k.id.size(), k.id.data(), &rc, held);
    return &kind == &kBaseR ? sntrGetRCForBaseRProperty(n, k.tag, &rc, held)
                            : sntrGetRCForBaseVProperty(n, k.tag, &rc, held);
  }
  // Of a list: of the properties with a tag, or for tag 0 of all.
  std::uint32_t count(std::uint64_t tag, std::uint64_t &out) const {
    if (&kind == &kR) return sntrReturnRPropertyCount(n, tag, &out, held);
    if (&kind == &kV) return sntrReturnVPropertyCount(n, tag, &out, held);
    return &kind == &kIR ? sntrReturnIRPropertyCount(n, tag, &out, held)
                         : sntrReturnIVPropertyCount(n, tag, &out, held);
  }
  // Copies keys and sizes of values out, and gives the first `count`, which must be at most the capacity.
  std::uint32_t keys(std::map<Key, std::uint64_t> &out, std::uint64_t count, std::uint64_t capacity,
                     std::uint64_t width) const {
    std::vector<std::uint64_t> tags(capacity), lengths(capacity), sizes(capacity);
    std::string ids(capacity * width, '\0');
    std::uint64_t *const t = tags.data(), *const l = lengths.data(), *const s = sizes.data();
    const std::uint32_t rc = &kind == &kR    ? sntrReturnRProperties(n, t, 0, capacity, held)
                             : &kind == &kV  ? sntrReturnVProperties(n, t, s, 0, capacity, held)
                             : &kind == &kIR ? sntrReturnIRProperties(n, t, l, ids.data(), 0, capacity, width, held)
                             : &kind == &kIV ? sntrReturnIVProperties(n, t, l, ids.data(), s, 0, capacity, width, held)
                             : &kind == &kBaseR ? sntrReturnBaseRProperty(n, t, held)
                                                : sntrReturnBaseVProperty(n, t, s, held);
    for (std::uint64_t i = 0; i < count; ++i) out[{tags[i], ids.substr(width * i, lengths[i])}] = sizes[i];
    return rc;
  }
};

}  // namespace support
