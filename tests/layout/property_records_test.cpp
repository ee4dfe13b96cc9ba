// The areas of all kinds of properties and of the export list as the processes that share them see them: literal bytes
// at literal offsets, written through the public calls alone.
#include <gtest/gtest.h>
#include <oss/memory.h>

#include <cstring>

#include "support/kinds.h"
#include "support/nodes.h"

namespace {

using support::kBaseR, support::kBaseV, support::Kind, support::kIR, support::kIV, support::kR, support::kV;
using support::Key, support::Properties, support::Rc, support::Value;

constexpr std::uint64_t kRC = 0x1122334455667788;
constexpr std::uint64_t kAB = 0x6261, kXYZ = 0x7a7978;  // the letters as bytes in memory

// The maxima are odd where they may be, so that a size that is rounded up, or forgotten, moves what follows.
constexpr std::uint64_t kMaxID = 5, kMaxValue = 16;

// What must stand from an offset on, counted from the start of the node.
struct Words {
  std::string what;
  std::uint64_t at;
  std::vector<std::uint64_t> values;
  std::size_t width = 8;
};

class PropertyBytes : public ::testing::Test {
 protected:
  void SetUp() override {
    support::Sizes sizes{};
    sizes[0] = 1;  // pushes every area off its alignment
    sizes[4] = 0x90, sizes[5] = 0x1a8 + 16, sizes[11] = 240;
    sizes[6] = sizes[7] = sizes[8] = sizes[9] = kAreaSize;
    node = support::newPrivateNode(0x17e0, sizes);
    support::activate(node);
  }
  void TearDown() override { EXPECT_EQ(_ossMemFree(node, "test", 0), 0u); }

  std::uint64_t word(std::uint64_t offset, std::size_t width = 8) const {
    std::uint64_t value = 0;
    std::memcpy(&value, reinterpret_cast<const char *>(node) + offset, width);
    return value;
  }
  std::uint64_t area(std::uint64_t entry) const { return word(0x560 + 24 * entry + 16); }
  static std::uint64_t usedOf(const Kind &f) { return 0x560 + 24 * f.area + 8; }

  void expect(const std::string &where, const std::vector<Words> &rows) const {
    for (const Words &row : rows) {
      for (std::size_t i = 0; i < row.values.size(); ++i) {
        EXPECT_EQ(word(row.at + row.width * i, row.width), row.values[i]) << where << ", " << row.what << " " << i;
      }
    }
  }

  void create(const Kind &f, std::uint32_t layout) {
    ASSERT_RC((Properties{node, f}.create(layout, 3, kMaxID, kMaxValue)), Rc::Ok) << f.name;
  }
  void add(const Kind &f, const Key &key) {
    EXPECT_RC((Properties{node, f}.add(key, Value{INT32_MIN + 1, "xyz"})), Rc::Ok) << f.name;
  }
  // The second property is 7 or (7, "ab"), and has a result code.
  void fill(const Kind &f) {
    const std::vector<Key> plain = {{1234}, {7}, {0x100000}}, named = {{1234, "abc"}, {7, "ab"}, {5}, {7, "abc"}};
    for (const Key &key : f.hasID() ? named : plain) add(f, key);
    EXPECT_RC((Properties{node, f}.setRC({7, "ab"}, kRC)), Rc::Ok) << f.name;
  }
  void removeSecond(const Kind &f) { EXPECT_RC((Properties{node, f}.erase({7, "ab"})), Rc::Ok) << f.name; }

