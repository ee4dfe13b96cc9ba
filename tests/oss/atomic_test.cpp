// Atomic cells: values, wrap-around, and indivisibility at odd addresses.
#include <climits>
#include <cstring>
#include <thread>
#include <vector>

#include "process.h"
#include "support/words.h"

namespace oss_test {
namespace {

// Aligned and odd, within one cache line.
constexpr size_t kPlaces[] = {0, 1, 2, 3, 4};

// Where calls on a cell are indivisible: oss/atomic.h.
#ifdef __x86_64__
constexpr size_t kIndivisible = 1;
#else
constexpr size_t kIndivisible = alignof(int);
#endif

struct alignas(64) Bytes {
  unsigned char memory[256];
};

OSSVAtomicSigned32 *cellAt(Bytes &bytes, size_t at) {
  return reinterpret_cast<OSSVAtomicSigned32 *>(bytes.memory + at);
}

int valueAt(const Bytes &bytes, size_t at) { return support::wordAt<int>(bytes.memory, at); }

TEST(Atomic, GivesThePreviousValueAtAnyAddress) {
  const struct {
    const char *name;
    uint32_t (*run)(OSSVAtomicSigned32 &, int *);
    int before, after;
  } rows[] = {
      {"increment", [](OSSVAtomicSigned32 &c, int *p) { return c.increment(p); }, 41, 42},
      {"increment wraps", [](OSSVAtomicSigned32 &c, int *p) { return c.increment(p); }, INT_MAX, INT_MIN},
      {"add", [](OSSVAtomicSigned32 &c, int *p) { return c.add(-50, p); }, 41, -9},
      {"add 0 reads", [](OSSVAtomicSigned32 &c, int *p) { return c.add(0, p); }, -7, -7},
      {"add wraps", [](OSSVAtomicSigned32 &c, int *p) { return c.add(-2, p); }, INT_MIN, INT_MAX - 1},
      {"swap", [](OSSVAtomicSigned32 &c, int *p) { return c.swap(5, p); }, -3, 5},
  };
  for (const auto &row : rows) {
    for (const size_t at : kPlaces) {
      SCOPED_TRACE(std::string(row.name) + " at " + std::to_string(at));
      Bytes bytes;
      std::memset(&bytes, 0xee, sizeof bytes);
      EXPECT_RC(cellAt(bytes, at)->init(row.before, 1), Rc::Ok);
      int previous = 0;
      EXPECT_RC(row.run(*cellAt(bytes, at), &previous), Rc::Ok);
      EXPECT_EQ(previous, row.before);
      EXPECT_EQ(valueAt(bytes, at), row.after);
      EXPECT_RC(row.run(*cellAt(bytes, at), nullptr), Rc::Ok);
      for (size_t i = 0; i < sizeof bytes.memory; ++i) {
        if (i >= at && i < at + 4) continue;
        EXPECT_EQ(bytes.memory[i], 0xee) << "byte " << i;
      }
    }
  }
}

// Two calls only: a system that dislikes locks across a line can make each of them wait for ten milliseconds and more.
TEST(Atomic, WorksAcrossACacheLine) {
  Bytes bytes{};
  OSSVAtomicSigned32 &cell = *cellAt(bytes, 62);
  int previous = 0;
  EXPECT_RC(cell.init(0x01020304, 1), Rc::Ok);
  EXPECT_RC(cell.increment(&previous), Rc::Ok);
  EXPECT_EQ(previous, 0x01020304);
  EXPECT_RC(cell.swap(-1, &previous), Rc::Ok);
  EXPECT_EQ(previous, 0x01020305);
  EXPECT_EQ(valueAt(bytes, 62), -1);
}

TEST(Atomic, LosesNothingBetweenProcessesAndThreads) {
  constexpr int kEach = 30000;
  for (const size_t at : kPlaces) {
    if (at % kIndivisible != 0) continue;
    Shared<Bytes> bytes;
    cellAt(*bytes.operator->(), at)->init(0, 1);
    const auto work = [&] {
      for (int i = 0; i < kEach; ++i) {
        cellAt(*bytes.operator->(), at)->increment(nullptr);
        cellAt(*bytes.operator->(), at)->add(2, nullptr);
      }
      return 0;
    };
    Child other(work);
    std::thread thread(work);
    work();
    thread.join();
    EXPECT_EQ(other.result(), 0);
    EXPECT_EQ(valueAt(*bytes.operator->(), at), 3 * 3 * kEach) << "at " << at;
  }
}

}  // namespace
}  // namespace oss_test
