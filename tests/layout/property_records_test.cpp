// The areas of V, IR, IV, BaseR, BaseV and the export list as the processes that share them see them: literal bytes at
// literal offsets, written through the public calls alone. R's are in r_slot_test.cpp.
#include <gtest/gtest.h>
#include <oss/memory.h>
#include <sntr/sntr.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/codes.h"

namespace {

using sntr::Rc;

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

// A keyed kind: the words before its bucket counts, and where the first record of an array, and the first bucket of a
// table, stand.
struct Form {
  const char *name;
  std::uint64_t entry;
  std::vector<std::uint64_t> limits;
  std::uint64_t arrayFirst, tableFirst, stride, properties;
};
const Form kV = {"V", 7, {kMaxValue}, 0x10, 0x10, 0x1a8 + 16, 3};
const Form kIR = {"IR", 8, {kMaxID}, 0x10, 0x20, 0x228 + 5, 4};
const Form kIV = {"IV", 9, {kMaxID, kMaxValue}, 0x18, 0x28, 0x1b8 + 5 + 16, 4};

class PropertyBytes : public ::testing::Test {
 protected:
  void SetUp() override {
    std::uint64_t sizes[64] = {}, size = 0;
    sizes[0] = 1;  // pushes every area off its alignment
    sizes[4] = 0x90, sizes[5] = 0x1a8 + 16, sizes[11] = 240;
    sizes[7] = sizes[8] = sizes[9] = kAreaSize;
    SNodeCB_t *address = nullptr;
    ASSERT_RC(sntrCreateNodeInPM(&node, 0x1760, sizes, &size, &address, 0x1317d17, 0x1317d17), Rc::Ok);
    ASSERT_RC(sntrInitNode(&node, 0, 0, nullptr, nullptr, nullptr, 0, nullptr, nullptr, nullptr), Rc::Ok);
    ASSERT_RC(sntrActivateNode(&node), Rc::Ok);
  }
  void TearDown() override { EXPECT_EQ(_ossMemFree(node, "test", 0), 0u); }

  std::uint64_t word(std::uint64_t offset, std::size_t width = 8) const {
    std::uint64_t value = 0;
    std::memcpy(&value, reinterpret_cast<const char *>(node) + offset, width);
    return value;
  }
  std::uint64_t area(std::uint64_t entry) const { return word(0x560 + 24 * entry + 16); }
  static std::uint64_t usedOf(std::uint64_t entry) { return 0x560 + 24 * entry + 8; }

  void expect(const std::string &where, const std::vector<Words> &rows) const {
    for (const Words &row : rows) {
      for (std::size_t i = 0; i < row.values.size(); ++i) {
        EXPECT_EQ(word(row.at + row.width * i, row.width), row.values[i]) << where << ", " << row.what << " " << i;
      }
    }
  }

  void create(const Form &f, std::uint32_t layout) {
    const auto rc = [&]() -> std::uint32_t {
      const void *const *none = nullptr;
      if (&f == &kV) return sntrCreateVPropertyList(node, nullptr, nullptr, none, 0, 3, kMaxValue, layout, 0);
      if (&f == &kIR) return sntrCreateIRPropertyList(node, nullptr, nullptr, none, nullptr, 0, 3, kMaxID, layout, 0);
      return sntrCreateIVPropertyList(node, nullptr, nullptr, none, nullptr, none, 0, 3, kMaxID, kMaxValue, layout, 0);
    };
    ASSERT_RC(rc(), Rc::Ok) << f.name;
  }

