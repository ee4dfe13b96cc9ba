// What both programs need around the library: the segment's key, the question whether a process lives, an orderly end on
// a signal, and messages. One thread.
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

// Ends of a program.
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitPublisherGone = 3;

// Segments of these programs share the lower half of their keys; the upper one is an option.
inline constexpr std::uint32_t kKeyLow = 0x6d616368;
inline constexpr std::uint64_t kDefaultKey = 1;

inline OSSIPCResID keyOf(std::uint64_t number) { return OSSIPCResID{number, kKeyLow}; }

// Where a segment can be seen, and be removed by hand.
inline std::string pathOf(std::uint64_t number) {
  char text[64];
  std::snprintf(text, sizeof text, "/dev/shm/qx7osse.%016llx%08x", static_cast<unsigned long long>(number), kKeyLow);
  return text;
}

// Parameters of a domain of either program but for the kind's own; whatever is 0 takes its default.
inline ShmDomainParams domainParams(std::int32_t kind) {
  ShmDomainParams params = {};
  params.reservedSelector = params.handleAllocSelector = params.latchSelector = SNTR_VERSION;
  params.domainKind = static_cast<std::uint64_t>(kind);
  return params;
}

// Says what went wrong, with the library's own words for the code, and answers false.
inline bool complain(const char *program, const char *what, std::uint32_t rc) {
  char text[200] = "";
  static_cast<void>(sntrPrintrc(rc, text, sizeof text));
  std::fprintf(stderr, "%s: %s: %s\n", program, what, text);
  return false;
}

// A number of an option: decimal, or hexadecimal with 0x; the whole text, from `least` to `most`.
inline bool parseNumber(const char *text, std::uint64_t least, std::uint64_t most, std::uint64_t &number) {
  char *end = nullptr;
  if (text == nullptr || *text < '0' || *text > '9') return false;  // no sign, no space
  errno = 0;
  number = std::strtoull(text, &end, std::strncmp(text, "0x", 2) == 0 ? 16 : 10);
  return errno == 0 && *end == '\0' && number >= least && number <= most;
}

// The start time of a process that has not ended, from its line in /proc; 0 when there is none.
inline std::uint64_t startTimeOf(std::uint64_t pid) {
  char line[1024];
  std::FILE *file = std::fopen(("/proc/" + std::to_string(pid) + "/stat").c_str(), "re");
  if (file == nullptr) return 0;
  const std::size_t length = std::fread(line, 1, sizeof line - 1, file);
  std::fclose(file);
  line[length] = '\0';
  const char *afterName = std::strrchr(line, ')');  // the name before may hold anything, parentheses too
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

// Whether the owner of a segment lives. Unknown where its number counts in another PID namespace, or is none, or the
// system hides it: only a certain end may have consequences.
inline Life lifeOf(const Owner &owner) {
  if (owner.pid == 0 || owner.pid > 0x400000 || owner.startTime == 0) return Life::Unknown;
  if (owner.pidNamespace == 0 || owner.pidNamespace != pidNamespace()) return Life::Unknown;
  if (startTimeOf(owner.pid) == owner.startTime) return Life::Lives;
  if (kill(static_cast<pid_t>(owner.pid), 0) != 0 && errno == ESRCH) return Life::Ended;
  // The number leads to another process, or to one that has ended and was not yet waited for; but only if it can be
  // read at all, which shows that /proc is there and hides nothing.
  return access(("/proc/" + std::to_string(owner.pid) + "/stat").c_str(), R_OK) == 0 ? Life::Ended : Life::Unknown;
}

// Turns SIGINT, SIGTERM and SIGHUP into an answer of waitUntil(), so that a program ends between two steps and never in
// the middle of one. A full or closed pipe is a failure to write, not a signal. Made once, first thing in main().
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

  // Has SIGTERM sent when the parent ends; false when it has already. For programs that a script starts.
  static bool endWithParent(std::uint64_t parent) {
    return prctl(PR_SET_PDEATHSIG, SIGTERM) == 0 && static_cast<std::uint64_t>(getppid()) == parent;
  }

  // Waits; true as soon as the program shall stop, false when the time has come.
  bool waitUntil(Clock::time_point moment) const {
    while (true) {
      const auto left = std::chrono::duration_cast<std::chrono::nanoseconds>(moment - Clock::now()).count();
      const long long wait = left > 0 ? left : 0;
      const timespec time = {static_cast<time_t>(wait / 1000000000), static_cast<long>(wait % 1000000000)};
      if (sigtimedwait(&set_, nullptr, &time) > 0) return true;
      if (errno == EAGAIN) return false;  // otherwise it was stopped and continued
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
