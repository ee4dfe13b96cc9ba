// V, IR and IV in both layouts against a model: random adds, deletes, sets and gets; every answer, code, byte and result
// code compared, and at intervals all keys copied out. The base kinds by hand, as there is one of each.
#include <gtest/gtest.h>
#include <oss/memory.h>
#include <sntr/sntr.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "layout/rc.h"
#include "support/codes.h"

namespace properties_test {
namespace {

using sntr::Rc;

constexpr std::uint64_t kMaxID = 20, kMaxValue = 40, kCapacity = 61;
constexpr std::uint64_t kLargestSlot = 0x250 + kMaxID + kMaxValue + 32;
constexpr std::uint64_t kMostKeys = 256;

struct Key {
  std::uint64_t tag;
  std::string id;
  auto operator<=>(const Key &) const = default;
};

struct Property {
  std::string bytes;  // of V and IV
  std::int32_t number = 0;
  std::uint64_t rc = 0;
  bool operator==(const Property &) const = default;
};

// A node with the areas of every kind, each beginning at an odd byte.
class AllKinds {
 public:
  AllKinds() {
    std::uint64_t sizes[SNTR_AREA_COUNT] = {}, size = 0;
    sizes[SNTR_AREA_NODE_ID] = 3;
    sizes[SNTR_AREA_BASE_R] = 0x91, sizes[SNTR_AREA_BASE_V] = 0x1a8 + kMaxValue;
    for (const int area : {SNTR_AREA_V, SNTR_AREA_IR, SNTR_AREA_IV}) sizes[area] = kLargestSlot * (kCapacity + 6) + 1;
    sizes[SNTR_AREA_EXPORT_LIST] = 240;
    SNodeCB_t *address = nullptr;
    EXPECT_RC(sntrCreateNodeInPM(&node, 0x1760, sizes, &size, &address, SNTR_VERSION, SNTR_VERSION), Rc::Ok);
    EXPECT_RC(sntrInitNode(&node, 0, 0, nullptr, nullptr, nullptr, 0, nullptr, nullptr, nullptr), Rc::Ok);
    EXPECT_RC(sntrActivateNode(&node), Rc::Ok);
  }
  ~AllKinds() { EXPECT_EQ(_ossMemFree(node, "test", 0), 0u); }
  AllKinds(const AllKinds &) = delete;
  AllKinds &operator=(const AllKinds &) = delete;

