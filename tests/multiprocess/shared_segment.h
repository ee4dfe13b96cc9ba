// SPDX-License-Identifier: MIT
// The common part of tests with several processes: the publisher's side as a fixture with verbs, and what another
// process does over its own connection. The processes are forked; tests/demo runs separate programs.
// Thread safety: one thread of each process.
#pragma once

#include <sntr/sntr.h>

#include <atomic>
#include <functional>

#include "support/actor.h"
#include "support/heap_walk.h"
#include "support/kinds.h"
#include "support/nodes.h"
#include "support/storage.h"

namespace multiprocess_test {

using sntr::Rc;
using support::Child, support::Clock, support::infoOf, support::Kind, support::Properties;

inline constexpr bool kSanitized = SNTR_SANITIZED != 0;
inline constexpr std::uint64_t kMaxID = 8;

struct SharedSegment : testing::Test {
  void TearDown() override {
    if (pool != nullptr) EXPECT_RC(sntrDestroyShmPoolHandle(&pool), Rc::Ok);
    if (domain != nullptr) EXPECT_RC(sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_ALWAYS), Rc::Ok);
    EXPECT_FALSE(support::segmentIsLeft(segment));
    support::removeSegment(segment);
  }

  // The pool's bookkeeping is planned for a few nodes, so that it grows.
  void create(std::uint64_t domainSize, std::uint64_t poolSize) {
    ShmPoolParams params{};
    params.slotCount = 8;
    ASSERT_RC(sntrCreateShmDomain(&segment, nullptr, domainSize, nullptr, &domain), Rc::Ok);
    ASSERT_RC(support::createPool(&pool, domain, poolSize, &params), Rc::Ok);
  }
  char *base() const { return static_cast<char *>(domain->baseAddress); }

  // Creates an active node with a list of every kind, in place of the former one, for processes started later. Its
  // areas begin at odd bytes if `odd` is.
  void createNode(std::uint32_t layout, std::uint64_t capacity, std::uint64_t maxValue, std::uint64_t odd = 0) {
    if (node != nullptr) ASSERT_RC(sntrDisclaimNode(&node, pool, SNTR_VERSION), Rc::Ok);
    *ready = *go = 0;
    std::uint64_t offset = 0;
    support::Sizes sizes{};
    sizes[SNTR_AREA_NODE_ID] = odd, sizes[SNTR_AREA_R] = 0x1000 + 0x140 * capacity + odd;  // for as many deletions
    sizes[SNTR_AREA_BASE_R] = 0x90, sizes[SNTR_AREA_BASE_V] = 0x1a8 + maxValue;
    for (std::size_t i = SNTR_AREA_V; i <= SNTR_AREA_IV; ++i) sizes[i] = 0x300 + (capacity + 2) * (0x300 + maxValue);
    ASSERT_RC(support::createNode(pool, 0x7e0, sizes, node, offset), Rc::Ok);
    support::activate(node, reinterpret_cast<std::uint64_t>(base()));
    for (const Kind *kind : support::kLists) {
      ASSERT_RC((Properties{node, *kind}.create(layout, capacity, kMaxID, maxValue)), Rc::Ok) << kind->name;
    }
  }

  // Makes `work` that of another process. There the fixture's members are those of its own connection, at another
  // address, which it may end; what it inherited cannot be touched. Its result is 0 if no assertion failed.
  Child::Work connected(const std::function<void()> &work) {
    return [this, work] {
      alarm(60);  // beyond every latch's wait limit
      char *const inherited = base();
      EXPECT_EQ(mprotect(inherited, domain->mappedSize, PROT_NONE), 0);
      EXPECT_RC(sntrConnectToShmDomain(&segment, nullptr, nullptr, &domain), Rc::Ok);
      EXPECT_RC(sntrConnectToShmPool(&pool, domain, pool->poolHeaderOffset, this), Rc::Ok);
      node = reinterpret_cast<SNodeCB_t *>(base() + (reinterpret_cast<char *>(node) - inherited));
      work();
      if (pool != nullptr) EXPECT_RC(sntrDisconnectFromShmPool(&pool), Rc::Ok);
      if (domain != nullptr) EXPECT_RC(sntrDisconnectFromShmDomain(&domain), Rc::Ok);
      return HasFailure() ? 1 : 0;
    };
  }

  // Waits until `count` other processes are ready; false if one has ended.
  bool areReady(int count) {
    siginfo_t ended{};
    const auto hasEnded = [&] {
      return waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT) == 0 && ended.si_pid != 0;
    };
    return support::becomes([&] { return *ready >= count || hasEnded(); }) && *ready >= count;
  }

  support::Shared<std::atomic<int>> ready, go;  // signals from the other processes, and to them
  const OSSIPCResID segment = support::newKey();
  ShmDomainHandle *domain = nullptr;
  ShmPoolHandle *pool = nullptr;
  SNodeCB_t *node = nullptr;
};

}  // namespace multiprocess_test
