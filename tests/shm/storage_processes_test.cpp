// Several processes on one domain, each at its own address: what one writes the other finds, by offsets alone; and many
// at once leave a heap whose books balance.
#include <sys/mman.h>
#include <sys/wait.h>

#include <cstdio>
#include <functional>

#include "domain_fixture.h"

namespace shm_test {
namespace {

using StorageProcesses = DomainTest;

constexpr std::uint64_t kLargeSize = 0x400000;

// Runs work in a child, which ends with its answer: 0, or the line of the check that failed.
pid_t startChild(const std::function<int()> &work) {
  const pid_t pid = fork();
  if (pid == 0) _exit(work() == 0 ? 0 : 1);
  return pid;
}

bool endedWell(pid_t pid) {
  int status = 0;
  return waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// In a child: tells what failed, and makes it the child's answer.
#define CHILD_CHECK(condition)                                            \
  do {                                                                    \
    if (!(condition)) {                                                   \
      std::fprintf(stderr, "child: line %d: %s\n", __LINE__, #condition); \
      return __LINE__;                                                    \
    }                                                                     \
  } while (false)

// An address where the size is free now: reserved, then given up.
void *freeAddress(std::uint64_t size) {
  void *const place = mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  munmap(place, size);
  return place;
}

// What a process that only knows the key, the pool's offset and the block's offset does.
int readAsStranger(const OSSIPCResID &key, const void *parentsBase, std::uint64_t poolOffset,
                   std::uint64_t blockOffset) {
  void *const wanted = freeAddress(kSize);
  ShmDomainHandle *domain = nullptr;
  ShmPoolHandle *pool = nullptr;
  CHILD_CHECK(sntrConnectToShmDomain(&key, wanted, nullptr, &domain) == 0);
  CHILD_CHECK(domain->baseAddress == wanted && wanted != parentsBase);
  CHILD_CHECK(sntrConnectToShmPool(&pool, domain, poolOffset, &key) == 0);
  void *block = static_cast<char *>(domain->baseAddress) + blockOffset;
  CHILD_CHECK(std::strcmp(static_cast<char *>(block), "written by the parent") == 0);
  CHILD_CHECK(release(&block, pool) == 0);
  CHILD_CHECK(allocate(&block, pool, 64) == 0);
  std::strcpy(static_cast<char *>(block), "written by the child");
  const std::uint64_t answer = static_cast<std::uint64_t>(static_cast<char *>(block) - static_cast<char *>(wanted));
  CHILD_CHECK(sntrSetDomainUserAppData(domain, sizeof answer, &answer) == 0);
  CHILD_CHECK(sntrDisconnectFromShmPool(&pool) == 0);
  CHILD_CHECK(sntrDisconnectFromShmDomain(&domain) == 0);
  return 0;
}

TEST_F(StorageProcesses, AnotherProcessFindsBlocksByOffsetsAtAnotherAddress) {
  ShmDomainParams params{};
  params.userAppAreaSize = 8;
  ShmDomainHandle *domain = createSegment(&params);
  ShmPoolHandle *pool = nullptr;
  void *block = nullptr;
  ASSERT_RC(createPool(&pool, domain, 0x2000), Rc::Ok);
  ASSERT_RC(allocate(&block, pool, 64), Rc::Ok);
  std::strcpy(static_cast<char *>(block), "written by the parent");
  const auto offset = static_cast<std::uint64_t>(static_cast<char *>(block) - static_cast<char *>(domain->baseAddress));
  EXPECT_TRUE(
      endedWell(startChild([&] { return readAsStranger(key_, domain->baseAddress, pool->poolHeaderOffset, offset); })));
  std::uint64_t answer = 0, size = 0;
  EXPECT_RC(sntrGetDomainUserAppData(domain, &size, &answer), Rc::Ok);
  block = static_cast<char *>(domain->baseAddress) + answer;
  EXPECT_STREQ(static_cast<char *>(block), "written by the child");
  EXPECT_RC(release(&block, pool), Rc::Ok);
  EXPECT_EQ(infoOf(pool).connectCount, 1u);
  EXPECT_RC(freePool(&pool, SNTR_FREE_POOL_IF_UNUSED), Rc::Ok);
  EXPECT_RC(sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_IF_UNUSED), Rc::Ok);
}

// A child holds a connection until it is told to end.
TEST_F(StorageProcesses, ADomainInUseByAnotherProcessIsNotFreedWithoutForce) {
  ShmDomainHandle *domain = createSegment();
  int ready[2], leave[2];
  ASSERT_EQ(pipe(ready) + pipe(leave), 0);
  const pid_t child = startChild([&] {
    ShmDomainHandle *other = nullptr;
    char byte = 0;
    CHILD_CHECK(sntrConnectToShmDomain(&key_, nullptr, nullptr, &other) == 0);
    CHILD_CHECK(write(ready[1], &byte, 1) == 1 && read(leave[0], &byte, 1) == 1);
    CHILD_CHECK(sntrDisconnectFromShmDomain(&other) == 0);
    return 0;
  });
  char byte = 0;
  EXPECT_EQ(read(ready[0], &byte, 1), 1);
  EXPECT_RC(sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_IF_UNUSED), Rc::DomainInUse);
  EXPECT_EQ(infoOf(domain).connectCount, 2u) << "the domain stays usable";
  EXPECT_EQ(write(leave[1], &byte, 1), 1);
  EXPECT_TRUE(endedWell(child));
  EXPECT_RC(sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_IF_UNUSED), Rc::Ok);
  for (const int fd : {ready[0], ready[1], leave[0], leave[1]}) close(fd);
}

// A process that dies inside a domain's latch must not stop the others.
TEST_F(StorageProcesses, ALatchOfADeadProcessPassesOn) {
  ShmDomainHandle *domain = createSegment();
  EXPECT_TRUE(endedWell(startChild([&] {
    ShmDomainHandle *other = nullptr;
    CHILD_CHECK(sntrConnectToShmDomain(&key_, nullptr, nullptr, &other) == 0);
    CHILD_CHECK(sntrLatchShmDomain(other) == 0);
    return 0;
  })));
  EXPECT_RC(sntrLatchShmDomain(domain), Rc::Ok);
  EXPECT_RC(sntrUnlatchShmDomain(domain), Rc::Ok);
  end(domain);
}

// The domain dies while another process waits for its latch: what it was before the wait says nothing afterwards.
TEST_F(StorageProcesses, WhoWaitedForTheLatchOfADomainThatDiedHoldsNothing) {
  ShmDomainHandle *domain = createSegment();
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  ASSERT_RC(sntrLatchShmDomain(domain), Rc::Ok);
  const pid_t child = startChild([&] {
    const char byte = 0;
    OSSHIPCMemory memory;
    void *base = nullptr;
    CHILD_CHECK(memory.attach(&key_, nullptr) == 0 && memory.getAddress(&base) == 0);
    ShmDomainHandle handle{base, SNTR_DOMAIN_ATTACHED, 0, &memory, kSize, {}};
    CHILD_CHECK(write(ready[1], &byte, 1) == 1);
    CHILD_CHECK(sntrLatchShmDomain(&handle) == code(Rc::NotADomain));
    CHILD_CHECK(ossFaultHeld(OSSFaultHeldLatches) == 1);  // counted by the parent before the fork
    CHILD_CHECK(memory.detach() == 0);
    return 0;
  });
  char byte = 0;
  EXPECT_EQ(read(ready[0], &byte, 1), 1);
  usleep(30000);
  setWordAt<std::uint64_t>(domain->baseAddress, 0x18, 0);
  EXPECT_RC(sntrUnlatchShmDomain(domain), Rc::NotADomain);
  EXPECT_TRUE(endedWell(child));
  setWordAt<std::uint64_t>(domain->baseAddress, 0x18, 0xf4eef00d);
  end(domain);
  for (const int fd : ready) close(fd);
}

// Blocks filled with the process's mark: a block that two processes were given shows the other's.
class Worker {
 public:
  Worker(ShmPoolHandle *pool, unsigned mark) : pool_(pool), random_(mark), mark_(static_cast<unsigned char>(mark)) {}

