// The bytes of a new heap behind its header, and of a chunk, read at literal offsets: what heap_walk.h does not see, which
// follows every link and adds up every size.
#include "support/heap_fixture.h"

namespace sntr {
namespace {

using test::HeapPicture;
using test::TestHeap;

TEST(HeapLayout, OfANewPoolHeap) {
  TestHeap heap(0x10000, 60, 10, 13);  // 13 bytes of user area take 16
  ASSERT_EQ(heap.created, 0u);
  const std::uint64_t h = TestHeap::kHeader;
  const std::uint64_t s = h + 0x1e8 + 16;
  const std::uint64_t first = s + (60 * 183 + 0x48 * 10 + 0xd8 + 7) / 8 * 8;
  const std::uint64_t head = s + 0x78 + 80, tail = s + 0xa8 + 400, node = s + 0xd8 + 720;
  const HeapPicture seen = heap.look();
  EXPECT_EQ(seen.problem, "");
  EXPECT_EQ(seen.free, (std::map<std::uint64_t, std::uint64_t>{{first, h + 0x10000 - first}}));
  const std::uint64_t level = heap.read<std::uint64_t>(node + 0x20);
  EXPECT_LE(level, 1u) << "a list grows by one level at a time";
  const struct {
    const char *name;
    std::uint64_t offset, value;
  } rows[] = {{"userAppAreaSize", h + 0xf0, 13},
              {"user area", h + 0xf8, 0},
              {"topNode[0]", h + 0xf8 + 16, 0},
              {"attach list", h + 0x108 + 16, 0},
              {"module list", h + 0x110 + 16, 0},
              {"slNextFree", s + 0x18, 0x48u * 10 + 0xd8 + 0x50 + 0x20 * level},
              {"0x40", s + 0x40, 0},
              {"0x58", s + 0x58, 0},
              {"allocated head's level", s + 0x60, 9},
              {"0x68", s + 0x68, 0},
              {"head's level", head + 0x20, 9},
              {"tail's level", tail + 0x20, 9},
              {"head's offset link", head + 0x30, node},
              {"head's top offset link", head + 0x30 + 72, tail},
              {"tail's top link back", tail + 0x38 + 72 + 72, head},
              {"tail's offset link back", tail + 0x38 + 72, node},
              {"tail's size link back", tail + 0x48 + 216, node},
              {"node's state", node + 0x28, 0}};
  for (const auto &row : rows) EXPECT_EQ(heap.read<std::uint64_t>(row.offset), row.value) << row.name;
  EXPECT_EQ(heap.read<std::uint32_t>(h + 0x60), 0x1317d17u) << "heap latch";
  EXPECT_EQ(heap.read<std::uint32_t>(h + 0x160 + 16), 0x1317d17u) << "skip-list latch";
}

TEST(HeapLayout, OfAChunkAndItsRecord) {
  TestHeap heap(0x10000);
  std::uint64_t chunk = 0;
  ASSERT_EQ(heap.take(20, chunk), 0u);
  const std::uint64_t s = TestHeap::kHeader + 0x1e8;
  const std::uint64_t record = heap.read<std::uint64_t>(s + 0x70);
  EXPECT_EQ(heap.read<std::uint64_t>(chunk), 24u + 0x20) << "padded size";
  EXPECT_EQ(heap.read<std::uint32_t>(chunk + 8), (record - s) / 8) << "hint";
  EXPECT_EQ(heap.read<std::uint32_t>(chunk + 12), 0xeebc011au) << "pad type";
  EXPECT_EQ(heap.look().problem, "");
  EXPECT_EQ(heap.look().allocated, (std::map<std::uint64_t, std::uint64_t>{{chunk, 24 + 0x20}}));
  EXPECT_EQ(heap.read<std::uint32_t>(record + 0x28), 0u) << "no extent";
  EXPECT_EQ(heap.read<std::uint32_t>(TestHeap::kHeader + 0x140), 1u) << "the settings were used";
}

}  // namespace
}  // namespace sntr
