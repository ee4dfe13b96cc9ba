// A node in private memory with an R area that begins at an odd byte, and verbs for what the cases do with it.
#pragma once

#include <oss/fault.h>
#include <oss/memory.h>
#include <sntr/enumeration.h>
#include <sntr/frame.h>
#include <sntr/latches.h>
#include <sntr/properties.h>
#include <sntr/property_lists.h>
#include <sntr/property_tables.h>
#include <sntr/values.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "support/nodes.h"
#include "support/property_invariants.h"
#include "support/words.h"

namespace properties_test {

using sntr::code;
using sntr::Rc;
using support::named;

// Against the shipped libraries areas are aligned, since only then is the fast way taken.
#ifdef SNTR_SHIPPED
constexpr bool kAligned = true;
#else
constexpr bool kAligned = false;
#endif

// A call's answer, and the code that it must be. The calls of rows in braces are made one after another.
struct CodeRow {
  const char *name;
  std::uint32_t got;
  Rc expected;
};

inline void expectCodes(const std::vector<CodeRow> &rows) {
  for (const CodeRow &row : rows) EXPECT_RC(row.got, row.expected) << row.name;
}

class RNode : public ::testing::Test {
 protected:
  void TearDown() override {
    ossFaultDisarm();
    freeNode();
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0) << "a latch is still held";
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldBlocks), 0) << "memory was leaked";
  }

  void freeNode() {
    EXPECT_EQ(_ossMemFree(node, "test", 0), 0U);
    node = nullptr;
  }

  void createNode(const support::Sizes &sizes, std::uint64_t options) {
    if (node != nullptr) freeNode();
    node = support::newPrivateNode(options, sizes);
    support::initialize(node);
  }

  // Three bytes of another area before the R area push all its words off their alignment.
  void createNode(std::uint64_t areaSize, std::uint64_t options = SNTR_KIND_R) {
    support::Sizes sizes{};
    sizes[SNTR_AREA_BASE_R] = kAligned ? 4 : 3, sizes[SNTR_AREA_R] = areaSize;
    sizes[SNTR_AREA_V] = sizes[SNTR_AREA_IR] = sizes[SNTR_AREA_IV] = 0x2001;
    createNode(sizes, options);
    area = word(kOffset);
  }

  void activeNode(std::uint64_t areaSize, std::uint64_t options = SNTR_KIND_R) {
    createNode(areaSize, options);
    ASSERT_RC(sntrActivateNode(&node), Rc::Ok);
  }

  std::uint32_t layOut(std::uint32_t layout, std::uint64_t capacity, const std::vector<std::uint64_t> &tags = {}) {
    const std::vector<std::int32_t> values(tags.size(), 0);
    return sntrCreateRPropertyList(node, tags.data(), values.data(), tags.size(), capacity, layout, 0);
  }

  // A table of `buckets` (a prime, or 1) and `slots`, with room for as many freed ones.
  void table(std::uint64_t buckets, std::uint64_t slots, const std::vector<std::uint64_t> &tags = {}) {
    activeNode(tableSize(buckets, slots));
    ASSERT_RC(layOut(SNTR_LAYOUT_HASH, buckets, tags), Rc::Ok);
  }

  void array(std::uint64_t records, const std::vector<std::uint64_t> &tags = {}) {
    activeNode(8 + 0x90 * records + 5);
    ASSERT_RC(layOut(SNTR_LAYOUT_ARRAY, 0, tags), Rc::Ok);
  }

  static std::uint64_t tableSize(std::uint64_t buckets, std::uint64_t slots) {
    return 8 + 8 * buckets + 0x10 + 0xa0 * slots + 5;
  }

  void add(std::uint64_t tag, std::int32_t value = 0) {
    EXPECT_RC(sntrAddRProperty(node, tag, value, 0), Rc::Ok) << "adding " << tag;
  }
  void remove(std::uint64_t tag) { EXPECT_RC(sntrDeleteRProperty(node, tag, 0), Rc::Ok) << "deleting " << tag; }
  std::int32_t get(std::uint64_t tag) {
    std::int32_t value = 0;
    EXPECT_RC(sntrGetValueForRProperty(node, tag, &value, 0), Rc::Ok) << "getting " << tag;
    return value;
  }
  SNodeProperty_t *recordOf(std::uint64_t tag) {
    SNodeProperty_t *record = nullptr;
    EXPECT_RC(sntrGetAddressForRProperty(node, tag, &record), Rc::Ok) << "locating " << tag;
    return record;
  }
  std::uint64_t offsetOf(const void *record) const {
    return static_cast<std::uint64_t>(static_cast<const char *>(record) - reinterpret_cast<const char *>(node));
  }

  // The tags that are copied out, entries behind the last one included.
  std::vector<std::uint64_t> tags(std::uint64_t capacity, std::uint64_t filter = 0) {
    std::vector<std::uint64_t> out(capacity, 77);
    lastCode = sntrReturnRProperties(node, out.data(), filter, capacity, 0);
    return out;
  }

  std::int32_t changes() const { return support::wordAt<std::int32_t>(node, 0x50); }

  // Words of the node by their offset from its start, and from the start and the end of the R area.
  char *bytes() const { return reinterpret_cast<char *>(node); }
  std::uint64_t word(std::uint64_t offset) const { return support::wordAt(node, offset); }
  void setWord(std::uint64_t offset, std::uint64_t value) { support::setWordAt(node, offset, value); }
  std::uint64_t areaEnd() const { return area + word(kSize); }

  std::string content() const { return {bytes(), word(0x20)}; }
  void restore(const std::string &content) { std::memcpy(bytes(), content.data(), content.size()); }

  std::string faults() const { return support::checkInvariants(node).faults; }

  static constexpr std::uint64_t kSize = 0x560 + 6 * 24;  // the R area's entry: size, used, offset
  static constexpr std::uint64_t kUsed = kSize + 8;
  static constexpr std::uint64_t kOffset = kSize + 16;

  SNodeCB_t *node = nullptr;
  std::uint64_t area = 0;
  std::uint32_t lastCode = 0;
};

}  // namespace properties_test
