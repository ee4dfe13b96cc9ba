// SPDX-License-Identifier: MIT
// Indivisible operations on a 32-bit cell at any address; the contract is in oss/atomic.h.
//
// The language's atomics assume alignment, so they serve aligned cells, where a debugging build's checkers can follow
// them. At other addresses x86-64 uses its locked instruction, written out here; other processors load and store
// plainly.
//
// Thread safety: any thread of any process.
#include <oss/atomic.h>
#include <oss/fast_paths.h>

#include <atomic>

#include "inject.h"

namespace {

static_assert(sizeof(OSSVAtomicSigned32) == 128 && alignof(OSSVAtomicSigned32) == 1 && sizeof(int) == 4);

// The cell as the language's atomics and the instructions access it. Both may alias the caller's bytes.
using AlignedCell = int __attribute__((may_alias));
struct __attribute__((packed, may_alias)) OddCell {
  int value;
};

bool isAligned(const unsigned char *cell) { return reinterpret_cast<uintptr_t>(cell) % alignof(int) == 0; }

#ifdef __x86_64__

int exchangeAddOdd(OddCell &cell, int amount) {
  asm volatile("lock xaddl %0, %1" : "+r"(amount), "+m"(cell) : : "memory", "cc");
  return amount;
}

int exchangeOdd(OddCell &cell, int value) {
  asm volatile("xchgl %0, %1" : "+r"(value), "+m"(cell) : : "memory");
  return value;
}

#else

// Not indivisible: the caller holds a latch, see the contract.
int exchangeOdd(volatile OddCell &cell, int value) {
  const int previous = cell.value;
  std::atomic_thread_fence(std::memory_order_acq_rel);
  cell.value = value;
  return previous;
}

int exchangeAddOdd(volatile OddCell &cell, int amount) {
  return exchangeOdd(cell, static_cast<int>(static_cast<unsigned>(cell.value) + static_cast<unsigned>(amount)));
}

#endif

// Acquire and release, here and below: the other side is a reader that relies on earlier writes, or a writer that waits
// for a reader to finish, in any process.
int exchangeAdd(unsigned char *cell, int amount) {
  if (isAligned(cell)) return __atomic_fetch_add(reinterpret_cast<AlignedCell *>(cell), amount, __ATOMIC_ACQ_REL);
  return exchangeAddOdd(*reinterpret_cast<OddCell *>(cell), amount);
}

int exchange(unsigned char *cell, int value) {
  if (isAligned(cell)) return __atomic_exchange_n(reinterpret_cast<AlignedCell *>(cell), value, __ATOMIC_ACQ_REL);
  return exchangeOdd(*reinterpret_cast<OddCell *>(cell), value);
}

// Release: pairs with the acquire in the other operations, if nothing else publishes the cell. A plain store, since the
// cell is not in use yet; it is one instruction at any address on x86-64.
void store(unsigned char *cell, int value) {
  if (isAligned(cell)) {
    __atomic_store_n(reinterpret_cast<AlignedCell *>(cell), value, __ATOMIC_RELEASE);
  } else {
    std::atomic_thread_fence(std::memory_order_release);
    reinterpret_cast<volatile OddCell *>(cell)->value = value;
  }
}

uint32_t answer(int previous, int *out) {
  if (out != nullptr) *out = previous;
  return oss::code(oss::Rc::Ok);
}

}  // namespace

#ifdef OSS_FAULT_INJECTION
const uint32_t ossCellsAreOpen = 0;
#else
const uint32_t ossCellsAreOpen = 1;
#endif

uint32_t OSSVAtomicSigned32::init(int value, int) noexcept {
  if (oss::injected(OSSFaultAtomicInit)) [[unlikely]]
    return oss::code(oss::Rc::OssInjected);
  store(storage, value);
  return oss::code(oss::Rc::Ok);
}

uint32_t OSSVAtomicSigned32::increment(int *previous) noexcept {
  if (oss::injected(OSSFaultAtomicIncrement)) [[unlikely]]
    return oss::code(oss::Rc::OssInjected);
  return answer(exchangeAdd(storage, 1), previous);
}

uint32_t OSSVAtomicSigned32::add(int amount, int *previous) noexcept {
  if (oss::injected(OSSFaultAtomicAdd)) [[unlikely]]
    return oss::code(oss::Rc::OssInjected);
  return answer(exchangeAdd(storage, amount), previous);
}

uint32_t OSSVAtomicSigned32::swap(int value, int *previous) noexcept {
  if (oss::injected(OSSFaultAtomicSwap)) [[unlikely]]
    return oss::code(oss::Rc::OssInjected);
  return answer(exchange(storage, value), previous);
}
