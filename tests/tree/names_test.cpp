// Identifiers, a node's identifier and tag, and the information record that refers to the shared lists.
#include <sntr/identifiers.h>
#include <sntr/latches.h>
#include <sntr/segments.h>

#include <cstring>

#include "support/memory_pool.h"
#include "support/words.h"

namespace {

using support::Rc;

constexpr std::uint32_t kVersion = SNTR_VERSION;

TEST(Identifiers, AreMadeOfPartsUnderTheirKindsCodes) {
  const std::string longest(0x1000, 'x'), tooLong(0x1001, 'x');
  using Parts = std::vector<const char *>;
  const std::tuple<std::uint32_t, Parts, std::uint64_t, Rc, std::string> rows[] = {
      {0x2, {"ab", "cde"}, 8, Rc::Ok, "abcde"},
      {0x800, {"", ""}, 0, Rc::Ok, ""},
      {0x200, {longest.c_str(), "y"}, 0x1000, Rc::Ok, longest + "y"},
      {0x2, {"ab", "cde"}, 2, Rc::DataTooLong, ""},
      {0x800, {"", "a"}, 0, Rc::DataTooLong, ""},
      {0x400, {tooLong.c_str(), nullptr}, 0x1000, Rc::IDTooLong, ""},
      {0x2, {"", nullptr}, 2, Rc::NullIDPart, ""},
      {0x2, {nullptr}, 0x1001, Rc::CapacityTooLarge, ""},
      {0x200, {nullptr}, 0x1001, Rc::MaxIDSizeTooLarge, ""},
      {0x2, {}, 0x1001, Rc::BadPartCount, ""},
      {0x10, {}, 0, Rc::BadKind, "for comparing only"},
      {0, {}, 0, Rc::BadKind, ""},
      {1, {}, 0, Rc::BadKind, ""},
      {0x202, {}, 0, Rc::BadKind, ""},
  };
  for (const auto &[kind, parts, capacity, expected, joined] : rows) {
    char *id = nullptr;
    std::uint64_t *lengths = nullptr;
    EXPECT_RC(sntrCreateID(&id, &lengths, parts.data(), capacity, parts.size(), kind, &kVersion), expected) << kind;
    EXPECT_EQ(id != nullptr, expected == Rc::Ok) << kind << " " << capacity;
    if (id == nullptr) continue;
    EXPECT_EQ(std::string(id, joined.size()), joined);
    for (std::size_t i = 0; i < parts.size(); ++i) EXPECT_EQ(lengths[i], std::strlen(parts[i])) << parts[i];
    EXPECT_RC(sntrDeleteID(&id, &lengths, nullptr), Rc::BadVersion);
    EXPECT_RC(sntrDeleteID(&id, &lengths, &kVersion), Rc::Ok);
  }
}

TEST(Identifiers, WhatFailsLeavesNoMemory) {
  const char *part = "a";
  char *id = nullptr;
  std::uint64_t *lengths = nullptr;
  EXPECT_RC(sntrCreateID(&id, nullptr, &part, 1, 1, 2, nullptr), Rc::BadVersion);
  EXPECT_RC(sntrCreateID(&id, nullptr, &part, 1, 1, 2, &kVersion), Rc::NullID);
  for (const std::uint64_t nth : {1u, 2u}) {
    ossFaultArm(OSSFaultMemoryAlloc, nth);
    EXPECT_RC(sntrCreateID(&id, &lengths, &part, 1, 1, 2, &kVersion), Rc::IDAllocationFailed);
  }
  ASSERT_RC(sntrCreateID(&id, &lengths, &part, 1, 1, 2, &kVersion), Rc::Ok);
  ossFaultArm(OSSFaultMemoryFree, 1);
  EXPECT_RC(sntrDeleteID(&id, &lengths, &kVersion), Rc::OssInjected);
  EXPECT_RC(sntrDeleteID(&id, &lengths, &kVersion), Rc::Ok) << "and nothing is freed twice";
  EXPECT_EQ(ossFaultHeld(OSSFaultHeldBlocks), 0);
}

TEST(Identifiers, TheShorterSortsFirstAndBytesAreUnsigned) {
  const std::tuple<std::string, std::string, int> rows[] = {
      {"zz", "aaa", -1}, {"abc", "abd", -1}, {"\xff", "a", 1}, {"", "", 0}, {std::string(0x1000, 'a'), "b", 1}};
  std::int64_t order = 0;
  for (const auto &[a, b, expected] : rows) {
    EXPECT_RC(sntrCompareID(a.data(), a.size(), b.data(), b.size(), 0x10, &order), Rc::Ok);
    EXPECT_EQ((order > 0) - (order < 0), expected) << a << " " << b;
  }
  EXPECT_RC(sntrCompareID(nullptr, 0, "", 0, 4, nullptr), Rc::BadKind);
  EXPECT_RC(sntrCompareID(nullptr, 0x1001, "", 0, 2, nullptr), Rc::NullID);
  EXPECT_RC(sntrCompareID("", 0, "", 0x1001, 2, nullptr), Rc::ComparedIDTooLong);
  EXPECT_RC(sntrCompareID("", 0, "", 0, 2, nullptr), Rc::NullOrderOutput);
  EXPECT_RC(sntrPrintID("", 0x1001), Rc::IDTooLong);
  testing::internal::CaptureStdout();
  EXPECT_RC(sntrPrintID("A\0\x7f \x80", 5), Rc::Ok);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "A.. .");
}

