// What this machine tells about itself, from /proc. One thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "../machine/measures.h"

struct Reading {
  std::int32_t value = 0;
  std::uint64_t rc = machine::kNotAvailable;
};

// The names of a group's instances as they are now. The system's single instance has an empty name.
std::vector<std::string> findInstances(machine::GroupIndex group);

// Reads a group anew: for each of these instances its fields, one instance after another. What the machine does not tell
// is kNotAvailable; a value from an earlier call never stays.
void readGroup(machine::GroupIndex group, const std::vector<std::string> &instances, std::vector<Reading> &readings);
