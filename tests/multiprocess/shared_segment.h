// What tests of several processes share: the publisher's side as a fixture with verbs, the other side as a connection.
//
// The publisher tells the places of its pool and node in the domain's user application area, and nowhere else: whoever
// connects has no other way to find them than a user has.
#pragma once

#include <sntr/sntr.h>
#include <sys/mman.h>

#include <vector>

#include "support/actor.h"
#include "support/heap_walk.h"
#include "support/nodes.h"
#include "support/storage.h"

namespace multiprocess_test {

using sntr::Rc;
using sntr::test::HeapPicture;
using support::Actor;
using support::infoOf;
using support::PartName;
using support::Task;

inline constexpr bool kSanitized = SNTR_SANITIZED != 0;

// Offsets from the start of the domain; 0 is none.
struct Places {
  std::uint64_t pool;
  std::uint64_t node;
};

// Another process's hold on the publisher's segment, at another address than the publisher's: the page there is taken
// first. Ends both connections, unless the test has ended them.
class Connection {
 public:
  explicit Connection(const Task &task) {
    static_cast<void>(mmap(reinterpret_cast<void *>(task.base), 1, PROT_NONE,
                           MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0));
    const OSSIPCResID key{task.keyHigh, static_cast<std::uint32_t>(task.keyLow)};
    void *const elsewhere = reinterpret_cast<void *>(task.base - (task.index + 1) * 0x40000000);
    connected = sntrConnectToShmDomain(&key, elsewhere, nullptr, &domain);
    if (connected != 0) return;
    EXPECT_NE(base(), reinterpret_cast<char *>(task.base)) << "mapped where the publisher has it";
    std::uint64_t size = 0;
    Places places{};
    EXPECT_RC(sntrGetDomainUserAppData(domain, &size, &places), Rc::Ok);
    if (places.pool != 0) EXPECT_RC(sntrConnectToShmPool(&pool, domain, places.pool, this), Rc::Ok);
    if (places.node != 0) node = reinterpret_cast<SNodeCB_t *>(base() + places.node);
  }
  ~Connection() {
    if (pool != nullptr) EXPECT_RC(sntrDisconnectFromShmPool(&pool), Rc::Ok);
    if (domain != nullptr) EXPECT_RC(sntrDisconnectFromShmDomain(&domain), Rc::Ok);
  }
  Connection(const Connection &) = delete;
  Connection &operator=(const Connection &) = delete;

  char *base() const { return static_cast<char *>(domain->baseAddress); }

  std::uint32_t connected = 0;
  ShmDomainHandle *domain = nullptr;
  ShmPoolHandle *pool = nullptr;
  SNodeCB_t *node = nullptr;
};

class SharedSegment : public testing::Test {
 protected:
  void TearDown() override {
    if (pool != nullptr) EXPECT_RC(sntrDestroyShmPoolHandle(&pool), Rc::Ok);
    if (domain != nullptr) EXPECT_RC(sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_ALWAYS), Rc::Ok);
    EXPECT_FALSE(support::segmentIsLeft(key));
    support::removeSegment(key);
  }

  void createDomain(std::uint64_t size) {
    ShmDomainParams params{};
    params.userAppAreaSize = sizeof(Places);
    ASSERT_RC(sntrCreateShmDomain(&key, nullptr, size, &params, &domain), Rc::Ok);
    ASSERT_NE(domain, nullptr);
  }
  void createPool(std::uint64_t size) {
    ASSERT_RC(support::createPool(&pool, domain, size), Rc::Ok);
    publish(0);
  }
  void createActiveNode(std::uint64_t options, const support::Sizes &sizes) {
    std::uint64_t offset = 0;
    ASSERT_RC(support::createNode(pool, options, sizes, node, offset), Rc::Ok);
    support::activate(node, reinterpret_cast<std::uint64_t>(base()));
    publish(offset);
  }
  // A node with an R list for `capacity` properties, and as many deletions.
  void createNode(std::uint32_t layout, std::uint64_t capacity) {
    support::Sizes sizes{};
    sizes[SNTR_AREA_R] = 0x1000 + 0x140 * capacity;
    createActiveNode(SNTR_KIND_R, sizes);
    ASSERT_RC(sntrCreateRPropertyList(node, nullptr, nullptr, 0, capacity, layout, 0), Rc::Ok);
  }

  char *base() const { return static_cast<char *>(domain->baseAddress); }
  Task task(std::uint64_t index = 0, std::uint64_t amount = 0) const {
    return {key.high, key.low, reinterpret_cast<std::uint64_t>(base()), index, amount};
  }
  HeapPicture lookAtDomain() const { return sntr::test::lookAtHeap(base(), 0, true); }
  HeapPicture lookAtPool() const { return sntr::test::lookAtHeap(base(), pool->poolHeaderOffset, false); }

  const OSSIPCResID key = support::newKey();
  ShmDomainHandle *domain = nullptr;
  ShmPoolHandle *pool = nullptr;
  SNodeCB_t *node = nullptr;

 private:
  void publish(std::uint64_t nodeOffset) {
    const Places places{pool->poolHeaderOffset, nodeOffset};
    ASSERT_RC(sntrSetDomainUserAppData(domain, sizeof places, &places), Rc::Ok);
  }
};

}  // namespace multiprocess_test
