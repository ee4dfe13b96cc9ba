// A C++17 program as a user would write it, with exceptions and the standard library on: a node in private memory whose
// R properties live in a hash table, filled, read back and given up. Ends with 0, or says what went wrong.
#include <oss/oss.h>
#include <sntr/sntr.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr std::uint64_t kProperties = 50;

void check(const char *what, std::uint32_t rc) {
  if (rc == SNTR_RC_OK) return;
  std::array<char, 160> text{};
  static_cast<void>(sntrPrintrc(rc, text.data(), text.size()));
  throw std::runtime_error(std::string(what) + ": " + text.data());
}

struct FreeNode {
  void operator()(SNodeCB_t *node) const { static_cast<void>(_ossMemFree(node, __FILE__, __LINE__)); }
};
using Node = std::unique_ptr<SNodeCB_t, FreeNode>;

Node makeNode() {
  std::array<std::uint64_t, SNTR_AREA_COUNT> sizes{};
  sizes[SNTR_AREA_R] = 64 * 1024;
  SNodeCB_t *node = nullptr;
  std::uint64_t size = 0;
  SNodeCB_t *address = nullptr;
  check("sntrCreateNodeInPM",
        sntrCreateNodeInPM(&node, SNTR_KIND_R, sizes.data(), &size, &address, SNTR_VERSION, SNTR_VERSION));
  Node owner(node);
  check("sntrInitNode", sntrInitNode(&node, 0, 0, nullptr, nullptr, nullptr, 0, nullptr, nullptr, nullptr));
  check("sntrActivateNode", sntrActivateNode(&node));
  return owner;
}

std::int32_t valueOf(std::uint64_t tag) { return static_cast<std::int32_t>(tag * tag) - 100; }

void publish(SNodeCB_t *node) {
  check("sntrCreateRPropertyList",
        sntrCreateRPropertyList(node, nullptr, nullptr, 0, kProperties, SNTR_LAYOUT_HASH, 0));
  for (std::uint64_t tag = 1; tag <= kProperties; ++tag) {
    check("sntrAddRProperty", sntrAddRProperty(node, tag, valueOf(tag), 0));
  }
}

std::uint64_t wrongValues(SNodeCB_t *node) {
  std::uint64_t wrong = 0;
  for (std::uint64_t tag = 1; tag <= kProperties; ++tag) {
    std::int32_t value = 0;
    check("sntrGetValueForRProperty", sntrGetValueForRProperty(node, tag, &value, 0));
    if (value != valueOf(tag)) ++wrong;
  }
  return wrong;
}

}  // namespace

int main() {
  try {
    const Node node = makeNode();
    publish(node.get());
    std::uint64_t count = 0;
    check("sntrGetNumberOfRProperties", sntrGetNumberOfRProperties(node.get(), &count));
    const std::uint64_t wrong = wrongValues(node.get());
    std::printf("%d of %d properties, %d wrong\n", static_cast<int>(count), static_cast<int>(kProperties),
                static_cast<int>(wrong));
    return count == kProperties && wrong == 0 ? 0 : 1;
  } catch (const std::exception &failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
  }
}
