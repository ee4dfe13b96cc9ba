// Worked examples of how large a heap's header and bookkeeping are made.
#include <sntr/heap.h>

#include "storage_fixture.h"

namespace shm_test {
namespace {

// Worked out by hand from the bands: max(size / 183 x factor, floor), on both sides of each bound.
const struct {
  std::uint32_t type;
  std::vector<std::uint64_t> sizes, slots;
} kEstimates[] = {{SNTR_HEAP_DOMAIN,
                   {0, 0x10000, 0xfffff, 0x100000, 0x3ffffff, 0x4000000, 0x1fffffff, 0x20000000, 0x3fffffff, 0x40000000,
                    0x80000000, 0x100000000, kHuge},
                   {25, 25, 57, 350, 1833, 1000, 3667, 2493, 4987, 4693, 9387, 10000, 10000}},
                  {SNTR_HEAP_POOL,
                   {0, 0x7ffff, 0x80000, 0xfffff, 0x100000, 0x7fffff, 0x800000, 0x3ffffff, 0x4000000, 0x1fffffff,
                    0x20000000, 0x3fffffff, 0x40000000, 0x1000000000, kHuge},
                   {50, 63, 75, 123, 125, 962, 850, 4950, 4000, 7334, 7500, 11734, 11441, 250000, 250000}}};

TEST(Sizing, SlotCountsAreEstimatedFromTheSize) {
  for (const auto &[type, sizes, expected] : kEstimates) {
    for (std::size_t i = 0; i < sizes.size(); ++i) {
      std::uint64_t slots = 0, level = 7, header = 0, listHeader = 0, area = 0;
      EXPECT_RC(sntrGetHHeaderInfo(sizes[i], type, &slots, &level, 0, &header, &listHeader, &area), Rc::Ok);
      EXPECT_EQ(slots, expected[i]) << "type " << type << ", size " << sizes[i];
    }
  }
}

const struct {
  const char *name;
  std::uint32_t type;
  std::uint64_t slotsIn, levelIn, userArea;
  std::uint64_t slots, level, header, listHeader, area;
} kSizeRows[] = {
    {"as given", 1, 100, 7, 0, 100, 7, 488, 720, 19024},
    {"one byte of user area takes eight", 1, 100, 7, 1, 100, 7, 496, 720, 19024},
    {"ceilings of a domain", 1, 10001, 26, 8, 10000, 25, 496, 2016, 1832016},
    {"ceilings of a pool", 2, 250001, 1000, 9, 250000, 25, 504, 2016, 45752016},
    {"the ceiling of a domain is not a pool's", 2, 10001, 10, 0, 10001, 10, 488, 936, 1831120},
};

TEST(Sizing, SizesFollowFromSlotsLevelsAndUserArea) {
  for (const auto &row : kSizeRows) {
    SCOPED_TRACE(row.name);
    std::uint64_t slots = row.slotsIn, level = row.levelIn, header = 0, listHeader = 0, area = 0, single = 0;
    EXPECT_RC(sntrGetHHeaderInfo(0x10000000, row.type, &slots, &level, row.userArea, &header, &listHeader, &area),
              Rc::Ok);
    EXPECT_EQ(slots, row.slots);
    EXPECT_EQ(level, row.level);
    EXPECT_EQ(header, row.header);
    EXPECT_EQ(listHeader, row.listHeader);
    EXPECT_EQ(area, row.area);
    EXPECT_RC(sntrGetHHeaderSize(row.userArea, &single), Rc::Ok);
    EXPECT_EQ(single, row.header);
    EXPECT_RC(sntrGetSLHeaderSize(row.level, &single), Rc::Ok);
    EXPECT_EQ(single, row.listHeader);
  }
}

TEST(Sizing, RefusalsWriteNothing) {
  std::uint64_t a = 1, b = 2, c = 3, d = 4, e = 5;
  EXPECT_RC(sntrGetHHeaderInfo(0x1000, 0, &a, &b, 0, &c, &d, &e), Rc::BadHeapType);
  EXPECT_RC(sntrGetHHeaderInfo(0x1000, 3, &a, &b, 0, &c, &d, &e), Rc::BadHeapType);
  EXPECT_RC(sntrGetHHeaderInfo(kHuge, 1, &a, &b, kHuge, &c, &d, &e), Rc::DomainHeaderMisfit);
  EXPECT_RC(sntrGetHHeaderInfo(kHuge, 2, &a, &b, kHuge - 0x1ee, &c, &d, &e), Rc::PoolHeaderMisfit);
  for (int missing = 0; missing < 5; ++missing) {
    std::uint64_t *out[] = {&a, &b, &c, &d, &e};
    out[missing] = nullptr;
    EXPECT_RC(sntrGetHHeaderInfo(1, 1, out[0], out[1], 0, out[2], out[3], out[4]), Rc::NullStorageOutput) << missing;
  }
  EXPECT_RC(sntrGetHHeaderSize(kHuge, &a), Rc::BadUserAreaSize);
  EXPECT_RC(sntrGetHHeaderSize(0, nullptr), Rc::NullStorageOutput);
  EXPECT_RC(sntrGetSLHeaderSize(1, nullptr), Rc::NullStorageOutput);
  EXPECT_EQ(a * 10000 + b * 1000 + c * 100 + d * 10 + e, 12345u);
}

TEST(Sizing, TheStoredUserAreaSizeIsReadAsItStands) {
  std::uint64_t memory[0x40] = {};
  memory[(0x20 + 0xf0) / 8] = kHuge;
  std::uint64_t size = 1;
  EXPECT_RC(sntrGetUserAppAreaSize(memory, 0x20, &size), Rc::Ok);
  EXPECT_EQ(size, kHuge);
  EXPECT_RC(sntrGetUserAppAreaSize(nullptr, 0x20, &size), Rc::Ok);
  EXPECT_EQ(size, 0u);
  EXPECT_RC(sntrGetUserAppAreaSize(memory, 0, nullptr), Rc::NullStorageOutput);
}

}  // namespace
}  // namespace shm_test
