// A table of properties by tag, as the shortest way through reading and writing a value sees it (direct_values.h).
//
// Each check of property_list.h and hash_table.h is made here too, by other arithmetic: fewer instructions, because all
// that has to be told is whether everything is as it should be. Whoever hears "no" asks them what is wrong. The numbers
// are below 2^32 wherever they are added, so that no sum wraps.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "layout/node_block.h"
#include "layout/offset.h"
#include "layout/words.h"
#include "properties/kind_types.h"
#include "properties/property_list.h"
#include "tree/node_areas.h"

namespace sntr::direct {

static_assert(SNTR_MAX_NODE_SIZE < std::uint64_t{1} << 32 && SNTR_MAX_AREA_SIZE < std::uint64_t{1} << 27);

// As readWord(), the word at an address is read once. It is not volatile, so that a compiler may make one instruction of
// the read and of where it reads; what was read is hidden from it instead, so that it cannot know where to read it again.
struct __attribute__((packed, may_alias)) Word {
  std::uint64_t value;
};

[[gnu::always_inline]] inline std::uint64_t wordAt(const std::byte *at) {
  std::uint64_t value = reinterpret_cast<const Word *>(at)->value;
  asm("" : "+r"(value));
  return value;
}

// A word that is looked at before its latch is held: a guess, which is compared again inside. The thread sanitizer, which
// knows no guesses, does not get to see it.
#ifdef __SANITIZE_THREAD__
[[gnu::noinline, gnu::no_sanitize("thread")]] inline std::uint64_t guessAt(const std::byte *at) {
  return reinterpret_cast<const Word *>(at)->value;
}
#else
[[gnu::always_inline]] inline std::uint64_t guessAt(const std::byte *at) { return wordAt(at); }
#endif

// Has numbers worked out here and not where they are used: a compiler would rather do that in the section.
template <class... Numbers>
[[gnu::always_inline]] inline void keepHere(Numbers &...numbers) {
  (..., [](std::uint64_t &number) { asm volatile("" : "+r"(number)); }(numbers));
}

// Whether it is this one. Read for the comparison alone.
[[gnu::always_inline]] inline bool isWordAt(const std::byte *at, std::uint64_t value) {
  return reinterpret_cast<const Word *>(at)->value == value;
}

// As chooseIfBelow(), of the number at an address.
[[gnu::always_inline]] inline std::uint64_t chooseIfWordBelow(const std::byte *at, std::uint64_t limit,
                                                              std::uint64_t ifBelow, std::uint64_t otherwise) {
  asm("cmpq %[limit], %[number]\n\tcmovbq %[ifBelow], %[otherwise]"
      : [otherwise] "+r"(otherwise)
      : [number] "m"(reinterpret_cast<const Word *>(at)->value), [limit] "r"(limit), [ifBelow] "r"(ifBelow)
      : "cc");
  return otherwise;
}

// An area as it stands in the node's table. It never changes in the node's life.
struct AreaPlace {
  std::uint64_t begin;  // from the node
  std::uint64_t size;
};

// Whether an area lies in its node as findArea() wants it. What is said of node and area of the largest sizes is asked
// only where the node is larger than any area.
template <std::uint32_t kind>
[[gnu::always_inline]] inline bool placeArea(const SNodeCB_t *node, AreaPlace &out) {
  const AreaEntry &entry = node->areaTable[std::countr_zero(kind) - 1];
  const std::uint64_t room = loadField(node->nodeSize) - kControlBlockSize;
  out.begin = loadField(entry.areaOffset);
  out.size = loadField(entry.areaSize);
  const std::uint64_t before = out.begin - kControlBlockSize;
  if (before > room || out.size > room - before) [[unlikely]]
    return false;
  if (room > SNTR_MAX_AREA_SIZE) [[unlikely]] {
    if (room > SNTR_MAX_NODE_SIZE - kControlBlockSize || out.size > SNTR_MAX_AREA_SIZE) return false;
  }
  return loadField(entry.areaUsed) <= out.size;
}

// The slots of a table whose slots all have the same size: which one an offset is. That is one multiplication by the
// inverse of the size's odd part and a rotation by the rest of it; what is no slot's offset becomes larger than any
// number of slots.
template <std::uint64_t slotSize>
class EqualSlots {
 public:
  // The slots from `first` up to `high`, which is not before it and less than an area's size behind.
  constexpr EqualSlots(std::uint64_t first, std::uint64_t high, std::uint64_t /*maxValue*/)
      : first_(first), count_((high - first) * kReciprocal >> kShift) {}

  constexpr bool holds(std::uint64_t offset) const { return std::rotr((offset - first_) * kInverse, kTwos) < count_; }

 private:
  static constexpr int kTwos = std::countr_zero(slotSize);
  // Each step doubles the number of bits that are right, from the three that every odd number is its own inverse in.
  static constexpr std::uint64_t kInverse = [] {
    const std::uint64_t odd = slotSize >> kTwos;
    std::uint64_t inverse = odd;
    for (int bits = 3; bits < 64; bits *= 2) inverse *= 2 - odd * inverse;
    return inverse;
  }();
  // The division of any number below 2^27 by the size.
  static constexpr int kShift = 35;
  static constexpr std::uint64_t kReciprocal = ((std::uint64_t{1} << kShift) + slotSize - 1) / slotSize;
  static_assert((kReciprocal * slotSize - (std::uint64_t{1} << kShift)) << 27 < std::uint64_t{1} << kShift);

