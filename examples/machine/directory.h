/* SPDX-License-Identifier: MIT */
// The directory by which a reader finds the nodes. It fills the domain's user application area, the one thing in a
// segment that a process finds by the segment's key alone.
//
// The publisher writes it twice. The first time, at the domain's creation, it has only its owner in it, so that a later
// publisher can identify the segment's owner; the second time, the nodes are ready.
// Thread safety: nothing excludes readers meanwhile. A copy may be half old and half new, or overwritten by any
// process. So the directory has a checksum, and each number is checked before use: look() does both on a private copy.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "measures.h"

namespace machine {

inline constexpr std::uint64_t kDirectoryMagic = 0x7963616d2d73746eULL;
inline constexpr std::uint32_t kDirectoryVersion = 2;
inline constexpr std::uint32_t kMaxLabels = kGroupCount * kMaxInstances;
inline constexpr std::size_t kLabelSize = 32;

// The publishing process, with a checksum of its own, which is valid while the rest is being written.
struct Owner {
  std::uint64_t pid;
  std::uint64_t startTime;     // of the process, in ticks since the system started; unlike the pid, never reused
  std::uint64_t pidNamespace;  // the namespace of `pid`
  std::uint64_t checksum;      // of the three words before
};
static_assert(sizeof(Owner) == 32);

// One node. Its instances have `instances` consecutive labels.
struct NodeEntry {
  char name[16];
  std::uint64_t nodeOffset;  // from the start of the domain
  std::uint32_t instances;
  std::uint32_t firstLabel;
};
static_assert(sizeof(NodeEntry) == 32);

struct Directory {
  std::uint64_t magic;
  std::uint32_t version;
  std::uint32_t nodes;  // 0 until they can be read
  Owner owner;
  std::uint64_t publisherBase;  // the address of the domain in the publisher, only for display
  std::uint64_t poolHeaderOffset;
  NodeEntry node[kGroupCount];
  char label[kMaxLabels][kLabelSize];  // of instances, each with a NUL at the end; the machine's own names
  std::uint64_t checksum;              // of everything before
};
static_assert(offsetof(Directory, owner) == 16);
static_assert(offsetof(Directory, node) == 64);
static_assert(sizeof(Directory) == 64 + kGroupCount * sizeof(NodeEntry) + kMaxLabels * kLabelSize + 8);

// Detects accidents, not malice (FNV-1a).
inline std::uint64_t checksumOf(const void *bytes, std::size_t size) {
  std::uint64_t sum = 0xcbf29ce484222325ULL;
  const auto *at = static_cast<const unsigned char *>(bytes);
  for (std::size_t i = 0; i < size; ++i) sum = (sum ^ at[i]) * 0x100000001b3ULL;
  return sum;
}

inline void seal(Directory &directory) {
  directory.owner.checksum = checksumOf(&directory.owner, offsetof(Owner, checksum));
  directory.checksum = checksumOf(&directory, offsetof(Directory, checksum));
}

enum class Look {
  Good,
  NotReady,      // the nodes are not complete yet
  NoDirectory,   // other contents
  OtherVersion,  // a publisher with other tags
  Damaged,       // or just being written: try again
};

// Returns true if `owner` is valid, whatever the rest contains.
inline bool hasOwner(const Directory &directory) {
  return directory.magic == kDirectoryMagic &&
         directory.owner.checksum == checksumOf(&directory.owner, offsetof(Owner, checksum));
}

// Returns true if an entry's labels lie and end in the directory, and its node can lie in a domain of this size.
inline bool isPlausible(const Directory &directory, const NodeEntry &entry, std::uint64_t domainSize) {
  if (entry.name[sizeof entry.name - 1] != '\0') return false;
  if (entry.instances > kMaxInstances || entry.firstLabel > kMaxLabels - entry.instances) return false;
  for (std::uint32_t i = 0; i < entry.instances; ++i) {
    if (std::memchr(directory.label[entry.firstLabel + i], '\0', kLabelSize) == nullptr) return false;
  }
  return entry.nodeOffset % 8 == 0 && entry.nodeOffset != 0 && domainSize >= sizeof(SNodeCB_t) &&
         entry.nodeOffset <= domainSize - sizeof(SNodeCB_t);
}

// Checks a private copy of a directory.
inline Look look(const Directory &directory, std::uint64_t domainSize) {
  if (directory.magic != kDirectoryMagic) return Look::NoDirectory;
  if (directory.version != kDirectoryVersion) return Look::OtherVersion;
  if (directory.checksum != checksumOf(&directory, offsetof(Directory, checksum))) return Look::Damaged;
  if (directory.nodes == 0) return Look::NotReady;
  if (directory.nodes != kGroupCount) return Look::Damaged;
  for (const NodeEntry &entry : directory.node) {
    if (!isPlausible(directory, entry, domainSize)) return Look::Damaged;
  }
  return Look::Good;
}

}  // namespace machine
