// See sources.h. Each source is a text of lines; a line that is not as expected is passed over.
#include "sources.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

using machine::GroupIndex;
using std::uint64_t;

constexpr uint64_t kSectorsPerKiB = 2;  // these counters use sectors of 512 bytes, whatever the disk's are
constexpr uint64_t kBytesPerKiB = 1024;

// What was found of one instance, in whole numbers before they are made to fit registers.
struct Row {
  std::string name;
  std::vector<uint64_t> values;
};

std::vector<std::string> readLines(const char *path) {
  std::vector<std::string> lines;
  std::FILE *file = std::fopen(path, "re");
  if (file == nullptr) return lines;
  char *line = nullptr;
  size_t room = 0;
  while (getline(&line, &room, file) > 0) lines.emplace_back(line);
  std::free(line);
  std::fclose(file);
  return lines;
}

// The numbers of a line, until something else comes.
std::vector<uint64_t> numbersIn(const char *text) {
  std::vector<uint64_t> numbers;
  char *end = nullptr;
  for (uint64_t number = std::strtoull(text, &end, 10); end != text; number = std::strtoull(text, &end, 10)) {
    numbers.push_back(number);
    text = end;
  }
  return numbers;
}

// "cpu3 user nice system idle iowait irq softirq steal ...", in ticks. The first line, "cpu", is the sum of all.
std::vector<Row> readCores() {
  std::vector<Row> rows;
  for (const std::string &line : readLines("/proc/stat")) {
    if (line.compare(0, 3, "cpu") != 0 || line[3] < '0' || line[3] > '9') continue;
    const size_t nameEnd = line.find(' ');
    if (nameEnd == std::string::npos) continue;
    const std::vector<uint64_t> n = numbersIn(line.c_str() + nameEnd);
    if (n.size() < 8) continue;
    rows.push_back({line.substr(0, nameEnd), {n[0] + n[1], n[2] + n[5] + n[6] + n[7], n[3], n[4]}});
  }
  return rows;
}

// "major minor name reads merged sectors ms writes merged sectors ms under-way busy-ms ...".
std::vector<Row> readDisks() {
  std::vector<Row> rows;
  for (const std::string &line : readLines("/proc/diskstats")) {
    char name[128];
    int nameEnd = 0;
    if (std::sscanf(line.c_str(), "%*u %*u %127s%n", name, &nameEnd) != 1) continue;
    const std::vector<uint64_t> n = numbersIn(line.c_str() + nameEnd);
    if (n.size() < 10) continue;
    rows.push_back({name, {n[0], n[2] / kSectorsPerKiB, n[4], n[6] / kSectorsPerKiB, n[9]}});
  }
  return rows;
}

// "name: bytes packets errors dropped fifo frame compressed multicast bytes packets ...", received before sent.
std::vector<Row> readInterfaces() {
  std::vector<Row> rows;
  for (const std::string &line : readLines("/proc/net/dev")) {
    const size_t colon = line.rfind(':');
    if (colon == std::string::npos) continue;
    const size_t nameStart = line.find_first_not_of(' ');
    const std::vector<uint64_t> n = numbersIn(line.c_str() + colon + 1);
    if (n.size() < 10) continue;
    rows.push_back({line.substr(nameStart, colon - nameStart), {n[0] / kBytesPerKiB, n[1], n[8] / kBytesPerKiB, n[9]}});
  }
  return rows;
}

std::vector<Row> readRows(GroupIndex group) {
  switch (group) {
    case machine::kCpuGroup:
      return readCores();
    case machine::kDiskGroup:
      return readDisks();
    case machine::kNetworkGroup:
      return readInterfaces();
    default:
      return {};
  }
}

Reading fit(machine::Shape shape, uint64_t number) {
  if (shape == machine::Shape::Counter) {
    return {static_cast<std::int32_t>(static_cast<std::uint32_t>(number)), machine::kAvailable};
  }
  if (number > INT32_MAX) return {INT32_MAX, machine::kTooLarge};
  return {static_cast<std::int32_t>(number), machine::kAvailable};
}

void readLoad(Reading *readings) {
  const auto set = [&](std::uint32_t field, uint64_t number) {
    readings[field] = fit(machine::kSystemFields[field].shape, number);
  };
  double load[3];
  unsigned long long running = 0;
  unsigned long long threads = 0;
  double uptime = 0;
  for (const std::string &line : readLines("/proc/loadavg")) {
    if (std::sscanf(line.c_str(), "%lf %lf %lf %llu/%llu", &load[0], &load[1], &load[2], &running, &threads) != 5)
      break;
    for (std::uint32_t i = 0; i < 3; ++i) set(machine::kLoad1 + i, static_cast<uint64_t>(load[i] * 100 + 0.5));
    set(machine::kRunning, running);
    set(machine::kThreads, threads);
  }
  for (const std::string &line : readLines("/proc/uptime")) {
    if (std::sscanf(line.c_str(), "%lf", &uptime) == 1) set(machine::kUptime, static_cast<uint64_t>(uptime));
  }
}

void readMemory(Reading *readings) {
  constexpr struct {
    const char *key;
    std::uint32_t field;
  } kWanted[] = {
      {"MemTotal:", machine::kMemTotal}, {"MemFree:", machine::kMemFree}, {"MemAvailable:", machine::kMemAvailable},
      {"Buffers:", machine::kBuffers},   {"Cached:", machine::kCached},   {"SwapTotal:", machine::kSwapTotal},
      {"SwapFree:", machine::kSwapFree}};
  for (const std::string &line : readLines("/proc/meminfo")) {
    for (const auto &[key, field] : kWanted) {
      unsigned long long kib = 0;
      const size_t length = std::strlen(key);
      if (line.compare(0, length, key) == 0 && std::sscanf(line.c_str() + length, "%llu", &kib) == 1) {
        readings[field] = fit(machine::kSystemFields[field].shape, kib);
      }
    }
  }
}

// A whole disk that has ever been used: not a partition, whose traffic its disk counts too, nor an idle loop device.
bool isWorthShowing(GroupIndex group, const Row &row) {
  if (group != machine::kDiskGroup) return true;
  std::string name = row.name;
  std::replace(name.begin(), name.end(), '/', '!');  // as sysfs writes such names
  return row.values[machine::kReads] + row.values[machine::kWrites] != 0 &&
         access(("/sys/block/" + name).c_str(), F_OK) == 0;
}

}  // namespace

std::vector<std::string> findInstances(GroupIndex group) {
  if (group == machine::kSystemGroup) return {""};
  std::vector<std::string> names;
  for (const Row &row : readRows(group)) {
    if (names.size() < machine::kMaxInstances && isWorthShowing(group, row)) names.push_back(row.name);
  }
  return names;
}

void readGroup(GroupIndex group, const std::vector<std::string> &instances, std::vector<Reading> &readings) {
  const std::span<const machine::Field> fields = machine::kGroups[group].fields;
  readings.assign(instances.size() * fields.size(), Reading{});
  if (group == machine::kSystemGroup) {
    readLoad(readings.data());
    readMemory(readings.data());
    return;
  }
  for (const Row &row : readRows(group)) {
    const auto found = std::find(instances.begin(), instances.end(), row.name);
    if (found == instances.end()) continue;
    const auto first = static_cast<size_t>(found - instances.begin()) * fields.size();
    for (size_t f = 0; f < fields.size(); ++f) readings[first + f] = fit(fields[f].shape, row.values[f]);
  }
}
