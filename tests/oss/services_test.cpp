// Memory, time and identity.
#include <cstring>
#include <thread>
#include <vector>

#include "process.h"

namespace oss_test {
namespace {

// The sanitizers end the program on a size that no memory has, unless told to answer as the C library does.
constexpr char kSanitizerOptions[] = "allocator_may_return_null=1";

TEST(Memory, GivesAlignedBlocksOfTheirOwn) {
  std::vector<void *> blocks;
  for (const uint64_t size : {0U, 1U, 15U, 16U, 56U, 100000U}) {
    void *block = _ossMemAlloc(size, "test", 1);
    ASSERT_NE(block, nullptr) << size;
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 16, 0U) << size;
    std::memset(block, 0xee, size);
    for (void *other : blocks) EXPECT_NE(block, other) << size;
    blocks.push_back(block);
  }
  for (void *block : blocks) EXPECT_RC(_ossMemFree(block, "test", 2), Rc::Ok);
  EXPECT_RC(_ossMemFree(nullptr, nullptr, 0), Rc::Ok);
}

TEST(Memory, RefusesWhatThereIsNot) {
  for (const uint64_t size : {~uint64_t{0}, uint64_t{1} << 63})
    EXPECT_EQ(_ossMemAlloc(size, nullptr, 1), nullptr) << size;
}

TEST(Identity, TimeIsMillisecondsOfTheSystemClock) {
  const auto now = [] {
    const auto since = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(since).count());
  };
  const uint64_t before = now();
  const uint64_t told = ossTimeGetUTC();
  EXPECT_LE(before, told);
  EXPECT_LE(told, now());
}

TEST(Identity, EveryThreadHasItsNumber) {
  EXPECT_EQ(ossThreadID(), static_cast<uint32_t>(gettid()));
  std::thread([] { EXPECT_EQ(ossThreadID(), static_cast<uint32_t>(gettid())); }).join();
}

}  // namespace
}  // namespace oss_test

extern "C" const char *__asan_default_options();
extern "C" const char *__asan_default_options() { return oss_test::kSanitizerOptions; }
extern "C" const char *__tsan_default_options();
extern "C" const char *__tsan_default_options() { return oss_test::kSanitizerOptions; }
