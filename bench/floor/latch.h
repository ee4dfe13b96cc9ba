// SPDX-License-Identifier: MIT
// The least cost of a latch in shared memory: one locked instruction to take it, one to give it back.
//
// The word names its owner, which a latch needs if its owner may die. The release reads what it replaces, which it
// needs if a thread may sleep. There is nothing else: no check, no sleep, no search for a dead owner.
//
// Thread safety: any thread of any process; each sets its name first (nameThread()).
#pragma once

#include <unistd.h>

#include <cstdint>

namespace bench::floor {

// The name of this thread. The benchmark sets it, because the system call is not part of a latch.
inline thread_local std::uint64_t tSelf = 1;

struct Latch {
  alignas(8) std::uint64_t word;

  // Acquire: pairs with the release in leave() by the previous owner.
  void enter() {
    std::uint64_t seen = 0;
    while (!__atomic_compare_exchange_n(&word, &seen, tSelf, false, __ATOMIC_ACQUIRE, __ATOMIC_RELAXED)) [[unlikely]] {
        while (__atomic_load_n(&word, __ATOMIC_RELAXED) != 0) __builtin_ia32_pause();
        seen = 0;
      }
  }

  // Release: pairs with the acquire in enter(). Returns true if the word was still the owner's name.
  bool leave() { return __atomic_exchange_n(&word, 0, __ATOMIC_RELEASE) == tSelf; }
};

// Names the calling thread, for benchmarks with several threads.
inline void nameThread() { tSelf = static_cast<std::uint64_t>(gettid()); }

}  // namespace bench::floor