  void add(const Form &f, std::uint64_t tag, const std::string &id) {
    if (&f == &kV) EXPECT_RC(sntrAddVProperty(node, tag, 3, "xyz", 0), Rc::Ok);
    if (&f == &kIR) EXPECT_RC(sntrAddIRProperty(node, tag, id.size(), id.data(), INT32_MIN + 1, 0), Rc::Ok);
    if (&f == &kIV) EXPECT_RC(sntrAddIVProperty(node, tag, id.size(), id.data(), 3, "xyz", 0), Rc::Ok);
  }
  // The second property is 7 or (7, "ab"), and has a result code.
  void fill(const Form &f) {
    for (const std::uint64_t tag : {1234u, 7u, 0x100000u}) {
      if (&f == &kV) add(f, tag, "");
    }
    const std::pair<std::uint64_t, const char *> keys[] = {{1234, "abc"}, {7, "ab"}, {5, ""}, {7, "abc"}};
    for (const auto &[tag, id] : keys) {
      if (&f != &kV) add(f, tag, id);
    }
    if (&f == &kV) EXPECT_RC(sntrSetRCForVProperty(node, 7, kRC, 0), Rc::Ok);
    if (&f == &kIR) EXPECT_RC(sntrSetRCForIRProperty(node, 7, 2, "ab", kRC, 0), Rc::Ok);
    if (&f == &kIV) EXPECT_RC(sntrSetRCForIVProperty(node, 7, 2, "ab", kRC, 0), Rc::Ok);
  }
  void removeSecond(const Form &f) {
    if (&f == &kV) EXPECT_RC(sntrDeleteVProperty(node, 7, 0), Rc::Ok);
    if (&f == &kIR) EXPECT_RC(sntrDeleteIRProperty(node, 7, 2, "ab", 0), Rc::Ok);
    if (&f == &kIV) EXPECT_RC(sntrDeleteIVProperty(node, 7, 2, "ab", 0), Rc::Ok);
  }

  // The header, and what stands in the record of the second property, wherever it begins.
  void expectHeader(const Form &f, const std::vector<std::uint64_t> &counts) const {
    std::vector<std::uint64_t> words = f.limits;
    words.insert(words.end(), counts.begin(), counts.end());
    expect(f.name, {{"header", area(f.entry), words}});
  }
  void expectSecond(const Form &f, std::uint64_t r, std::uint64_t tag = 7) const {
    const std::vector<Words> rows[] = {
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
    expect(f.name, rows[f.entry - 7]);
  }

  SNodeCB_t *node = nullptr;
  static constexpr std::uint64_t kAreaSize = 0x28 + 9 * 8 + 6 * (0x250 + 5) + 16 + 7;
};

TEST_F(PropertyBytes, Arrays) {
  for (const Form *f : {&kV, &kIR, &kIV}) {
    create(*f, 0);
    expect(f->name, {{"used of an empty list", usedOf(f->entry), {f->arrayFirst}}});
    fill(*f);
    const std::uint64_t second = area(f->entry) + f->arrayFirst + f->stride;
    expectHeader(*f, {0});
    expectSecond(*f, second);
    expect(f->name, {{"first tag", second - f->stride, {1234}},
                     {"third tag", second + f->stride, {f == &kV ? 0x100000u : 5u}},
                     {"used", usedOf(f->entry), {f->arrayFirst + f->properties * f->stride}}});
    removeSecond(*f);
    expectSecond(*f, second, 0);
    expect(f->name, {{"used less one", usedOf(f->entry), {f->arrayFirst + (f->properties - 1) * f->stride}}});
  }
}

// Hashes modulo 3: tags 1234, 7, 0x100000 and 5 give 1, 2, 2, 0.
TEST_F(PropertyBytes, TableOfTags) {
  const std::uint64_t a = area(7), end = a + kAreaSize, slot = a + 0x10 + 3 * 8, size = 0x1b0 + 16;
  create(kV, 1);
  expect("laid out", {{"buckets", a + 0x10, {0, 0, 0}}, {"tail", end - 16, {slot, 0}}, {"used", usedOf(7), {0x38}}});
  fill(kV);
  expectHeader(kV, {3});
  expectSecond(kV, slot + size + 8);
  expect("filled", {{"buckets", a + 0x10, {0, slot, slot + size}},
                    {"next of 1234", slot, {0}},
                    {"next of 7", slot + size, {slot + 2 * size}},
                    {"next of 0x100000", slot + 2 * size, {0}},
                    {"tail", end - 16, {slot + 3 * size, 0}},
                    {"used", usedOf(7), {0x38 + 3 * size}}});
  removeSecond(kV);
  expect("deleted", {{"buckets", a + 0x10, {0, slot, slot + 2 * size}},
                     {"stack and tail", end - 0x18, {slot + size, slot + 3 * size, 1}},
                     {"used", usedOf(7), {0x38 + 2 * size + 8}}});
}

// Full keys modulo 3: (1234, "abc"), (7, "ab") and (7, "abc") give 0, (5, "") gives 2. Identifiers: "abc" and "ab" give
// 1, "" gives 0. So no two of the three chains are alike.
TEST_F(PropertyBytes, TablesOfTagsAndIdentifiers) {
  for (const Form *f : {&kIR, &kIV}) {
    const std::uint64_t a = area(f->entry), end = a + kAreaSize, buckets = a + f->tableFirst;
    const std::uint64_t size = 0x28 + f->stride, head = f->tableFirst + 9 * 8;
    const std::uint64_t s0 = a + head, s1 = s0 + size, s2 = s1 + size, s3 = s2 + size;
    const std::string name = f->name;
    create(*f, 1);
    expect(name, {{"tail of an empty table", end - 16, {s0, 0}}, {"used of it", usedOf(f->entry), {head + 16}}});
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
                  {"used", usedOf(f->entry), {head + 16 + 4 * size}}});
    removeSecond(*f);
    expect(name + " deleted", {{"key buckets", buckets, {s3, 0, s2}},
                               {"links of (1234, abc)", s0, {0, 0, buckets + 0x20, 0, s3 + 0x18}},
                               {"links of (7, abc)", s3, {s0, 0, buckets + 0x28, s0 + 0x18, buckets + 0x38}},
                               {"stack and tail", end - 0x18, {s1, s3 + size, 1}},
                               {"used", usedOf(f->entry), {head + 16 + 3 * size + 8}}});
  }
}

