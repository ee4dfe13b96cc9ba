// SPDX-License-Identifier: MIT
// The least that a latch in shared memory costs: one locked instruction to get it, one to give it back.
//
// The word names its holder, as a latch must whose holder may die, and the release looks at what it replaces, as it
// must where somebody may sleep. There is nothing else: no check, no sleeping, no search for a dead holder.
#pragma once

#include <unistd.h>

#include <cstdint>

namespace bench::floor {

// What names this thread. Set by whoever measures, because asking the system is not part of a latch.
inline thread_local std::uint64_t tSelf = 1;

struct Latch {
  alignas(8) std::uint64_t word;

  // Acquire: pairs with the release in leave() by the thread that held it before.
  void enter() {
    std::uint64_t seen = 0;
    while (!__atomic_compare_exchange_n(&word, &seen, tSelf, false, __ATOMIC_ACQUIRE, __ATOMIC_RELAXED)) [[unlikely]] {
        while (__atomic_load_n(&word, __ATOMIC_RELAXED) != 0) __builtin_ia32_pause();
        seen = 0;
      }
  }

  // Release: pairs with the acquire in enter(). Answers whether the word was what the holder had put there.
  bool leave() { return __atomic_exchange_n(&word, 0, __ATOMIC_RELEASE) == tSelf; }
};

// Of one thread of many that run this at the same time.
inline void nameThread() { tSelf = static_cast<std::uint64_t>(gettid()); }

}  // namespace bench::floor