  SNodeCB_t *node = nullptr;
};

// The operations of a kind under common names. A kind without an identifier or with a register ignores the rest.
struct V {
  static constexpr bool kID = false, kBytes = true;
  static constexpr Rc kExists = Rc::VExists, kMissing = Rc::VNotFound, kNotInTable = Rc::VNotInTable,
                      kFull = Rc::VListFull;
  static std::uint32_t create(SNodeCB_t *n, std::uint32_t layout) {
    return sntrCreateVPropertyList(n, nullptr, nullptr, nullptr, 0, kCapacity, kMaxValue, layout, 0);
  }
  static std::uint32_t add(SNodeCB_t *n, const Key &k, const Property &p) {
    return sntrAddVProperty(n, k.tag, p.bytes.size(), p.bytes.data(), 0);
  }
  static std::uint32_t erase(SNodeCB_t *n, const Key &k) { return sntrDeleteVProperty(n, k.tag, 0); }
  static std::uint32_t set(SNodeCB_t *n, const Key &k, const Property &p) {
    if (std::uint32_t rc = sntrSetValueForVProperty(n, k.tag, p.bytes.size(), p.bytes.data(), 0); rc != 0) return rc;
    return sntrSetRCForVProperty(n, k.tag, p.rc, 0);
  }
  static std::uint32_t get(SNodeCB_t *n, const Key &k, Property &p) {
    char bytes[kMaxValue];
    std::uint64_t size = 0;
    if (std::uint32_t rc = sntrGetValueForVProperty(n, k.tag, &size, nullptr, bytes, 0); rc != 0) return rc;
    p.bytes.assign(bytes, size);
    return sntrGetRCForVProperty(n, k.tag, &p.rc, 0);
  }
  static std::uint32_t count(SNodeCB_t *n, std::uint64_t tag, std::uint64_t &c) {
    return sntrReturnVPropertyCount(n, tag, &c, 0);
  }
  static std::uint32_t keys(SNodeCB_t *n, std::uint64_t *tags, std::uint64_t *, char *, std::uint64_t *sizes) {
    return sntrReturnVProperties(n, tags, sizes, 0, kMostKeys, 0);
  }
};

struct IR {
  static constexpr bool kID = true, kBytes = false;
  static constexpr Rc kExists = Rc::IRExists, kMissing = Rc::IRNotFound, kNotInTable = Rc::IRNotInTable,
                      kFull = Rc::IRListFull;
  static std::uint32_t create(SNodeCB_t *n, std::uint32_t layout) {
    return sntrCreateIRPropertyList(n, nullptr, nullptr, nullptr, nullptr, 0, kCapacity, kMaxID, layout, 0);
  }
  static std::uint32_t add(SNodeCB_t *n, const Key &k, const Property &p) {
    return sntrAddIRProperty(n, k.tag, k.id.size(), k.id.data(), p.number, 0);
  }
  static std::uint32_t erase(SNodeCB_t *n, const Key &k) {
    return sntrDeleteIRProperty(n, k.tag, k.id.size(), k.id.data(), 0);
  }
  static std::uint32_t set(SNodeCB_t *n, const Key &k, const Property &p) {
    if (std::uint32_t rc = sntrSetValueForIRProperty(n, k.tag, k.id.size(), k.id.data(), p.number, 0); rc != 0)
      return rc;
    return sntrSetRCForIRProperty(n, k.tag, k.id.size(), k.id.data(), p.rc, 0);
  }
  static std::uint32_t get(SNodeCB_t *n, const Key &k, Property &p) {
    if (std::uint32_t rc = sntrGetValueForIRProperty(n, k.tag, k.id.size(), k.id.data(), &p.number, 0); rc != 0)
      return rc;
    return sntrGetRCForIRProperty(n, k.tag, k.id.size(), k.id.data(), &p.rc, 0);
  }
  static std::uint32_t count(SNodeCB_t *n, std::uint64_t tag, std::uint64_t &c) {
    return sntrReturnIRPropertyCount(n, tag, &c, 0);
  }
  static std::uint32_t keys(SNodeCB_t *n, std::uint64_t *tags, std::uint64_t *lengths, char *ids, std::uint64_t *) {
    return sntrReturnIRProperties(n, tags, lengths, ids, 0, kMostKeys, kMaxID, 0);
  }
};

struct IV {
  static constexpr bool kID = true, kBytes = true;
  static constexpr Rc kExists = Rc::IVExists, kMissing = Rc::IVNotFound, kNotInTable = Rc::IVNotInTable,
                      kFull = Rc::IVListFull;
  static std::uint32_t create(SNodeCB_t *n, std::uint32_t layout) {
    return sntrCreateIVPropertyList(n, nullptr, nullptr, nullptr, nullptr, nullptr, 0, kCapacity, kMaxID, kMaxValue,
                                    layout, 0);
  }
  static std::uint32_t add(SNodeCB_t *n, const Key &k, const Property &p) {
    return sntrAddIVProperty(n, k.tag, k.id.size(), k.id.data(), p.bytes.size(), p.bytes.data(), 0);
  }
  static std::uint32_t erase(SNodeCB_t *n, const Key &k) {
    return sntrDeleteIVProperty(n, k.tag, k.id.size(), k.id.data(), 0);
  }
  static std::uint32_t set(SNodeCB_t *n, const Key &k, const Property &p) {
    const std::uint32_t rc =
        sntrSetValueForIVProperty(n, k.tag, k.id.size(), k.id.data(), p.bytes.size(), p.bytes.data(), 0);
    return rc != 0 ? rc : sntrSetRCForIVProperty(n, k.tag, k.id.size(), k.id.data(), p.rc, 0);
  }
  static std::uint32_t get(SNodeCB_t *n, const Key &k, Property &p) {
    char bytes[kMaxValue];
    std::uint64_t size = 0;
    const std::uint32_t rc = sntrGetValueForIVProperty(n, k.tag, k.id.size(), k.id.data(), &size, nullptr, bytes, 0);
    if (rc != 0) return rc;
    p.bytes.assign(bytes, size);
    return sntrGetRCForIVProperty(n, k.tag, k.id.size(), k.id.data(), &p.rc, 0);
  }
  static std::uint32_t count(SNodeCB_t *n, std::uint64_t tag, std::uint64_t &c) {
    return sntrReturnIVPropertyCount(n, tag, &c, 0);
  }
  static std::uint32_t keys(SNodeCB_t *n, std::uint64_t *tags, std::uint64_t *lengths, char *ids,
                            std::uint64_t *sizes) {
    return sntrReturnIVProperties(n, tags, lengths, ids, sizes, 0, kMostKeys, kMaxID, 0);
  }
};

template <class K>
class Model {
 public:
  Model(std::uint32_t layout, std::uint64_t seed) : random_(seed), table_(layout == SNTR_LAYOUT_HASH) {
    EXPECT_RC(K::create(all_.node, layout), Rc::Ok);
  }

