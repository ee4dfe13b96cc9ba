// SPDX-License-Identifier: MIT
// Creates nodes in a pool of a shared segment, and frees such a node's block.
// Thread safety: any thread that holds no node's section.
#include <sntr/nodes.h>

#include "frame/trace.h"
#include "layout/version.h"
#include "shm/pool.h"
#include "tree/node_build.h"
#include "tree/node_life.h"

namespace sntr {

namespace {

Rc compareWithFreeBytes(const ShmPoolHandle *pool, std::uint64_t total) {
  ShmHeapInfo info{};
  if (failed(poolInfo(pool, info))) return Rc::PoolInfoFailed;
  return total > info.freeBytes ? Rc::PoolTooSmallForNode : Rc::Ok;
}

// Checks that the pool has as many free bytes as the node needs, read in one moment. Only advice: the pool is unlatched
// before the allocation, which takes the latch itself.
Rc checkRoom(const Trace &t, const ShmPoolHandle *pool, std::uint64_t total) {
  if (Rc rc = latchPool(pool); failed(rc)) return t.fail(80, rc);
  const Rc room = t.fail(81, compareWithFreeBytes(pool, total));
  return firstFailure(room, t.fail(82, unlatchPool(pool)));
}

// Creates a node in a block of its own; frees the block if the node cannot be built.
Rc createInPool(const Trace &t, const ShmSegInfo_t &info, const NodePlan &plan, SNodeCB_t *&node) {
  void *block = nullptr;
  if (failed(allocateBlock(info.pool, plan.total, block))) return t.fail(110, Rc::NodeAllocationFailed);
  node = static_cast<SNodeCB_t *>(block);
  const Rc built = t.fail(120, buildNode(node, plan, info.latchVersion));
  if (failed(built)) t.note(130, freeBlock(info.pool, block));
  return built;
}

// Returns NodeBelowBase only if the handle changed during the allocation.
Rc offsetFromBase(const SNodeCB_t *node, const void *base, std::uint64_t &offset) {
  const auto nodeAddress = reinterpret_cast<std::uintptr_t>(node);
  const auto baseAddress = reinterpret_cast<std::uintptr_t>(base);
  if (nodeAddress < baseAddress) return Rc::NodeBelowBase;
  offset = nodeAddress - baseAddress;
  return Rc::Ok;
}

}  // namespace

Rc disclaimNode(const Trace &t, SNodeCB_t *&node, const ShmPoolHandle *pool, std::uint32_t version) {
  if (pool == nullptr) return t.fail(22, Rc::NullPoolHandle);
  if (version != kVersionWord) return t.fail(23, Rc::BadVersion);
  void *block = node;
  const Rc freed = t.fail(24, freeBlock(pool, block));
  if (block == nullptr) node = nullptr;
  return freed;
}

}  // namespace sntr

using namespace sntr;

extern "C" {

std::uint32_t sntrCreateNode(const ShmSegInfo_t *info, SNodeCB_t **node, std::uint64_t options,
                             const std::uint64_t *areaSizes, std::uint64_t *nodeSize, std::uint64_t *offset) {
  return traced(Fn::sntrCreateNode, [&](const Trace &t) {
    if (info == nullptr) return t.fail(10, Rc::NullSegmentInfo);
    if (areaSizes == nullptr) return t.fail(20, Rc::NullAreaSizes);
    if (nodeSize == nullptr) return t.fail(30, Rc::NullSizeOutput);
    if (offset == nullptr) return t.fail(40, Rc::NullOffsetOutput);
    if (node == nullptr) return t.fail(50, Rc::NullNode);
    NodePlan plan;
    if (Rc rc = planNode(options, areaSizes, plan); failed(rc)) return t.fail(60, rc);
    if (info->version != kVersionWord) return t.fail(70, Rc::BadVersion);
    if (Rc rc = checkRoom(t, info->pool, plan.total); failed(rc)) return rc;
    *nodeSize = plan.total;
    SNodeCB_t *created = nullptr;
    if (Rc rc = createInPool(t, *info, plan, created); failed(rc)) return rc;
    *node = created;
    return t.fail(140, offsetFromBase(created, info->pool->baseAddress, *offset));
  });
}

std::uint32_t sntrDisclaimNode(SNodeCB_t **node, const ShmPoolHandle *pool, std::uint32_t version) {
  return traced(Fn::sntrDisclaimNode, [&](const Trace &t) {
    if (node == nullptr || *node == nullptr) return t.fail(10, Rc::NullNode);
    return disclaimNode(t, *node, pool, version);
  });
}

}  // extern "C"
