// SPDX-License-Identifier: MIT
// Reads /proc/.../stat: one line, whose fields are counted from 1. Field 1 is the thread's number. Field 2 is the
// program's name in brackets and may contain anything, brackets and blanks included. So the fields after it are counted
// from the last closing bracket.
//
// It reads a thread's line, also for a process's first thread. An emulator of another processor (qemu-user) makes up
// the line of its own process, with a start time that no other process sees.
#include "thread_stat.h"

#include <signal.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "bounded_text.h"
#include "system_calls.h"

namespace oss {

namespace {

constexpr int kStateField = 3;
constexpr int kStartField = 22;

// Exceeds the line up to its start time: a name of 64 bytes and twenty numbers of at most 20 digits.
constexpr std::size_t kLineSize = 1024;

struct ThreadStat {
  std::uint64_t number;
  char state;
  std::uint32_t stamp;
};

// Reads the beginning of a file as text. Returns false if it cannot be read or is empty.
bool readText(const char *path, char (&text)[kLineSize]) {
  const int fd = openUncancelled(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  const ssize_t length = readUncancelled(fd, text, kLineSize - 1);
  closeUncancelled(fd);
  if (length <= 0) return false;
  text[length] = '\0';
  return true;
}

// Returns the start of a field after the name, or null if the line ends before it.
const char *fieldOf(const char *line, int wanted) {
  const char *at = std::strrchr(line, ')');
  for (int field = kStateField; at != nullptr && field <= wanted; ++field) {
    at = std::strchr(at, ' ');
    if (at != nullptr) ++at;
  }
  return at;
}

std::uint64_t numberAt(const char *digits) {
  std::uint64_t number = 0;
  for (; *digits >= '0' && *digits <= '9'; ++digits) number = number * 10 + static_cast<std::uint64_t>(*digits - '0');
  return number;
}

std::uint32_t stampOf(std::uint64_t ticks) {
  const auto low = static_cast<std::uint32_t>(ticks);
  return low == kNoStamp ? 1 : low;
}

bool readStat(const char *path, ThreadStat &stat) {
  char line[kLineSize];
  if (!readText(path, line)) return false;
  const char *state = fieldOf(line, kStateField);
  const char *start = fieldOf(line, kStartField);
  if (state == nullptr || start == nullptr) return false;
  stat = {numberAt(line), *state, stampOf(numberAt(start))};
  return true;
}

}  // namespace

std::uint32_t ownStartStamp(std::uint32_t thread) noexcept {
  // A /proc of another PID namespace shows this thread under another number, or not at all.
  ThreadStat stat;
  return readStat("/proc/thread-self/stat", stat) && stat.number == thread ? stat.stamp : kNoStamp;
}

bool threadIsDead(std::uint32_t thread, std::uint32_t stamp, bool trustProc) noexcept {
  // Signal 0 only tests for existence, of a thread as well as of a process. EPERM means that it exists.
  if (kill(static_cast<pid_t>(thread), 0) != 0 && errno == ESRCH) return true;
  PathText path;
  path.text("/proc/").decimal(thread).text("/task/").decimal(thread).text("/stat");
  ThreadStat stat;
  if (!trustProc || !readStat(path.get(), stat)) return false;
  const bool ended = stat.state == 'Z' || stat.state == 'X' || stat.state == 'x';
  return ended || (stamp != kNoStamp && stat.stamp != stamp);
}

}  // namespace oss
