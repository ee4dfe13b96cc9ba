// From a kind to its area: which entry a kind selects, and what a damaged entry is answered with.
#include <gtest/gtest.h>
#include <sntr/nodes.h>

#include "support/codes.h"

namespace {

using sntr::Rc;

// A control block alone: the lookup reads nothing behind it.
SNodeCB_t blockWith(const AreaEntry &entry, std::uint64_t nodeSize) {
  SNodeCB_t node{};
  node.nodeSize = nodeSize;
  for (AreaEntry &each : node.areaTable) each = entry;
  return node;
}

TEST(NodeAreas, AKindSelectsTheEntryOfItsLowestBitFromBitOneUp) {
  SNodeCB_t node = blockWith({8, 3, 0xb60}, 0xb68);
  const std::pair<std::uint32_t, int> rows[] = {{0, -1},      {1, -1},    {0x2, 0},        {0x3, 0},
                                                {0x80, 6},    {0x180, 6}, {0x1000, 11},    {0x2000, -1},
                                                {0x2001, -1}, {~0u, 0},   {0xfffff000, 11}};
  for (const auto &[kind, index] : rows) {
    AreaEntry *entry = nullptr;
    EXPECT_RC(sntrGetPExportPointer(&entry, &node, kind), index < 0 ? Rc::BadKind : Rc::Ok) << kind;
    EXPECT_EQ(entry, index < 0 ? nullptr : &node.areaTable[index]) << kind;
  }
  AreaEntry *entry = nullptr;
  EXPECT_RC(sntrGetPExportPointer(nullptr, nullptr, 0), Rc::NullNode);
  EXPECT_RC(sntrGetPExportPointer(nullptr, &node, 0), Rc::NullOutput);
  EXPECT_RC(sntrGetPExportPointer(&entry, nullptr, 0x80), Rc::NullNode);
}

TEST(NodeAreas, ADamagedEntryHasItsCode) {
  constexpr std::uint64_t kNode = 0x6000000;
  constexpr std::uint64_t kMost = SNTR_MAX_AREA_SIZE;
  constexpr std::uint64_t kHuge = ~std::uint64_t{0};
  const struct {
    const char *name;
    AreaEntry entry;  // size, used, offset
    std::uint64_t nodeSize;
    Rc expected;
  } rows[] = {{"no offset, whatever else", {kHuge, kHuge, 0}, 0, Rc::AreaNeverCreated},
              {"used one beyond, and outside too", {8, 9, 1}, kNode, Rc::AreaOverused},
              {"begins in the control block", {8, 0, 0xb5f}, kNode, Rc::AreaOutsideNode},
              {"ends with the node", {8, 8, kNode - 8}, kNode, Rc::Ok},
              {"ends one beyond the node", {8, 0, kNode - 7}, kNode, Rc::AreaOutsideNode},
              {"empty at the end of the node", {0, 0, kNode}, kNode, Rc::Ok},
              {"the largest area", {kMost, 0, 0xb60}, kNode, Rc::Ok},
              {"larger than the largest", {kMost + 1, 0, 0xb60}, kNode, Rc::AreaOutsideNode},
              {"an end that wraps", {16, 0, kHuge - 7}, kNode, Rc::AreaOutsideNode},
              {"a size that wraps", {kHuge, 0, 0xb60}, kNode, Rc::AreaOutsideNode},
              {"a node smaller than its block", {0, 0, 0xb60}, 0xb5f, Rc::AreaOutsideNode},
              {"a node larger than any", {8, 0, 0xb60}, SNTR_MAX_NODE_SIZE + 1, Rc::AreaOutsideNode}};
  for (const auto &row : rows) {
    SNodeCB_t node = blockWith(row.entry, row.nodeSize);
    AreaEntry *entry = nullptr;
    EXPECT_RC(sntrGetPExportPointer(&entry, &node, SNTR_KIND_IR), row.expected) << row.name;
    EXPECT_EQ(entry != nullptr, row.expected == Rc::Ok) << row.name;
  }
}

}  // namespace
