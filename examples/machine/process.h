/* SPDX-License-Identifier: MIT */
// Helpers of both programs around the library: the segment's key, the life of a process, an orderly end on a signal,
// and messages.
// Thread safety: one thread.
#pragma once

#include <sntr/sntr.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "directory.h"

namespace machine {

// Exit statuses.
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitPublisherGone = 3;

// Segments of these programs share the lower half of their keys; the upper one is an option.
inline constexpr std::uint32_t kKeyLow = 0x6d616368;
inline constexpr std::uint64_t kDefaultKey = 1;

inline OSSIPCResID keyOf(std::uint64_t number) { return OSSIPCResID{number, kKeyLow}; }

// The file of a segment, for display and removal by hand.
inline std::string pathOf(std::uint64_t number) {
  char text[64];
  std::snprintf(text, sizeof text, "/dev/shm/qx7osse.%016llx%08x", static_cast<unsigned long long>(number), kKeyLow);
  return text;
}

// Returns the parameters of a domain of either program, except the kind's own; each 0 takes its default.
inline ShmDomainParams domainParams(std::int32_t kind) {
  ShmDomainParams params = {};
  params.reservedSelector = params.handleAllocSelector = params.latchSelector = SNTR_VERSION;
  params.domainKind = static_cast<std::uint64_t>(kind);
  return params;
}

// Prints a failure with the library's text for the code; returns false.
inline bool complain(const char *program, const char *what, std::uint32_t rc) {
  char text[200] = "";
  static_cast<void>(sntrPrintrc(rc, text, sizeof text));
  std::fprintf(stderr, "%s: %s: %s\n", program, what, text);
  return false;
}

// Parses the number of an option: decimal, or hexadecimal with 0x; the whole text, from `least` to `most`.
inline bool parseNumber(const char *text, std::uint64_t least, std::uint64_t most, std::uint64_t &number) {
  char *end = nullptr;
  if (text == nullptr || *text < '0' || *text > '9') return false;  // no sign, no space
  errno = 0;
  number = std::strtoull(text, &end, std::strncmp(text, "0x", 2) == 0 ? 16 : 10);
  return errno == 0 && *end == '\0' && number >= least && number <= most;
}

// Returns the start time of a process that has not ended, from its line in /proc; 0 if there is none.
inline std::uint64_t startTimeOf(std::uint64_t pid) {
  char line[1024];
  std::FILE *file = std::fopen(("/proc/" + std::to_string(pid) + "/stat").c_str(), "re");
  if (file == nullptr) return 0;
  const std::size_t length = std::fread(line, 1, sizeof line - 1, file);
  std::fclose(file);
  line[length] = '\0';
  const char *afterName = std::strrchr(line, ')');  // the name before it may contain anything, even parentheses
  char state = 'X';
  unsigned long long start = 0;
  if (afterName == nullptr ||
      std::sscanf(afterName + 1, " %c %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %llu",
                  &state, &start) != 2) {
    return 0;
  }
  return state == 'Z' || state == 'X' ? 0 : start;
}

inline std::uint64_t pidNamespace() {
  struct stat status = {};
  return stat("/proc/self/ns/pid", &status) == 0 ? status.st_ino : 0;
}

inline Owner thisProcess() {
  const auto pid = static_cast<std::uint64_t>(getpid());
  return Owner{pid, startTimeOf(pid), pidNamespace(), 0};
}

enum class Life { Lives, Ended, Unknown };

// Returns the state of a segment's owner. Unknown if its number belongs to another PID namespace, is none, or is
// hidden: only a certain end may have consequences.
inline Life lifeOf(const Owner &owner) {
  if (owner.pid == 0 || owner.pid > 0x400000 || owner.startTime == 0) return Life::Unknown;
  if (owner.pidNamespace == 0 || owner.pidNamespace != pidNamespace()) return Life::Unknown;
  if (startTimeOf(owner.pid) == owner.startTime) return Life::Lives;
  if (kill(static_cast<pid_t>(owner.pid), 0) != 0 && errno == ESRCH) return Life::Ended;
  // The number belongs to another process, or to one that ended and was not reaped. That is certain only if the file is
  // readable, so that /proc exists and hides nothing.
  return access(("/proc/" + std::to_string(owner.pid) + "/stat").c_str(), R_OK) == 0 ? Life::Ended : Life::Unknown;
}

// Turns SIGINT, SIGTERM and SIGHUP into a result of waitUntil(), so that a program ends between two steps, never within
// one. A full or closed pipe is a write failure, not a signal. Create it once, first in main().
class StopSignals {
 public:
  using Clock = std::chrono::steady_clock;

  StopSignals() {
    sigemptyset(&set_);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
      if (!isIgnored(number)) sigaddset(&set_, number);  // as under nohup
    }
    sigprocmask(SIG_BLOCK, &set_, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
  }

  // Requests SIGTERM at the parent's end; returns false if it has ended already. For programs that a script starts.
  static bool endWithParent(std::uint64_t parent) {
    return prctl(PR_SET_PDEATHSIG, SIGTERM) == 0 && static_cast<std::uint64_t>(getppid()) == parent;
  }

  // Waits. Returns true as soon as the program must stop, false at the given time.
  bool waitUntil(Clock::time_point moment) const {
    while (true) {
      const auto left = std::chrono::duration_cast<std::chrono::nanoseconds>(moment - Clock::now()).count();
      const long long wait = left > 0 ? left : 0;
      const timespec time = {static_cast<time_t>(wait / 1000000000), static_cast<long>(wait % 1000000000)};
      if (sigtimedwait(&set_, nullptr, &time) > 0) return true;
      if (errno == EAGAIN) return false;  // else it was stopped and continued
    }
  }

 private:
  static bool isIgnored(int number) {
    struct sigaction action = {};
    return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
  }

  sigset_t set_;
};

}  // namespace machine
