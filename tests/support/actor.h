// Other processes for tests: the test binary runs itself again, from /proc/self/exe, and plays one part there.
//
// A part is a function that uses GoogleTest's assertions as a test does; the process answers 0 when none failed. Parent
// and part can tell each other that they have come to a point. Everything here is for one thread of each process.
#pragma once

#include <sys/types.h>

#include <cstdint>

namespace support {

// What a part is told. Numbers only: no address means anything in another process, but for the one to stay away from.
struct Task {
  std::uint64_t keyHigh;  // of the segment
  std::uint64_t keyLow;
  std::uint64_t base;    // where the parent has mapped the segment
  std::uint64_t index;   // which of several alike processes this is
  std::uint64_t amount;  // how much to do, in the part's own unit
};

using Part = void (*)(const Task &task);

// Makes a part known by its name; one object of namespace scope for each.
class PartName {
 public:
  PartName(const char *name, Part part);
};

// What main() of a test binary with parts returns: plays the part that the arguments name, else runs the tests.
int runTestsOrPart(int argc, char **argv);

// For parts. Tells the parent; waits until the parent tells, false if it has ended; whether it has told by now.
void tellParent();
bool waitForParent();
bool parentHasTold();

// One other process. Killed and reaped at the end of the scope, whatever happened to the test.
class Actor {
 public:
  Actor(const char *part, const Task &task);
  ~Actor();
  Actor(const Actor &) = delete;
  Actor &operator=(const Actor &) = delete;

  void tell() const;
  bool waits() const;  // until the part tells; false if it has ended, or takes longer than any that works
  void kill();         // by SIGKILL, and reaps
  int result();        // 0: it played its part well. Below 0: a signal ended it, SIGKILL if it had to be stopped here

 private:
  pid_t pid_ = -1;
  int line_ = -1;
};

}  // namespace support
