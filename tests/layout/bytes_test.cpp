// SPDX-License-Identifier: MIT
// Segments, nodes and properties as other processes read them: literal bytes at literal offsets, written through the
// public functions alone.
#include <oss/memory.h>
#include <sntr/sntr.h>

#include "support/kinds.h"
#include "support/nodes.h"
#include "support/storage.h"
#include "support/words.h"

namespace {

using support::Key, support::Kind, support::Properties, support::Rc, support::wordAt;
using Values = std::vector<std::uint64_t>;

constexpr std::uint64_t kVersion = 0x1317d17, kRC = 0x1122334455667788;

// What must stand from an offset on, one value behind the other.
struct Words {
  const char *name;
  std::uint64_t at;
  Values values;
  std::size_t width = 8;
};

void expectWords(const std::string &where, const void *base, const std::vector<Words> &rows) {
  for (const auto &[name, at, values, width] : rows) {
    for (std::size_t i = 0; i < values.size(); ++i) {
      std::uint64_t seen = 0;
      std::memcpy(&seen, static_cast<const char *>(base) + at + width * i, width);
      EXPECT_EQ(seen, values[i]) << where << ", " << name << " " << i;
    }
  }
}

TEST(SegmentBytes, OfADomainAndAPool) {
  constexpr std::uint64_t d = 0x30, lists = d + 0x1f0;  // the domain's header and skip-list area
  constexpr std::uint64_t listBytes = 14672;            // 77 x 0xb7 + 0x48 x 5 + 0xd8 = 14667, rounded up
  constexpr std::uint64_t poolListBytes = 11920;        // 60 x 0xb7 + 0x48 x 10 + 0xd8 = 11916
  constexpr std::uint64_t poolBytes = 0x4080;           // 0x1001 + 0x1e8 + poolListBytes, to a multiple of 0x10
  constexpr std::uint64_t chunk = poolBytes + 0x20;
  Values memory(0x8000, 0x5a5a5a5a5a5a5a5a);
  const ShmDomainParams params{0, 0, 0, 0x20, d, 77, 5, 0x200, 5, SNTR_DOMAIN_MEMORY, 0, "abcde"};
  const ShmPoolParams poolParams{0, 0, 0, 0x40, 60, 0, 0x10, 0, nullptr};
  ShmDomainHandle *domain = nullptr;
  ShmPoolHandle *pool = nullptr;
  ASSERT_RC(sntrCreateShmDomain(nullptr, memory.data(), 0x40000, &params, &domain), Rc::Ok);
  ASSERT_RC(support::createPool(&pool, domain, 0x1001, &poolParams), Rc::Ok);

  const std::uint64_t free = 0x40000 - lists - listBytes - chunk, record = wordAt(&memory[0], lists + 0x70);
  const std::uint64_t p = pool->poolHeaderOffset, poolLists = p + 0x1e8, poolFree = poolBytes - 0x1e8 - poolListBytes;
  const std::uint64_t tail = poolLists + 0xa8 + 400, node = poolLists + 0xd8 + 720;
  const std::uint64_t level = wordAt(&memory[0], node + 0x20), used = 720 + 0xd8 + 0x50 + 0x20 * level;
  EXPECT_LE(level, 1u) << "a list grows by one level at a time";
  expectWords("domain", &memory[0],
              {{"words", d, {kVersion, kVersion, kVersion, 0xf4eef00d, 0x20, d, 1, 0x40000, free, chunk, 77, 0x200}},
               {"heap latch", d + 0x60, {kVersion}, 4},
               {"topNodeWord, user area", d + 0xe8, {0, 5, 0x6564636261}},
               {"top node, heads of lists", d + 0x100, {0, 0, 0, 0}},
               {"debug settings", d + 0x140, {0xb, 0xeebc011a, 1, 0, 0, 0, 0, 0, 2, 2}, 4},
               {"skip-list latch", d + 0x168, {kVersion}, 4},
               {"skip-list area", lists, {5, listBytes}},
               {"record of the chunk", record, {p - 0x10, chunk, 0, 0}},
               {"chunk", p - 0x10, {chunk, 0, (record - lists) / 8, 0xeebc011a}, 4}});
  expectWords("pool", &memory[0],
              {{"words", p, {kVersion, kVersion, kVersion, 0xf00df4ee, 0x40, p, 1, poolBytes, poolFree, 0, 60, 0x10}},
               {"topNodeWord, user area", p + 0xe8, {d, 0}},
               {"skip-list area", poolLists, {10, poolListBytes, used, used, 0, 1, 0, 0, 0, 0, 0, 0, 9, 0}},
               {"tail's link back", tail + 0x38 + 72, {node}},
               {"node", node, {poolLists + poolListBytes, poolFree, 0, 0, level, 0}}});
  const ShmHeapInfo info = support::infoOf(pool);
  expectWords("information", &info,
              {{"header's words", 0, {kVersion, kVersion, kVersion, 0x40, p, 1, poolBytes}},
               {"more words", 0x38, {poolFree, 0, 60, 0x10, 0, 10, poolListBytes, used}},
               {"skip-list area's words", 0x78, {0, 1, 0, 0, level, 0, 0}}});
  EXPECT_RC(sntrDestroyShmPoolHandle(&pool), Rc::Ok);
  EXPECT_RC(sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_ALWAYS), Rc::Ok);
}

