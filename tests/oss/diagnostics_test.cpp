// Trace, log, and codes as text.
#include <fcntl.h>
#include <oss/fault.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>
#include <vector>

#include "layout/functions.h"
#include "process.h"
#include "support/segments.h"
#include "support/words.h"

namespace oss_test {
namespace {

namespace fs = std::filesystem;
using sntr::Fn;

constexpr uint32_t kNoFunction = 0x08229999;

class Diagnostics : public testing::Test {
 protected:
  Diagnostics() {
    char name[] = "/tmp/oss_trace_XXXXXX";
    directory_ = mkdtemp(name);
  }
  ~Diagnostics() override {
    ossTraceOff();
    ossLogSetSink(nullptr, nullptr);
    ossFaultClearClock();
    fs::remove_all(directory_);
  }

  std::string path(const char *name) const { return directory_ + "/" + name; }

  std::vector<std::string> lines(const char *name) const {
    std::vector<std::string> all;
    std::ifstream file(path(name));
    for (std::string line; std::getline(file, line);) all.push_back(line);
    return all;
  }

  std::string directory_;
};

TEST_F(Diagnostics, TraceIsReadable) {
  ossFaultSetClock(1940948411042);  // 2031-07-04 16:20:11.042
  const uint32_t fn = sntr::number(Fn::sntrCreateNode);
  const uint32_t result = sntr::code(Rc::NullNode);
  _gtraceEntry(77, fn, 0, 1000000);
  ASSERT_RC(ossTraceOn(path("trace").c_str()), Rc::Ok);
  _gtraceEntry(77, fn, 0, 1000000);
  _gtraceErrorVar(77, fn, 20, sntr::code(Rc::NullAreaSizes));
  _gtraceErrorVar(77, kNoFunction, 21, 5);
  _gtraceExit(77, fn, &result, 0);
  _gtraceExit(77, fn, nullptr, 9);
  EXPECT_EQ(_ossMemAlloc(~uint64_t{0}, "sntrshm", 12), nullptr);
  ASSERT_RC(ossTraceOff(), Rc::Ok);
  _gtraceExit(77, fn, &result, 0);

  const std::string start = "2031-07-04T16:20:11.042Z " + std::to_string(getpid());
  const std::string me = "/" + std::to_string(gettid());
  const std::vector<std::string> wanted = {
      start + "/77 sntrCreateNode entry 0 1000000",
      start + "/77 sntrCreateNode error at probe 20: NullAreaSizes 0x900000b6",
      start + "/77 function 0x08229999 error at probe 21: 0x00000005",
      start + "/77 sntrCreateNode exit NullNode 0x900000de",
      start + "/77 sntrCreateNode exit 9",
      start + me + " memory: sntrshm line 12 was refused 18446744073709551615 bytes",
  };
  EXPECT_EQ(lines("trace"), wanted);
}

TEST_F(Diagnostics, ControlBlockHasItsWordAtByte12) {
  const auto enabled = [] { return support::wordAt<uint32_t>(g_pGTCB, 12); };
  ASSERT_NE(g_pGTCB, nullptr);
  EXPECT_EQ(enabled(), 0U);
  ossTraceOn("/dev/null");
  EXPECT_NE(enabled(), 0U);
  ossTraceOff();
  EXPECT_EQ(enabled(), 0U);
}

TEST_F(Diagnostics, TraceRefusesWhatIsNoFile) {
  mkfifo(path("pipe").c_str(), 0600);
  const int reader = open(path("pipe").c_str(), O_RDONLY | O_NONBLOCK);
  const std::string pipe = path("pipe");
  const std::string nowhere = path("nowhere/file");
  const struct {
    const char *path;
    Rc want;
  } rows[] = {{nullptr, Rc::OssBadArgument},
              {"", Rc::OssBadArgument},
              {directory_.c_str(), Rc::OssBadArgument},
              {pipe.c_str(), Rc::OssBadArgument},
              {nowhere.c_str(), Rc::OssSystem}};
  ASSERT_RC(ossTraceOn(path("trace").c_str()), Rc::Ok);
  for (const auto &row : rows) {
    EXPECT_RC(ossTraceOn(row.path), row.want) << (row.path != nullptr ? row.path : "null");
  }
  close(reader);
  EXPECT_RC(ossTraceOn(pipe.c_str()), Rc::OssBadArgument) << "without a reader";
  _gtraceExit(1, kNoFunction, nullptr, 0);
  EXPECT_EQ(lines("trace").size(), 1U) << "it goes on as before";
}

// Threads trace while the file is changed under them, and other files take over the descriptors that become free.
TEST_F(Diagnostics, TraceIsSwitchedUnderOtherThreads) {
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (uint32_t id = 1; id <= 3; ++id) {
    threads.emplace_back([&stop, id] {
      while (!stop) _gtraceErrorVar(id, sntr::number(Fn::sntrInitNode), id, 0);
    });
  }
  for (int i = 0; i < 150; ++i) {
    EXPECT_RC(ossTraceOn(path(i % 2 == 0 ? "even" : "odd").c_str()), Rc::Ok);
    usleep(100);
    if (i % 3 == 0) ossTraceOff();
    const int other = open(path("other").c_str(), O_CREAT | O_WRONLY | O_APPEND, 0600);
    usleep(100);
    close(other);
  }
  stop = true;
  for (std::thread &thread : threads) thread.join();
  ossTraceOff();
  EXPECT_TRUE(lines("other").empty());
  EXPECT_FALSE(lines("even").empty());
  std::set<std::string> whole;
  for (const std::string id : {"1", "2", "3"}) {
    whole.insert(" " + std::to_string(getpid()) + "/" + id + " sntrInitNode error at probe " + id + ": Ok 0x00000000");
  }
  constexpr size_t kTimeLength = 24;
  for (const char *name : {"even", "odd"}) {
    for (const std::string &line : lines(name)) {
      ASSERT_GT(line.size(), kTimeLength) << name << ": " << line;
      ASSERT_EQ(whole.count(line.substr(kTimeLength)), 1U) << name << ": " << line;
    }
  }
}

struct Heard {
  uint32_t function = 0, code = 0, probe = 0, severity = 0;
  std::string line;
  int count = 0;

