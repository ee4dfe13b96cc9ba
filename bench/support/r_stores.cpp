// SPDX-License-Identifier: MIT
// See r_stores.h.
#include "support/r_stores.h"

namespace bench {

RNode::RNode(std::uint32_t n, Tags tags, std::uint32_t model) {
  // A bucket and its first slot take 0xa0 bytes. Then n more slots, each with its word on the stack of freed slots.
  const std::uint64_t size = 0x18 + 0xa0 * bucketsFor(n) + 0xa0 * std::uint64_t{n};
  node = makeNode(segment, {{SNTR_KIND_R, size}}, model);
  std::vector<std::uint64_t> keys(n);
  std::vector<std::int32_t> values(n);
  for (std::uint32_t i = 0; i < n; ++i) {
    keys[i] = keyOf(i, tags).tag;
    values[i] = valueOf(keyOf(i, tags));
  }
  requireOk(sntrCreateRPropertyList(node, keys.data(), values.data(), n, n, SNTR_LAYOUT_HASH, 0), "creating R list");
}

}  // namespace bench
