// publisher: samples this machine and keeps the values in status nodes in a shared segment, where any number of other
// processes (see ../monitor) read them at their leisure. It ends on SIGINT, SIGTERM or SIGHUP and removes the segment.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "../machine/process.h"
#include "segment.h"
#include "sources.h"

namespace {

using machine::StopSignals;

constexpr char kUsage[] =
    "usage: publisher [options]\n"
    "Publishes load, memory, CPU time, disk and network counters of this machine in shared memory.\n"
    "  --key N        number of the segment (default 1)\n"
    "  --interval MS  milliseconds between two samples (default 100)\n"
    "  --parent PID   end when this process, which must be the parent, ends\n"
    "  --clean        only remove a segment that a killed publisher left behind\n"
    "  --help         this text\n";

struct Options {
  std::uint64_t key = machine::kDefaultKey;
  std::uint64_t interval = 100;
  std::uint64_t parent = 0;
  bool clean = false;
  bool help = false;
};

bool parse(int count, char **arguments, Options &options) {
  for (int i = 1; i < count; ++i) {
    const char *value = i + 1 < count ? arguments[i + 1] : nullptr;
    const auto is = [&](const char *name) { return std::strcmp(arguments[i], name) == 0; };
    if (is("--help")) {
      options.help = true;
    } else if (is("--clean")) {
      options.clean = true;
    } else if ((is("--key") && machine::parseNumber(value, 0, UINT64_MAX, options.key)) ||
               (is("--interval") && machine::parseNumber(value, 1, 3600000, options.interval)) ||
               (is("--parent") && machine::parseNumber(value, 1, 0x400000, options.parent))) {
      ++i;
    } else {
      return false;
    }
  }
  return true;
}

// Samples and publishes until told to stop; false when publishing failed.
bool run(Segment &segment, const Options &options, const StopSignals &signals) {
  const std::chrono::milliseconds interval(options.interval);
  StopSignals::Clock::time_point next = StopSignals::Clock::now();
  std::vector<Reading> readings;
  for (std::uint32_t count = 1;; ++count) {
    for (PublishedNode &node : segment.nodes()) {
      readGroup(node.group, node.instances, readings);
      const auto now = StopSignals::Clock::now().time_since_epoch();
      const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
      if (!segment.publish(node, readings, static_cast<std::uint32_t>(milliseconds), count)) return false;
    }
    // After a pause (the machine slept, the process was stopped) the samples that were missed are not made up for.
    next = std::max(next + interval, StopSignals::Clock::now());
    if (signals.waitUntil(next)) return true;
  }
}

}  // namespace

int main(int count, char **arguments) {
  Options options;
  if (!parse(count, arguments, options)) {
    std::fputs(kUsage, stderr);
    return machine::kExitUsage;
  }
  if (options.help) return std::fputs(kUsage, stdout) < 0 ? machine::kExitFailure : 0;

  const StopSignals signals;
  if (options.clean) return Segment::removeLeftOver(options.key) ? 0 : machine::kExitFailure;
  if (options.parent != 0 && !StopSignals::endWithParent(options.parent)) return machine::kExitFailure;

  std::vector<std::string> instances[machine::kGroupCount];
  for (std::uint32_t group = 0; group < machine::kGroupCount; ++group) {
    instances[group] = findInstances(static_cast<machine::GroupIndex>(group));
  }
  Segment segment(options.key, static_cast<std::uint32_t>(options.interval));
  return segment.create(instances) && run(segment, options, signals) ? 0 : machine::kExitFailure;
}
