// A node in private memory from its creation to its end: sizes and areas, what is refused in which order, what is
// written, and what a failing services layer leaves.
#include <gtest/gtest.h>
#include <oss/fault.h>
#include <oss/memory.h>
#include <sntr/latches.h>
#include <sntr/nodes.h>
#include <sntr/status.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "support/codes.h"
#include "support/words.h"

namespace {

using sntr::Rc;
using support::named;

constexpr std::uint64_t kMiB = 0x100000;
constexpr std::uint32_t kAllContents = SNTR_OPTION_NODE_ID | SNTR_OPTION_NODE_INFO | SNTR_OPTION_RECORD_1056 |
                                       SNTR_OPTION_RECORD_24 | SNTR_OPTION_EXPORT_LIST;

class Node : public ::testing::Test {
 public:
  void TearDown() override {
    ossFaultDisarm();
    ossFaultClearClock();
    _ossMemFree(node, "test", 1);
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldBlocks), 0) << "memory is left";
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0) << "a latch is still held";
  }

  // The sizes of areas 0 and up; the others are empty.
  Rc create(std::vector<std::uint64_t> areas = {}, std::uint64_t options = 0) {
    if (node != nullptr) _ossMemFree(node, "test", 2);
    node = nullptr;
    areas.resize(SNTR_AREA_COUNT);
    return Rc{sntrCreateNodeInPM(&node, options, areas.data(), &size, &address, SNTR_VERSION, SNTR_VERSION)};
  }
  Rc initialize() {
    return Rc{sntrInitNode(&node, 0x10000, id.size(), idBytes, info, data, capacity, record24, record1056, params)};
  }
  std::string bytes(std::size_t offset, std::size_t count) const {
    return {reinterpret_cast<const char *>(node) + offset, count};
  }
  int counter(std::size_t offset) const { return support::wordAt<int>(node, offset); }

  SNodeCB_t *node = nullptr;
  SNodeCB_t *address = nullptr;
  std::uint64_t size = 7;

  // What initialize() gives.
  std::string id = "identity";
  const void *idBytes = id.data();
  SNodeInfo infoRecord{11, 12, 5, 14, 15, 16, 17};
  const SNodeInfo *info = &infoRecord;
  const char *data = "data!";
  std::uint64_t capacity = 13;
  std::string record = std::string(1056, 'r');
  const void *record24 = record.data();
  const void *record1056 = record.data();
  const SNodeParams *params = nullptr;
};

TEST_F(Node, AreasFollowOneAnotherWithoutGapsAndAreZero) {
  ASSERT_RC(create(), Rc::Ok);
  EXPECT_EQ(size, 0xb60u);
  EXPECT_EQ(node, address);
  std::vector<std::uint64_t> sizes(SNTR_AREA_COUNT);
  for (std::size_t i = 0; i < sizes.size(); ++i) sizes[i] = 3 * i % 7;
  ASSERT_RC(create(sizes), Rc::Ok);
  std::uint64_t offset = 0xb60;
  for (std::size_t i = 0; i < sizes.size(); offset += sizes[i++]) {
    EXPECT_EQ(node->areaTable[i].areaOffset, offset) << "area " << i;
    EXPECT_EQ(node->areaTable[i].areaSize, sizes[i]) << "area " << i;
    EXPECT_EQ(node->areaTable[i].areaUsed, 0u) << "area " << i;
  }
  EXPECT_EQ(size, offset);
  EXPECT_EQ(bytes(0xb60, size - 0xb60), std::string(size - 0xb60, '\0'));
}

TEST_F(Node, CreationBoundsAreasAndTheNode) {
  const std::pair<std::vector<std::uint64_t>, Rc> rows[] = {
      {{64 * kMiB, 64 * kMiB - 0xb60}, Rc::Ok},
      {{64 * kMiB, 64 * kMiB - 0xb5f}, Rc::BadNodeSize},
      {{64 * kMiB, 64 * kMiB, 64 * kMiB + 1}, Rc::AreaTooLarge},
      {{~std::uint64_t{0}}, Rc::AreaTooLarge},
  };
  for (const auto &[sizes, expected] : rows) EXPECT_RC(create(sizes), expected) << sizes.size();
}

