// SPDX-License-Identifier: MIT
// Identifiers, a node's identifier and tag, and the information record that refers to the shared lists.
#include <sntr/identifiers.h>
#include <sntr/latches.h>
#include <sntr/segments.h>

#include <cstring>

#include "support/memory_pool.h"
#include "support/words.h"

namespace {

using enum sntr::Rc;
using support::Rc;

constexpr std::uint32_t kVersion = SNTR_VERSION;

TEST(Identifiers, AreMadeOfPartsUnderTheirKindsCodes) {
  const std::string all(0x1001, 'x');
  const char *const tooLong = all.c_str(), *const longest = tooLong + 1, *const none = nullptr;
  // The first parts, and the number of parts.
  using Row = std::tuple<std::uint32_t, const char *, const char *, std::uint64_t, std::uint64_t, Rc>;
  const Row rows[] = {{0x2, "ab", "cde", 2, 8, Ok},
                      {0x400, tooLong, none, 2, 0x1000, IDTooLong},
                      {0x800, "", "", 2, 0, Ok},
                      {0x2, none, none, 1, 0x1001, CapacityTooLarge},
                      {0x200, longest, "y", 2, 0x1000, Ok},
                      {0x200, none, none, 1, 0x1001, MaxIDSizeTooLarge},
                      {0x2, "ab", "cde", 2, 2, DataTooLong},
                      {0x2, "", none, 2, 2, NullIDPart},
                      {0x800, "", "a", 2, 0, DataTooLong},
                      {0x2, none, none, 0, 0x1001, BadPartCount},
                      {0x10, none, none, 0, 0, BadKind},
                      {0x202, none, none, 0, 0, BadKind}};
  for (const auto &[kind, first, second, count, capacity, expected] : rows) {
    const char *const parts[] = {first, second};
    char *id = nullptr;
    std::uint64_t *lengths = nullptr;
    EXPECT_RC(sntrCreateID(&id, &lengths, parts, capacity, count, kind, &kVersion), expected) << kind;
    ASSERT_EQ(id != nullptr, expected == Ok) << kind << " " << capacity;
    if (id == nullptr) continue;
    const std::string joined = std::string(first) + second;
    EXPECT_EQ(std::pair(lengths[0], lengths[1]), std::pair(std::strlen(first), std::strlen(second))) << joined;
    EXPECT_EQ(std::string(id, joined.size()), joined);
    EXPECT_RC(sntrDeleteID(&id, &lengths, nullptr), BadVersion);
    EXPECT_RC(sntrDeleteID(&id, &lengths, &kVersion), Ok);
  }
}

TEST(Identifiers, LeaveNoMemoryWhenTheyFail) {
  const char *part = "a";
  char *id = nullptr;
  std::uint64_t *lengths = nullptr;
  const auto create = [&] { return sntrCreateID(&id, &lengths, &part, 1, 1, 2, &kVersion); };
  EXPECT_RC(sntrCreateID(&id, nullptr, &part, 1, 1, 2, nullptr), BadVersion);
  EXPECT_RC(sntrCreateID(&id, nullptr, &part, 1, 1, 2, &kVersion), NullID);
  for (const std::uint64_t nth : {1u, 2u}) {
    ossFaultArm(OSSFaultMemoryAlloc, nth);
    EXPECT_RC(create(), IDAllocationFailed);
  }
  ASSERT_RC(create(), Ok);
  ossFaultArm(OSSFaultMemoryFree, 1);
  EXPECT_RC(sntrDeleteID(&id, &lengths, &kVersion), OssInjected);
  EXPECT_RC(sntrDeleteID(&id, &lengths, &kVersion), Ok) << "and nothing is freed twice";
  EXPECT_EQ(ossFaultHeld(OSSFaultHeldBlocks), 0);
}

TEST(Identifiers, AscendByLengthThenUnsignedBytes) {
  const std::tuple<std::string, std::string, int> rows[] = {
      {"zz", "aaa", -1}, {"abc", "abd", -1}, {"\xff", "a", 1}, {"", "", 0}, {std::string(0x1000, 'a'), "b", 1}};
  std::int64_t order = 0;
  for (const auto &[a, b, expected] : rows) {
    EXPECT_RC(sntrCompareID(a.data(), a.size(), b.data(), b.size(), 0x10, &order), Ok);
    EXPECT_EQ((order > 0) - (order < 0), expected) << a << " " << b;
  }
  EXPECT_RC(sntrCompareID(nullptr, 0, "", 0, 4, nullptr), BadKind);
  EXPECT_RC(sntrCompareID(nullptr, 0x1001, "", 0, 2, nullptr), NullID);
  EXPECT_RC(sntrCompareID("", 0, "", 0x1001, 2, nullptr), ComparedIDTooLong);
  EXPECT_RC(sntrCompareID("", 0, "", 0, 2, nullptr), NullOrderOutput);
  EXPECT_RC(sntrPrintID("", 0x1001), IDTooLong);
  testing::internal::CaptureStdout();
  EXPECT_RC(sntrPrintID("A\0\x7f \x80", 5), Ok);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "A.. .");
}

using Names = support::MemoryPool;