using Names = support::MemoryPool;

TEST_F(Names, TheIdentifierIsHeldAgainstItsArea) {
  SNodeCB_t *plain = newNode(), *node = newNode(SNTR_OPTION_NODE_ID, {16 + 33, 8});
  const std::string text(0x1000, 'i');
  const std::tuple<SNodeCB_t *, std::uint64_t, std::uint64_t, std::uint64_t, std::uint32_t, Rc> rows[] = {
      {plain, 9, 0x1001, 0, 1, Rc::NoIDToSet},
      {node, 9, 0x1001, 0, 1, Rc::NodeIDCapacityTooLarge},
      {node, 9, 3, 0, 1, Rc::NodeIDTooLong},
      {node, 8, 3, ~0ull, 1, Rc::AreaOutsideNode},
      {node, 34, 0x1000, 49, 1, Rc::AreaOverused},
      {node, 33, 0x1000, 49, 1, Rc::NodeNotInitialized},
      {node, 33, 40, 49, 3, Rc::Ok},
  };
  for (const auto &[target, length, capacity, areaSize, condition, expected] : rows) {
    target->nodeCondition = condition;
    target->areaTable[0].areaSize = areaSize;
    EXPECT_RC(sntrSetNodeID(target, text.data(), length, capacity, 0), expected) << length << " of " << capacity;
  }
  const void *id = nullptr;
  std::uint64_t length = 0;
  EXPECT_RC(sntrGetNodeID(node, &id, &length, 0), Rc::Ok);
  EXPECT_EQ(std::string(static_cast<const char *>(id), length), text.substr(0, 33));
  const std::string digits = "123456789012345678901234567890123";
  EXPECT_RC(sntrSetNodeID(node, digits.data(), 33, 40, 0), Rc::Ok);
  EXPECT_RC(sntrSetNodeID(node, static_cast<const char *>(id) + 1, 32, 40, 0), Rc::Ok) << "a part of its own";
  EXPECT_EQ(std::string(static_cast<const char *>(id), 32), digits.substr(1));
  EXPECT_EQ(reinterpret_cast<const char *>(node)[0xb60 + 49], '\0') << "the next area was written";
  EXPECT_RC(sntrGetNodeID(plain, &id, &length, 0), Rc::NoIDToGet);
  for (const std::uint64_t bad : {34ull, 0x1001ull, ~0ull}) {
    support::setWordAt<std::uint64_t>(node, 0xb68, bad);
    EXPECT_RC(sntrGetNodeID(node, &id, &length, 0), Rc::NodeIDTooLong) << bad;
  }
  EXPECT_EQ(length, 33u);
}

