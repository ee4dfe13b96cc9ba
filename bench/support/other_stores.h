// SPDX-License-Identifier: MIT
// Stores of the other kinds: registers by tag and identifier, bytes by tag, bytes by tag and identifier, and the base
// properties. Otherwise like r_stores.h.
//
// An identifier has 16 characters, and no two are equal. So it alone is the key of a map by string: the peer gets less
// to hash and to compare than the library, not more.
#pragma once

#include <array>
#include <boost/interprocess/containers/string.hpp>
#include <cstring>
#include <string_view>

#include "support/r_stores.h"

namespace bench {

inline constexpr std::size_t kIDSize = 16;
inline constexpr std::uint64_t kIRTag = 7;  // one tag, so that the identifier decides

// The identifiers of all benchmarks, made beforehand.
class IDs {
 public:
  static const char *of(Key key) { return all().ids_[key.index].data(); }

 private:
  IDs();
  static const IDs &all() {
    static const IDs ids;
    return ids;
  }
  std::vector<std::array<char, kIDSize + 1>> ids_;
};

class IRNode {
 public:
  explicit IRNode(std::uint32_t n, std::uint32_t model = SNTR_MODEL_LATCHED);

  std::uint64_t get(Key key) {
    std::int32_t value = 0;
    const std::uint32_t rc = sntrGetValueForIRProperty(node, kIRTag, kIDSize, IDs::of(key), &value, 0);
    return answer(rc, value, key);
  }
  std::uint64_t set(Key key) { return sntrSetValueForIRProperty(node, kIRTag, kIDSize, IDs::of(key), valueOf(key), 0); }
  std::uint64_t add(Key key) { return sntrAddIRProperty(node, kIRTag, kIDSize, IDs::of(key), valueOf(key), 0); }
  std::uint64_t remove(Key key) { return sntrDeleteIRProperty(node, kIRTag, kIDSize, IDs::of(key), 0); }

  std::unique_ptr<Segment> segment;
  SNodeCB_t *node = nullptr;
};

struct UnprotectedIRNode : IRNode {
  explicit UnprotectedIRNode(std::uint32_t n) : IRNode(n, kUnprotected) {}
};

class IRFloor : CopyOf<IRNode> {
 public:
  explicit IRFloor(std::uint32_t n) : CopyOf(n) {}

  std::uint64_t get(Key key) {
    std::int32_t value = 0;
    const std::uint32_t rc = floor::getIR(node_, kIRTag, kIDSize, IDs::of(key), &value);
    return answer(rc, value, key);
  }
  std::uint64_t set(Key key) { return floor::setIR(node_, kIRTag, kIDSize, IDs::of(key), valueOf(key)); }
};

// Boost's map by string. A lookup uses the characters, and makes no string of them first.
template <class Mutex>
class IRBoost {
 public:
  explicit IRBoost(std::uint32_t n)
      : memory_(std::size_t{n} * 320 + (1 << 20)),
        mutex_(memory_->construct<Mutex>(boostmap::bi::anonymous_instance)()),
        map_(memory_->construct<Map>(boostmap::bi::anonymous_instance)(n, Hash(), Equal(),
                                                                       memory_->get_segment_manager())) {
    for (std::uint32_t i = 0; i < n; ++i) require(add(keyOf(i, Tags::Dense)) == 0, "filling a map");
  }
  std::uint64_t get(Key key) {
    boostmap::bi::scoped_lock<Mutex> lock(*mutex_);
    const auto found = map_->find(view(key), Hash(), Equal());
    return found == map_->end() ? 1 : answer(0, found->second, key);
  }
  std::uint64_t set(Key key) {
    boostmap::bi::scoped_lock<Mutex> lock(*mutex_);
    const auto found = map_->find(view(key), Hash(), Equal());
    if (found == map_->end()) return 1;
    found->second = valueOf(key);
    return 0;
  }
  std::uint64_t add(Key key) {
    boostmap::bi::scoped_lock<Mutex> lock(*mutex_);
    return map_->emplace(String(IDs::of(key), kIDSize, memory_->get_segment_manager()), valueOf(key)).second ? 0 : 1;
  }
  std::uint64_t remove(Key key) {
    boostmap::bi::scoped_lock<Mutex> lock(*mutex_);
    const auto found = map_->find(view(key), Hash(), Equal());
    if (found == map_->end()) return 1;
    map_->erase(found);
    return 0;
  }

