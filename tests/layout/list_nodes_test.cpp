// The shared lists and the observer's record as literal bytes at literal offsets.
#include <gtest/gtest.h>
#include <sntr/sntr.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

TEST(ListBytes, HeadsNodesAndRecords) {
  constexpr std::uint64_t kHeader = 0x30;
  std::vector<std::uint64_t> memory(0x2000, 0x5a5a5a5a5a5a5a5a);
  const auto word = [&](std::uint64_t offset) { return memory[offset / 8]; };
  ShmDomainParams params{};
  params.heapHeaderOffset = kHeader;
  params.userAppAreaSize = 5;
  params.domainKind = SNTR_DOMAIN_MEMORY;
  ShmDomainHandle *domain = nullptr;
  ShmPoolHandle *pool = nullptr;
  ASSERT_EQ(sntrCreateShmDomain(nullptr, memory.data(), memory.size() * 8, &params, &domain), 0u);
  ASSERT_EQ(_sntrCreateShmPool(&pool, domain, 0x2000, nullptr, 0, "test", 0), 0u);
  EXPECT_EQ(word(kHeader + 0x108 + 8) | word(kHeader + 0x110 + 8), 0u) << "empty";
  ShmSegInfo_t info{};
  info.pool = pool;
  const OSSIPCResID low{0x1111111122222222, 0x33333333}, high{0x4444444455555555, 0x66666666};
  const std::string module = "path" + std::string(0x400 - 4, '\0') + std::string(0x20, 'd');
  SNodeInfo first{}, second{};
  ASSERT_EQ(sntrAddStatusNodeInfo(&first, &info, &high, 1, 2, 3, module.data()), 0u);
  ASSERT_EQ(sntrAddStatusNodeInfo(&second, &info, &low, 0, 0, 0, nullptr), 0u);
  const std::uint64_t head = word(kHeader + 0x108 + 8), modules = word(kHeader + 0x110 + 8);
  EXPECT_EQ(second.segmentEntry, head + 8);
  EXPECT_EQ(word(head), first.segmentEntry - 8) << "the next entry";
  EXPECT_EQ(word(word(head)), 0u) << "the end";
  const std::uint64_t record[] = {0x1317d17, 0x1317d17, 0x1111111122222222, 0x33333333, 0};
  EXPECT_EQ(std::memcmp(&memory[(head + 8) / 8], record, 40), 0);
  EXPECT_EQ(word(modules), first.moduleEntry - 8);
  EXPECT_EQ(std::memcmp(&memory[first.moduleEntry / 8], module.data(), 0x420), 0);
  const std::uint64_t filled[] = {
      1, 2, 3, 0, word(head) + 8, word(modules) + 8, reinterpret_cast<std::uint64_t>(memory.data())};
  EXPECT_EQ(std::memcmp(&first, filled, sizeof filled), 0);
  EXPECT_EQ(sntrDestroyShmPoolHandle(&pool), 0u);
  EXPECT_EQ(sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_ALWAYS), 0u);
}

TEST(ObserverBytes, TheThreeFields) {
  EXPECT_EQ(offsetof(SNodeObserver, livenessMode), 8u);
  EXPECT_EQ(offsetof(SNodeObserver, lookTime), 24u);
  EXPECT_EQ(offsetof(SNodeObserver, lookCounter), 160u);
}

}  // namespace
