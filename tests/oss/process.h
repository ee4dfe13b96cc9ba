// What the tests of the services layer share: other processes, memory that they share, and result codes by name.
#pragma once

#include <gtest/gtest.h>
#include <oss/oss.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <new>
#include <string>

#include "support/codes.h"

namespace oss_test {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using sntr::Rc;

// Waits until something becomes true, for a time that only a hang exceeds.
inline bool becomes(const std::function<bool()> &condition) {
  for (const auto end = Clock::now() + 20s; Clock::now() < end; usleep(500)) {
    if (condition()) return true;
  }
  return condition();
}

// A T in zeroed memory that forked children share.
template <class T>
class Shared {
 public:
  Shared() : page_(mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {
    new (page_) T();
  }
  ~Shared() { munmap(page_, sizeof(T)); }
  Shared(const Shared &) = delete;
  Shared &operator=(const Shared &) = delete;

  T *operator->() { return static_cast<T *>(page_); }

 private:
  void *page_;
};

// A forked process that runs a function and ends with its answer. Killed and reaped at the end of the scope.
class Child {
 public:
  using Work = std::function<int()>;
  static pid_t viaLibrary() { return fork(); }
  static pid_t viaKernel() {
    return static_cast<pid_t>(syscall(SYS_clone, SIGCHLD, nullptr, nullptr, nullptr, nullptr));
  }

  explicit Child(const Work &work, pid_t (*make)() = viaLibrary) : pid_(make()) {
    if (pid_ != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test that is stopped leaves nobody behind
    _exit(work());
  }
  ~Child() { kill(); }
  Child(const Child &) = delete;
  Child &operator=(const Child &) = delete;

  pid_t pid() const { return pid_; }

  void signal(int number) const { ::kill(pid_, number); }

  // Kills without reaping: a zombie is left.
  void killOnly() const {
    signal(SIGKILL);
    siginfo_t info;
    waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOWAIT);
  }

  void kill() {
    if (pid_ <= 0) return;
    signal(SIGKILL);
    result();
  }

  // Waits for the end. Below 0: it was killed by a signal.
  int result() {
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

 private:
  pid_t pid_;
};

}  // namespace oss_test
