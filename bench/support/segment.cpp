// SPDX-License-Identifier: MIT
// See segment.h.
#include "support/segment.h"

#include <unistd.h>

#include <bit>
#include <cstdio>
#include <cstring>

namespace bench {

namespace {

OSSIPCResID newKey() {
  static std::uint32_t count = 0;
  return {std::uint64_t{0x62656e6300000000} | static_cast<std::uint32_t>(getpid()), ++count};
}

void removeName(const OSSIPCResID &key) {
  char name[64];
  std::snprintf(name, sizeof name, "/dev/shm/qx7osse.%016llx%08x", static_cast<unsigned long long>(key.high), key.low);
  unlink(name);
}

}  // namespace

void requireOk(std::uint32_t rc, const char *what) {
  if (rc == SNTR_RC_OK) return;
  char text[160];
  static_cast<void>(sntrPrintrc(rc, text, sizeof text));
  throw Failure(std::string(what) + ": " + text);
}

Segment::Segment(std::uint64_t poolSize, const ShmPoolParams *params, Name name) : key_(newKey()) {
  where_.version = where_.latchVersion = SNTR_VERSION;
  // Adds the headers and bookkeeping of domain and pool: less than a quarter and 1 MiB here.
  const std::uint64_t size = poolSize + poolSize / 4 + (std::uint64_t{1} << 20);
  ShmDomainParams domainParams{};
  domainParams.domainKind = SNTR_DOMAIN_CREATED;
  domainParams.userAppAreaSize = 2 * sizeof(std::uint64_t);
  requireOk(sntrCreateShmDomain(&key_, nullptr, size, &domainParams, &where_.domain), "creating a domain");
  require(where_.domain != nullptr, "the system refused a segment");
  if (name == Name::Removed) removeName(key_);
  requireOk(_sntrCreateShmPool(&where_.pool, where_.domain, poolSize, params, 0, __FILE__, __LINE__),
            "creating a pool");
}

Segment::~Segment() {
  if (where_.pool != nullptr) static_cast<void>(sntrDestroyShmPoolHandle(&where_.pool));
  if (where_.domain != nullptr) static_cast<void>(sntrFreeShmDomain(&where_.domain, SNTR_FREE_DOMAIN_ALWAYS));
}

SNodeCB_t *Segment::makeNode(std::initializer_list<Area> areas, std::uint32_t model) {
  std::uint64_t sizes[SNTR_AREA_COUNT] = {};
  std::uint64_t options = 0;
  for (const Area &area : areas) {
    options |= area.kind;
    sizes[std::countr_zero(area.kind) - 1] = area.size;
  }
  SNodeCB_t *node = nullptr;
  std::uint64_t size = 0;
  std::uint64_t offset = 0;
  const auto base = reinterpret_cast<std::uintptr_t>(where_.domain->baseAddress);
  requireOk(sntrCreateNode(&where_, &node, options, sizes, &size, &offset), "creating a node");
  requireOk(sntrInitNode(&node, base, 0, nullptr, nullptr, nullptr, 0, nullptr, nullptr, nullptr),
            "initializing a node");
  requireOk(sntrActivateNode(&node), "activating a node");
  // The latches exist under every model, so that the same node can be used under any of them.
  requireOk(sntrSetConcurrencyModel(node, model), "setting the model");
  return node;
}

void *Segment::allocate(std::uint64_t size) {
  void *block = nullptr;
  requireOk(_sntrAllocateShmBlock(&block, where_.pool, size, 0, __FILE__, __LINE__), "allocating a block");
  return block;
}

void *Segment::copyOf(const SNodeCB_t *node) {
  void *copy = allocate(node->nodeSize);
  std::memcpy(copy, node, node->nodeSize);
  return copy;
}

std::uint64_t Segment::offsetOf(const SNodeCB_t *node) const {
  return static_cast<std::uint64_t>(reinterpret_cast<const char *>(node) -
                                    static_cast<const char *>(where_.domain->baseAddress));
}

SNodeCB_t *makeNode(std::unique_ptr<Segment> &segment, std::initializer_list<Segment::Area> areas,
                    std::uint32_t model) {
  std::uint64_t size = sizeof(SNodeCB_t) + 0x1000;
  for (const Segment::Area &area : areas) size += area.size;
  segment = std::make_unique<Segment>(size);
  return segment->makeNode(areas, model);
}

std::uint64_t bucketsFor(std::uint64_t capacity) {
  std::uint64_t prime = 0;
  sntrGetPrimeNumber(capacity, &prime);
  return prime;
}

}  // namespace bench
