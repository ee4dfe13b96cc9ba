// See process_lock.h.
#include "process_lock.h"

namespace oss {

constinit ProcessLock gTraceLock;
constinit ProcessLock gLogLock;

void ProcessLock::renew() noexcept {
  pthread_mutexattr_t recursive;
  pthread_mutexattr_init(&recursive);
  pthread_mutexattr_settype(&recursive, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&mutex_, &recursive);
  pthread_mutexattr_destroy(&recursive);
}

namespace {

// Runs in the child, on its only thread, before fork() returns there.
void renewAll() {
  gTraceLock.renew();
  gLogLock.renew();
}

[[gnu::constructor]] void watchForks() { static_cast<void>(pthread_atfork(nullptr, nullptr, renewAll)); }

}  // namespace

}  // namespace oss
