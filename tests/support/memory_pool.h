// A domain in the test's own memory with a pool in it, and the promise that a test leaves nothing held and nothing
// behind.
#pragma once

#include <oss/fault.h>
#include <sntr/nodes.h>

#include <vector>

#include "support/storage.h"

namespace support {

class MemoryPool : public testing::Test {
 protected:
  void SetUp() override {
    ShmDomainParams params{};
    params.domainKind = SNTR_DOMAIN_MEMORY;
    ASSERT_RC(sntrCreateShmDomain(nullptr, base(), memory.size() * 8, &params, &domain), Rc::Ok);
    for (ShmPoolHandle **made : {&info.pool, &small}) {
      ASSERT_RC(createPool(made, domain, made == &small ? 64 : 0x10000), Rc::Ok);
    }
    info.version = info.latchVersion = SNTR_VERSION;
    pool = info.pool;
  }
  void TearDown() override {
    ossFaultDisarm();
    ossFaultClearClock();
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0) << "a latch is still held";
    for (ShmPoolHandle **made : {&info.pool, &small}) EXPECT_RC(sntrDestroyShmPoolHandle(made), Rc::Ok);
    EXPECT_RC(sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_ALWAYS), Rc::Ok);
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldBlocks), 0) << "memory is left";
  }

  char *base() { return reinterpret_cast<char *>(memory.data()); }
  std::uint64_t blocks() const { return infoOf(pool).allocatedCount; }
  // An active node of the pool; the sizes are those of areas 0 and up.
  SNodeCB_t *newNode(std::uint64_t options = 0, std::vector<std::uint64_t> areas = {}) {
    areas.resize(SNTR_AREA_COUNT);
    SNodeCB_t *node = nullptr;
    std::uint64_t size = 0, offset = 0;
    const SNodeInfo none{};
    EXPECT_RC(sntrCreateNode(&info, &node, options, areas.data(), &size, &offset), Rc::Ok);
    EXPECT_RC(sntrInitNode(&node, 0, 0, "", &none, nullptr, 0, nullptr, nullptr, nullptr), Rc::Ok);
    EXPECT_RC(sntrActivateNode(&node), Rc::Ok);
    return node;
  }

  std::vector<std::uint64_t> memory = std::vector<std::uint64_t>(0x8000);
  ShmDomainHandle *domain = nullptr;
  ShmPoolHandle *pool = nullptr;
  ShmPoolHandle *small = nullptr;  // has room for nothing that these tests store
  ShmSegInfo_t info{};
};

}  // namespace support
