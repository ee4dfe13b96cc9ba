// SPDX-License-Identifier: MIT
// Creates, compares, prints and frees identifiers in private memory.
// Thread safety: any thread; no node and no latch is involved.
#include <oss/memory.h>
#include <sntr/identifiers.h>

#include <cstdio>
#include <cstring>

#include "frame/trace.h"
#include "layout/version.h"

namespace sntr {

namespace {

constexpr char kSourceTag[] = "sntr";

// A kind of name: its operations, and the codes for too long a part and too large a capacity.
struct IDKind {
  std::uint32_t kind;
  bool canBeMade;
  Rc partTooLong;
  Rc capacityTooLarge;
};

constexpr IDKind kIDKinds[] = {
    {SNTR_ID_OF_NODE, true, Rc::DataTooLong, Rc::CapacityTooLarge},
    {SNTR_ID_OF_NODE_INFO, false, Rc::DataTooLong, Rc::CapacityTooLarge},
    {SNTR_ID_OF_IR, true, Rc::IDTooLong, Rc::MaxIDSizeTooLarge},
    {SNTR_ID_OF_IV, true, Rc::IDTooLong, Rc::MaxIDSizeTooLarge},
    {SNTR_ID_OF_DEPENDENT, true, Rc::DataTooLong, Rc::CapacityTooLarge},
};

// Returns the row of a kind, or null. A kind is a whole word: further bits make it another kind.
const IDKind *findIDKind(std::uint32_t kind) {
  for (const IDKind &row : kIDKinds) {
    if (row.kind == kind) return &row;
  }
  return nullptr;
}

// The parts of a new identifier.
struct IDParts {
  const char *const *parts;
  std::uint64_t capacity;
  std::uint64_t count;

  // One byte beyond the capacity is enough to detect too long a part.
  std::uint64_t lengthOf(std::uint64_t i) const { return strnlen(parts[i], capacity + 1); }
};

Rc measureParts(const IDParts &given, const IDKind &kind, std::uint64_t &total) {
  if (given.parts == nullptr) return Rc::NullIDPart;
  total = 0;
  for (std::uint64_t i = 0; i < given.count; ++i) {
    if (given.parts[i] == nullptr) return Rc::NullIDPart;
    const std::uint64_t length = given.lengthOf(i);
    if (length > given.capacity) return kind.partTooLong;
    total += length;
  }
  return Rc::Ok;
}

Rc checkParts(const IDParts &given, std::uint32_t kind, std::uint64_t &total) {
  const IDKind *const row = findIDKind(kind);
  if (row == nullptr || !row->canBeMade) return Rc::BadKind;
  if (given.count == 0 || given.count > SNTR_MAX_ID_PARTS) return Rc::BadPartCount;
  if (given.capacity > SNTR_MAX_ID_SIZE) return row->capacityTooLarge;
  return measureParts(given, *row, total);
}

Rc checkVersion(const std::uint32_t *version) {
  return version != nullptr && *version == kVersionWord ? Rc::Ok : Rc::BadVersion;
}

// Clears the address first, so that a block is never freed twice. Returns the services layer's code.
template <class T>
Rc freeAndForget(T **reference) {
  if (reference == nullptr) return Rc::Ok;
  T *const memory = *reference;
  *reference = nullptr;
  return static_cast<Rc>(_ossMemFree(memory, kSourceTag, __LINE__));
}

// Copies the parts. A part that has grown since it was measured is cut at the end of the block.
void joinParts(const IDParts &given, std::uint64_t total, char *bytes, std::uint64_t *lengths) {
  std::uint64_t done = 0;
  for (std::uint64_t i = 0; i < given.count; ++i) {
    lengths[i] = strnlen(given.parts[i], total - done);
    std::memcpy(bytes + done, given.parts[i], lengths[i]);
    done += lengths[i];
  }
}

Rc makeID(const Trace &t, const IDParts &given, std::uint64_t total, char *&id, std::uint64_t *&lengths) {
  auto *array = static_cast<std::uint64_t *>(_ossMemAlloc(given.count * sizeof(std::uint64_t), kSourceTag, __LINE__));
  if (array == nullptr) return t.fail(40, Rc::IDAllocationFailed);
  auto *const bytes = static_cast<char *>(_ossMemAlloc(total, kSourceTag, __LINE__));
  if (bytes == nullptr) {
    t.note(51, freeAndForget(&array));
    return t.fail(50, Rc::IDAllocationFailed);
  }
  joinParts(given, total, bytes, array);
  id = bytes;
  lengths = array;
  return Rc::Ok;
}

Rc checkCompared(const void *a, std::uint64_t aLength, const void *b, std::uint64_t bLength, std::uint32_t kind) {
  if (findIDKind(kind) == nullptr) return Rc::BadKind;
  if (a == nullptr || b == nullptr) return Rc::NullID;
  return aLength > SNTR_MAX_ID_SIZE || bLength > SNTR_MAX_ID_SIZE ? Rc::ComparedIDTooLong : Rc::Ok;
}

bool isPrintable(unsigned char byte) { return byte >= 0x20 && byte <= 0x7e; }

}  // namespace

}  // namespace sntr

using namespace sntr;

extern "C" {

std::uint32_t sntrCreateID(char **id, std::uint64_t **lengths, const char *const *parts, std::uint64_t capacity,
                           std::uint64_t count, std::uint32_t kind, const std::uint32_t *version) {
  return traced(Fn::sntrCreateID, [&](const Trace &t) {
    const IDParts given{parts, capacity, count};
    std::uint64_t total = 0;
    if (Rc rc = checkParts(given, kind, total); failed(rc)) return t.fail(10, rc);
    if (Rc rc = checkVersion(version); failed(rc)) return t.fail(20, rc);
    if (id == nullptr || lengths == nullptr) return t.fail(30, Rc::NullID);
    return makeID(t, given, total, *id, *lengths);
  });
}

std::uint32_t sntrDeleteID(char **id, std::uint64_t **lengths, const std::uint32_t *version) {
  return traced(Fn::sntrDeleteID, [&](const Trace &t) {
    if (Rc rc = checkVersion(version); failed(rc)) return t.fail(10, rc);
    if (Rc rc = freeAndForget(lengths); failed(rc)) return t.fail(20, rc);
    return t.fail(30, freeAndForget(id));
  });
}

std::uint32_t sntrCompareID(const void *a, std::uint64_t aLength, const void *b, std::uint64_t bLength,
                            std::uint32_t kind, std::int64_t *order) {
  return traced(Fn::sntrCompareID, [&](const Trace &t) {
    if (Rc rc = checkCompared(a, aLength, b, bLength, kind); failed(rc)) return t.fail(10, rc);
    if (order == nullptr) return t.fail(20, Rc::NullOrderOutput);
    *order = aLength != bLength ? (aLength < bLength ? -1 : 1) : std::memcmp(a, b, aLength);
    return Rc::Ok;
  });
}

std::uint32_t sntrPrintID(const void *id, std::uint64_t length) {
  return traced(Fn::sntrPrintID, [&](const Trace &t) {
    if (id == nullptr) return t.fail(10, Rc::NullID);
    if (length > SNTR_MAX_ID_SIZE) return t.fail(20, Rc::IDTooLong);
    const auto *const bytes = static_cast<const unsigned char *>(id);
    for (std::uint64_t i = 0; i < length; ++i) std::putchar(isPrintable(bytes[i]) ? bytes[i] : '.');
    return Rc::Ok;
  });
}

}  // extern "C"