 private:
  using String = boostmap::bi::basic_string<char, std::char_traits<char>, boostmap::Allocator<char>>;
  struct Hash {
    std::size_t operator()(std::string_view text) const { return boost::hash_range(text.begin(), text.end()); }
    std::size_t operator()(const String &text) const { return boost::hash_range(text.begin(), text.end()); }
  };
  struct Equal {
    static std::string_view plain(std::string_view text) { return text; }
    static std::string_view plain(const String &text) { return {text.data(), text.size()}; }
    template <class A, class B>
    bool operator()(const A &a, const B &b) const {
      return plain(a) == plain(b);
    }
  };
  using Map = boost::unordered_map<String, std::int32_t, Hash, Equal,
                                   boostmap::Allocator<std::pair<const String, std::int32_t>>>;

  static std::string_view view(Key key) { return {IDs::of(key), kIDSize}; }

  boostmap::Memory memory_;
  Mutex *mutex_;
  Map *map_;
};

// A value of bytes, which begins with the key's index.
template <std::uint32_t size>
struct Bytes {
  std::uint32_t length = size;
  unsigned char bytes[size] = {};

  Bytes() = default;
  explicit Bytes(Key key) { std::memcpy(bytes, &key.index, sizeof key.index); }
  std::uint64_t differs(Key key) const { return length ^ size ? 1 : std::memcmp(bytes, &key.index, sizeof key.index); }
};

inline std::uint64_t answerBytes(std::uint32_t rc, const unsigned char *bytes, std::uint64_t length,
                                 std::uint64_t expected, Key key) {
  std::uint32_t first;
  std::memcpy(&first, bytes, sizeof first);
  return rc | (length ^ expected) | (first ^ key.index);
}

// Nodes with values of bytes: V by tag, IV by tag and identifier.
template <std::uint32_t size>
class VNode {
 public:
  explicit VNode(std::uint32_t n, std::uint32_t model = SNTR_MODEL_LATCHED) {
    const std::uint64_t area = 0x20 + bucketsFor(n) * (0x8 + 0x1b0 + size);
    node = makeNode(segment, {{SNTR_KIND_V, area}}, model);
    requireOk(sntrCreateVPropertyList(node, nullptr, nullptr, nullptr, 0, n, size, SNTR_LAYOUT_HASH, 0), "V list");
    for (std::uint32_t i = 0; i < n; ++i) {
      const Bytes<size> value(keyOf(i, Tags::Dense));
      requireOk(sntrAddVProperty(node, keyOf(i, Tags::Dense).tag, size, value.bytes, 0), "adding V");
    }
  }
  std::uint64_t get(Key key) {
    std::uint64_t length = 0;
    const std::uint32_t rc = sntrGetValueForVProperty(node, key.tag, &length, nullptr, buffer_.bytes, 0);
    return answerBytes(rc, buffer_.bytes, length, size, key);
  }
  std::uint64_t set(Key key) {
    std::memcpy(buffer_.bytes, &key.index, sizeof key.index);
    return sntrSetValueForVProperty(node, key.tag, size, buffer_.bytes, 0);
  }

  std::unique_ptr<Segment> segment;
  SNodeCB_t *node = nullptr;

 private:
  Bytes<size> buffer_;
};

template <std::uint32_t size, auto getV = floor::getV>
class VFloor : CopyOf<VNode<size>> {
 public:
  explicit VFloor(std::uint32_t n) : CopyOf<VNode<size>>(n) {}

  std::uint64_t get(Key key) {
    std::uint64_t length = 0;
    const std::uint32_t rc = getV(this->node_, key.tag, &length, buffer_.bytes);
    return answerBytes(rc, buffer_.bytes, length, size, key);
  }
  std::uint64_t set(Key key) {
    std::memcpy(buffer_.bytes, &key.index, sizeof key.index);
    return floor::setV(this->node_, key.tag, size, buffer_.bytes);
  }