TEST_F(PropertyBytes, BaseRecords) {
  create(kV, 0);
  const std::uint64_t r = area(4), v = area(5);
  ASSERT_RC(sntrCreateBaseRProperty(node, 9, -2, 0), Rc::Ok);
  ASSERT_RC(sntrCreateBaseVProperty(node, 0x100000, 3, "xyz", 0), Rc::Ok);
  ASSERT_RC(sntrSetRCForBaseRProperty(node, 9, kRC, 0), Rc::Ok);
  ASSERT_RC(sntrSetRCForBaseVProperty(node, 0x100000, kRC, 0), Rc::Ok);
  expectSecond(kV, v, 0x100000);
  expect("BaseR", {{"tag, rc", r, {9, kRC}}, {"register", r + 0x10, {0xfffffffe}, 4}, {"used", usedOf(4), {0x90}}});
  expect("BaseV", {{"used", usedOf(5), {0x1a8 + kMaxValue}}});
  ASSERT_RC(sntrDeleteBaseRProperty(node, 9, 0), Rc::Ok);
  ASSERT_RC(sntrDeleteBaseVProperty(node, 0x100000, 0), Rc::Ok);
  ASSERT_RC(sntrDeleteBaseVProperty(node, 0, 0), Rc::Ok) << "a property that was deleted before is not changed";
  expect("deleted", {{"R tag", r, {0}}, {"R used", usedOf(4), {0}}, {"V tag", v, {0}}, {"V used", usedOf(5), {0}}});
  expect("node", {{"changes", 0x50, {4}, 4}});
}

TEST_F(PropertyBytes, ExportList) {
  std::uint32_t entries[58] = {};
  for (std::uint32_t i = 0; i < 58; ++i) entries[i] = 0x101 * i;
  ASSERT_RC(sntrExportListOfChangedProperties(node, 0, entries), Rc::Ok);
  EXPECT_EQ(word(area(11)), 0x1760u);
  for (std::uint64_t i = 0; i < 58; ++i) EXPECT_EQ(word(area(11) + 8 + 4 * i, 4), 0x101 * i) << i;
}

}  // namespace
