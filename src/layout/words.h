// Reading and writing single words of shared memory.
//
// Another process may damage any word, or change it while we look. So a word is read exactly once into a local: the
// compiler may neither read it a second time nor keep an old value. The helpers assume no alignment, because the areas
// of a node, and so the records in them, may begin at any byte; on x86-64 an unaligned load or store is one instruction
// too.
//
// Callers hold the latch that guards the word, or look at one word alone and can live with a value that is old at once.
#pragma once

#include <atomic>
#include <cstdint>
#include <type_traits>

namespace sntr {

namespace detail {

// A cell of alignment 1 that may alias anything: the one way to reach a word at any address without undefined
// behaviour.
template <class T>
struct __attribute__((packed, may_alias)) Cell {
  volatile T value;
};

}  // namespace detail

// Reads the word at an address once.
template <class T>
inline T readWord(const void *at) {
  static_assert(std::is_integral_v<T> && sizeof(T) <= 8, "wider things are not read in one piece");
  return static_cast<const detail::Cell<T> *>(at)->value;
}

// Writes the word at an address with one store. The type must be named, so that a width is never picked by accident.
template <class T>
inline void writeWord(void *at, std::type_identity_t<T> value) {
  static_assert(std::is_integral_v<T> && sizeof(T) <= 8, "wider things are not written in one piece");
  static_cast<detail::Cell<T> *>(at)->value = value;
}

// A naturally aligned field that some threads look at without the latch under which others change it: the concurrency
// model, the condition, the words of the area table. Relaxed, because a reader takes the one word and draws no
// conclusion from it about any other; whoever needs that holds the latch.
template <class T>
inline T loadField(const T &field) {
  static_assert(std::is_integral_v<T> && sizeof(T) <= 8, "wider things are not read in one piece");
  return __atomic_load_n(&field, __ATOMIC_RELAXED);
}

template <class T>
inline void storeField(T &field, std::type_identity_t<T> value) {
  static_assert(std::is_integral_v<T> && sizeof(T) <= 8, "wider things are not written in one piece");
  __atomic_store_n(&field, value, __ATOMIC_RELAXED);
}

// Keeps the stores above it before the stores below it. What it guards against is this process dying between them: the
// next holder of the latch must then find either none of the later ones, or all of the earlier ones. The processor of
// another process sees stores in this order too (release), which matters to readers without a latch.
inline void orderStores() { std::atomic_thread_fence(std::memory_order_release); }

// One of two numbers, chosen without a branch: for choices that no processor foresees, where a wrong guess would cost
// more than all the rest. Written out, because a compiler makes a branch of every other way to say it.
inline std::uint64_t chooseIfBelow(std::uint64_t number, std::uint64_t limit, std::uint64_t ifBelow,
                                   std::uint64_t otherwise) {
  asm("cmpq %[limit], %[number]\n\tcmovbq %[ifBelow], %[otherwise]"
      : [otherwise] "+r"(otherwise)
      : [number] "r"(number), [limit] "r"(limit), [ifBelow] "r"(ifBelow)
      : "cc");
  return otherwise;
}

// Makes something exist by one store: everything written before is in memory first, and nothing written after it is.
template <class T>
inline void publishWord(void *at, std::type_identity_t<T> value) {
  orderStores();
  writeWord<T>(at, value);
  orderStores();
}

}  // namespace sntr
