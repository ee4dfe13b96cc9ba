// A lock of one process, for what several threads switch and use: the trace file, the log's sink.
//
// A thread that holds it may take it again, since a sink may log and a signal handler may trace. A forked child begins
// with free locks: the thread that held one in the parent does not exist there and would never give it back. So
// whatever a lock guards must be usable after each single store made under it.
#pragma once

#include <pthread.h>

namespace oss {

class ProcessLock {
 public:
  constexpr ProcessLock() noexcept = default;
  ProcessLock(const ProcessLock &) = delete;
  ProcessLock &operator=(const ProcessLock &) = delete;

  // Neither can fail for a lock of this kind, short of a nesting of 2^32.
  void lock() noexcept { static_cast<void>(pthread_mutex_lock(&mutex_)); }
  void unlock() noexcept { static_cast<void>(pthread_mutex_unlock(&mutex_)); }

  // Makes it free whoever held it. Only where no other thread exists.
  void renew() noexcept;

 private:
  pthread_mutex_t mutex_ = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
};

// Holds a lock to the end of a scope.
class Locked {
 public:
  explicit Locked(ProcessLock &lock) noexcept : lock_(lock) { lock_.lock(); }
  ~Locked() { lock_.unlock(); }
  Locked(const Locked &) = delete;
  Locked &operator=(const Locked &) = delete;

 private:
  ProcessLock &lock_;
};

// Two, so that a sink which waits for something does not stop the trace.
[[gnu::visibility("hidden")]] extern ProcessLock gTraceLock;
[[gnu::visibility("hidden")]] extern ProcessLock gLogLock;

}  // namespace oss
