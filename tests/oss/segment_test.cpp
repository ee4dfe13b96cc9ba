// SPDX-License-Identifier: MIT
// Segments, as files that anybody can see and tamper with.
#include <fcntl.h>
#include <oss/oss.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <thread>

#include "support/actor.h"
#include "support/segments.h"

namespace {

namespace fs = std::filesystem;
using sntr::Rc;
using support::Child;

constexpr uint32_t kKeep = OSS_IPC_KEEP_ID;
constexpr uid_t kNobody = 65534;

class Segment : public testing::Test {
 protected:
  ~Segment() override { fs::remove_all(path_); }

  uint32_t create() { return segment_.create(&parameters_); }
  uint32_t attach(OSSHIPCMemory &object, void *hint = nullptr) { return object.attach(&parameters_.key, hint); }

  static char *addressOf(OSSHIPCMemory &object) {
    void *address = nullptr;
    EXPECT_RC(object.getAddress(&address), Rc::Ok);
    return static_cast<char *>(address);
  }

  OSSIPCMemoryInfo info() {
    OSSIPCMemoryInfo info{};
    EXPECT_RC(segment_.getInfo(&info), Rc::Ok);
    return info;
  }

  OSSIPCMemoryCreateParam parameters_{OSS_IPC_VERSION, support::newKey(), 0, 5000, nullptr, 0640, 0};
  const std::string path_ = support::fileOf(parameters_.key);
  OSSHIPCMemory segment_;
};

TEST_F(Segment, IsReservedAndSharedAtDifferentAddresses) {
  const auto openFiles = [] { return std::distance(fs::directory_iterator("/proc/self/fd"), {}); };
  const auto before = openFiles();
  parameters_.size = 40 << 20;
  ASSERT_RC(create(), Rc::Ok);
  struct stat status;
  ASSERT_EQ(stat(path_.c_str(), &status), 0);
  EXPECT_EQ(static_cast<uint64_t>(status.st_size), parameters_.size);
  EXPECT_GE(static_cast<uint64_t>(status.st_blocks) * 512, parameters_.size);
  char *one = addressOf(segment_);
  OSSHIPCMemory second;
  ASSERT_RC(attach(second, one), Rc::Ok);
  EXPECT_EQ(openFiles(), before);
  char *two = addressOf(second), *three = nullptr;
  EXPECT_NE(one, two) << "an address that is taken was asked for";
  EXPECT_RC(second.detach(), Rc::Ok);
  EXPECT_FALSE(second.isAttached());
  {
    OSSHIPCMemory third;
    ASSERT_RC(attach(third, two), Rc::Ok);
    three = addressOf(third);
  }
  EXPECT_EQ(three, two) << "a free address was asked for";
  std::strcpy(one + 4990, "written");
  EXPECT_STREQ(three + 4990, "written") << "a deleted object leaves the memory";
  EXPECT_RC(segment_.destroy(), Rc::Ok);
  EXPECT_FALSE(fs::exists(path_));
}

TEST_F(Segment, FileSizeLimitIsAFailureAndNoSignal) {
  Child limited([&] {
    const rlimit limit = {4096, 4096};
    setrlimit(RLIMIT_FSIZE, &limit);
    return create() == sntr::code(Rc::OssNoSpace) && !fs::exists(path_) ? 0 : 1;
  });
  EXPECT_EQ(limited.result(), 0);
}

TEST_F(Segment, ModeIsTheOneAskedForWhateverTheUmask) {
  const mode_t former = umask(0777);
  for (const uint64_t mode : {0600U, 0660U, 0666U, 0444U}) {
    parameters_.accessMode = mode;
    EXPECT_RC(create(), Rc::Ok) << mode;
    EXPECT_EQ(info().mode, mode);
    EXPECT_EQ(info().owner, geteuid());
    EXPECT_RC(segment_.destroy(), Rc::Ok);
  }
  umask(former);
}

// One call after the other: its code, the system's reason that it leaves for ossGetLastSystemError(), and what it
// traces.
TEST_F(Segment, RefusalsHaveACodeAndAReason) {
  const std::string trace = testing::TempDir() + "oss_reasons_" + std::to_string(getpid());
  const char *const path = path_.c_str();
  OSSHIPCMemory second;
  OSSIPCMemoryInfo info;
  void *address = nullptr;
  const auto createWith = [&](uint32_t version, uint64_t size, uint64_t mode) {
    const OSSIPCMemoryCreateParam parameters{version, parameters_.key, 0, size, nullptr, mode, 0};
    return second.create(&parameters);
  };
  const auto attachTo = [&](bool made) {
    EXPECT_TRUE(made);
    const uint32_t rc = attach(second);
    fs::remove_all(path_);
    return rc;
  };
  constexpr uint64_t kMost = uint64_t{1} << 46;
  const struct {
    const char *name;
    std::function<uint32_t()> call;
    Rc want;
    int reason = 0;
    const char *traced = "";
  } rows[] = {
      {"address", [&] { return segment_.getAddress(&address); }, Rc::OssNotAttached},
      {"info", [&] { return segment_.getInfo(&info); }, Rc::OssNotAttached},
      {"authorize", [&] { return segment_.authorize(0, 0, 0600); }, Rc::OssNotAttached},
      {"detach", [&] { return segment_.detach(); }, Rc::OssNotAttached},
      {"destroy", [&] { return segment_.destroy(); }, Rc::OssNotAttached},
      {"version", [&] { return createWith(OSS_IPC_VERSION ^ 1, 5000, 0600); }, Rc::OssBadArgument},
      {"no size", [&] { return createWith(OSS_IPC_VERSION, 0, 0600); }, Rc::OssBadArgument},
      {"size above 2^46", [&] { return createWith(OSS_IPC_VERSION, kMost + 1, 0600); }, Rc::OssBadArgument},
      {"mode", [&] { return createWith(OSS_IPC_VERSION, 5000, 01000); }, Rc::OssBadArgument},
      {"no parameters", [&] { return second.create(nullptr); }, Rc::OssBadArgument},
      {"no key", [&] { return second.attach(nullptr, nullptr); }, Rc::OssBadArgument},
      {"missing", [&] { return attach(second); }, Rc::OssNotFound, ENOENT, ", no segment has this key, ENOENT"},
      {"no room", [&] { return createWith(OSS_IPC_VERSION, kMost, 0600); }, Rc::OssNoSpace, ENOSPC, ", ENOSPC"},
      {"success", [&] { return create(); }, Rc::Ok, ENOSPC},
      {"exists", [&] { return createWith(OSS_IPC_VERSION, 5000, 0600); }, Rc::OssExists, EEXIST, "exists, EEXIST"},
      {"created twice", [&] { return create(); }, Rc::OssAlreadyAttached},
      {"attached twice", [&] { return attach(segment_); }, Rc::OssAlreadyAttached},
      {"no address", [&] { return segment_.getAddress(nullptr); }, Rc::OssBadArgument},
      {"no info", [&] { return segment_.getInfo(nullptr); }, Rc::OssBadArgument},
      {"mode set", [&] { return segment_.authorize(0, 0, 01000); }, Rc::OssBadArgument},
      {"memory", [&] { return _ossMemAlloc(~uint64_t{0}, "test", 1) != nullptr ? 1U : 0U; }, Rc::Ok, ENOMEM,
       " was refused "},
      {"removed", [&] { return segment_.destroy(); }, Rc::Ok, ENOMEM},
      {"link", [&] { return attachTo(symlink("/proc/self/exe", path) == 0); }, Rc::OssNotASegment, ELOOP, ", ELOOP"},
      {"directory", [&] { return attachTo(mkdir(path, 0700) == 0); }, Rc::OssNotASegment, EISDIR, ", EISDIR"},
      {"pipe", [&] { return attachTo(mkfifo(path, 0600) == 0); }, Rc::OssNotASegment, 0, "no regular file"},
      {"empty", [&] { return attachTo(mknod(path, S_IFREG | 0600, 0) == 0); }, Rc::OssNotASegment, 0,
       ": OssNotASegment 0x90000045, what the key leads to is not a regular file of plausible size, too short: empty"},
      {"too long", [&] { return attachTo(mknod(path, S_IFREG | 0600, 0) == 0 && truncate(path, kMost + 1) == 0); },
       Rc::OssNotASegment, 0, "too long"},
  };
  int reason = -1;
  EXPECT_RC(ossGetLastSystemError(nullptr), Rc::OssBadArgument);
  for (const auto &row : rows) {
    SCOPED_TRACE(row.name);
    ossTraceOn(trace.c_str());
    EXPECT_RC(row.call(), row.want);
    ossTraceOff();
    EXPECT_FALSE(second.isAttached());
    ossGetLastSystemError(&reason);
    EXPECT_EQ(reason, row.reason);
    std::thread([&] { ossGetLastSystemError(&reason); }).join();
    EXPECT_EQ(reason, 0) << "on another thread";
    std::string line;
    std::ifstream file(trace);
    std::getline(file, line);
    EXPECT_EQ(line.empty(), *row.traced == '\0') << line;
    EXPECT_NE(line.find(row.traced), line.npos) << line;
    fs::remove(trace);
  }
}

TEST_F(Segment, TellsWhatItIsLikeAndLeavesAnotherOfTheSameNameAlone) {
  ASSERT_RC(create(), Rc::Ok);
  ASSERT_RC(segment_.authorize(kKeep, getegid(), 0604), Rc::Ok);
  EXPECT_EQ(info().mode, 0604U);
  EXPECT_EQ(info().group, getegid());
  ASSERT_EQ(truncate(path_.c_str(), 100), 0);
  EXPECT_EQ(info().size, 100U);
  ASSERT_EQ(truncate(path_.c_str(), 70000), 0);
  EXPECT_EQ(info().size, 5000U) << "no more than what is mapped";
  fs::remove(path_);
  EXPECT_RC(segment_.authorize(kKeep, kKeep, 0600), Rc::OssNotFound);
  EXPECT_EQ(info().size, 5000U);
  OSSHIPCMemory newer;
  parameters_.size = 9000;
  ASSERT_RC(newer.create(&parameters_), Rc::Ok);
  EXPECT_EQ(info().size, 5000U);
  EXPECT_RC(segment_.authorize(kKeep, kKeep, 0666), Rc::OssReplaced);
  EXPECT_RC(segment_.destroy(), Rc::OssReplaced);
  EXPECT_FALSE(segment_.isAttached());
  ASSERT_RC(attach(segment_), Rc::Ok);
  EXPECT_EQ(info().size, 9000U);
  EXPECT_EQ(info().mode, 0640U);
  EXPECT_RC(newer.destroy(), Rc::Ok);
  EXPECT_RC(segment_.destroy(), Rc::Ok) << "the name is gone, which is what was wanted";
}

TEST_F(Segment, PermissionIsAsked) {
  parameters_.accessMode = 0400;
  ASSERT_RC(create(), Rc::Ok);
  Child stranger([&] {
    if (geteuid() == 0) EXPECT_EQ(setuid(kNobody), 0);
    int reason = 0;
    OSSHIPCMemory second;
    EXPECT_RC(attach(second), Rc::OssNoPermission);
    ossGetLastSystemError(&reason);
    EXPECT_EQ(reason, EACCES);
    if (getuid() == kNobody) {  // the owner may do what follows
      EXPECT_RC(segment_.authorize(kKeep, kKeep, 0666), Rc::OssNoPermission);
      EXPECT_RC(segment_.destroy(), Rc::OssNoPermission);
      EXPECT_FALSE(segment_.isAttached());
    }
    return HasFailure() ? 1 : 0;
  });
  EXPECT_EQ(stranger.result(), 0);
  EXPECT_EQ(info().mode, 0400U);
}

}  // namespace