// The maxima are odd where they may be, so that a size that is rounded up, or forgotten, moves what follows.
constexpr std::uint64_t kMaxID = 5, kMaxValue = 16, kSize = 0x28 + 9 * 8 + 6 * (0x250 + 5) + 16 + 7;
const support::Value kValue{INT32_MIN + 1, "xyz"};

class NodeBytes : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(_ossMemFree(node, "test", 0), 0u); }

  // One byte before them pushes all areas off their alignment.
  void createLists() {
    node = support::newPrivateNode(0x7e0, {1, 0, 0, 0, 0x90, 0x1b8, kSize, kSize, kSize, kSize});
    support::activate(node);
  }
  // Adds 1234, 7, 0x100000 and 5, or (1234, "abc"), (7, "ab"), (5, "") and (7, "abc").
  void fill(const Properties &list, std::uint32_t layout) {
    const std::vector<Key> tags = {{1234}, {7}, {0x100000}, {5}}, ids = {{1234, "abc"}, {7, "ab"}, {5}, {7, "abc"}};
    EXPECT_RC(list.create(layout, 3, kMaxID, kMaxValue), Rc::Ok);
    for (const Key &key : list.kind.hasID() ? ids : tags) EXPECT_RC(list.add(key, kValue), Rc::Ok);
    EXPECT_RC(list.setRC({7, "ab"}, kRC), Rc::Ok);
  }
  std::uint64_t area(const Kind &f) const { return wordAt(node, f.entry() + 16); }

  void expect(const std::string &where, const std::vector<Words> &rows) const { expectWords(where, node, rows); }
  // The record of 7, "ab" and "xyz", which are 0x6261 and 0x7a7978 as bytes in memory; or of another tag.
  void expectRecord(const Kind &f, std::uint64_t r, std::uint64_t tag) const {
    const std::vector<Words> rows[] = {{{"words", r, {tag, kRC}}, {"register", r + 0x10, {0x80000001}, 4}},
                                       {{"words", r, {tag, kRC, r + 0x1a8, 3}},
                                        {"latches", r + 0x20, {kVersion}, 4},
                                        {"value", r + 0x1a8, {0x7a7978}}},
                                       {{"words", r, {tag, kRC, r + 0x228, 2}},
                                        {"register", r + 0x20, {0x80000001}, 4},
                                        {"latches", r + 0xa0, {kVersion}, 4},
                                        {"id", r + 0x228, {0x6261}, 4}},
                                       {{"words", r, {tag, kRC, r + 0x1b8, 2, r + 0x1b8 + 5, 3}},
                                        {"latches", r + 0x30, {kVersion}, 4},
                                        {"id, value", r + 0x1b8, {0x7a79780000006261}}}};
    expect(f.name, rows[f.isBase() ? f.area - 4 : f.area - 6]);
  }

  SNodeCB_t *node = nullptr;
};

TEST_F(NodeBytes, OfTheBlock) {
  node = support::newPrivateNode(0x100000006, {0x31, 24});
  ASSERT_RC(sntrEnterCriticalSectionBeforeWrite(node, &node->primaryLatch), Rc::Ok);
  expect("being written", {{"latches", 0x250, {kVersion}, 4},
                           {"spare latch", 0x298, {0x6c7a4e19d35b8f02, 0}},
                           {"sections", 0x250 + 132, {1}, 4},
                           {"mark", 0x250 + 260, {1}, 4}});
  EXPECT_NE(wordAt(node, 0x260), 0u) << "the latch's owner";
  ASSERT_RC(sntrExitCriticalSectionAfterWrite(node, &node->primaryLatch), Rc::Ok);
  const SNodeParams params = {0x11111111, 0x22222222, 0xf3333333, 16, 2, 0x55555555, 0x66666666, 4, 0x7777777788888888};
  const Values record(3, kRC);
  ASSERT_RC(sntrInitNode(&node, 0x1234, 5, "ident", nullptr, nullptr, 6, record.data(), nullptr, &params), Rc::Ok);
  expect("node", {{"parameters, tag, base", 0x000, {0x2222222211111111, 0xf3333333, 0, 0x1234}},
                  {"size, options, eyecatcher", 0x020, {0xb60 + 0x31 + 24, 0x100000006, 0xcafec0ffee15bad8}},
                  {"mode, condition, intervals, time", 0x038, {16ull << 32 | 2, 0x6666666655555555, params.time}},
                  {"mark", 0x250 + 260, {0}, 4},
                  {"second latches", 0x3d4, {kVersion}, 4},
                  {"model", 0x558, {4}, 4},
                  {"areas", 0x560, {0x31, 16 + 5, 0xb60, 24, 24, 0xb91, 0, 0, 0xba9}},
                  {"capacity, rounded up; length; identifier", 0xb60, {8, 5, 0x746e656469}},
                  {"record at an odd offset", 0xb91, record}});
}