TEST_F(Node, CreationChecksInItsOrderAndTellsTheSizeBeforeTheVersion) {
  std::uint64_t sizes[64] = {64 * kMiB + 1};
  const auto call = [&](const std::uint64_t *s, std::uint64_t *total, SNodeCB_t **at, SNodeCB_t **out,
                        std::uint32_t version) { return named(sntrCreateNodeInPM(out, 0, s, total, at, version, 0)); };
  EXPECT_EQ(call(nullptr, nullptr, nullptr, nullptr, 0), named(Rc::NullAreaSizes));
  EXPECT_EQ(call(sizes, nullptr, nullptr, nullptr, 0), named(Rc::NullSizeOutput));
  EXPECT_EQ(call(sizes, &size, nullptr, nullptr, 0), named(Rc::NullOffsetOutput));
  EXPECT_EQ(call(sizes, &size, &address, nullptr, 0), named(Rc::NullNode));
  EXPECT_EQ(call(sizes, &size, &address, &node, 0), named(Rc::AreaTooLarge));
  EXPECT_EQ(size, 7u);
  sizes[0] = 8;
  EXPECT_EQ(call(sizes, &size, &address, &node, 0), named(Rc::BadVersion));
  EXPECT_EQ(size, 0xb68u);
  EXPECT_EQ(call(sizes, &size, &address, &node, SNTR_VERSION), named(Rc::BadLatchVersion));
  EXPECT_EQ(node, nullptr);
  EXPECT_EQ(address, nullptr);
}

TEST_F(Node, InitializationFillsTheAreaOfEveryOption) {
  ASSERT_RC(create({49, 25, 1057, 105, 0, 0, 0, 0, 0, 0, 0, 243}, kAllContents), Rc::Ok);
  node->nodeTag = 5;
  ASSERT_RC(initialize(), Rc::Ok);
  const auto word = [](std::uint64_t value) { return std::string(reinterpret_cast<const char *>(&value), 8); };
  const std::uint64_t position = 0x10000 + node->areaTable[SNTR_AREA_NODE_INFO].areaOffset + 8;
  const std::pair<int, std::string> rows[] = {
      {SNTR_AREA_NODE_ID, word(16) + word(8) + "identity"},
      {SNTR_AREA_NODE_INFO,
       word(16) + word(11) + word(12) + word(5) + word(position) + word(15) + word(16) + word(17) + "data!"},
      {SNTR_AREA_RECORD_24, record.substr(0, 24)},
      {SNTR_AREA_RECORD_1056, record},
      {SNTR_AREA_EXPORT_LIST, word(kAllContents) + std::string(232, '\0')},
  };
  for (const auto &[index, expected] : rows) {
    const AreaEntry &entry = node->areaTable[index];
    EXPECT_EQ(bytes(entry.areaOffset, entry.areaUsed), expected) << "area " << index;
  }
  EXPECT_EQ(infoRecord.dataPosition, 14u) << "the caller's record changed";
  idBytes = reinterpret_cast<const char *>(node) + 0xb60 + 16 + 1;
  id = "dentity";
  ASSERT_RC(initialize(), Rc::Ok);
  EXPECT_EQ(bytes(0xb60 + 16, 7), id) << "a part of its own identifier";
  EXPECT_EQ(node->nodeTag, 0u);
}

// An area one byte too small is refused and not written; the arguments of options that the node lacks do not count.
TEST_F(Node, ContentsLargerThanTheirAreaAreRefused) {
  const std::pair<int, std::uint64_t> rows[] = {{SNTR_AREA_NODE_ID, 16 + 8},
                                                {SNTR_AREA_RECORD_24, 24},
                                                {SNTR_AREA_RECORD_1056, 1056},
                                                {SNTR_AREA_NODE_INFO, 8 + 56 + 5},
                                                {SNTR_AREA_EXPORT_LIST, 240}};
  for (const auto &[index, needed] : rows) {
    std::vector<std::uint64_t> sizes(SNTR_AREA_COUNT, 0);
    sizes[static_cast<std::size_t>(index)] = needed;
    idBytes = index == SNTR_AREA_NODE_ID ? id.data() : nullptr;
    info = index == SNTR_AREA_NODE_INFO ? &infoRecord : nullptr;
    ASSERT_RC(create(sizes, 2u << index), Rc::Ok);
    EXPECT_RC(initialize(), Rc::Ok) << "area " << index;
    --sizes[static_cast<std::size_t>(index)];
    sizes[63] = 8;
    ASSERT_RC(create(sizes, 2u << index), Rc::Ok);
    EXPECT_RC(initialize(), Rc::AreaOverused) << "area " << index;
    EXPECT_EQ(bytes(0xb60, needed + 7), std::string(needed + 7, '\0')) << "area " << index;
  }
}

