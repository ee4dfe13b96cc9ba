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

// One group's node. The records' addresses stay good because no property is ever deleted.
struct PublishedNode {
  machine::GroupIndex group = machine::kSystemGroup;
  std::vector<std::string> instances;
  SNodeCB_t *node = nullptr;
  uint64_t offset = 0;
  std::vector<SNodeProperty_t *> records;  // of the fields of each instance, in the order of the readings
  SNodeProperty_t *sampleTime = nullptr;
  SNodeProperty_t *sampleCount = nullptr;
};

class Segment {
 public:
  // The key, as kept in the upper half of the segment's; and how often samples will come, in milliseconds, by which
  // readers judge whether the publisher lives.
  Segment(std::uint64_t key, std::uint32_t interval) : key_(key), interval_(interval) {}
  ~Segment();
  Segment(const Segment &) = delete;
  Segment &operator=(const Segment &) = delete;

  // Makes everything, a node for each group with these instances; false after a message. A segment that a publisher
  // left behind which has ended is removed first.
  bool create(const std::vector<std::string> (&instances)[machine::kGroupCount]);

  // Writes one sample of a node, all of it in one section, so that no reader sees half of it, and refreshes the node.
  bool publish(PublishedNode &node, const std::vector<Reading> &readings, std::uint32_t milliseconds,
               std::uint32_t count);

  std::vector<PublishedNode> &nodes() { return nodes_; }

  // Removes what a publisher that has ended left under the key. True when nothing is there afterwards.
  static bool removeLeftOver(std::uint64_t key);

 private:
  bool createDomain(std::uint64_t size);
  bool createNode(PublishedNode &node);
  bool fillNode(PublishedNode &node);
  bool writeDirectory();

  std::uint64_t key_;
  std::uint32_t interval_;
  ShmDomainHandle *domain_ = nullptr;
  ShmPoolHandle *pool_ = nullptr;
  std::vector<PublishedNode> nodes_;
  machine::Directory directory_ = {};  // as it was written last
};