TEST_F(Names, AnIdentifierIsHeldAgainstItsArea) {
  SNodeCB_t *plain = newNode(), *node = newNode(SNTR_OPTION_NODE_ID, {16 + 33, 8});
  const std::string text(0x1000, 'i'), digits = "123456789012345678901234567890123";
  // Length and capacity of the identifier, size of the area, condition of the node.
  using Row = std::tuple<std::uint64_t, std::uint64_t, std::uint64_t, std::uint32_t, Rc>;
  const Row rows[] = {
      {9, 3, 0, 1, NodeIDTooLong},       {9, 0x1001, 0, 1, NodeIDCapacityTooLarge}, {8, 3, ~0ull, 1, AreaOutsideNode},
      {34, 0x1000, 49, 1, AreaOverused}, {33, 0x1000, 49, 1, NodeNotInitialized},   {33, 34, 49, 3, Ok}};
  for (const auto &[length, capacity, areaSize, condition, expected] : rows) {
    node->nodeCondition = condition;
    node->areaTable[0].areaSize = areaSize;
    EXPECT_RC(sntrSetNodeID(node, text.data(), length, capacity, 0), expected) << length << " of " << capacity;
  }
  EXPECT_RC(sntrSetNodeID(plain, "", 9, 0x1001, 0), NoIDToSet);
  EXPECT_EQ(node->areaTable[0].areaUsed, 49u);
  EXPECT_EQ(support::wordAt(node, 0xb60), 40u) << "the capacity, rounded up";
  const void *id = nullptr;
  std::uint64_t length = 0;
  EXPECT_RC(sntrGetNodeID(node, &id, &length, 0), Ok);
  EXPECT_EQ(std::string(static_cast<const char *>(id), length), text.substr(0, 33));
  EXPECT_RC(sntrSetNodeID(node, digits.data(), 33, 40, 0), Ok);
  EXPECT_RC(sntrSetNodeID(node, static_cast<const char *>(id) + 1, 32, 40, 0), Ok);
  EXPECT_EQ(std::string(static_cast<const char *>(id), 32), digits.substr(1)) << "a part of its own";
  EXPECT_EQ(reinterpret_cast<const char *>(node)[0xb60 + 49], '\0') << "the next area was written";
  EXPECT_RC(sntrGetNodeID(plain, &id, &length, 0), NoIDToGet);
  for (const std::uint64_t bad : {34ull, 0x1001ull, ~0ull}) {
    support::setWordAt<std::uint64_t>(node, 0xb68, bad);
    EXPECT_RC(sntrGetNodeID(node, &id, &length, 0), NodeIDTooLong) << bad;
  }
  EXPECT_EQ(length, 33u);
}

TEST_F(Names, WhoHoldsTheSectionSaysSo) {
  SNodeCB_t *node = newNode(SNTR_OPTION_NODE_ID, {16});
  const void *id = nullptr;
  std::uint64_t out = 0;
  ASSERT_RC(sntrEnterCriticalSectionBeforeWrite(node, &node->primaryLatch), Ok);
  for (const std::uint32_t held : {0u, 1u}) {
    const Rc expected = held != 0 ? Ok : LatchFailed;
    EXPECT_RC(sntrSetNodeID(node, "", 0, 0, held), expected);
    EXPECT_RC(sntrGetNodeID(node, &id, &out, held), expected);
    EXPECT_RC(sntrSetNodeTag(node, 1, held), expected);
    EXPECT_RC(sntrGetNodeTag(node, &out, held), expected);
    EXPECT_RC(sntrGetNodeSize(node, &out, held), expected);
  }
  ASSERT_RC(sntrExitCriticalSectionAfterWrite(node, &node->primaryLatch), Ok) << "left by an operation";
}

TEST_F(Names, TheInformationRecordRefersToSharedEntries) {
  const OSSIPCResID key{7, 8}, lower{6, 9};
  GCFModuleInfo module;
  std::memset(&module, 'm', sizeof module);
  SNodeInfo first{}, second{}, third{};
  EXPECT_RC(sntrAddStatusNodeInfo(nullptr, &info, nullptr, 1, ~0ull, ~0ull, nullptr), NullKey);
  EXPECT_RC(sntrAddStatusNodeInfo(nullptr, &info, &key, 1, ~0ull, ~0ull, nullptr), NullNodeInfo);
  EXPECT_RC(sntrAddStatusNodeInfo(&first, &info, &key, 1, 0x100001, ~0ull, nullptr), TagTooLarge);
  EXPECT_RC(sntrAddStatusNodeInfo(&first, &info, &key, 1, 0, 0x1001, nullptr), DataTooLong);
  EXPECT_EQ(blocks(), 0u);
  EXPECT_RC(sntrAddStatusNodeInfo(&first, &info, &key, 11, 0x100000, 0x1000, &module), Ok);
  EXPECT_RC(sntrAddStatusNodeInfo(&second, &info, &key, 0, 0, 0, nullptr), Ok);
  EXPECT_RC(sntrAddStatusNodeInfo(&third, &info, &lower, 0, 0, 0, &module), Ok);
  EXPECT_EQ(blocks(), 4u) << "two segments, two modules";
  const auto word = [&](std::uint64_t offset) { return support::wordAt(base(), offset); };
  const std::uint64_t segments = word(0x108), modules = word(0x110), start = reinterpret_cast<std::uint64_t>(base());
  const SNodeInfo expected{11, 0x100000, 0x1000, 0, word(segments) + 8, word(modules) + 8, start};
  const std::uint64_t segment[] = {first.segmentEntry - 8, 0x1317d17, 0x1317d17, 6, 9, 0};
  EXPECT_EQ(std::memcmp(&first, &expected, sizeof first), 0);
  EXPECT_EQ(std::memcmp(base() + segments, segment, sizeof segment), 0);
  EXPECT_EQ(std::memcmp(base() + first.moduleEntry, &module, sizeof module), 0);
  EXPECT_TRUE(second.segmentEntry == first.segmentEntry && third.segmentEntry == segments + 8);
  EXPECT_TRUE(third.moduleEntry == first.moduleEntry && second.moduleEntry == modules + 8);
}

}  // namespace
