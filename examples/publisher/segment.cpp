// SPDX-License-Identifier: MIT
// See segment.h.
#include "segment.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "../machine/process.h"
#include "lists.h"

namespace {

constexpr char kProgram[] = "publisher";
constexpr int kCreationAttempts = 3;
constexpr std::size_t kLeastMounts = 64;  // spare room for later mounts, if the capacity allows
constexpr std::size_t kMostMounts = machine::kMaxInstances;

bool complain(const char *what, std::uint32_t rc) { return machine::complain(kProgram, what, rc); }

// The owner of the segment under the key, if it can be determined.
struct LeftOver {
  ShmDomainHandle *domain = nullptr;  // connected; null if that failed
  machine::Owner owner = {};
  bool hasOwner = false;
};

LeftOver inspect(std::uint64_t key) {
  LeftOver found;
  const OSSIPCResID id = machine::keyOf(key);
  const ShmDomainParams params = machine::domainParams(SNTR_DOMAIN_ATTACHED);
  if (sntrConnectToShmDomain(&id, nullptr, &params, &found.domain) != 0) return found;

  // The whole area is copied, so check first that its size is that of a directory.
  ShmHeapInfo info = {};
  machine::Directory directory = {};
  std::uint64_t size = 0;
  if (sntrGetShmDomainInfo(found.domain, &info) != 0 || info.userAppAreaSize != sizeof directory) return found;
  if (sntrGetDomainUserAppData(found.domain, &size, &directory) != 0) return found;
  found.hasOwner = machine::hasOwner(directory);
  found.owner = directory.owner;
  return found;
}

void explainRefusal(std::uint64_t key, const LeftOver &found) {
  const std::string path = machine::pathOf(key);
  if (found.hasOwner && machine::lifeOf(found.owner) == machine::Life::Lives) {
    std::fprintf(stderr, "%s: process %llu publishes under this key already; end it, or choose another --key\n",
                 kProgram, static_cast<unsigned long long>(found.owner.pid));
    return;
  }
  std::fprintf(stderr,
               "%s: %s exists, and whether somebody uses it cannot be told. Choose another --key, or remove the file "
               "if you know that nobody does\n",
               kProgram, path.c_str());
}

}  // namespace

bool Segment::removeLeftOver(std::uint64_t key) {
  if (access(machine::pathOf(key).c_str(), F_OK) != 0 && errno == ENOENT) return true;
  LeftOver found = inspect(key);
  const bool removable = found.hasOwner && machine::lifeOf(found.owner) == machine::Life::Ended;
  if (!removable) {
    explainRefusal(key, found);
    if (found.domain != nullptr) static_cast<void>(sntrDisconnectFromShmDomain(&found.domain));
    return false;
  }
  // A reader that is still attached keeps the memory, and finds the publisher gone. If another publisher meanwhile did
  // the same and created its own segment, the name leads to that one and stays.
  std::fprintf(stderr, "%s: removing the segment that process %llu left behind\n", kProgram,
               static_cast<unsigned long long>(found.owner.pid));
  const std::uint32_t rc = sntrFreeShmDomain(&found.domain, SNTR_FREE_DOMAIN_ALWAYS);
  return rc == 0 || complain("removing a segment that was left behind", rc);
}

Segment::~Segment() {
  // A reader inside a node has it to itself; the next one finds it abandoned.
  for (PublishedNode &node : nodes_) {
    if (node.node != nullptr) static_cast<void>(sntrAbandonNode(&node.node));
  }
  // The pool goes with its domain; only the handle needs freeing. Readers keep its memory.
  if (pool_ != nullptr) static_cast<void>(sntrDestroyShmPoolHandle(&pool_));
  if (domain_ == nullptr) return;
  const std::uint32_t rc = sntrFreeShmDomain(&domain_, SNTR_FREE_DOMAIN_ALWAYS);
  if (rc != 0) static_cast<void>(complain("removing the segment", rc));
}

