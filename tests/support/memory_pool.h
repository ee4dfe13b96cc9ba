// SPDX-License-Identifier: MIT
// A domain in the test's own memory with a pool in it. TearDown() checks that a test leaves nothing held and nothing
// allocated.
// Thread safety: one thread.
#pragma once

#include <oss/fault.h>

#include <vector>

#include "support/nodes.h"
#include "support/storage.h"

namespace support {

class MemoryPool : public testing::Test {
 protected:
  void SetUp() override {
    ShmDomainParams params{};
    params.domainKind = SNTR_DOMAIN_MEMORY;
    ASSERT_RC(sntrCreateShmDomain(nullptr, base(), memory.size() * 8, &params, &domain), Rc::Ok);
    ASSERT_RC(createPool(&pool, domain, 0x10000), Rc::Ok);
    info.version = info.latchVersion = SNTR_VERSION;
    info.pool = pool;
  }
  void TearDown() override {
    ossFaultDisarm();
    ossFaultClearClock();
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0) << "a latch is still held";
    EXPECT_RC(sntrDestroyShmPoolHandle(&pool), Rc::Ok);
    EXPECT_RC(sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_ALWAYS), Rc::Ok);
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldBlocks), 0) << "memory is left";
  }

  char *base() { return reinterpret_cast<char *>(memory.data()); }
  std::uint64_t blocks() const { return infoOf(pool).allocatedCount; }
  // Creates an active node of the pool.
  SNodeCB_t *newNode(std::uint64_t options = 0, const Sizes &sizes = {}) {
    SNodeCB_t *node = nullptr;
    std::uint64_t offset = 0;
    EXPECT_RC(createNode(pool, options, sizes, node, offset), Rc::Ok);
    activate(node);
    return node;
  }

  std::vector<std::uint64_t> memory = std::vector<std::uint64_t>(0x8000);
  ShmDomainHandle *domain = nullptr;
  ShmPoolHandle *pool = nullptr;
  ShmSegInfo_t info{};
};

}  // namespace support