TEST_F(Node, InitializationRefusesInItsOrderAndChangesNothing) {
  static const SNodeParams badCondition = {0, 0, 0, 3, 3, 0, 0, 0, 0};
  static const SNodeParams badMode = {0, 0, 0, 0, 3, 0, 0, 0, 0};
  const struct {
    const char *name;
    Rc expected;
    void (*mend)(Node &);  // turns the fault of this row into the next row's
  } rows[] = {{"capacity", Rc::CapacityTooLarge, [](Node &t) { t.capacity = 9; }},
              {"null identifier", Rc::NullID, [](Node &t) { t.idBytes = (t.id = std::string(17, 'x')).data(); }},
              {"identifier too long", Rc::DataTooLong, [](Node &t) { t.id.pop_back(); }},
              {"null record", Rc::NullNodeInfo, [](Node &t) { t.info = &t.infoRecord; }},
              {"data too long", Rc::DataTooLong, [](Node &t) { t.infoRecord.dataSize = 16; }},
              {"null data", Rc::NullID, [](Node &t) { t.infoRecord.dataSize = 0; }},
              {"null 1056-byte record", Rc::NullRecord1056, [](Node &t) { t.record1056 = t.record.data(); }},
              {"null 24-byte record", Rc::NullRecord24, [](Node &t) { t.record24 = t.record.data(); }},
              {"condition", Rc::BadCondition, [](Node &t) { t.params = &badMode; }},
              {"status mode", Rc::BadStatusMode, [](Node &t) { t.params = nullptr; }}};
  ASSERT_RC(create({49, 25, 1057, 105, 0, 0, 0, 0, 0, 0, 0, 243}, kAllContents), Rc::Ok);
  capacity = 0x1001;
  infoRecord.dataSize = 17;
  idBytes = info = nullptr;
  data = nullptr;
  record24 = record1056 = nullptr;
  params = &badCondition;
  const std::string before = bytes(0, size);
  for (const auto &row : rows) {
    EXPECT_RC(initialize(), row.expected) << row.name;
    EXPECT_EQ(bytes(0, size), before) << row.name;
    row.mend(*this);
  }
  EXPECT_RC(initialize(), Rc::Ok) << "the mended arguments";
}

TEST_F(Node, ParametersAreStoredOrTakeTheirDefaults) {
  constexpr SNodeParams kGiven = {1, 2, 0xffffffff, 4, 2, 5, 6, 3, 7};
  ossFaultSetClock(1234567890123);
  ASSERT_RC(create(), Rc::Ok);
  for (const auto &[given, expected, condition] :
       {std::tuple{&kGiven, kGiven, 4u}, {nullptr, SNodeParams{0, 0, 0, 0, 1, 200, 200, 1, 1234567890123}, 2u}}) {
    params = given;
    EXPECT_RC(initialize(), Rc::Ok);
    EXPECT_EQ(node->nodeCondition, condition);
    EXPECT_RC(sntrSetNodeOptions(node, given), Rc::Ok);
    EXPECT_EQ(node->nodeCondition, given != nullptr ? 4u : 3u) << "set options makes active by default";
    const SNodeParams stored = {
        node->nodeParam0,     node->nodeParam1,       static_cast<std::uint32_t>(node->nodeParam2),
        expected.condition,   node->statusMode,       node->nodeParam5,
        node->updateInterval, node->concurrencyModel, node->nodeTime};
    EXPECT_EQ(std::memcmp(&stored, &expected, sizeof(stored)), 0) << "condition " << condition;
  }
  for (std::uint32_t word : {1u, 2u, 3u, 4u, 5u, 8u, 16u, 32u, 64u}) {
    const SNodeParams other = {0, 0, 0, word, 0, 0, 0, 0, 0};
    const bool allowed = word == 2 || word == 4 || word == 8 || word == 16 || word == 32;
    EXPECT_RC(sntrSetNodeOptions(node, &other), allowed ? Rc::Ok : Rc::BadCondition) << word;
  }
}