bool Segment::createDomain(std::uint64_t size) {
  directory_.magic = machine::kDirectoryMagic;
  directory_.version = machine::kDirectoryVersion;
  directory_.owner = machine::thisProcess();
  machine::seal(directory_);

  ShmDomainParams params = machine::domainParams(SNTR_DOMAIN_CREATED);
  params.userAppAreaSize = sizeof directory_;
  params.userAppData = &directory_;
  const OSSIPCResID id = machine::keyOf(key_);
  for (int attempt = 0; attempt < kCreationAttempts; ++attempt) {
    const std::uint32_t rc = sntrCreateShmDomain(&id, nullptr, size, &params, &domain_);
    if (rc == 0 && domain_ != nullptr) return true;
    if (rc == 0) {
      std::fprintf(stderr, "%s: /dev/shm has no room for %llu KiB, or is closed to this user\n", kProgram,
                   static_cast<unsigned long long>(size / 1024));
      return false;
    }
    if (rc != SNTR_RC_SEGMENT_EXISTS) return complain("creating the segment", rc);
    if (!removeLeftOver(key_)) return false;
  }
  return complain("creating the segment", SNTR_RC_SEGMENT_EXISTS);
}

bool Segment::createNode(PublishedNode &node) {
  ShmSegInfo_t where = {};
  where.recordVersion = where.version = where.latchVersion = SNTR_VERSION;
  where.domain = domain_;
  where.pool = pool_;
  node.sizes[SNTR_AREA_NODE_ID] = 16 + machine::kNodeIDCapacity;  // two words before the bytes
  const char *const id = machine::kGroups[node.group].name;
  SNodeParams params = {};
  params.statusMode = SNTR_LIVENESS_TIME;
  params.updateInterval = interval_;
  std::uint64_t size = 0;
  const auto base = reinterpret_cast<std::uintptr_t>(domain_->baseAddress);

  std::uint32_t rc =
      sntrCreateNode(&where, &node.node, node.kinds | SNTR_OPTION_NODE_ID, node.sizes, &size, &node.offset);
  if (rc != 0) return complain("creating a node", rc);
  rc = sntrInitNode(&node.node, base, std::strlen(id), id, nullptr, nullptr, machine::kNodeIDCapacity, nullptr, nullptr,
                    &params);
  if (rc != 0) return complain("initializing a node", rc);
  rc = sntrActivateNode(&node.node);
  if (rc != 0) return complain("activating a node", rc);
  rc = sntrSetNodeTag(node.node, machine::nodeTagOf(node.group), 0);
  return rc == 0 || complain("giving a node its tag", rc);
}

bool Segment::writeDirectory() {
  std::uint32_t labels = 0;
  directory_.publisherBase = reinterpret_cast<std::uintptr_t>(domain_->baseAddress);
  directory_.poolHeaderOffset = pool_->poolHeaderOffset;
  for (const PublishedNode &node : nodes_) {
    machine::NodeEntry &entry = directory_.node[node.group];
    std::snprintf(entry.name, sizeof entry.name, "%s", machine::kGroups[node.group].name);
    entry.nodeOffset = node.offset;
    entry.instances = static_cast<std::uint32_t>(node.instances.size());
    entry.firstLabel = labels;
    for (const std::string &label : node.instances) {
      char *text = directory_.label[labels++];
      std::snprintf(text, machine::kLabelSize, "%.*s", static_cast<int>(machine::kLabelSize - 1), label.c_str());
    }
  }
  directory_.nodes = static_cast<std::uint32_t>(nodes_.size());
  machine::seal(directory_);
  const std::uint32_t rc = sntrSetDomainUserAppData(domain_, sizeof directory_, &directory_);
  return rc == 0 || complain("writing the directory", rc);
}