TEST_F(Names, TheTagIsBoundedAndConditionsComeFirst) {
  SNodeCB_t *node = newNode();
  std::uint64_t tag = 9;
  EXPECT_RC(sntrSetNodeTag(node, 0x100000, 0), Rc::Ok);
  EXPECT_RC(sntrSetNodeTag(node, 0x100001, 0), Rc::TagTooLarge);
  EXPECT_RC(sntrGetNodeTag(node, &tag, 0), Rc::Ok);
  EXPECT_EQ(tag, 0x100000u);
  node->nodeTag = 0x100002;
  EXPECT_RC(sntrGetNodeTag(node, &tag, 0), Rc::TagTooLarge);
  EXPECT_EQ(tag, 0x100002u) << "told all the same";
  node->nodeCondition = SNTR_CONDITION_ABANDONED;
  EXPECT_RC(sntrSetNodeTag(node, 0x100001, 0), Rc::NodeAbandoned);
  EXPECT_RC(sntrGetNodeTag(node, &tag, 0), Rc::NodeAbandoned);
}

TEST_F(Names, WhoHoldsTheSectionSaysSo) {
  SNodeCB_t *node = newNode(SNTR_OPTION_NODE_ID, {16});
  const void *id = nullptr;
  std::uint64_t out = 0;
  ASSERT_RC(sntrEnterCriticalSectionBeforeWrite(node, &node->primaryLatch), Rc::Ok);
  for (const std::uint32_t inside : {0u, 1u}) {
    const Rc expected = inside != 0 ? Rc::Ok : Rc::LatchFailed;
    EXPECT_RC(sntrSetNodeID(node, "", 0, 0, inside), expected);
    EXPECT_RC(sntrGetNodeID(node, &id, &out, inside), expected);
    EXPECT_RC(sntrSetNodeTag(node, 1, inside), expected);
    EXPECT_RC(sntrGetNodeTag(node, &out, inside), expected);
  }
  ASSERT_RC(sntrExitCriticalSectionAfterWrite(node, &node->primaryLatch), Rc::Ok) << "left by an operation";
}

TEST_F(Names, TheInformationRecordRefersToEntriesThatItShares) {
  const OSSIPCResID key{7, 8};
  GCFModuleInfo module{};
  std::strcpy(module.path, "/lib/module");
  SNodeInfo first{}, second{}, bare{};
  EXPECT_RC(sntrAddStatusNodeInfo(nullptr, &info, nullptr, 1, ~0ull, ~0ull, nullptr), Rc::NullKey);
  EXPECT_RC(sntrAddStatusNodeInfo(nullptr, &info, &key, 1, ~0ull, ~0ull, nullptr), Rc::NullNodeInfo);
  EXPECT_RC(sntrAddStatusNodeInfo(&first, &info, &key, 1, 0x100001, ~0ull, nullptr), Rc::TagTooLarge);
  EXPECT_RC(sntrAddStatusNodeInfo(&first, &info, &key, 1, 0, 0x1001, nullptr), Rc::DataTooLong);
  EXPECT_EQ(blocks(), 0u);
  EXPECT_RC(sntrAddStatusNodeInfo(&first, &info, &key, 11, 0x100000, 4, &module), Rc::Ok);
  EXPECT_RC(sntrAddStatusNodeInfo(&second, &info, &key, 12, 0, 0, &module), Rc::Ok);
  EXPECT_RC(sntrAddStatusNodeInfo(&bare, &info, &key, 13, 0, 0, nullptr), Rc::Ok);
  EXPECT_EQ(blocks(), 3u) << "one segment, two modules";
  EXPECT_EQ(first.segmentEntry, second.segmentEntry);
  EXPECT_EQ(first.moduleEntry, second.moduleEntry);
  EXPECT_STREQ(base() + first.moduleEntry, "/lib/module");
  SNodeCB_t *node = newNode(SNTR_OPTION_NODE_INFO, {0, 0, 0, 8 + 56 + 4});
  EXPECT_RC(sntrInitNode(&node, first.base, 0, nullptr, &first, "data", 8, nullptr, nullptr, nullptr), Rc::Ok);
  const auto stored = support::wordAt<SNodeInfo>(node, 0xb68);
  EXPECT_EQ(stored.moduleEntry, first.moduleEntry);
  EXPECT_EQ(stored.dataPosition, first.base + 0xb60 + 8);
}

}  // namespace
