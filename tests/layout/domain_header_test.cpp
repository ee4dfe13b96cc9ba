// The published bytes of a domain's and of a pool's header, read as literal bytes at literal offsets: what another
// process, or another build of the library, will find there.
#include <gtest/gtest.h>
#include <sntr/domains.h>
#include <sntr/pools.h>

#include <cstring>
#include <vector>

#include "support/words.h"

namespace {

constexpr std::uint64_t kSize = 0x40000;
constexpr std::uint64_t kStart = 0x30;  // of the domain's header

struct Word {
  const char *name;
  std::uint64_t offset;
  int width;
  std::uint64_t value;
};

class HeaderBytes : public testing::Test {
 protected:
  void SetUp() override {
    ShmDomainParams params{};
    params.initialFlags = 0x20;
    params.heapHeaderOffset = kStart;
    params.slotCount = 77;
    params.maxLevel = 5;
    params.granule = 0x200;
    params.userAppAreaSize = 5;
    params.domainKind = SNTR_DOMAIN_MEMORY;
    params.userAppData = "abcde";
    ASSERT_EQ(sntrCreateShmDomain(nullptr, memory_.data(), kSize, &params, &domain_), 0u);
  }
  void TearDown() override { EXPECT_EQ(sntrFreeShmDomain(&domain_, SNTR_FREE_DOMAIN_ALWAYS), 0u); }

  std::uint64_t read(std::uint64_t offset, int width) const {
    std::uint64_t value = 0;
    std::memcpy(&value, reinterpret_cast<const char *>(memory_.data()) + offset, static_cast<std::size_t>(width));
    return value;
  }
  void expectWords(std::uint64_t header, const std::vector<Word> &words) const {
    for (const Word &word : words) {
      EXPECT_EQ(read(header + word.offset, word.width), word.value) << word.name << std::hex << " at 0x" << word.offset;
    }
  }

  std::vector<std::uint64_t> memory_ = std::vector<std::uint64_t>(kSize / 8, 0x5a5a5a5a5a5a5a5a);
  ShmDomainHandle *domain_ = nullptr;
};

TEST_F(HeaderBytes, OfADomain) {
  // 0x1e8 + 8 bytes of header; lists of 77 x 0xb7 + 0x48 x 5 + 0xd8 = 14667, rounded up.
  const std::uint64_t area = 14672;
  const std::vector<Word> words = {{"reservedSelector", 0x00, 8, 0x1317d17},
                                   {"handleAllocSelector", 0x08, 8, 0x1317d17},
                                   {"latchSelector", 0x10, 8, 0x1317d17},
                                   {"eyecatcher", 0x18, 8, 0xf4eef00d},
                                   {"domainFlags", 0x20, 8, 0x20},
                                   {"heapHeaderOffset", 0x28, 8, kStart},
                                   {"connectCount", 0x30, 8, 1},
                                   {"totalSize", 0x38, 8, kSize},
                                   {"heapStat1", 0x40, 8, kSize - kStart - 0x1f0 - area},
                                   {"heapStat2", 0x48, 8, 0},
                                   {"slotCount", 0x50, 8, 77},
                                   {"granule", 0x58, 8, 0x200},
                                   {"heapLatch's selector", 0x60, 4, 0x1317d17},
                                   {"topNodeWord", 0xe8, 8, 0},
                                   {"userAppAreaSize", 0xf0, 8, 5},
                                   {"user application area", 0xf8, 8, 0x6564636261},
                                   {"top node 0", 0x100, 8, 0},
                                   {"top node 1", 0x108, 8, 0},
                                   {"attach list", 0x110, 8, 0},
                                   {"module list", 0x118, 8, 0},
                                   {"debugMode", 0x140, 4, 0xb},
                                   {"padType", 0x144, 4, 0xeebc011a},
                                   {"debugUsed", 0x148, 4, 0},
                                   {"frontPadWords", 0x160, 4, 2},
                                   {"backPadWords", 0x164, 4, 2},
                                   {"skipListLatch's selector", 0x168, 4, 0x1317d17},
                                   {"maxLevel", 0x1f0, 8, 5},
                                   {"slAreaSize", 0x1f8, 8, area}};
  expectWords(kStart, words);
}

TEST_F(HeaderBytes, OfAPoolAndTheWordsBeforeIt) {
  ShmPoolParams params{};
  params.initialFlags = 0x40;
  params.slotCount = 60;
  params.granule = 0x10;
  ShmPoolHandle *pool = nullptr;
  ASSERT_EQ(_sntrCreateShmPool(&pool, domain_, 0x1001, &params, 0, "test", 0), 0u);
  const std::uint64_t area = 11920;    // 60 x 0xb7 + 0x48 x 10 + 0xd8 = 11916
  const std::uint64_t total = 0x4080;  // 0x1001 + 0x1e8 + area = 16505, to a multiple of 0x10
  const std::vector<Word> words = {{"eyecatcher", 0x18, 8, 0xf00df4ee},
                                   {"domainFlags", 0x20, 8, 0x40},
                                   {"heapHeaderOffset", 0x28, 8, pool->poolHeaderOffset},
                                   {"connectCount", 0x30, 8, 1},
                                   {"totalSize", 0x38, 8, total},
                                   {"heapStat1", 0x40, 8, total - 0x1e8 - area},
                                   {"slotCount", 0x50, 8, 60},
                                   {"granule", 0x58, 8, 0x10},
                                   {"heapLatch's selector", 0x60, 4, 0x1317d17},
                                   {"the domain's header offset", 0xe8, 8, kStart},
                                   {"padType", 0x13c, 4, 0xeebc011a},
                                   {"skipListLatch's selector", 0x160, 4, 0x1317d17},
                                   {"maxLevel", 0x1e8, 8, 10},
                                   {"slAreaSize", 0x1f0, 8, area}};
  expectWords(pool->poolHeaderOffset, words);
  EXPECT_EQ(read(pool->poolHeaderOffset - 4, 4), 0xeebc011au);
  EXPECT_EQ(read(pool->poolChunkOffset, 8), total + 0x20) << "the chunk begins with its padded size";
  EXPECT_EQ(read(kStart + 0x48, 8), total + 0x20) << "the domain counts the chunk";
  EXPECT_EQ(read(kStart + 0x148, 4), 1u) << "the first allocation marks the settings as used";
  EXPECT_EQ(sntrDestroyShmPoolHandle(&pool), 0u);
}

TEST_F(HeaderBytes, TheInformationRecordIsTheHeadersWordsInOrder) {
  ShmHeapInfo info{};
  ASSERT_EQ(sntrGetShmDomainInfo(domain_, &info), 0u);
  const std::uint64_t lists = 0x1f0;
  const std::uint64_t from[22] = {0x00,         0x08,         0x10,         0x20,         0x28,
                                  0x30,         0x38,         0x40,         0x48,         0x50,
                                  0x58,         0xf0,         lists,        lists + 8,    lists + 0x10,
                                  lists + 0x20, lists + 0x28, lists + 0x30, lists + 0x38, lists + 0x70 + 8 * 5,
                                  0x100,        0x110};
  for (std::size_t i = 0; i < 22; ++i) {
    EXPECT_EQ(support::wordAt(&info, 8 * i), read(kStart + from[i], 8)) << "word " << i;
  }
}

}  // namespace