  static void sink(void *context, uint32_t function, uint32_t code, uint32_t probe, uint32_t severity,
                   const char *line) {
    auto &heard = *static_cast<Heard *>(context);
    heard = {function, code, probe, severity, line, heard.count + 1};
  }
};

TEST_F(Diagnostics, LogReachesTheSink) {
  Heard heard;
  ossLogSetSink(Heard::sink, &heard);
  const uint32_t fn = sntr::number(Fn::sntrCreateShmDomain);
  ossLog(fn, sntr::code(Rc::NullKey), 30, 3);
  EXPECT_EQ(heard.function, fn);
  EXPECT_RC(heard.code, Rc::NullKey);
  EXPECT_EQ(heard.probe, 30U);
  EXPECT_EQ(heard.severity, 3U);
  EXPECT_EQ(heard.line.find("sntrCreateShmDomain: NullKey 0x900000a5 at probe 30: "), 0U) << heard.line;
  ossLog(0, 5, 1, 99);
  EXPECT_EQ(heard.line, "0x00000005 at probe 1");
  EXPECT_EQ(heard.severity, 7U);
  ossAssertFailed("a == b", nullptr, 12);
  EXPECT_EQ(heard.line, "unknown line 12: this must hold and does not: a == b");
  EXPECT_EQ(heard.severity, 2U);
  ossLogSetSink(nullptr, nullptr);
  ossLog(fn, 0, 1, 7);
  EXPECT_EQ(heard.count, 3);
}

TEST_F(Diagnostics, SinkMayLogAndStepDown) {
  static Heard second;
  ossLogSetSink(
      [](void *, uint32_t, uint32_t, uint32_t, uint32_t, const char *) {
        ossLogSetSink(Heard::sink, &second);
        ossLog(0, 0, 2, 3);
      },
      nullptr);
  ossLog(0, 0, 1, 3);
  EXPECT_EQ(second.count, 1);
  EXPECT_EQ(second.probe, 2U);
}

// Two sinks that take turns, each with a context of its own, while threads log.
TEST_F(Diagnostics, SinkAndContextStayAPair) {
  static std::atomic<int> mixed{0};
  static int contexts[2];
  const OSSLogSink sinks[2] = {
      [](void *context, uint32_t, uint32_t, uint32_t, uint32_t, const char *) { mixed += context != &contexts[0]; },
      [](void *context, uint32_t, uint32_t, uint32_t, uint32_t, const char *) { mixed += context != &contexts[1]; }};
  std::atomic<bool> stop{false};
  ossLogSetSink(sinks[0], &contexts[0]);
  std::thread logger([&] {
    while (!stop) ossLog(0, 0, 1, 3);
  });
  for (int i = 0; i < 30000; ++i) EXPECT_RC(ossLogSetSink(sinks[i % 2], &contexts[i % 2]), Rc::Ok);
  stop = true;
  logger.join();
  EXPECT_EQ(mixed, 0);
}

// Runs a function on a thread that ends with null, unless it is ended before.
void *resultOfThread(void *(*work)(void *), void *argument, void (*meanwhile)(pthread_t) = nullptr) {
  pthread_t thread;
  void *result = nullptr;
  EXPECT_EQ(pthread_create(&thread, nullptr, work, argument), 0);
  if (meanwhile != nullptr) meanwhile(thread);
  EXPECT_EQ(pthread_join(thread, &result), 0);
  return result;
}

TEST_F(Diagnostics, ThreadThatEndsInsideLeavesTraceAndLogToOthers) {
  Child others([&] {
    alarm(20);
    const auto log = [](void *) -> void * { return ossLog(0, 0, 1, 3), nullptr; };
    ossLogSetSink([](void *, uint32_t, uint32_t, uint32_t, uint32_t, const char *) { pthread_exit(nullptr); }, nullptr);
    resultOfThread(log, nullptr);
    ossLogSetSink(nullptr, nullptr);
    ossLog(0, 0, 1, 3);
    ossTraceOn(path("trace").c_str());
    const auto trace = [](void *) -> void * {
      pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, nullptr);
      for (;;) _gtraceExit(1, kNoFunction, nullptr, 0);
    };
    for (int i = 0; i < 50; ++i) {
      resultOfThread(trace, nullptr, [](pthread_t thread) {
        usleep(500);
        pthread_cancel(thread);
      });
      _gtraceExit(2, kNoFunction, nullptr, 0);
    }
    return static_cast<int>(ossTraceOff());
  });
  EXPECT_EQ(others.result(), 0);
}

// Calls that wait, open, read or write, made by a thread that ends at the next cancellation point.
TEST_F(Diagnostics, NoCallIsACancellationPoint) {
  static ossVLatch latch;
  static std::string file;
  file = path("trace");
  const struct {
    const char *name;
    void (*call)();
  } rows[] = {{"identity", [] { ossThreadID(); }},
              {"trace", [] { ossTraceOn(file.c_str()), _gtraceExit(1, kNoFunction, nullptr, 0), ossTraceOff(); }},
              {"log", [] { ossLog(0, 0, 1, 3); }},
              {"segment",
               [] {
                 const OSSIPCMemoryCreateParam made{OSS_IPC_VERSION, support::newKey(), 0, 4096, nullptr, 0600, 0};
                 OSSHIPCMemory segment, second;
                 EXPECT_RC(segment.create(&made), Rc::Ok);
                 EXPECT_RC(second.attach(&made.key, nullptr), Rc::Ok);
                 EXPECT_RC(second.authorize(OSS_IPC_KEEP_ID, OSS_IPC_KEEP_ID, 0640), Rc::Ok);
                 EXPECT_RC(second.destroy(), Rc::Ok);
               }},
              {"latch", [] { EXPECT_RC(ossVLatchGet(&latch), Rc::OssLatchTimeout); }},
              {"byte", [] {
                 uint8_t byte = 1;
                 std::thread owner([&] {
                   usleep(20000);
                   __atomic_store_n(&byte, 0, __ATOMIC_RELEASE);
                 });
                 EXPECT_RC(ossLockGetConflict(&byte), Rc::Ok);
                 pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);  // join() is one
                 owner.join();
               }}};
  ossVLatchInit(&latch, 0);
  ossVLatchGet(&latch);
  ossVLatchSetWaitLimit(20);
  for (const auto &row : rows) {
    const auto run = [](void *call) -> void * {
      pthread_cancel(pthread_self());
      reinterpret_cast<void (*)()>(call)();
      return nullptr;
    };
    EXPECT_EQ(resultOfThread(run, reinterpret_cast<void *>(row.call)), nullptr) << row.name;
  }
  ossVLatchSetWaitLimit(30000);
  ossVLatchRelease(&latch);
}

