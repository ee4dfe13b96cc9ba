/* SPDX-License-Identifier: MIT */
// The values that the publisher measures and the monitor shows: their groups, one status node each, and their tags.
//
// This is the agreement between the two programs. A change of a tag or of a field's meaning must raise
// kDirectoryVersion (directory.h), so that programs of different versions refuse each other.
//
// A group has instances (the cores, the disks, ...), and each instance the same fields. Field f of instance i has the
// tag 16 * (i + 1) + f; tags below 16 belong to the node as a whole. All of these are R properties.
//
// The group's kinds define the rest: registers under an instance's own name (IR), texts of the machine (V), texts and
// records by name (IV), the uptime (BaseR), and a summary in words (BaseV). The tag identifies the value.
//
// A register is a signed 32-bit number. A counter, which would outgrow it, is published modulo 2^32: the difference of
// two readings modulo 2^32 is right if less than 2^32 was counted in between. The property's result code marks a level
// that does not fit, and a text that was cut.
#pragma once

#include <sntr/sntr.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace machine {

enum class Shape : std::uint8_t {
  Level,       // the number itself
  Hundredths,  // a level in units of 1/100
  Counter,     // only grows; modulo 2^32
};

struct Field {
  const char *name;
  Shape shape;
};

struct Group {
  const char *name;
  std::span<const Field> fields;
  std::uint32_t kinds;        // SNTR_KIND_* bits
  std::uint64_t namedTag;     // IR: the tag of the register under an instance's name, the sum of two counters:
  std::uint32_t namedSum[2];  // these fields
};

// In the order of their enumerators. Sizes are in KiB, times in the unit of the name; a tick is 1/100 s.
enum SystemField : std::uint32_t {
  kLoad1,
  kLoad5,
  kLoad15,
  kRunning,
  kThreads,
  kMemTotal,
  kMemFree,
  kMemAvailable,
  kBuffers,
  kCached,
  kSwapTotal,
  kSwapFree
};
inline constexpr Field kSystemFields[] = {
    {"load_1min", Shape::Hundredths}, {"load_5min", Shape::Hundredths},    {"load_15min", Shape::Hundredths},
    {"running", Shape::Level},        {"threads", Shape::Level},           {"mem_total_kib", Shape::Level},
    {"mem_free_kib", Shape::Level},   {"mem_available_kib", Shape::Level}, {"buffers_kib", Shape::Level},
    {"cached_kib", Shape::Level},     {"swap_total_kib", Shape::Level},    {"swap_free_kib", Shape::Level},
};
static_assert(std::size(kSystemFields) == kSwapFree + 1);

enum CpuField : std::uint32_t { kUser, kSystem, kIdle, kIoWait };
inline constexpr Field kCpuFields[] = {
    {"user_ticks", Shape::Counter},
    {"system_ticks", Shape::Counter},
    {"idle_ticks", Shape::Counter},
    {"iowait_ticks", Shape::Counter},
};
static_assert(std::size(kCpuFields) == kIoWait + 1);

enum DiskField : std::uint32_t { kReads, kReadKiB, kWrites, kWrittenKiB, kBusy };
inline constexpr Field kDiskFields[] = {
    {"reads", Shape::Counter},       {"read_kib", Shape::Counter}, {"writes", Shape::Counter},
    {"written_kib", Shape::Counter}, {"busy_ms", Shape::Counter},
};
static_assert(std::size(kDiskFields) == kBusy + 1);

enum NetworkField : std::uint32_t { kReceivedKiB, kReceivedPackets, kSentKiB, kSentPackets };
inline constexpr Field kNetworkFields[] = {
    {"received_kib", Shape::Counter},
    {"received_packets", Shape::Counter},
    {"sent_kib", Shape::Counter},
    {"sent_packets", Shape::Counter},
};
static_assert(std::size(kNetworkFields) == kSentPackets + 1);

// The tags of the other kinds. A reader shows an unnamed one by its number.
enum TextTag : std::uint64_t { kHostName = 1, kKernel };                // V: text
enum NamedRegisterTag : std::uint64_t { kBusyTicks = 1, kTrafficKiB };  // IR: counter, by the instance's name
enum NamedValueTag : std::uint64_t { kCpuInfo = 1, kMount };  // IV: text by its name in /proc; Mount by its place
inline constexpr std::uint64_t kUptime = 1;                   // BaseR: counter of seconds
inline constexpr std::uint64_t kSummary = 1;                  // BaseV: text

