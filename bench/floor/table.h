// SPDX-License-Identifier: MIT
// The floor: the least machine work that still does what an operation on a property means. It is the latch pair, the
// hash, the bucket, the hops of the chain and the cell; for a change also the writer's mark and count. It works on a
// copy of a node that the library laid out. So the table, its chains and its distances in memory are the same. Nothing
// is checked.
//
// Each operation is a call, as the library's are. Only these functions use the node.
//
// Thread safety: any thread of any process under model 1, else one thread. A read without the latch may race with
// writers.
#pragma once

#include <sntr/types.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "floor/hash.h"
#include "floor/latch.h"
#include "properties/record_layout.h"

namespace bench::floor {

template <class T>
T load(const void *at) {
  T value;
  std::memcpy(&value, at, sizeof value);
  return value;
}
template <class T>
void store(void *at, T value) {
  std::memcpy(at, &value, sizeof value);
}

// Orders the stores before it and after it, for a thread that finds the node after this one died between them.
inline void orderStores() { __atomic_signal_fence(__ATOMIC_RELEASE); }

class Node {
 public:
  explicit Node(void *block) : control_(static_cast<SNodeCB_t *>(block)) { latch().word = 0; }

  Latch &latch() {
    auto at = reinterpret_cast<std::uintptr_t>(&control_->primaryLatch.latch);
    return *reinterpret_cast<Latch *>((at + 7) / 8 * 8);
  }
  char *at(std::uint64_t offset) { return reinterpret_cast<char *>(control_) + offset; }
  AreaEntry &area(unsigned index) { return control_->areaTable[index]; }

  bool isLatched() const { return control_->concurrencyModel == SNTR_MODEL_LATCHED; }
  void enterRead() {
    if (isLatched()) latch().enter();
  }
  std::uint32_t exitRead() { return !isLatched() || latch().leave() ? 0 : 1; }

  // Runs a read without the latch: count, mark, the loads of `read`, count again. Restarts if a writer was inside.
  template <class Read>
  std::uint32_t readBetweenWrites(Read &&read) {
    for (;;) {
      const std::int32_t count = look(&control_->primaryLatch.writeCount);
      if (look(&control_->primaryLatch.writeInProgress) != 0) continue;
      const std::uint32_t rc = read();
      // Acquire: the loads of `read` stay before the second look. Pairs with the order of the stores in enterWrite().
      __atomic_thread_fence(__ATOMIC_ACQUIRE);
      if (look(&control_->primaryLatch.writeCount) == count) return rc;
    }
  }

  // Enters a write section; its mark and count show the next writer that this one died.
  void enterWrite() {
    if (!isLatched()) return;
    latch().enter();
    store<std::int32_t>(&control_->primaryLatch.writeInProgress, 1);
    orderStores();
    store(&control_->primaryLatch.writeCount, load<std::int32_t>(&control_->primaryLatch.writeCount) + 1);
    orderStores();
  }
  std::uint32_t exitWrite() {
    if (!isLatched()) return 0;
    orderStores();
    store<std::int32_t>(&control_->primaryLatch.writeInProgress, 0);
    return latch().leave() ? 0 : 1;
  }
  void countChange() { store(&control_->reconfigCounter, load<std::int32_t>(&control_->reconfigCounter) + 1); }

 private:
  // Acquire: no later load moves before it. Pairs with the stores of a writer.
  static std::int32_t look(const void *word) {
    return __atomic_load_n(static_cast<const std::int32_t *>(word), __ATOMIC_ACQUIRE);
  }

