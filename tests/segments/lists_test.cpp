// SPDX-License-Identifier: MIT
// The lists of segments and modules, shared and private: order, keys, printed lines, damage, and what failures leave.
#include <pthread.h>
#include <sntr/frame.h>
#include <sntr/segments.h>

#include "support/fail_each.h"
#include "support/memory_pool.h"
#include "support/words.h"

namespace {

using enum sntr::Rc;
using support::Rc;
using U32 = std::uint32_t;

GCFModuleInfo moduleOf(const std::string &path) {
  GCFModuleInfo module{};
  path.copy(module.path, sizeof module.path);
  return module;
}
// In ascending order. The last two paths fill their field and have no terminator.
const GCFModuleInfo kModules[] = {moduleOf("/"), moduleOf("/a"), moduleOf(std::string(0x3ff, 'z') + "y"),
                                  moduleOf(std::string(0x400, 'z'))};
AttachSegInfo segmentOf(std::uint64_t high, U32 low) { return {1, 2, 3, 4, {high, low}, 6, 7}; }
const AttachSegInfo kSegments[] = {segmentOf(1, 5), segmentOf(1, ~0u), segmentOf(2, 0), segmentOf(1ull << 63, 7)};

const char *keyOf(const GCFModuleInfo &record) { return record.path; }
const OSSIPCResID *keyOf(const AttachSegInfo &record) { return &record.key; }
std::string textOf(const char *path) { return "GCF module path = \"" + std::string(path, strnlen(path, 0x400)); }
std::string textOf(const OSSIPCResID *key) { return "segment key = \"" + std::to_string(static_cast<int>(key->low)); }

// Prints a list and expects some entries, named by their index. A private list has no pool.
template <class R, class Print, class... Pools>
void expectPrinted(const R *records, const std::string &entries, Rc rc, Print print, Pools... pool) {
  std::string lines = entries.empty() ? "List is empty\n" : "";
  for (int number = 0; char i : entries) {
    lines += "Linked list node #" + std::to_string(++number) + " stores " + textOf(keyOf(records[i - '0'])) + "\"\n";
  }
  testing::internal::CaptureStdout();
  EXPECT_RC(print(pool...), rc);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), lines);
}

template <class R, class Insert, class Find, class Erase, class Work, class... Pools>
void expectOrderAndUniqueKeys(const R *records, Insert insert, Find find, Erase erase, Work print, Pools... pool) {
  SCOPED_TRACE(textOf(keyOf(records[0])) + (sizeof...(pool) == 0 ? ", private" : ", shared"));
  R *found = nullptr, *stored = nullptr;
  const auto insertOne = [&](int i) { return insert(pool..., &records[i], &stored); };
  const auto findOne = [&](int i) { return find(pool..., keyOf(records[i]), &found); };
  const auto eraseOne = [&](int i) { return erase(pool..., keyOf(records[i])); };
  const auto expect = [&](const char *entries) { expectPrinted(records, entries, Ok, print, pool...); };
  expect("");
  for (int i : {2, 0, 3}) EXPECT_RC(insertOne(i), Ok) << i;
  EXPECT_RC(findOne(1), Ok);
  EXPECT_EQ(found, nullptr);
  for (const Rc expected : {Ok, EntryExists}) EXPECT_RC(insertOne(1), expected);
  EXPECT_RC(findOne(1), Ok);
  EXPECT_EQ(found, stored);
  expect("0123");
  for (int i : {3, 1}) EXPECT_RC(eraseOne(i), Ok) << i;
  EXPECT_RC(eraseOne(1), NoSuchEntry);
  const auto insertAndErase = [&] {
    const U32 inserted = insertOne(1), erased = eraseOne(1);
    return inserted != 0 ? inserted : erased;
  };
  support::failEach([] {}, insertAndErase,
                    [&](OSSFaultKind, U32 code) {
                      EXPECT_NE(code, 0u);
                      EXPECT_RC(findOne(1), Ok);
                      expect(found != nullptr ? "012" : "02");
                      if (found != nullptr) EXPECT_RC(eraseOne(1), Ok);
                    });
  EXPECT_RC(eraseOne(0), Ok);
  expect("2");
}

