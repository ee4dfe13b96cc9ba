// SPDX-License-Identifier: MIT
// Other processes for tests, and memory that they share.
// Thread safety: one thread of each process.
#pragma once

#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <new>

namespace support {

using Clock = std::chrono::steady_clock;

// Waits until the condition holds, for a time that only a hang exceeds.
inline bool becomes(const std::function<bool()> &condition) {
  for (const auto end = Clock::now() + std::chrono::seconds(60); Clock::now() < end; usleep(500)) {
    if (condition()) return true;
  }
  return condition();
}

// A T in zeroed memory that forked processes share.
template <class T>
class Shared {
 public:
  Shared() = default;
  ~Shared() { munmap(memory_, sizeof(T)); }
  Shared(const Shared &) = delete;
  Shared &operator=(const Shared &) = delete;

  T *operator->() { return it_; }
  T &operator*() { return *it_; }

 private:
  void *const memory_ = mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  T *const it_ = new (memory_) T();
};

// A forked process that runs a function and ends with its result. Killed and reaped at the end of the scope.
class Child {
 public:
  using Work = std::function<int()>;

  explicit Child(const Work &work, pid_t (*make)() = fork) : pid_(make()) {
    if (pid_ != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test that is stopped leaves no process behind
    _exit(work());
  }
  ~Child() { kill(); }
  Child(const Child &) = delete;
  Child &operator=(const Child &) = delete;

  pid_t pid() const { return pid_; }
  void signal(int number) const { ::kill(pid_, number); }  // SIGKILL leaves a zombie, until result()
  void kill() {
    if (pid_ <= 0) return;
    signal(SIGKILL);
    result();
  }

  // Waits for the end. Below 0: a signal ended it.
  int result() {
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

 private:
  pid_t pid_;
};

}  // namespace support
