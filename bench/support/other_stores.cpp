// SPDX-License-Identifier: MIT
// See other_stores.h.
#include "support/other_stores.h"

#include <cstdio>

namespace bench {

IDs::IDs() : ids_(2 * SNTR_MAX_PROPERTIES) {
  for (std::size_t i = 0; i < ids_.size(); ++i) {
    std::snprintf(ids_[i].data(), ids_[i].size(), "sensor/%09u", static_cast<unsigned>(i));
  }
}

IRNode::IRNode(std::uint32_t n, std::uint32_t model) {
  const std::uint64_t slot = 0x250 + kIDSize;
  const std::uint64_t size = 0x30 + bucketsFor(n) * (0x18 + slot) + std::uint64_t{n} * (slot + 8);
  node = makeNode(segment, {{SNTR_KIND_IR, size}}, model);
  requireOk(sntrCreateIRPropertyList(node, nullptr, nullptr, nullptr, nullptr, 0, n, kIDSize, SNTR_LAYOUT_HASH, 0),
            "creating an IR list");
  for (std::uint32_t i = 0; i < n; ++i) {
    requireOk(static_cast<std::uint32_t>(add(keyOf(i, Tags::Dense))), "adding IR");
  }
}

BaseNode::BaseNode(std::uint32_t model) {
  node = makeNode(segment,
                  {{SNTR_KIND_BASE_R, 0x90}, {SNTR_KIND_BASE_V, 0x1a8 + 64}, {SNTR_KIND_V, 0x20 + 0x8 + 0x1b0 + 64}},
                  model);
  requireOk(sntrCreateVPropertyList(node, nullptr, nullptr, nullptr, 0, 1, 64, SNTR_LAYOUT_HASH, 0), "V list");
  requireOk(sntrCreateBaseRProperty(node, kTag, 0, 0), "creating BaseR");
  requireOk(sntrCreateBaseVProperty(node, kTag, sizeof buffer_.bytes, buffer_.bytes, 0), "creating BaseV");
}

}  // namespace bench
