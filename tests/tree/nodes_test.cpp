// SPDX-License-Identifier: MIT
// Nodes in a pool and in private memory, from creation to disclaiming: areas, what is refused in which order, what is
// written, and what a failing services layer leaves.
#include <oss/memory.h>
#include <sntr/sntr.h>

#include <cstring>
#include <functional>

#include "support/memory_pool.h"

namespace {

using enum sntr::Rc;
using support::named, support::Rc;
using Word = std::uint64_t;

constexpr Word kMost = SNTR_MAX_AREA_SIZE, kHuge = ~Word{0};

// A node in private memory, and the arguments of its initialization.
class Nodes : public support::MemoryPool {
 protected:
  void SetUp() override {
    MemoryPool::SetUp();
    EXPECT_RC(create(), Ok);
  }
  void TearDown() override {
    freeNode();
    MemoryPool::TearDown();
  }
  void freeNode() {
    _ossMemFree(node, "test", 1);
    node = nullptr;
  }
  std::uint32_t create(const support::Sizes &sizes = {}, Word options = 0) {
    freeNode();
    return sntrCreateNodeInPM(&node, options, sizes.data(), &size, &address, SNTR_VERSION, SNTR_VERSION);
  }
  std::uint32_t initialize() {
    return sntrInitNode(&node, 0x10000, id.size(), idBytes, nodeInfo, data, capacity, record24, record1056, params);
  }
  std::string bytes(std::size_t offset, std::size_t count) const {
    return {reinterpret_cast<const char *>(node) + offset, count};
  }
  SNodeCB_t *node = nullptr, *address = nullptr;
  Word size = 0;
  std::string id = "identity";
  const void *idBytes = id.data();
  SNodeInfo infoRecord{11, 12, 5, 14, 15, 16, 17};
  const SNodeInfo *nodeInfo = &infoRecord;
  const char *data = "data!";
  Word capacity = 13;
  const std::string record = std::string(1056, 'r');
  const void *record24 = record.data(), *record1056 = record.data();
  const SNodeParams *params = nullptr;
};

TEST_F(Nodes, StandInTheirPoolUntilTheyAreDisclaimed) {
  const Word whole = support::infoOf(pool).freeBytes;
  void *block = nullptr;
  ASSERT_RC(support::allocate(&block, pool, 0x2000), Ok);
  std::memset(block, 0xee, 0x2000);
  ASSERT_RC(support::release(&block, pool), Ok);
  const Word sizes[SNTR_AREA_COUNT] = {0x1000};
  Word offset = 0;
  SNodeCB_t *made = nullptr, *none = nullptr;
  ASSERT_RC(sntrCreateNode(&info, &made, 0, sizes, &size, &offset), Ok);
  EXPECT_EQ(reinterpret_cast<char *>(made), base() + offset);
  EXPECT_EQ(made->nodeEyecatcher, 0u) << "a node that was never initialized must not look like one";
  EXPECT_EQ(size, 0xb60u + 0x1000);
  EXPECT_EQ(std::string(base() + offset + 0xb60, 0x1000), std::string(0x1000, '\0')) << "left by the last user";
  SNodeCB_t *stale = made;
  EXPECT_RC(sntrDisclaimNode(&none, nullptr, 0), NullNode);
  EXPECT_RC(sntrDisclaimNode(&made, nullptr, 0), NullPoolHandle);
  EXPECT_RC(sntrDisclaimNode(&made, pool, 0), BadVersion);
  EXPECT_EQ(made, stale) << "a refusal changed the reference";
  EXPECT_RC(sntrDisclaimNode(&made, pool, SNTR_VERSION), Ok);
  EXPECT_EQ(made, nullptr);
  EXPECT_NE(sntrDisclaimNode(&stale, pool, SNTR_VERSION), 0u) << "given back twice";
  EXPECT_EQ(support::infoOf(pool).freeBytes, whole);
}

// Each row has the code and the stored size in a pool, those in private memory, and how the arguments change then.
TEST_F(Nodes, AreRefusedInOrderAndTakeNothing) {
  const Word whole = support::infoOf(pool).freeBytes;
  Word areas[SNTR_AREA_COUNT] = {kMost + 1}, offset = 0, totals[2] = {7, 7}, *sizes = nullptr;
  SNodeCB_t *made = nullptr, **out = nullptr;
  bool hasTotal = false, hasPlace = false;
  info = {};
  const std::tuple<Rc, Word, Rc, Word, std::function<void()>> rows[] = {
      {NullAreaSizes, 7, NullAreaSizes, 7, [&] { sizes = areas; }},
      {NullSizeOutput, 7, NullSizeOutput, 7, [&] { hasTotal = true; }},
      {NullOffsetOutput, 7, NullOffsetOutput, 7, [&] { hasPlace = true; }},
      {NullNode, 7, NullNode, 7, [&] { out = &made; }},
      {AreaTooLarge, 7, AreaTooLarge, 7, [&] { areas[0] = whole - 0xb60 + 1; }},
      {BadVersion, 7, BadVersion, whole + 1, [&] { info.version = SNTR_VERSION; }},
      {NullPoolHandle, 7, BadLatchVersion, whole + 1, [&] { info.pool = pool; }},
      {PoolTooSmallForNode, 7, BadLatchVersion, whole + 1, [&] { --areas[0]; }},
      {NodeAllocationFailed, whole, BadLatchVersion, whole, [&] { areas[0] = 0; }},
      {BadLatchVersion, 0xb60, BadLatchVersion, 0xb60, [] {}}};
  EXPECT_RC(sntrCreateNode(nullptr, nullptr, 0, nullptr, nullptr, nullptr), NullSegmentInfo);
  for (const auto &[inPool, poolTotal, inPrivate, privateTotal, change] : rows) {
    SCOPED_TRACE(named(inPool));
    Word *const told[] = {hasTotal ? &totals[0] : nullptr, hasTotal ? &totals[1] : nullptr};
    EXPECT_RC(sntrCreateNode(&info, out, 0, sizes, told[0], hasPlace ? &offset : nullptr), inPool);
    EXPECT_RC(sntrCreateNodeInPM(out, 0, sizes, told[1], hasPlace ? &address : nullptr, info.version, 0), inPrivate);
    EXPECT_EQ(totals[0], poolTotal);
    EXPECT_EQ(totals[1], privateTotal);
    change();
  }
  EXPECT_EQ(made, nullptr);
  EXPECT_EQ(support::infoOf(pool).freeBytes, whole);
  EXPECT_RC(create({kMost, kMost - 0xb60}), Ok);
  EXPECT_RC(create({kMost, kMost - 0xb5f}), BadNodeSize);
  ossFaultArm(OSSFaultMemoryAlloc, 1);
  EXPECT_RC(create(), NodeAllocationFailed);
}

TEST_F(Nodes, HaveTheAreaOfAKindsLowestBitFromBitOneUp) {
  AreaEntry *entry = nullptr;
  EXPECT_RC(sntrGetPExportPointer(nullptr, nullptr, 0), NullNode);
  EXPECT_RC(sntrGetPExportPointer(nullptr, node, 0), NullOutput);
  const std::pair<std::uint32_t, int> kinds[] = {{0, -1},      {1, -1},    {0x2, 0},        {0x3, 0},
                                                 {0x80, 6},    {0x180, 6}, {0x1000, 11},    {0x2000, -1},
                                                 {0x2001, -1}, {~0u, 0},   {0xfffff000, 11}};
  for (const auto &[kind, index] : kinds) {
    entry = nullptr;
    EXPECT_RC(sntrGetPExportPointer(&entry, node, kind), index < 0 ? BadKind : Ok) << kind;
    EXPECT_EQ(entry, index < 0 ? nullptr : &node->areaTable[index]) << kind;
  }
  // Offset, size and used bytes of an area; the size of the node.
  using Row = std::tuple<Word, Word, Word, Word, Rc>;
  constexpr Word n = 0x6000000, beyond = SNTR_MAX_NODE_SIZE + 1;
  const Row rows[] = {{0, kHuge, kHuge, 0, AreaNeverCreated},    {1, 8, 9, n, AreaOverused},
                      {0xb5f, 8, 0, n, AreaOutsideNode},         {n - 8, 8, 8, n, Ok},
                      {n - 7, 8, 0, n, AreaOutsideNode},         {n, 0, 0, n, Ok},
                      {0xb60, kMost + 1, 0, n, AreaOutsideNode}, {0xb60, kMost, 0, n, Ok},
                      {kHuge - 7, 16, 0, n, AreaOutsideNode},    {0xb60, kHuge, 0, n, AreaOutsideNode},
                      {0xb60, 0, 0, 0xb5f, AreaOutsideNode},     {0xb60, 8, 0, beyond, AreaOutsideNode}};
  for (const auto &[offset, bytes, used, total, expected] : rows) {
    node->areaTable[SNTR_AREA_IR] = {bytes, used, offset};
    node->nodeSize = total;
    EXPECT_RC(sntrGetPExportPointer(&entry, node, SNTR_KIND_IR), expected) << bytes << " at " << offset;
  }
}

// Each option alone, in an area that is just large enough or one byte too small, before another. The arguments of
// options that the node lacks do not count.
TEST_F(Nodes, AreInitializedWithTheContentsOfTheirOptions) {
  const auto words = [](const std::vector<Word> &values) {
    return std::string(reinterpret_cast<const char *>(values.data()), 8 * values.size());
  };
  const std::pair<std::size_t, std::string> rows[] = {
      {SNTR_AREA_NODE_ID, words({16, 8}) + id},
      {SNTR_AREA_NODE_INFO, words({16, 11, 12, 5, 0x10000 + 0xb60 + 8, 15, 16, 17}) + data},
      {SNTR_AREA_RECORD_24, record.substr(0, 24)},
      {SNTR_AREA_RECORD_1056, record},
      {SNTR_AREA_EXPORT_LIST, words({SNTR_OPTION_EXPORT_LIST}) + std::string(232, '\0')}};
  for (const auto &[index, content] : rows) {
    idBytes = index == SNTR_AREA_NODE_ID ? id.data() : nullptr;
    nodeInfo = index == SNTR_AREA_NODE_INFO ? &infoRecord : nullptr;
    for (const bool fits : {true, false}) {
      support::Sizes sizes{};
      sizes[index] = content.size() - !fits, sizes[63] = 8;
      ASSERT_RC(create(sizes, 2u << index), Ok);
      std::memset(node + 1, 'x', size - 0xb60);
      node->nodeTag = 5;
      EXPECT_RC(initialize(), fits ? Ok : AreaOverused) << "area " << index;
      EXPECT_EQ(bytes(0xb60, size - 0xb60), (fits ? content : std::string(sizes[index], 'x')) + "xxxxxxxx");
      EXPECT_EQ(node->areaTable[index].areaUsed, fits ? content.size() : 0);
      EXPECT_EQ(node->nodeTag, 0u);
      EXPECT_EQ(node->nodeCondition, 2u) << "the parameters are stored all the same";
    }
  }
  EXPECT_EQ(infoRecord.dataPosition, 14u) << "the caller's record changed";
  ASSERT_RC(create({}, SNTR_OPTION_NODE_INFO), Ok);
  capacity = 0x1001;
  EXPECT_RC(initialize(), CapacityTooLarge);
}

TEST_F(Nodes, RefuseInitializationInOrderAndChangeNothing) {
  static const SNodeParams badCondition = {0, 0, 0, 3, 3, 0, 0, 0, 0}, badMode = {0, 0, 0, 0, 3, 0, 0, 0, 0};
  ASSERT_RC(create({49, 25, 1057, 105, 0, 0, 0, 0, 0, 0, 0, 243}, 0x101e), Ok);
  capacity = 0x1001, infoRecord.dataSize = 17;
  idBytes = record24 = record1056 = nullptr, nodeInfo = nullptr, data = nullptr, params = &badCondition;
  const std::string before = bytes(0, size);
  const std::pair<Rc, std::function<void()>> rows[] = {{CapacityTooLarge, [&] { capacity = 9; }},
                                                       {NullID, [&] { idBytes = (id = std::string(17, 'x')).data(); }},
                                                       {DataTooLong, [&] { id = "0123456789abcdef"; }},
                                                       {NullNodeInfo, [&] { nodeInfo = &infoRecord; }},
                                                       {DataTooLong, [&] { infoRecord.dataSize = 16; }},
                                                       {NullID, [&] { infoRecord.dataSize = 0; }},
                                                       {NullRecord1056, [&] { record1056 = record.data(); }},
                                                       {NullRecord24, [&] { record24 = record.data(); }},
                                                       {BadCondition, [&] { params = &badMode; }},
                                                       {BadStatusMode, [&] { params = nullptr; }}};
  for (const auto &[expected, change] : rows) {
    EXPECT_RC(initialize(), expected);
    EXPECT_EQ(bytes(0, size), before) << named(expected);
    change();
  }
  EXPECT_RC(initialize(), Ok) << "the mended arguments";
  idBytes = reinterpret_cast<const char *>(node) + 0xb60 + 17, id.pop_back();
  EXPECT_RC(initialize(), Ok);
  EXPECT_EQ(bytes(0xb60 + 16, 15), "123456789abcdef") << "a part of its own identifier";
}

TEST_F(Nodes, HaveDefaultParametersAndWhatMayBeSet) {
  ossFaultSetClock(1234567890123);
  for (const Word condition : {2u, 3u}) {
    std::memset(&node->statusMode, 9, 24);
    EXPECT_RC(condition == 2 ? initialize() : sntrSetNodeOptions(node, nullptr), Ok);
    const Word expected[] = {condition << 32 | 1, Word{200} << 32 | 200, 1234567890123};
    EXPECT_EQ(std::memcmp(&node->statusMode, expected, 24), 0) << condition;
  }
  for (std::uint32_t word : {1u, 2u, 3u, 4u, 5u, 8u, 16u, 32u, 64u}) {
    const SNodeParams given = {0, 0, 0, word, 2, 0, 0, 0, 0};
    EXPECT_RC(sntrSetNodeOptions(node, &given), word % 2 == 0 && word < 64 ? Ok : BadCondition) << word;
  }
  // A model that changes in a section neither keeps the latch nor releases another.
  for (const auto &[before, after] : {std::pair{1u, 3u}, {2u, 1u}, {1u, 6u}, {2u, ~0u}}) {
    node->concurrencyModel = before;
    const SNodeParams given = {0, 0, 0, 0, 0, 0, 0, after, 0};
    EXPECT_RC(sntrSetNodeOptions(node, &given), after > 5 ? ValueOutOfRange : Ok) << before << " to " << after;
    EXPECT_EQ(node->concurrencyModel, after);
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0) << before << " to " << after;
  }
}

