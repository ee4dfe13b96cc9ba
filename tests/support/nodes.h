// SPDX-License-Identifier: MIT
// Nodes for tests, in private memory and in pools.
#pragma once

#include <gtest/gtest.h>
#include <sntr/nodes.h>

#include <array>

#include "support/codes.h"

namespace support {

using Sizes = std::array<std::uint64_t, SNTR_AREA_COUNT>;

// Creates a node without initializing it. The caller frees it with _ossMemFree().
inline SNodeCB_t *newPrivateNode(std::uint64_t options, const Sizes &sizes) {
  SNodeCB_t *node = nullptr, *address = nullptr;
  std::uint64_t size = 0;
  EXPECT_RC(sntrCreateNodeInPM(&node, options, sizes.data(), &size, &address, SNTR_VERSION, SNTR_VERSION),
            sntr::Rc::Ok);
  return node;
}

// Returns the code of a creation in a pool; the node lies `offset` bytes behind the pool's base.
inline std::uint32_t createNode(ShmPoolHandle *pool, std::uint64_t options, const Sizes &sizes, SNodeCB_t *&node,
                                std::uint64_t &offset) {
  ShmSegInfo_t info{};
  info.version = info.latchVersion = SNTR_VERSION;
  info.pool = pool;
  std::uint64_t size = 0;
  return sntrCreateNode(&info, &node, options, sizes.data(), &size, &offset);
}

// Initializes and activates a node. Its identifier and information are empty, if it has them.
inline void activate(SNodeCB_t *node, std::uint64_t base = 0) {
  const SNodeInfo none{};
  EXPECT_RC(sntrInitNode(&node, base, 0, "", &none, nullptr, 0, nullptr, nullptr, nullptr), sntr::Rc::Ok);
  EXPECT_RC(sntrActivateNode(&node), sntr::Rc::Ok);
}

}  // namespace support