bool Segment::create(const std::vector<std::string> (&instances)[machine::kGroupCount],
                     const std::vector<NamedValue> &cpu, const std::vector<NamedValue> &mounts) {
  mountCapacity_ = std::clamp(2 * mounts.size(), kLeastMounts, kMostMounts);
  mountCapacity_ = std::min<std::size_t>(mountCapacity_, capacity_);
  std::uint64_t poolSize = 0x1000;
  for (std::uint32_t group = 0; group < machine::kGroupCount; ++group) {
    PublishedNode node;
    node.group = static_cast<machine::GroupIndex>(group);
    node.instances = instances[group];
    planLists(node, kinds_, cpu.size(), mountCapacity_);
    poolSize += sizeof(SNodeCB_t) + 16 + machine::kNodeIDCapacity + 0x100;
    for (const std::uint64_t size : node.sizes) poolSize += size;
    nodes_.push_back(std::move(node));
  }
  // The header, the directory and the bookkeeping of domain and pool add less than a quarter of a MiB and of the pool.
  if (!createDomain(poolSize + poolSize / 4 + sizeof directory_ + 0x40000)) return false;
  const std::uint32_t rc = _sntrCreateShmPool(&pool_, domain_, poolSize, nullptr, 0, __FILE__, __LINE__);
  if (rc != 0) return complain("creating the pool", rc);
  for (PublishedNode &node : nodes_) {
    if (!createNode(node) || !layOutLists(node, cpu, mountCapacity_)) return false;
  }
  return updateMounts(mounts) && writeDirectory();
}

bool Segment::publish(PublishedNode &node, const Readings &readings, const SystemTexts &texts,
                      std::uint32_t milliseconds, std::uint32_t count) {
  SNodeLatchBlock_t *latch = &node.node->primaryLatch;
  const std::uint32_t entered = sntrEnterCriticalSectionBeforeWrite(node.node, latch);
  if (entered != 0) return complain("entering a node", entered);
  const std::uint32_t written = writeSample(node, readings, texts, milliseconds, count);
  const std::uint32_t left = sntrExitCriticalSectionAfterWrite(node.node, latch);
  if (written != 0) return complain("writing a value", written);
  if (left != 0) return complain("leaving a node", left);
  const std::uint32_t refreshed = sntrUpdateNodeStatus(node.node);
  return refreshed == 0 || complain("refreshing a node", refreshed);
}

bool Segment::updateMounts(const std::vector<NamedValue> &mounts) {
  PublishedNode &system = nodes_[machine::kSystemGroup];
  if ((system.kinds & SNTR_KIND_IV) == 0) return true;
  SNodeLatchBlock_t *latch = &system.node->primaryLatch;
  const std::uint32_t entered = sntrEnterCriticalSectionBeforeWrite(system.node, latch);
  if (entered != 0) return complain("entering a node", entered);
  const std::uint32_t written = replaceMounts(mounts);
  const std::uint32_t left = sntrExitCriticalSectionAfterWrite(system.node, latch);
  if (written != 0) return complain("publishing the mounts", written);
  return left == 0 || complain("leaving a node", left);
}

// Deletes old mounts first, to reuse their room.
std::uint32_t Segment::replaceMounts(const std::vector<NamedValue> &mounts) {
  PublishedNode &system = nodes_[machine::kSystemGroup];
  std::uint32_t rc = 0;
  const auto samePlace = [](const NamedValue &mount) {
    return [&mount](const NamedValue &other) { return other.id == mount.id; };
  };
  const auto isGone = [&](const NamedValue &old) {
    if (rc != 0 || std::any_of(mounts.begin(), mounts.end(), samePlace(old))) return false;
    rc = sntrDeleteIVProperty(system.node, machine::kMount, old.id.size(), old.id.data(), 1);
    return rc == 0;
  };
  mounts_.erase(std::remove_if(mounts_.begin(), mounts_.end(), isGone), mounts_.end());

  system.omitted = 0;
  for (const NamedValue &mount : mounts) {
    if (rc != 0) break;
    const auto known = std::find_if(mounts_.begin(), mounts_.end(), samePlace(mount));
    if (known != mounts_.end()) {
      rc = sntrSetValueForIVProperty(system.node, machine::kMount, mount.id.size(), mount.id.data(), mount.bytes.size(),
                                     mount.bytes.data(), 1);
    } else if (mounts_.size() < mountCapacity_ && mount.id.size() <= machine::kPlaceSize) {
      rc = sntrAddIVProperty(system.node, machine::kMount, mount.id.size(), mount.id.data(), mount.bytes.size(),
                             mount.bytes.data(), 1);
      if (rc == 0) mounts_.push_back(mount);
    } else {
      ++system.omitted;
      continue;
    }
    if (rc == 0) {
      rc = sntrSetRCForIVProperty(system.node, machine::kMount, mount.id.size(), mount.id.data(), mount.rc, 1);
    }
  }
  return rc;
}
