// What is refused because of another process, or because of what stands under the segment's name: the code, nothing
// changed, and all goes on when the reason has gone.
#include <oss/error.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>

#include "multiprocess/shared_segment.h"

namespace multiprocess_test {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kSize = 0x80000;

// Connected from the first word to the second, and able to work all the time.
void stayConnected(const Task &task) {
  const Connection here(task);
  support::tellParent();
  support::waitForParent();
  void *block = nullptr;
  EXPECT_RC(support::allocate(&block, here.pool, 100), Rc::Ok);
  EXPECT_RC(support::release(&block, here.pool), Rc::Ok);
}
const PartName kConnected("connected", stayConnected);

void expectDeletion(const Task &task) { EXPECT_RC(Connection(task).connected, Rc::DomainMarkedForDeletion); }
const PartName kLate("late", expectDeletion);

TEST_F(SharedSegment, FreesIfUnusedWaitForTheOtherProcess) {
  createDomain(kSize);
  createPool(0x1000);
  Actor other("connected", task());
  ASSERT_TRUE(other.waits());
  const ShmHeapInfo before[] = {infoOf(domain), infoOf(pool)};
  EXPECT_EQ(before[0].connectCount, 2u);
  EXPECT_RC(support::freePool(&pool, SNTR_FREE_POOL_IF_UNUSED), Rc::PoolInUse);
  EXPECT_RC(sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_IF_UNUSED), Rc::DomainInUse);
  const ShmHeapInfo after[] = {infoOf(domain), infoOf(pool)};
  EXPECT_EQ(std::memcmp(before, after, sizeof before), 0) << "a refusal changed something";

  ASSERT_RC(sntrMarkShmDomainForDeletion(domain), Rc::Ok);
  EXPECT_EQ(Actor("late", task(1)).result(), 0);
  EXPECT_EQ(infoOf(domain).connectCount, 2u);
  other.tell();
  EXPECT_EQ(other.result(), 0) << "who was connected works on";
  EXPECT_RC(support::freePool(&pool, SNTR_FREE_POOL_IF_UNUSED), Rc::Ok);
  EXPECT_RC(sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_IF_UNUSED), Rc::Ok);
}

// Everything goes away under this process, and each call says so.
void outliveTheDomain(const Task &task) {
  Connection here(task);
  void *block = nullptr;
  ASSERT_RC(support::allocate(&block, here.pool, 100), Rc::Ok);
  support::tellParent();
  support::waitForParent();
  void *another = nullptr;
  ShmPoolHandle *pool = nullptr;
  ShmHeapInfo info{};
  EXPECT_RC(support::allocate(&another, here.pool, 100), Rc::NotAPool);
  EXPECT_RC(support::release(&block, here.pool), Rc::NotAPool);
  EXPECT_RC(sntrGetShmPoolInfo(here.pool, &info), Rc::NotAPool);
  EXPECT_RC(sntrLatchShmPool(here.pool), Rc::NotAPool);
  EXPECT_RC(sntrDisconnectFromShmPool(&here.pool), Rc::NotAPool);
  EXPECT_RC(support::freePool(&here.pool, SNTR_FREE_POOL_ALWAYS), Rc::NotADomain);
  EXPECT_RC(support::createPool(&pool, here.domain, 100), Rc::NotADomain);
  EXPECT_RC(sntrConnectToShmPool(&pool, here.domain, here.pool->poolHeaderOffset, &task), Rc::NotADomain);
  EXPECT_RC(sntrGetShmDomainInfo(here.domain, &info), Rc::NotADomain);
  EXPECT_RC(sntrLatchShmDomain(here.domain), Rc::NotADomain);
  EXPECT_RC(sntrMarkShmDomainForDeletion(here.domain), Rc::NotADomain);
  EXPECT_RC(sntrFreeShmDomain(&here.domain, SNTR_FREE_DOMAIN_ALWAYS), Rc::NotADomain);
  EXPECT_RC(sntrDisconnectFromShmDomain(&here.domain), Rc::NotADomain);
  std::int32_t value = 0;
  EXPECT_RC(sntrGetValueForRProperty(here.node, 1, &value, 0), Rc::NodeDisassociated);
  EXPECT_RC(Connection(task).connected, Rc::AttachFailed);
  EXPECT_RC(sntrDestroyShmPoolHandle(&here.pool), Rc::Ok);
  EXPECT_RC(sntrDestroyShmDomainHandle(&here.domain), Rc::Ok);
}
const PartName kSurvivor("survivor", outliveTheDomain);

TEST_F(SharedSegment, ADomainFreedUnderAProcessGivesCodes) {
  createDomain(kSize);
  createPool(0x10000);
  createNode(SNTR_LAYOUT_HASH, 10);
  Actor other("survivor", task());
  ASSERT_TRUE(other.waits());
  ASSERT_RC(sntrDisassociateNode(&node), Rc::Ok);
  ASSERT_RC(support::freePool(&pool, SNTR_FREE_POOL_ALWAYS), Rc::Ok);
  ASSERT_RC(sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_ALWAYS), Rc::Ok);
  other.tell();
  EXPECT_EQ(other.result(), 0);
}