class Lists : public support::MemoryPool {
 protected:
  void SetUp() override {
    ASSERT_RC(SNTROneTimeOnlyInitialization(SNTR_VERSION, SNTR_VERSION), Ok);
    MemoryPool::SetUp();
  }
  void TearDown() override {
    EXPECT_RC(sntrDeleteAttachSegInfoLList(pool), Ok);
    EXPECT_RC(sntrDeleteGCFLList(pool), Ok);
    EXPECT_RC(sntrDeleteAttachSegInfoPMLList(), Ok);
    EXPECT_RC(sntrDeleteGCFPMLList(), Ok);
    EXPECT_EQ(blocks(), 0u) << "entries are lost";
    EXPECT_RC(SNTRCleanup(SNTR_CLEANUP_ALL), Ok);
    MemoryPool::TearDown();
  }
  // Inserts entries into both shared lists. Returns the link of the last segment.
  std::uint64_t *insertAll(const ShmPoolHandle *from, const std::string &entries) {
    AttachSegInfo *segment = nullptr;
    GCFModuleInfo *module = nullptr;
    for (char i : entries) {
      EXPECT_RC(sntrInsertAttachSegInfoNodeIntoLList(from, &kSegments[i - '0'], &segment), Ok) << i;
      EXPECT_RC(sntrInsertGCFNodeIntoLList(from, &kModules[i - '0'], &module), Ok) << i;
    }
    return entries.empty() ? nullptr : reinterpret_cast<std::uint64_t *>(segment) - 1;
  }
  void expect(const std::string &entries, Rc ofSegments = Ok) {
    expectPrinted(kSegments, entries, ofSegments, sntrPrintAttachSegInfoNodeLList, pool);
    if (ofSegments == Ok) expectPrinted(kModules, entries, Ok, sntrPrintGCFNodeLList, pool);
  }
};

TEST_F(Lists, AscendKeepEachKeyOnceAndAreWholeAfterAFailure) {
  expectOrderAndUniqueKeys(kSegments, sntrInsertAttachSegInfoNodeIntoLList, sntrFindAttachSegInfoNodeInLList,
                           sntrDeleteAttachSegInfoNodeFromLList, sntrPrintAttachSegInfoNodeLList, pool);
  expectOrderAndUniqueKeys(kModules, sntrInsertGCFNodeIntoLList, sntrFindGCFNodeInLList, sntrDeleteGCFNodeFromLList,
                           sntrPrintGCFNodeLList, pool);
  expectOrderAndUniqueKeys(kSegments, sntrInsertAttachSegInfoNodeIntoPMLList, sntrFindAttachSegInfoNodeInPMLList,
                           sntrDeleteAttachSegInfoNodeFromPMLList, sntrPrintAttachSegInfoNodePMLList);
  expectOrderAndUniqueKeys(kModules, sntrInsertGCFNodeIntoPMLList, sntrFindGCFNodeInPMLList,
                           sntrDeleteGCFNodeFromPMLList, sntrPrintGCFNodePMLList);
}

TEST_F(Lists, RefuseNullsOtherModesAndOtherPools) {
  GCFModuleInfo *module = nullptr;
  EXPECT_RC(sntrInsertGCFNodeIntoLList(nullptr, nullptr, &module), NullListEntry);
  EXPECT_RC(sntrFindGCFNodeInLList(nullptr, "/", nullptr), NullListEntry);
  EXPECT_RC(sntrDeleteGCFNodeFromLList(nullptr, nullptr), NullListEntry);
  EXPECT_RC(sntrDeleteGCFLList(nullptr), NullPoolHandle);
  std::int64_t order = 9;
  const OSSIPCResID *const low = keyOf(kSegments[0]), *const high = keyOf(kSegments[1]);
  EXPECT_RC(sntrCompareSegID(SNTR_VERSION + 1, low, high, &order), SegmentCompareFailed);
  EXPECT_RC(sntrCompareSegID(SNTR_VERSION, low, nullptr, &order), SegmentCompareFailed);
  EXPECT_RC(sntrCompareSegID(SNTR_VERSION, low, high, nullptr), SegmentCompareFailed);
  EXPECT_RC(sntrCompareSegID(SNTR_VERSION, low, high, &order), Ok);
  EXPECT_EQ(order, -1);
  AttachSegInfo *segment = nullptr;
  EXPECT_RC(sntrInsertAttachSegInfoNodeIntoPMLList(&kSegments[0], &segment), Ok);
  sntrSegLLHeader.firstVersion = 0;
  EXPECT_RC(sntrDeleteAttachSegInfoNodeFromPMLList(low), SegmentCompareFailed) << "the mode is the head's";

  ShmPoolHandle *small = nullptr;
  ASSERT_RC(support::createPool(&small, domain, 64), Ok);
  insertAll(pool, "012");
  EXPECT_RC(sntrDeleteGCFNodeFromLList(small, "/a"), ChunkOutsideHeap) << "freed through another pool";
  EXPECT_RC(sntrDeleteGCFLList(small), ChunkOutsideHeap);
  EXPECT_RC(sntrInsertGCFNodeIntoLList(small, &kModules[3], &module), PoolFull);
  ASSERT_RC(sntrLatchShmDomain(domain), Ok);
  EXPECT_RC(sntrDeleteGCFLList(pool), LatchFailed) << "refused, not stuck";
  ASSERT_RC(sntrUnlatchShmDomain(domain), Ok);
  expect("012");
  EXPECT_RC(support::freePool(&small, SNTR_FREE_POOL_IF_UNUSED), Ok);
}

