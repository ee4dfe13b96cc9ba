// SPDX-License-Identifier: MIT
// Reading and writing single words of shared memory.
//
// Another process may damage or change a word at any time. So each function reads a word exactly once into a local: the
// compiler may neither read it again nor keep an old value. Areas of a node, and so the records in them, may begin at
// any byte, so no function assumes alignment. An aligned word is read and written whole.
//
// Thread safety: the caller holds the latch that guards the word, reads it inside a sequence (frame/sequence.h), or
// needs only that word and accepts that its value is old at once.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace sntr {

namespace detail {

// A word at any address, which may alias anything. Relaxed atomics, because readers without the latch race with writers
// here. clang makes a library call of an atomic of unknown alignment; a volatile access is the same single instruction
// there. Under the thread sanitizer every read takes the latch, and plain accesses let it see races.
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

template <class T>
inline T readWord(const void *at) {
  static_assert(std::is_integral_v<T> && sizeof(T) <= 8, "wider things are not read in one piece");
  return detail::load<T>(at);
}

// Writes the word at an address with one store. The type must be named, so that a width is never deduced by accident.
template <class T>
inline void writeWord(void *at, std::type_identity_t<T> value) {
  static_assert(std::is_integral_v<T> && sizeof(T) <= 8, "wider things are not written in one piece");
  detail::store<T>(at, value);
}

// Load and store a naturally aligned field that some threads read without the latch: the concurrency model, the
// condition, the words of the area table. Relaxed, because the reader uses this word alone; one that draws conclusions
// about other words holds the latch.
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

// Orders the stores before it ahead of those after it. If this process dies in between, the next holder of the latch
// finds none of the later stores, or all of the earlier ones. Readers without the latch see this order too.
inline void orderStores() { std::atomic_thread_fence(std::memory_order_release); }

// Publishes by one store: earlier writes are in memory before it, later ones follow it.
template <class T>
inline void publishWord(void *at, std::type_identity_t<T> value) {
  orderStores();
  writeWord<T>(at, value);
  orderStores();
}

}  // namespace sntr