// Takes all there is, holds it from the first word to the second, and gives it back.
void hoardBlocks(const Task &task) {
  const Connection here(task);
  std::vector<void *> blocks;
  for (void *block = nullptr; support::allocate(&block, here.pool, 64) == 0;) blocks.push_back(block);
  EXPECT_GT(blocks.size(), 100u);
  support::tellParent();
  support::waitForParent();
  for (void *block : blocks) EXPECT_RC(support::release(&block, here.pool), Rc::Ok);
}
const PartName kBlockHoarder("block hoarder", hoardBlocks);

void hoardPools(const Task &task) {
  const Connection here(task);
  std::vector<ShmPoolHandle *> pools;
  for (ShmPoolHandle *pool = nullptr; support::createPool(&pool, here.domain, 64) == 0;) pools.push_back(pool);
  EXPECT_GT(pools.size(), 10u);
  support::tellParent();
  support::waitForParent();
  for (ShmPoolHandle *pool : pools) EXPECT_RC(support::freePool(&pool, SNTR_FREE_POOL_IF_UNUSED), Rc::Ok);
}
const PartName kPoolHoarder("pool hoarder", hoardPools);

TEST_F(SharedSegment, WhatIsFullIsFullForAllUntilSomethingIsFreed) {
  createDomain(kSize);
  createPool(0x10000);
  ShmPoolHandle *another = nullptr;
  void *block = nullptr;
  const struct {
    const char *part;
    std::function<std::uint32_t()> take, give;
    Rc full, noBlock;
  } rows[] = {
      {"block hoarder", [&] { return support::allocate(&block, pool, 64); },
       [&] { return support::release(&block, pool); }, Rc::PoolFull, Rc::PoolNoBlockLargeEnough},
      {"pool hoarder", [&] { return support::createPool(&another, domain, 64); },
       [&] { return support::freePool(&another, SNTR_FREE_POOL_IF_UNUSED); }, Rc::DomainFull,
       Rc::DomainNoBlockLargeEnough},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.part);
    Actor other(row.part, task());
    ASSERT_TRUE(other.waits());
    const HeapPicture before[] = {lookAtPool(), lookAtDomain()};
    const std::uint32_t rc = row.take();
    EXPECT_TRUE(rc == code(row.full) || rc == code(row.noBlock)) << support::named(rc);
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(another, nullptr);
    const HeapPicture after[] = {lookAtPool(), lookAtDomain()};
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(after[i].problem, "");
      EXPECT_EQ(after[i].free, before[i].free);
      EXPECT_EQ(after[i].allocated, before[i].allocated);
    }
    other.tell();
    EXPECT_EQ(other.result(), 0);
    EXPECT_RC(row.take(), Rc::Ok);
    EXPECT_RC(row.give(), Rc::Ok);
    EXPECT_EQ(lookAtPool().free.size(), 1u);
    EXPECT_EQ(lookAtDomain().free.size(), 1u);
  }
}

void write(const fs::path &path, const std::string &bytes) { std::ofstream(path, std::ios::binary) << bytes; }

// What may stand under a segment's name that is no domain; `good` is a file that is one.
const struct {
  const char *name;
  std::function<void(const fs::path &path, const fs::path &good)> place;
  Rc connect;
} kForeign[] = {
    {"garbage", [](auto &path, auto &) { write(path, std::string(kSize, '\xa7')); }, Rc::NotADomain},
    {"zeroes", [](auto &path, auto &) { write(path, std::string(kSize, '\0')); }, Rc::NotADomain},
    {"too small", [](auto &path, auto &) { write(path, std::string(100, '\xa7')); }, Rc::NotADomain},
    {"empty", [](auto &path, auto &) { write(path, ""); }, Rc::AttachFailed},
    {"link to a domain", [](auto &path, auto &good) { fs::create_symlink(good, path); }, Rc::AttachFailed},
    {"domain cut short",
     [](auto &path, auto &good) {
       fs::copy_file(good, path);
       fs::resize_file(path, kSize / 2);
     },
     Rc::NotADomain},
};

TEST_F(SharedSegment, AForeignFileUnderTheNameIsRefusedAndLeftAlone) {
  createDomain(kSize);
  for (const auto &row : kForeign) {
    SCOPED_TRACE(row.name);
    const OSSIPCResID foreign = support::newKey();
    row.place(support::fileOf(foreign), support::fileOf(key));
    ShmDomainHandle *handle = nullptr;
    EXPECT_RC(sntrConnectToShmDomain(&foreign, nullptr, nullptr, &handle), row.connect);
    EXPECT_RC(sntrCreateShmDomain(&foreign, nullptr, kSize, nullptr, &handle), Rc::SegmentExists);
    EXPECT_EQ(handle, nullptr);
    EXPECT_TRUE(support::segmentIsLeft(foreign));
    support::removeSegment(foreign);
  }
  EXPECT_EQ(infoOf(domain).connectCount, 1u) << "a domain was reached through a link";
}

TEST_F(SharedSegment, ASegmentThatTheSystemRefusesLeavesTheReason) {
  ShmDomainHandle *handle = nullptr;
  int reason = 0;
  EXPECT_RC(sntrCreateShmDomain(&key, nullptr, uint64_t{1} << 45, nullptr, &handle), Rc::Ok);
  EXPECT_EQ(handle, nullptr);
  EXPECT_RC(ossGetLastSystemError(&reason), Rc::Ok);
  EXPECT_EQ(reason, ENOSPC);
}

}  // namespace
}  // namespace multiprocess_test