TEST_F(Nodes, GoFromCreatedToDisassociated) {
  SNodeCB_t *none = nullptr;
  const auto start = [](SNodeCB_t **n) { return sntrInitNode(n, 0, 0, "", nullptr, "", 0, nullptr, nullptr, nullptr); };
  std::uint32_t (*const steps[])(SNodeCB_t **) = {
      sntrActivateNode, start, sntrActivateNode, sntrAbandonNode, sntrDisassociateNode, sntrActivateNode};
  const std::uint32_t conditions[] = {1, 2, 3, 4, 5, 3};
  for (std::size_t i = 0; i < 6; ++i) {
    EXPECT_RC(steps[i](&none), NullNode);
    EXPECT_RC(steps[i](&node), i == 0 ? NodeOnlyCreated : Ok) << "step " << i;
    EXPECT_EQ(node->nodeCondition, conditions[i]) << "step " << i;
  }
}

// By condition: the codes of reading, and those of refreshing and looking. Mask 0x2 lets created nodes pass.
TEST_F(Nodes, AreReadAndLiveWhileActive) {
  const Rc reading[] = {ConditionOutOfRange, NodeNotInitialized, NodeOnlyInitialized, Ok,
                        NodeAbandoned,       NodeDisassociated,  ConditionOutOfRange};
  const Rc living[] = {ConditionOutOfRange, UpdateOfCreated,       UpdateOfInitialized, BadLivenessMode,
                       UpdateOfAbandoned,   UpdateOfDisassociated, ConditionOutOfRange};
  SNodeObserver observer{};
  node->statusMode = 3, node->nodeTag = 6;
  for (std::uint32_t condition = 0; condition <= 6; ++condition) {
    SCOPED_TRACE(condition);
    const Rc read = reading[condition], live = living[condition];
    node->nodeCondition = condition;
    Word total = 7, width = 7, tag = 7;
    std::uint32_t stored = 99;
    EXPECT_RC(sntrCheckNodeCondition(node, ~0x2u), read);
    EXPECT_RC(sntrCheckNodeCondition(node, 0x2), condition == 1 ? Ok : read);
    EXPECT_RC(sntrGetNodeSize(node, &total, 0), read);
    EXPECT_RC(sntrReturnRegisterSize(node, &width), read);
    EXPECT_RC(sntrGetNodeTag(node, &tag, 0), read);
    EXPECT_EQ(std::tuple(total, width, tag), read == Ok ? std::tuple(0xb60u, 4u, 6u) : std::tuple(7u, 7u, 7u));
    EXPECT_RC(sntrSetNodeTag(node, 0x100001, 0), read == Ok ? TagTooLarge : read);
    EXPECT_RC(sntrUpdateNodeStatus(node), live);
    EXPECT_RC(sntrIsStillBeingUpdated(node, &observer), live);
    EXPECT_RC(sntrGetNodeCondition(node, &stored), condition % 6 == 0 ? ConditionOutOfRange : Ok);
    EXPECT_EQ(stored, condition) << "stored whatever it is";
  }
}