  void step() {
    const Key key = makeKey();
    const bool there = model_.count(key) != 0;
    Property property = makeProperty();
    switch (random_() % 4) {
      case 0:
        add(key, property, there);
        break;
      case 1:
        EXPECT_RC(K::erase(all_.node, key), there ? Rc::Ok : table_ ? K::kNotInTable : K::kMissing);
        model_.erase(key);
        break;
      case 2:
        EXPECT_RC(K::set(all_.node, key, property), there ? Rc::Ok : K::kMissing);
        if (there) model_[key] = property;
        break;
      default:
        EXPECT_RC(K::get(all_.node, key, property), there ? Rc::Ok : K::kMissing);
        if (there) EXPECT_EQ(property, model_[key]);
    }
  }

  // Everything copied out is everything in the model.
  void compareAll() {
    std::uint64_t tags[kMostKeys], lengths[kMostKeys] = {}, sizes[kMostKeys], count = 0;
    char ids[kMostKeys * kMaxID];
    EXPECT_RC(K::count(all_.node, 0, count), Rc::Ok);
    EXPECT_EQ(count, model_.size());
    EXPECT_RC(K::keys(all_.node, tags, lengths, ids, sizes), model_.empty() ? K::kNotInTable : Rc::Ok);
    std::map<Key, std::uint64_t> found;
    for (std::uint64_t i = 0; i < count; ++i) {
      const std::string id(ids + i * kMaxID, K::kID ? lengths[i] : 0);
      found[Key{tags[i], id}] = K::kBytes ? sizes[i] : 0;
    }
    std::map<Key, std::uint64_t> expected;
    std::map<std::uint64_t, std::uint64_t> byTag;
    for (const auto &[key, property] : model_) expected[key] = property.bytes.size(), ++byTag[key.tag];
    EXPECT_EQ(found, expected);
    for (std::uint64_t tag = 1; tag <= 9; ++tag) {
      EXPECT_RC(K::count(all_.node, tag, count), byTag[tag] != 0 ? Rc::Ok : K::kNotInTable);
      if (byTag[tag] != 0) EXPECT_EQ(count, byTag[tag]);
    }
  }

 private:
  void add(const Key &key, const Property &property, bool there) {
    const std::uint32_t rc = K::add(all_.node, key, property);
    const bool full = rc == sntr::code(K::kFull) || rc == sntr::code(Rc::NoRoomForSlot);
    if (full) EXPECT_GE(model_.size(), kCapacity) << "refused although there was room";
    if (!full) EXPECT_RC(rc, there ? K::kExists : Rc::Ok);
    if (rc == 0) model_[key] = Property{property.bytes, property.number, 0};
  }
  Key makeKey() {
    const std::string id = K::kID ? std::string(random_() % 3, static_cast<char>('a' + random_() % 4)) : "";
    return Key{1 + random_() % (K::kID ? 9 : 90), id};
  }
  Property makeProperty() {
    if (!K::kBytes) return Property{"", static_cast<std::int32_t>(random_()), random_()};
    return Property{std::string(1 + random_() % kMaxValue, static_cast<char>(random_())), 0, random_()};
  }

