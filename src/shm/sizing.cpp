// SPDX-License-Identifier: MIT
// See sizing.h. The estimate is a table: few slots for a domain, which is divided into a handful of pools, many for a
// pool, which is divided into blocks. Larger memory gets fewer slots per byte, because its pieces are larger.
#include "shm/sizing.h"

#include <algorithm>
#include <iterator>

#include "frame/trace.h"
#include "layout/words.h"
#include "shm/heap_types.h"
#include "sntr/domains.h"

namespace sntr {

namespace {

// One size band of the estimate: max(nodes that would fit x share, size / divisor, least).
struct SlotBand {
  std::uint64_t below;           // sizes below this belong to the band
  std::uint64_t sharePer100000;  // of the nodes of the smallest kind that would fill the memory
  std::uint64_t bytesPerSlot;    // at least one slot for so many bytes
  std::uint64_t least;           // however small the memory is
};

constexpr std::uint64_t kNoLimit = ~std::uint64_t{0};
constexpr std::uint64_t kShareUnit = 100000;

// Planned bytes of a slot, as in skipListAreaSize(): the divisor from bytes to nodes.
constexpr std::uint64_t kSlotBytes = 0xb7;

constexpr SlotBand kDomainBands[] = {
    {0x100000, 1000, 0x8000, 25},      //
    {0x4000000, 500, 0x14000, 350},    //
    {0x20000000, 125, 0x30000, 1000},  //
    {0x40000000, 85, 0x80000, 1750},   //
    {kNoLimit, 80, 0x100000, 2250},
};

// Pools are divided into blocks of a node or less, so a pool gets about twice a domain's share.
constexpr SlotBand kPoolBands[] = {
    {0x80000, 2000, 0x2000, 50},       //
    {0x100000, 2150, 0x2260, 75},      //
    {0x800000, 2100, 0x2648, 125},     //
    {0x4000000, 1350, 0x4000, 850},    //
    {0x20000000, 250, 0x14000, 4000},  //
    {0x40000000, 200, 0x18000, 7500},  //
    {kNoLimit, 195, 0x1c000, 11000},
};

constexpr bool bandsAscend(const SlotBand *band, std::size_t count) {
  for (std::size_t i = 1; i < count; ++i) {
    if (band[i - 1].below >= band[i].below) return false;
  }
  return band[count - 1].below == kNoLimit;
}
static_assert(bandsAscend(kDomainBands, std::size(kDomainBands)) && bandsAscend(kPoolBands, std::size(kPoolBands)));

// The last band takes the rest, 2^64 - 1 included, so the search always ends on a row.
const SlotBand &bandOf(const SlotBand *band, std::uint64_t size) {
  while (size >= band->below && band->below != kNoLimit) ++band;
  return *band;
}

// Returns n x share / 100000, truncated, without a product above 2^64.
constexpr std::uint64_t shareOf(std::uint64_t n, std::uint64_t sharePer100000) {
  return n / kShareUnit * sharePer100000 + n % kShareUnit * sharePer100000 / kShareUnit;
}
static_assert(shareOf(99, 1000) == 0 && shareOf(100, 1000) == 1 && shareOf(200000, 2150) == 4300);

}  // namespace

std::uint64_t estimatedSlotCount(HeapType type, std::uint64_t size) {
  const SlotBand &band = bandOf(type == HeapType::Domain ? kDomainBands : kPoolBands, size);
  return std::max({shareOf(size / kSlotBytes, band.sharePer100000), size / band.bytesPerSlot, band.least});
}

Rc sizeHeap(HeapType type, std::uint64_t size, std::uint64_t userAreaSize, HeapSizes &sizes) {
  if (userAreaSize > kNoLimit - heapHeaderSize(kWordSize)) return traitsOf(type).misfit;
  // The ceiling applies to a given count too: it keeps the size of the area far from wrapping.
  const std::uint64_t slots = sizes.slotCount != 0 ? sizes.slotCount : estimatedSlotCount(type, size);
  sizes.slotCount = std::min(slots, maxSlotCount(type));
  sizes.maxLevel = std::min(sizes.maxLevel, kMaxSkipLevels);
  sizes.headerSize = heapHeaderSize(userAreaSize);
  sizes.slHeaderSize = skipListHeaderSize(sizes.maxLevel);
  sizes.slAreaSize = skipListAreaSize(sizes.slotCount, sizes.maxLevel);
  return Rc::Ok;
}

}  // namespace sntr

using sntr::Fn;
using sntr::Rc;

extern "C" {

uint32_t sntrGetHHeaderInfo(uint64_t size, uint32_t heapType, uint64_t *slotCount, uint64_t *maxLevel,
                            uint64_t userAreaSize, uint64_t *headerSize, uint64_t *slHeaderSize, uint64_t *slAreaSize) {
  return sntr::traced(Fn::sntrGetHHeaderInfo, [&](sntr::Trace &t) {
    const bool complete = slotCount != nullptr && maxLevel != nullptr && headerSize != nullptr &&
                          slHeaderSize != nullptr && slAreaSize != nullptr;
    if (!complete) return t.failLogged(1, Rc::NullStorageOutput);
    sntr::HeapType type{};
    if (Rc rc = sntr::heapTypeFrom(heapType, type); failed(rc)) return t.failLogged(2, rc);
    sntr::HeapSizes sizes{*slotCount, *maxLevel, 0, 0, 0};
    if (Rc rc = sntr::sizeHeap(type, size, userAreaSize, sizes); failed(rc)) return t.failLogged(3, rc);
    *slotCount = sizes.slotCount;
    *maxLevel = sizes.maxLevel;
    *headerSize = sizes.headerSize;
    *slHeaderSize = sizes.slHeaderSize;
    *slAreaSize = sizes.slAreaSize;
    return Rc::Ok;
  });
}

uint32_t sntrGetHHeaderSize(uint64_t userAreaSize, uint64_t *size) {
  if (size == nullptr) return code(Rc::NullStorageOutput);
  if (userAreaSize > sntr::kNoLimit - sntr::heapHeaderSize(sntr::kWordSize)) return code(Rc::BadUserAreaSize);
  *size = sntr::heapHeaderSize(userAreaSize);
  return code(Rc::Ok);
}

uint32_t sntrGetSLHeaderSize(uint64_t maxLevel, uint64_t *size) {
  if (size == nullptr) return code(Rc::NullStorageOutput);
  *size = sntr::skipListHeaderSize(maxLevel);
  return code(Rc::Ok);
}

// Unchecked by contract: the caller may not even have a domain yet, so there is no bound for the word. The library
// itself does not use it; copyUserDataIn() checks the area's bounds.
uint32_t sntrGetUserAppAreaSize(const void *base, uint64_t headerOffset, uint64_t *size) {
  if (size == nullptr) return code(Rc::NullStorageOutput);
  *size = 0;
  if (base == nullptr) return code(Rc::Ok);
  const auto *header = static_cast<const std::byte *>(base) + headerOffset;
  *size = sntr::readWord<std::uint64_t>(header + offsetof(sntr::HeapHeader, userAppAreaSize));
  return code(Rc::Ok);
}

}  // extern "C"
