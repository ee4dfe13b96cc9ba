// SPDX-License-Identifier: MIT
// How large a heap's header and bookkeeping are made.
#include <gtest/gtest.h>
#include <sntr/domains.h>

#include <array>
#include <vector>

#include "support/codes.h"

namespace {

using sntr::Rc;

constexpr std::uint64_t kHuge = ~std::uint64_t{0};

// Slots, levels, and the bytes of header, lists' header and bookkeeping: given and returned.
using Sizes = std::array<std::uint64_t, 5>;

std::uint32_t getSizes(std::uint32_t type, std::uint64_t size, std::uint64_t userArea, Sizes &out) {
  return sntrGetHHeaderInfo(size, type, &out[0], &out[1], userArea, &out[2], &out[3], &out[4]);
}

// Worked out by hand from the bands: max(size / 183 x factor, floor), on both sides of each bound.
// Sizes, each with its slots: of a domain, and of a pool.
const std::vector<std::uint64_t> kEstimates[] = {
    {0,          25,        0x10000,    25,         0xfffff,     57,         0x100000, 350,        0x3ffffff,
     1833,       0x4000000, 1000,       0x1fffffff, 3667,        0x20000000, 2493,     0x3fffffff, 4987,
     0x40000000, 4693,      0x80000000, 9387,       0x100000000, 10000,      kHuge,    10000},
    {0,          50,   0x7ffff,    63,    0x80000,    75,    0xfffff,      123,    0x100000,   125,
     0x7fffff,   962,  0x800000,   850,   0x3ffffff,  4950,  0x4000000,    4000,   0x1fffffff, 7334,
     0x20000000, 7500, 0x3fffffff, 11734, 0x40000000, 11441, 0x1000000000, 250000, kHuge,      250000}};

TEST(Sizing, SlotCountsAreEstimatedFromTheSize) {
  for (const std::uint32_t type : {1u, 2u}) {
    const auto &estimates = kEstimates[type - 1];
    for (std::size_t i = 0; i < estimates.size(); i += 2) {
      Sizes seen = {0, 7};
      EXPECT_RC(getSizes(type, estimates[i], 0, seen), Rc::Ok);
      EXPECT_EQ(seen[0], estimates[i + 1]) << "type " << type << ", size " << estimates[i];
    }
  }
}

const struct {
  const char *name;
  std::uint32_t type;
  std::uint64_t userArea;
  Sizes given, sizes;
} kSizeRows[] = {{"as given", 1, 0, {100, 7}, {100, 7, 488, 720, 19024}},
                 {"one byte of user area takes eight", 1, 1, {100, 7}, {100, 7, 496, 720, 19024}},
                 {"ceilings of a domain", 1, 8, {10001, 26}, {10000, 25, 496, 2016, 1832016}},
                 {"ceilings of a pool", 2, 9, {250001, 1000}, {250000, 25, 504, 2016, 45752016}},
                 {"a domain's ceiling is not a pool's", 2, 0, {10001, 10}, {10001, 10, 488, 936, 1831120}}};

TEST(Sizing, SizesFollowFromSlotsLevelsAndUserArea) {
  for (const auto &row : kSizeRows) {
    Sizes seen = row.given, single = row.sizes;
    EXPECT_RC(getSizes(row.type, 0x10000000, row.userArea, seen), Rc::Ok);
    EXPECT_EQ(seen, row.sizes) << row.name;
    EXPECT_RC(sntrGetHHeaderSize(row.userArea, &single[2]), Rc::Ok);
    EXPECT_RC(sntrGetSLHeaderSize(row.sizes[1], &single[3]), Rc::Ok);
    EXPECT_EQ(single, row.sizes) << row.name;
  }
}

TEST(Sizing, RefusalsWriteNothing) {
  Sizes seen = {1, 2, 3, 4, 5};
  for (const std::uint32_t type : {0u, 3u}) EXPECT_RC(getSizes(type, 0x1000, 0, seen), Rc::BadHeapType);
  EXPECT_RC(getSizes(1, kHuge, kHuge, seen), Rc::DomainHeaderMisfit);
  EXPECT_RC(getSizes(2, kHuge, kHuge - 0x1ee, seen), Rc::PoolHeaderMisfit);
  for (std::size_t missing = 0; missing < 5; ++missing) {
    const auto at = [&](std::size_t i) { return i == missing ? nullptr : &seen[i]; };
    EXPECT_RC(sntrGetHHeaderInfo(1, 1, at(0), at(1), 0, at(2), at(3), at(4)), Rc::NullStorageOutput) << missing;
  }
  EXPECT_RC(sntrGetHHeaderSize(kHuge, &seen[2]), Rc::BadUserAreaSize);
  EXPECT_RC(sntrGetHHeaderSize(0, nullptr), Rc::NullStorageOutput);
  EXPECT_RC(sntrGetSLHeaderSize(1, nullptr), Rc::NullStorageOutput);
  EXPECT_RC(sntrGetUserAppAreaSize(&seen, 0, nullptr), Rc::NullStorageOutput);
  EXPECT_EQ(seen, (Sizes{1, 2, 3, 4, 5}));
}

TEST(Sizing, TheStoredUserAreaSizeIsReadAsItStands) {
  std::uint64_t memory[0x40] = {}, size = 1;
  memory[(0x20 + 0xf0) / 8] = kHuge;
  for (std::uint64_t *base : {memory, static_cast<std::uint64_t *>(nullptr)}) {
    EXPECT_RC(sntrGetUserAppAreaSize(base, 0x20, &size), Rc::Ok);
    EXPECT_EQ(size, base != nullptr ? kHuge : 0);
  }
}

}  // namespace
