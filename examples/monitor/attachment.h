// The monitor's view of a publisher's segment: found by the key alone, mapped at another address than the publisher's,
// with every position in it checked before use. One thread.
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
  Value omitted;              // how many instances, or mounts, the machine has that the node has no room for
  std::vector<Value> values;  // the fields of each instance, one instance after another
  Lists lists;
};

// What a look at a node says of its publisher: it refreshes the node; it is late; or it has been late for ten intervals
// and more, has given the node up, or has taken everything away.
enum class Liveness { Live, Late, Gone };

// A node of the segment, and what this process has copied of its description.
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
  Gone,      // the publisher has taken the segment, or the node, out of use
  Failed,    // after a message
};

class Attachment {
 public:
  explicit Attachment(std::uint64_t key) : key_(key) {}
  ~Attachment();
  Attachment(const Attachment &) = delete;
  Attachment &operator=(const Attachment &) = delete;

  // Maps the segment and finds the nodes. `last`: nothing will be tried again, so the reason is told.
  Answer attach(bool last);

  // Whether the segment still is a domain with a directory.
  Answer check();

  // Looks whether a node is still being refreshed.
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
  std::uint64_t poolStart_ = 0;  // where nodes can lie, as offsets from the start of the domain
  std::uint64_t poolEnd_ = 0;
  machine::Directory directory_ = {};  // as it was when the nodes were found
  std::vector<WatchedNode> nodes_;
};
