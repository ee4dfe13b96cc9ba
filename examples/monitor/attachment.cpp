// SPDX-License-Identifier: MIT
// See attachment.h.
#include "attachment.h"

#include <oss/identity.h>

#include <cstdio>

#include "../machine/process.h"

namespace {

constexpr char kProgram[] = "monitor";
constexpr int kAddressAttempts = 8;

// Between two attempted addresses. Far more than a segment takes.
constexpr std::uint64_t kAddressStep = std::uint64_t{1} << 36;

Answer failed(const char *what, std::uint32_t rc) {
  static_cast<void>(machine::complain(kProgram, what, rc));
  return Answer::Failed;
}

Answer failed(const char *what) {
  std::fprintf(stderr, "%s: %s\n", kProgram, what);
  return Answer::Failed;
}

}  // namespace

Attachment::~Attachment() { disconnect(); }

void Attachment::disconnect() {
  // If the publisher has freed pool and domain meanwhile, only the handles remain to be freed.
  if (pool_ != nullptr && sntrDisconnectFromShmPool(&pool_) != 0 && pool_ != nullptr) {
    static_cast<void>(sntrDestroyShmPoolHandle(&pool_));
  }
  if (domain_ != nullptr && sntrDisconnectFromShmDomain(&domain_) != 0 && domain_ != nullptr) {
    static_cast<void>(sntrDestroyShmDomainHandle(&domain_));
  }
  nodes_.clear();
}

Answer Attachment::connect(void *wantedAddress, bool last) {
  const OSSIPCResID id = machine::keyOf(key_);
  const ShmDomainParams params = machine::domainParams(SNTR_DOMAIN_ATTACHED);
  const std::uint32_t rc = sntrConnectToShmDomain(&id, wantedAddress, &params, &domain_);
  if (rc == 0) return Answer::Good;
  // While a segment is created or removed it is no domain, or cannot be attached.
  if (last && rc == SNTR_RC_ATTACH_FAILED) {
    return failed("there is no segment with this key, or this user may not attach it; is a publisher running?");
  }
  return last ? failed("connecting to the domain", rc) : Answer::NotThere;
}

Answer Attachment::readDirectory(machine::Directory &directory) {
  ShmHeapInfo info = {};
  std::uint64_t size = 0;
  std::uint32_t rc = sntrGetShmDomainInfo(domain_, &info);
  // The area is copied whole, so its size is read first. If the publisher ends between the two calls there is no domain
  // any more, and the second one refuses.
  if (rc == 0 && info.userAppAreaSize != sizeof directory) return failed("the segment is not a publisher's");
  if (rc == 0) rc = sntrGetDomainUserAppData(domain_, &size, &directory);
  if (rc == SNTR_RC_NOT_A_DOMAIN) return Answer::Gone;
  return rc == 0 ? Answer::Good : failed("reading the directory", rc);
}

Answer Attachment::attach(bool last) {
  void *wanted = nullptr;
  for (std::uint64_t attempt = 1; attempt <= kAddressAttempts; ++attempt) {
    disconnect();
    if (const Answer answer = connect(wanted, last); answer != Answer::Good) return answer;
    if (const Answer answer = readDirectory(directory_); answer != Answer::Good) return answer;
    switch (machine::look(directory_, domain_->mappedSize)) {
      case machine::Look::Good:
        break;
      case machine::Look::NoDirectory:
        return failed("the segment is not a publisher's");
      case machine::Look::OtherVersion:
        return failed("the publisher is of another version");
      case machine::Look::NotReady:
        return last ? failed("the publisher has not finished its nodes") : Answer::NotThere;
      case machine::Look::Damaged:
        return last ? failed("the directory is damaged") : Answer::NotThere;
    }
    // A segment left behind may be replaced at any moment; if it is not, its last values can be shown.
    if (!last && machine::lifeOf(directory_.owner) == machine::Life::Ended) return Answer::NotThere;
    // No code here needs another address; it is requested to show that any works.
    if (base() != directory_.publisherBase) return findNodes();
    wanted = reinterpret_cast<void *>(base() - attempt * kAddressStep);
  }
  return failed("no address but the publisher's is free");
}

Answer Attachment::findNodes() {
  ShmHeapInfo info = {};
  const ShmDomainParams further = {};
  std::uint32_t rc = sntrConnectToShmPool(&pool_, domain_, directory_.poolHeaderOffset, &further);
  if (rc != 0) return failed("connecting to the pool", rc);
  rc = sntrGetShmPoolInfo(pool_, &info);
  if (rc != 0) return failed("reading the pool's information", rc);
  poolStart_ = pool_->poolHeaderOffset;
  if (poolStart_ > domain_->mappedSize || info.totalSize > domain_->mappedSize - poolStart_) {
    return failed("the pool reaches beyond the segment");
  }
  poolEnd_ = poolStart_ + info.totalSize;

  for (std::uint32_t group = 0; group < machine::kGroupCount; ++group) {
    const machine::NodeEntry &entry = directory_.node[group];
    WatchedNode node;
    node.group = static_cast<machine::GroupIndex>(group);
    for (std::uint32_t i = 0; i < entry.instances; ++i) {
      node.instances.push_back(printable(directory_.label[entry.firstLabel + i]));
    }
    node.node = reinterpret_cast<SNodeCB_t *>(static_cast<unsigned char *>(domain_->baseAddress) + entry.nodeOffset);
    // The directory was checked against the segment; nothing in the node is read before it is known to lie in the pool.
    const bool starts = entry.nodeOffset >= poolStart_ && entry.nodeOffset < poolEnd_ &&
                        poolEnd_ - entry.nodeOffset >= sizeof(SNodeCB_t);
    if (!starts) return failed("a node does not lie in the pool");
    node.observer.livenessMode = SNTR_LIVENESS_TIME;
    if (const Answer answer = readNames(node); answer != Answer::Good) return answer;
    nodes_.push_back(node);
  }
  return Answer::Good;
}