  AllKinds all_;
  std::mt19937_64 random_;
  bool table_;
  std::map<Key, Property> model_;
};

template <class K>
void runModel(std::uint64_t seed) {
  constexpr int kSteps = SNTR_SANITIZED ? 20000 : 200000;
  for (const std::uint32_t layout : {SNTR_LAYOUT_ARRAY, SNTR_LAYOUT_HASH}) {
    Model<K> model(layout, seed);
    for (int i = 0; i < kSteps && !::testing::Test::HasFailure(); ++i) {
      model.step();
      if (i % 500 == 0) model.compareAll();
    }
  }
}

TEST(KindsModel, AnswersAsAMapWould) {
  const char *const given = std::getenv("SNTR_TEST_SEED");
  const std::uint64_t seed = given != nullptr ? std::strtoull(given, nullptr, 0) : std::random_device{}();
  std::printf("SNTR_TEST_SEED=%llu replays this run\n", static_cast<unsigned long long>(seed));
  runModel<V>(seed);
  runModel<IR>(seed);
  runModel<IV>(seed);
}

TEST(BaseKinds, HoldOnePropertyEach) {
  AllKinds all;
  char buffer[kMaxValue] = {};
  std::uint64_t size = 0, tag = 0, rc = 0;
  std::int32_t number = 0;
  ASSERT_RC(V::create(all.node, SNTR_LAYOUT_HASH), Rc::Ok);
  EXPECT_RC(sntrCreateBaseRProperty(all.node, 5, -7, 0), Rc::Ok);
  EXPECT_RC(sntrGetValueForBaseRProperty(all.node, 5, &number, 0), Rc::Ok);
  EXPECT_EQ(number, -7);
  EXPECT_RC(sntrGetValueForBaseRProperty(all.node, 6, &number, 0), Rc::BaseRNotFound);
  EXPECT_RC(sntrReturnBaseRProperty(all.node, &tag, 0), Rc::Ok);
  EXPECT_EQ(tag, 5u);
  EXPECT_RC(sntrDeleteBaseRProperty(all.node, 5, 0), Rc::Ok);
  EXPECT_RC(sntrDeleteBaseRProperty(all.node, 5, 0), Rc::BaseRNotFound);
  EXPECT_RC(sntrCreateBaseVProperty(all.node, 9, 3, "abc", 0), Rc::Ok);
  EXPECT_RC(sntrSetValueForBaseVProperty(all.node, 9, kMaxValue + 1, buffer, 0), Rc::BadValueSize);
  EXPECT_RC(sntrSetRCForBaseVProperty(all.node, 9, 77, 0), Rc::Ok);
  EXPECT_RC(sntrGetValueForBaseVProperty(all.node, 9, &size, nullptr, buffer, 0), Rc::Ok);
  EXPECT_EQ(std::string(buffer, size), "abc");
  EXPECT_RC(sntrGetRCForBaseVProperty(all.node, 9, &rc, 0), Rc::Ok);
  EXPECT_EQ(rc, 77u);
  EXPECT_RC(sntrReturnBaseVProperty(all.node, &tag, &size, 0), Rc::Ok);
  EXPECT_EQ(tag + size, 12u);
  EXPECT_RC(sntrDeleteBaseVProperty(all.node, 8, 0), Rc::BaseVNotFound);
  EXPECT_RC(sntrDeleteBaseVProperty(all.node, 9, 0), Rc::Ok);
}

// A named entry is stored, an entry of 0 leaves what stands there; the first five are bounded.
TEST(ExportList, ChangesOnlyWhatItNames) {
  AllKinds all;
  AreaEntry *area = nullptr;
  std::uint32_t entries[58] = {0x8000, 0, 3}, stored = 0;
  ASSERT_RC(sntrGetPExportPointer(&area, all.node, SNTR_OPTION_EXPORT_LIST), Rc::Ok);
  EXPECT_RC(sntrExportListOfChangedProperties(all.node, 0, entries), Rc::Ok);
  entries[0] = 0, entries[57] = 0x12345678;
  EXPECT_RC(sntrExportListOfChangedProperties(all.node, 0, entries), Rc::Ok);
  const char *const list = reinterpret_cast<const char *>(all.node) + area->areaOffset + 8;
  const std::pair<int, std::uint32_t> kept[] = {{0, 0x8000}, {1, 0}, {2, 3}, {57, 0x12345678}};
  for (const auto &[entry, value] : kept) {
    std::memcpy(&stored, list + 4 * entry, 4);
    EXPECT_EQ(stored, value) << entry;
  }
  const Rc tooMany[] = {Rc::BadRCount, Rc::BadVCount, Rc::BadIRCount, Rc::BadIVCount, Rc::BadDependentCount};
  for (int i = 0; i < 5; ++i) {
    std::uint32_t one[58] = {};
    one[i] = 0x8001;
    EXPECT_RC(sntrExportListOfChangedProperties(all.node, 0, one), tooMany[i]);
  }
}

}  // namespace
}  // namespace properties_test