struct Kind {
  std::uint32_t bit;                  // SNTR_KIND_*
  const char *name;                   // in messages and tables
  const char *key;                    // in JSON and options
  std::span<const char *const> tags;  // the names of tags 1 and up
};
inline constexpr const char *kTextNames[] = {"host_name", "kernel"};
inline constexpr const char *kNamedRegisterNames[] = {"busy_ticks", "traffic_kib"};
inline constexpr const char *kNamedValueNames[] = {"cpu", "mount"};
inline constexpr const char *kBaseRegisterNames[] = {"uptime_s"};
inline constexpr const char *kBaseTextNames[] = {"summary"};
// The kinds beside R.
inline constexpr Kind kKinds[] = {{SNTR_KIND_V, "V", "v", kTextNames},
                                  {SNTR_KIND_IR, "IR", "ir", kNamedRegisterNames},
                                  {SNTR_KIND_IV, "IV", "iv", kNamedValueNames},
                                  {SNTR_KIND_BASE_R, "BaseR", "base_r", kBaseRegisterNames},
                                  {SNTR_KIND_BASE_V, "BaseV", "base_v", kBaseTextNames}};
inline constexpr std::size_t kKindCount = std::size(kKinds);

// Texts are bytes without an end mark. Maximum sizes in bytes: of a text (V, BaseV), and of identifiers.
inline constexpr std::uint64_t kTextSize = 256;
inline constexpr std::uint64_t kInstanceNameSize = 32;
inline constexpr std::uint64_t kPlaceSize = 256;

// The value of a mount, whose identifier is the mount point as /proc writes it.
struct Mount {
  char device[168];  // both end with a NUL
  char type[24];
  std::uint32_t readOnly;  // 0 or 1
  std::uint32_t reserved;
};
static_assert(sizeof(Mount) == 200);
inline constexpr std::uint64_t kNamedValueSize = sizeof(Mount);  // the texts of this kind are no longer

// One node each, in this order in the directory.
enum GroupIndex : std::uint32_t { kSystemGroup, kCpuGroup, kDiskGroup, kNetworkGroup, kGroupCount };
inline constexpr Group kGroups[kGroupCount] = {
    {"system", kSystemFields, SNTR_KIND_R | SNTR_KIND_V | SNTR_KIND_IV | SNTR_KIND_BASE_R | SNTR_KIND_BASE_V, 0, {}},
    {"cpu", kCpuFields, SNTR_KIND_R | SNTR_KIND_IR, kBusyTicks, {kUser, kSystem}},
    {"disk", kDiskFields, SNTR_KIND_R, 0, {}},
    {"network", kNetworkFields, SNTR_KIND_R | SNTR_KIND_IR, kTrafficKiB, {kReceivedKiB, kSentKiB}}};

inline constexpr std::uint64_t kSampleTimeTag = 1;   // counter of milliseconds: the time of the sample
inline constexpr std::uint64_t kSampleCountTag = 2;  // counter of samples
inline constexpr std::uint64_t kOmittedTag = 3;      // instances (system: mounts) of the machine that the node omits
inline constexpr std::uint64_t kTagsPerInstance = 16;
static_assert(std::size(kSystemFields) <= kTagsPerInstance && std::size(kDiskFields) <= kTagsPerInstance);

// The tag of a group's node; its identifier is the group's name.
constexpr std::uint64_t nodeTagOf(std::uint32_t group) { return group + 1; }
inline constexpr std::uint64_t kNodeIDCapacity = 32;

// The most instances of a group that are published.
inline constexpr std::uint32_t kMaxInstances = 256;
static_assert((kMaxInstances + 1) * kTagsPerInstance <= SNTR_MAX_TAG);

constexpr std::uint64_t tagOf(std::size_t instance, std::size_t field) {
  return kTagsPerInstance * (instance + 1) + field;
}

// The result code beside each value.
inline constexpr std::uint64_t kAvailable = 0;
inline constexpr std::uint64_t kNotAvailable = 1;  // not provided by the machine (any more); the value is meaningless
inline constexpr std::uint64_t kTooLarge = 2;      // no room for all of it; the value is the largest, or cut

}  // namespace machine