TEST_F(Node, AChangedModelNeitherKeepsTheLatchNorReleasesAnother) {
  for (const auto &[before, after] : {std::pair{1u, 3u}, {2u, 1u}, {1u, 6u}, {2u, ~0u}}) {
    ASSERT_RC(create(), Rc::Ok);
    node->concurrencyModel = before;
    const SNodeParams changed = {0, 0, 0, 0, 0, 0, 0, after, 0};
    params = &changed;
    EXPECT_RC(initialize(), after > 5 ? Rc::ValueOutOfRange : Rc::Ok) << before << " to " << after;
    EXPECT_EQ(node->concurrencyModel, after);
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0) << before << " to " << after;
  }
}

// Every call of the services layer that a creation makes fails once, in turn: the stated code, nothing left.
TEST_F(Node, AFailingServicesLayerIsTold) {
  const Rc expected[] = {Rc::NodeAllocationFailed, Rc::LatchFailed, Rc::LatchFailed, Rc::AtomicFailed,
                         Rc::AtomicFailed,         Rc::LatchFailed, Rc::LatchFailed, Rc::AtomicFailed,
                         Rc::AtomicFailed,         Rc::Ok};
  for (std::size_t nth = 0; nth < std::size(expected); ++nth) {
    ossFaultArmAny(nth + 1);
    EXPECT_RC(create(), expected[nth]) << "call " << nth;
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldBlocks), expected[nth] == Rc::Ok) << "call " << nth;
  }
}

TEST_F(Node, GoesFromCreatedToDisassociatedAndTellsItsSizesOnlyWhileActive) {
  const struct {
    std::uint32_t (*step)(SNodeCB_t **);
    Rc answer;
    std::uint32_t condition;
    Rc read;
  } rows[] = {{sntrActivateNode, Rc::NodeOnlyCreated, 1, Rc::NodeNotInitialized},
              {nullptr, Rc::Ok, 2, Rc::NodeOnlyInitialized},
              {sntrActivateNode, Rc::Ok, 3, Rc::Ok},
              {sntrAbandonNode, Rc::Ok, 4, Rc::NodeAbandoned},
              {sntrDisassociateNode, Rc::Ok, 5, Rc::NodeDisassociated},
              {sntrActivateNode, Rc::Ok, 3, Rc::Ok}};
  ASSERT_RC(create({100}), Rc::Ok);
  for (const auto &row : rows) {
    EXPECT_RC(row.step != nullptr ? Rc{row.step(&node)} : initialize(), row.answer) << row.condition;
    EXPECT_EQ(node->nodeCondition, row.condition);
    std::uint64_t told = 7, width = 7;
    EXPECT_RC(sntrGetNodeSize(node, &told, 0), row.read) << row.condition;
    EXPECT_RC(sntrReturnRegisterSize(node, &width), row.read) << row.condition;
    EXPECT_EQ(told, row.read == Rc::Ok ? 0xb60u + 100 : 7);
    EXPECT_EQ(width, row.read == Rc::Ok ? 4u : 7u);
  }
  std::uint64_t told = 0;
  ASSERT_RC(sntrEnterCriticalSectionBeforeRead(node, &node->primaryLatch), Rc::Ok);
  EXPECT_RC(sntrGetNodeSize(node, &told, 0), Rc::LatchFailed);
  EXPECT_RC(sntrGetNodeSize(node, &told, 1), Rc::Ok) << "who holds the section may ask";
  EXPECT_RC(sntrExitCriticalSectionAfterRead(node, &node->primaryLatch), Rc::Ok) << "and still holds it";
  const std::pair<std::uint64_t, Rc> stored[] = {{0, Rc::BadNodeSize},
                                                 {1, Rc::Ok},
                                                 {2, Rc::Ok},
                                                 {0xb5f, Rc::Ok},
                                                 {SNTR_MAX_NODE_SIZE, Rc::Ok},
                                                 {SNTR_MAX_NODE_SIZE + 1, Rc::BadNodeSize}};
  for (const auto &[value, expected] : stored) {
    node->nodeSize = value;
    EXPECT_RC(sntrGetNodeSize(node, &told, 0), expected) << value;
    EXPECT_EQ(told, value) << "told all the same";
  }
}