  int run(int rounds) {
    for (int i = 0; i < rounds; ++i) {
      Slot &slot = slots_[next() % kSlots];
      CHILD_CHECK(slot.block == nullptr ? fill(slot) : empty(slot));
    }
    for (Slot &slot : slots_) CHILD_CHECK(slot.block == nullptr || empty(slot));
    return 0;
  }

 private:
  struct Slot {
    void *block;
    std::size_t size;
  };
  static constexpr std::size_t kSlots = 40;

  unsigned next() { return random_ = random_ * 1103515245 + 12345, random_ >> 16; }
  bool fill(Slot &slot) {
    slot.size = next() % 500;
    if (allocate(&slot.block, pool_, slot.size) != 0) return false;
    std::memset(slot.block, mark_, slot.size);
    return true;
  }
  bool empty(Slot &slot) {
    const auto *bytes = static_cast<const unsigned char *>(slot.block);
    for (std::size_t i = 0; i < slot.size; ++i) {
      if (bytes[i] != mark_) return false;
    }
    return release(&slot.block, pool_) == 0;
  }

  ShmPoolHandle *pool_;
  unsigned random_;
  unsigned char mark_;
  Slot slots_[kSlots] = {};
};

int work(const OSSIPCResID &key, std::uint64_t poolOffset, unsigned mark) {
  ShmDomainHandle *domain = nullptr;
  ShmPoolHandle *shared = nullptr, *own = nullptr;
  CHILD_CHECK(sntrConnectToShmDomain(&key, nullptr, nullptr, &domain) == 0);
  for (int i = 0; i < 20; ++i) {
    CHILD_CHECK(sntrConnectToShmPool(&shared, domain, poolOffset, &key) == 0);
    CHILD_CHECK(createPool(&own, domain, 0x8000) == 0);
    CHILD_CHECK(Worker(shared, mark).run(200) == 0);
    CHILD_CHECK(Worker(own, mark).run(50) == 0);
    CHILD_CHECK(freePool(&own, SNTR_FREE_POOL_IF_UNUSED) == 0);
    CHILD_CHECK(sntrDisconnectFromShmPool(&shared) == 0);
  }
  CHILD_CHECK(sntrDisconnectFromShmDomain(&domain) == 0);
  return 0;
}

TEST_F(StorageProcesses, ManyAtOnceLeaveBooksThatBalance) {
  ShmDomainHandle *domain = nullptr;
  ShmPoolHandle *pool = nullptr;
  ASSERT_RC(sntrCreateShmDomain(&key_, nullptr, kLargeSize, nullptr, &domain), Rc::Ok);
  ASSERT_RC(createPool(&pool, domain, 0x80000), Rc::Ok);
  const ShmHeapInfo domainBefore = infoOf(domain), poolBefore = infoOf(pool);
  pid_t children[4];
  for (unsigned i = 0; i < 4; ++i) {
    children[i] = startChild([&] { return work(key_, pool->poolHeaderOffset, 0x10 + i); });
  }
  for (const pid_t child : children) EXPECT_TRUE(endedWell(child));
  const ShmHeapInfo domainAfter = infoOf(domain), poolAfter = infoOf(pool);
  EXPECT_EQ(domainAfter.connectCount, 1u);
  EXPECT_EQ(domainAfter.freeBytes, domainBefore.freeBytes);
  EXPECT_EQ(domainAfter.allocatedBytes, domainBefore.allocatedBytes);
  EXPECT_EQ(poolAfter.connectCount, 1u);
  EXPECT_EQ(poolAfter.freeBytes, poolBefore.freeBytes);
  EXPECT_EQ(poolAfter.allocatedCount, 0u);
  EXPECT_EQ(poolAfter.intentWord, 0u);
  EXPECT_RC(freePool(&pool, SNTR_FREE_POOL_IF_UNUSED), Rc::Ok);
  end(domain);
}

}  // namespace
}  // namespace shm_test