TEST_F(NodeBytes, OfArraysAndBaseRecords) {
  const Values headers[] = {{0}, {kMaxValue, 0}, {kMaxID, 0}, {kMaxID, kMaxValue, 0}};
  createLists();
  for (const Kind *f : support::kLists) {
    const std::uint64_t stride = f->stride(kMaxID, kMaxValue);
    fill({node, *f}, SNTR_LAYOUT_ARRAY);
    expectRecord(*f, area(*f) + f->arrayHeader + stride, 7);
    expect(f->name,
           {{"header", area(*f), headers[f->area - 6]}, {"used", f->entry() + 8, {f->arrayHeader + 4 * stride}}});
  }
  for (const Kind *f : {&support::kBaseR, &support::kBaseV}) {
    EXPECT_RC((Properties{node, *f}.add({0x100000}, kValue)), Rc::Ok);
    EXPECT_RC((Properties{node, *f}.setRC({0x100000}, kRC)), Rc::Ok);
    expectRecord(*f, area(*f), 0x100000);
    expect(f->name, {{"used", f->entry() + 8, {f->stride(0, kMaxValue)}}});
  }
}

// Hashes modulo 3. Tags: 1234, 7, 0x100000 and 5 give 1, 2, 2, 0. Full keys: (1234, "abc"), (7, "ab") and (7, "abc")
// give 0, (5, "") gives 2. Identifiers: "abc" and "ab" give 1, "" gives 0. So no two of the three chains are alike.
TEST_F(NodeBytes, OfTables) {
  const Values headers[] = {{3}, {kMaxValue, 3}, {kMaxID, 3, 3, 3}, {kMaxID, kMaxValue, 3, 3, 3}};
  createLists();
  for (const Kind *f : support::kLists) {
    const std::uint64_t b = area(*f) + f->tableHeader, size = f->chain + f->stride(kMaxID, kMaxValue);
    const std::uint64_t s0 = b + 24 * f->arrays, s1 = s0 + size, s2 = s1 + size, s3 = s2 + size;
    const std::vector<Words> ofTags = {
        {"buckets", b, {s3, s0, s1}}, {"1234", s0, {0, 1234}}, {"7", s1, {s2, 7}}, {"0x100000", s2, {0, 0x100000}}};
    const std::vector<Words> ofIDs = {{"buckets", b, {s1, 0, s2, s2 + 8, s0 + 8, s3 + 8, s2 + 0x18, s3 + 0x18, 0}},
                                      {"links of (1234, abc)", s0, {0, 0, b + 0x20, 0, s1 + 0x18}},
                                      {"links of (7, ab)", s1, {s3, 0, s3 + 8, s0 + 0x18, s3 + 0x18}},
                                      {"links of (5, )", s2, {0, 0, b + 0x18, 0, b + 0x30}},
                                      {"links of (7, abc)", s3, {s0, s1 + 8, b + 0x28, s1 + 0x18, b + 0x38}}};
    fill({node, *f}, SNTR_LAYOUT_HASH);
    expectRecord(*f, s1 + f->chain, 7);
    expect(f->name, f->hasID() ? ofIDs : ofTags);
    for (const Key &key : {Key{7, "ab"}, Key{1234, "abc"}}) EXPECT_RC((Properties{node, *f}.erase(key)), Rc::Ok);
    expect(f->name, {{"header", area(*f), headers[f->area - 6]},
                     {"stack and tail", area(*f) + kSize - 0x20, {s0, s1, s3 + size, 2}},
                     {"used", f->entry() + 8, {s2 - area(*f) + 16 + 2 * 8}}});
  }
}

}  // namespace
