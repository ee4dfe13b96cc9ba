// See property_invariants.h.
#include "support/property_invariants.h"

#include <set>

#include "support/words.h"

namespace support {

namespace {

constexpr std::uint64_t kREntry = 0x560 + 6 * 24;

std::uint64_t hashOfDigits(std::uint64_t tag) {
  std::uint64_t x = 0;
  std::uint64_t s = 0;
  std::uint64_t p = 0;
  std::string digits = std::to_string(tag);
  for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit) {
    const auto b = static_cast<std::uint64_t>(*digit);
    x ^= b;
    s += b;
    p = (p + 1) * (b + 1);
  }
  return x ^ s ^ p;
}

class Walker {
 public:
  explicit Walker(const void *node) : node_(node) {
    size_ = word(kREntry);
    used_ = word(kREntry + 8);
    area_ = word(kREntry + 16);
  }

  RListState walk() {
    const std::uint64_t buckets = word(area_);
    buckets == 0 ? walkArray() : walkTable(buckets);
    return std::move(state_);
  }

 private:
  std::uint64_t word(std::uint64_t offset) const { return wordAt(node_, offset); }

  void expect(bool holds, const std::string &what, std::uint64_t seen) {
    if (!holds) state_.faults += what + " (" + std::to_string(seen) + ")\n";
  }

  void take(std::uint64_t record) {
    const auto value = wordAt<std::int32_t>(node_, record + 16);
    expect(state_.values.emplace(word(record), value).second, "tag twice", word(record));
  }

  void walkArray() {
    for (std::uint64_t record = area_ + 8; record + 0x90 <= area_ + size_; record += 0x90) {
      if (word(record) != 0) take(record);
    }
    expect(used_ == 8 + 0x90 * state_.values.size(), "used bytes of the array", used_);
  }

  void walkChain(std::uint64_t bucket, std::uint64_t buckets, std::set<std::uint64_t> &live) {
    std::int64_t previous = -1;
    for (std::uint64_t slot = word(area_ + 8 + 8 * bucket); slot != 0; slot = word(slot)) {
      const bool isSlot = slot >= first_ && slot < next_ && (slot - first_) % 0x98 == 0;
      expect(isSlot, "link to no slot", slot);
      if (!isSlot || !live.insert(slot).second) return expect(false, "chain broken or closed", slot);
      const std::uint64_t tag = word(slot + 8);
      expect(hashOfDigits(tag) % buckets == bucket, "tag in another's bucket", tag);
      expect(static_cast<std::int64_t>(tag) > previous, "tags do not ascend", tag);
      previous = static_cast<std::int64_t>(tag);
      take(slot + 8);
    }
  }

  void walkTable(std::uint64_t buckets) {
    const std::uint64_t end = area_ + size_;
    first_ = area_ + 8 + 8 * buckets;
    next_ = word(end - 16);
    state_.freed = word(end - 8);
    expect(next_ >= first_ && next_ <= end - 16 - 8 * state_.freed, "next free offset", next_);
    expect((next_ - first_) % 0x98 == 0, "next free offset on no slot", next_);
    std::set<std::uint64_t> slots;
    for (std::uint64_t bucket = 0; bucket < buckets; ++bucket) walkChain(bucket, buckets, slots);
    for (std::uint64_t i = 0; i < state_.freed; ++i) {
      const std::uint64_t slot = word(end - 24 - 8 * i);
      expect(slots.insert(slot).second, "freed slot is live, or freed twice", slot);
    }
    state_.handedOut = (next_ - first_) / 0x98;
    expect(slots.size() == state_.handedOut, "slots lost", slots.size());
    const std::uint64_t used = 8 + 8 * buckets + 16 + 0x98 * state_.values.size() + 8 * state_.freed;
    expect(used_ == used, "used bytes of the table", used_);
  }

  const void *node_;
  std::uint64_t size_, used_, area_;
  std::uint64_t first_ = 0;
  std::uint64_t next_ = 0;
  RListState state_;
};

}  // namespace

RListState checkInvariants(const void *node) { return Walker(node).walk(); }

}  // namespace support