  SNodeCB_t *control_;
};

inline constexpr std::uint32_t kMissing = 2;

// Access the register's cell with acquire and release, which are a plain load and a plain store on x86-64.
inline std::int32_t readCell(const char *cell) {
  return __atomic_load_n(reinterpret_cast<const std::int32_t *>(cell), __ATOMIC_ACQUIRE);
}
inline void writeCell(char *cell, std::int32_t value) {
  __atomic_store_n(reinterpret_cast<std::int32_t *>(cell), value, __ATOMIC_RELEASE);
}

// A table whose key is the tag: the size of its header, and the position of the bucket count in it.
struct TagTable {
  unsigned area;
  std::uint64_t header;
  std::uint64_t countAt;
};
inline constexpr TagTable kRTable = {SNTR_AREA_R, sizeof(sntr::RAreaHeader), offsetof(sntr::RAreaHeader, bucketCount)};

inline constexpr TagTable kVTable = {SNTR_AREA_V, sizeof(sntr::VAreaHeader), offsetof(sntr::VAreaHeader, bucketCount)};

// In both tables a slot begins with its link and the record, and the record with the tag.
static_assert(offsetof(sntr::VRecord, tag) == offsetof(sntr::RRecord, tag));
inline constexpr std::uint64_t kTagAt = offsetof(sntr::RSlot, record) + offsetof(sntr::RRecord, tag);
inline constexpr std::uint64_t kRecordAt = offsetof(sntr::RSlot, record);
inline constexpr std::uint64_t kRCellAt = kRecordAt + offsetof(sntr::RRecord, value);

struct Place {
  char *link;
  std::uint64_t next;  // value of the link
  char *slot;          // the first slot with this tag or a greater one; null at the end
  std::uint64_t tag;
};

// Finds the place of a tag, with the link before it, which a change needs.
template <const TagTable &table>
Place find(Node &node, std::uint64_t tag, std::uint64_t hash) {
  char *area = node.at(node.area(table.area).areaOffset);
  Place place{};
  place.link = area + table.header + 8 * (hash % load<std::uint64_t>(area + table.countAt));
  while ((place.next = load<std::uint64_t>(place.link)) != 0) {
    place.slot = node.at(place.next);
    place.tag = load<std::uint64_t>(place.slot + kTagAt);
    if (place.tag >= tag) return place;
    place.link = place.slot;
  }
  place.slot = nullptr;
  return place;
}

// Returns the slot with a tag, or null. The processor cannot predict which of the first two slots of a chain it is, and
// a wrong guess costs as much as all the rest. So the choice between those two has no branch.
template <const TagTable &table>
char *findPresent(Node &node, std::uint64_t tag, std::uint64_t hash) {
  char *area = node.at(node.area(table.area).areaOffset);
  const auto first = load<std::uint64_t>(area + table.header + 8 * (hash % load<std::uint64_t>(area + table.countAt)));
  if (first == 0) return nullptr;
  const auto second = load<std::uint64_t>(node.at(first));
  std::uint64_t slot = first;
  asm("cmpq %[tag], %[at]\n\tcmovneq %[second], %[slot]"
      : [slot] "+r"(slot)
      :
      [tag] "r"(tag), [second] "r"(second), [at] "m"(*reinterpret_cast<const std::uint64_t *>(node.at(first) + kTagAt))
      : "cc");
  while (slot != 0 && load<std::uint64_t>(node.at(slot) + kTagAt) != tag) slot = load<std::uint64_t>(node.at(slot));
  return slot != 0 ? node.at(slot) : nullptr;
}

inline bool matches(const Place &place, std::uint64_t tag) { return place.slot != nullptr && place.tag == tag; }

[[gnu::noinline]] inline std::uint32_t getR(Node &node, std::uint64_t tag, std::int32_t *value) {
  const std::uint64_t hash = hashTag(tag);
  node.enterRead();
  const char *slot = findPresent<kRTable>(node, tag, hash);
  if (slot == nullptr) return node.exitRead() | kMissing;
  *value = readCell(slot + kRCellAt);
  return node.exitRead();
}

// Does the same without a latch: the least that a read can do.
[[gnu::noinline]] inline std::uint32_t getRNoLatch(Node &node, std::uint64_t tag, std::int32_t *value) {
  const std::uint64_t hash = hashTag(tag);
  return node.readBetweenWrites([&]() -> std::uint32_t {
    const char *slot = findPresent<kRTable>(node, tag, hash);
    if (slot == nullptr) return kMissing;
    *value = readCell(slot + kRCellAt);
    return 0;
  });
}

[[gnu::noinline]] inline std::uint32_t setR(Node &node, std::uint64_t tag, std::int32_t value) {
  const std::uint64_t hash = hashTag(tag);
  node.enterWrite();
  char *slot = findPresent<kRTable>(node, tag, hash);
  if (slot == nullptr) return node.exitWrite() | kMissing;
  writeCell(slot + kRCellAt, value);
  return node.exitWrite();
}

// Returns the address of a value of bytes; its offset and size are in the record.
inline char *valueOf(Node &node, const char *slot) {
  return node.at(load<std::uint64_t>(slot + kRecordAt + offsetof(sntr::VRecord, valueOffset)));
}

[[gnu::noinline]] inline std::uint32_t getV(Node &node, std::uint64_t tag, std::uint64_t *size, void *bytes) {
  const std::uint64_t hash = hashTag(tag);
  node.enterRead();
  const char *slot = findPresent<kVTable>(node, tag, hash);
  if (slot == nullptr) return node.exitRead() | kMissing;
  *size = load<std::uint64_t>(slot + kRecordAt + offsetof(sntr::VRecord, valueSize));
  std::memcpy(bytes, valueOf(node, slot), *size);
  return node.exitRead();
}

// Copies words of 8 bytes into a stage, one by one, because another process may be writing them.
inline void stageWords(std::uint64_t *stage, const char *value, std::uint64_t size) {
  constexpr std::uint64_t kLine = 64;
  for (std::uint64_t at = 0; at < size; at += kLine) __builtin_prefetch(value + at);
#pragma GCC unroll 16
  for (std::uint64_t i = 0; i < size / sizeof *stage; ++i) {
    stage[i] = __atomic_load_n(reinterpret_cast<const std::uint64_t *>(value) + i, __ATOMIC_RELAXED);
  }
}

// Does the same without a latch. The bytes go to the caller only if they are a snapshot. For values of at most 4 KiB
// whose sizes are multiples of 8.
[[gnu::noinline]] inline std::uint32_t getVWords(Node &node, std::uint64_t tag, std::uint64_t *size, void *bytes) {
  alignas(64) std::uint64_t stage[512];
  const std::uint64_t hash = hashTag(tag);
  const std::uint32_t rc = node.readBetweenWrites([&]() -> std::uint32_t {
    const char *slot = findPresent<kVTable>(node, tag, hash);
    if (slot == nullptr) return kMissing;
    *size = load<std::uint64_t>(slot + kRecordAt + offsetof(sntr::VRecord, valueSize));
    stageWords(stage, valueOf(node, slot), *size);
    return 0;
  });
  if (rc == 0) std::memcpy(bytes, stage, *size);
  return rc;
}

[[gnu::noinline]] inline std::uint32_t setV(Node &node, std::uint64_t tag, std::uint64_t size, const void *bytes) {
  const std::uint64_t hash = hashTag(tag);
  node.enterWrite();
  char *slot = findPresent<kVTable>(node, tag, hash);
  if (slot == nullptr) return node.exitWrite() | kMissing;
  std::memcpy(valueOf(node, slot), bytes, size);
  store(slot + kRecordAt + offsetof(sntr::VRecord, valueSize), size);
  return node.exitWrite();
}

// Returns the offset of a new slot in its area: the slot freed last, or a fresh one.
inline std::uint64_t takeSlot(char *tail, std::uint64_t slotSize) {
  auto freed = load<std::uint64_t>(tail + offsetof(sntr::TableTail, freedCount));
  if (freed != 0) {
    const auto slot = load<std::uint64_t>(tail - 8 * freed);
    store(tail + offsetof(sntr::TableTail, freedCount), freed - 1);
    return slot;
  }
  const auto slot = load<std::uint64_t>(tail + offsetof(sntr::TableTail, nextFreeOffset));
  store(tail + offsetof(sntr::TableTail, nextFreeOffset), slot + slotSize);
  return slot;
}

[[gnu::noinline]] inline std::uint32_t addR(Node &node, std::uint64_t tag, std::int32_t value) {
  const std::uint64_t hash = hashTag(tag);
  node.enterWrite();
  const Place place = find<kRTable>(node, tag, hash);
  if (matches(place, tag)) return node.exitWrite() | kMissing;
  AreaEntry &area = node.area(kRTable.area);
  char *tail = node.at(area.areaOffset + area.areaSize - sizeof(sntr::TableTail));
  const bool reused = load<std::uint64_t>(tail + offsetof(sntr::TableTail, freedCount)) != 0;
  const std::uint64_t offset = takeSlot(tail, sizeof(sntr::RSlot));
  char *slot = node.at(offset);
  store(slot, place.next);
  store(slot + kTagAt, tag);
  store<std::uint64_t>(slot + kRecordAt + offsetof(sntr::RRecord, rc), 0);
  writeCell(slot + kRCellAt, value);
  orderStores();
  store(place.link, offset);
  orderStores();
  area.areaUsed += sizeof(sntr::RSlot) - (reused ? 8 : 0);
  node.countChange();
  return node.exitWrite();
}

[[gnu::noinline]] inline std::uint32_t deleteR(Node &node, std::uint64_t tag) {
  const std::uint64_t hash = hashTag(tag);
  node.enterWrite();
  const Place place = find<kRTable>(node, tag, hash);
  if (!matches(place, tag)) return node.exitWrite() | kMissing;
  AreaEntry &area = node.area(kRTable.area);
  char *tail = node.at(area.areaOffset + area.areaSize - sizeof(sntr::TableTail));
  const auto freed = load<std::uint64_t>(tail + offsetof(sntr::TableTail, freedCount)) + 1;
  store(tail - 8 * freed, place.next);
  orderStores();
  store(tail + offsetof(sntr::TableTail, freedCount), freed);
  orderStores();
  store(place.link, load<std::uint64_t>(place.slot));
  orderStores();
  area.areaUsed -= sizeof(sntr::RSlot) - 8;
  node.countChange();
  return node.exitWrite();
}

// Registers by tag and identifier. The identifier stands behind the record; its length is compared before its bytes.
inline constexpr std::uint64_t kIRRecordAt = sizeof(sntr::KeyLinks);
inline constexpr std::uint64_t kIRCellAt = kIRRecordAt + offsetof(sntr::IRRecord, value);
inline constexpr std::uint64_t kIRIDAt = kIRRecordAt + sizeof(sntr::IRRecord);

// Returns the slot with the key, or null.
inline char *findIR(Node &node, std::uint64_t tag, std::size_t length, const unsigned char *id, std::uint64_t hash) {
  char *area = node.at(node.area(SNTR_AREA_IR).areaOffset);
  const auto buckets = load<std::uint64_t>(area + offsetof(sntr::IRAreaHeader, tagIDBucketCount));
  auto next = load<std::uint64_t>(area + sizeof(sntr::IRAreaHeader) + 8 * (hash % buckets));
  for (; next != 0; next = load<std::uint64_t>(node.at(next))) {
    char *slot = node.at(next);
    if (load<std::uint64_t>(slot + kIRRecordAt) != tag) continue;
    if (load<std::uint64_t>(slot + kIRRecordAt + offsetof(sntr::IRRecord, idLength)) != length) continue;
    if (std::memcmp(slot + kIRIDAt, id, length) == 0) return slot;
  }
  return nullptr;
}

[[gnu::noinline]] inline std::uint32_t getIR(Node &node, std::uint64_t tag, std::size_t length, const void *id,
                                             std::int32_t *value) {
  const auto *bytes = static_cast<const unsigned char *>(id);
  const std::uint64_t hash = hashBytes(tag, bytes, length);
  node.enterRead();
  const char *slot = findIR(node, tag, length, bytes, hash);
  if (slot == nullptr) return node.exitRead() | kMissing;
  *value = readCell(slot + kIRCellAt);
  return node.exitRead();
}

[[gnu::noinline]] inline std::uint32_t setIR(Node &node, std::uint64_t tag, std::size_t length, const void *id,
                                             std::int32_t value) {
  const auto *bytes = static_cast<const unsigned char *>(id);
  const std::uint64_t hash = hashBytes(tag, bytes, length);
  node.enterWrite();
  char *slot = findIR(node, tag, length, bytes, hash);
  if (slot == nullptr) return node.exitWrite() | kMissing;
  writeCell(slot + kIRCellAt, value);
  return node.exitWrite();
}

}  // namespace bench::floor
