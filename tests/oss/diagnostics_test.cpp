// SPDX-License-Identifier: MIT
// Trace, log, and codes as text.
#include <fcntl.h>
#include <oss/fault.h>
#include <oss/oss.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <atomic>
#include <cstring>
#include <fstream>
#include <thread>
#include <vector>

#include "layout/functions.h"
#include "support/actor.h"
#include "support/segments.h"
#include "support/words.h"

namespace {

namespace fs = std::filesystem;
using sntr::Fn;
using sntr::Rc;
using support::Child;
using Lines = std::vector<std::string>;

constexpr uint32_t kNoFunction = 0x08229999;

// Keeps what a sink is told, as text.
void hear(void *context, uint32_t function, uint32_t code, uint32_t probe, uint32_t severity, const char *line) {
  static_cast<Lines *>(context)->push_back(std::string(ecfGetFunctionName(function)) + ", " + support::named(code) +
                                           ", " + std::to_string(probe) + ", " + std::to_string(severity) + ", " +
                                           line);
}

class Diagnostics : public testing::Test {
 protected:
  ~Diagnostics() override {
    ossTraceOff();
    ossLogSetSink(nullptr, nullptr);
    ossFaultClearClock();
    fs::remove_all(directory_);
  }

  std::string path(const char *name) const { return directory_ + "/" + name; }

  Lines lines(const char *name) const {
    Lines all;
    std::ifstream file(path(name));
    for (std::string line; std::getline(file, line);) all.push_back(line);
    return all;
  }

