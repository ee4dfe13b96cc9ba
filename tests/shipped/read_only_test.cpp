// SPDX-License-Identifier: MIT
// Reads of a node whose memory cannot be written. They return what they return elsewhere; a store would end the test.
#include <gtest/gtest.h>
#include <sntr/status.h>
#include <sys/mman.h>

#include "properties/kind_node.h"

#ifndef __SANITIZE_THREAD__  // there reads take the latch

namespace properties_test {
namespace {

class ReadOnly : public FilledKindNode {
 protected:
  // What each read returns: of a property, of one that is missing, and of the node.
  std::vector<std::string> readAll() {
    std::vector<std::string> seen;
    Arguments a{node, recordAt(record(1))};
    for (const Key &key : {Key{4, "bb"}, Key{5, "bb"}, Key{4, "no"}}) {
      a.key = key;
      for (const char operation : {'g', 'r', 'B'}) {
        got = {};
        const std::uint32_t rc = perform(operation, a);
        seen.push_back(named(rc) + ", " + std::to_string(got.value.number) + got.value.bytes);
        seen.push_back(std::to_string(got.out) + ", " + std::to_string(got.size));
      }
    }
    std::int64_t changes = 0;
    std::uint32_t condition = 0;
    EXPECT_RC(sntrGetNodeReconfigCounter(node, &changes), Rc::Ok);
    EXPECT_RC(sntrGetNodeCondition(node, &condition), Rc::Ok);
    seen.push_back(std::to_string(changes) + ", " + std::to_string(condition));
    for (const std::uint32_t mode : {1u, 2u}) {
      SNodeObserver observer{};
      observer.livenessMode = mode;
      seen.push_back(named(sntrIsStillBeingUpdated(node, &observer)));
    }
    return seen;
  }
};

TEST_F(ReadOnly, MemoryIsEnoughForEveryRead) {
  forEachFilled(support::kAllKinds, [&] {
    EXPECT_RC(of().setRC({4, "bb"}, 5), Rc::Ok);
    const std::vector<std::string> expected = readAll();
    EXPECT_EQ(expected[0], named(Rc::Ok) + (kind->hasBytes() ? ", 0old" : ", 7"));
    EXPECT_EQ(expected[3], "5, 0");
    SNodeCB_t *const original = node;
    void *const copy = mmap(nullptr, nodeSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(copy, MAP_FAILED);
    std::memcpy(copy, original, nodeSize);
    ASSERT_EQ(mprotect(copy, nodeSize, PROT_READ), 0);
    node = static_cast<SNodeCB_t *>(copy);
    EXPECT_EQ(readAll(), expected);
    node = original;
    munmap(copy, nodeSize);
  });
}

}  // namespace
}  // namespace properties_test

#endif