// Copies the node's own names inside its section, because the identifier's bytes are the node's.
Answer Attachment::readNames(WatchedNode &node) {
  SNodeLatchBlock_t *latch = &node.node->primaryLatch;
  std::uint32_t rc = sntrEnterCriticalSectionBeforeRead(node.node, latch);
  if (rc != 0) return failed("entering a node", rc);
  const void *id = nullptr;
  std::uint64_t length = 0;
  const bool inside = isNodeInside(node);
  if (inside) rc = sntrGetNodeID(node.node, &id, &length, 1);
  if (inside && rc == 0) node.name = printable({static_cast<const char *>(id), length});
  if (inside && rc == 0) rc = sntrGetNodeTag(node.node, &node.tag, 1);
  const bool abandoned = sntrCheckNodeCondition(node.node, 0) == SNTR_RC_NODE_ABANDONED;
  const std::uint32_t left = sntrExitCriticalSectionAfterRead(node.node, latch);
  if (abandoned) return Answer::Gone;
  if (!inside) return failed("a node reaches beyond its pool");
  if (rc != 0) return failed("reading a node's names", rc);
  return left == 0 ? Answer::Good : failed("leaving a node", left);
}

Answer Attachment::look(std::size_t index, Liveness &liveness) {
  WatchedNode &watched = nodes_[index];
  const std::uint32_t rc = sntrIsStillBeingUpdated(watched.node, &watched.observer);
  if (rc == SNTR_RC_UPDATE_OF_ABANDONED || rc == SNTR_RC_UPDATE_OF_DISASSOCIATED) {
    liveness = Liveness::Gone;
    return Answer::Good;
  }
  if (rc != 0 && rc != SNTR_RC_OWNER_LATE) return failed("looking at a node", rc);
  // Two intervals make a publisher late; after ten more it is considered gone.
  const volatile SNodeCB_t &node = *watched.node;
  const std::uint64_t refreshed = node.nodeTime;
  const std::uint64_t patience = std::uint64_t{node.updateInterval} * 12;
  const std::uint64_t now = ossTimeGetUTC();
  const bool gone = now > refreshed && now - refreshed >= patience;
  liveness = rc == 0 ? Liveness::Live : gone ? Liveness::Gone : Liveness::Late;
  return Answer::Good;
}

// Returns true if all of a node lies in the pool, by its present size. The library checks areas against that size, so
// only the size itself needs a check here.
bool Attachment::isNodeInside(const WatchedNode &node) const {
  const auto offset = static_cast<std::uint64_t>(reinterpret_cast<unsigned char *>(node.node) -
                                                 static_cast<unsigned char *>(domain_->baseAddress));
  std::uint64_t size = 0;
  return sntrGetNodeSize(node.node, &size, 1) == 0 && size <= poolEnd_ - offset;
}

Answer Attachment::readValues(const WatchedNode &node, Sample &sample) {
  std::uint32_t rc = sntrCheckNodeCondition(node.node, 0);
  if (rc == SNTR_RC_NODE_ABANDONED) return Answer::Gone;
  if (rc != 0) return failed("a node's condition", rc);
  if (!isNodeInside(node)) return failed("a node reaches beyond its pool");

  const auto get = [&](std::uint64_t tag, Value &value) {
    SNodeProperty_t *record = nullptr;
    if (rc == 0) rc = sntrGetAddressForRProperty(node.node, tag, &record);
    if (rc == 0) rc = sntrGetValueAndRCForRProperty(node.node, record, &value.number, &value.rc, 1);
  };
  const std::size_t fields = machine::kGroups[node.group].fields.size();
  sample.values.assign(node.instances.size() * fields, Value{});
  get(machine::kSampleTimeTag, sample.time);
  get(machine::kSampleCountTag, sample.count);
  get(machine::kOmittedTag, sample.omitted);
  for (std::size_t i = 0; i < sample.values.size(); ++i) get(machine::tagOf(i / fields, i % fields), sample.values[i]);
  if (rc == 0) rc = readLists(node.node, sample.lists);
  return rc == 0 ? Answer::Good : failed("reading a value", rc);
}

Answer Attachment::read(const WatchedNode &node, Sample &sample) {
  SNodeLatchBlock_t *latch = &node.node->primaryLatch;
  const std::uint32_t entered = sntrEnterCriticalSectionBeforeRead(node.node, latch);
  if (entered != 0) return failed("entering a node", entered);
  const Answer answer = readValues(node, sample);
  const std::uint32_t left = sntrExitCriticalSectionAfterRead(node.node, latch);
  return left == 0 || answer != Answer::Good ? answer : failed("leaving a node", left);
}

Answer Attachment::check() {
  machine::Directory directory = {};
  return readDirectory(directory);
}