  // The header, and what stands in the record of the second property, wherever it begins.
  void expectHeader(const Kind &f, std::vector<std::uint64_t> counts) const {
    if (f.hasBytes()) counts.insert(counts.begin(), kMaxValue);
    if (f.hasID()) counts.insert(counts.begin(), kMaxID);
    expect(f.name, {{"header", area(f.area), counts}});
  }
  void expectSecond(const Kind &f, std::uint64_t r, std::uint64_t tag = 7) const {
    const std::vector<Words> rows[] = {
        {{"tag, rc", r, {tag, kRC}}, {"register", r + 0x10, {0x80000001}, 4}},
        {{"tag, rc, value's place and size", r, {tag, kRC, r + 0x1a8, 3}},
         {"latches", r + 0x20, {0x1317d17}, 4},
         {"value", r + 0x1a8, {kXYZ}, 3}},
        {{"tag, rc, id's place and length", r, {tag, kRC, r + 0x228, 2}},
         {"register", r + 0x20, {0x80000001}, 4},
         {"latches", r + 0xa0, {0x1317d17}, 4},
         {"id", r + 0x228, {kAB}, 2}},
        {{"tag, rc, id, value", r, {tag, kRC, r + 0x1b8, 2, r + 0x1b8 + 5, 3}},
         {"latches", r + 0x30, {0x1317d17}, 4},
         {"id", r + 0x1b8, {kAB}, 2},
         {"value", r + 0x1b8 + 5, {kXYZ}, 3}},
    };
    expect(f.name, rows[f.area == 5 ? 1 : f.area == 4 ? 0 : f.area - 6]);
  }