 private:
  Bytes<size> buffer_;
};

// A floor whose gets take no latch.
template <std::uint32_t size>
using VFloorWords = VFloor<size, floor::getVWords>;

template <std::uint32_t size, class Mutex>
class VBoost {
 public:
  explicit VBoost(std::uint32_t n) : map_(n) {
    for (std::uint32_t i = 0; i < n; ++i) {
      const Key key = keyOf(i, Tags::Dense);
      require(map_.insert(key.tag, Bytes<size>(key)) == 0, "filling a map");
    }
  }
  std::uint64_t get(Key key) {
    std::uint64_t length = 0;
    const std::uint64_t missing = map_.at(key.tag, [&](const Bytes<size> &stored) {
      length = stored.length;
      std::memcpy(buffer_.bytes, stored.bytes, stored.length);
    });
    return missing | answerBytes(0, buffer_.bytes, length, size, key);
  }
  std::uint64_t set(Key key) {
    std::memcpy(buffer_.bytes, &key.index, sizeof key.index);
    return map_.at(key.tag, [&](Bytes<size> &stored) {
      std::memcpy(stored.bytes, buffer_.bytes, buffer_.length);
      stored.length = buffer_.length;
    });
  }

 private:
  boostmap::TagMap<Bytes<size>, Mutex> map_;
  Bytes<size> buffer_;
};

template <std::uint32_t size>
class IVNode {
 public:
  explicit IVNode(std::uint32_t n, std::uint32_t model = SNTR_MODEL_LATCHED) {
    const std::uint64_t area = 0x38 + bucketsFor(n) * (0x18 + 0x1e0 + kIDSize + size);
    node = makeNode(segment, {{SNTR_KIND_IV, area}}, model);
    requireOk(sntrCreateIVPropertyList(node, nullptr, nullptr, nullptr, nullptr, nullptr, 0, n, kIDSize, size,
                                       SNTR_LAYOUT_HASH, 0),
              "IV list");
    for (std::uint32_t i = 0; i < n; ++i) {
      const Key key = keyOf(i, Tags::Dense);
      const Bytes<size> value(key);
      requireOk(sntrAddIVProperty(node, kIRTag, kIDSize, IDs::of(key), size, value.bytes, 0), "adding IV");
    }
  }
  std::uint64_t get(Key key) {
    std::uint64_t length = 0;
    const std::uint32_t rc =
        sntrGetValueForIVProperty(node, kIRTag, kIDSize, IDs::of(key), &length, nullptr, buffer_.bytes, 0);
    return answerBytes(rc, buffer_.bytes, length, size, key);
  }
  std::uint64_t set(Key key) {
    std::memcpy(buffer_.bytes, &key.index, sizeof key.index);
    return sntrSetValueForIVProperty(node, kIRTag, kIDSize, IDs::of(key), size, buffer_.bytes, 0);
  }

  std::unique_ptr<Segment> segment;
  SNodeCB_t *node = nullptr;

 private:
  Bytes<size> buffer_;
};

template <std::uint32_t size>
struct UnprotectedVNode : VNode<size> {
  explicit UnprotectedVNode(std::uint32_t n) : VNode<size>(n, kUnprotected) {}
};

template <std::uint32_t size>
struct UnprotectedIVNode : IVNode<size> {
  explicit UnprotectedIVNode(std::uint32_t n) : IVNode<size>(n, kUnprotected) {}
};

// Both base properties of one node; that with bytes has 64.
class BaseNode {
 public:
  explicit BaseNode(std::uint32_t model = SNTR_MODEL_LATCHED);

  std::uint64_t getR() {
    std::int32_t value = 0;
    const std::uint32_t rc = sntrGetValueForBaseRProperty(node, kTag, &value, 0);
    return rc | static_cast<std::uint32_t>(value);
  }
  std::uint64_t setR() { return sntrSetValueForBaseRProperty(node, kTag, 0, 0); }
  std::uint64_t getV() {
    std::uint64_t length = 0;
    const std::uint32_t rc = sntrGetValueForBaseVProperty(node, kTag, &length, nullptr, buffer_.bytes, 0);
    return rc | (length ^ sizeof buffer_.bytes);
  }
  std::uint64_t setV() { return sntrSetValueForBaseVProperty(node, kTag, sizeof buffer_.bytes, buffer_.bytes, 0); }

  std::unique_ptr<Segment> segment;
  SNodeCB_t *node = nullptr;

 private:
  static constexpr std::uint64_t kTag = 5;
  Bytes<64> buffer_;
};

struct UnprotectedBaseNode : BaseNode {
  UnprotectedBaseNode() : BaseNode(kUnprotected) {}
};

}  // namespace bench
