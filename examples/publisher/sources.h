// What this machine tells about itself, from /proc. One thread.
//
// The files are kept open and read from their start each time. A sample allocates nothing, but where a file has grown
// beyond all earlier readings or a disk's partition is met for the first time.
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

// One sample of a group: for each instance its fields, one instance after another, and how many instances the machine
// has that are not among them.
struct Readings {
  std::vector<Reading> values;
  std::uint32_t omitted = 0;
};

// What the system's node has besides. The names have the order of machine::TextTag.
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
  // The names of a group's instances as they are now. The system's single instance has an empty name.
  std::vector<std::string> findInstances(machine::GroupIndex group);

  // Reads a group anew. What the machine does not tell is kNotAvailable; a value from an earlier call never stays.
  void read(machine::GroupIndex group, const std::vector<std::string> &instances, Readings &readings);

  // The rest of the system's node; the summary is made of its readings.
  void readTexts(const Readings &system, SystemTexts &texts);

  // What the first processor is, by the names in /proc/cpuinfo: those that are there. Allocates.
  static std::vector<NamedValue> cpuInfo();

  // The mounts, one for each place: where several are in the same, the one that is seen. Allocates.
  std::vector<NamedValue> mounts();

  // Whether mounts() would answer something else than at its last call.
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
  std::vector<std::string> partitions_;  // that were met
};
