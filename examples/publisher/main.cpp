// SPDX-License-Identifier: MIT
// publisher: samples this machine and keeps the values in status nodes in a shared segment, for any number of reading
// processes (see ../monitor). Ends on SIGINT, SIGTERM or SIGHUP and removes the segment.
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
    "Publishes load, memory, CPU time, disk and network counters, names and mounts of this machine in shared memory.\n"
    "  --key N        number of the segment (default 1)\n"
    "  --interval MS  milliseconds between two samples (default 100)\n"
    "  --capacity N   most cores, disks, interfaces and mounts that are published, each (default and most 256);\n"
    "                 how many are left out is published too\n"
    "  --without KIND leave out the properties of a kind: v (and base_v), ir, iv, base_r or base_v; may be repeated\n"
    "  --parent PID   end when this process, which must be the parent, ends\n"
    "  --clean        only remove a segment that a killed publisher left behind\n"
    "  --help         this text\n";

struct Options {
  std::uint64_t key = machine::kDefaultKey;
  std::uint64_t interval = 100;
  std::uint64_t capacity = machine::kMaxInstances;
  std::uint64_t kinds = ~std::uint64_t{0};
  std::uint64_t parent = 0;
  bool clean = false;
  bool help = false;
};

// Removes the kind of that name.
bool leaveOut(const char *name, std::uint64_t &kinds) {
  for (const machine::Kind &kind : machine::kKinds) {
    if (name == nullptr || std::strcmp(kind.key, name) != 0) continue;
    kinds &= ~std::uint64_t{kind.bit};
    return true;
  }
  return false;
}

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
               (is("--capacity") && machine::parseNumber(value, 1, machine::kMaxInstances, options.capacity)) ||
               (is("--without") && leaveOut(value, options.kinds)) ||
               (is("--parent") && machine::parseNumber(value, 1, 0x400000, options.parent))) {
      ++i;
    } else {
      return false;
    }
  }
  return true;
}

// Samples and publishes until a stop signal; returns false if publishing failed.
bool run(Segment &segment, Sources &sources, const Options &options, const StopSignals &signals) {
  const std::chrono::milliseconds interval(options.interval);
  StopSignals::Clock::time_point next = StopSignals::Clock::now();
  Readings readings;
  SystemTexts texts;
  for (std::uint32_t count = 1;; ++count) {
    if (sources.mountsHaveChanged() && !segment.updateMounts(sources.mounts())) return false;
    for (PublishedNode &node : segment.nodes()) {
      sources.read(node.group, node.instances, readings);
      if (node.group == machine::kSystemGroup) sources.readTexts(readings, texts);
      const auto now = StopSignals::Clock::now().time_since_epoch();
      const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
      if (!segment.publish(node, readings, texts, static_cast<std::uint32_t>(milliseconds), count)) return false;
    }
    // After a pause (of the machine or the process) the missed samples are skipped.
    next = std::max(next + interval, StopSignals::Clock::now());
    if (signals.waitUntil(next)) return true;
  }
}

// Prints that a list has too little room.
void tellOfOmitted(const char *what, std::size_t found, std::size_t published) {
  if (found <= published) return;
  std::fprintf(stderr, "publisher: %s: %zu of %zu are published, there is no room for more\n", what, published, found);
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

  Sources sources;
  std::vector<std::string> instances[machine::kGroupCount];
  for (std::uint32_t group = 0; group < machine::kGroupCount; ++group) {
    instances[group] = sources.findInstances(static_cast<machine::GroupIndex>(group));
    const std::size_t found = instances[group].size();
    if (found > options.capacity) instances[group].resize(options.capacity);
    tellOfOmitted(machine::kGroups[group].name, found, instances[group].size());
  }
  const std::vector<NamedValue> mounts = sources.mounts();
  Segment segment(options.key, static_cast<std::uint32_t>(options.interval), options.kinds, options.capacity);
  if (!segment.create(instances, Sources::cpuInfo(), mounts)) return machine::kExitFailure;
  if ((options.kinds & SNTR_KIND_IV) != 0) {
    tellOfOmitted("mounts", mounts.size(), mounts.size() - segment.nodes()[machine::kSystemGroup].omitted);
  }
  return run(segment, sources, options, signals) ? 0 : machine::kExitFailure;
}
