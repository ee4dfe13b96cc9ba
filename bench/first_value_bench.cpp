// SPDX-License-Identifier: MIT
// The first value that a fresh process reads, from its main() on: this library beside a bare map and read of the same
// memory. The readers are programs of their own, in first_value/, and take the time themselves.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>

#include "support/r_stores.h"

namespace bench {

namespace {

constexpr std::uint64_t kTag = 500;
constexpr std::int32_t kValue = 4711;
constexpr std::uint32_t kProcesses = 100;

// A segment that other processes find by its name, with a node of 1,000 properties.
class Published {
 public:
  Published() : segment_(std::uint64_t{1} << 20, nullptr, Segment::Name::Kept) {
    constexpr std::uint64_t kCapacity = 1000;
    node_ = segment_.makeNode({{SNTR_KIND_R, 0x18 + 0xa0 * bucketsFor(kCapacity)}}, SNTR_MODEL_LATCHED);
    requireOk(sntrCreateRPropertyList(node_, nullptr, nullptr, 0, kCapacity, SNTR_LAYOUT_HASH, 0), "creating a list");
    for (std::uint64_t tag = 1; tag <= kCapacity; ++tag) {
      requireOk(sntrAddRProperty(node_, tag, kValue, 0), "adding");
    }
    const std::uint64_t place[2] = {segment_.offsetOf(node_), 0};
    requireOk(sntrSetDomainUserAppData(segment_.domain(), sizeof place, place), "telling the place");
  }

  std::vector<std::string> argumentsForOurs() const {
    char high[32];
    char low[32];
    std::snprintf(high, sizeof high, "%llx", static_cast<unsigned long long>(segment_.key().high));
    std::snprintf(low, sizeof low, "%x", segment_.key().low);
    return {"first_value_ours", high, low, std::to_string(kTag)};
  }
  std::vector<std::string> argumentsForBare() const { return argumentsFor("first_value_bare"); }
  std::vector<std::string> argumentsForFloor() const { return argumentsFor("first_value_floor"); }

 private:
  std::vector<std::string> argumentsFor(const char *reader) const {
    std::int32_t *value = nullptr;
    requireOk(sntrGetAddressForRPropertyValue(node_, kTag, &value), "looking a value up");
    const auto base = static_cast<const char *>(segment_.domain()->baseAddress);
    char name[64];
    std::snprintf(name, sizeof name, "/qx7osse.%016llx%08x", static_cast<unsigned long long>(segment_.key().high),
                  segment_.key().low);
    return {reader, name, std::to_string(reinterpret_cast<const char *>(value) - base)};
  }

  Segment segment_;
  SNodeCB_t *node_;
};

// Runs a reader from this program's folder; returns its nanoseconds.
double run(std::vector<std::string> arguments) {
  const auto program = std::filesystem::read_symlink("/proc/self/exe").parent_path() / arguments[0];
  std::vector<char *> argv;
  for (std::string &argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);

  int ends[2];
  require(pipe2(ends, O_CLOEXEC) == 0, "making a pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  pid_t child = 0;
  const int started = posix_spawn(&child, program.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  std::array<char, 64> text{};
  const ssize_t length = started == 0 ? read(ends[0], text.data(), text.size() - 1) : -1;
  close(ends[0]);
  int status = -1;
  if (started == 0) waitpid(child, &status, 0);

  double taken = 0;
  std::int32_t value = 0;
  const bool told = length > 0 && std::sscanf(text.data(), "%lf %d", &taken, &value) == 2;
  require(status == 0 && told && value == kValue, "the reader failed: " + program.string());
  return taken;
}

// One round runs kProcesses processes and takes their median: a few in a hundred are interrupted.
void addReader(const std::string &subject, std::vector<std::string> (Published::*arguments)() const) {
  add("first_value/" + subject,
      [arguments](benchmark::State &state) {
        const Published published;
        for (auto _ : state) {
          std::vector<double> taken;
          for (std::uint32_t i = 0; i < kProcesses; ++i) taken.push_back(run((published.*arguments)()));
          std::nth_element(taken.begin(), taken.begin() + kProcesses / 2, taken.end());
          state.SetIterationTime(taken[kProcesses / 2] * 1e-9);
        }
      })
      ->UseManualTime()
      ->Iterations(1);
}

const bool registered = [] {
  addReader("ours", &Published::argumentsForOurs);
  addReader("bare", &Published::argumentsForBare);
  addReader("floor", &Published::argumentsForFloor);
  return true;
}();

}  // namespace

}  // namespace bench
