/* SPDX-License-Identifier: MIT */
// The monitor's view of a publisher's segment: found by the key alone, mapped at another address than the publisher's.
// Thread safety: one thread.
// Invariant: every position in the segment is checked before use.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "../machine/directory.h"
#include "lists.h"

struct Value {
  std::int32_t number = 0;
  std::uint64_t rc = machine::kNotAvailable;
};

// The values of one node, all of one sample.
struct Sample {
  Value time;
  Value count;
  Value omitted;              // number of instances, or mounts, of the machine without room in the node
  std::vector<Value> values;  // the fields of each instance, one instance after another
  Lists lists;
};

// The publisher's state by its node. Live: it refreshes the node. Late: it is late. Gone: it has been late for ten
// intervals and more, has abandoned the node, or has removed everything.
enum class Liveness { Live, Late, Gone };

// A node of the segment, and this process's copy of its description.
struct WatchedNode {
  machine::GroupIndex group = machine::kSystemGroup;
  std::string name;  // the node's identifier
  std::uint64_t tag = 0;
  std::vector<std::string> instances;  // printable characters only
  SNodeCB_t *node = nullptr;
  SNodeObserver observer = {};
};

enum class Answer {
  Good,
  NotThere,  // no segment with the key, or its nodes are not ready: try again
  Gone,      // the publisher has ended the segment, or the node
  Failed,    // after a message
};

class Attachment {
 public:
  explicit Attachment(std::uint64_t key) : key_(key) {}
  ~Attachment();
  Attachment(const Attachment &) = delete;
  Attachment &operator=(const Attachment &) = delete;

  // Maps the segment and finds the nodes. `last`: this is the last attempt, so the reason is printed.
  Answer attach(bool last);

  // Checks that the segment is still a domain with a directory.
  Answer check();

  // Checks that a node is still being refreshed.
  Answer look(std::size_t node, Liveness &liveness);

  // Reads all values of a node in one section.
  Answer read(const WatchedNode &node, Sample &sample);

  const std::vector<WatchedNode> &nodes() const { return nodes_; }
  const machine::Owner &publisher() const { return directory_.owner; }
  std::uint64_t publisherBase() const { return directory_.publisherBase; }
  std::uint64_t base() const { return reinterpret_cast<std::uintptr_t>(domain_->baseAddress); }

 private:
  Answer connect(void *wantedAddress, bool last);
  Answer readDirectory(machine::Directory &directory);
  Answer findNodes();
  Answer readNames(WatchedNode &node);
  bool isNodeInside(const WatchedNode &node) const;
  Answer readValues(const WatchedNode &node, Sample &sample);
  void disconnect();

  std::uint64_t key_;
  ShmDomainHandle *domain_ = nullptr;
  ShmPoolHandle *pool_ = nullptr;
  std::uint64_t poolStart_ = 0;  // the range of nodes, as offsets from the start of the domain
  std::uint64_t poolEnd_ = 0;
  machine::Directory directory_ = {};  // as it was when the nodes were found
  std::vector<WatchedNode> nodes_;
};
