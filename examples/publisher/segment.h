/* SPDX-License-Identifier: MIT */
// The publisher's segment: its domain, pool and nodes, from creation to removal.
// Thread safety: one thread.
// Invariants:
// 1. The publisher owns the segment: it alone writes the directory and the values, and removes everything at its end.
// 2. After any failure, the destructor of Segment removes everything created so far.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "../machine/directory.h"
#include "sources.h"

// One group's node. Properties are never deleted, so their records stay valid; mounts, which change, are found by name.
struct PublishedNode {
  machine::GroupIndex group = machine::kSystemGroup;
  std::vector<std::string> instances;
  SNodeCB_t *node = nullptr;
  uint64_t offset = 0;
  uint64_t kinds = 0;                      // SNTR_KIND_* bits of its lists
  uint64_t sizes[SNTR_AREA_COUNT] = {};    // of its areas, in bytes
  std::vector<SNodeProperty_t *> records;  // R: of the fields of each instance, in the order of the readings
  SNodeProperty_t *sampleTime = nullptr;
  SNodeProperty_t *sampleCount = nullptr;
  SNodeProperty_t *omittedCount = nullptr;
  std::vector<SNodeProperty_t *> named;  // IR: of each instance
  SNodeProperty_t *texts[std::size(machine::kTextNames)] = {};
  SNodeProperty_t *uptime = nullptr;
  SNodeProperty_t *summary = nullptr;
  std::uint32_t omitted = 0;  // mounts without room
};

class Segment {
 public:
  // Takes the key, as in the upper half of the segment's; the sample interval in milliseconds, by which readers detect
  // a late publisher; the kinds of properties of its nodes, R always included; and the most mounts to publish.
  Segment(std::uint64_t key, std::uint32_t interval, std::uint64_t kinds, std::size_t capacity)
      : key_(key), interval_(interval), kinds_(kinds), capacity_(capacity) {}
  ~Segment();
  Segment(const Segment &) = delete;
  Segment &operator=(const Segment &) = delete;

  // Creates everything, a node for each group with these instances; returns false after a message. Removes a segment of
  // a publisher that has ended first. `cpu` and `mounts` are the system's IV properties; more mounts may follow.
  bool create(const std::vector<std::string> (&instances)[machine::kGroupCount], const std::vector<NamedValue> &cpu,
              const std::vector<NamedValue> &mounts);

  // Writes one sample of a node in one section, so that no reader sees half of it, and refreshes the node. Only the
  // system's node uses the texts.
  bool publish(PublishedNode &node, const Readings &readings, const SystemTexts &texts, std::uint32_t milliseconds,
               std::uint32_t count);

  // Adds new mounts and deletes old ones.
  bool updateMounts(const std::vector<NamedValue> &mounts);

  std::vector<PublishedNode> &nodes() { return nodes_; }

  // Removes the segment under the key if its publisher has ended. Returns true if none is left.
  static bool removeLeftOver(std::uint64_t key);

 private:
  bool createDomain(std::uint64_t size);
  bool createNode(PublishedNode &node);
  bool writeDirectory();
  std::uint32_t replaceMounts(const std::vector<NamedValue> &mounts);

  std::uint64_t key_;
  std::uint32_t interval_;
  std::uint64_t kinds_;
  std::size_t capacity_;
  std::size_t mountCapacity_ = 0;
  ShmDomainHandle *domain_ = nullptr;
  ShmPoolHandle *pool_ = nullptr;
  std::vector<PublishedNode> nodes_;
  std::vector<NamedValue> mounts_;     // the published ones
  machine::Directory directory_ = {};  // as last written
};