// A damaged link is reported, and never copied into another entry.
TEST_F(Lists, ReportDamagedLinks) {
  insertAll(pool, "02");
  AttachSegInfo *segment = nullptr;
  std::uint64_t *const link = insertAll(pool, "1"), whole = *link, end = memory.size() * 8;
  const auto self = static_cast<std::uint64_t>(reinterpret_cast<char *>(link) - base());
  for (const std::uint64_t bad : {whole + 4, std::uint64_t{8}, end - 40, end, ~std::uint64_t{7}, self}) {
    SCOPED_TRACE(bad);
    *link = bad;
    EXPECT_RC(sntrFindAttachSegInfoNodeInLList(pool, &kSegments[3].key, &segment), ChunkOutsideHeap);
    EXPECT_RC(sntrInsertAttachSegInfoNodeIntoLList(pool, &kSegments[3], &segment), ChunkOutsideHeap);
    EXPECT_RC(sntrDeleteAttachSegInfoNodeFromLList(pool, &kSegments[1].key), ChunkOutsideHeap);
    expect("01", ChunkOutsideHeap);
    *link = whole;
    expect("012");
  }
  support::setWordAt(base(), 0x38, std::uint64_t{1} << 62);
  EXPECT_RC(sntrDeleteAttachSegInfoLList(pool), NotADomain) << "what is mapped is the bound";
  support::setWordAt(base(), 0x38, end);
}

// A loop among the entries of a freed pool does not hold it up.
TEST_F(Lists, LoseTheEntriesOfAFreedPool) {
  const std::pair<const char *, const char *> rows[] = {
      {"02", "13"}, {"13", "02"}, {"3", "012"}, {"0", "123"}, {"", "3"}};
  for (const auto &[kept, gone] : rows) {
    for (const bool loops : {false, true}) {
      SCOPED_TRACE(gone);
      ShmPoolHandle *other = nullptr;
      ASSERT_RC(support::createPool(&other, domain, 0x2000), Ok);
      insertAll(pool, kept);
      std::uint64_t *const last = insertAll(other, gone);
      if (loops && *last == 0) *last = static_cast<std::uint64_t>(reinterpret_cast<char *>(last) - base());
      EXPECT_RC(support::freePool(&other, SNTR_FREE_POOL_ALWAYS), Ok);
      expect(kept);
      EXPECT_RC(sntrDeleteAttachSegInfoLList(pool), Ok);
      EXPECT_RC(sntrDeleteGCFLList(pool), Ok);
    }
  }
}

TEST_F(Lists, ArePrintedWithoutACancellationPoint) {
  const auto printWhileCancelled = [] {
    int state = 0;
    setvbuf(stdout, nullptr, _IONBF, 0);
    pthread_cancel(pthread_self());
    sntrPrintGCFNodePMLList();
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
    _exit(state == PTHREAD_CANCEL_ENABLE ? 7 : 1);
  };
  EXPECT_EXIT(printWhileCancelled(), testing::ExitedWithCode(7), "");
}

}  // namespace
