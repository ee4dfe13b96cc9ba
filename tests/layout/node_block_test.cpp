// The node control block as other processes read it: literal bytes at literal offsets, through the public calls alone.
#include <oss/memory.h>
#include <sntr/latches.h>

#include <string>
#include <vector>

#include "support/nodes.h"
#include "support/words.h"

namespace {

using sntr::Rc;

class NodeBlock : public ::testing::Test {
 protected:
  void SetUp() override {
    support::Sizes sizes{0x31, 24};
    sizes[63] = 1;
    node = support::newPrivateNode(0x100000006, sizes);
  }
  void TearDown() override { EXPECT_EQ(_ossMemFree(node, "test", 1), 0u); }

  std::uint32_t u32(std::size_t offset) const { return support::wordAt<std::uint32_t>(node, offset); }
  std::uint64_t u64(std::size_t offset) const { return support::wordAt(node, offset); }
  std::string bytes(std::size_t offset, std::size_t size) const {
    return {reinterpret_cast<const char *>(node) + offset, size};
  }

  SNodeCB_t *node = nullptr;
};

TEST_F(NodeBlock, AfterCreation) {
  EXPECT_EQ(u64(0x020), 0xb60u + 0x31 + 24 + 1);
  EXPECT_EQ(u64(0x028), 0x100000006u);
  EXPECT_EQ(u32(0x03c), 1u);
  EXPECT_EQ(u32(0x558), 1u);
  const std::uint64_t rows[][3] = {{0, 0x31, 0xb60}, {1, 24, 0xb91}, {2, 0, 0xba9}, {63, 1, 0xba9}};
  for (const auto &[index, size, offset] : rows) {
    EXPECT_EQ(u64(0x560 + 24 * index), size) << "area " << index;
    EXPECT_EQ(u64(0x560 + 24 * index + 8), 0u) << "area " << index;
    EXPECT_EQ(u64(0x560 + 24 * index + 16), offset) << "area " << index;
  }
}

TEST_F(NodeBlock, AfterInitialization) {
  const SNodeParams params = {0x11111111, 0x22222222, 0xf3333333, 16, 2, 0x55555555, 0x66666666, 4, 0x7777777788888888};
  const std::string record(24, 'r');
  ASSERT_RC(sntrInitNode(&node, 0x123456789abc, 5, "ident", nullptr, nullptr, 6, record.data(), nullptr, &params),
            Rc::Ok);
  const struct {
    std::size_t offset;
    std::vector<std::uint64_t> words;
  } rows[] = {{0x000, {0x2222222211111111, 0xf3333333, 0, 0x123456789abc}},        // parameters, tag, base
              {0x030, {0xcafec0ffee15bad8}},                                       // eyecatcher
              {0x038, {16ull << 32 | 2, 0x6666666655555555, 0x7777777788888888}},  // mode, condition, intervals, time
              {0x560 + 8, {16 + 5}},
              {0xb60, {8, 5}}};  // capacity, rounded up; length
  for (const auto &[offset, words] : rows) {
    for (std::size_t i = 0; i < words.size(); ++i) EXPECT_EQ(u64(offset + 8 * i), words[i]) << offset << " " << i;
  }
  EXPECT_EQ(u32(0x558), 4u);
  EXPECT_EQ(bytes(0xb70, 5), "ident");
  EXPECT_EQ(bytes(0xb91, 24), record) << "an area at an odd offset";
}

TEST_F(NodeBlock, TheLatchBlocks) {
  EXPECT_EQ(u32(0x250), 0x1317d17u);
  EXPECT_EQ(u32(0x3d4), 0x1317d17u);
  ASSERT_RC(sntrEnterCriticalSectionBeforeWrite(node, &node->primaryLatch), Rc::Ok);
  EXPECT_EQ(u32(0x250 + 132), 1u) << "write count";
  EXPECT_EQ(u32(0x250 + 260), 1u) << "being written";
  EXPECT_NE(bytes(0x250 + 4, 64), bytes(0x250 + 68, 64)) << "the latch is held, the spare one is not";
  ASSERT_RC(sntrExitCriticalSectionAfterWrite(node, &node->primaryLatch), Rc::Ok);
  EXPECT_EQ(u32(0x250 + 260), 0u);
}

}  // namespace