  SNodeCB_t *node = nullptr;
  static constexpr std::uint64_t kAreaSize = 0x28 + 9 * 8 + 6 * (0x250 + 5) + 16 + 7;
};

TEST_F(PropertyBytes, Arrays) {
  for (const Kind *f : support::kLists) {
    create(*f, 0);
    expect(f->name, {{"used of an empty list", usedOf(*f), {f->arrayHeader}}});
    fill(*f);
    const std::uint64_t stride = f->stride(kMaxID, kMaxValue), second = area(f->area) + f->arrayHeader + stride;
    const std::uint64_t properties = f->hasID() ? 4 : 3;
    expectHeader(*f, {0});
    expectSecond(*f, second);
    expect(f->name, {{"first tag", second - stride, {1234}},
                     {"third tag", second + stride, {f->hasID() ? 5u : 0x100000u}},
                     {"used", usedOf(*f), {f->arrayHeader + properties * stride}}});
    removeSecond(*f);
    expectSecond(*f, second, 0);
    expect(f->name, {{"used less one", usedOf(*f), {f->arrayHeader + (properties - 1) * stride}}});
    add(*f, {9, "ab"});
    expect(f->name, {{"the first empty record", second, {9, 0}},
                     {"used again", usedOf(*f), {f->arrayHeader + properties * stride}}});
  }
}

// Hashes modulo 3: tags 1234, 7, 0x100000 and 5 give 1, 2, 2, 0.
TEST_F(PropertyBytes, TablesOfTags) {
  for (const Kind *f : {&kR, &kV}) {
    const std::uint64_t a = area(f->area), end = a + kAreaSize, buckets = a + f->tableHeader, slot = buckets + 3 * 8;
    const std::uint64_t size = 8 + f->stride(0, kMaxValue), head = f->tableHeader + 3 * 8 + 16, used = usedOf(*f);
    create(*f, 1);
    expect("laid out", {{"buckets", buckets, {0, 0, 0}}, {"tail", end - 16, {slot, 0}}, {"used", used, {head}}});
    fill(*f);
    expectHeader(*f, {3});
    expectSecond(*f, slot + size + 8);
    expect("filled", {{"buckets", buckets, {0, slot, slot + size}},
                      {"next of 1234", slot, {0, 1234}},
                      {"next of 7", slot + size, {slot + 2 * size}},
                      {"next of 0x100000", slot + 2 * size, {0, 0x100000}},
                      {"tail", end - 16, {slot + 3 * size, 0}},
                      {"used", used, {head + 3 * size}}});
    removeSecond(*f);
    EXPECT_RC((Properties{node, *f}.erase({1234})), Rc::Ok);
    expect("deleted", {{"buckets", buckets, {0, 0, slot + 2 * size}},
                       {"stack and tail", end - 0x20, {slot, slot + size, slot + 3 * size, 2}},
                       {"used", used, {head + size + 2 * 8}}});
    add(*f, {7});
    expect("freed last, used first", {{"buckets", buckets, {0, 0, slot}},
                                      {"next and tag of 7", slot, {slot + 2 * size, 7, 0}},
                                      {"stack and tail", end - 0x18, {slot + size, slot + 3 * size, 1}},
                                      {"used", used, {head + 2 * size + 8}}});
  }
  expect("node", {{"changes", 0x50, {2 * 6}, 4}});
}

// Full keys modulo 3: (1234, "abc"), (7, "ab") and (7, "abc") give 0, (5, "") gives 2. Identifiers: "abc" and "ab" give
// 1, "" gives 0. So no two of the three chains are alike.
TEST_F(PropertyBytes, TablesOfTagsAndIdentifiers) {
  for (const Kind *f : {&kIR, &kIV}) {
    const std::uint64_t a = area(f->area), end = a + kAreaSize, buckets = a + f->tableHeader;
    const std::uint64_t size = 0x28 + f->stride(kMaxID, kMaxValue), head = f->tableHeader + 9 * 8;
    const std::uint64_t s0 = a + head, s1 = s0 + size, s2 = s1 + size, s3 = s2 + size;
    const std::string name = f->name;
    create(*f, 1);
    expect(name, {{"tail of an empty table", end - 16, {s0, 0}}, {"used of it", usedOf(*f), {head + 16}}});
    fill(*f);
    expectHeader(*f, {3, 3, 3});
    expectSecond(*f, s1 + 0x28);
    expect(name, {{"key buckets", buckets, {s1, 0, s2}},
                  {"tag buckets", buckets + 0x18, {s2 + 8, s0 + 8, s3 + 8}},
                  {"id buckets", buckets + 0x30, {s2 + 0x18, s3 + 0x18, 0}},
                  {"links of (1234, abc)", s0, {0, 0, buckets + 0x20, 0, s1 + 0x18}},
                  {"links of (7, ab)", s1, {s3, 0, s3 + 8, s0 + 0x18, s3 + 0x18}},
                  {"links of (5, )", s2, {0, 0, buckets + 0x18, 0, buckets + 0x30}},
                  {"links of (7, abc)", s3, {s0, s1 + 8, buckets + 0x28, s1 + 0x18, buckets + 0x38}},
                  {"tail", end - 16, {s3 + size, 0}},
                  {"used", usedOf(*f), {head + 16 + 4 * size}}});
    removeSecond(*f);
    expect(name + " deleted", {{"key buckets", buckets, {s3, 0, s2}},
                               {"links of (1234, abc)", s0, {0, 0, buckets + 0x20, 0, s3 + 0x18}},
                               {"links of (7, abc)", s3, {s0, 0, buckets + 0x28, s0 + 0x18, buckets + 0x38}},
                               {"stack and tail", end - 0x18, {s1, s3 + size, 1}},
                               {"used", usedOf(*f), {head + 16 + 3 * size + 8}}});
  }
}

TEST_F(PropertyBytes, BaseRecords) {
  create(kV, 0);
  for (const Kind *f : {&kBaseR, &kBaseV}) {
    const Properties base{node, *f};
    const std::uint64_t r = area(f->area);
    add(*f, {0x100000});
    ASSERT_RC(base.setRC({0x100000}, kRC), Rc::Ok);
    expectSecond(*f, r, 0x100000);
    expect(f->name, {{"used", usedOf(*f), {f->stride(0, kMaxValue)}}});
    ASSERT_RC(base.erase({0x100000}), Rc::Ok);
    ASSERT_RC(base.erase({0}), Rc::Ok) << "a property that was deleted before is not changed";
    expect(f->name, {{"tag", r, {0}}, {"none used", usedOf(*f), {0}}});
  }
  expect("node", {{"changes", 0x50, {4}, 4}});
}

TEST_F(PropertyBytes, ExportList) {
  std::uint32_t entries[58] = {};
  for (std::uint32_t i = 0; i < 58; ++i) entries[i] = 0x101 * i;
  ASSERT_RC(sntrExportListOfChangedProperties(node, 0, entries), Rc::Ok);
  EXPECT_EQ(word(area(11)), 0x17e0u);
  for (std::uint64_t i = 0; i < 58; ++i) EXPECT_EQ(word(area(11) + 8 + 4 * i, 4), 0x101 * i) << i;
}

}  // namespace