  const std::string directory_ = mkdtemp((testing::TempDir() + "oss_trace_XXXXXX").data());
};

TEST_F(Diagnostics, TraceIsReadable) {
  ossFaultSetClock(1940948411042);  // 2031-07-04 16:20:11.042
  const uint32_t fn = sntr::number(Fn::sntrCreateNode);
  const uint32_t result = sntr::code(Rc::NullNode);
  const auto enabled = [] { return support::wordAt<uint32_t>(g_pGTCB, 12); };
  EXPECT_EQ(enabled(), 0U);
  _gtraceEntry(77, fn, 0, 1000000);
  ASSERT_RC(ossTraceOn(path("trace").c_str()), Rc::Ok);
  EXPECT_NE(enabled(), 0U);
  _gtraceEntry(77, fn, 0, 1000000);
  _gtraceErrorVar(77, fn, 20, sntr::code(Rc::NullAreaSizes));
  _gtraceErrorVar(77, kNoFunction, 21, 5);
  _gtraceExit(77, fn, &result, 0);
  _gtraceExit(77, fn, nullptr, 9);
  EXPECT_EQ(_ossMemAlloc(~uint64_t{0}, "sntrshm", 12), nullptr);
  ASSERT_RC(ossTraceOff(), Rc::Ok);
  EXPECT_EQ(enabled(), 0U);
  _gtraceExit(77, fn, &result, 0);

  const std::string start = "2031-07-04T16:20:11.042Z " + std::to_string(getpid());
  const Lines wanted = {
      start + "/77 sntrCreateNode entry 0 1000000",
      start + "/77 sntrCreateNode error at probe 20: NullAreaSizes 0x900000b6",
      start + "/77 function 0x08229999 error at probe 21: 0x00000005",
      start + "/77 sntrCreateNode exit NullNode 0x900000de",
      start + "/77 sntrCreateNode exit 9",
      start + "/" + std::to_string(gettid()) + " memory: sntrshm line 12 was refused 18446744073709551615 bytes",
  };
  EXPECT_EQ(lines("trace"), wanted);
}

TEST_F(Diagnostics, TraceRefusesWhatIsNoFile) {
  const std::string pipe = path("pipe");
  mkfifo(pipe.c_str(), 0600);
  ASSERT_RC(ossTraceOn(path("trace").c_str()), Rc::Ok);
  EXPECT_RC(ossTraceOn(pipe.c_str()), Rc::OssBadArgument) << "without a reader";
  const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
  EXPECT_RC(ossTraceOn(pipe.c_str()), Rc::OssBadArgument) << "with a reader";
  close(reader);
  EXPECT_RC(ossTraceOn(nullptr), Rc::OssBadArgument);
  EXPECT_RC(ossTraceOn(""), Rc::OssBadArgument);
  EXPECT_RC(ossTraceOn(directory_.c_str()), Rc::OssBadArgument);
  EXPECT_RC(ossTraceOn("/nowhere/file"), Rc::OssSystem);
  _gtraceExit(1, kNoFunction, nullptr, 0);
  EXPECT_EQ(lines("trace").size(), 1U) << "it goes on as before";
}

// Threads trace and log while the file and the sink are changed under them, and other files take over the descriptors
// that become free. Two sinks take turns, each with a context of its own.
TEST_F(Diagnostics, FileAndSinkAreSwitchedUnderOtherThreads) {
  static int contexts[2];
  static std::atomic<int> mixed{0};
  const OSSLogSink sinks[] = {
      [](void *context, uint32_t, uint32_t, uint32_t, uint32_t, const char *) { mixed += context != &contexts[0]; },
      [](void *context, uint32_t, uint32_t, uint32_t, uint32_t, const char *) { mixed += context != &contexts[1]; }};
  std::atomic<bool> stop{false};
  const auto work = [&] {
    while (!stop) {
      _gtraceErrorVar(7, sntr::number(Fn::sntrInitNode), 7, 0);
      ossLog(0, 0, 1, 3);
    }
  };
  ossLogSetSink(sinks[0], &contexts[0]);
  std::thread first(work), second(work);
  int lowest = 0;
  for (int i = 0; i < 150; ++i) {
    EXPECT_RC(ossTraceOn(path(i % 2 == 0 ? "even" : "odd").c_str()), Rc::Ok);
    for (int j = 0; j < 200; ++j) EXPECT_RC(ossLogSetSink(sinks[j % 2], &contexts[j % 2]), Rc::Ok);
    if (i % 3 == 0) ossTraceOff();
    const int other = open(path("other").c_str(), O_CREAT | O_WRONLY | O_APPEND, 0600);
    if (i == 0) lowest = other;
    EXPECT_EQ(other, lowest) << "descriptors are left open";
    usleep(100);
    close(other);
  }
  stop = true;
  first.join();
  second.join();
  ossTraceOff();
  EXPECT_EQ(mixed, 0);
  EXPECT_TRUE(lines("other").empty());
  const std::string whole = std::to_string(getpid()) + "/7 sntrInitNode error at probe 7: Ok 0x00000000";
  for (const char *name : {"even", "odd"}) {
    EXPECT_FALSE(lines(name).empty()) << name;
    for (std::string &line : lines(name)) ASSERT_EQ(line.erase(0, 25), whole) << name << ", behind the time";
  }
}

TEST_F(Diagnostics, LogReachesTheSink) {
  Lines heard, later;
  ossLogSetSink(hear, &heard);
  ossLog(sntr::number(Fn::sntrCreateShmDomain), sntr::code(Rc::NullKey), 30, 3);
  ossLog(0, 5, 1, 99);
  ossAssertFailed("a == b", nullptr, 12);
  const Lines wanted = {
      "sntrCreateShmDomain, NullKey 0x900000a5, 30, 3, sntrCreateShmDomain: NullKey 0x900000a5 at "
      "probe 30: a required key, resource identifier or segment information is null",
      "unknown, ? 0x00000005, 1, 7, 0x00000005 at probe 1",
      "unknown, Ok 0x00000000, 12, 2, unknown line 12: this must hold and does not: a == b"};
  EXPECT_EQ(heard, wanted);
  // A sink that logs, steps down, and ends its thread.
  ossLogSetSink(
      [](void *context, uint32_t, uint32_t, uint32_t, uint32_t, const char *) {
        ossLogSetSink(hear, context);
        ossAssertFailed(std::string(600, '#').c_str(), "f", 1);
        pthread_exit(nullptr);
      },
      &later);
  std::thread([] { ossLog(0, 0, 1, 3); }).join();
  ossLog(0, 0, 2, 3);
  ossLogSetSink(nullptr, nullptr);
  ossLog(0, 0, 3, 3);
  EXPECT_EQ(heard, wanted) << "the same sink with another context";
  ASSERT_EQ(later.size(), 2U);
  EXPECT_EQ(later[0].size(), std::strlen("unknown, Ok 0x00000000, 1, 2, ") + 511) << "a line is cut";
}

// A thread that ends at the next cancellation point calls what waits, opens, reads or writes.
TEST_F(Diagnostics, NoCallIsACancellationPoint) {
  const OSSIPCMemoryCreateParam made{OSS_IPC_VERSION, support::newKey(), 0, 4096, nullptr, 0600, 0};
  OSSHIPCMemory segment, second;
  uint8_t byte = 1;
  const char *reached = "the byte";
  std::thread owner([&] {
    usleep(20000);
    __atomic_store_n(&byte, 0, __ATOMIC_RELEASE);
  });
  std::thread([&] {
    pthread_cancel(pthread_self());
    ossLockGetConflict(&byte);
    reached = "trace and log";
    ossTraceOn(path("trace").c_str());
    _gtraceExit(ossThreadID(), kNoFunction, nullptr, 0);
    ossTraceOff();
    ossLog(0, 0, 1, 3);
    reached = "the segment";
    EXPECT_RC(segment.create(&made), Rc::Ok);
    EXPECT_RC(second.attach(&made.key, nullptr), Rc::Ok);
    EXPECT_RC(second.authorize(OSS_IPC_KEEP_ID, OSS_IPC_KEEP_ID, 0640), Rc::Ok);
    EXPECT_RC(second.destroy(), Rc::Ok);
    reached = "the end";
  }).join();
  owner.join();
  EXPECT_STREQ(reached, "the end");
}

// Enters a directory /dev of the process's own, empty. Returns false if the kernel refuses it.
bool enterOwnDev() {
  const int user = geteuid() == 0 ? 0 : CLONE_NEWUSER;
  return unshare(CLONE_NEWNS | user) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount("tmpfs", "/dev", "tmpfs", 0, nullptr) == 0;
}

TEST_F(Diagnostics, LogReachesTheSystemsLogWithoutWaiting) {
  constexpr int kRefused = 77;
  Child own([] {
    alarm(20);
    if (!enterOwnDev()) return kRefused;
    ossLog(0, 5, 1, 3);  // nobody listens
    const int receiver = socket(AF_UNIX, SOCK_DGRAM, 0);
    const sockaddr_un address = {AF_UNIX, "/dev/log"};
    if (bind(receiver, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) return 1;
    const auto expectLineOf = [&](pid_t sender) {
      char line[600] = "";
      recv(receiver, line, sizeof line - 1, MSG_DONTWAIT);
      EXPECT_EQ(line, std::string("<11>") + program_invocation_short_name + "[" + std::to_string(sender) +
                          "]: 0x00000005 at probe 1");
    };
    ossLog(0, 5, 1, 3);
    expectLineOf(getpid());
    Child forked([] { return ossLog(0, 5, 1, 3), 0; });
    const pid_t child = forked.pid();
    EXPECT_EQ(forked.result(), 0);
    expectLineOf(child);
    for (int i = 0; i < 5000; ++i) ossLog(0, 5, 1, 3);  // more than wait for a receiver
    return testing::Test::HasFailure() ? 3 : 0;
  });
  const int result = own.result();
  if (result == kRefused) GTEST_SKIP() << "this kernel gives its user no user and mount namespace of his own";
  EXPECT_EQ(result, 0);
}

TEST(Describe, WritesNameAndTextAsFarAsTheyFit) {
  const std::string text = "SNTR_RC_OSS_EXISTS (0x9000004a): a segment with this key exists";
  const struct {
    uint32_t code;
    uint64_t size;
    Rc want;
    std::string text;
  } rows[] = {{0x9000004a, text.size() + 1, Rc::Ok, text},
              {0x9000004a, text.size(), Rc::OssTruncated, text.substr(0, text.size() - 1)},
              {0x9000004a, 1, Rc::OssTruncated, ""},
              {0, 100, Rc::Ok, "SNTR_RC_OK (0x00000000): success"},
              {0x12345678, 8, Rc::OssUnknownCode, "unknown"},
              {0xffffffff, 100, Rc::OssUnknownCode, "unknown result code 0xffffffff"}};
  for (const auto &row : rows) {
    char buffer[101];
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_RC(ecfErrorGetDescription(row.code, buffer, row.size), row.want) << row.text;
    EXPECT_EQ(std::string(buffer, strnlen(buffer, sizeof buffer)), row.text);
    EXPECT_EQ(buffer[row.size], '#') << row.text;
  }
  char byte = '#';
  EXPECT_RC(ecfErrorGetDescription(0, nullptr, 10), Rc::OssBadArgument);
  EXPECT_RC(ecfErrorGetDescription(0, &byte, 0), Rc::OssBadArgument);
  EXPECT_EQ(byte, '#');
}

TEST(Describe, NamesEveryCodeAsThePublicHeaderDoes) {
  std::ifstream header(SNTR_RESULT_CODES_H);
  size_t codes = 0;
  for (std::string word, name, value; header >> word;) {
    if (word != "#define" || !(header >> name >> value) || name.rfind("SNTR_RC_", 0) != 0) continue;
    char text[160];
    const auto code = static_cast<uint32_t>(std::stoul(value.substr(value.find('(') + 1), nullptr, 16));
    EXPECT_RC(ecfErrorGetDescription(code, text, sizeof text), Rc::Ok);
    EXPECT_EQ(std::string(text).find(name + " ("), 0U) << text;
    ++codes;
  }
  EXPECT_EQ(codes, std::size(sntr::kResultCodes));
}

}  // namespace
