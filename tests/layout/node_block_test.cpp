// The node control block as other processes read it: literal bytes at literal offsets, through the public calls alone.
#include <gtest/gtest.h>
#include <oss/memory.h>
#include <sntr/latches.h>
#include <sntr/nodes.h>

#include <cstring>
#include <string>

#include "support/codes.h"

namespace {

using sntr::Rc;

class NodeBlock : public ::testing::Test {
 protected:
  void SetUp() override {
    std::uint64_t sizes[64] = {0x31, 24};
    sizes[63] = 1;
    std::uint64_t size = 0;
    SNodeCB_t *address = nullptr;
    ASSERT_RC(sntrCreateNodeInPM(&node, 0x100000006, sizes, &size, &address, 0x1317d17, 0x1317d17), Rc::Ok);
  }
  void TearDown() override { EXPECT_EQ(_ossMemFree(node, "test", 1), 0u); }

  template <class T>
  T at(std::size_t offset) const {
    T value;
    std::memcpy(&value, reinterpret_cast<const char *>(node) + offset, sizeof(value));
    return value;
  }
  std::uint32_t u32(std::size_t offset) const { return at<std::uint32_t>(offset); }
  std::uint64_t u64(std::size_t offset) const { return at<std::uint64_t>(offset); }
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
  EXPECT_EQ(u32(0x000), 0x11111111u);
  EXPECT_EQ(u32(0x004), 0x22222222u);
  EXPECT_EQ(u64(0x008), 0xf3333333u);
  EXPECT_EQ(u64(0x010), 0u);
  EXPECT_EQ(u64(0x018), 0x123456789abcu);
  EXPECT_EQ(bytes(0x030, 8), "\xd8\xba\x15\xee\xff\xc0\xfe\xca");
  EXPECT_EQ(u32(0x038), 2u);
  EXPECT_EQ(u32(0x03c), 16u);
  EXPECT_EQ(u32(0x040), 0x55555555u);
  EXPECT_EQ(u32(0x044), 0x66666666u);
  EXPECT_EQ(u64(0x048), 0x7777777788888888u);
  EXPECT_EQ(u32(0x558), 4u);
  EXPECT_EQ(u64(0x560 + 8), 16u + 5);
  EXPECT_EQ(u64(0xb60), 8u) << "capacity, rounded up";
  EXPECT_EQ(u64(0xb68), 5u) << "length";
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
