// The lists of segments and modules, shared and private: order, keys, printed lines, damage, and what failures leave.
#include <pthread.h>
#include <sntr/frame.h>
#include <sntr/segments.h>

#include <cstring>

#include "support/memory_pool.h"
#include "support/words.h"

namespace {

using support::Rc;
using U32 = std::uint32_t;
using Pool = const ShmPoolHandle *;

// One of the lists, with its entries in ascending order. The pool does not count for a private list.
template <class R, class K>
struct List {
  const char *what;
  const R *records;
  U32 (*insert)(Pool, const R *, R **);
  U32 (*find)(Pool, K, R **);
  U32 (*erase)(Pool, K);
  U32 (*clear)(Pool);
  U32 (*print)(Pool);

  static const char *keyOf(const GCFModuleInfo &record) { return record.path; }
  static const OSSIPCResID *keyOf(const AttachSegInfo &record) { return &record.key; }
  static std::string shown(const char *path) { return {path, strnlen(path, 0x400)}; }
  static std::string shown(const OSSIPCResID *key) { return std::to_string(static_cast<int>(key->low)); }

  K key(int i) const { return keyOf(records[i]); }
  std::string expected(const std::string &entries) const {
    std::string text = entries.empty() ? "List is empty\n" : "";
    int number = 0;
    for (char i : entries) {
      text +=
          "Linked list node #" + std::to_string(++number) + " stores " + what + " = \"" + shown(key(i - '0')) + "\"\n";
    }
    return text;
  }
  std::string printed(Pool pool, Rc rc = Rc::Ok) const {
    testing::internal::CaptureStdout();
    EXPECT_RC(print(pool), rc) << what;
    return testing::internal::GetCapturedStdout();
  }
  R *insertAll(Pool pool, const std::string &entries) const {
    R *stored = nullptr;
    for (char i : entries) EXPECT_RC(insert(pool, &records[i - '0'], &stored), Rc::Ok) << what << " " << i;
    return stored;
  }
};
using Segments = List<AttachSegInfo, const OSSIPCResID *>;
using Modules = List<GCFModuleInfo, const char *>;

AttachSegInfo segment(std::uint64_t high, U32 low) { return {1, 2, 3, 4, {high, low}, 6, 7}; }
GCFModuleInfo module(const std::string &path) {
  GCFModuleInfo record;
  std::memset(&record, 'z', sizeof record);  // the last path fills its field and has no terminator
  if (!path.empty()) std::strcpy(record.path, path.c_str() + 1);
  return record;
}
const AttachSegInfo kSegment[] = {segment(1, 5), segment(1, ~0u), segment(2, 0), segment(1ull << 63, 7)};
const GCFModuleInfo kModule[] = {module("/"), module("/a"), module("/a/b"), module("")};

const Segments kSegments{"segment key",
                         kSegment,
                         sntrInsertAttachSegInfoNodeIntoLList,
                         sntrFindAttachSegInfoNodeInLList,
                         sntrDeleteAttachSegInfoNodeFromLList,
                         sntrDeleteAttachSegInfoLList,
                         sntrPrintAttachSegInfoNodeLList};
const Modules kModules{"GCF module path",          kModule,
                       sntrInsertGCFNodeIntoLList, sntrFindGCFNodeInLList,
                       sntrDeleteGCFNodeFromLList, sntrDeleteGCFLList,
                       sntrPrintGCFNodeLList};
const Segments kPrivateSegments{
    "segment key",
    kSegment,
    [](Pool, auto record, auto out) { return sntrInsertAttachSegInfoNodeIntoPMLList(record, out); },
    [](Pool, auto key, auto out) { return sntrFindAttachSegInfoNodeInPMLList(key, out); },
    [](Pool, auto key) { return sntrDeleteAttachSegInfoNodeFromPMLList(key); },
    [](Pool) { return sntrDeleteAttachSegInfoPMLList(); },
    [](Pool) { return sntrPrintAttachSegInfoNodePMLList(); }};
const Modules kPrivateModules{"GCF module path",
                              kModule,
                              [](Pool, auto record, auto out) { return sntrInsertGCFNodeIntoPMLList(record, out); },
                              [](Pool, auto path, auto out) { return sntrFindGCFNodeInPMLList(path, out); },
                              [](Pool, auto path) { return sntrDeleteGCFNodeFromPMLList(path); },
                              [](Pool) { return sntrDeleteGCFPMLList(); },
                              [](Pool) { return sntrPrintGCFNodePMLList(); }};

class Lists : public support::MemoryPool {
 protected:
  void SetUp() override {
    ASSERT_RC(SNTROneTimeOnlyInitialization(SNTR_VERSION, SNTR_VERSION), Rc::Ok);
    MemoryPool::SetUp();
  }
  void TearDown() override {
    forEach([&](const auto &list) { EXPECT_RC(list.clear(pool), Rc::Ok); });
    EXPECT_EQ(blocks(), 0u) << "entries are lost";
    EXPECT_RC(SNTRCleanup(SNTR_CLEANUP_ALL), Rc::Ok);
    MemoryPool::TearDown();
  }
  template <class Test>
  static void forEach(Test test) {
    test(kSegments);
    test(kPrivateSegments);
    test(kModules);
    test(kPrivateModules);
  }
};

TEST_F(Lists, AscendAndKeepEachKeyOnce) {
  forEach([&](const auto &list) {
    EXPECT_EQ(list.printed(pool), list.expected(""));
    auto *found = list.insertAll(pool, "203");
    EXPECT_RC(list.find(pool, list.key(1), &found), Rc::Ok);
    EXPECT_EQ(found, nullptr);
    auto *const stored = list.insertAll(pool, "1");
    EXPECT_RC(list.insert(pool, &list.records[1], &found), Rc::EntryExists);
    EXPECT_RC(list.find(pool, list.key(1), &found), Rc::Ok);
    EXPECT_EQ(found, stored);
    EXPECT_EQ(std::memcmp(stored, &list.records[1], sizeof *stored), 0) << "copied whole";
    EXPECT_EQ(list.printed(pool), list.expected("0123"));
    for (int i : {3, 0, 1}) EXPECT_RC(list.erase(pool, list.key(i)), Rc::Ok) << i;
    EXPECT_RC(list.erase(pool, list.key(1)), Rc::NoSuchEntry);
    EXPECT_EQ(list.printed(pool), list.expected("2"));
    EXPECT_RC(list.insert(nullptr, nullptr, &found), Rc::NullListEntry);
    EXPECT_RC(list.find(nullptr, list.key(1), nullptr), Rc::NullListEntry);
    EXPECT_RC(list.erase(nullptr, nullptr), Rc::NullListEntry);
  });
  EXPECT_RC(sntrDeleteGCFLList(nullptr), Rc::NullPoolHandle);
}

TEST_F(Lists, KeysAreComparedUnderOneMode) {
  std::int64_t order = 9;
  EXPECT_RC(sntrCompareSegID(SNTR_VERSION + 1, kSegments.key(0), kSegments.key(1), &order), Rc::SegmentCompareFailed);
  EXPECT_RC(sntrCompareSegID(SNTR_VERSION, kSegments.key(0), nullptr, &order), Rc::SegmentCompareFailed);
  EXPECT_RC(sntrCompareSegID(SNTR_VERSION, kSegments.key(0), kSegments.key(1), &order), Rc::Ok);
  EXPECT_EQ(order, -1);
  kPrivateSegments.insertAll(pool, "0");
  sntrSegLLHeader.firstVersion = 0;
  EXPECT_RC(kPrivateSegments.erase(pool, kSegments.key(0)), Rc::SegmentCompareFailed) << "the mode is the head's";
}

// A link that leads to no entry is told by whoever meets it, and never handed on to another entry.
TEST_F(Lists, ADamagedLinkIsTold) {
  kSegments.insertAll(pool, "02");
  AttachSegInfo *stored = kSegments.insertAll(pool, "1");
  auto *const link = reinterpret_cast<std::uint64_t *>(stored) - 1;
  const std::uint64_t whole = *link, end = memory.size() * 8;
  const auto self = static_cast<std::uint64_t>(reinterpret_cast<char *>(link) - base());
  for (const std::uint64_t bad : {whole + 4, std::uint64_t{8}, end - 40, end, ~std::uint64_t{7}, self}) {
    *link = bad;
    EXPECT_RC(kSegments.find(pool, kSegments.key(3), &stored), Rc::ChunkOutsideHeap) << bad;
    EXPECT_RC(kSegments.insert(pool, &kSegments.records[3], &stored), Rc::ChunkOutsideHeap) << bad;
    EXPECT_EQ(kSegments.printed(pool, Rc::ChunkOutsideHeap), kSegments.expected("01")) << bad;
    EXPECT_RC(kSegments.erase(pool, kSegments.key(1)), Rc::ChunkOutsideHeap) << bad;
    *link = whole;
    EXPECT_EQ(kSegments.printed(pool), kSegments.expected("012")) << bad;
  }
  const std::uint64_t total = support::wordAt(base(), 0x38);
  support::setWordAt(base(), 0x38, std::uint64_t{1} << 62);
  *link = std::uint64_t{1} << 60;
  EXPECT_RC(kSegments.find(pool, kSegments.key(3), &stored), Rc::NotADomain) << "what is mapped is the bound";
  *link = whole;
  support::setWordAt(base(), 0x38, total);
}

// The block of an entry cannot be freed through another pool, and a pool too small gives none: the list stays as it
// was.
TEST_F(Lists, WhatThePoolRefusesChangesNothing) {
  GCFModuleInfo *stored = kModules.insertAll(pool, "012");
  EXPECT_RC(sntrDeleteGCFNodeFromLList(small, "a"), Rc::ChunkOutsideHeap);
  EXPECT_RC(sntrDeleteGCFLList(small), Rc::ChunkOutsideHeap);
  EXPECT_RC(sntrInsertGCFNodeIntoLList(small, &kModules.records[3], &stored), Rc::PoolFull);
  ASSERT_RC(sntrLatchShmDomain(domain), Rc::Ok);
  EXPECT_RC(sntrDeleteGCFLList(pool), Rc::LatchFailed) << "refused, not stuck";
  ASSERT_RC(sntrUnlatchShmDomain(domain), Rc::Ok);
  EXPECT_EQ(kModules.printed(pool), kModules.expected("012"));
}

// The entries of a pool that is freed leave their lists, wherever they stand; a loop among them does not hold it up.
TEST_F(Lists, EntriesOfAFreedPoolAreUnlinked) {
  const std::pair<std::string, std::string> rows[] = {
      {"02", "13"}, {"13", "02"}, {"3", "012"}, {"0", "123"}, {"", "3"}};
  const auto leave = [&](const auto &list, const std::string &kept, ShmPoolHandle *other, const std::string &gone) {
    list.insertAll(pool, kept);
    return reinterpret_cast<std::uint64_t *>(list.insertAll(other, gone)) - 1;
  };
  for (const auto &[kept, gone] : rows) {
    for (const bool loops : {false, true}) {
      ShmPoolHandle *other = nullptr;
      ASSERT_RC(support::createPool(&other, domain, 0x2000), Rc::Ok);
      std::uint64_t *const last = leave(kSegments, kept, other, gone);
      leave(kModules, kept, other, gone);
      if (loops && gone.back() == '3') *last = static_cast<std::uint64_t>(reinterpret_cast<char *>(last) - base());
      EXPECT_RC(support::freePool(&other, SNTR_FREE_POOL_ALWAYS), Rc::Ok);
      EXPECT_EQ(kSegments.printed(pool), kSegments.expected(kept)) << gone;
      EXPECT_EQ(kModules.printed(pool), kModules.expected(kept)) << gone;
      for (const std::uint32_t rc : {kSegments.clear(pool), kModules.clear(pool)}) EXPECT_RC(rc, Rc::Ok) << gone;
    }
  }
}

// Every services call of an insertion and a deletion fails once: the first failure is told, the list is whole on either
// side of it, and no entry is lost (the fixture counts).
TEST_F(Lists, AFailingServicesLayerLeavesTheListWhole) {
  forEach([&](const auto &list) {
    auto *record = list.insertAll(pool, "20");
    bool told = true;
    for (std::uint64_t nth = 1; told; ++nth) {
      const std::uint64_t injected = ossFaultInjected();
      ossFaultArmAny(nth);
      const U32 inserted = list.insert(pool, &list.records[1], &record);
      const U32 erased = list.erase(pool, list.key(1));
      ossFaultDisarm();
      EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0) << list.what << " " << nth;
      EXPECT_RC(list.find(pool, list.key(1), &record), Rc::Ok);
      EXPECT_EQ(list.printed(pool), list.expected(record != nullptr ? "012" : "02")) << nth;
      told = inserted != 0 || erased != 0;
      EXPECT_EQ(told, injected != ossFaultInjected()) << list.what << " " << nth;
      if (record != nullptr) EXPECT_RC(list.erase(pool, list.key(1)), Rc::Ok);
    }
  });
}

TEST_F(Lists, PrintingIsNoCancellationPoint) {
  setvbuf(stdout, nullptr, _IONBF, 0);
  const auto print = [](void *) -> void * {
    pthread_cancel(pthread_self());
    EXPECT_RC(sntrPrintGCFNodePMLList(), Rc::Ok);
    return nullptr;
  };
  pthread_t thread;
  void *result = nullptr;
  ASSERT_EQ(pthread_create(&thread, nullptr, print, nullptr), 0);
  ASSERT_EQ(pthread_join(thread, &result), 0);
  EXPECT_EQ(result, nullptr);
}

}  // namespace