  std::uint64_t first_;
  std::uint64_t count_;
};
static_assert(EqualSlots<152>(16, 320, 0).holds(168) && !EqualSlots<152>(16, 319, 0).holds(168));
static_assert(!EqualSlots<152>(16, 320, 0).holds(169) && !EqualSlots<152>(168, 472, 0).holds(16));
static_assert(!EqualSlots<152>(16, 320, 0).holds(320) && !EqualSlots<152>(16, 16, 0).holds(16));

// The same for a kind whose records have room for bytes.
template <class K>
class RoomySlots {
 public:
  constexpr RoomySlots(std::uint64_t first, std::uint64_t high, std::uint64_t maxValue)
      : range_(first, high, K::data.chainSize + K::data.recordSize + maxValue) {}
  constexpr bool holds(std::uint64_t offset) const { return range_.holds(offset); }

 private:
  SlotRange range_;
};

template <class K>
using Slots = std::conditional_t<kFixedSize<K>, EqualSlots<K::data.chainSize + K::data.recordSize>, RoomySlots<K>>;

// Where a search begins, worked out before the section from what was found there, so that the division is not made while
// others wait. Nothing of it is believed before it has been compared, in the section, with what it was made of.
struct Aim {
  std::uint64_t begin;    // offset of the area
  std::uint64_t tail;     // offset of its tail
  std::uint64_t buckets;  // how many there are
  std::uint64_t bucket;   // the key's
};

template <class K>
constexpr std::uint64_t firstSlotOf(const Aim &aim) {
  return aim.begin + K::data.tableHeader + kWordSize * aim.buckets;
}

// False: no table, or something is wrong.
template <class K>
[[gnu::always_inline]] inline bool takeAim(const std::byte *node, const AreaPlace &area, std::uint64_t hash, Aim &aim) {
  static_assert(K::data.bucketArrays == 1 && K::data.maxIDAt == kNoField, "one array of buckets, and tags for keys");
  if (area.size < K::data.tableHeader + kWordSize + kTailSize) [[unlikely]]
    return false;
  aim.begin = area.begin;
  aim.tail = area.begin + area.size - kTailSize;
  aim.buckets = guessAt(node + area.begin + K::data.bucketCountAt);
  // Of an array it is 0, and becomes the largest number.
  if (aim.buckets - 1 >= kBucketCountLimit - 1) [[unlikely]]
    return false;
  if (firstSlotOf<K>(aim) > aim.tail) [[unlikely]]
    return false;
  aim.bucket = hash % aim.buckets;
  keepHere(aim.bucket, aim.buckets);
  return true;
}

// A search goes on beyond the second slot of a chain, but not for ever: then the long way counts.
constexpr int kFarthestSlot = 64;

// From the offset of a bucket to the record of a tag, or null: not found, or something is wrong. The first two slots are
// chosen between without a branch: which of them it is nobody can foresee.
template <class K>
[[gnu::always_inline]] inline std::byte *findInChain(std::byte *node, std::uint64_t bucket, const Slots<K> &slots,
                                                     std::uint64_t tag, [[maybe_unused]] std::uint64_t maxValue) {
  constexpr std::uint64_t kTagAt = K::data.chainSize;
  std::uint64_t slot = wordAt(node + bucket);
  if (!slots.holds(slot)) [[unlikely]]
    return nullptr;
  // The bytes of a value come while the choice is made; the last ones too, which are in another line, or page.
  if constexpr (!kFixedSize<K>) {
    __builtin_prefetch(node + slot + kTagAt + K::data.recordSize);
    __builtin_prefetch(node + slot + kTagAt + K::data.recordSize + maxValue - 1);
  }
  slot = chooseIfWordBelow(node + slot + kTagAt, tag, wordAt(node + slot), slot);
  if (!slots.holds(slot)) [[unlikely]]
    return nullptr;
  std::uint64_t stored = wordAt(node + slot + kTagAt);
  if (stored == tag) [[likely]]
    return node + slot + kTagAt;
  for (int left = kFarthestSlot; stored < tag && left != 0; --left) {
    slot = wordAt(node + slot);
    if (!slots.holds(slot)) return nullptr;
    stored = wordAt(node + slot + kTagAt);
  }
  return stored == tag ? node + slot + kTagAt : nullptr;
}

// In the section: whether the number of buckets is still the one that was found before it. Nothing else of what an aim
// was made of changes in a node's life.
template <class K>
[[gnu::always_inline]] inline bool isStillTrue(const Aim &aim, const std::byte *node) {
  return isWordAt(node + aim.begin + K::data.bucketCountAt, aim.buckets);
}

// The record of a tag in a table, or null: not found, or something is wrong. The caller is in the node's section, and
// took the aim there or found it still true. `maxValue` receives the room for a value in each record.
template <class K>
[[gnu::always_inline]] inline std::byte *findRecord(std::byte *node, const Aim &aim, std::uint64_t tag,
                                                    std::uint64_t &maxValue) {
  maxValue = 0;
  if constexpr (!kFixedSize<K>) {
    maxValue = wordAt(node + aim.begin + K::data.maxValueAt);
    if (maxValue - 1 >= kMaxValueSize) [[unlikely]]
      return nullptr;
  }
  const std::uint64_t first = firstSlotOf<K>(aim);
  const std::uint64_t high = wordAt(node + aim.tail + offsetof(TableTail, nextFreeOffset));
  if (high > aim.tail || high < first) [[unlikely]]
    return nullptr;
  return findInChain<K>(node, aim.begin + K::data.tableHeader + kWordSize * aim.bucket, Slots<K>(first, high, maxValue),
                        tag, maxValue);
}

}  // namespace sntr::direct
