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
  using Seen = std::vector<std::pair<std::string, std::string>>;  // what each read returned, by its name

  // Runs the reads on the node, and on a copy of it for reading only.
  template <class Reads>
  void expectTheSame(const Reads &reads) {
    const Seen expected = reads();
    SNodeCB_t *const original = node;
    const std::size_t size = node->nodeSize;
    void *const copy = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(copy, MAP_FAILED);
    std::memcpy(copy, original, size);
    ASSERT_EQ(mprotect(copy, size, PROT_READ), 0);
    node = static_cast<SNodeCB_t *>(copy);
    EXPECT_EQ(reads(), expected) << where();
    node = original;
    munmap(copy, size);
  }

  Seen readProperties() {
    Seen seen;
    Value value;
    std::uint64_t rc = 0, size = 0;
    char bytes[kMaxValue] = {};
    SNodeProperty_t *record = nullptr;
    for (const Key &key : {Key{5, "bb"}, Key{4, "no"}, Key{4, "bb"}}) {
      seen.emplace_back("get", named(of().get(key, value, kMaxValue)) + std::to_string(value.number) + value.bytes);
      seen.emplace_back("get the result code", named(of().getRC(key, rc)) + std::to_string(rc));
    }
    EXPECT_TRUE(value.number == 7 || value.bytes == "old") << where();
    EXPECT_RC(of().record({4, "bb"}, record), Rc::Ok) << where();
    EXPECT_RC(of().getBoth(record, value.number, size, bytes, rc), Rc::Ok) << where();
    seen.emplace_back("get both", std::to_string(value.number) + std::string(bytes, size) + std::to_string(rc));
    return seen;
  }

  Seen readTheNode() {
    std::int64_t changes = 0;
    std::uint32_t condition = 0;
    EXPECT_RC(sntrGetNodeReconfigCounter(node, &changes), Rc::Ok);
    EXPECT_RC(sntrGetNodeCondition(node, &condition), Rc::Ok);
    EXPECT_EQ(condition, SNTR_CONDITION_ACTIVE);
    Seen seen{{"changes", std::to_string(changes)}};
    for (const std::uint32_t mode : {1u, 2u}) {
      SNodeObserver observer{};
      observer.livenessMode = mode;
      seen.emplace_back("updated", named(sntrIsStillBeingUpdated(node, &observer)));
    }
    return seen;
  }
};

TEST_F(ReadOnly, MemoryIsEnoughForEveryRead) {
  forEachFilled(support::kAllKinds, [&] { expectTheSame([&] { return readProperties(); }); });
  expectTheSame([&] { return readTheNode(); });
}

}  // namespace
}  // namespace properties_test

#endif