TEST_F(Nodes, ReportWhatNoNodeCanHave) {
  const Word sizes[] = {1, SNTR_MAX_NODE_SIZE, 0, SNTR_MAX_NODE_SIZE + 1}, tags[] = {0, 0x100000, 0x100001, kHuge};
  node->nodeCondition = 3;
  for (std::size_t i = 0; i < 4; ++i) {
    Word seen = 7;
    node->nodeSize = sizes[i], node->nodeTag = tags[i];
    EXPECT_RC(sntrGetNodeSize(node, &seen, 0), i < 2 ? Ok : BadNodeSize) << sizes[i];
    EXPECT_EQ(seen, sizes[i]);
    EXPECT_RC(sntrGetNodeTag(node, &seen, 0), i < 2 ? Ok : TagTooLarge) << tags[i];
    EXPECT_EQ(seen, tags[i]);
    EXPECT_RC(sntrSetNodeTag(node, tags[i], 0), i < 2 ? Ok : TagTooLarge) << tags[i];
  }
  SNodeCB_t *none = nullptr;
  EXPECT_RC(sntrInitNode(&none, 0, 0, nullptr, nullptr, nullptr, 0, nullptr, nullptr, nullptr), NullNode);
  EXPECT_RC(sntrSetNodeOptions(nullptr, nullptr), NullNode);
  EXPECT_RC(sntrCheckNodeCondition(nullptr, 0), NullNode);
  for (SNodeCB_t *given : {none, node}) {
    EXPECT_RC(sntrGetNodeSize(given, nullptr, 0), given != nullptr ? NullSizeOutput : NullNode);
    EXPECT_RC(sntrReturnRegisterSize(given, nullptr), given != nullptr ? NullRegisterSizeOutput : NullNode);
    EXPECT_RC(sntrGetNodeCondition(given, nullptr), given != nullptr ? NullOutput : NullNode);
  }
}

}  // namespace