// A directory /dev of the calling process's own, empty. Below 0: the kernel refuses it.
int enterOwnDev() {
  const int user = geteuid() == 0 ? 0 : CLONE_NEWUSER;
  if (unshare(CLONE_NEWNS | user) != 0) return -1;
  if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return -1;
  return mount("tmpfs", "/dev", "tmpfs", 0, nullptr);
}

// What the receiver has got, up to its "]: "; empty: nothing.
std::string received(int receiver, bool withText = false) {
  char line[600];
  const ssize_t length = recv(receiver, line, sizeof line, MSG_DONTWAIT);
  const std::string text(line, length < 0 ? 0 : static_cast<size_t>(length));
  return withText ? text : text.substr(0, text.find("]: "));
}

TEST_F(Diagnostics, LogReachesTheSystemsLogWithoutWaiting) {
  constexpr int kRefused = 77;
  Child own([] {
    alarm(20);
    if (enterOwnDev() != 0) return kRefused;
    ossLog(0, 5, 1, 3);  // nobody listens
    const int receiver = socket(AF_UNIX, SOCK_DGRAM, 0);
    const sockaddr_un address = {AF_UNIX, "/dev/log"};
    if (bind(receiver, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) return 1;
    const std::string prefix = std::string("<11>") + program_invocation_short_name + "[";
    ossLog(0, 5, 1, 3);
    EXPECT_EQ(received(receiver, true), prefix + std::to_string(getpid()) + "]: 0x00000005 at probe 1");
    Child forked([] { return ossLog(0, 5, 1, 3), 0; });
    const std::string child = std::to_string(forked.pid());
    if (forked.result() != 0) return 2;
    EXPECT_EQ(received(receiver), prefix + child);
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
  } rows[] = {
      {0x9000004a, text.size() + 1, Rc::Ok, text},
      {0x9000004a, text.size(), Rc::OssTruncated, text.substr(0, text.size() - 1)},
      {0x9000004a, 1, Rc::OssTruncated, ""},
      {0, 100, Rc::Ok, "SNTR_RC_OK (0x00000000): success"},
      {0x12345678, 100, Rc::OssUnknownCode, "unknown result code 0x12345678"},
      {0x12345678, 8, Rc::OssUnknownCode, "unknown"},
      {0xffffffff, 100, Rc::OssUnknownCode, "unknown result code 0xffffffff"},
  };
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
    const std::string number = value.substr(value.find('(') + 1);
    EXPECT_RC(ecfErrorGetDescription(static_cast<uint32_t>(std::stoul(number, nullptr, 16)), text, sizeof text),
              Rc::Ok);
    EXPECT_EQ(std::string(text).find(name + " ("), 0U) << text;
    ++codes;
  }
  EXPECT_EQ(codes, std::size(sntr::kResultCodes));
}

TEST(Describe, KnowsFunctionsByNumber) {
  EXPECT_STREQ(ecfGetFunctionName(0x0822000c), "sntrCreateNode");
  EXPECT_STREQ(ecfGetFunctionName(0x08220133), "sntrMarkShmDomainForDeletion");
  EXPECT_STREQ(ecfGetFunctionName(0), "unknown");
}

}  // namespace
}  // namespace oss_test
