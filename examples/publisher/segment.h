// The publisher's segment: its domain, pool and nodes, from creation to removal. One thread.
//
// The publisher owns the segment: it alone writes the directory and the values, and removes everything at its end.
// Whatever fails, what was made so far goes again with the Segment.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "../machine/directory.h"
#include "sources.h"

// One group's node. The records' addresses stay good because their properties are never deleted; mounts, which come and
// go, are found by their names.
struct PublishedNode {
  machine::GroupIndex group = machine::kSystemGroup;
  std::vector<std::string> instances;
  SNodeCB_t *node = nullptr;
  uint64_t offset = 0;
  uint64_t kinds = 0;                      // SNTR_KIND_* bits that it has
  uint64_t sizes[SNTR_AREA_COUNT] = {};    // of its areas, in bytes
  std::vector<SNodeProperty_t *> records;  // R: of the fields of each instance, in the order of the readings
  SNodeProperty_t *sampleTime = nullptr;
  SNodeProperty_t *sampleCount = nullptr;
  SNodeProperty_t *omittedCount = nullptr;
  std::vector<SNodeProperty_t *> named;  // IR: of each instance
  SNodeProperty_t *texts[std::size(machine::kTextNames)] = {};
  SNodeProperty_t *uptime = nullptr;
  SNodeProperty_t *summary = nullptr;
  std::uint32_t omitted = 0;  // mounts that have found no room
};

class Segment {
 public:
  // The key, as kept in the upper half of the segment's; how often samples will come, in milliseconds, by which readers
  // judge whether the publisher lives; the kinds of properties that its nodes shall have, R always among them; and the
  // most mounts that will be published.
  Segment(std::uint64_t key, std::uint32_t interval, std::uint64_t kinds, std::size_t capacity)
      : key_(key), interval_(interval), kinds_(kinds), capacity_(capacity) {}
  ~Segment();
  Segment(const Segment &) = delete;
  Segment &operator=(const Segment &) = delete;

  // Makes everything, a node for each group with these instances; false after a message. A segment that a publisher
  // left behind which has ended is removed first. `cpu` and `mounts` are the system's IV properties; of the mounts more
  // can come later.
  bool create(const std::vector<std::string> (&instances)[machine::kGroupCount], const std::vector<NamedValue> &cpu,
              const std::vector<NamedValue> &mounts);

  // Writes one sample of a node, all of it in one section, so that no reader sees half of it, and refreshes the node.
  // The texts are looked at for the system's node alone.
  bool publish(PublishedNode &node, const Readings &readings, const SystemTexts &texts, std::uint32_t milliseconds,
               std::uint32_t count);

  // Adds the mounts that are new and deletes those that are gone.
  bool updateMounts(const std::vector<NamedValue> &mounts);

  std::vector<PublishedNode> &nodes() { return nodes_; }

  // Removes what a publisher that has ended left under the key. True when nothing is there afterwards.
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
  std::vector<NamedValue> mounts_;     // that are published
  machine::Directory directory_ = {};  // as it was written last
};
