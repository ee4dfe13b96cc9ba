// A domain that dies while another process waits for it.
#include <sys/wait.h>

#include <cstdio>
#include <functional>

#include "domain_fixture.h"

namespace shm_test {
namespace {

using StorageProcesses = DomainTest;

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

}  // namespace
}  // namespace shm_test