TEST_F(Node, TheCheckRefusesByConditionAndMask) {
  const struct {
    std::uint32_t condition, mask;
    Rc check;
  } rows[] = {{1, 0x2, Rc::Ok},
              {1, ~0x2u, Rc::NodeNotInitialized},
              {2, ~0u, Rc::NodeOnlyInitialized},
              {3, 0, Rc::Ok},
              {4, ~0u, Rc::NodeAbandoned},
              {5, ~0u, Rc::NodeDisassociated},
              {0, ~0u, Rc::ConditionOutOfRange},
              {6, ~0u, Rc::ConditionOutOfRange}};
  ASSERT_RC(create(), Rc::Ok);
  for (const auto &row : rows) {
    node->nodeCondition = row.condition;
    std::uint32_t told = 99;
    EXPECT_RC(sntrCheckNodeCondition(node, row.mask), row.check) << row.condition;
    const bool known = row.check != Rc::ConditionOutOfRange;
    EXPECT_RC(sntrGetNodeCondition(node, &told), known ? Rc::Ok : row.check) << row.condition;
    EXPECT_EQ(told, row.condition) << "told whatever it is";
  }
}

TEST_F(Node, RefusesNulls) {
  ASSERT_RC(create(), Rc::Ok);
  SNodeCB_t *none = nullptr, **const nothing = nullptr;
  for (auto step : {sntrActivateNode, sntrAbandonNode, sntrDisassociateNode}) {
    for (SNodeCB_t **reference : {nothing, &none}) EXPECT_RC(step(reference), Rc::NullNode);
  }
  EXPECT_RC(sntrInitNode(&none, 0, 0, nullptr, nullptr, nullptr, 0, nullptr, nullptr, nullptr), Rc::NullNode);
  EXPECT_RC(sntrSetNodeOptions(nullptr, nullptr), Rc::NullNode);
  EXPECT_RC(sntrCheckNodeCondition(nullptr, 0), Rc::NullNode);
  const Rc outputs[] = {Rc::NullSizeOutput, Rc::NullRegisterSizeOutput, Rc::NullOutput};
  for (SNodeCB_t *given : {none, node}) {
    EXPECT_RC(sntrGetNodeSize(given, nullptr, 0), given != nullptr ? outputs[0] : Rc::NullNode);
    EXPECT_RC(sntrReturnRegisterSize(given, nullptr), given != nullptr ? outputs[1] : Rc::NullNode);
    EXPECT_RC(sntrGetNodeCondition(given, nullptr), given != nullptr ? outputs[2] : Rc::NullNode);
  }
}

// Whether or not a reader takes the latch it sees the node before or after a step.
TEST_F(Node, ReadersMeetOnlyWholeSteps) {
  ASSERT_RC(create(), Rc::Ok);
  ASSERT_RC(sntrSetNodeOptions(node, nullptr), Rc::Ok);
  std::atomic<bool> done{false};
  std::thread owner([&] {
    for (int i = 0; i < 2000; ++i) {
      EXPECT_RC(sntrAbandonNode(&node), Rc::Ok);
      EXPECT_RC(sntrSetNodeOptions(node, nullptr), Rc::Ok);
    }
    done = true;
  });
  while (!done) {
    std::uint64_t told = 0;
    for (Rc got : {Rc{sntrCheckNodeCondition(node, 0x2c)}, Rc{sntrGetNodeSize(node, &told, 0)}}) {
      EXPECT_TRUE(got == Rc::Ok || got == Rc::NodeAbandoned) << named(got);
    }
  }
  owner.join();
  EXPECT_EQ(counter(0x250 + 132), 1 + 2 * 2000) << "write sections entered";
}

}  // namespace
