// SPDX-License-Identifier: MIT
// The counters of sources.h. Each source is a text of lines; unexpected lines are skipped.
#include "sources.h"

#include <array>
#include <cstdio>

namespace {

using machine::GroupIndex;
using std::string_view;
using std::uint64_t;

constexpr uint64_t kSectorsPerKiB = 2;  // these counters use sectors of 512 bytes, whatever the disk's
constexpr uint64_t kBytesPerKiB = 1024;

// The values of one instance, in whole numbers before they are fitted to registers.
struct Row {
  string_view name;
  std::array<uint64_t, 5> values;
};

using Numbers = std::array<uint64_t, 10>;

bool takeNumbers(string_view &line, Numbers &numbers, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    if (!text::takeNumber(line, numbers[i])) return false;
  }
  return true;
}

// "cpu3 user nice system idle iowait irq softirq steal ...", in ticks. The first line, "cpu", is the sum of all.
bool parseCore(string_view line, Row &row) {
  Numbers n;
  row.name = text::takeWord(line);
  if (!row.name.starts_with("cpu") || row.name.size() == 3 || !takeNumbers(line, n, 8)) return false;
  row.values = {n[0] + n[1], n[2] + n[5] + n[6] + n[7], n[3], n[4]};
  return true;
}

// "major minor name reads merged sectors ms writes merged sectors ms under-way busy-ms ...".
bool parseDisk(string_view line, Row &row) {
  Numbers n;
  if (!takeNumbers(line, n, 2)) return false;
  row.name = text::takeWord(line);
  if (!takeNumbers(line, n, 10)) return false;
  row.values = {n[0], n[2] / kSectorsPerKiB, n[4], n[6] / kSectorsPerKiB, n[9]};
  return true;
}

// "name: bytes packets errors dropped fifo frame compressed multicast bytes packets ...", received before sent.
bool parseInterface(string_view line, Row &row) {
  Numbers n;
  const std::size_t colon = line.rfind(':');
  if (colon == string_view::npos) return false;
  row.name = line.substr(0, colon);
  text::skipBlanks(row.name);
  line.remove_prefix(colon + 1);
  if (!takeNumbers(line, n, 10)) return false;
  row.values = {n[0] / kBytesPerKiB, n[1], n[8] / kBytesPerKiB, n[9]};
  return true;
}

// Takes lines up to a row of the group; returns false at the end.
bool takeRow(GroupIndex group, string_view &lines, Row &row) {
  const auto parse = group == machine::kCpuGroup    ? parseCore
                     : group == machine::kDiskGroup ? parseDisk
                                                    : parseInterface;
  while (!lines.empty()) {
    if (parse(text::take(lines, '\n'), row)) return true;
  }
  return false;
}

Reading fit(machine::Shape shape, uint64_t number) {
  if (shape == machine::Shape::Counter) {
    return {static_cast<std::int32_t>(static_cast<std::uint32_t>(number)), machine::kAvailable};
  }
  if (number > INT32_MAX) return {INT32_MAX, machine::kTooLarge};
  return {static_cast<std::int32_t>(number), machine::kAvailable};
}

void set(Reading *readings, std::size_t field, uint64_t number) {
  readings[field] = fit(machine::kSystemFields[field].shape, number);
}

// Returns the index of a name in `instances`. Names come in that order, so the expected next one is tried first.
std::size_t indexOf(string_view name, const std::vector<std::string> &instances, std::size_t expected) {
  if (expected < instances.size() && instances[expected] == name) return expected;
  return static_cast<std::size_t>(std::find(instances.begin(), instances.end(), name) - instances.begin());
}

}  // namespace

ProcFile &Sources::fileOf(GroupIndex group) {
  return group == machine::kCpuGroup ? cores_ : group == machine::kDiskGroup ? disks_ : interfaces_;
}

// Returns true for a used whole disk: no partition, whose traffic its disk counts too, and no idle loop device.
bool Sources::isWorthShowing(GroupIndex group, string_view name, uint64_t used) {
  if (group != machine::kDiskGroup) return true;
  if (used == 0 || std::find(partitions_.begin(), partitions_.end(), name) != partitions_.end()) return false;
  char path[128];
  std::snprintf(path, sizeof path, "/sys/block/%.*s", static_cast<int>(name.size()), name.data());
  std::replace(path + sizeof "/sys/block", path + std::char_traits<char>::length(path), '/',
               '!');  // as sysfs writes it
  if (access(path, F_OK) == 0) return true;
  partitions_.emplace_back(name);
  return false;
}

std::vector<std::string> Sources::findInstances(GroupIndex group) {
  if (group == machine::kSystemGroup) return {""};
  std::vector<std::string> names;
  string_view lines = fileOf(group).read();
  for (Row row; takeRow(group, lines, row);) {
    const uint64_t used = row.values[machine::kReads] + row.values[machine::kWrites];
    if (isWorthShowing(group, row.name, used)) names.emplace_back(row.name);
  }
  return names;
}

void Sources::read(GroupIndex group, const std::vector<std::string> &instances, Readings &readings) {
  const std::span<const machine::Field> fields = machine::kGroups[group].fields;
  readings.values.assign(instances.size() * fields.size(), Reading{});
  readings.omitted = 0;
  if (group == machine::kSystemGroup) {
    readLoad(readings.values.data());
    readMemory(readings.values.data());
    return;
  }
  std::size_t expected = 0;
  string_view lines = fileOf(group).read();
  for (Row row; takeRow(group, lines, row);) {
    const std::size_t found = indexOf(row.name, instances, expected);
    if (found < instances.size()) {
      expected = found + 1;
      Reading *first = &readings.values[found * fields.size()];
      for (std::size_t f = 0; f < fields.size(); ++f) first[f] = fit(fields[f].shape, row.values[f]);
    } else if (isWorthShowing(group, row.name, row.values[machine::kReads] + row.values[machine::kWrites])) {
      ++readings.omitted;
    }
  }
}

// "0.12 0.34 0.56 running/threads last-pid".
void Sources::readLoad(Reading *readings) {
  string_view line = load_.read();
  uint64_t number = 0;
  for (const std::uint32_t field : {machine::kLoad1, machine::kLoad5, machine::kLoad15}) {
    if (!text::takeHundredths(line, number)) return;
    set(readings, field, number);
  }
  if (!text::takeNumber(line, number) || !line.starts_with('/')) return;
  set(readings, machine::kRunning, number);
  line.remove_prefix(1);
  if (text::takeNumber(line, number)) set(readings, machine::kThreads, number);
}

// "MemTotal:  1234 kB".
void Sources::readMemory(Reading *readings) {
  static constexpr struct {
    string_view key;
    std::uint32_t field;
  } kWanted[] = {
      {"MemTotal", machine::kMemTotal}, {"MemFree", machine::kMemFree}, {"MemAvailable", machine::kMemAvailable},
      {"Buffers", machine::kBuffers},   {"Cached", machine::kCached},   {"SwapTotal", machine::kSwapTotal},
      {"SwapFree", machine::kSwapFree}};
  string_view lines = memory_.read();
  while (!lines.empty()) {
    string_view line = text::take(lines, '\n');
    const string_view name = text::take(line, ':');
    const auto *wanted = std::find_if(std::begin(kWanted), std::end(kWanted),
                                      [&](const auto &candidate) { return candidate.key == name; });
    uint64_t kib = 0;
    if (wanted != std::end(kWanted) && text::takeNumber(line, kib)) set(readings, wanted->field, kib);
  }
}
