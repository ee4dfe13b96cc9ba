/* SPDX-License-Identifier: MIT */
// The state of this machine, from /proc. The files stay open and are read from their start each time.
// Thread safety: one thread.
// Invariant: a sample allocates only if a file is longer than ever before, or for a partition seen the first time.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "../machine/measures.h"
#include "proc_file.h"

struct Reading {
  std::int32_t value = 0;
  std::uint64_t rc = machine::kNotAvailable;
};

// A text with its result code, cut to its room.
struct Text {
  char bytes[machine::kTextSize] = {};
  std::size_t size = 0;
  std::uint64_t rc = machine::kNotAvailable;
};

// One sample of a group: the fields of each instance, one instance after another, and the number of missing instances.
struct Readings {
  std::vector<Reading> values;
  std::uint32_t omitted = 0;
};

// The further values of the system's node. The names have the order of machine::TextTag.
struct SystemTexts {
  Reading uptime;
  Text names[std::size(machine::kTextNames)];
  Text summary;
};

// A property of the kind IV.
struct NamedValue {
  std::string id;
  std::string bytes;
  std::uint64_t rc = machine::kAvailable;
};

class Sources {
 public:
  // Returns the present names of a group's instances. The system's single instance has an empty name.
  std::vector<std::string> findInstances(machine::GroupIndex group);

  // Reads a group again. Missing values are kNotAvailable; no value from an earlier call stays.
  void read(machine::GroupIndex group, const std::vector<std::string> &instances, Readings &readings);

  // Reads the rest of the system's node; its readings form the summary.
  void readTexts(const Readings &system, SystemTexts &texts);

  // Returns the first processor's properties by their names in /proc/cpuinfo, if present. Allocates.
  static std::vector<NamedValue> cpuInfo();

  // Returns the mounts, one for each place: of several, the visible one. Allocates.
  std::vector<NamedValue> mounts();

  // Returns true if mounts() has changed since its last call.
  bool mountsHaveChanged() const;

 private:
  ProcFile &fileOf(machine::GroupIndex group);
  bool isWorthShowing(machine::GroupIndex group, std::string_view name, std::uint64_t used);
  void readLoad(Reading *readings);
  void readMemory(Reading *readings);

  ProcFile load_{"/proc/loadavg"};
  ProcFile memory_{"/proc/meminfo"};
  ProcFile uptime_{"/proc/uptime"};
  ProcFile cores_{"/proc/stat"};
  ProcFile disks_{"/proc/diskstats"};
  ProcFile interfaces_{"/proc/net/dev"};
  ProcFile mounts_{"/proc/self/mounts"};
  std::vector<std::string> partitions_;  // those seen
};
