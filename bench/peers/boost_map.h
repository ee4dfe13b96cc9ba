// SPDX-License-Identifier: MIT
// Boost.Interprocess: an unordered map in a managed shared memory segment, with its mutex beside it, as its
// documentation shows. The segment's name is removed at once, as that of the library's segment is.
//
// Thread safety: any thread, also of a forked child; the mutex guards the map.
#pragma once

#include <pthread.h>
#include <unistd.h>

#include <boost/functional/hash.hpp>
#include <boost/interprocess/allocators/allocator.hpp>
#include <boost/interprocess/managed_shared_memory.hpp>
#include <boost/interprocess/sync/interprocess_mutex.hpp>
#include <boost/interprocess/sync/scoped_lock.hpp>
#include <boost/unordered_map.hpp>
#include <cerrno>
#include <cstdint>
#include <string>

#include "support/work.h"

namespace bench::boostmap {

namespace bi = boost::interprocess;

using PlainMutex = bi::interprocess_mutex;

// A process-shared mutex of the C library.
class SharedMutex {
 public:
  explicit SharedMutex(bool robust) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    if (robust) pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    const int answer = pthread_mutex_init(&mutex_, &attributes);
    pthread_mutexattr_destroy(&attributes);
    require(answer == 0, "making a mutex");
  }
  SharedMutex(const SharedMutex &) = delete;
  SharedMutex &operator=(const SharedMutex &) = delete;
  ~SharedMutex() { pthread_mutex_destroy(&mutex_); }

  void lock() {
    const int answer = pthread_mutex_lock(&mutex_);
    if (answer == EOWNERDEAD) {
      pthread_mutex_consistent(&mutex_);
    } else if (answer != 0) [[unlikely]] {
      throw Failure("locking a mutex");
    }
  }
  void unlock() { pthread_mutex_unlock(&mutex_); }

 private:
  pthread_mutex_t mutex_;
};

// Passes on if its owner dies, as a latch of the library does.
struct RobustMutex : SharedMutex {
  RobustMutex() : SharedMutex(true) {}
};

class Memory {
 public:
  explicit Memory(std::size_t size) : name_(newName()), memory_(bi::create_only, name_.c_str(), size) {
    bi::shared_memory_object::remove(name_.c_str());
  }
  bi::managed_shared_memory &operator*() { return memory_; }
  bi::managed_shared_memory *operator->() { return &memory_; }

 private:
  static std::string newName() {
    static int count = 0;
    return "sntr_bench." + std::to_string(getpid()) + "." + std::to_string(++count);
  }

  std::string name_;
  bi::managed_shared_memory memory_;
};

template <class T>
using Allocator = bi::allocator<T, bi::managed_shared_memory::segment_manager>;

// A map from tags, with as many buckets as values.
template <class Value, class Mutex>
class TagMap {
 public:
  using Map = boost::unordered_map<std::uint64_t, Value, boost::hash<std::uint64_t>, std::equal_to<std::uint64_t>,
                                   Allocator<std::pair<const std::uint64_t, Value>>>;

  explicit TagMap(std::uint32_t n)
      : memory_(std::size_t{n} * (sizeof(Value) + 160) + (1 << 20)),
        mutex_(memory_->construct<Mutex>(bi::anonymous_instance)()),
        map_(memory_->construct<Map>(bi::anonymous_instance)(
            n, boost::hash<std::uint64_t>(), std::equal_to<std::uint64_t>(), memory_->get_segment_manager())) {}

  // Runs the work on the value of a tag in the locked map; returns 1 if there is none.
  template <class Work>
  std::uint64_t at(std::uint64_t tag, Work &&work) {
    bi::scoped_lock<Mutex> lock(*mutex_);
    const auto found = map_->find(tag);
    if (found == map_->end()) return 1;
    work(found->second);
    return 0;
  }
  std::uint64_t insert(std::uint64_t tag, const Value &value) {
    bi::scoped_lock<Mutex> lock(*mutex_);
    return map_->emplace(tag, value).second ? 0 : 1;
  }
  std::uint64_t erase(std::uint64_t tag) {
    bi::scoped_lock<Mutex> lock(*mutex_);
    return map_->erase(tag) == 1 ? 0 : 1;
  }

 private:
  Memory memory_;
  Mutex *mutex_;
  Map *map_;
};

}  // namespace bench::boostmap
