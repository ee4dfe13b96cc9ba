// Reading and writing single words of shared memory.
//
// Another process may damage any word, or change it while we look. So a word is read exactly once into a local: the
// compiler may neither read it a second time nor keep an old value. The areas of a node, and so the records in them,
// may begin at any byte, so the helpers assume no alignment. An aligned word is read and written whole.
//
// Callers hold the latch that guards the word, read it between the two looks of frame/sequence.h, or look at one word
// alone and can live with a value that is old at once.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace sntr {

namespace detail {

// A word at any address, which may alias anything. Relaxed atomics, because readers without the latch meet writers
// here. clang makes a library call of an atomic whose alignment it does not know; a volatile access is the same single
// instruction there. Under the thread sanitizer nobody reads without the latch, and plain accesses let it see who does.
#if defined(__clang__) || defined(__SANITIZE_THREAD__)
template <class T>
struct __attribute__((packed, may_alias)) Cell {
  volatile T value;
};
template <class T>
T load(const void *at) {
  return static_cast<const Cell<T> *>(at)->value;
}
template <class T>
void store(void *at, T value) {
  static_cast<Cell<T> *>(at)->value = value;
}
#else
template <std::size_t width>
struct Word;
template <>
struct Word<1> {
  using Type = std::uint8_t __attribute__((may_alias));
};
template <>
struct Word<4> {
  using Type = std::uint32_t __attribute__((aligned(1), may_alias));
};
template <>
struct Word<8> {
  using Type = std::uint64_t __attribute__((aligned(1), may_alias));
};
template <class T>
inline T load(const void *at) {
  return static_cast<T>(__atomic_load_n(static_cast<const typename Word<sizeof(T)>::Type *>(at), __ATOMIC_RELAXED));
}
template <class T>
inline void store(void *at, T value) {
  __atomic_store_n(static_cast<typename Word<sizeof(T)>::Type *>(at), value, __ATOMIC_RELAXED);
}
#endif

}  // namespace detail

// Reads the word at an address once.
template <class T>
inline T readWord(const void *at) {
  static_assert(std::is_integral_v<T> && sizeof(T) <= 8, "wider things are not read in one piece");
  return detail::load<T>(at);
}

// Writes the word at an address with one store. The type must be named, so that a width is never picked by accident.
template <class T>
inline void writeWord(void *at, std::type_identity_t<T> value) {
  static_assert(std::is_integral_v<T> && sizeof(T) <= 8, "wider things are not written in one piece");
  detail::store<T>(at, value);
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
// next holder of the latch must then find either none of the later ones, or all of the earlier ones. Readers without
// the latch see stores in this order too (release).
inline void orderStores() { std::atomic_thread_fence(std::memory_order_release); }

// Makes something exist by one store: everything written before is in memory first, and nothing written after it is.
template <class T>
inline void publishWord(void *at, std::type_identity_t<T> value) {
  orderStores();
  writeWord<T>(at, value);
  orderStores();
}

}  // namespace sntr
